#!/usr/bin/env bash
# Configures and builds into build/ (a Tcl package directory).
set -euo pipefail
cd "$(dirname "$0")/.."
cmake -S . -B build -DCMAKE_BUILD_TYPE="${BUILD_TYPE:-RelWithDebInfo}" >/dev/null
cmake --build build -j"$(nproc)"
