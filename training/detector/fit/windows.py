"""Training windows as the miner writes them, and their random changes."""

import json

import numpy as np
import torch
import torch.nn.functional as F

# Columns of a label, in the order of WindowLabel in window_file.h.
PHOTOGRAPH, VARIANT, X, Y, SIDE, SCORE, OVERLAP, IGNORED, FACE, FACE_X, FACE_Y, FACE_SIDE = range(12)
LABEL_VALUES = 12

# The overlap from which on a window counts as a face.
POSITIVE = 0.4


def read_labels(prefix):
    """The labels (N, LABEL_VALUES) of one file, without its pixels, which take gigabytes."""
    with open(prefix + ".json", encoding="ascii") as file:
        about = json.load(file)
    return np.fromfile(prefix + ".f32", np.float32).reshape(about["windows"], about["label_values"])


def places(labels):
    """Which photograph, view and box each window is of (N, 5): the same for the same boxes at another side in pixels."""
    return labels[:, [PHOTOGRAPH, VARIANT, X, Y, SIDE]]


def moved_overlaps(labels, patterns, side):
    """Overlaps (N, K) of boxes with their faces after each move of the calibration, in the library's own arithmetic.

    labels    (N, LABEL_VALUES) floats, a tensor; boxes without a face overlap nothing
    patterns  (K, 3) floats, a tensor: dx and dy in pixels of the calibration network's input, and scale
    side      of that input
    """
    x, y, width, left, top, face = (labels[:, column, None] for column in (X, Y, SIDE, FACE_X, FACE_Y, FACE_SIDE))
    dx, dy, scale = patterns.t()[:, None]
    x, y, moved = x - torch.trunc(width * (dx / side)), y - torch.trunc(width * (dy / side)), torch.trunc(width / scale)
    shared = (torch.minimum(x + moved, left + face) - torch.maximum(x, left)).clamp(min=0)
    shared = shared * (torch.minimum(y + moved, top + face) - torch.maximum(y, top)).clamp(min=0)
    return shared / (moved * moved + face * face - shared)


def read_patterns(path):
    """The calibration's table (K, 3), as `moved_overlaps` takes it."""
    return torch.from_numpy(np.loadtxt(path, dtype=np.float64).astype(np.float32).reshape(-1, 3))


def faces_of(labels):
    """Numbers the faces of all views: that of each window, and how many windows each face has."""
    columns = labels[:, [PHOTOGRAPH, VARIANT, FACE]]
    _, index, counts = np.unique(columns, axis=0, return_inverse=True, return_counts=True)
    return index, counts


class Windows:
    """Windows of one or several files: `labels` (N, LABEL_VALUES) floats, and bytes (N, 3, side, side), which stay on the disk until they
    are taken. Photographs of different files have different numbers here."""

    def __init__(self, prefixes):
        labels, self._files = [], []
        for prefix in prefixes:
            labels.append(read_labels(prefix))
            with open(prefix + ".json", encoding="ascii") as file:
                side = json.load(file)["side"]
            shape = (len(labels[-1]), 3, side, side)
            # An empty file cannot be mapped.
            self._files.append(np.memmap(prefix + ".u8", np.uint8, "r", shape=shape) if shape[0] else np.zeros(shape, np.uint8))
        photographs = 0
        for some in labels:
            some[:, PHOTOGRAPH] += photographs
            photographs = max(photographs, some[:, PHOTOGRAPH].max(initial=-1) + 1)
        self._starts = np.cumsum([0] + [len(some) for some in labels])
        self.labels = np.concatenate(labels)
        self._rows = np.arange(len(self.labels))

    def keep(self, mask):
        """Drops the windows whose mask is false."""
        self.labels, self._rows = self.labels[mask], self._rows[mask]
        return self

    def take(self, index):
        """Pixels (len(index), 3, side, side) of the windows of an ascending index."""
        rows = self._rows[index]
        cuts = np.searchsorted(rows, self._starts)
        parts = zip(self._files, self._starts, cuts, cuts[1:])
        return np.concatenate([file[rows[first:last] - start] for file, start, first, last in parts])

    def brightness(self, step=65536):
        """The mean grey level (N,) of each window, from every fourth of its pixels in each direction."""
        parts = [np.arange(first, min(first + step, len(self))) for first in range(0, len(self), step)]
        return np.concatenate([self.take(part)[:, :, ::4, ::4].mean((1, 2, 3), dtype=np.float32) for part in parts])

    def __len__(self):
        return len(self.labels)


def jitter(x, rng, occlude, coloured):
    """Random colours for a batch of floats (N, 3, side, side), 0 to 255, plane 0 first; returns the changed ones.

    Hosts pass both channel orders, so a quarter of the windows swap theirs, and one in eight is grey. Gain, contrast and
    offset vary, and half of the windows are darkened, some down to a fifth, since faces in the dark are what annotated
    photographs show least. `occlude` is the share that loses a random rectangle, to a plain colour or to a part of another window;
    `coloured` is the share that stands in coloured light, a few of them deeply.
    """
    n, _, side, _ = x.shape
    x = x.clone()
    uniform = lambda a, b: torch.from_numpy(rng.uniform(a, b, (n, 1, 1, 1)).astype(np.float32))
    chosen = lambda share: torch.from_numpy(rng.random(n) < share)
    swap = chosen(0.25)
    x[swap] = x[swap].flip(1)
    grey = chosen(0.125)
    x[grey] = x[grey].mean(1, keepdim=True).expand(-1, 3, -1, -1)
    light = torch.where(chosen(0.5)[:, None, None, None], torch.exp(uniform(-1.6, 0.3)), torch.ones(()))
    x = x * light
    depth = torch.where(chosen(coloured), torch.where(chosen(0.15), 1.2, 0.3), 0.0)[:, None, None, None]
    x = x * torch.exp(depth * torch.from_numpy(rng.uniform(-1, 0.7, (n, 3, 1, 1)).astype(np.float32)))
    mean = x.mean((1, 2, 3), keepdim=True)
    x = (x - mean) * uniform(0.75, 1.3) + mean + uniform(-15, 15)
    for i in np.flatnonzero(rng.random(n) < occlude):
        height, width = rng.integers(side // 8, side * 2 // 5, 2)
        top, left = rng.integers(0, side - height), rng.integers(0, side - width)
        cover = float(rng.uniform(0, 255)) if rng.random() < 0.5 else x[i - 1, :, :height, :width]
        x[i, :, top : top + height, left : left + width] = cover
    return x.clamp_(0, 255)


def mirror(x, rng):
    """Flips half of the windows in place and returns which."""
    flipped = torch.from_numpy(rng.random(len(x)) < 0.5)
    x[flipped] = x[flipped].flip(3)
    return flipped


def turn(x, rng, share):
    """Turns a share of the windows a little about their centre, in place."""
    index = np.flatnonzero(rng.random(len(x)) < share)
    if len(index):
        angle = torch.from_numpy(rng.normal(0, 0.1, len(index)).astype(np.float32))
        none = torch.zeros_like(angle)
        rows = [torch.stack([angle.cos(), -angle.sin(), none], 1), torch.stack([angle.sin(), angle.cos(), none], 1)]
        some = x[index]
        grid = F.affine_grid(torch.stack(rows, 1), some.shape, align_corners=False)
        x[index] = F.grid_sample(some, grid, padding_mode="border", align_corners=False)


def degrade(x, rng, share):
    """Blurs a share of the windows and adds noise to a share, in place, as small faces and dark photographs have them."""
    side = x.shape[3]
    blurred = np.flatnonzero(rng.random(len(x)) < share)
    if len(blurred):
        small = int(rng.integers(side // 3, side * 3 // 4))
        reduced = F.interpolate(x[blurred], size=(small, small), mode="bilinear", antialias=True, align_corners=False)
        x[blurred] = F.interpolate(reduced, size=(side, side), mode="bilinear", align_corners=False)
    noisy = np.flatnonzero(rng.random(len(x)) < share)
    noise = rng.standard_normal((len(noisy),) + tuple(x.shape[1:]), dtype=np.float32) * rng.uniform(2, 10)
    x[noisy] += torch.from_numpy(noise.astype(np.float32))
    x.clamp_(0, 255)


def read_mean(path):
    """A mean image as (3, side, side) floats, the very values that the library subtracts."""
    values = np.loadtxt(path, dtype=np.float64).astype(np.float32).ravel()
    side = int(round((values.size / 3) ** 0.5))
    return torch.from_numpy(values.reshape(3, side, side))
