#!/usr/bin/env bash
# binding_test.sh RUSTC SOURCE LIBDIR PROGRAM PHOTOGRAPH: the binding example finds the one face, and says what is wrong.
set -euo pipefail
rustc=$1 source=$2 libdir=$3 program=$4 photograph=$5
"$rustc" --edition 2021 -D warnings -L "$libdir" -C link-arg="-Wl,-rpath,$libdir" "$source" -o "$program"
faces=$("$program" "$photograph")
echo "$faces"
[ "$(wc -l <<<"$faces")" -eq 1 ]
# The numbers stand where the library wrote them: a box inside of 512 by 512 pixels around the eyes, and a score.
python3 - "$faces" <<'END'
import re, sys
left, top, right, bottom, score = map(float, re.findall(r"[0-9.]+", sys.argv[1]))
assert 120 < left < 200 < 250 < right < 330 and 20 < top < 108 < 140 < bottom < 220 and 0.98 < score <= 1, sys.argv[1]
END
message=$(OZNA_MODELS=/nowhere "$program" "$photograph" 2>&1) && exit 1
grep -q /nowhere <<<"$message"
