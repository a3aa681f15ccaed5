"""Photographs and models that the tests share."""

import os
import pathlib

import numpy as np
import ozna
import pytest


def read_ppm(name):
    """The pixels of a photograph of the samples."""
    data = (pathlib.Path(os.environ["OZNA_PHOTOGRAPHS"]) / name).read_bytes()
    magic, width, height, maximum = data.split(maxsplit=4)[:4]
    assert (magic, maximum) == (b"P6", b"255")
    shape = int(height), int(width), 3
    return np.frombuffer(data, np.uint8, offset=len(data) - shape[0] * shape[1] * 3).reshape(shape)


@pytest.fixture(scope="session")
def portrait():
    return read_ppm("astronaut.ppm")


@pytest.fixture(scope="session")
def group():
    return read_ppm("group.ppm")


@pytest.fixture(scope="session")
def detector():
    return ozna.Detector()


@pytest.fixture
def landmarks():
    ozna.load_landmarks()
    yield
    ozna.unload_landmarks()
