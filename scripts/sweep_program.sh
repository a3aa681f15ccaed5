#!/usr/bin/env bash
# sweep_program.sh [STEP [ARGUMENT...]]: fails every STEP-th allocation (1: every one) of a run of the program, one a run,
# and counts the exit statuses. By default the run is 'detect' on a sample. Exits with 1 where a run ended by a signal,
# or by a status of its own without a word about memory; its number is printed.
set -uo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
step=${1:-1}
[ "$#" -eq 0 ] || shift
[ "$#" -gt 0 ] || set -- detect "$root/samples/astronaut.png"
export OPENBLAS_NUM_THREADS=1 OPENBLAS_CORETYPE=Haswell
"$root/scripts/build.sh" release ozna_tool allocation_preload || exit 1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
program=$(find "$root/build/release/tools" -maxdepth 1 -type f -name ozna)

# run INDEX ARGUMENT...: one run of the program.
run() {
  local index=$1
  shift
  # Behind timeout, which is not to fail itself.
  timeout 120 env OZNA_FAIL_ALLOCATION="$index" OZNA_COUNT_FILE="$work/count" \
    LD_PRELOAD="$root/build/release/tests/allocation/liballocation_preload.so" \
    "$program" "$@" >"$work/output" 2>"$work/errors"
}

run 0 "$@"
total=$(cat "$work/count")
cp "$work/output" "$work/expected"
declare -A statuses
bad=0
for ((index = 1; index <= total; index += step)); do
  run "$index" "$@"
  status=$?
  statuses[$status]=$((${statuses[$status]:-0} + 1))
  if [ "$status" = 0 ]; then
    cmp -s "$work/output" "$work/expected" || { echo "allocation $index: another output"; bad=1; }
  elif [ "$status" -ge 124 ] && [ "$status" != 255 ]; then
    echo "allocation $index: status $status"
    bad=1
  elif ! grep -q memory "$work/errors"; then
    echo "allocation $index: status $status, said: $(head -n 1 "$work/errors")"
    bad=1
  fi
done
echo "$total allocations, every $step. failed; runs by exit status:"
for status in "${!statuses[@]}"; do echo "  $status: ${statuses[$status]}"; done
exit "$bad"
