"""Pairs of windows on one face, which a fit compares."""

import numpy as np

import windows as w

# Windows further off show another part of the picture, and the suppression seldom has to choose between them and the face.
ON_FACE = 0.25


class FacePairs:
    """Which windows lie on the same face of the same view, for all windows of some labels."""

    def __init__(self, labels):
        overlap = labels[:, w.OVERLAP]
        on_face = np.flatnonzero(overlap >= ON_FACE)
        face, self._counts = w.faces_of(labels[on_face])
        self._face = np.full(len(labels), -1)
        self._face[on_face] = face
        self._by_face = on_face[np.argsort(face, kind="stable")]
        self._first = np.cumsum(self._counts) - self._counts  # Where in _by_face each face begins.
        self._place = np.zeros(len(labels), int)  # Where in its face each window stands.
        self._place[self._by_face] = np.arange(len(on_face)) - np.repeat(self._first, self._counts)
        # Windows that count as faces and are not alone on theirs.
        self._comparable = np.zeros(len(labels), bool)
        self._comparable[on_face] = (overlap[on_face] >= w.POSITIVE) & (self._counts[face] > 1)

    def gather(self, chosen, rng):
        """Makes pairs in a batch, where plain draws hardly have any: half of the chosen windows that can be compared give way to
        others on the faces of those that stay. Returns the windows, and for each the chosen one that brought it."""
        places = rng.permutation(np.flatnonzero(self._comparable[chosen]))
        half = len(places) // 2
        stay, leave = places[:half], places[len(places) - half :]
        face = self._face[chosen[stay]]
        counts = self._counts[face]
        others = self._by_face[self._first[face] + (self._place[chosen[stay]] + rng.integers(1, counts)) % counts]
        windows, cause = chosen.copy(), chosen.copy()
        windows[leave] = others
        cause[leave] = chosen[stay]
        return windows, cause

    def among(self, index):
        """All pairs of the windows of a batch: places (P,) and (P,) of the one and of the other."""
        face = self._face[index]
        return np.nonzero(np.triu((face[:, None] == face) & (face[:, None] >= 0), 1))
