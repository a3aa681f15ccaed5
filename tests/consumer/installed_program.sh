#!/usr/bin/env bash
# installed_program.sh INSTALLED BINDIR MODELSDIR PHOTOGRAPH: the program of a moved tree finds the models beside it, and
# those alone.
set -euo pipefail
installed=$1 bindir=$2 modelsdir=$3 photograph=$4
cd /
"$installed/$bindir/ozna" detect "$photograph" | grep -q '1 face$'

# A tree without its stage lists: the program names that place, and reads no other.
broken=$installed-broken
rm -rf "$broken"
cp -al "$installed" "$broken"
rm "$broken/$modelsdir/stages.txt" "$broken/$modelsdir/compact/stages.txt"
if message=$("$broken/$bindir/ozna" detect "$photograph" 2>&1); then
  echo "The program found models elsewhere." >&2
  exit 1
fi
grep -q "$broken/$modelsdir/stages.txt" <<<"$message"
