#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test (C++ and Tcl);
# then the same suite again under AddressSanitizer and UBSan, and each fuzz
# target for a bounded time when clang is installed (scripts/sanitize.sh).
# Tests that need a display start their own Xvfb.
#   SANITIZE=0 skips the second pass; FUZZ_SECONDS sets the fuzzing time.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh
bash scripts/build.sh
(cd build && ctest --output-on-failure -j"$(nproc)" --timeout 600)
if [[ "${SANITIZE:-1}" != 0 ]]; then
  bash scripts/sanitize.sh
fi
