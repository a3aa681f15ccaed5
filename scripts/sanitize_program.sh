#!/usr/bin/env bash
# sanitize_program.sh [FILTER]: builds the program and its tests with AddressSanitizer and UndefinedBehaviorSanitizer and
# runs the tests, or those that a regular expression names. What a sanitizer finds ends the program with the status 99,
# which no test expects.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
filter=${1:-.}
scripts/install_packages.sh build check
scripts/build.sh asan tools_tests
export OPENBLAS_NUM_THREADS=1
# Tests limit the address space, of which the sanitizer takes more than there is.
export ASAN_OPTIONS="exitcode=99:detect_odr_violation=0${ASAN_OPTIONS:+:$ASAN_OPTIONS}" UBSAN_OPTIONS=print_stacktrace=1
ctest --preset asan -R "^tools_tests/.*$filter" -E 'FewOf[.]Memory'
