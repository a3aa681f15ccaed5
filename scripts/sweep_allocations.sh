#!/usr/bin/env bash
# sweep_allocations.sh [STEP]: fails every STEP-th allocation (1: every one) of a load, a search, the load of the
# landmark model and an alignment, one at a time and with all that follow, and prints how each ended. The tests do the
# same with large steps. Every allocation takes about an hour; nothing is written.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
step=${1:-1}
# The small products of some newer kernels of the mathematics library write to memory that they did not get.
export OPENBLAS_NUM_THREADS=1 OPENBLAS_CORETYPE=Haswell
"$root/scripts/build.sh" release allocation_sweep
failed=0
for operation in landmarks align detect load; do
  for failure in one on; do
    for state in warm cold; do
      nice "$root/build/release/tests/allocation/allocation_sweep" "$operation" "$failure" "$state" "$step" \
           "$root/public" "$root/build/release/tests/photographs/astronaut.ppm" || failed=1
    done
  done
done
exit "$failed"
