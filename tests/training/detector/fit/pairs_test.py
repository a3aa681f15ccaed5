"""Windows that lie on one face."""

import numpy as np
import pytest

pytest.importorskip("torch")

from fit_helpers import LabelledWindows  # noqa: E402
from pairs import FacePairs  # noqa: E402


def test_windows_of_a_batch_come_together_with_others_of_their_faces():
    # Two faces of three windows, one of which is too far off to be on it, one face of a single window, and two backgrounds.
    faces = [(0, 0, 0, 0.7), (0, 0, 1, 0.8), (0, 0, 0, 0.3), (0, 0, 1, 0.5), (0, 0, 0, 0.9), (0, 0, 1, 0.2), (1, 0, 0, 0.6)]
    pairs = FacePairs(LabelledWindows(faces + [(0, 0, -1, 0.0), (1, 0, -1, 0.0)]).labels)
    companions = {0: {2, 4}, 4: {0, 2}, 1: {3}, 3: {1}}
    met = set()
    for seed in range(50):
        chosen = np.array([0, 3, 4, 6, 1, 7, 8, 2])
        windows, cause = pairs.gather(chosen, np.random.default_rng(seed))
        changed = np.flatnonzero(windows != chosen)
        assert set(chosen[changed]) <= {0, 1, 3, 4}  # The others stay: 6 is alone, 2 counts as no face.
        came = [(int(c), int(x)) for c, x in zip(cause, windows) if c != x]
        assert len(came) == 2
        met.update(came)
        stayed = np.flatnonzero(windows == cause)
        assert (windows[stayed] == chosen[stayed]).all() and len(stayed) == 6
    assert met == {(one, other) for one, others in companions.items() for other in others}


def test_pairs_of_a_batch_are_those_on_one_face():
    rows = [(0, 0, 0, 0.7), (0, 0, 0, 0.3), (0, 1, 0, 0.5), (0, 0, -1, 0.0), (0, 0, -1, 0.0), (0, 0, 0, 0.2)]
    pairs = FacePairs(LabelledWindows(rows).labels)
    one, other = pairs.among(np.array([1, 4, 0, 3, 2, 5]))
    assert list(zip(one, other)) == [(0, 2)]
    assert len(FacePairs(LabelledWindows(rows[3:5]).labels).among(np.array([0, 1]))[0]) == 0
