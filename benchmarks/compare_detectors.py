#!/usr/bin/python3
"""Measures the detector beside those that Debian ships: how many faces each finds, and in what time.

    benchmarks/compare_detectors.py DATA EVALUATE [--page README.md] [--limit N]

DATA is a folder with detection/dev.jsonl, as evaluate_detector takes it; EVALUATE is that program, which measures ours.
Prints a table, or puts it into the page, in place of the one that is there. The others are frontal detectors of general
use: two cascades of OpenCV and the detector of dlib (scripts/install_packages.sh comparison).

All are held to the rules of evaluate_detector: a box matches a face from an intersection over union of 0.45 on, faces
count from a twentieth of the longer side on, and boxes on faces that do not count are not counted either. Their boxes
have other borders than our squares. One scale and one shift per detector, fitted to these very photographs, bring
them over, so that none loses a face by its convention.
"""

import argparse
import json
import pathlib
import re
import statistics
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parent
sys.path.insert(0, str(ROOT / "scripts"))
from boxes import overlap  # noqa: E402

MATCHES, UNCOUNTED, LEAST_SIDE = 0.45, 0.3, 0.05
WRONG_EACH = 0.1
BEGIN, END = "<!-- comparison: begin -->\n", "<!-- comparison: end -->\n"
CASCADES = pathlib.Path("/usr/share/opencv4")
OTHERS = [
    ("OpenCV 4.6, Haar cascade", f"cascade:{CASCADES}/haarcascades/haarcascade_frontalface_default.xml"),
    ("OpenCV 4.6, LBP cascade", f"cascade:{CASCADES}/lbpcascades/lbpcascade_frontalface.xml"),
    ("dlib 19.24, HOG", "dlib"),
    ("dlib 19.24, HOG, photograph enlarged by 2", "dlib:1"),
]
OURS = [("Ozna, built-in cascade", "public"), ("Ozna, compact cascade", "public/compact")]


def corners(square):
    half = square["side"] / 2
    return square["cx"] - half, square["cy"] - half, square["cx"] + half, square["cy"] + half


class Photograph:
    def __init__(self, folder, line):
        record = json.loads(line)
        self.path = str(folder / record["image"])
        least = LEAST_SIDE * max(record["width"], record["height"])
        counts = [not face["ignore"] and face["side"] >= least for face in record["faces"]]
        self.faces = [corners(face) for face, count in zip(record["faces"], counts) if count]
        self.uncounted = [corners(face) for face, count in zip(record["faces"], counts) if not count]


def build(folder):
    program = folder / "other_detectors"
    libraries = ["opencv_objdetect", "opencv_imgcodecs", "opencv_imgproc", "opencv_core", "dlib", "blas", "lapack"]
    subprocess.run(
        ["c++", "-std=c++17", "-O3", "-DNDEBUG", "-w", str(HERE / "other_detectors.cpp"), "-o", str(program)]
        + ["-isystem", "/usr/include/opencv4", *(f"-l{name}" for name in libraries), "-lpthread"],
        check=True,
    )
    return program


def search(program, detector, photographs):
    """Per photograph the milliseconds, the boxes of the detector's own settings, and scored ones."""
    output = subprocess.run(
        [program, detector], input="\n".join(p.path for p in photographs), check=True, capture_output=True, text=True
    ).stdout
    results = []
    for line in output.splitlines():
        kind, *numbers = line.split()
        numbers = [float(number) for number in numbers]
        if kind == "photograph":
            results.append((numbers[0], [], []))
            continue
        left, top, width, height, *score = numbers
        box = (left, top, left + width, top + height)
        results[-1][1 if kind == "default" else 2].append((box, score[0] if score else 0.0))
    assert len(results) == len(photographs), f"{detector}: {len(results)} results for {len(photographs)} photographs"
    return results


def convention(photographs, results):
    """Scale and shift, in sides of a box, from the detector's boxes to the squares of the faces that they cover."""
    scales, shifts = [], []
    for photograph, (_, boxes, _) in zip(photographs, results):
        for box, _ in boxes:
            face = max(photograph.faces, key=lambda face: overlap(box, face), default=None)
            if face is None or overlap(box, face) < 0.3:
                continue
            side = box[3] - box[1]
            scales.append((face[3] - face[1]) / side)
            shifts.append((face[1] + face[3] - box[1] - box[3]) / 2 / side)
    return statistics.median(scales), statistics.median(shifts)


def moved(box, scale, shift):
    side = box[3] - box[1]
    x, y = (box[0] + box[2]) / 2, (box[1] + box[3]) / 2 + shift * side
    half = scale * side / 2
    return x - half, y - half, x + half, y + half


def match(photograph, boxes):
    """The scores of the faces that are found, and of the wrong boxes; best boxes first."""
    found, wrong, taken = [], [], set()
    for box, score in sorted(boxes, key=lambda entry: -entry[1]):
        overlaps = [overlap(box, face) for face in photograph.faces]
        best = max(overlaps, default=0)
        if best >= MATCHES:
            face = overlaps.index(best)
            if face not in taken:
                taken.add(face)
                found.append(score)
        elif max((overlap(box, face) for face in photograph.uncounted), default=0) < UNCOUNTED:
            wrong.append(score)
    return found, wrong


def matched(photographs, boxes_of):
    found, wrong = [], []
    for photograph, boxes in zip(photographs, boxes_of):
        f, w = match(photograph, boxes)
        found += f
        wrong += w
    return found, sorted(wrong, reverse=True)


def measure_other(program, detector, photographs):
    results = search(program, detector, photographs)
    scale, shift = convention(photographs, results)
    faces = sum(len(photograph.faces) for photograph in photographs)
    boxes = [[(moved(box, scale, shift), score) for box, score in result[1]] for result in results]
    found, wrong = matched(photographs, boxes)
    scored = [[(moved(box, scale, shift), score) for box, score in result[2]] for result in results]
    all_found, all_wrong = matched(photographs, scored)
    allowed = int(WRONG_EACH * len(photographs))
    least = all_wrong[allowed] if allowed < len(all_wrong) else float("-inf")
    print(f"{detector}: boxes scaled by {scale:.3f}, moved down by {shift:.3f} sides", file=sys.stderr)
    return (
        sum(score > least for score in all_found) / faces,
        len(found) / faces,
        len(wrong) / len(photographs),
        sum(result[0] for result in results) / len(results),
    )


def measure_ours(evaluate, data, limit):
    command = [evaluate, data, "--threads", "1", "--models", *(str(ROOT / folder) for _, folder in OURS)]
    table = subprocess.run(command + (["--limit", str(limit)] if limit else []), check=True, capture_output=True, text=True).stdout

    def row(name):
        line = next(line for line in table.splitlines() if line.startswith(name))
        return [float(value) for value in re.split(r"\s+", line[len(name):].strip())]

    return list(
        zip(
            row("recall at 0.1 false positives per photograph"),
            row("built-in thresholds: recall"),
            row("built-in thresholds: false positives per photograph"),
            row("milliseconds of processor time per photograph"),
        )
    )


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("data")
    parser.add_argument("evaluate")
    parser.add_argument("--page")
    parser.add_argument("--limit", type=int)
    arguments = parser.parse_args()
    folder = pathlib.Path(arguments.data) / "detection"
    lines = (folder / "dev.jsonl").read_text().splitlines()
    photographs = [Photograph(folder, line) for line in lines if line][: arguments.limit]
    if not any(photograph.faces for photograph in photographs):
        sys.exit(f"{folder}/dev.jsonl has no face that counts")

    rows = [
        (name, *figures)
        for (name, _), figures in zip(OURS, measure_ours(arguments.evaluate, arguments.data, arguments.limit))
    ]
    with tempfile.TemporaryDirectory() as work:
        program = build(pathlib.Path(work))
        rows += [(name, *measure_other(program, detector, photographs)) for name, detector in OTHERS]
    text = (
        f"| {len(photographs)} photographs, {sum(len(p.faces) for p in photographs)} faces | recall at {WRONG_EACH} wrong boxes "
        "per photograph | recall as it comes | wrong boxes per photograph as it comes | ms per photograph |\n"
        "| --- | --- | --- | --- | --- |\n"
    )
    for name, at_rate, recall, wrong, milliseconds in rows:
        text += f"| {name} | {at_rate:.3f} | {recall:.3f} | {wrong:.2f} | {milliseconds:.0f} |\n"
    if not arguments.page:
        print(text, end="")
        return
    page = pathlib.Path(arguments.page)
    before, rest = page.read_text().split(BEGIN)
    page.write_text(before + BEGIN + text + END + rest.split(END)[1])


if __name__ == "__main__":
    main()
