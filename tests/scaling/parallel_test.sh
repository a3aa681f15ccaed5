#!/usr/bin/env bash
# parallel_test.sh PROGRAM PHOTOGRAPHS RECIPES: GNU parallel with local jobs gives the records of a plain run, in their order.
set -euo pipefail
program=$1 photographs=$2 recipes=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/bin" "$work/photos"
ln -s "$program" "$work/bin/ozna"
export PATH=$work/bin:$PATH HOME=$work
for i in $(seq -w 20); do
  ln -s "$photographs/$([ $((10#$i % 4)) -eq 0 ] && echo group || echo astronaut).ppm" "$work/photos/photo $i's.ppm"
done
echo 'no photograph' >"$work/photos/broken.jpg"
find "$work/photos" -not -type d | sort >"$work/list"

mapfile -t all <"$work/list"
ozna detect --json -- "${all[@]}" >"$work/plain" 2>"$work/messages" && exit 1  # Of the one that is broken.
"$recipes/faces_parallel.sh" "$work/list" "$work/parallel" 2/: 2>>"$work/messages" || { cat "$work/messages"; exit 1; }
cmp "$work/plain" "$work/parallel"
[ "$(grep -c '"score"' "$work/plain")" -eq 20 ]
