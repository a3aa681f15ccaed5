"""Small windows and networks for the tests of the fitting."""

import json
import os

import definitions
import networks
import numpy as np
import shapes
import tasks
import torch
import windows as w

ROOT = shapes.ROOT
TOOLS = os.environ.get("OZNA_TRAINING_TOOLS", os.path.join(ROOT, "build/release/training/detector"))


# Nothing; half a box to the right; twice as large.
TABLE = torch.tensor([[0, 0, 1], [-12, 0, 1], [0, 0, 0.5]])


class LabelledWindows:
    """Labels alone: photograph, variant, face and overlap of each window. The boxes are 24 by 24 pixels, with their corner at 0; `squares`
    are left, top and side of the faces."""

    def __init__(self, rows, squares=None):
        self.labels = np.zeros((len(rows), w.LABEL_VALUES), np.float32)
        for i, (photograph, variant, face, overlap) in enumerate(rows):
            self.labels[i, [w.PHOTOGRAPH, w.VARIANT, w.FACE, w.OVERLAP]] = photograph, variant, face, overlap
        self.labels[:, w.SIDE] = 24
        if squares is not None:
            self.labels[:, [w.FACE_X, w.FACE_Y, w.FACE_SIDE]] = squares

    def keep(self, mask):
        self.labels = self.labels[mask]

    def __len__(self):
        return len(self.labels)


def write_windows(prefix, photographs, side, rng):
    """A file as the miner writes it; returns its pixels."""
    pixels = rng.integers(0, 256, (len(photographs), 3, side, side), dtype=np.uint8)
    labels = np.zeros((len(photographs), w.LABEL_VALUES), np.float32)
    labels[:, w.PHOTOGRAPH] = photographs
    pixels.tofile(prefix + ".u8")
    labels.tofile(prefix + ".f32")
    with open(prefix + ".json", "w", encoding="ascii") as file:
        json.dump({"windows": len(photographs), "label_values": w.LABEL_VALUES, "side": side}, file)
    return pixels


def batch_of(rows, mirrored=None):
    """The batch of all windows, as it reaches a task's losses, which do not look at the pixels."""
    no = torch.zeros(rows, dtype=torch.bool)
    return tasks.Batch(torch.arange(rows), torch.zeros(rows, 3, 48, 48), no if mirrored is None else torch.tensor(mirrored))


def twin_of(schema, tmp_path, layers, side):
    """The twin of a network that is written in one line."""
    path = tmp_path / "definition"
    path.write_text(definitions.definition("some", layers, side))
    return networks.Twin(networks.read_definition(schema, str(path)), (3, side, side))


def trained_twin(schema, network):
    """The twin of a network of the built-in cascade with its weights, and the message that holds them."""
    about = shapes.BUILT_IN.networks[network]
    base = os.path.join(ROOT, "public", about.folder)
    definition = networks.read_definition(schema, os.path.join(base, about.definition))
    twin = networks.Twin(definition, (3, about.side, about.side))
    message = schema.NetParameter()
    with open(os.path.join(base, about.weights), "rb") as file:
        message.ParseFromString(file.read())
    twin.from_message(message)
    return twin, message
