#!/usr/bin/env bash
# crowded_test.sh HOST LIBRARY MODELS PHOTOGRAPH: what a crowded host finds is what an empty process finds.
set -euo pipefail
host=$1
shift
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# A locale with a comma, which a machine need not have.
localedef -i de_DE -f UTF-8 "$work/de_DE.UTF-8" 2>/dev/null || [ -d "$work/de_DE.UTF-8" ]
export LOCPATH=$work

"$host" "$@" plain >"$work/plain"
"$host" "$@" >"$work/crowded"
[ "$(wc -w <"$work/plain")" -eq 141 ]
# Thousandths of a pixel; other threads of the mathematics library round in another order.
paste <(tr ' ' '\n' <"$work/plain") <(tr ' ' '\n' <"$work/crowded") |
  LC_ALL=C awk '{ d = $1 - $2; if (d < 0) d = -d; if (NF != 0 && (NF != 2 || d > 20)) { print "differ:", $0; bad = 1 } } END { exit bad }'
