#!/usr/bin/env bash
# The binary interface of the library against tests/abi/libozna.abi.
#
#   abi_test.sh compare WORK LIBRARY   the interface is the committed one, and LIBRARY defines what it names
#   abi_test.sh changes WORK LIBRARY   the comparison sees changes of several kinds
#   abi_test.sh renew WORK             writes the interface into libozna.abi
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$(cd "$here/../.." && pwd)
mode=$1 work=$2
committed=$here/libozna.abi
mkdir -p "$work"

# dump HEADER_DIRECTORY NAME: writes WORK/NAME.abi, the interface of the ozna.h in that directory.
dump() {
  "${CXX:-g++}" -std=c++17 -g -O1 -fPIC -shared -fvisibility=hidden -DOZNA_BUILDING -I"$1" "$here/interface.cpp" \
    -Wl,--version-script="$root/public/ozna.map" -Wl,-soname,libozna.so.0 -o "$work/$2.so"
  abidw --exported-interfaces-only --no-show-locs --no-comp-dir-path --no-corpus-path --no-elf-needed \
    "$work/$2.so" | sed "s#path='[^']*'#path='interface.cpp'#" >"$work/$2.abi"
}

# sees NAME SED-SCRIPT: a header changed by the script has another interface.
sees() {
  mkdir -p "$work/$1"
  sed -E "$2" "$root/public/ozna.h" >"$work/$1/ozna.h"
  if cmp -s "$work/$1/ozna.h" "$root/public/ozna.h"; then
    echo "The change '$1' changes nothing." >&2
    exit 1
  fi
  dump "$work/$1" "$1"
  if abidiff "$committed" "$work/$1.abi" >/dev/null; then
    echo "The change '$1' is not seen." >&2
    exit 1
  fi
}

# Names of functions alone: a constructor and a destructor have several symbols.
functions() { nm -D --defined-only "$1" | awk '{print $3}' | sort; }

case $mode in
  compare)
    dump "$root/public" interface
    abidiff "$committed" "$work/interface.abi" || {
      echo "The binary interface changed. Hosts that were built before must be built again, unless only functions were" >&2
      echo "added: raise the version of the library in CMakeLists.txt, then run scripts/renew_abi.sh." >&2
      exit 1
    }
    diff <(functions "$work/interface.so") <(functions "$3")
    ;;
  changes)
    sees field 's/^(  std::int32_t windowSize;)/\1\n  float added;/'
    sees order 's/^  T left;/  T swapped;/; s/^  T top;/  T left;/; s/^  T swapped;/  T top;/'
    sees number 's/StatusNotLoaded = -6/StatusNotLoaded = -7/'
    sees score 's/^  float score;/  double score;/'
    sees member 's/^  DetectorImpl\* impl_;/  DetectorImpl* impl_;\n  int added_;/'
    ;;
  renew)
    dump "$root/public" interface
    cp "$work/interface.abi" "$committed"
    ;;
  *) exit 2 ;;
esac
