"""Models that are missing or not what they should be."""

import os
import pathlib
import shutil

import numpy as np
import ozna
import pytest

PUBLIC = pathlib.Path(os.environ["OZNA_SOURCE_DIR"]) / "public"


@pytest.fixture
def copy(tmp_path):
    """A cascade of its own for a test to damage."""
    shutil.copytree(PUBLIC / "cascades", tmp_path / "models of mine" / "cascades")
    shutil.copy(PUBLIC / "stages.txt", tmp_path / "models of mine")
    return tmp_path / "models of mine"


def test_default_models_are_those_of_the_tree():
    assert (pathlib.Path(ozna.models_dir()) / "stages.txt").samefile(PUBLIC / "stages.txt")


@pytest.mark.parametrize("kind", [str, pathlib.Path, lambda path: str(path) + "/"])
def test_directory_may_be_text_or_path(copy, portrait, kind):
    np.testing.assert_array_equal(
        ozna.Detector(kind(copy)).detect(portrait), ozna.Detector(PUBLIC).detect(portrait)
    )


def test_default_cascade_is_the_compact_one(portrait, detector):
    np.testing.assert_array_equal(
        ozna.Detector(PUBLIC / "compact").detect(portrait), detector.detect(portrait)
    )


@pytest.mark.parametrize(
    "name",
    [
        "stages.txt",
        "cascades/x16Net-demo/prototxt-full",
        "cascades/x16Net-demo/proto-full",
        "cascades/x32Net/prototxt-deploy",
        "cascades/x32Net/proto",
        "cascades/x64Net/mean",
        "cascades/x32Net-x32-3Scales-200/proto",
        "cascades/x32Net-x32-3Scales-200/offsets-scales",
    ],
)
def test_missing_and_empty_files_are_named(copy, name):
    file = copy / name
    file.write_bytes(b"")
    with pytest.raises(ozna.ModelError, match=f"{name}.*expected"):
        ozna.Detector(copy)
    file.unlink()
    with pytest.raises(FileNotFoundError, match=name):
        ozna.Detector(copy)


@pytest.mark.parametrize(
    "text, message",
    [("# nothing\n", "at least one stage"), ("cascades/x16Net-demo\n", "line 1"), ("# a\n\n", "line 2")],
)
def test_stage_lists_without_stages_are_refused(copy, text, message):
    (copy / "stages.txt").write_text(text)
    with pytest.raises(ValueError, match=message):
        ozna.Detector(copy)


def test_first_network_declares_its_input(copy):
    (copy / "cascades/x16Net-demo/prototxt-full").write_text("input_dim: 1\n")
    with pytest.raises(ValueError, match="four dimensions"):
        ozna.Detector(copy)


def test_alignment_asks_for_a_model(portrait):
    ozna.unload_landmarks()
    with pytest.raises(RuntimeError, match="load_landmarks"):
        ozna.align(portrait, (166, 64, 268, 166))


def test_landmark_model_that_is_missing(tmp_path, portrait, landmarks):
    with pytest.raises(FileNotFoundError, match="none.sdm"):
        ozna.load_landmarks(tmp_path / "none.sdm")
    # The earlier model is still there.
    assert ozna.align(portrait, (166, 64, 268, 166)).any()


def test_landmark_model_by_its_path(portrait, landmarks):
    expected = ozna.align(portrait, (166, 64, 268, 166))
    ozna.load_landmarks(PUBLIC / "models" / "face68.sdm")
    np.testing.assert_array_equal(ozna.align(portrait, (166, 64, 268, 166)), expected)
