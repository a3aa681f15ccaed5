"""The part of the package ozna that is written in C++."""

from typing import Any, Callable, List, Optional, Sequence, Tuple

import numpy as np
import numpy.typing as npt

version: str

class Cancelled(RuntimeError):
    """A search that its progress function stopped."""

class ModelError(ValueError):
    """A model file that is damaged or does not fit the others."""

class Finder:
    """Models that have been checked."""

    def __init__(
        self,
        directory: Optional[str],
        files: Sequence[Tuple[str, bytes]],
        built_in: bool,
        detection: bool,
        landmarks: bool,
    ) -> None: ...
    def find(
        self,
        pixels: npt.NDArray[np.uint8],
        format: int,
        orientation: int,
        preset: int,
        min_face_px: float,
        min_face_share: float,
        turns: int,
        margin: float,
        least_score: float,
        max_faces: int,
        points: int,
        details: bool,
        scan: Optional[Tuple[float, int, float, int, float, int]],
        progress: Optional[Callable[[float], Any]],
    ) -> Tuple[npt.NDArray[np.float32], List[npt.NDArray[np.float32]]]: ...
    def align(
        self,
        pixels: npt.NDArray[np.uint8],
        format: int,
        orientation: int,
        boxes: npt.NDArray[np.float32],
        turns: npt.NDArray[np.int32],
        points: int,
        details: bool,
    ) -> Tuple[npt.NDArray[np.float32], List[npt.NDArray[np.float32]]]: ...
    def info(self) -> Tuple[str, str, int, int, int, int, int]: ...
    def trim(self) -> None: ...

def chip(
    pixels: npt.NDArray[np.uint8],
    format: int,
    orientation: int,
    numbers: npt.NDArray[np.float32],
    points: npt.NDArray[np.float32],
    width: int,
    height: int,
    padding: float,
    mirror: bool,
    colour: List[int],
    chip_format: int,
) -> npt.NDArray[np.uint8]: ...
