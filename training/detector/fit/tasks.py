"""What is asked of a network under training: the answers and the loss of its windows, and how often each is drawn."""

from dataclasses import dataclass

import numpy as np
import torch
import torch.nn.functional as F

import windows as w
from networks import device, network_input
from pairs import FacePairs


# What a face network should answer for a window of a given overlap: faces from about a half up, and better placed ones
# score higher, so that the suppressions keep them. The first network sees faces through a coarse grid of cells, which
# may leave no window of a larger overlap. The last chooses among boxes that are calibrated already, so it is graded up to
# the best of them.
ANSWERS = {
    "scan": ([0.3, 0.42, 0.55, 0.7], [0.0, 0.8, 0.95, 1.0]),
    "middle": ([0.3, 0.45, 0.6, 0.8], [0.0, 0.8, 0.95, 1.0]),
    "last": ([0.3, 0.45, 0.55, 0.7, 0.9], [0.0, 0.3, 0.75, 0.92, 1.0]),
}

# The part of the whole weight that badly placed boxes on a face have, from an overlap of 0.15 on. The last network alone
# is shown them all: most of the wrong boxes that it would pass on otherwise lie beside a face.
NEAR_SHARE = {"last": 0.15}

# The scan finds a face through many cells, of which the best placed ones matter: the two small networks cannot learn them
# all. Weight of the windows that are further than a margin below the best of their face.
BEST_MARGIN = 0.06
OTHERS_WEIGHT = {"scan": 0.2, "middle": 0.25}

# Mean grey level below which a window is dark: a fifth of the annotated faces, of which the cascades lose most.
DARK = 80

# The power of the number of windows on a face by which their weight is divided: faces are counted in the end, not windows, and
# small ones are seen through few cells, hard ones reach the last network in few windows.
CROWD_POWER = {"scan": 0.5, "last": 0.5}


def overlap_weights(overlap):
    """Windows that are neither here nor there count less."""
    return np.interp(overlap, [0.25, 0.3, 0.4, 0.5, 0.6], [1.0, 0.5, 0.25, 0.6, 1.0]).astype(np.float32)


def below_best(labels, overlap):
    """Which windows lie on a face that another window of the same view covers better, by more than BEST_MARGIN."""
    index, counts = w.faces_of(labels)
    best = np.zeros(len(counts), np.float32)
    np.maximum.at(best, index, overlap)
    return overlap < best[index] - BEST_MARGIN


def give_share(weights, chosen, share):
    """Scales the chosen weights so that they sum to the share."""
    weights[chosen] *= share / max(weights[chosen].sum(), 1e-9)


def face_logits(logits):
    """The logit of a face (N,) from the answers of a face network, which are two per window, or of a teacher."""
    return logits[:, 1] - logits[:, 0] if logits.shape[1] == 2 else logits[:, 0]


@dataclass
class Batch:
    """Windows as a network under training sees them; tensors on its device."""

    index: torch.Tensor  # Rows of the labels.
    x: torch.Tensor  # The network's input.
    mirrored: torch.Tensor  # Which are mirror images.


class Task:
    """What a fit does to its windows, as shares of them: `recoloured` are those that `windows.jitter` changes, with the shares
    `occlude` and `coloured`; `turned` is for `windows.turn`, `degraded` for `windows.degrade`; `mirror` flips half of
    them. `weights` is how often each is drawn."""

    mirror = True
    recoloured = 1.0
    occlude = coloured = turned = degraded = 0.0

    def batch(self, data, chosen, mean, rng):
        """The chosen windows, in an ascending index, changed at random."""
        x = torch.from_numpy(data.take(chosen)).float()
        changed = np.flatnonzero(rng.random(len(x)) < self.recoloured)
        x[changed] = w.jitter(x[changed], rng, self.occlude, self.coloured)
        mirrored = w.mirror(x, rng) if self.mirror else torch.zeros(len(x), dtype=torch.bool)
        w.turn(x, rng, self.turned)
        if self.degraded:
            w.degrade(x, rng, self.degraded)
        return Batch(torch.from_numpy(chosen).to(device()), network_input(x.to(device()), mean), mirrored.to(device()))

    def gather(self, chosen, _rng):
        """The windows that a batch is made of, given those that were drawn for it, and for each the drawn one that brought it."""
        return chosen, chosen

    def ranking(self, _logits, _batch):
        """A loss of the whole batch, for windows that stand in the wrong order."""
        return 0.0


class Moves:
    """The overlaps that the calibration's moves would leave windows, computed when they are asked for: there are many patterns."""

    SIDE = 24  # Of the calibration network's input, in whose pixels the patterns are given.

    def __init__(self, labels, patterns):
        self.labels, self.patterns = torch.from_numpy(labels.copy()).to(device()), patterns.to(device())

    def overlaps(self, index):
        """(len(index), patterns)"""
        return w.moved_overlaps(self.labels[index], self.patterns, self.SIDE)

    def best(self):
        """The largest overlap of each window (N,), an array."""
        parts = torch.arange(len(self.labels), device=self.labels.device).split(8192)
        return np.concatenate([self.overlaps(part).max(1).values.cpu().numpy() for part in parts])


class FaceTask(Task):
    """Face or no face. Both classes weigh the same in sum. `role` is that of the network (`shapes.Network`); `dark` is how many
    times what it would otherwise a window of a dark place weighs, of either class."""

    def __init__(self, data, role, occlude=0.0, dark=1.0):
        overlap = data.labels[:, w.OVERLAP]
        self.overlap = torch.from_numpy(overlap.copy()).to(device())
        self.targets = torch.from_numpy(np.interp(overlap, *ANSWERS[role]).astype(np.float32)).to(device())
        weights = overlap_weights(overlap)
        positive = overlap >= w.POSITIVE
        if role in OTHERS_WEIGHT:
            weights[positive & below_best(data.labels, overlap)] *= OTHERS_WEIGHT[role]
        if role in CROWD_POWER:
            index, counts = w.faces_of(data.labels[positive])
            weights[positive] /= counts[index] ** CROWD_POWER[role]
        if dark != 1:
            weights[data.brightness() < DARK] *= dark
        near = (overlap >= 0.15) & ~positive if role in NEAR_SHARE else np.zeros(len(overlap), bool)
        give_share(weights, positive, 0.5)
        give_share(weights, near, NEAR_SHARE.get(role, 0.0))
        give_share(weights, ~positive & ~near, 0.5 - NEAR_SHARE.get(role, 0.0))
        self.weights = weights
        self.occlude = occlude
        # The first network is too small for it: at 190 boxes per photograph it lost a hundredth of the faces.
        self.coloured = 0.0 if role == "scan" else 0.2

    def losses(self, logits, batch):
        """Cross entropy of each window, and how far each answer is off, 0 to 1."""
        logits = logits.flatten(1)
        target = self.targets[batch.index]
        difference = face_logits(logits)
        loss = F.binary_cross_entropy_with_logits(difference, target, reduction="none")
        # Small logits: a softmax over a map takes one maximum for all of its cells.
        loss = loss + 1e-3 * logits.square().sum(1)
        return loss, (torch.sigmoid(difference) - target).abs()


class TeacherTask(FaceTask):
    """What a teacher learns: the answers of its network, and the overlaps that the calibration's moves leave of a face."""

    turned, degraded = 0.5, 0.25

    def __init__(self, data, role, patterns):
        super().__init__(data, role, occlude=0.2)
        self.moves = Moves(data.labels, patterns)

    def losses(self, logits, batch):
        target = self.targets[batch.index]
        loss = F.binary_cross_entropy_with_logits(logits[:, 0], target, reduction="none")
        error = (torch.sigmoid(logits[:, 0]) - target).abs()
        # The table of patterns has no mirror image, and where there is no face the overlaps say nothing.
        known = ~batch.mirrored & (self.overlap[batch.index] > 0.1)
        placed = F.binary_cross_entropy_with_logits(logits[:, 1:], self.moves.overlaps(batch.index), reduction="none").mean(1)
        return loss + 0.5 * placed * known, error


class DistilledTask(FaceTask):
    """Answers of a teacher (Hinton et al., Distilling the knowledge in a neural network, 2015), of which the labels keep a share.
    `taught` are the teacher's logits, one per window.

    The small network answers alike for windows that it learnt and for new ones: it does not learn them by heart, it is too small
    for all of them. So its windows are changed less than those of a teacher, who judged them unchanged.

    Of the boxes on a face the last suppression keeps the one that scores highest. So pairs of windows on one face are compared
    (Burges et al., Learning to rank using gradient descent, 2005): the difference of their logits should say which has the
    larger overlap, in which the labels and the teacher have the same say.
    """

    recoloured, degraded = 0.5, 0.08
    LABELS_SHARE = 0.2
    RANKING_WEIGHT = 0.7
    OVERLAP_SLOPE = 15  # Makes a logit of a difference of overlaps.

    def __init__(self, data, role, taught, dark=1.0):
        super().__init__(data, role, occlude=0.1, dark=dark)
        if len(taught) != len(data):
            raise ValueError(f"a teacher's answers for {len(data)} windows are needed, there are {len(taught)}")
        self.taught = torch.from_numpy(taught).to(device())
        self.targets = self.LABELS_SHARE * self.targets + (1 - self.LABELS_SHARE) * torch.sigmoid(self.taught)
        self.least = F.binary_cross_entropy(self.targets, self.targets, reduction="none")  # No answers cost less.
        self.pairs = FacePairs(data.labels)

    def losses(self, logits, batch):
        """As for labels, less the least possible: the relative entropy, which says how far the network is from the answers."""
        losses, errors = super().losses(logits, batch)
        return losses - self.least[batch.index], errors

    def gather(self, chosen, rng):
        return self.pairs.gather(chosen, rng)

    def ranking(self, logits, batch):
        one, other = (torch.from_numpy(places).to(device()) for places in self.pairs.among(batch.index.cpu().numpy()))
        lead = lambda values: values[one] - values[other]
        wanted = torch.sigmoid(self.OVERLAP_SLOPE * lead(self.overlap[batch.index])) + torch.sigmoid(lead(self.taught[batch.index]))
        losses = F.binary_cross_entropy_with_logits(lead(face_logits(logits.flatten(1))), wanted / 2, reduction="sum")
        return self.RANKING_WEIGHT * losses / len(logits)


class CalibrationTask(Task):
    """Which pattern's move leaves the best overlap. The patterns differ little, so the answer is a soft one."""

    mirror = False  # The table of patterns has no mirror image.
    coloured = 0.2
    TEMPERATURE = 0.03  # A pattern that leaves so much less overlap is wanted e times less.

    def __init__(self, data, patterns):
        self.moves = Moves(data.labels, patterns)
        self.weights = np.full(len(data), 1.0 / len(data), np.float32)

    def losses(self, logits, batch):
        moved = self.moves.overlaps(batch.index)
        lost = moved.max(1, keepdim=True).values - moved
        chosen = lost.gather(1, logits.argmax(1, keepdim=True))[:, 0]
        return self.costs(logits, lost), (5 * chosen).clamp(0, 1)

    def costs(self, logits, lost):
        """The loss of each window, given the overlap (N, patterns) that each move loses against the best."""
        return -(F.softmax(-lost / self.TEMPERATURE, 1) * F.log_softmax(logits, 1)).sum(1)


class PlacementTask(CalibrationTask):
    """Which pattern's move loses the least overlap: the loss is what a move drawn by the network's probabilities would lose against
    the best.

    The library takes the likeliest pattern alone, so they need not be true to how often each is the best: where a window leaves
    it open, a pattern that loses little whatever the truth is beats the one that is best most often. It is for a network that
    knows the patterns already: from random weights it ended with far worse moves than cross entropy. Windows that no move
    brings onto a face weigh less, since a better placed one stands for that face in the end.
    """

    LOSS_SCALE = 20  # Of overlaps, which differ by a few hundredths, to the size of a cross entropy.

    def __init__(self, data, patterns):
        super().__init__(data, patterns)
        weights = self.moves.best() ** 2
        self.weights = weights / weights.sum()

    def costs(self, logits, lost):
        return self.LOSS_SCALE * (lost * F.softmax(logits, 1)).sum(1)
