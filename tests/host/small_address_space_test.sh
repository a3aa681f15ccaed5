#!/usr/bin/env bash
# small_address_space_test.sh HOST MODELS PHOTOGRAPH: with little address space the host ends, by itself and soon: with
# its result where the space is enough, and with a message and a status where it is not.
set -uo pipefail
host=$1
shift
[ -x "$host" ] || { echo "$host is missing"; exit 1; }
ended=0
failed=0
for kilobytes in 600000 150000 110000 80000 60000; do
  message=$( (ulimit -v "$kilobytes"; timeout -k 1 60 "$host" "$@") 2>&1 </dev/null)
  status=$?
  echo "$kilobytes KB: status $status: $message" | head -3
  if [ "$status" -eq 124 ] || [ "$status" -eq 137 ]; then
    echo "with $kilobytes KB the host did not end"
    exit 1
  fi
  ended=$((ended + 1))
  if [ "$status" -ne 0 ]; then
    failed=$((failed + 1))
    [ -n "$message" ] || { echo "with $kilobytes KB the host ended without a word"; exit 1; }
  elif [ "$kilobytes" -eq 60000 ]; then
    echo "60000 KB are enough: this test tests nothing"
    exit 1
  fi
done
[ "$ended" -eq 5 ] && [ "$failed" -gt 0 ]
