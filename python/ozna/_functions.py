"""Faces and landmarks as plain arrays, with the numbers of the search spelled out."""

import os
import threading
from typing import TYPE_CHECKING, Any, Optional, Sequence, Union

import numpy as _np

from . import _ozna
from ._finder import models_dir, open_models, points_number
from ._images import view_of

if TYPE_CHECKING:
    from numpy.typing import NDArray

    from ._finder import Path

    _Floats = NDArray[_np.float32]

_INT32_MAX = 2**31 - 1


class Detector:
    """Finds faces, with all numbers of the search. Finder is the simpler way.

    Threads: any number may use one Detector at once.
    """

    def __init__(self, models: "Optional[Path]" = None) -> None:
        """Loads a cascade.

        models  A directory that holds stages.txt and the directories that it names; by default the
                compact cascade that came with this package.

        Raises FileNotFoundError where a file is missing, ModelError (a ValueError) where one is
        damaged.
        """
        self._impl = open_models(models, landmarks=False)

    def detect(
        self,
        image: Any,
        *,
        max_upscale: float = 2.0,
        max_image_side: int = 640,
        min_face_fraction: float = 0.05,
        pyramid_levels: int = 12,
        pyramid_factor: float = 1.26,
        window_size: int = 13,
    ) -> "_Floats":
        """Finds the faces in an image.

        image              As Finder.detect takes it, in the order red, green, blue.
        max_upscale        Largest factor by which a small image is enlarged.
        max_image_side     Longer side in pixels that the image is brought towards.
        min_face_fraction  Smallest face, as a fraction of max_image_side.
        pyramid_levels     Number of sizes at which the image is searched.
        pyramid_factor     Ratio of neighbouring sizes, above 1.
        window_size        Window of the first network in pixels, 13 in the default cascade.

        Returns an array of shape (faces, 5) and dtype float32, best face first: left, top, right,
        bottom, score. Boxes are not clipped to the image. The score is 0 to 1.

        Raises TypeError or ValueError for what is not an image, and ValueError for parameters that
        cannot work.
        """
        scan = (
            float(max_upscale),
            _whole("max_image_side", max_image_side),
            float(min_face_fraction),
            _whole("pyramid_levels", pyramid_levels),
            float(pyramid_factor),
            _whole("window_size", window_size),
        )
        view = view_of(image)
        numbers, _ = self._impl.find(
            view.pixels, view.format, 1, 0, 0.0, 0.0, 1, 0.0, 0.0, 0, 0, False, scan, None
        )
        return numbers[:, :5].copy()


_default_lock = threading.Lock()
_default: Optional[Detector] = None


def detect(
    image: Any,
    *,
    max_upscale: float = 2.0,
    max_image_side: int = 640,
    min_face_fraction: float = 0.05,
    pyramid_levels: int = 12,
    pyramid_factor: float = 1.26,
    window_size: int = 13,
) -> "_Floats":
    """Finds the faces in an image with the default models; as Detector().detect.

    The first call loads the models, which then serve all threads.
    """
    global _default
    with _default_lock:
        if _default is None:
            _default = Detector()
    return _default.detect(
        image,
        max_upscale=max_upscale,
        max_image_side=max_image_side,
        min_face_fraction=min_face_fraction,
        pyramid_levels=pyramid_levels,
        pyramid_factor=pyramid_factor,
        window_size=window_size,
    )


_landmarks: Optional[_ozna.Finder] = None


def load_landmarks(path: "Optional[Path]" = None) -> None:
    """Loads the landmark model of align, in place of an earlier one.

    path  A model file; by default the model that came with this package.

    Raises FileNotFoundError where the file is missing, ModelError (a ValueError) where it is
    damaged. Alignments that run in other threads end with the model that they began with.
    """
    global _landmarks
    if path is None:
        _landmarks = open_models(models_dir(), detection=False)
        return
    with open(path, "rb") as file:
        data = file.read()
    try:
        _landmarks = open_models({"models/face68.sdm": data}, detection=False)
    except ValueError as error:
        raise _ozna.ModelError(f"{os.fspath(path)}: {error}") from None


def unload_landmarks() -> None:
    """Drops the landmark model of align, if there is one."""
    global _landmarks
    _landmarks = None


def align(image: Any, box: "Union[Sequence[float], _Floats]", points: int = 68) -> "_Floats":
    """Places landmarks on the face in a box.

    image   As Finder.detect takes it, in the order red, green, blue.
    box     left, top, right, bottom; a row of what detect returns serves as well.
    points  68: jaw 0-16, brows 17-26, nose 27-35, eyes 36-47, mouth 48-67. Or 5: centres of the
            eyes, tip of the nose, corners of the mouth; what is left in the image comes first.

    Returns an array of shape (points, 2) and dtype float32: x, y.

    Raises RuntimeError where no landmark model is loaded; TypeError or ValueError for what is no
    image, for a box without area or outside of the image, for another number of points. Any number
    of threads may align at once.
    """
    edges = _np.asarray(box, dtype=_np.float64)
    if edges.shape not in ((4,), (5,)):
        raise ValueError(f"box must be left, top, right, bottom, not an array of shape {edges.shape}")
    number = points_number(_whole("points", points))
    view = view_of(image)
    model = _landmarks
    if model is None:
        raise RuntimeError("no landmark model is loaded: call load_landmarks first")
    row: Any = edges[:4].astype(_np.float32).reshape(1, 4)
    _, found = model.align(view.pixels, view.format, 1, row, _np.zeros(1, _np.int32), number, False)
    if len(found[0]) == 0:
        raise RuntimeError(
            "no landmarks can be placed: less than a quarter of the box lies in the image, "
            "or it is far larger than the image"
        )
    return found[0]


def _whole(name: str, value: Any) -> int:
    """A positive number that the library can count to."""
    try:
        number: int = value.__index__()
    except AttributeError:
        raise TypeError(f"{name} must be a whole number, not {type(value).__name__}") from None
    if not 0 < number <= _INT32_MAX:
        raise ValueError(f"{name} must be above 0 and at most {_INT32_MAX}")
    return number
