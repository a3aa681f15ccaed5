"""What the tests of the fitting share: the units' folder, a small data folder and the schema of networks, each made once per run."""

import json
import os
import shutil
import subprocess
import sys

import pytest

ROOT = os.path.abspath(os.path.join(os.path.dirname(__file__), "../../../.."))
sys.path.insert(0, os.path.join(ROOT, "training/detector/fit"))

# Squares around the nine faces of samples/group.jpg: centre and side, measured by eye.
GROUP = [(856, 112, 74), (376, 480, 66), (616, 496, 80), (1164, 410, 66), (182, 123, 120), (900, 476, 140), (126, 525, 108),
         (547, 178, 158), (1137, 144, 130)]


@pytest.fixture(scope="session")
def data(tmp_path_factory):
    """A data folder of the sample photographs, each under many names, since a tenth of the names is held back."""
    folder = tmp_path_factory.mktemp("data")
    photographs = folder / "detection" / "train"
    photographs.mkdir(parents=True)
    (folder / "negatives").mkdir()
    faces = [{"cx": cx, "cy": cy, "side": side, "ignore": False} for cx, cy, side in GROUP]
    size = {"width": 1280, "height": 700}
    records = []
    for i in range(12):
        shutil.copy(os.path.join(ROOT, "samples/group.jpg"), photographs / f"{i}.jpg")
        records.append({"image": f"train/{i}.jpg", **size, "faces": faces})
    write_lines(folder / "detection" / "train.jsonl", records)
    write_lines(folder / "detection" / "dev.jsonl", records[:1])
    # An outline that has the square of the face.
    portraits = folder / "landmarks" / "train"
    portraits.mkdir(parents=True)
    records = []
    for i, (cx, cy, side) in enumerate(GROUP):
        shutil.copy(os.path.join(ROOT, "samples/group.jpg"), portraits / f"{i}.jpg")
        height = side / 1.18
        bottom = cy + 0.675 * height
        points = [[cx - 0.4 * height, bottom - 0.5 * height], [cx + 0.4 * height, bottom], [cx, bottom - height]]
        records.append({"image": f"train/{i}.jpg", **size, "points": points})
    write_lines(folder / "landmarks" / "train.jsonl", records)
    return folder


def write_lines(path, records):
    with open(path, "w", encoding="ascii") as file:
        for record in records:
            file.write(json.dumps(record) + "\n")


@pytest.fixture(scope="session")
def schema(tmp_path_factory):
    folder = tmp_path_factory.mktemp("schema")
    source = os.path.join(ROOT, "caffe/src/caffe/proto")
    subprocess.run(["protoc", f"--proto_path={source}", f"--python_out={folder}", "caffe.proto"], check=True)
    sys.path.insert(0, str(folder))
    import caffe_pb2

    return caffe_pb2
