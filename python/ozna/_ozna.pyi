"""The part of the package ozna that is written in C++."""

import numpy as np
import numpy.typing as npt

version: str

class Detector:
    """A loaded cascade."""

    def __init__(self, root: str, stage_list: str) -> None: ...
    def detect(
        self,
        image: npt.NDArray[np.uint8],
        max_upscale: float,
        max_image_side: int,
        min_face_fraction: float,
        pyramid_levels: int,
        pyramid_factor: float,
        window_size: int,
    ) -> npt.NDArray[np.float32]: ...

def load_landmarks(directory: str, file: str) -> None: ...
def unload_landmarks() -> None: ...
def align(
    image: npt.NDArray[np.uint8], left: float, top: float, right: float, bottom: float, points: int
) -> npt.NDArray[np.float32]: ...
