#!/usr/bin/env bash
# installed_module.sh PYTHON DIRECTORY PHOTOGRAPH: the Python module of a moved tree finds its library and its models.
set -euo pipefail
python=$1 directory=$2 photograph=$3
cd /
PYTHONDONTWRITEBYTECODE=1 PYTHONPATH=$directory "$python" - "$directory" "$photograph" <<'END'
import os, re, sys
import numpy, ozna

directory, photograph = sys.argv[1:]
prefix = os.path.commonpath([directory, ozna.models_dir()])
assert ozna.__file__.startswith(directory), ozna.__file__
assert os.path.isfile(os.path.join(ozna.models_dir(), "stages.txt"))
with open("/proc/self/maps") as maps:
    library = {line.split(maxsplit=5)[-1].rstrip("\n") for line in maps if "/liboznakit.so" in line}
assert len(library) == 1 and os.path.commonpath([prefix, *library]) == prefix, library

data = open(photograph, "rb").read()
width, height = map(int, data.split(maxsplit=3)[1:3])
image = numpy.frombuffer(data, numpy.uint8, offset=len(data) - 3 * width * height).reshape(height, width, 3)
faces = ozna.detect(image)
ozna.load_landmarks()
assert ozna.align(image, faces[0]).shape == (68, 2)
END
