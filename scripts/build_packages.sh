#!/usr/bin/env bash
# build_packages.sh [OUT]: builds the Debian packages libozna0, libozna-dev, liboznakit0, liboznakit-dev, ozna-models,
# ozna-tools and python3-ozna into the directory OUT, build/packages by default.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
out=$(realpath -m "${1:-$root/build/packages}")

"$root/scripts/install_packages.sh" build python packages
"$root/scripts/build.sh" package
mkdir -p "$out"
rm -f "$out"/*.deb
(cd "$root/build/package" && cpack -G DEB -B "$out" >"$out/cpack.log" 2>&1) || { cat "$out/cpack.log" >&2; exit 1; }
rm -rf "$out/_CPack_Packages"
ls -l "$out"/*.deb
