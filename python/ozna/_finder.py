"""The finder: what an application makes once and uses everywhere."""

import os
from typing import TYPE_CHECKING, Any, Callable, Dict, Iterable, List, Mapping, Optional, Union

import numpy as _np

from . import _ozna, _places
from ._faces import Face, faces_of
from ._images import format_number, view_of

if TYPE_CHECKING:
    from numpy.typing import NDArray

    Path = Union[str, "os.PathLike[str]"]
    Models = Union[Path, Mapping[str, bytes]]

# As oznakit.h numbers them.
_PRESETS = {"balanced": 0, "fast": 1, "thorough": 2}
_POINTS = {0: 0, 68: 1, 5: 2}
_AUTO_MARGIN = -1.0


def models_dir() -> str:
    """The directory of the models that came with this package.

    Itself a directory of models, those that the core has built in; the default ones, the compact
    cascade, are in its folder compact.

    Raises FileNotFoundError where they are not installed.
    """
    here = os.path.dirname(os.path.abspath(__file__))
    directory = os.path.normpath(os.path.join(here, _places.MODELS))
    if not os.path.isdir(directory):
        raise FileNotFoundError(f"{directory}: no such directory of models")
    return directory


def open_models(models: "Optional[Models]", detection: bool = True, landmarks: bool = True) -> _ozna.Finder:
    """Checked models: of a directory, of memory, or those that OZNA_MODELS names or the package has."""
    if isinstance(models, Mapping):
        files = [(os.fspath(name), bytes(data)) for name, data in models.items()]
        return _ozna.Finder(None, files, False, detection, landmarks)
    if models is None and not os.environ.get("OZNA_MODELS"):
        models = os.path.join(models_dir(), "compact")
    directory = None if models is None else os.fspath(models)
    return _ozna.Finder(directory, [], False, detection, landmarks)


def points_number(points: Optional[int]) -> int:
    """The library's number of a kind of landmarks."""
    if points not in _POINTS and points is not None:
        raise ValueError(f"points must be 68 or 5, not {points}")
    return _POINTS[points or 0]


class Finder:
    """Finds faces and places landmarks.

    Threads: any number may use one Finder at once, and work side by side: the interpreter's lock is
    released meanwhile. It keeps as many detectors as were used at the same time, some 8 MB each.
    """

    def __init__(
        self,
        models: "Optional[Models]" = None,
        preset: str = "balanced",
        min_face: Optional[float] = None,
        turns: int = 1,
        min_score: float = 0.0,
        *,
        max_faces: int = 0,
        margin: Optional[float] = None,
        landmarks: bool = True,
    ) -> None:
        """Opens and checks models, and keeps how to search.

        models     A directory with stages.txt; or a dictionary of names ("stages.txt",
                   "models/face68.sdm", ...) and bytes. None: those that the environment variable
                   OZNA_MODELS names, or that came with this package.
        preset     "fast" (faces from about 10 percent of the longer side), "balanced" (5 percent)
                   or "thorough" (20 pixels).
        min_face   Smallest face in place of the preset's: in pixels from 8 on, or as a share of the
                   longer side up to 1.
        turns      1: faces that stand upright. 4: lying and upside down too, in four times the time.
        min_score  Faces with a lower score are left out, 0 to 1.
        max_faces  The best so many; 0 for all.
        margin     Border around the image as a share of its longer side, 0 to 1, for faces that fill
                   it. None: one is tried where a small image shows no face.
        landmarks  False where no landmarks will be asked for, and their model is not needed.

        Raises FileNotFoundError where there are no models, ModelError (a ValueError) where a file
        is damaged, with file and line; ValueError for numbers out of range.
        """
        if preset not in _PRESETS:
            raise ValueError(f"preset must be one of {', '.join(_PRESETS)}, not {preset!r}")
        size = 0.0 if min_face is None else float(min_face)
        if min_face is not None and not (0 < size <= 1 or size >= 8):
            raise ValueError(f"min_face must be a share up to 1 or 8 pixels and more, not {min_face}")
        if turns not in (1, 4):
            raise ValueError(f"turns must be 1 or 4, not {turns}")
        if not 0 <= min_score <= 1:
            raise ValueError(f"min_score must be 0 to 1, not {min_score}")
        if max_faces < 0:
            raise ValueError(f"max_faces must not be negative, but is {max_faces}")
        if margin is not None and not 0 <= margin <= 1:
            raise ValueError(f"margin must be 0 to 1, not {margin}")
        self._search = (
            _PRESETS[preset],
            size if size > 1 else 0.0,
            size if size <= 1 else 0.0,
            turns,
            _AUTO_MARGIN if margin is None else float(margin),
            float(min_score),
            max_faces,
        )
        self._words = f"preset={preset!r}" + (f", min_face={min_face}" if min_face is not None else "")
        self._impl = open_models(models, landmarks=landmarks)

    def detect(
        self,
        image: Any,
        *,
        order: str = "rgb",
        orientation: int = 1,
        points: Optional[int] = None,
        details: bool = False,
        progress: Optional[Callable[[float], Any]] = None,
    ) -> List[Face]:
        """The faces of an image, best score first.

        image        An array (height, width, 3), (height, width, 4) with alpha, or grey
                     (height, width), of dtype uint8; a picture of PIL; anything that offers an
                     array. It is read in place where its pixels lie side by side, whatever the step
                     between its rows.
        order        Of the channels: "rgb", "bgr", "rgba", "bgra" or "argb".
        orientation  As in Exif, 1 to 8. Coordinates are those of the upright image.
        points       68 or 5, to have landmarks placed; or call align with faces of your choice.
        details      Whether to measure quality, pose, eyes and sharpness.
        progress     Called with the share that is done, 0 to 1, in this thread. Returning False
                     (and not None) stops the search, which raises Cancelled.

        Raises TypeError and ValueError for what is not an image; Cancelled; what progress raised.
        """
        view = view_of(image, order)
        numbers, own = self._impl.find(
            view.pixels, view.format, orientation, *self._search, points_number(points), details, None, progress
        )
        return faces_of(numbers, own)

    def align(
        self,
        image: Any,
        faces: "Iterable[Union[Face, NDArray[Any], Any]]",
        *,
        points: int = 68,
        details: bool = True,
        order: str = "rgb",
        orientation: int = 1,
    ) -> List[Face]:
        """The same faces with landmarks, in their order.

        faces    Faces, or boxes: rows of left, top, right, bottom.
        points   68: jaw 0-16, brows 17-26, nose 27-35, eyes 36-47, mouth 48-67. Or 5: centres of
                 the eyes, tip of the nose, corners of the mouth; what is left in the upright face
                 comes first.

        The rest as in detect. Raises ValueError for a box without area or outside of the image.
        """
        boxes, turns, scores = [], [], []
        for face in faces:
            is_face = isinstance(face, Face)
            box = _np.asarray(face, _np.float32)
            if box.shape not in ((4,), (5,)):
                raise ValueError(f"a box is left, top, right, bottom, not an array of shape {box.shape}")
            boxes.append(box[:4])
            turns.append(face.turn if is_face else 0)
            scores.append(box[4] if len(box) == 5 else _np.nan)
        if not points:
            raise ValueError("points must be 68 or 5")
        view = view_of(image, order)
        numbers, own = self._impl.align(
            view.pixels,
            view.format,
            orientation,
            _np.array(boxes, _np.float32).reshape(-1, 4),
            _np.array(turns, _np.int32),
            points_number(points),
            details,
        )
        numbers[:, 4] = scores
        return faces_of(numbers, own)

    def chips(
        self,
        image: Any,
        faces: Iterable[Face],
        *,
        size: "Union[int, tuple[int, int]]" = 256,
        padding: float = 0.0,
        border: "Union[str, tuple[int, ...]]" = (0, 0, 0),
        order: str = "rgb",
        orientation: int = 1,
    ) -> "List[NDArray[_np.uint8]]":
        """Upright cut-outs of faces: arrays (height, width, channels) in the image's order.

        size     Of a chip in pixels: a side, or (width, height); 8 to 4096.
        padding  Room around the usual part of the face, as a share of it, -0.4 to 4.
        border   Red, green, blue (and alpha) of what lies outside of the image, or "mirror".

        Points decide where there are any, else box and turn. Raises ValueError as detect does, and
        where the points do not make a face.
        """
        view = view_of(image, order)
        width, height = (size, size) if isinstance(size, int) else size
        mirror = border == "mirror"
        if isinstance(border, str) and not mirror:
            raise ValueError(f"border must be a colour or 'mirror', not {border!r}")
        colour = [0, 0, 0] if isinstance(border, str) else [int(value) for value in border]
        colour += [255] * (4 - len(colour))
        return [
            _ozna.chip(
                view.pixels, view.format, orientation, face._numbers, face.points, width, height,
                padding, mirror, colour, format_number(view.asked),
            )
            for face in faces
        ]

    @property
    def info(self) -> "Dict[str, Any]":
        """Where the models come from and what they are."""
        models, source, parts, stages, width, height, detectors = self._impl.info()
        return {
            "models": models,
            "source": source,
            "landmarks": bool(parts & 2),
            "stages": stages,
            "largest_search": (width, height),
            "detectors": detectors,
        }

    def trim(self) -> None:
        """Frees the detectors that nobody uses now."""
        self._impl.trim()

    def __repr__(self) -> str:
        return f"<Finder {self._words}, models {self.info['models']!r}>"
