#!/usr/bin/python3
"""Holds the faces that the program finds against a table, or against those of another way to compute them.

    compare_results.py write PROGRAM FOLDER [NAME...]   prints the table of these photographs, of all by default
    compare_results.py table PROGRAM TABLE FOLDER       compares with a table; exit 77 where FOLDER is empty
    compare_results.py cores PROGRAM FOLDER CORE...     runs once per set of kernels (OZNA_KERNELS) and
                                                        compares each with the first; exit 77 where the processor
                                                        runs fewer than two
    compare_results.py programs FIRST SECOND FOLDER     compares two builds; words in SECOND after the first are its
                                                        launcher's, as in 'qemu-aarch64 -L ROOT ozna'

A table has one line per face, best score first: photograph, box, score and, for the first face of a photograph, its 68
landmarks; a photograph without a face has a line with '-'. Boxes may differ by a pixel, scores by 1e-4 and landmarks by
a quarter of a pixel, far less than anybody sees and more than the order of float sums makes. The number of photographs
in which something differs at all, and the largest differences, are printed. Exit status 1 where one is beyond these.
"""

import json
import os
import pathlib
import shlex
import subprocess
import sys

# What the kernels of the mathematics library need of the processor.
NEEDS = {"generic": "fpu", "penryn": "ssse3", "sandybridge": "avx", "haswell": "avx2", "zen3": "avx2", "skx": "avx512f"}
BOX_PX, SCORE, POINT_PX = 1.0, 1e-4, 0.25
SUFFIXES = {".jpg", ".png"}


def photographs(folder):
    return sorted(path.name for path in pathlib.Path(folder).iterdir() if path.suffix in SUFFIXES)


def faces_of(program, folder, names, **environment):
    """The faces of each photograph: a list of (box, score, points) by name."""
    models = pathlib.Path(__file__).resolve().parent.parent / "public"
    # A path may hold blanks; what is no path is a program behind an emulator.
    command = ([program] if os.path.exists(program) else shlex.split(program)) + ["align", "--points", "68", "--json", "--progress", "never", "--models", str(models), "-0", "-"]
    listing = "".join(f"{pathlib.Path(folder) / name}\0" for name in names)
    run = subprocess.run(command, input=listing.encode(), stdout=subprocess.PIPE,
                         stderr=subprocess.PIPE, check=False,
                         env={**os.environ, "OPENBLAS_NUM_THREADS": "1", **environment})
    found = {}
    for line in run.stdout.decode().splitlines():
        record = json.loads(line)
        if "faces" not in record:
            sys.exit(f"compare_results.py: {record}")
        found[pathlib.Path(record["path"]).name] = [
            ([face[edge] for edge in ("left", "top", "right", "bottom")], face["score"],
             [value for point in face["points"] for value in point]) for face in record["faces"]]
    if set(found) != set(names):
        sys.exit(f"compare_results.py: {program} gave {len(found)} of {len(names)} photographs, exit status {run.returncode}")
    return found


def write(found, stream):
    for name in sorted(found):
        if not found[name]:
            stream.write(f"{name} -\n")
        for number, (box, score, points) in enumerate(found[name]):
            numbers = [f"{edge:g}" for edge in box] + [f"{score:.6f}"]
            numbers += [f"{value:.2f}" for value in points] if number == 0 else []
            stream.write(" ".join([name] + numbers) + "\n")


def read(path):
    found = {}
    for line in pathlib.Path(path).read_text().splitlines():
        name, *numbers = line.split()
        faces = found.setdefault(name, [])
        if numbers != ["-"]:
            values = [float(number) for number in numbers]
            faces.append((values[:4], values[4], values[5:]))
    return found


def farthest(left, right):
    return max((abs(a - b) for a, b in zip(left, right)), default=0.0)


def compare(expected, found, title):
    """Prints how two results differ; whether they agree."""
    bad, touched, faces = [], 0, 0
    largest = [0.0, 0.0, 0.0]
    for name in sorted(expected):
        left, right = expected[name], found[name]
        faces += len(left)
        if len(left) != len(right):
            bad.append(f"{name}: {len(right)} faces instead of {len(left)}")
            continue
        # Faces of nearly one score may change places.
        rest = list(right)
        differs = False
        for box, score, points in left:
            mate = min(rest, key=lambda face: farthest(face[0], box))
            rest.remove(mate)
            away = [farthest(mate[0], box), abs(mate[1] - score), farthest(mate[2], points)]
            largest = [max(pair) for pair in zip(largest, away)]
            differs = differs or away[0] > 0 or away[1] > 1e-6 or away[2] > 0.01
            if away[0] > BOX_PX or away[1] > SCORE or away[2] > POINT_PX:
                bad.append(f"{name}: {box} differs by {away[0]:g} px, score {away[1]:.2g}, landmarks {away[2]:.2g} px")
        touched += differs
    print(f"{title}: {len(expected)} photographs, {faces} faces, {touched} photographs differ at all; largest: box {largest[0]:g} px, "
          f"score {largest[1]:.2g}, landmarks {largest[2]:.2g} px; {len(bad)} beyond the limits")
    for line in bad:
        print(f"  {line}")
    return not bad


def main(arguments):
    if len(arguments) < 3:
        sys.exit(__doc__)
    mode, program = arguments[:2]
    if mode == "write":
        folder = arguments[2]
        write(faces_of(program, folder, arguments[3:] or photographs(folder)), sys.stdout)
        return 0
    if mode == "table":
        table, folder = arguments[2:4]
        if not folder:
            print(f"skipped: no folder of the photographs of {pathlib.Path(table).name}")
            return 77
        expected = read(table)
        return 0 if compare(expected, faces_of(program, folder, list(expected)), pathlib.Path(table).name) else 1
    if mode == "cores":
        folder, *cores = arguments[2:]
        flags = set(pathlib.Path("/proc/cpuinfo").read_text().split())
        lacking = [core for core in cores if NEEDS.get(core, core) not in flags]
        if lacking:
            print(f"this processor cannot run: {' '.join(lacking)}")
        cores = [core for core in cores if core not in lacking]
        if len(cores) < 2:
            return 77
        names = photographs(folder)
        results = [faces_of(program, folder, names, OZNA_KERNELS=core) for core in cores]
        agree = [compare(results[0], result, f"{core} against {cores[0]}") for core, result in zip(cores[1:], results[1:])]
        # Sums are formed in another order in each, which some digit of thousands shows.
        alike = [core for core, result in zip(cores[1:], results[1:]) if result == results[0]]
        if alike:
            print(f"to the last digit as {cores[0]}, so that they cannot have run: {' '.join(alike)}")
        return 0 if all(agree) and not alike else 1
    if mode == "programs":
        second, folder = arguments[2:4]
        names = photographs(folder)
        return 0 if compare(faces_of(program, folder, names), faces_of(second, folder, names), "two builds") else 1
    sys.exit(__doc__)


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
