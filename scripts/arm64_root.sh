#!/usr/bin/env bash
# arm64_root.sh FOLDER: lays Debian's arm64 packages of what the library, the program and the tests link out below
# FOLDER/root, by an apt of its own that knows no other architecture. This machine's packages stay as they are. What is
# there already is kept.
set -euo pipefail
folder=$(mkdir -p "${1:?usage: arm64_root.sh FOLDER}" && cd "$1" && pwd)
root=$folder/root
scripts=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
# What is a library among the packages of this machine's own build.
mapfile -t packages < <("$scripts/install_packages.sh" --names build | grep -e '-dev$')
packages+=(libc6-dev libstdc++-12-dev libgtest-dev libgmock-dev)
[ "$(cat "$folder/packages" 2>/dev/null)" = "${packages[*]}" ] && exit 0

echo "Fetching Debian's arm64 packages ..." >&2
apt=$folder/apt
rm -rf "$root"
mkdir -p "$root" "$apt/lists/partial" "$apt/archives/partial"
: >"$apt/status"  # Nothing is installed there.
echo "deb [signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] http://deb.debian.org/debian bookworm main" \
  >"$apt/sources.list"
options=(-qq -o Dir::State::lists="$apt/lists" -o Dir::State::status="$apt/status" -o Dir::Cache="$apt"
         -o Dir::Cache::archives="$apt/archives" -o Dir::Etc::sourcelist="$apt/sources.list" -o Dir::Etc::sourceparts=-
         -o APT::Architecture=arm64 -o APT::Architectures=arm64 -o Debug::NoLocking=1
         -o APT::Sandbox::User= -o APT::Keep-Downloaded-Packages=1 -o DPkg::Post-Invoke=)
apt-get "${options[@]}" update
apt-get "${options[@]}" install -y --no-install-recommends --download-only "${packages[@]}"
for package in "$apt"/archives/*.deb; do dpkg -x "$package" "$root"; done

# The names that the packages' scripts would have chosen among several libraries.
libraries=$root/usr/lib/aarch64-linux-gnu
for name in libopenblas.so libopenblas.so.0 libblas.so libblas.so.3 liblapack.so.3; do
  ln -sfn "openblas-pthread/$name" "$libraries/$name"
done
for header in "$root"/usr/include/aarch64-linux-gnu/openblas-pthread/*; do
  ln -sfn "openblas-pthread/$(basename "$header")" "$root/usr/include/aarch64-linux-gnu/$(basename "$header")"
done
rm -rf "$apt/archives"
echo "${packages[*]}" >"$folder/packages"
