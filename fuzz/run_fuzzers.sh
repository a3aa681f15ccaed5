#!/usr/bin/env bash
# run_fuzzers.sh SECONDS [BUILD_FOLDER]: builds the fuzz targets with clang and runs each for that long.
# Inputs collect in BUILD_FOLDER/corpus, findings and logs in BUILD_FOLDER/findings; the build folder is build/fuzz if
# none is named. The exit status is 1 if there is a finding. To run one again:
#   build/fuzz/fuzz/net_fuzzer build/fuzz/findings/net-crash-...
set -euo pipefail

seconds=${1:?usage: run_fuzzers.sh SECONDS [BUILD_FOLDER]}
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build_folder=${2:-$root/build/fuzz}
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

export ASAN_OPTIONS="allocator_may_return_null=1${ASAN_OPTIONS:+:$ASAN_OPTIONS}"
export UBSAN_OPTIONS="print_stacktrace=1${UBSAN_OPTIONS:+:$UBSAN_OPTIONS}"

# fuzz TARGET: runs one target and prints a line on its outcome.
fuzz() {
  local target=$1 log=$findings/$1.log status=0 runs
  "$build_folder/fuzz/${target}_fuzzer" -max_total_time="$seconds" -max_len=8192 -timeout=25 -rss_limit_mb=2048 \
    -print_final_stats=1 -artifact_prefix="$findings/$target-" "$corpus/$target" >"$log" 2>&1 || status=$?
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
  if [ "$status" -eq 0 ]; then
    echo "$target: no finding in ${runs:-an unknown number of} runs"
  else
    tail -n 60 "$log" >&2
    echo "$target: finding, exit status $status; the log is $log"
  fi
  return "$status"
}

# Two at a time: that many processors even a small machine has.
failed=0
for pair in "text_reader binary_reader" "net record"; do
  read -r first second <<<"$pair"
  fuzz "$first" &
  fuzz "$second" || failed=1
  wait $! || failed=1
done
exit "$failed"
