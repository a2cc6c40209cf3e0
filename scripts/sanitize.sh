#!/usr/bin/env bash
# Builds everything with AddressSanitizer and UndefinedBehaviorSanitizer
# into build-asan/ and runs the whole test suite there (leaks checked, with
# tests/sanitize/lsan.supp for the GL driver and fontconfig); then, when
# clang is installed, runs each fuzz target for a bounded time.
#   FUZZ_SECONDS=60 (default) per target; 0 skips fuzzing.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)
cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=Debug -DMODELR_SANITIZE=ON \
  -DMODELR_BENCH=OFF >/dev/null
cmake --build build-asan -j"$(nproc)"
export ASAN_OPTIONS="detect_leaks=1:halt_on_error=1:detect_stack_use_after_return=1"
export UBSAN_OPTIONS="halt_on_error=1:print_stacktrace=1"
export LSAN_OPTIONS="suppressions=$root/tests/sanitize/lsan.supp:print_suppressions=0"
(cd build-asan && ctest --output-on-failure -j"$(nproc)" --timeout 900)

fuzz_seconds="${FUZZ_SECONDS:-60}"
if [[ "$fuzz_seconds" -gt 0 ]] && command -v clang++ >/dev/null; then
  CC=clang CXX=clang++ cmake -S . -B build-fuzz -DMODELR_BENCH=OFF >/dev/null
  targets=$(cd tests/fuzz && ls *_fuzz.cpp | sed 's/\.cpp$//')
  cmake --build build-fuzz -j"$(nproc)" --target $targets
  for target in $targets; do
    name=${target%_fuzz}
    corpus=$(mktemp -d)
    cp -r tests/data/"$name"/. "$corpus"/ 2>/dev/null || true
    dict=()
    dict_name=$name
    [[ $name == modtree ]] && dict_name=mod  # the same file format
    [[ -f tests/fuzz/$dict_name.dict ]] && dict=(-dict="$root/tests/fuzz/$dict_name.dict")
    # assimp's readers reserve what a file's header announces before they
    # find it is not there (a 300-byte PLY can ask for gigabytes); the
    # importer gets the room to run such files to their refusal.
    [[ $name == import ]] && dict+=(-rss_limit_mb=16384 -malloc_limit_mb=16384)
    echo "== fuzzing $name for ${fuzz_seconds}s"
    log="$corpus.log"
    if ! (cd "$corpus" && "$root/build-fuzz/$target" "${dict[@]}" \
        -max_total_time="$fuzz_seconds" -max_len=4096 -print_final_stats=1 \
        "$corpus" >"$log" 2>&1); then
      tail -n 60 "$log"
      echo "fuzz target $target failed; its input is in $corpus"
      exit 1
    fi
    grep -E 'stat::number_of_executed_units' "$log" || true
    rm -rf "$corpus" "$log"
  done
fi
