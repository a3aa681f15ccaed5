#!/usr/bin/env bash
# enclose_messages.sh ARCHIVE LIBRARY SOURCE: makes LIBRARY, a copy of the message library's archive that a shared
# library can link, and SOURCE, the piece of C++ that goes with it. CXX, AR, NM, READELF and OBJCOPY name the tools.
#
# Debian builds the archive for programs. Code of a program reads the data of shared libraries (tables of virtual
# functions and of types, the standard error stream) at a place in the program itself, to which the loader copies them
# at the start. A shared library has no such places, so that its linker refuses the code. The copy reads them under
# names of its own, and SOURCE defines these and fills them when the library is loaded, before anything else of it runs.
# The part for pools of memory is left out: public/enclosed/message_memory.cpp says why.
set -euo pipefail
archive=$1 library=$2 source=$3

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp "$archive" "$work/all.a"
"$AR" d "$work/all.a" arena.o

# Data that the code reads by its distance from the code, and that the archive does not define.
"$NM" --defined-only "$work/all.a" 2>/dev/null | awk 'NF == 3 { print $3 }' | sort -u >"$work/defined"
"$READELF" -rW "$work/all.a" 2>/dev/null |
  awk '$3 == "R_X86_64_PC32" || $3 == "R_AARCH64_ADR_PREL_PG_HI21" { print $5 }' | grep -vE '^\.|^__dso_handle$' |
  sort -u | comm -23 - "$work/defined" >"$work/names"

# Their sizes, from the libraries that every C++ program has.
for runtime in libstdc++.so.6 libc.so.6; do
  "$READELF" -W --dyn-syms "$("$CXX" -print-file-name="$runtime")"
done | awk '$4 == "OBJECT" { sub(/@.*/, "", $8); print $8, $3 }' | sort -u >"$work/sizes"

# On some processors there are none: code reads such data through a table.
: >"$work/lines"
: >"$work/renamed"
{
  echo '// Made by cmake/enclose_messages.sh, which says what this is.'
  echo '#include <cstring>'
  echo 'extern "C" {'
  while read -r name; do
    size=$(awk -v name="$name" '$1 == name { print $2; exit }' "$work/sizes")
    [ -n "$size" ] || { echo "enclose_messages.sh: no library of C or C++ has $name" >&2; exit 1; }
    echo "extern char $name[];"
    echo "alignas(16) __attribute__((visibility(\"hidden\"))) char ozna_copy_$name[$size];"
    echo "  std::memcpy(ozna_copy_$name, $name, $size);" >>"$work/lines"
    echo "--redefine-sym $name=ozna_copy_$name" >>"$work/renamed"
  done <"$work/names"
  echo '}'
  echo '__attribute__((constructor(101))) static void fillTheCopies() {'
  cat "$work/lines"
  echo '}'
} >"$source"
"$OBJCOPY" @"$work/renamed" "$work/all.a" "$library"
