"""Finds the faces in photographs, places landmarks on them and measures what follows from those.

    import ozna
    finder = ozna.Finder()
    faces = finder.detect(image)                  # Boxes and scores, best first.
    faces = finder.align(image, faces)            # The same with 68 points, pose, quality.
    chips = finder.chips(image, faces, size=128)  # Upright cut-outs.
    picture = ozna.draw(image, faces)

Images are numpy arrays of dtype uint8 in any order of channels, grey or with alpha, pictures of PIL,
and whatever offers an array; they are read in place where their pixels lie side by side.

Coordinates are in pixels of the image, the origin at its top left corner, x to the right, y down.
The right and bottom of a box are edges. Landmarks have 0 at the centre of the first pixel.

The interpreter's lock is released while the library computes, so that threads work side by side,
with one Finder for all. The library starts no thread. Nothing ends the process: what is wrong, also
with a damaged model file, comes as an exception.

detect, align and Detector give plain arrays, with all numbers of the search.
"""

from ._faces import Face, draw
from ._finder import Finder, models_dir
from ._functions import Detector, align, detect, load_landmarks, unload_landmarks
from ._ozna import Cancelled, ModelError
from ._ozna import version as __version__

__all__ = [
    "Cancelled",
    "Detector",
    "Face",
    "Finder",
    "ModelError",
    "align",
    "detect",
    "draw",
    "load_landmarks",
    "models_dir",
    "unload_landmarks",
]
