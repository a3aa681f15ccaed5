#!/usr/bin/python3
"""Measures speed and recall of the presets, and of single parameters, on annotated photographs.

    scripts/measure_presets.py DATA.jsonl PROGRAM [--page docs/tuning.md] [--limit N]

Prints a table, or puts it into the page, in place of the one that is there. A line of DATA.jsonl is an object with
"image", a path from the file's directory on, "width", "height", and "faces": squares of "cx", "cy", "side", and
"ignore" where a face counts neither way.
"""

import argparse
import json
import os
import pathlib
import resource
import subprocess
import tempfile

from boxes import overlap

SETTINGS = [
    "--preset fast",
    "--preset balanced",
    "--preset thorough",
    "--min-face 2.5%",
    "--margin 25",
    "--min-face-fraction 0.2 --pyramid-levels 6",
    "--min-face-fraction 0.035 --pyramid-levels 14",
    "--pyramid-levels 5",
    "--pyramid-factor 1.6 --pyramid-levels 7",
    "--pyramid-factor 1.12 --pyramid-levels 23",
    "--max-upscale 1",
]
# Parts of the longer side of the photograph.
SIZES = [(0.025, 0.05), (0.05, 0.1), (0.1, 0.2), (0.2, 0.35), (0.35, 1.0)]
# From these intersections over union on, a box and a face belong together; a box on a face that is ignored, or
# smaller than the smallest of SIZES, belongs to it sooner, since such faces are annotated loosely.
BELONGS = 0.45
BELONGS_TO_UNCOUNTED = 0.3
# The page holds the table between these lines.
BEGIN, END = "<!-- figures: begin -->\n", "<!-- figures: end -->\n"


def square(face):
    half = face["side"] / 2
    return face["cx"] - half, face["cy"] - half, face["cx"] + half, face["cy"] + half


def run(program, options, photographs):
    """The records of the photographs by their paths, and the seconds of processor time."""
    with tempfile.TemporaryFile() as names, tempfile.TemporaryFile() as output:
        names.write("\0".join(photographs).encode())
        names.seek(0)
        before = resource.getrusage(resource.RUSAGE_CHILDREN)
        subprocess.run(
            [program, "detect", "--json", "--jobs", "1", "--progress", "never", "-0", *options, "-"],
            stdin=names,
            stdout=output,
            check=True,
        )
        after = resource.getrusage(resource.RUSAGE_CHILDREN)
        output.seek(0)
        records = {record["path"]: record for record in map(json.loads, output)}
    return records, after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime


def measure(truth, records):
    """For each of SIZES the numbers of faces found and of all; and the wrong boxes of all photographs."""
    counts = [[0, 0] for _ in SIZES]
    wrong = 0
    for path, photograph in truth.items():
        longer_side = max(photograph["width"], photograph["height"])
        boxes = [[face[edge] for edge in ("left", "top", "right", "bottom")] for face in records[path]["faces"]]
        right = set()
        for face in photograph["faces"]:
            overlaps = [overlap(box, square(face)) for box in boxes]
            size = face["side"] / longer_side
            if face["ignore"] or size < SIZES[0][0]:
                right.update(i for i, part in enumerate(overlaps) if part >= BELONGS_TO_UNCOUNTED)
                continue
            right.update(i for i, part in enumerate(overlaps) if part >= BELONGS)
            for count, (low, high) in zip(counts, SIZES):
                if low <= size < high:
                    count[0] += max(overlaps, default=0) >= BELONGS
                    count[1] += 1
        wrong += len(boxes) - len(right)
    return counts, wrong


def table(truth, program):
    """The lines of the table."""
    head = [f"{100 * low:g}% to {100 * high:g}%" for low, high in SIZES]
    yield f"| options | {' | '.join(head)} | wrong boxes per photograph | ms per photograph |"
    yield "| --- |" + " --- |" * (len(SIZES) + 2)
    counts = []
    for setting in SETTINGS:
        records, seconds = run(program, setting.split(), list(truth))
        counts, wrong = measure(truth, records)
        recalls = " | ".join(f"{found / all_faces:.3f}" if all_faces else "-" for found, all_faces in counts)
        yield f"| `{setting}` | {recalls} | {wrong / len(truth):.3f} | {1000 * seconds / len(truth):.0f} |"
    numbers = " | ".join(str(all_faces) for _, all_faces in counts)
    yield f"| number of faces, in {len(truth)} photographs | {numbers} | | |"


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("data")
    parser.add_argument("program")
    parser.add_argument("--page", type=pathlib.Path)
    parser.add_argument("--limit", type=int)
    options = parser.parse_args()

    folder = pathlib.Path(options.data).parent
    with open(options.data) as lines:
        photographs = [json.loads(line) for line in lines][: options.limit]
    truth = {os.path.join(folder, photograph["image"]): photograph for photograph in photographs}
    lines = []
    for line in table(truth, options.program):
        print(line, flush=True)
        lines.append(line + "\n")
    if options.page:
        before, _, rest = options.page.read_text().partition(BEGIN)
        _, end, after = rest.partition(END)
        if not end:
            parser.error(f"{options.page} has no place for the table, between {BEGIN.strip()} and {END.strip()}")
        options.page.write_text("".join([before, BEGIN, *lines, END, after]))


if __name__ == "__main__":
    main()
