"""Scores that mean something: of the boxes that score 0.9, nine in ten are to be faces."""

import numpy as np

LEAST = 1e-7  # Scores closer to 0 or 1 say no more.


def logit(p):
    """The difference of two logits whose softmax is p."""
    p = np.clip(np.asarray(p, np.float64), LEAST, 1 - LEAST)
    return np.log(p) - np.log1p(-p)


def change(scores, slope, constant):
    """Scores after their logit differences d became slope * d + constant."""
    return 1 / (1 + np.exp(-(slope * logit(scores) + constant)))


def read(path):
    """What `evaluate_detector --scores` wrote: the number of photographs, and of each box its score (N,) and whether it is a face (N,)."""
    with open(path, encoding="ascii") as file:
        photographs = int(file.readline())
        rows = [line.split() for line in file]
    return photographs, np.array([float(row[0]) for row in rows]), np.array([row[1] == "1" for row in rows])


def fit(scores, right, steps=50):
    """The slope and constant with which the scores are most likely (Platt, Probabilistic outputs for support vector machines,
    1999, with his targets that keep short of 0 and 1), by Newton's method."""
    d, faces, others = logit(scores), right.sum(), (~right).sum()
    target = np.where(right, (faces + 1) / (faces + 2), 1 / (others + 2))
    inputs = np.stack([d, np.ones_like(d)])
    answer = np.array([1.0, 0.0])
    for _ in range(steps):
        p = 1 / (1 + np.exp(-(answer @ inputs)))
        gradient = inputs @ (p - target)
        curvature = (inputs * (p * (1 - p))) @ inputs.T + 1e-6 * np.eye(2)
        answer -= np.clip(np.linalg.solve(curvature, gradient), -1, 1)
    return answer


def threshold(scores, right, wrong):
    """The lowest threshold above which at most so many wrong boxes score."""
    ranked = np.sort(scores[~right])[::-1]
    return float(ranked[wrong]) if wrong < len(ranked) else 0.0
