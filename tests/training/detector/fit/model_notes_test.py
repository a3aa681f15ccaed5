"""MODEL.md: the folders of a cascade, what it was trained on, and the steps of its training."""

import argparse
import json

import model_notes
import pytest
import shapes


@pytest.fixture
def small_data(tmp_path):
    """Two photographs with three faces and one that counts neither way, a portrait, and an empty line at the end of each list."""
    for folder in ("detection", "landmarks", "negatives"):
        (tmp_path / folder).mkdir()
    faces = [[{"ignore": False}, {"ignore": True}], [{"ignore": False}, {"ignore": False}]]
    lines = "".join(json.dumps({"faces": of_one}) + "\n" for of_one in faces)
    (tmp_path / "detection" / "train.jsonl").write_text(lines + "\n")
    (tmp_path / "landmarks" / "train.jsonl").write_text("{}\n\n")
    for name in "abcd":
        (tmp_path / "negatives" / name).touch()
    return tmp_path


def arguments_of(data, **changed):
    settings = {"data": str(data), "shape": "compact", "plan": "plan", "seed": 3, "threads": 2, "bf16": False, "scale": 1.0, "start": None,
                "remarks": None}
    return argparse.Namespace(**{**settings, **changed})


def test_the_compact_cascade_is_described_by_the_lines_of_its_networks():
    text = model_notes.head(shapes.COMPACT)
    for network in shapes.COMPACT.networks.values():
        assert f"| `{network.folder}` | {network.side} by {network.side} | {network.layers} |" in text
    outputs = shapes.COMPACT.networks["calibration"].layers.split()[-1]
    assert f"of the {outputs[1:]} patterns" in text
    assert "{" not in text


def test_photographs_faces_portraits_and_backgrounds_are_counted(small_data):
    text = model_notes.data_section(str(small_data))
    assert "2 photographs with 3 annotated faces and 1 that count neither way, 1 portraits" in text
    assert "and 4 photographs without people" in text


def test_a_list_that_is_not_there_has_no_lines(tmp_path):
    assert model_notes.count_lines(str(tmp_path / "missing.jsonl")) == 0


def test_steps_are_listed_with_their_hours_and_the_options_that_were_not_left_out():
    record = [{"key": "1-mine-second", "told": "9 windows", "minutes": 45.4}, {"key": "2-fit-second", "told": "loss 0.5", "minutes": 44.6}]
    text = model_notes.training_section(arguments_of("data"), record)
    assert "train.py DATA --work WORK --shape compact --plan plan --seed 3 --threads 2\n" in text
    assert "2 steps, 1.5 hours" in text
    assert "| 1-mine-second | 9 windows | 45 |\n| 2-fit-second | loss 0.5 | 45 |\n" in text
    all_options = arguments_of("data", bf16=True, scale=0.003, start="public/compact")
    assert "--threads 2 --bf16 --scale 0.003 --start START\n" in model_notes.training_section(all_options, record)


def test_remarks_stand_in_for_a_record_of_the_steps(small_data):
    (small_data / "remarks").write_text("Trained over two sessions.\n")
    arguments = arguments_of(small_data, remarks=str(small_data / "remarks"))
    model_notes.write(str(small_data), shapes.COMPACT, arguments, [], "recall 0.9\n")
    text = (small_data / "MODEL.md").read_text()
    assert "```\nrecall 0.9\n```" in text and text.endswith("Trained over two sessions.\n")
    assert "## Training" not in text and model_notes.RELIABILITY in text
    model_notes.write(str(small_data), shapes.BUILT_IN, arguments_of(small_data), [], "recall 0.9\n")
    built_in = (small_data / "MODEL.md").read_text()
    assert model_notes.RELIABILITY not in built_in and built_in.startswith("# The built-in cascade")
