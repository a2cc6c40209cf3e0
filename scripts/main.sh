#!/usr/bin/env bash
# Installs what is missing, builds, and runs the main job: the studio on
# the sample robot when there is a display. Without one (or with CI set)
# the viewer draws the sample under a private Xvfb, writes a capture and
# says where.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh
bash scripts/build.sh
if [[ -n "${DISPLAY:-}" && -z "${CI:-}" ]]; then
  exec wish app/studio.tcl "$@"
fi
exec xvfb-run -a -s "-screen 0 1280x1024x24 +extension GLX" \
  wish app/viewer.tcl "$@" --capture build/viewer.tga
