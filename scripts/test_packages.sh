#!/usr/bin/env bash
# test_packages.sh [PACKAGES]: proves the Debian packages in a clean root.
#
# Makes a minimal Debian 12 by debootstrap, installs the packages of the directory PACKAGES (built by
# scripts/build_packages.sh where none is given, and looked through by lintian), finds the faces of a sample, builds and runs the host project of
# tests/consumer and the example with what the -dev packages bring, imports the Python module, purges everything and looks for leftovers.
# Needs root and Debian's mirror (MIRROR); takes some minutes. KEEP=1 keeps the root for a look.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
mirror=${MIRROR:-http://deb.debian.org/debian}

"$root/scripts/install_packages.sh" packages
packages=${1:-}
if [ -z "$packages" ]; then
  packages=$root/build/packages
  "$root/scripts/build_packages.sh" "$packages"
fi

echo "Debian's rules ..."
lintian --allow-root --fail-on error --tag-display-limit 0 "$packages"/*.deb

clean=$(mktemp -d "${TMPDIR:-/tmp}/ozna-clean-root.XXXXXX")
chmod 755 "$clean"  # For those inside who are not root.
remove_root() {
  umount "$clean/proc" 2>/dev/null || true
  [ "${KEEP:-0}" = 1 ] && echo "The root is $clean" || rm -rf --one-file-system "$clean"
}
trap remove_root EXIT

echo "Making a clean root ..."
debootstrap --variant=minbase bookworm "$clean" "$mirror" >"$packages/debootstrap.log" 2>&1 || { tail "$packages/debootstrap.log"; exit 1; }
cp /etc/resolv.conf "$clean/etc/"
# What this machine needs to reach its mirror: a proxy, or leave to use an old index.
for settings in $(grep -lsiE 'proxy|Check-(Date|Valid-Until)' /etc/apt/apt.conf.d/* || true); do
  cp "$settings" "$clean/etc/apt/apt.conf.d/"
done
printf 'deb %s bookworm main\ndeb %s bookworm-updates main\ndeb %s-security bookworm-security main\n' \
  "$mirror" "$mirror" "$mirror" >"$clean/etc/apt/sources.list"
mkdir "$clean/packages" "$clean/project"
cp "$packages"/*.deb "$clean/packages/"
cp -r "$root"/tests/consumer/{project,cmake_project.sh,pkg_config.sh} "$clean/project/"
cp "$root/samples/astronaut.png" "$clean/packages/"

inside() { chroot "$clean" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8 OPENBLAS_NUM_THREADS=1 "$@"; }
# get NAME...: installs packages; a name may be a pattern of files in the root.
get() { inside sh -c "apt-get install -y -qq --no-install-recommends $*" >>"$packages/apt.log" 2>&1 || { tail -n 30 "$packages/apt.log"; exit 1; }; }
: >"$packages/apt.log"
mount -t proc proc "$clean/proc"
inside apt-get update -qq

echo "The program ..."
get '/packages/liboznakit0_*.deb' '/packages/ozna-models_*.deb' '/packages/ozna-tools_*.deb'
inside ozna detect /packages/astronaut.png | tee /dev/stderr | grep -q '1 face$'
inside ozna align --points 5 /packages/astronaut.png >/dev/null

echo "The host project ..."
get '/packages/libozna0_*.deb' '/packages/libozna-dev_*.deb' '/packages/liboznakit-dev_*.deb'
needed=$(inside dpkg-query -W -f='${Suggests}' libozna-dev | tr -d ',')
get g++ cmake ninja-build pkg-config python3-pil "$needed"
inside python3 -c 'from PIL import Image; Image.open("/packages/astronaut.png").convert("RGB").save("/packages/astronaut.ppm")'
inside env LAUNCHER= /project/cmake_project.sh /tmp/cmake /packages/astronaut.ppm
pkgconfig=$(dirname "$(inside dpkg -L libozna-dev | grep '/ozna.pc$')")
examples=/usr/share/doc/liboznakit-dev/examples
inside sh -c "g++ -std=c++17 $examples/find_faces.cpp \$(pkg-config --cflags --libs oznakit) -o /tmp/find_faces"
inside /tmp/find_faces /packages/astronaut.ppm | tee /dev/stderr | grep -q .
inside sh -c 'zcat /usr/share/man/man1/ozna.1.gz | grep -q ENVIRONMENT'
inside sh -c 'ldconfig -p | grep -q liboznakit.so.0'
libdir=${pkgconfig%/*}
inside /project/pkg_config.sh /tmp/pkg_config /packages/astronaut.ppm /usr "${libdir#/usr/}"

echo "The Python module ..."
get '/packages/python3-ozna_*.deb'
inside python3 - <<'END'
import numpy, ozna
from PIL import Image
image = numpy.asarray(Image.open("/packages/astronaut.png").convert("RGB"))
faces = ozna.detect(image)
ozna.load_landmarks()
print(faces, ozna.align(image, faces[0], points=5), sep="\n")
assert len(faces) == 1
END

echo "The purge ..."
installed=$(inside dpkg-query -W -f='${Package}\n' '*ozna*')
[ "$(wc -w <<<"$installed")" -eq 7 ]
for package in $installed; do inside test -s "/usr/share/doc/$package/copyright"; done
inside apt-get purge -y -qq $installed >>"$packages/apt.log" 2>&1
left=$(inside sh -c 'find / -xdev -iname "*ozna*" -not -path "/proc/*" -not -path "/packages/*" -not -path "/project*" -not -path "/tmp/*" -not -path "/var/log/*"')
known=$(inside sh -c 'dpkg-query -W -f="\${Package}\n" "*ozna*" 2>/dev/null' || true)
if [ -n "$left$known" ]; then
  echo "Left behind: $left $known" >&2
  exit 1
fi
echo "The packages install, work and purge cleanly."
