#!/usr/bin/env bash
# program_sweep.sh PROGRAM PRELOAD STEP [FIRST] -- ARGUMENT...: fails every STEP-th allocation of a run of the program, from
# FIRST (1) on, one per run, and counts the exit statuses.
#
# A run whose allocation failed has to end as the manual says: with 0 and the same output, with 5 and "no memory", with 1
# and a record that names memory, or with 255 and the message of a network or of the mathematics library. Exits with 1
# where one did not; its number is printed.
set -uo pipefail
program=$1 preload=$2 step=$3 first=1
shift 3
[ "$1" = -- ] || { first=$1; shift; }
shift
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# The loader takes a blank in LD_PRELOAD for the end of a name.
cp "$preload" "$work/preload.so"

# run INDEX ARGUMENT...: one run of the program.
run() {
  local index=$1
  shift
  # Behind timeout, which is not to fail itself.
  timeout 120 env OZNA_FAIL_ALLOCATION="$index" OZNA_COUNT_FILE="$work/count" LD_PRELOAD="$work/preload.so" \
    "$program" "$@" >"$work/output" 2>"$work/errors"
}

run 0 "$@"
status=$?
total=$(cat "$work/count")
[ "$status" = 0 ] && [ "${total:-0}" -gt 0 ] || { echo "without a failure: status $status, $total allocations"; exit 1; }
cp "$work/output" "$work/expected"
declare -A statuses
bad=0
for ((index = first; index <= total; index += step)); do
  run "$index" "$@"
  status=$?
  statuses[$status]=$((${statuses[$status]:-0} + 1))
  case "$status" in
    0) cmp -s "$work/output" "$work/expected" || { echo "allocation $index: another output"; bad=1; } ;;
    1 | 5) grep -q memory "$work/output" "$work/errors" ||
             { echo "allocation $index: status $status, said: $(head -n 1 "$work/errors")"; bad=1; } ;;
    255) grep -q '^Unable to allocate memory$' "$work/errors" ||
           { echo "allocation $index: status 255, said: $(head -n 1 "$work/errors")"; bad=1; } ;;
    *) echo "allocation $index: status $status, said: $(head -n 1 "$work/errors")"; bad=1 ;;
  esac
done
echo "$total allocations, every $step. failed; runs by exit status:"
for status in "${!statuses[@]}"; do echo "  $status: ${statuses[$status]}"; done
exit "$bad"
