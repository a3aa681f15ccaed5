#!/usr/bin/env bash
# shard_test.sh PROGRAM - RECIPES: the shards of a folder are its photographs, each in one shard, and the array of
# batch jobs does them all.
set -euo pipefail
program=$1 recipes=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
mkdir bin photos photos/below
ln -s "$program" bin/ozna
export PATH=$work/bin:$PATH
# Small and grey: only which ones are listed counts here.
{ printf 'P6 32 32 255\n'; head -c 3072 /dev/zero; } >photos/1.ppm
for i in $(seq 2 30); do cp photos/1.ppm "photos/$i.ppm"; done
for i in $(seq 10); do cp photos/1.ppm "photos/below/$i.ppm"; done

ozna detect --json --recursive photos | sort >plain
[ "$(wc -l <plain)" -eq 40 ]
shards() { for i in $(seq "$1"); do ozna detect --json --recursive --shard "$i/$1" photos; done; }
for count in 1 2 7; do
  shards "$count" | sort >sharded
  cmp plain sharded
done
# More than one photograph falls to each of two shards.
ozna detect --json --recursive --shard 1/2 photos | sort >first
lines=$(wc -l <first)
[ "$lines" -gt 8 ] && [ "$lines" -lt 32 ]

# A photograph that comes later moves no other one; nor does the order of the names.
cp photos/1.ppm photos/0.ppm
ozna detect --json --recursive --shard 1/2 photos | grep -v '"photos/0.ppm"' | sort | cmp - first
find photos -name '*.ppm' -not -name 0.ppm | sort -r | ozna detect --json --shard 1/2 - | sort | cmp - first
rm photos/0.ppm

for task in $(seq 8); do SLURM_ARRAY_TASK_ID=$task SLURM_CPUS_PER_TASK=1 "$recipes/faces.sbatch" photos; done
sort faces-*.jsonl | cmp - plain

for wrong in 0/2 3/2 1 1/ /2 a/b 1/0 -1/2 1/2/3 1.5/2 ''; do
  status=0
  ozna detect --shard "$wrong" photos/1.ppm >/dev/null 2>message || status=$?
  [ "$status" -eq 2 ] && grep -q -- --shard message || { echo "--shard '$wrong' ends with $status: $(cat message)"; exit 1; }
done
