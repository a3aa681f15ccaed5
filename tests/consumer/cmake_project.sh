#!/usr/bin/env bash
# cmake_project.sh BUILD PHOTOGRAPH OPTION...: builds the host project with the given options of cmake and runs its tests.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
build=$1 photograph=$2
shift 2
rm -f "$build/CMakeCache.txt"  # Nothing that an earlier run found.
cmake -S "$here/project" -B "$build" -G Ninja -DPHOTOGRAPH="$photograph" -DCMAKE_CXX_COMPILER_LAUNCHER="$LAUNCHER" "$@"
cmake --build "$build" --parallel 1
ctest --test-dir "$build" --output-on-failure --no-tests=error
