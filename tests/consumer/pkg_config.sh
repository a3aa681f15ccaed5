#!/usr/bin/env bash
# pkg_config.sh BUILD PHOTOGRAPH PREFIX LIBDIR: builds and runs the host program with nothing but a compiler and
# pkg-config. LIBDIR is relative to the prefix.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
build=$1 photograph=$2
mkdir -p "$build"
# A shell cannot take apart what pkg-config prints of a path with a blank.
plain=$(mktemp -d)
trap 'rm -rf "$plain"' EXIT
ln -s "$3" "$plain/installed"
libdir=$plain/installed/$4
export PKG_CONFIG_PATH=$libdir/pkgconfig LD_LIBRARY_PATH=$libdir
models=$(pkg-config --variable=modelsdir ozna)
for package in ozna ozna-static; do
  read -ra compile < <(pkg-config --cflags "$package")
  read -ra link < <(pkg-config --libs "$package")
  for standard in 17 20; do
    program=$build/$package-$standard
    "${CXX:-g++}" "-std=c++$standard" "${compile[@]}" "$here/project/main.cpp" "${link[@]}" -o "$program"
    "$program" "$models" "$photograph"
  done
done
# The library for applications, with the run path given and no other help for the loader.
unset LD_LIBRARY_PATH
read -ra compile < <(pkg-config --cflags oznakit)
read -ra link < <(pkg-config --libs oznakit)
run_path="-Wl,-rpath,$(pkg-config --variable=libdir oznakit)"
for standard in 17 20; do
  "${CXX:-g++}" "-std=c++$standard" "${compile[@]}" "$here/project/kit_main.cpp" "${link[@]}" "$run_path" -o "$build/kit-$standard"
  "$build/kit-$standard" "$photograph"
done
# Each program is linked with the library that its package names.
needs() { readelf -d "$build/$1" | grep -c 'NEEDED.*libozna' || true; }
[ "$(needs ozna-17)" -eq 1 ]
[ "$(needs ozna-static-17)" -eq 0 ]
