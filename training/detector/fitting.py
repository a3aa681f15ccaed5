"""Fits one network to its windows: loss, sampling, schedule, averaged weights, checkpoints."""

import math
import os
import sys
import time
from dataclasses import dataclass

import numpy as np
import torch
import torch.nn.functional as F

import networks
import windows as w
from muon import Muon
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


def device():
    """Where to compute: a GPU if there is one."""
    return torch.device("cuda" if torch.cuda.is_available() else "cpu")


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
    """The overlaps that the calibration's moves would leave windows, reckoned when they are asked for: there are many patterns."""

    SIDE = 24  # Of the calibration network's input, in whose pixels the patterns are told.

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
        # The table of patterns has no mirror image, and where there is no face the overlaps tell nothing.
        known = ~batch.mirrored & (self.overlap[batch.index] > 0.1)
        placed = F.binary_cross_entropy_with_logits(logits[:, 1:], self.moves.overlaps(batch.index), reduction="none").mean(1)
        return loss + 0.5 * placed * known, error


class DistilledTask(FaceTask):
    """Answers of a teacher (Hinton et al., Distilling the knowledge in a neural network, 2015), of which the labels keep a share.
    `taught` are the teacher's logits, one a window.

    The small network answers alike for windows that it learnt and for new ones: it does not learn them by heart, it is too small
    for all of them. So its windows are changed less than those of a teacher, who judged them unchanged.

    Of the boxes on a face the last suppression keeps the one that scores highest. So pairs of windows on one face are compared
    (Burges et al., Learning to rank using gradient descent, 2005): the difference of their logits should tell which has the
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
        """As for labels, less the least possible: the relative entropy, which tells how far the network is from the answers."""
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


class Sampler:
    """Draws windows by weight, hard ones more often.

    A window's difficulty is its last error, at least `least`; the draw is in proportion to weight times difficulty, and the
    loss is divided by the root of the difficulty: half way between plain sampling and training on the hard ones alone.
    """

    def __init__(self, weights, least=0.08):
        self.weights, self.least = weights.astype(np.float64), least
        self.difficulty = np.ones(len(weights))

    def epoch(self, count, rng):
        share = self.weights * self.difficulty
        return rng.choice(len(share), count, p=share / share.sum())

    def correction(self, index):
        return 1.0 / np.sqrt(self.difficulty[index])

    def saw(self, index, errors):
        self.difficulty[index] = np.clip(errors, self.least, 1)


def first_network_bias(twin):
    """Keeps the first network's condition: its bias is that of weights that saw pixels less 100."""
    conv = twin.modules_by_name["conv1"]
    with torch.no_grad():
        conv.bias.copy_((-100.0 / networks.INPUT_SCALE * conv.weight.double().sum((1, 2, 3))).float())


def network_input(x, mean):
    """Pixels to the twin's input; `mean` is an image, or the number 100 for the first network."""
    mean = mean.to(x.device) if torch.is_tensor(mean) else mean
    return ((x - mean) / networks.INPUT_SCALE).contiguous(memory_format=torch.channels_last)


def optimisers(twin, parameters, options):
    """Adam for all parameters, or with the option `muon` for the biases and the last layer, and Muon for the others.

    With the option `normalised` the rate is the share of its norm by which a normalised layer moves; Adam's is a fifteenth of it.
    """
    last = {id(p) for p in twin.last_layer().parameters()}
    matrices = [p for p in parameters if options["muon"] and p.dim() > 1 and id(p) not in last]
    chosen = {id(p) for p in matrices}
    normalised = options["normalised"]
    rate = options["rate"] / 15 if normalised else options["rate"]
    made = [torch.optim.Adam([p for p in parameters if id(p) not in chosen], lr=rate, betas=(0.9, 0.99))]
    if matrices:
        made.append(Muon(matrices, lr=options["rate"], momentum=0.9 if normalised else 0.95,
                         dtype=torch.bfloat16 if options["bf16"] else torch.float32, keep_norm=normalised))
    return made


def tell_progress(name, done, total, speed, note=""):
    """Rewrites the line on the standard error that says how far a fit or the like is; `speed` in windows a second."""
    print(f"\r{name}: {done / total:6.1%}  {note}{speed:.0f} windows/s  {(total - done) / max(speed, 1e-9) / 60:.1f} min left   ",
          end="" if sys.stderr.isatty() else "\n", file=sys.stderr, flush=True)


def fit(twin, data, task, mean, options, checkpoint, name):
    """Fits `twin` in place and returns the list of (samples seen, loss).

    options     dict of samples, batch, rate, seed, bf16, muon, normalised, scan, threads; `normalised` is for a network whose
                layers are, as a teacher's or those of a normalised twin (`normalisation`)
    checkpoint  file that is written now and then and continued from
    """
    torch.set_num_threads(options["threads"])
    rng = np.random.default_rng(options["seed"])
    twin.to(device(), memory_format=torch.channels_last)
    if options["scan"]:
        with torch.no_grad():
            twin.modules_by_name["conv1"].bias.zero_()
        twin.modules_by_name["conv1"].bias.requires_grad_(False)
    twin.train()
    parameters = [p for p in twin.parameters() if p.requires_grad]
    steppers = optimisers(twin, parameters, options)
    rates = [stepper.defaults["lr"] for stepper in steppers]
    average = {k: v.clone() for k, v in twin.state_dict().items()}
    sampler, curve, seen = Sampler(task.weights), [], 0
    batch, total = options["batch"], options["samples"]
    if os.path.exists(checkpoint):
        saved = torch.load(checkpoint, map_location=device())
        twin.load_state_dict(saved["twin"])
        for stepper, state in zip(steppers, saved["optimisers"], strict=True):
            stepper.load_state_dict(state)
        average, curve, seen = saved["average"], saved["curve"], saved["seen"]
        if len(saved["difficulty"]) == len(sampler.difficulty):
            sampler.difficulty = saved["difficulty"]
        rng = np.random.default_rng([options["seed"], seen])
    start, start_seen, shown, running, steps = time.time(), seen, 0.0, 0.0, 0
    saved_at, noted = time.time(), seen
    while seen < total:
        index = sampler.epoch(batch * 64, rng)
        for i in range(0, len(index), batch):
            if seen >= total:
                break
            chosen, cause = task.gather(index[i : i + batch], rng)
            order = np.argsort(chosen, kind="stable")
            chosen, cause = chosen[order], cause[order]
            progress = seen / total
            pace = max(min(1.0, (seen + batch) / (0.02 * total)) * 0.5 * (1 + math.cos(math.pi * progress)), 1e-3)
            for stepper, rate in zip(steppers, rates, strict=True):
                for group in stepper.param_groups:
                    group["lr"] = rate * pace
            drawn = task.batch(data, chosen, mean, rng)
            with torch.autocast(device().type, dtype=torch.bfloat16, enabled=options["bf16"]):
                logits = twin(drawn.x)
            losses, errors = task.losses(logits.float(), drawn)
            correction = torch.from_numpy(sampler.correction(cause).astype(np.float32)).to(device())
            loss = (losses * correction).mean() + task.ranking(logits.float(), drawn)
            for stepper in steppers:
                stepper.zero_grad(set_to_none=True)
            loss.backward()
            torch.nn.utils.clip_grad_norm_(parameters, 5.0)
            for stepper in steppers:
                stepper.step()
            sampler.saw(chosen, errors.detach().cpu().numpy())
            seen += len(chosen)
            keep = min(0.999, 1 - batch / max(batch, 0.02 * seen))
            with torch.no_grad():
                for key, value in twin.state_dict().items():
                    if value.is_floating_point():
                        average[key].mul_(keep).add_(value, alpha=1 - keep)
            # Undone, the hard draw gives the loss that plain draws would have.
            undo = correction.square()
            plain = float((losses.detach() * undo).sum() / undo.sum())
            steps += 1
            running += (plain - running) * max(0.02, 1 / steps)
            if seen - noted >= total / 100 or seen >= total or not curve:
                noted = seen
                curve.append((seen, running))
            if time.time() - shown > 5 or seen >= total:
                shown = time.time()
                speed = (seen - start_seen) / max(shown - start, 1e-9)
                tell_progress(name, seen, total, speed, f"loss {running:.4f}  ")
        if time.time() - saved_at > 60 or seen >= total:
            saved_at = time.time()
            state = {"twin": twin.state_dict(), "optimisers": [o.state_dict() for o in steppers], "average": average}
            state.update(curve=curve, seen=seen, difficulty=sampler.difficulty)
            torch.save(state, checkpoint + ".new")
            os.replace(checkpoint + ".new", checkpoint)
    print(file=sys.stderr)
    twin.load_state_dict(average)
    twin.to("cpu").eval()
    if options["scan"]:
        first_network_bias(twin)
    return curve


def answers(twin, data, mean, threads=1, batch=1024, bf16=False, mirrored=False, name=""):
    """Logits (N, classes) of a fitted network for all windows, as they are or mirrored. With a name it tells how far it is."""
    torch.set_num_threads(threads)
    twin = twin.to(device(), memory_format=torch.channels_last).eval()
    rows, start, shown = [], time.time(), 0.0
    with torch.no_grad(), torch.autocast(device().type, dtype=torch.bfloat16, enabled=bf16):
        for i in range(0, len(data), batch):
            x = torch.from_numpy(data.take(np.arange(i, min(i + batch, len(data))))).to(device()).float()
            x = network_input(x.flip(3) if mirrored else x, mean)
            rows.append(twin(x).flatten(1).float().cpu())
            if name and time.time() - shown > 5:
                shown = time.time()
                tell_progress(name, i + len(x), len(data), (i + len(x)) / (shown - start))
    if name:
        print(file=sys.stderr)
    return torch.cat(rows).numpy()


def face_logits(logits):
    """The logit of a face (N,) from the answers of a face network, which are two a window, or of a teacher."""
    return logits[:, 1] - logits[:, 0] if logits.shape[1] == 2 else logits[:, 0]
