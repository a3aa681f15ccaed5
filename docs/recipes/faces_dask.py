"""The faces of many photographs, found by the workers of a Dask cluster, as one table.

    python3 faces_dask.py SCHEDULER OUTPUT.csv PHOTO...
"""

import csv
import sys

PARTITION = 16  # Photographs per task.
COLUMNS = ["path", "left", "top", "right", "bottom", "score", "error"]


def faces_of(paths):
    """The rows of some photographs. Runs in a worker, which keeps its models from task to task."""
    import numpy
    import ozna
    from PIL import Image, ImageOps

    rows = []
    for path in paths:
        try:
            with Image.open(path) as file:
                # Upright, as its camera says, and in red, green, blue.
                image = numpy.array(ImageOps.exif_transpose(file).convert("RGB"))
            faces = ozna.detect(image)
        except (OSError, ValueError) as error:
            rows.append([path, "", "", "", "", "", str(error)])
            continue
        if len(faces) == 0:
            rows.append([path, "", "", "", "", "", ""])  # Looked at, and none found.
        rows.extend([path, *map(float, face), ""] for face in faces)
    return rows


def main():
    from distributed import Client

    scheduler, output, *photographs = sys.argv[1:]
    partitions = [photographs[i : i + PARTITION] for i in range(0, len(photographs), PARTITION)]
    with Client(scheduler) as client:
        # What a lost worker had, begun or done, the scheduler gives to others.
        tables = client.gather(client.map(faces_of, partitions))
    with open(output, "w", newline="", encoding="utf-8", errors="surrogateescape") as file:
        writer = csv.writer(file)
        writer.writerow(COLUMNS)
        for rows in tables:
            writer.writerows(rows)


if __name__ == "__main__":
    main()
