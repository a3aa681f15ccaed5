#!/usr/bin/env bash
# sweep_program.sh [STEP [ARGUMENT...]]: fails every STEP-th allocation (1: every one) of a run of the program, one per run,
# and counts the exit statuses; tests/allocation/program_sweep.sh says what is right. By default the run is 'detect' on a
# sample. The tests do the same with a large step.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
step=${1:-1}
[ "$#" -eq 0 ] || shift
[ "$#" -gt 0 ] || set -- detect "$root/samples/astronaut.png"
export OPENBLAS_NUM_THREADS=1
"$root/scripts/build.sh" release ozna_tool allocation_preload
build=$root/build/release
exec "$root/tests/allocation/program_sweep.sh" "$build/tools/ozna" "$build/tests/allocation/liballocation_preload.so" "$step" -- "$@"
