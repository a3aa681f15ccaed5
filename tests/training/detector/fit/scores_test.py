"""Scores that are probabilities."""

import numpy as np
import pytest

import scores


def test_scores_become_the_share_of_faces_among_their_like():
    # Boxes whose differences of logits are twice too large, and one too high.
    rng = np.random.default_rng(3)
    true = rng.normal(0, 2, 40000)
    right = rng.random(len(true)) < 1 / (1 + np.exp(-true))
    told = 1 / (1 + np.exp(-(2 * true + 1)))
    slope, constant = scores.fit(told, right)
    assert slope == pytest.approx(0.5, abs=0.02) and constant == pytest.approx(-0.5, abs=0.05)
    changed = scores.change(told, slope, constant)
    some = (changed > 0.85) & (changed < 0.95)
    assert right[some].mean() == pytest.approx(0.9, abs=0.02)


def test_a_few_boxes_without_an_error_do_not_make_scores_certain():
    slope, constant = scores.fit(np.array([0.9, 0.8, 0.2, 0.1]), np.array([True, True, False, False]))
    changed = scores.change(np.array([0.9, 0.1]), slope, constant)
    assert 0.6 < changed[0] < 0.9 and 0.1 < changed[1] < 0.4


def test_a_threshold_lets_so_many_wrong_boxes_pass():
    found = np.array([0.9, 0.8, 0.7, 0.6, 0.5])
    right = np.array([True, False, True, False, False])
    assert scores.threshold(found, right, 1) == 0.6
    assert scores.threshold(found, right, 0) == 0.8
    assert scores.threshold(found, right, 3) == 0.0


def test_a_list_of_boxes_is_read(tmp_path):
    path = tmp_path / "scores.txt"
    path.write_text("7\n0.25 1\n0.125 0\n")
    photographs, found, right = scores.read(str(path))
    assert photographs == 7 and found.tolist() == [0.25, 0.125] and right.tolist() == [True, False]
