#!/usr/bin/env bash
# The binary interface of a library, ozna or oznakit, against tests/abi/libNAME.abi.
#
#   abi_test.sh NAME compare WORK LIBRARY   the interface is the committed one, and LIBRARY defines what it names
#   abi_test.sh NAME changes WORK LIBRARY   the comparison sees changes of several kinds
#   abi_test.sh NAME renew WORK             writes the interface into libNAME.abi
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$(cd "$here/../.." && pwd)
name=$1 mode=$2 work=$3/$1
case $name in
  ozna) folder=public header=ozna.h interface=interface.cpp ;;
  oznakit) folder=kit header=oznakit.h interface=kit_interface.cpp ;;
  *) exit 2 ;;
esac
committed=$here/lib$name.abi
mkdir -p "$work"

# dump HEADER_DIRECTORY NAME: writes WORK/NAME.abi, the interface of the header in that directory.
dump() {
  "${CXX:-g++}" -std=c++17 -g -O1 -fPIC -shared -fvisibility=hidden -DOZNA_BUILDING -DOZNAKIT_BUILDING -I"$1" "$here/$interface" \
    -Wl,--version-script="$root/$folder/$name.map" -Wl,-soname,lib$name.so.0 -o "$work/$2.so"
  abidw --exported-interfaces-only --no-show-locs --no-comp-dir-path --no-corpus-path --no-elf-needed \
    "$work/$2.so" | sed "s#path='[^']*'#path='$interface'#" >"$work/$2.abi"
}

# sees NAME SED-SCRIPT: a header changed by the script has another interface.
sees() {
  mkdir -p "$work/$1"
  sed -E "$2" "$root/$folder/$header" >"$work/$1/$header"
  if cmp -s "$work/$1/$header" "$root/$folder/$header"; then
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
    dump "$root/$folder" interface
    abidiff "$committed" "$work/interface.abi" || {
      echo "The binary interface changed. Hosts that were built before must be built again, unless only functions were" >&2
      echo "added: raise the version of the library in CMakeLists.txt, then run scripts/renew_abi.sh." >&2
      exit 1
    }
    diff <(functions "$work/interface.so") <(functions "$4")
    ;;
  changes)
    if [ "$name" = ozna ]; then
      sees field 's/^(  std::int32_t windowSize;)/\1\n  float added;/'
      sees order 's/^  T left;/  T swapped;/; s/^  T top;/  T left;/; s/^  T swapped;/  T top;/'
      sees number 's/StatusNotLoaded = -6/StatusNotLoaded = -7/'
      sees score 's/^  float score;/  double score;/'
      sees member 's/^  DetectorImpl\* impl_;/  DetectorImpl* impl_;\n  int added_;/'
    else
      sees field 's/^(  float sharpness;.*)/  float added;\n\1/'
      sees order 's/^  int32_t width;/  int32_t swapped;/; s/^  int32_t height;/  int32_t width;/; s/swapped/height/'
      sees type 's/^  double margin;/  float margin;/'
    fi
    ;;
  renew)
    dump "$root/$folder" interface
    cp "$work/interface.abi" "$committed"
    ;;
  *) exit 2 ;;
esac
