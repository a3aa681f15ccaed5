#!/usr/bin/env bash
# release_flags_test.sh SOURCE BUILD: the flags that a packager gives for a release are those that the library is compiled with.
set -euo pipefail
source=$1 build=$2
rm -rf "$build"
cmake -S "$source" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release "-DCMAKE_CXX_FLAGS_RELEASE=-O2 -g -DA_PACKAGER_WAS_HERE" \
  -DOZNA_BUILD_TESTS=OFF -DOZNA_BUILD_BENCHMARKS=OFF -DOZNA_BUILD_TRAINING=OFF -DOZNA_BUILD_TOOLS=OFF >"$build.log" 2>&1 ||
  { cat "$build.log"; exit 1; }
command=$(grep '"command".*net\.cpp' "$build/compile_commands.json")
if ! grep -q -e '-O2 -g -DA_PACKAGER_WAS_HERE' <<<"$command" || grep -q -e '-O3' <<<"$command"; then
  echo "net.cpp is not compiled with the given flags: $command"
  exit 1
fi
