"""Training windows as the miner writes them, and their random changes of colour."""

import json

import numpy as np
import torch

# Columns of a label, in the order of WindowLabel in window_file.h.
PHOTOGRAPH, VARIANT, X, Y, SIDE, SCORE, OVERLAP, IGNORED, FACE = range(9)
MOVES = slice(9, 28)


def read_labels(prefix):
    """The labels (N, 28) of one file, without its pixels, which take gigabytes."""
    with open(prefix + ".json", encoding="ascii") as file:
        about = json.load(file)
    return np.fromfile(prefix + ".f32", np.float32).reshape(about["windows"], about["label_values"])


class Windows:
    """Windows of one or several files: `labels` (N, 28) floats, and bytes (N, 3, side, side), which stay on the disk until they
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

    def __len__(self):
        return len(self.labels)


def jitter(pixels, rng, mirror, occlude, coloured):
    """Random colours (and places) for a batch; floats (N, 3, side, side), 0 to 255, plane 0 first.

    Hosts pass both channel orders, so a quarter of the windows swap theirs, and one in eight is grey. Gain, contrast and
    offset vary, and half of the windows are darkened, since faces in the dark are what annotated photographs show least.
    `mirror` flips half of the windows; `occlude` is the share that loses a random rectangle, `coloured` the share that stands
    in coloured light, a few of them deeply.
    """
    x = torch.from_numpy(pixels).float()
    n, _, side, _ = x.shape
    uniform = lambda a, b: torch.from_numpy(rng.uniform(a, b, (n, 1, 1, 1)).astype(np.float32))
    chosen = lambda share: torch.from_numpy(rng.random(n) < share)
    swap = chosen(0.25)
    x[swap] = x[swap].flip(1)
    grey = chosen(0.125)
    x[grey] = x[grey].mean(1, keepdim=True).expand(-1, 3, -1, -1)
    light = torch.where(chosen(0.5)[:, None, None, None], torch.exp(uniform(-1.1, 0.3)), torch.ones(()))
    x = x * light
    depth = torch.where(chosen(coloured), torch.where(chosen(0.15), 1.2, 0.3), 0.0)[:, None, None, None]
    x = x * torch.exp(depth * torch.from_numpy(rng.uniform(-1, 0.7, (n, 3, 1, 1)).astype(np.float32)))
    mean = x.mean((1, 2, 3), keepdim=True)
    x = (x - mean) * uniform(0.75, 1.3) + mean + uniform(-15, 15)
    if mirror:
        flipped = chosen(0.5)
        x[flipped] = x[flipped].flip(3)
    for i in np.flatnonzero(rng.random(n) < occlude):
        height, width = rng.integers(side // 8, side * 2 // 5, 2)
        top, left = rng.integers(0, side - height), rng.integers(0, side - width)
        x[i, :, top : top + height, left : left + width] = float(rng.uniform(0, 255))
    return x.clamp_(0, 255)


def read_mean(path):
    """A mean image as (3, side, side) floats, the very values that the library subtracts."""
    values = np.loadtxt(path, dtype=np.float64).astype(np.float32).ravel()
    side = int(round((values.size / 3) ** 0.5))
    return torch.from_numpy(values.reshape(3, side, side))
