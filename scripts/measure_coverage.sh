#!/usr/bin/env bash
# measure_coverage.sh [core|program]: runs the tests of the library's core, of the program, or of both, with line coverage
# and fails where less than 97 percent of the core's lines or 92 percent of the program's were run.
# The tables are build/coverage/core.txt and program.txt, with the lines that no test reaches.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
parts=("$@")
[ "${#parts[@]}" -gt 0 ] || parts=(core program)
scripts/install_packages.sh build python check coverage
export OPENBLAS_NUM_THREADS=1

# measure PART LEAST FOLDERS TESTS LEFT_OUT TARGET...: FOLDERS, TESTS and LEFT_OUT are regular expressions.
measure() {
  local part=$1 least=$2 folders=$3 tests=$4 left_out=$5
  shift 5
  scripts/build.sh coverage "$@"
  find build/coverage -name '*.gcda' -delete
  ctest --preset coverage -R "$tests" -E "$left_out" >"build/coverage/$part-tests.log" 2>&1 ||
    { tail -n 30 "build/coverage/$part-tests.log"; echo "$part: tests fail"; return 1; }
  gcovr -r . --filter "$folders" --exclude-throw-branches --exclude '.*/generated/.*' --txt "build/coverage/$part.txt" \
    --print-summary --fail-under-line "$least" build/coverage | sed -n "s/^lines:/$part:/p" ||
    { echo "$part: less than $least percent; see build/coverage/$part.txt"; return 1; }
}

for part in "${parts[@]}"; do
  case "$part" in
    core) # public/enclosed is in the shared library alone, which is not instrumented: the tests of host/ run it.
      measure core 97 '(caffe|mp|imaging|alignment|detector)/|public/[^/]*$' \
        '^(caffe_(core|layer|data)|mp|imaging|alignment|detector|public)_tests/' '^$' \
        {caffe_core,caffe_layer,caffe_data,mp,imaging,alignment,detector,public}_tests ;;
    program) # Where a program may not open or write files, it cannot write its counters, and says so.
      measure program 92 'tools/' '^tools_tests/' \
        'FewOf[.]|Embed[.]PhotographThatCannot|OutputFile[.](FileThatMayNot|LimitOf)' tools_tests ;;
    *) echo "measure_coverage.sh: expected core or program, not '$part'" >&2; exit 2 ;;
  esac
done
