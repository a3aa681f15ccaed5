#!/usr/bin/env bash
# configure_project.sh BUILD SOURCE: the host project takes the source tree in by FetchContent, with the targets that it links.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
rm -rf "$1"
cmake -S "$here/project" -B "$1" -G Ninja -DPHOTOGRAPH=none -DOZNA_FETCH=ON -DOZNA_SOURCE="$2"
targets=$(ninja -C "$1" -t targets all)
for target in oznakit_c99 oznakit_cxx17 liboznakit.so; do grep -q "$target" <<<"$targets"; done
# Programs, tests and trainers of Ozna are not part of a host's build.
if grep -qE '(^|/)(kit_tests|ozna_tool|mine_windows):' <<<"$targets"; then
  echo "The host would build programs of Ozna." >&2
  exit 1
fi
