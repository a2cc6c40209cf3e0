#!/usr/bin/env bash
# Installs what is missing (the build's packages and the benchmarks' peers:
# tinyobjloader and the assimp command), builds, and runs every benchmark,
# printing their tables.
#
#   scripts/bench.sh [maxPoints]     sizes up to maxPoints (default 10^6)
#   BUILD_DIR=dir scripts/bench.sh   build elsewhere than build/
set -euo pipefail
cd "$(dirname "$0")/.."
max_points="${1:-1000000}"
build_dir="${BUILD_DIR:-build}"

bash scripts/deps.sh

missing=()
for p in libtinyobjloader-dev assimp-utils; do
  status=$(dpkg-query -W -f='${Status}' "$p" 2>/dev/null || true)
  [[ "$status" == "install ok installed" ]] || missing+=("$p")
done
if [[ ${#missing[@]} -gt 0 ]]; then
  echo "installing: ${missing[*]}"
  sudo=""
  [[ $(id -u) -eq 0 ]] || sudo="sudo"
  export DEBIAN_FRONTEND=noninteractive
  $sudo apt-get update -qq
  $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

# Timings want an optimised build: RelWithDebInfo (-O2) unless told.
cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE="${BUILD_TYPE:-RelWithDebInfo}" \
  -DMODELR_BENCH=ON >/dev/null
cmake --build "$build_dir" -j"$(nproc)"

echo
echo "== modelr add: cost per command against a no-op procedure =="
# add_commands.tcl looks in build/; TCLLIBPATH puts the chosen build first.
TCLLIBPATH="$(cd "$build_dir" && pwd)" tclsh bench/add_commands.tcl "$max_points"

echo
echo "== the strict face (mr) against the bare modelr command =="
TCLLIBPATH="$(cd "$build_dir" && pwd)" tclsh bench/strict_calls.tcl

echo
echo "== KeyedTable against std::unordered_map =="
"$build_dir/bench/keyed_table_bench"

echo
echo "== single edits and queries, microseconds per operation =="
sizes=()
for n in 1000 10000 100000 1000000; do
  (( n <= max_points )) && sizes+=("$n")
done
"$build_dir/bench/edit_bench" "${sizes[@]}"

echo
echo "== .mod reading and writing against tinyobjloader, assimp and the bare parse =="
"$build_dir/bench/file_io_bench" "$max_points"

echo
echo "== drawing a model against one prepared buffer (under a private Xvfb) =="
xvfb-run -a -s "-screen 0 1280x1024x24 +extension GLX" "$build_dir/bench/draw_bench"

echo
echo "== drawing a textured model against one prepared textured buffer (under a private Xvfb) =="
xvfb-run -a -s "-screen 0 1280x1024x24 +extension GLX" "$build_dir/bench/texture_bench"

echo
echo "== picking: indexed against GL selection mode, and against a frame (under a private Xvfb) =="
xvfb-run -a -s "-screen 0 1280x1024x24 +extension GLX" "$build_dir/bench/pick_bench"

echo
echo "== the interchange formats and import against assimp in the same process =="
"$build_dir/bench/interchange_bench" "$max_points"

echo
echo "== exporting STL and OBJ against assimp export =="
"$build_dir/bench/export_bench"

echo
echo "== the simulation world against the same world built straight on ODE =="
"$build_dir/bench/sim_bench"

echo
echo "== the studio's undo: an edit, an undo, a redo and the frames after them (under a private Xvfb) =="
MODELR_BUILD="$(cd "$build_dir" && pwd)" xvfb-run -a -s "-screen 0 1280x1024x24 +extension GLX" \
  wish bench/studio_undo.tcl

echo
echo "== simulate ticks with a trivial procedure =="
TCLLIBPATH="$(cd "$build_dir" && pwd)" tclsh bench/sim_ticks.tcl
