"""Finds the model files and checks, before the library reads them, that they are there.

The library ends the process where a network file is missing or damaged; an exception is what a
program in Python expects.
"""

import os
import re
from typing import List, Tuple

from . import _places

STAGE_LIST = "stages.txt"
LANDMARK_FILE = os.path.join("models", "face68.sdm")
_CALIBRATION = "cascades/x32Net-x32-3Scales-200"
_FIRST_STAGE_FILES = ("prototxt-full", "proto-full")
_LATER_STAGE_FILES = ("prototxt-deploy", "proto", "mean")


def models_dir() -> str:
    """The directory of the models that came with this package.

    Raises FileNotFoundError where they are not installed.
    """
    here = os.path.dirname(os.path.abspath(__file__))
    directory = os.path.normpath(os.path.join(here, _places.MODELS))
    if not os.path.isdir(directory):
        raise FileNotFoundError(f"{directory}: no such directory of models")
    return directory


def _require(path: str) -> None:
    if not os.path.isfile(path):
        raise FileNotFoundError(f"{path}: no such model file")
    with open(path, "rb") as file:  # Raises where the file is not readable.
        if not file.read(1):
            raise ValueError(f"{path}: damaged model file: is empty")


def _read(path: str) -> str:
    _require(path)
    with open(path, encoding="utf-8", errors="replace") as file:
        return file.read()


def _stage_directories(root: str) -> List[str]:
    path = os.path.join(root, STAGE_LIST)
    directories = []
    # Every line counts for the library, also an empty one.
    for number, line in enumerate(_read(path).splitlines(), start=1):
        if line.startswith("#"):
            continue
        words = line.split()
        try:
            float(words[1])
        except (IndexError, ValueError):
            raise ValueError(
                f"{path}: damaged model file: line {number} is not a stage directory and a threshold"
            ) from None
        directories.append(words[0])
    if not directories:
        raise ValueError(f"{path}: damaged model file: names no stage")
    return directories


def check_cascade(root: str) -> Tuple[int, int]:
    """Raises where a file of a cascade is missing or empty. Returns the width and the height of the
    largest working image that its first network takes."""
    first, *later = _stage_directories(root)
    for name in _FIRST_STAGE_FILES:
        _require(os.path.join(root, first, name))
    for directory in [*later, _CALIBRATION]:
        for name in _LATER_STAGE_FILES:
            _require(os.path.join(root, directory, name))
    _require(os.path.join(root, _CALIBRATION, "offsets-scales"))

    definition = os.path.join(root, first, _FIRST_STAGE_FILES[0])
    without_comments = re.sub("#.*", "", _read(definition))
    sides = [int(side) for side in re.findall(r"\binput_dim\s*:\s*(\d+)", without_comments)]
    if len(sides) != 4:
        raise ValueError(f"{definition}: damaged model file: does not declare one input of four dimensions")
    return sides[3], sides[2]


def check_landmarks(path: str) -> None:
    """Raises where a landmark model is missing or empty."""
    _require(path)
