#!/usr/bin/env bash
# install_packages.sh GROUP...: makes sure that Debian's packages of the named groups are installed.
# install_packages.sh --names GROUP...: prints their names, a line each, and installs nothing.
#
# Groups: build (the library and the program), python (the Python module), check (tests, benchmarks, trainers),
# browser (for the test of the program's report, which is skipped without it),
# comparison (the detectors that benchmarks/compare_detectors.py measures), fuzz (clang's fuzzer), coverage (the measure of lines),
# arm64 (the cross compiler and the emulator), packages (the Debian packages), tidy (the rules of scripts/tidy_changed.sh).
# Installs what is missing when it may (root, or sudo without a password); otherwise says what to install and fails.
# When nothing is missing it asks dpkg alone and touches no network.
set -euo pipefail

# libsnappy-dev: the CMake package of libleveldb-dev names the library without depending on it. Its archive, and that of
# zlib1g-dev, go into the shared libraries.
build=(g++ cmake ninja-build pkg-config protobuf-compiler
       libopencv-core-dev libopencv-imgproc-dev libopencv-imgcodecs-dev
       libprotobuf-dev libboost-dev libgoogle-glog-dev libblis-serial-dev libopenblas-dev libleveldb-dev libsnappy-dev zlib1g-dev
       libcli11-dev nlohmann-json3-dev libexiv2-dev libexpat1-dev libjpeg62-turbo-dev libpng-dev libheif-dev libmd-dev
       libraw-dev libgif-dev libwebp-dev)
check=(libgtest-dev libgmock-dev libbenchmark-dev liblapacke-dev binutils clang-format ccache locales
       libimage-exiftool-perl libjpeg-turbo-progs mandoc groff-base zsh fish bsdutils
       python3-torch python3-numpy python3-protobuf python3-pytest
       python3-pil python3-distributed parallel abigail-tools doxygen
       rustc qt6-base-dev xvfb xauth)
python=(python3-dev pybind11-dev python3-numpy python3-pip python3-setuptools python3-venv python3-wheel)
browser=(chromium-headless-shell)
comparison=(g++ libopencv-objdetect-dev opencv-data libopencv-imgcodecs-dev libdlib-dev)
packages=(dpkg-dev file fakeroot debootstrap lintian)
fuzz=(clang libclang-rt-14-dev)
coverage=(gcovr)
tidy=(clang-tidy)
arm64=(g++-aarch64-linux-gnu qemu-user)

names_only=false
[ "${1:-}" != --names ] || { names_only=true; shift; }
wanted=()
for group in "$@"; do
  case "$group" in
    build) wanted+=("${build[@]}") ;;
    python) wanted+=("${python[@]}") ;;
    browser) wanted+=("${browser[@]}") ;;
    packages) wanted+=("${packages[@]}") ;;
    comparison) wanted+=("${comparison[@]}") ;;
    check) wanted+=("${check[@]}") ;;
    fuzz) wanted+=("${fuzz[@]}") ;;
    coverage) wanted+=("${coverage[@]}") ;;
    arm64) wanted+=("${arm64[@]}") ;;
    tidy) wanted+=("${tidy[@]}") ;;
    *) echo "install_packages.sh: unknown group '$group'; expected build, python, check, browser, comparison, fuzz, coverage, arm64, packages or tidy" >&2; exit 2 ;;
  esac
done

if [ "$names_only" = true ]; then
  printf '%s\n' "${wanted[@]}"
  exit 0
fi

missing=()
for package in "${wanted[@]}"; do
  # Virtual and multi-arch forms both count: what matters is the status, not the architecture in the name.
  dpkg-query -W -f='${db:Status-Status}\n' "$package" 2>/dev/null | grep -qx installed || missing+=("$package")
done
[ "${#missing[@]}" -eq 0 ] && exit 0

echo "Missing Debian packages: ${missing[*]}" >&2
if [ "$(id -u)" -eq 0 ]; then
  as_root=(env DEBIAN_FRONTEND=noninteractive)
elif command -v sudo >/dev/null && sudo -n true 2>/dev/null; then
  as_root=(sudo -n env DEBIAN_FRONTEND=noninteractive)
else
  echo "Not allowed to install them. Please run, as root:" >&2
  echo "  apt-get update && apt-get install --no-install-recommends ${missing[*]}" >&2
  exit 1
fi
"${as_root[@]}" apt-get update -qq
"${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
