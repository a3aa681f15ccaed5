#!/usr/bin/env bash
# soak.sh growth|leaks|threads [ROUNDS|SECONDSs]: searches and alignments for long, on the samples, with parameters that
# vary; every result is held against the first of its kind (tests/soak/soak.cpp).
#
#   growth   5000 rounds in two threads, optimised; the resident size may grow by 8 MB after the first tenth
#   leaks    5000 rounds in two threads under AddressSanitizer; its leak check is at the end
#   threads  an hour (3600s) of eight threads under ThreadSanitizer, with loads of detectors and of the landmark model beside
#
# Exit status 1, or that of the sanitizer, where something is found.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
kind=${1:-}
case "$kind" in
  growth) preset=release threads=2 limit=${2:-5000} growth_mb=8 ;;
  leaks) preset=asan threads=2 limit=${2:-5000} growth_mb=0 ;;
  threads) preset=tsan threads=8 limit=${2:-3600s} growth_mb=0 ;;
  *) echo "usage: soak.sh growth|leaks|threads [ROUNDS|SECONDSs]" >&2; exit 2 ;;
esac
export OPENBLAS_NUM_THREADS=1
"$root/scripts/build.sh" "$preset" soak
build=$root/build/$preset/tests
exec "$build/soak/soak" "$threads" "$limit" "$growth_mb" "$root/public" "$build"/photographs/*.ppm
