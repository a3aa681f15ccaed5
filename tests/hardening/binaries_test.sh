#!/usr/bin/env bash
# Reads from the binaries that the build hardened them: binaries_test.sh LIBRARY ARCHIVE PROGRAM OPTIMISED KIT
# KIT is the library for applications. OPTIMISED is 1 where the build optimises, which the checked calls of the C library need.
set -euo pipefail
library=$1 archive=$2 program=$3 optimised=$4 kit=$5
fail=0

# require WHAT COMMAND...: complains unless the command's output has a line that the pattern of WHAT's second word finds.
require() {
  local what=$1 pattern=$2 text
  shift 2
  text=$("$@")
  grep -qE "$pattern" <<<"$text" || { echo "$what"; fail=1; }
}

for binary in "$library" "$kit" "$program"; do
  name=${binary##*/}
  require "$name: relocations stay writable" GNU_RELRO readelf -lW "$binary"
  require "$name: relocations are bound late" 'BIND_NOW|Flags:.*\bNOW\b' readelf -dW "$binary"
  require "$name: cannot be loaded at any address" 'Type: +DYN' readelf -hW "$binary"
  require "$name: no stack protector" __stack_chk_fail readelf -sW --dyn-syms "$binary"
  if readelf -lW "$binary" | grep -qE 'GNU_STACK.* RWE'; then
    echo "$name: the stack is executable"
    fail=1
  fi
  if readelf -dW "$binary" | grep -q TEXTREL; then
    echo "$name: code is relocated"
    fail=1
  fi
done
# The library calls nothing of which the C library has a checked form where its own code is all inlined.
[ "$optimised" != 1 ] || require "${program##*/}: no checked call of the C library" '__[a-z_]+_chk\b' readelf -sW --dyn-syms "$program"

# Where they run the libraries need those of C and C++ alone.
for binary in "$library" "$kit"; do
  others=$(readelf -dW "$binary" | sed -nE 's/.*\(NEEDED\).*\[(.*)\]/\1/p' |
    grep -vE '^(libstdc\+\+\.so\.6|libgcc_s\.so\.1|lib(m|c|dl|pthread)\.so\.6|ld-linux-.*\.so\.[0-9])$' || true)
  [ -z "$others" ] || { echo "${binary##*/} needs $others"; fail=1; }
done

# Control-flow protection: each object of ours is marked for it, and exported functions begin with a landing pad. The
# mark of a linked file needs start files of the C library that have it too, which Debian's have not.
if [ "$(uname -m)" = x86_64 ]; then
  unmarked=$(readelf -nW "$archive" 2>/dev/null | awk '
    /^File: / { if (file != "" && !marked) print file; file = $2; marked = 0 }
    /x86 feature:.*IBT.*SHSTK/ { marked = 1 }
    END { if (file != "" && !marked) print file }')
  [ -z "$unmarked" ] || { echo "without control-flow protection: $unmarked"; fail=1; }
  [ "$(readelf -nW "$archive" 2>/dev/null | grep -c '^File: ')" -gt 20 ] || { echo "${archive##*/}: too few objects"; fail=1; }
  address=$(nm -D --defined-only "$library" | awk '$3 ~ /align68Points/ { print $1 }')
  require "${library##*/}: no landing pad" endbr64 objdump -d --start-address="0x$address" --stop-address="$((0x$address + 4))" "$library"
fi
exit "$fail"
