"""Finds the faces in photographs and places landmarks on them.

    import numpy, ozna
    faces = ozna.detect(image)                   # rows of left, top, right, bottom, score
    ozna.load_landmarks()
    points = ozna.align(image, faces[0], points=68)

Images are numpy arrays of shape (height, width, 3) and dtype uint8, in the order red, green, blue.
They are read in place: nothing is converted and nothing is copied. Any other array raises TypeError
(not an array, another dtype) or ValueError (another shape or memory layout).

Coordinates are in pixels of the image, the origin at its top left corner, x to the right, y down.
The right and bottom of a box are edges. Landmarks have 0 at the centre of the first pixel.

The interpreter's lock is released while the library computes, so threads work side by side, each
with a detector of its own. The library starts no thread.
"""

import math
import os
import threading
from typing import TYPE_CHECKING, Optional, Sequence, Tuple, Union

import numpy as _np

from . import _models, _ozna
from ._models import models_dir

if TYPE_CHECKING:
    from numpy.typing import NDArray

    _Image = NDArray[_np.uint8]
    _Floats = NDArray[_np.float32]
    _Path = Union[str, "os.PathLike[str]"]

__all__ = ["Detector", "align", "detect", "load_landmarks", "models_dir", "unload_landmarks"]
__version__: str = _ozna.version

_INT32_MAX = 2**31 - 1


class Detector:
    """Finds faces. Holds the networks of one cascade, some megabytes.

    Threads: one call at a time works in a Detector, others wait. Give each thread its own.
    """

    def __init__(self, models: "Optional[_Path]" = None) -> None:
        """Loads a cascade.

        models  A directory that holds stages.txt and the directories that it names; by default the
                models that came with this package.

        Raises FileNotFoundError where a file is missing, ValueError where a text file is damaged.
        A damaged weight file ends the process, with a message on standard error.
        """
        root = os.path.join(models_dir() if models is None else os.fspath(models), "")
        self._largest: Tuple[int, int] = _models.check_cascade(root)
        self._impl = _ozna.Detector(root, _models.STAGE_LIST)

    def detect(
        self,
        image: "_Image",
        *,
        max_upscale: float = 2.0,
        max_image_side: int = 640,
        min_face_fraction: float = 0.05,
        pyramid_levels: int = 12,
        pyramid_factor: float = 1.26,
        window_size: int = 13,
    ) -> "_Floats":
        """Finds the faces in an image.

        image              (height, width, 3), uint8, red, green, blue. Rows may have gaps between
                           them, as those of a cut-out image[a:b, c:d] have.
        max_upscale        Largest factor by which a small image is enlarged.
        max_image_side     Longer side in pixels that the image is brought towards.
        min_face_fraction  Smallest face, as a fraction of max_image_side.
        pyramid_levels     Number of sizes at which the image is searched.
        pyramid_factor     Ratio of neighbouring sizes, above 1.
        window_size        Window of the first network in pixels, 13 in the default cascade.

        Returns an array of shape (faces, 5) and dtype float32, best face first: left, top, right,
        bottom, score. Boxes are not clipped to the image. The score is 0 to 1.

        Raises TypeError or ValueError for an image that cannot be read in place, and ValueError for
        parameters that cannot work.
        """
        parameter = (
            float(max_upscale),
            _whole("max_image_side", max_image_side),
            float(min_face_fraction),
            _whole("pyramid_levels", pyramid_levels),
            float(pyramid_factor),
            _whole("window_size", window_size),
        )
        shape = getattr(image, "shape", ())
        if len(shape) == 3 and min(shape) > 0:
            self._check_search(shape[1], shape[0], *parameter)
        return self._impl.detect(image, *parameter)

    def _check_search(
        self,
        width: int,
        height: int,
        max_upscale: float,
        max_image_side: int,
        min_face_fraction: float,
        pyramid_levels: int,
        pyramid_factor: float,
        window_size: int,
    ) -> None:
        if not (math.isfinite(max_upscale) and max_upscale > 0):
            raise ValueError("max_upscale must be a finite number above 0")
        if not 0 < min_face_fraction <= 1:
            raise ValueError("min_face_fraction must be above 0 and at most 1")
        if not (math.isfinite(pyramid_factor) and pyramid_factor > 1):
            raise ValueError("pyramid_factor must be a finite number above 1")
        smallest_face = int(max_image_side * min_face_fraction)
        if smallest_face < 1:
            raise ValueError("max_image_side times min_face_fraction must be at least 1")
        ratio = max_image_side / max(width, height)
        if ratio > 1:
            ratio = min(max_upscale, ratio)
        scale = window_size / smallest_face * ratio
        working = int(width * scale), int(height * scale)
        if min(working) < 1:
            raise ValueError(f"an image of {width} x {height} pixels is too narrow to be searched")
        if working[0] * working[1] > self._largest[0] * self._largest[1]:
            raise ValueError(
                f"these parameters search {working[0]} x {working[1]} pixels, more than the "
                f"{self._largest[0]} x {self._largest[1]} that the first network takes"
            )


_of_thread = threading.local()


def detect(
    image: "_Image",
    *,
    max_upscale: float = 2.0,
    max_image_side: int = 640,
    min_face_fraction: float = 0.05,
    pyramid_levels: int = 12,
    pyramid_factor: float = 1.26,
    window_size: int = 13,
) -> "_Floats":
    """Finds the faces in an image with the default models; as Detector().detect.

    The first call in a thread loads the models, and they stay until that thread ends.
    """
    if not hasattr(_of_thread, "detector"):
        _of_thread.detector = Detector()
    detector: Detector = _of_thread.detector
    return detector.detect(
        image,
        max_upscale=max_upscale,
        max_image_side=max_image_side,
        min_face_fraction=min_face_fraction,
        pyramid_levels=pyramid_levels,
        pyramid_factor=pyramid_factor,
        window_size=window_size,
    )


def load_landmarks(path: "Optional[_Path]" = None) -> None:
    """Loads the landmark model, which there is one of in a process, in place of an earlier one.

    path  A model file; by default the model that came with this package.

    Raises FileNotFoundError where the file is missing, ValueError where it is empty. Waits for
    alignments that run in other threads.
    """
    file = os.path.join(models_dir(), _models.LANDMARK_FILE) if path is None else os.fspath(path)
    _models.check_landmarks(file)
    directory, name = os.path.split(os.path.abspath(file))
    _ozna.load_landmarks(directory, name)


def unload_landmarks() -> None:
    """Drops the landmark model, if there is one. Waits for alignments that run in other threads."""
    _ozna.unload_landmarks()


def align(image: "_Image", box: "Union[Sequence[float], _Floats]", points: int = 68) -> "_Floats":
    """Places landmarks on the face in a box.

    image   (height, width, 3), uint8, red, green, blue, without gaps between its rows.
    box     left, top, right, bottom; a row of what detect returns serves as well.
    points  68: jaw 0-16, brows 17-26, nose 27-35, eyes 36-47, mouth 48-67. Or 5: centres of the
            eyes, tip of the nose, corners of the mouth; what is left in the image comes first.

    Returns an array of shape (points, 2) and dtype float32: x, y.

    Raises RuntimeError where no landmark model is loaded; TypeError or ValueError for an image that
    cannot be read in place, for a box without area or outside of the image, for another number
    of points. Any number of threads may align at once.
    """
    edges = _np.asarray(box, dtype=_np.float64)
    if edges.shape not in ((4,), (5,)):
        raise ValueError(f"box must be left, top, right, bottom, not an array of shape {edges.shape}")
    left, top, right, bottom = (float(edge) for edge in edges[:4])
    if not (_np.isfinite(edges[:4]).all() and left < right and top < bottom):
        raise ValueError(f"box has no area: {left}, {top}, {right}, {bottom}")
    shape = getattr(image, "shape", ())
    if len(shape) == 3 and min(shape) > 0:
        if not (left < shape[1] and right > 0 and top < shape[0] and bottom > 0):
            raise ValueError(f"box lies outside of the image: {left}, {top}, {right}, {bottom}")
    return _ozna.align(image, left, top, right, bottom, _whole("points", points))


def _whole(name: str, value: int) -> int:
    """A positive number that the library can count to."""
    try:
        number = value.__index__()
    except AttributeError:
        raise TypeError(f"{name} must be a whole number, not {type(value).__name__}") from None
    if not 0 < number <= _INT32_MAX:
        raise ValueError(f"{name} must be above 0 and at most {_INT32_MAX}")
    return number
