#!/usr/bin/env bash
# run_fuzzers.sh LENGTH [BUILD_FOLDER [TARGET...]]: builds the fuzz targets with clang and runs each of them, or those
# named, for that many seconds, or that many executions where LENGTH ends in 'runs': 3600, or 5000000runs. Inputs collect
# in BUILD_FOLDER/corpus, findings and logs in BUILD_FOLDER/findings; the build folder is build/fuzz if none is named. One line per target reports executions and coverage.
# The exit status is 1 if there is a finding. To run one again:
#   build/fuzz/fuzz/net_fuzzer build/fuzz/findings/net-crash-...
set -euo pipefail

length=${1:?usage: run_fuzzers.sh SECONDS|COUNTruns [BUILD_FOLDER [TARGET...]]}
case "$length" in
  *[0-9]runs) limit=-runs=${length%runs} ;;
  *) limit=-max_total_time=$length ;;
esac
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build_folder=${2:-$root/build/fuzz}
targets=("${@:3}")
[ "${#targets[@]}" -gt 0 ] ||
  targets=(text_reader binary_reader net record landmark directory pixels model_set kit_pixels resume sidecar header raw frames packet)
mkdir -p "$build_folder"

options=()
command -v ccache >/dev/null && options+=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
log=$build_folder/build.log
echo "Building the fuzz targets ..." >&2
if ! {
  cmake -S "$root" -B "$build_folder" -G Ninja -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=None \
    -DOZNA_BUILD_FUZZERS=ON -DOZNA_BUILD_TESTS=OFF -DOZNA_BUILD_BENCHMARKS=OFF -DOZNA_BUILD_TRAINING=OFF \
    -DOZNA_BUILD_TOOLS=OFF "${options[@]}" && ninja -C "$build_folder" ozna_fuzzers
} >"$log" 2>&1; then
  cat "$log" >&2
  echo "The build failed; the log is $log" >&2
  exit 1
fi

corpus=$build_folder/corpus
findings=$build_folder/findings
mkdir -p "$findings"
"$build_folder/fuzz/make_corpus" "$corpus"
for definition in "$root"/public/cascades/*/prototxt-*; do
  name=$(basename "$(dirname "$definition")")
  cp "$definition" "$corpus/text_reader/$name"
  cp "$definition" "$corpus/net/$name"
done

export ASAN_OPTIONS="allocator_may_return_null=1:malloc_context_size=4${ASAN_OPTIONS:+:$ASAN_OPTIONS}"
export UBSAN_OPTIONS="print_stacktrace=1${UBSAN_OPTIONS:+:$UBSAN_OPTIONS}"

# fuzz TARGET: runs one target and prints a line on its outcome. What it finds joins the first of the folders.
fuzz() {
  local target=$1 log=$findings/$1.log status=0 runs covered
  mkdir -p "$corpus/$target"
  "$build_folder/fuzz/${target}_fuzzer" "$limit" -max_len=8192 -timeout=25 -rss_limit_mb=2048 \
    -print_final_stats=1 -artifact_prefix="$findings/$target-" "$corpus/$target" "$root/fuzz/corpus/$target" \
    >"$log" 2>&1 || status=$?
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
  covered=$(grep -aoE 'cov: [0-9]+ ft: [0-9]+ corp: [0-9]+' "$log" | tail -n 1) || true
  if [ "$status" -eq 0 ]; then
    echo "$target: no finding in ${runs:-an unknown number of} runs; $covered"
  else
    tail -n 60 "$log" >&2
    echo "$target: finding, exit status $status; the log is $log"
  fi
  return "$status"
}

# Two at a time: that many processors even a small machine has.
failed=0
for ((i = 0; i < ${#targets[@]}; i += 2)); do
  pids=()
  for target in "${targets[@]:i:2}"; do
    fuzz "$target" &
    pids+=($!)
  done
  for pid in "${pids[@]}"; do wait "$pid" || failed=1; done
done
exit "$failed"
