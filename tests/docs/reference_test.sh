#!/usr/bin/env bash
# reference_test.sh SOURCE OUT: builds the reference of ozna.h and the pages with Doxygen, without a warning.
set -euo pipefail
source=$1 out=$2
rm -rf "$out"
mkdir -p "$out"
# Doxygen loses links between pages in a path with a blank.
plain=$(mktemp -d)
trap 'rm -rf "$plain"' EXIT
cp -r "$source"/{README.md,CONTRIBUTING.md,SECURITY.md,CHANGELOG.md,docs,public,samples} "$plain"
cd "$plain"
{ cat docs/Doxyfile; echo "OUTPUT_DIRECTORY = \"$out\""; } | doxygen - >"$out/log" 2>"$out/warnings" || { cat "$out/warnings"; exit 1; }
if [ -s "$out/warnings" ]; then
  cat "$out/warnings"
  exit 1
fi
# It holds what it is for.
grep -q 'align68Points' "$out"/html/ozna_8h.html
grep -q 'CascadeParameter' "$out"/html/annotated.html
