#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test (C++ and Tcl).
# Tests that need a display start their own Xvfb.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh
bash scripts/build.sh
cd build
ctest --output-on-failure -j"$(nproc)" --timeout 600
