#!/usr/bin/env bash
# install.sh BUILD STAGE MOVED PREFIX: installs a build tree below STAGE, moves what lies at STAGE/PREFIX to MOVED, and
# checks that no text of it still names another place.
set -euo pipefail
build=$1 stage=$2 moved=$3 prefix=$4
rm -rf "$stage" "$moved"
DESTDIR=$stage cmake --install "$build" >/dev/null
if [ -n "$(find "$stage" -type f -not -path "$stage$prefix/*")" ]; then
  echo "Files outside of the prefix:" >&2
  find "$stage" -type f -not -path "$stage$prefix/*" >&2
  exit 1
fi
mv "$stage$prefix" "$moved"
if grep -rlE --include='*.cmake' --include='*.pc' --include='*.py' --include='*.pyi' -e "$build" -e "$stage" -e "(^|[\" =])$prefix/" "$moved"; then
  echo "These files name absolute places." >&2
  exit 1
fi
