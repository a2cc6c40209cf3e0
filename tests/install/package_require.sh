#!/usr/bin/env bash
# cmake --install into a temporary prefix, then a plain tclsh finds the
# package through the directory that holds it, as /usr/lib/tcltk is found
# on Debian, loads it with its strict face and runs a command; the manual
# page is installed too.
set -euo pipefail
build_dir="$1"
package_dir="$2"   # relative to the prefix
prefix="$(mktemp -d)"
trap 'rm -rf "$prefix"' EXIT
cmake --install "$build_dir" --prefix "$prefix" >/dev/null
test -f "$prefix/$package_dir/pkgIndex.tcl"
test -f "$prefix/$package_dir/libmodelr.so"
test -f "$prefix/share/man/mann/modelr.n"
# Under the sanitizers the interpreter needs their runtime first.
preload=()
[[ -n "${MODELR_PRELOAD:-}" ]] && preload=(env "LD_PRELOAD=$MODELR_PRELOAD")
answer=$(cd / && TCLLIBPATH="$(dirname "$prefix/$package_dir")" "${preload[@]}" tclsh <<'TCL'
package require modelr::strict
mr create model installed
puts [mr get name]
TCL
)
if [[ "$answer" != "installed" ]]; then
  echo "expected 'installed', got '$answer'" >&2
  exit 1
fi
echo "installed package answered: $answer"
