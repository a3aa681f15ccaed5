"""Faces as objects, and pictures of where they are."""

from typing import TYPE_CHECKING, Any, Iterable, List, Optional, Sequence, Tuple, Union

import numpy as _np

from ._images import view_of

if TYPE_CHECKING:
    from numpy.typing import NDArray

    _Floats = NDArray[_np.float32]

_NAN = float("nan")


class Face:
    """A face: its box and score, and what else was asked for.

    box         left, top, right, bottom in pixels of the upright image; right and bottom are edges.
    score       0 to 1; NaN for a box that the program gave.
    turn        Quarter turns clockwise that bring the face upright, 0 to 3.
    points      (68, 2), (5, 2) or (0, 2): x, y; 0 is the centre of the first pixel.
    quality     Of the points: 1 where the fits agree, towards 0 where they do not.
    roll, yaw, pitch   Degrees: clockwise in the image, towards its right, up.
    left_eye, right_eye  Height over width of each eye, as they lie in the image.
    sharpness   0 to 1.

    Numbers that are not known are NaN. As a sequence, and as an array, a face is left, top,
    right, bottom, score; numpy.array(faces) has a row for each. All arrays are of dtype float32.
    """

    __slots__ = ("_numbers", "points")

    points: "_Floats"

    def __init__(
        self,
        box: "Union[Sequence[float], _Floats]",
        score: float = _NAN,
        turn: int = 0,
        points: "Optional[Union[Sequence[Sequence[float]], _Floats]]" = None,
    ) -> None:
        self._numbers: "_Floats" = _np.full(13, _NAN, _np.float32)
        self._numbers[:4] = box
        self._numbers[4:6] = score, turn
        self.points = _np.zeros((0, 2), _np.float32) if points is None else _np.array(points, _np.float32)

    @classmethod
    def _of(cls, numbers: "_Floats", points: "_Floats") -> "Face":
        face = cls.__new__(cls)
        face._numbers = numbers
        face.points = points
        return face

    @property
    def box(self) -> "_Floats":
        return self._numbers[:4]

    @property
    def left(self) -> float:
        return float(self._numbers[0])

    @property
    def top(self) -> float:
        return float(self._numbers[1])

    @property
    def right(self) -> float:
        return float(self._numbers[2])

    @property
    def bottom(self) -> float:
        return float(self._numbers[3])

    @property
    def width(self) -> float:
        return self.right - self.left

    @property
    def height(self) -> float:
        return self.bottom - self.top

    @property
    def score(self) -> float:
        return float(self._numbers[4])

    @property
    def turn(self) -> int:
        return int(self._numbers[5])

    @property
    def quality(self) -> float:
        return float(self._numbers[6])

    @property
    def roll(self) -> float:
        return float(self._numbers[7])

    @property
    def yaw(self) -> float:
        return float(self._numbers[8])

    @property
    def pitch(self) -> float:
        return float(self._numbers[9])

    @property
    def left_eye(self) -> float:
        return float(self._numbers[10])

    @property
    def right_eye(self) -> float:
        return float(self._numbers[11])

    @property
    def sharpness(self) -> float:
        return float(self._numbers[12])

    def __len__(self) -> int:
        return 5

    def __getitem__(self, index: Any) -> Any:
        return self._numbers[:5][index]

    def __array__(self, dtype: Any = None, copy: Any = None) -> "NDArray[Any]":
        return self._numbers[:5].astype(_np.float32 if dtype is None else dtype)

    def __eq__(self, other: object) -> bool:
        if not isinstance(other, Face):
            return NotImplemented
        return _np.array_equal(self._numbers, other._numbers, equal_nan=True) and _np.array_equal(
            self.points, other.points
        )

    __hash__ = None  # type: ignore[assignment]

    def __reduce__(self) -> Tuple[Any, ...]:
        return Face._of, (self._numbers, self.points)

    def __repr__(self) -> str:
        said = [f"{self.width:.0f}x{self.height:.0f} at ({self.left:.0f}, {self.top:.0f})"]
        if self.score == self.score:
            said.append(f"score {self.score:.3f}")
        if self.turn:
            said.append(f"turned by {90 * self.turn} degrees")
        if len(self.points):
            said.append(f"{len(self.points)} points")
        if self.quality == self.quality:
            said.append(f"quality {self.quality:.2f}")
        if self.roll == self.roll:
            said.append(f"roll {self.roll:.0f}, yaw {self.yaw:.0f}, pitch {self.pitch:.0f}")
        return f"<Face {', '.join(said)}>"


def faces_of(numbers: "_Floats", points: "Sequence[_Floats]") -> List[Face]:
    """The library's arrays, the points of each face in one of its own, as objects."""
    return [Face._of(row, own) for row, own in zip(numbers, points)]


def draw(
    image: Any,
    faces: Iterable[Face],
    *,
    order: str = "rgb",
    colour: Tuple[int, int, int] = (0, 255, 0),
    width: Optional[int] = None,
) -> "NDArray[_np.uint8]":
    """A copy of an image with the boxes and points of faces drawn into it.

    image   As Finder.detect takes it, upright.
    order   Of the image's channels, as there. A grey image becomes red, green, blue.
    colour  Red, green, blue of the lines; points get the same.
    width   Of the lines in pixels; by default a 300th of the longer side, at least 1.

    Returns an array (height, width, 3 or 4) of dtype uint8 in the image's order.
    """
    view = view_of(image, order)
    canvas = _np.array(view.pixels)
    if canvas.ndim == 2:
        canvas = _np.repeat(canvas[:, :, None], 3, axis=2)
    red, green, blue = colour
    channels = {"r": red, "g": green, "b": blue, "a": 255}
    ink = [channels[letter] for letter in ("rgb" if view.order == "grey" else view.order)]
    rows, columns = canvas.shape[:2]
    line = max(1, round(max(rows, columns) / 300)) if width is None else max(1, width)

    def fill(left: float, top: float, right: float, bottom: float) -> None:
        edges = _np.clip([left, top, right, bottom], 0, [columns, rows, columns, rows]).astype(int)
        canvas[edges[1] : edges[3], edges[0] : edges[2]] = ink

    for face in faces:
        # Whole pixels: a box at the image's edge keeps its line inside.
        left, right = _np.clip(_np.rint([face.left, face.right]), 0, columns)
        top, bottom = _np.clip(_np.rint([face.top, face.bottom]), 0, rows)
        fill(left, top, right, top + line)
        fill(left, bottom - line, right, bottom)
        fill(left, top, left + line, bottom)
        fill(right - line, top, right, bottom)
        for x, y in face.points:
            x0, y0 = round(float(x)) - line // 2, round(float(y)) - line // 2
            fill(x0, y0, x0 + line, y0 + line)
    return canvas if view.asked == view.order else _np.ascontiguousarray(canvas[:, :, ::-1])
