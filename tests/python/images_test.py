"""Which arrays are photographs, and that they are read in place."""

import subprocess
import sys
import textwrap

import numpy as np
import ozna
import pytest


def box_of(face):
    return [float(edge) for edge in face[:4]]


@pytest.mark.parametrize(
    "image, error, message",
    [
        ([[[1, 2, 3]]], TypeError, "numpy array or offer one, not list"),
        (None, TypeError, "not NoneType"),
        (b"pixels", TypeError, "not bytes"),
        (np.zeros((50, 50, 3), np.float32), TypeError, "uint8, not float32"),
        (np.zeros((50, 50, 3), np.int8), TypeError, "uint8, not int8"),
        (np.zeros((50, 50, 3), np.uint16), TypeError, "uint8, not uint16"),
        (np.zeros(7500, np.uint8), ValueError, r"not \(7500,\)"),
        (np.zeros((3, 50, 50), np.uint8), ValueError, r"not \(3, 50, 50\)"),
        (np.zeros((1, 50, 50, 3), np.uint8), ValueError, r"not \(1, 50, 50, 3\)"),
        (np.zeros((0, 50, 3), np.uint8), ValueError, "no pixels"),
        (np.zeros((50, 0, 3), np.uint8), ValueError, "no pixels"),
    ],
)
def test_other_arrays_are_refused(detector, landmarks, image, error, message):
    with pytest.raises(error, match=message):
        detector.detect(image)
    with pytest.raises(error, match=message):
        ozna.align(image, (1, 1, 2, 2))


def test_rows_of_a_cut_out_image_are_searched_in_place(detector, portrait):
    wide = np.full((600, 777, 3), 90, np.uint8)
    wide[40:552, 100:612] = portrait
    cut = wide[40:552, 100:612]
    assert not cut.flags.c_contiguous
    np.testing.assert_array_equal(detector.detect(cut), detector.detect(portrait))


def test_landmarks_are_placed_in_rows_with_gaps(portrait, landmarks):
    wide = np.full((512, 600, 3), 9, np.uint8)
    wide[:, :512] = portrait
    box = (166, 64, 268, 166)
    np.testing.assert_array_equal(ozna.align(wide[:, :512], box), ozna.align(portrait, box))


def test_read_only_images_are_read(detector, portrait):
    assert not portrait.flags.writeable
    assert len(detector.detect(portrait)) == 1


def test_image_stays_as_it_was(detector, portrait, landmarks):
    image = portrait.copy()
    face = detector.detect(image)[0]
    ozna.align(image, face)
    np.testing.assert_array_equal(image, portrait)


def test_order_of_colours_counts(detector, portrait):
    swapped = np.ascontiguousarray(portrait[:, :, ::-1])
    faces = detector.detect(swapped)
    assert len(faces) == 0 or faces[0, 4] != detector.detect(portrait)[0, 4]


def test_results_outlive_what_made_them(portrait):
    detector = ozna.Detector()
    faces = detector.detect(portrait)
    expected = faces.copy()
    del detector
    ozna.Detector().detect(portrait)
    np.testing.assert_array_equal(faces, expected)


def test_photograph_larger_than_the_memory_left_is_read_in_place(tmp_path):
    """An image of 300 MB in a file, in a process that may take 150 MB more: a copy would fail."""
    program = """
        import resource, sys
        import numpy as np, ozna
        detector = ozna.Detector()
        ozna.load_landmarks()
        image = np.memmap(sys.argv[1], np.uint8, "w+", shape=(10000, 10000, 3))
        with open("/proc/self/status") as status:
            used = next(int(line.split()[1]) for line in status if line.startswith("VmData"))
        limit = 1024 * (used + 150_000)
        resource.setrlimit(resource.RLIMIT_DATA, (limit, limit))
        try:
            np.array(image)
        except MemoryError:
            print("no room for a copy")
        print(detector.detect(image).shape, ozna.align(image, (4000, 4000, 6000, 6000)).shape)
    """
    run = subprocess.run(
        [sys.executable, "-c", textwrap.dedent(program), str(tmp_path / "image")],
        stdout=subprocess.PIPE,
        text=True,
        check=True,
    )
    assert run.stdout.splitlines() == ["no room for a copy", "(0, 5) (68, 2)"]
