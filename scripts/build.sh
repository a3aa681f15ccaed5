#!/usr/bin/env bash
# build.sh PRESET [TARGET...]: configures and builds a preset of CMakePresets.json, quietly; everything if no target is named.
# The whole output goes to build/PRESET.log, and is shown when something fails.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
preset=$1
shift
cd "$root"
mkdir -p build
log="build/$preset.log"
# Sources of equal content are compiled once wherever they lie below this folder. Not by CCACHE_DEPEND, which is faster: it does not
# see the model files that an .incbin takes in.
export CCACHE_BASEDIR="${CCACHE_BASEDIR:-$root}" CCACHE_NOHASHDIR="${CCACHE_NOHASHDIR:-true}"
options=()
command -v ccache >/dev/null && options+=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
[ "${CI:-}" = true ] && options+=(-DOZNA_WERROR=ON)
targets=()
[ "$#" -gt 0 ] && targets=(--target "$@")
echo "Building ($preset) ..." >&2
if ! { cmake --preset "$preset" "${options[@]}" && cmake --build --preset "$preset" "${targets[@]}"; } >"$log" 2>&1; then
  cat "$log" >&2
  echo "The build failed; the log is $root/$log" >&2
  exit 1
fi
