#!/usr/bin/env bash
# Installs what is missing, builds, and runs the main job.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh
bash scripts/build.sh
exec tclsh samples/demo.tcl
