"""The finder and its faces."""

import math
import os
import pathlib
import pickle

import numpy as np
import ozna
import pytest

PUBLIC = pathlib.Path(os.environ["OZNA_SOURCE_DIR"]) / "public"


@pytest.fixture(scope="module")
def finder():
    return ozna.Finder()


def same_faces(faces, expected):
    np.testing.assert_array_equal(np.array(faces), np.array(expected))


def test_portrait_has_one_face(finder, portrait):
    (face,) = finder.detect(portrait)
    # The eyes stand at about (206, 113) and (245, 113), the chin at about (226, 160).
    assert face.left < 200 and face.right > 250 and face.top < 108 and 140 < face.bottom < 200
    assert 0.98 < face.score <= 1 and face.turn == 0 and face.points.shape == (0, 2)
    assert math.isnan(face.quality) and math.isnan(face.roll)
    assert np.asarray(face).tolist() == [face.left, face.top, face.right, face.bottom, face.score]
    assert face.box.dtype == np.float32 and face.width == face.right - face.left
    left, _, _, _, score = face
    assert (left, score) == (face.left, face.score)
    assert np.array([face, face]).shape == (2, 5)


def test_align_gives_points_and_details(finder, portrait):
    faces = finder.detect(portrait)
    (face,) = finder.align(portrait, faces)
    assert face.points.shape == (68, 2) and face.score == faces[0].score
    assert 0 < face.quality <= 1 and abs(face.roll) < 30 and 0 < face.sharpness <= 1
    eyes = face.points[36:42].mean(axis=0), face.points[42:48].mean(axis=0)
    assert np.abs(eyes[0] - (206, 113)).max() < 15 and np.abs(eyes[1] - (245, 113)).max() < 15
    (five,) = finder.align(portrait, [faces[0].box], points=5, details=False)
    assert five.points.shape == (5, 2) and math.isnan(five.score) and math.isnan(five.roll)
    (both,) = finder.detect(portrait, points=68, details=True)
    assert both == face
    assert finder.align(portrait, []) == []


def test_a_face_without_points_leaves_the_others_theirs(finder, portrait):
    inside = finder.detect(portrait)[0].box
    width = portrait.shape[1]
    beyond = [width - 10, 10, width + 300, 320]  # Less than a quarter of it lies in the image.
    for boxes in [inside, beyond], [beyond, inside]:
        faces = finder.align(portrait, boxes)
        for box, face in zip(boxes, faces):
            assert face.points.shape == ((68, 2) if box is inside else (0, 2))
            assert math.isnan(face.quality) == (box is beyond)
    np.testing.assert_array_equal(faces[1].points, finder.align(portrait, [inside])[0].points)


def test_faces_have_a_good_repr_and_may_be_sent(finder, portrait):
    (face,) = finder.align(portrait, finder.detect(portrait))
    text = repr(face)
    assert text.startswith(f"<Face {face.width:.0f}x{face.height:.0f} at ({face.left:.0f}, {face.top:.0f}), score 0.9")
    assert "68 points" in text and "roll" in text
    assert pickle.loads(pickle.dumps(face)) == face
    assert repr(ozna.Face((1, 2, 5, 7), turn=1)) == "<Face 4x5 at (1, 2), turned by 90 degrees>"
    assert repr(finder).startswith("<Finder preset='balanced', models '")


def forms_of(portrait):
    alpha = np.dstack([portrait, np.full(portrait.shape[:2], 7, np.uint8)])
    wide = np.zeros((600, 777, 3), np.uint8)
    wide[40:552, 100:612] = portrait
    yield "rows with gaps", wide[40:552, 100:612], {}
    yield "rgba", alpha, {}
    yield "bgr", np.ascontiguousarray(portrait[:, :, ::-1]), {"order": "bgr"}
    yield "view of bgr", np.ascontiguousarray(portrait[:, :, ::-1])[:, :, ::-1], {}
    yield "bgra", np.ascontiguousarray(alpha[:, :, [2, 1, 0, 3]]), {"order": "bgra"}
    yield "bgra by its channels", np.ascontiguousarray(alpha[:, :, [2, 1, 0, 3]]), {"order": "bgr"}
    yield "argb", np.ascontiguousarray(alpha[:, :, [3, 0, 1, 2]]), {"order": "argb"}
    yield "bottom up", np.ascontiguousarray(portrait[::-1])[::-1], {}
    yield "columns first", np.asfortranarray(portrait), {}
    yield "every other column", np.repeat(portrait, 2, axis=1)[:, ::2], {}
    yield "without its alpha", alpha[:, :, :3], {}
    yield "mirrored twice", np.ascontiguousarray(portrait[:, ::-1])[:, ::-1], {}
    yield "turned by a quarter", np.ascontiguousarray(np.rot90(portrait)), {"orientation": 6}


def test_every_form_of_the_same_pixels_gives_the_same(finder, portrait):
    expected = finder.detect(portrait, points=68, details=True)
    assert len(expected) == 1
    for name, image, options in forms_of(portrait):
        before = image.copy()
        assert finder.detect(image, points=68, details=True, **options) == expected, name
        np.testing.assert_array_equal(image, before)


def test_grey_images_and_pictures_of_pil(finder, portrait):
    from PIL import Image

    picture = Image.fromarray(portrait)
    expected = finder.detect(portrait)
    same_faces(finder.detect(picture), expected)
    same_faces(finder.detect(picture.convert("RGBA")), expected)
    grey = np.asarray(picture.convert("L"))
    three = np.repeat(grey[:, :, None], 3, axis=2)
    for image in (grey, grey[:, :, None], picture.convert("L"), np.repeat(grey, 2, axis=1)[:, ::2]):
        same_faces(finder.detect(image), finder.detect(three))
    assert len(finder.detect(picture.convert("P"))) == 1  # Converted by PIL.

    class Offer:
        __array_interface__ = portrait.__array_interface__

    same_faces(finder.detect(Offer()), expected)


@pytest.mark.parametrize("dtype, mode", [(np.uint16, "I;16"), (np.int32, "I"), (np.float32, "F")])
def test_pictures_of_pil_with_wide_channels_are_refused(finder, portrait, dtype, mode):
    from PIL import Image

    picture = Image.fromarray(portrait[:, :, 0].astype(dtype) * dtype(257))
    assert picture.mode == mode
    with pytest.raises(TypeError, match=f"8 bits per channel, not the mode '{mode}'"):
        finder.detect(picture)


@pytest.mark.parametrize(
    "image, options, error, message",
    [
        ([[[1, 2, 3]]], {}, TypeError, "not list"),
        (None, {}, TypeError, "not NoneType"),
        (np.zeros((50, 50, 3), np.float32), {}, TypeError, "uint8, not float32"),
        (np.zeros((50, 50, 3), bool), {}, TypeError, "uint8, not bool"),
        (np.zeros((50, 50, 2), np.uint8), {}, ValueError, r"not \(50, 50, 2\)"),
        (np.zeros((3, 50, 50), np.uint8), {}, ValueError, r"not \(3, 50, 50\)"),
        (np.zeros(7500, np.uint8), {}, ValueError, r"not \(7500,\)"),
        (np.zeros((0, 50, 3), np.uint8), {}, ValueError, "no pixels"),
        (np.zeros((50, 50, 3), np.uint8), {"order": "argb"}, ValueError, "3 channels"),
        (np.zeros((50, 50, 3), np.uint8), {"order": "brg"}, ValueError, "order must be"),
        (np.zeros((50, 50, 3), np.uint8), {"orientation": 9}, ValueError, "rientation"),
        (np.zeros((50, 50, 3), np.uint8), {"points": 67}, ValueError, "points must be"),
        (np.zeros((1, 1000001, 3), np.uint8), {}, ValueError, "1000001|1000000"),
    ],
)
def test_what_is_no_image_raises(finder, image, options, error, message):
    with pytest.raises(error, match=message):
        finder.detect(image, **options)


@pytest.mark.parametrize(
    "options, message",
    [
        ({"preset": "best"}, "preset"),
        ({"min_face": 3}, "min_face"),
        ({"min_face": -0.5}, "min_face"),
        ({"min_face": math.nan}, "min_face"),
        ({"turns": 2}, "turns"),
        ({"min_score": 1.5}, "min_score"),
        ({"max_faces": -1}, "max_faces"),
        ({"margin": 2}, "margin"),
    ],
)
def test_numbers_out_of_range_raise(options, message):
    with pytest.raises(ValueError, match=message):
        ozna.Finder(**options)


def test_options_are_kept(group, portrait):
    faces = ozna.Finder().detect(group)
    assert len(faces) >= 8
    assert ozna.Finder(max_faces=2).detect(group) == faces[:2]
    score = faces[3].score
    assert all(face.score >= score for face in ozna.Finder(min_score=score).detect(group))
    assert ozna.Finder(min_face=0.5).detect(portrait) == []
    assert ozna.Finder(min_face=300).detect(portrait) == []
    lying = np.ascontiguousarray(np.rot90(portrait))  # The head points to the left.
    (face,) = ozna.Finder(turns=4, max_faces=1).detect(lying, points=68)
    assert face.turn == 1
    # What stood at (x, y) stands at (y, 511 - x).
    assert np.abs(face.points[36:42].mean(axis=0) - (113, 511 - 206)).max() < 15


def test_chips_are_upright_and_in_the_images_order(finder, portrait):
    faces = finder.align(portrait, finder.detect(portrait))
    (chip,) = finder.chips(portrait, faces, size=64)
    assert chip.shape == (64, 64, 3) and chip.dtype == np.uint8
    assert chip[16:48, 16:48, 0].mean() > chip[16:48, 16:48, 2].mean() + 20  # Skin is redder than blue.
    (blue_first,) = finder.chips(np.ascontiguousarray(portrait[:, :, ::-1]), faces, size=64, order="bgr")
    np.testing.assert_array_equal(blue_first[:, :, ::-1], chip)
    (mirrored,) = finder.chips(portrait[:, :, ::-1], faces, size=64, order="bgr")
    np.testing.assert_array_equal(mirrored, blue_first)
    assert finder.chips(portrait, faces, size=(40, 50))[0].shape == (50, 40, 3)
    (far,) = finder.chips(portrait, faces, size=64, padding=4, border=(9, 8, 7))
    assert (far[0, 0] == (9, 8, 7)).all()
    (full,) = finder.chips(portrait, faces, size=64, padding=4, border="mirror")
    assert not (full[0, 0] == (9, 8, 7)).all() and full[0].any()
    with pytest.raises(ValueError, match="8 to 4096 pixels per side, found 5 by 9"):
        finder.chips(portrait, faces, size=(5, 9))
    with pytest.raises(ValueError, match="mirror"):
        finder.chips(portrait, faces, border="glass")


def test_draw_leaves_the_image_and_marks_the_face():
    image = np.full((60, 100), 50, np.uint8)
    face = ozna.Face((10, 20, 50, 50), points=[(30, 30)])
    picture = ozna.draw(image, [face], colour=(1, 2, 3), width=1)
    assert (image == 50).all() and picture.shape == (60, 100, 3)
    ink = np.argwhere((picture == (1, 2, 3)).all(axis=2))
    # The outline of 40 by 30 pixels, and one point.
    assert len(ink) == 2 * 40 + 2 * 28 + 1
    assert [30, 30] in ink.tolist() and ink.min(axis=0).tolist() == [20, 10] and ink.max(axis=0).tolist() == [49, 49]
    assert (ozna.draw(np.dstack([image] * 3), [face], order="bgr", colour=(1, 2, 3))[20, 10] == (3, 2, 1)).all()
    assert (ozna.draw(np.dstack([image] * 3)[:, :, ::-1], [face], colour=(1, 2, 3))[20, 10] == (1, 2, 3)).all()
    assert (ozna.draw(image, [ozna.Face((-50, -50, 900, 900))])[30, 30] == 50).all()


def test_progress_and_cancel(finder, portrait):
    seen = []
    finder.detect(portrait, progress=seen.append)  # append returns None, which does not stop.
    assert seen == sorted(seen) and 0 <= seen[0] and seen[-1] == 1
    with pytest.raises(ozna.Cancelled):
        finder.detect(portrait, progress=lambda done: False)

    def fail(done):
        raise KeyError("of the program")

    with pytest.raises(KeyError, match="of the program"):
        finder.detect(portrait, progress=fail)
    assert len(finder.detect(portrait)) == 1


def test_models_in_memory(portrait):
    names = [path for path in PUBLIC.rglob("*") if path.is_file() and path.suffix not in (".h", ".cpp", ".md")]
    files = {str(path.relative_to(PUBLIC)): path.read_bytes() for path in names if "enclosed" not in str(path)}
    of_memory = ozna.Finder(files)
    assert of_memory.info["models"] == "memory"
    same_faces(of_memory.detect(portrait), ozna.Finder(PUBLIC).detect(portrait))
    del files["stages.txt"]
    with pytest.raises(FileNotFoundError, match="stages.txt"):
        ozna.Finder(files)


def test_damaged_models_are_an_exception_and_not_the_end():
    files = {
        str(path.relative_to(PUBLIC)): path.read_bytes()
        for folder in ("cascades", "models")
        for path in (PUBLIC / folder).rglob("*")
        if path.is_file()
    }
    files["stages.txt"] = (PUBLIC / "stages.txt").read_bytes()
    ozna.Finder(files)
    for name in sorted(files):
        if name.endswith(".md"):
            continue
        cut = dict(files)
        cut[name] = files[name][: len(files[name]) // 2]
        try:
            ozna.Finder(cut)
        except ozna.ModelError as error:
            assert name in str(error)
        else:
            # Half of a list of numbers or stages may still be one; half of the weights never is.
            assert not os.path.basename(name).startswith("proto") and not name.endswith(".sdm"), name


def test_info_tells_where_the_models_are(finder):
    info = finder.info
    assert pathlib.Path(info["models"]).samefile(PUBLIC / "compact") and info["source"] == "given"
    assert info["landmarks"] and info["stages"] >= 3 and info["largest_search"] == (384, 384)
    finder.trim()
    assert finder.info["detectors"] == 0
