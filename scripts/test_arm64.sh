#!/usr/bin/env bash
# test_arm64.sh: builds the library, the program and the tests of the core and the kit for arm64, with Debian's cross
# compiler against Debian's arm64 packages, runs the tests under qemu-user, and holds the faces that the arm64 program finds
# in the samples against this machine's (boxes within a pixel). Everything lies below build/arm64 and build/arm64-packages.
#
# All suites run but for those of threads and for those that start a process in a few ways for each of many damaged files:
# under the emulator a test takes some 20 times its time, one of searches 130 times. Left out too are the three longest, whose
# thresholds let nearly every box through (a quarter of an hour each), bounds of milliseconds, and a limit of the address
# space, which the emulator shares.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
scripts/install_packages.sh build check arm64
export OPENBLAS_NUM_THREADS=1
build=build/arm64
arm64=$root/build/arm64-packages
targets=({caffe_core,caffe_layer,caffe_data,mp,imaging,alignment,detector,public,kit}_tests)

scripts/arm64_root.sh "$arm64"
options=()
command -v ccache >/dev/null && options+=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
mkdir -p build
echo "Building (arm64) ..." >&2
if ! {
  cmake -S . -B "$build" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$root/cmake/arm64.cmake" -DOZNA_ARM64_ROOT="$arm64/root" \
    -DCMAKE_BUILD_TYPE=Release -DOZNA_BUILD_TRAINING=OFF -DOZNA_BUILD_BENCHMARKS=OFF "${options[@]}" &&
    ninja -C "$build" ozna ozna_tool "${targets[@]}"
} >build/arm64.log 2>&1; then
  cat build/arm64.log >&2
  echo "The build failed; the log is $root/build/arm64.log" >&2
  exit 1
fi
scripts/build.sh release ozna_tool

failed=0
echo "Testing (arm64, under qemu-user) ..."
pattern=$(IFS='|'; echo "${targets[*]}")
ctest --test-dir "$build" -R "^($pattern)/" -E 'Threads[.]|DeathTest[.]|BuiltInCascade[.][FGK]|Every50Milliseconds|WorkspaceInUse[.]' --output-on-failure -j2 >build/arm64-tests.log 2>&1 || failed=1
grep -E '\*\*\*|tests passed|Total Test time' build/arm64-tests.log || { cat build/arm64-tests.log; failed=1; }

echo "Comparing the samples' faces ..."
scripts/compare_results.py programs build/release/tools/ozna "qemu-aarch64 -L $arm64/root $build/tools/ozna" samples || failed=1
echo "It took $SECONDS s."
exit "$failed"
