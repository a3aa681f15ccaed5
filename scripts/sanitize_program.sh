#!/usr/bin/env bash
# sanitize_program.sh [FILTER]: builds the program and its tests with AddressSanitizer and UndefinedBehaviorSanitizer and
# runs the tests, or those that a regular expression names. What a sanitizer finds ends the program with the status 99,
# which no test expects (CMakePresets.json). The sanitizer opens libraries in the place of the program, whose run path then
# does not count: the modules' folder stands in LD_LIBRARY_PATH.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
filter=${1:-.}
scripts/install_packages.sh build check
scripts/build.sh asan tools_tests
ctest --preset asan -R "^tools_tests/.*$filter"
