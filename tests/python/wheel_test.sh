#!/usr/bin/env bash
# wheel_test.sh PYTHON SOURCE WORK PHOTOGRAPH: pip makes a wheel of the source tree and installs it into an empty virtual
# environment, where it finds a face with the models that it carries.
set -euo pipefail
python=$1 source=$2 work=$3 photograph=$4
rm -rf "$work"
mkdir -p "$work/source"
# A copy, since pip leaves its traces in a source tree. Seen from the build folders of both, the sources lie at the same places, so
# that a compiler cache knows most objects from the build of the tree.
export CCACHE_BASEDIR="$work/source" CCACHE_NOHASHDIR=true
tar -C "$source" --exclude=./build --exclude=./.git -cf - . | tar -C "$work/source" -xf -
"$python" -m pip wheel --quiet --no-index --no-build-isolation --no-deps --wheel-dir "$work" "$work/source"
rm -rf "$work/source"

"$python" -m venv "$work/environment"
"$work/environment/bin/python" -m pip install --quiet --no-index --no-deps "$work"/ozna-*.whl
packages=$("$work/environment/bin/python" -c 'import sysconfig; print(sysconfig.get_path("purelib"))')
# What an index would bring along.
ln -s "$("$python" -c 'import numpy, os; print(os.path.dirname(numpy.__file__))')" "$packages/numpy"
cd /
env -i PATH=/usr/bin:/bin "$work/environment/bin/python" - "$packages" "$photograph" <<'END'
import subprocess, sys
import numpy, ozna

packages, photograph = sys.argv[1:]
assert ozna.__file__.startswith(packages) and ozna.models_dir().startswith(packages), ozna.models_dir()
with open("/proc/self/maps") as maps:
    library = {line.split(maxsplit=5)[-1].rstrip("\n") for line in maps if "/liboznakit.so" in line}
assert len(library) == 1 and all(path.startswith(packages) for path in library), library
needed = subprocess.run(["ldd", *library], capture_output=True, text=True, check=True).stdout
for line in needed.splitlines():
    assert any(name in line for name in ("linux-vdso", "libstdc++", "libgcc_s", "libm.", "libc.", "ld-linux")), line
data = open(photograph, "rb").read()
width, height = map(int, data.split(maxsplit=3)[1:3])
image = numpy.frombuffer(data, numpy.uint8, offset=len(data) - 3 * width * height).reshape(height, width, 3)
finder = ozna.Finder()
(face,) = finder.align(image, finder.detect(image))
print(face, finder)
assert len(face.points) == 68
END
