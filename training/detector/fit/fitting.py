"""Fits one network to its windows: sampling, schedule, averaged weights, checkpoints."""

import math
import os
import sys
import time

import numpy as np
import torch

import networks
from muon import Muon
from networks import device, network_input


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


def show_progress(name, done, total, speed, note=""):
    """Rewrites the line on the standard error that says how far a fit or the like is; `speed` in windows per second."""
    print(f"\r{name}: {done / total:6.1%}  {note}{speed:.0f} windows/s  {(total - done) / max(speed, 1e-9) / 60:.1f} min left   ",
          end="" if sys.stderr.isatty() else "\n", file=sys.stderr, flush=True)


class Rates:
    """The course of the rates of optimisers: a rise over the first fiftieth of the samples, and half a cosine down."""

    def __init__(self, steppers, batch, total):
        self.steppers, self.batch, self.total = steppers, batch, total
        self.full = [stepper.defaults["lr"] for stepper in steppers]

    def set(self, seen):
        """Sets the rates for the batch after so many samples."""
        rise = min(1.0, (seen + self.batch) / (0.02 * self.total))
        pace = max(rise * 0.5 * (1 + math.cos(math.pi * (seen / self.total))), 1e-3)
        for stepper, rate in zip(self.steppers, self.full, strict=True):
            for group in stepper.param_groups:
                group["lr"] = rate * pace


class MeanWeights:
    """A running mean of a network's weights: over about the last fiftieth of the samples, and at most 1,000 batches."""

    def __init__(self, twin, batch):
        self.batch = batch
        self.values = {key: value.clone() for key, value in twin.state_dict().items()}

    @torch.no_grad()
    def add(self, twin, seen):
        keep = min(0.999, 1 - self.batch / max(self.batch, 0.02 * seen))
        for key, value in twin.state_dict().items():
            if value.is_floating_point():
                self.values[key].mul_(keep).add_(value, alpha=1 - keep)


class LossCurve:
    """The loss that plain draws would have, as a running mean over about 50 batches, and about a hundred points of it."""

    def __init__(self, total):
        self.total = total
        self.points = []  # (samples seen, loss)
        self.value, self.steps, self.noted = 0.0, 0, 0

    def resume(self, points, seen):
        self.points, self.noted = points, seen

    def add(self, losses, correction, seen):
        """Takes the losses of a batch, which were drawn by difficulty; `correction` is what the sampler makes up for that by."""
        undo = correction.square()
        plain = float((losses * undo).sum() / undo.sum())
        self.steps += 1
        self.value += (plain - self.value) * max(0.02, 1 / self.steps)
        if seen - self.noted >= self.total / 100 or seen >= self.total or not self.points:
            self.noted = seen
            self.points.append((seen, self.value))


class Fit:
    """A network on its way from the weights that it has to those that suit its windows.

    options     dict of samples, batch, rate, seed, bf16, muon, normalised, scan, threads; `normalised` is for a network whose
                layers are, as a teacher's or those of a normalised twin (`normalisation`)
    checkpoint  file that is written now and then and continued from
    """

    BATCHES_DRAWN_TOGETHER = 64
    SECONDS_BETWEEN_CHECKPOINTS = 60
    SECONDS_BETWEEN_LINES = 5

    def __init__(self, twin, data, task, mean, options, checkpoint, name):
        torch.set_num_threads(options["threads"])
        self.twin, self.data, self.task, self.mean = twin, data, task, mean
        self.options, self.checkpoint, self.name = options, checkpoint, name
        self.batch, self.total, self.seen = options["batch"], options["samples"], 0
        self.rng = np.random.default_rng(options["seed"])
        twin.to(device(), memory_format=torch.channels_last)
        if options["scan"]:
            self._hold_first_bias()
        twin.train()
        self.parameters = [p for p in twin.parameters() if p.requires_grad]
        self.steppers = optimisers(twin, self.parameters, options)
        self.rates = Rates(self.steppers, self.batch, self.total)
        self.average = MeanWeights(twin, self.batch)
        self.sampler = Sampler(task.weights)
        self.curve = LossCurve(self.total)
        if os.path.exists(checkpoint):
            self._resume()
        self.started, self.started_at, self.shown, self.saved = time.time(), self.seen, 0.0, time.time()

    def run(self):
        """Fits the network in place and returns the list of (samples seen, loss)."""
        while self.seen < self.total:
            index = self.sampler.epoch(self.batch * self.BATCHES_DRAWN_TOGETHER, self.rng)
            for begin in range(0, len(index), self.batch):
                if self.seen >= self.total:
                    break
                self._step(index[begin : begin + self.batch])
                self._show()
            self._save()
        print(file=sys.stderr)
        self.twin.load_state_dict(self.average.values)
        self.twin.to("cpu").eval()
        if self.options["scan"]:
            first_network_bias(self.twin)
        return self.curve.points

    def _hold_first_bias(self):
        bias = self.twin.modules_by_name["conv1"].bias
        with torch.no_grad():
            bias.zero_()
        bias.requires_grad_(False)

    def _step(self, drawn):
        chosen, cause = self.task.gather(drawn, self.rng)
        order = np.argsort(chosen, kind="stable")
        chosen, cause = chosen[order], cause[order]
        self.rates.set(self.seen)
        batch = self.task.batch(self.data, chosen, self.mean, self.rng)
        with torch.autocast(device().type, dtype=torch.bfloat16, enabled=self.options["bf16"]):
            logits = self.twin(batch.x)
        losses, errors = self.task.losses(logits.float(), batch)
        correction = torch.from_numpy(self.sampler.correction(cause).astype(np.float32)).to(device())
        self._descend((losses * correction).mean() + self.task.ranking(logits.float(), batch))
        self.sampler.saw(chosen, errors.detach().cpu().numpy())
        self.seen += len(chosen)
        self.average.add(self.twin, self.seen)
        self.curve.add(losses.detach(), correction, self.seen)

    def _descend(self, loss):
        for stepper in self.steppers:
            stepper.zero_grad(set_to_none=True)
        loss.backward()
        torch.nn.utils.clip_grad_norm_(self.parameters, 5.0)
        for stepper in self.steppers:
            stepper.step()

    def _show(self):
        if time.time() - self.shown <= self.SECONDS_BETWEEN_LINES and self.seen < self.total:
            return
        self.shown = time.time()
        speed = (self.seen - self.started_at) / max(self.shown - self.started, 1e-9)
        show_progress(self.name, self.seen, self.total, speed, f"loss {self.curve.value:.4f}  ")

    def _save(self):
        if time.time() - self.saved <= self.SECONDS_BETWEEN_CHECKPOINTS and self.seen < self.total:
            return
        self.saved = time.time()
        state = {"twin": self.twin.state_dict(), "optimisers": [stepper.state_dict() for stepper in self.steppers],
                 "average": self.average.values, "curve": self.curve.points, "seen": self.seen,
                 "difficulty": self.sampler.difficulty}
        torch.save(state, self.checkpoint + ".new")
        os.replace(self.checkpoint + ".new", self.checkpoint)

    def _resume(self):
        saved = torch.load(self.checkpoint, map_location=device())
        self.twin.load_state_dict(saved["twin"])
        for stepper, state in zip(self.steppers, saved["optimisers"], strict=True):
            stepper.load_state_dict(state)
        self.average.values, self.seen = saved["average"], saved["seen"]
        self.curve.resume(saved["curve"], self.seen)
        if len(saved["difficulty"]) == len(self.sampler.difficulty):
            self.sampler.difficulty = saved["difficulty"]
        self.rng = np.random.default_rng([self.options["seed"], self.seen])


def answers(twin, data, mean, threads=1, batch=1024, bf16=False, mirrored=False, name=""):
    """Logits (N, classes) of a fitted network for all windows, as they are or mirrored. With a name it shows how far it is."""
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
                show_progress(name, i + len(x), len(data), (i + len(x)) / (shown - start))
    if name:
        print(file=sys.stderr)
    return torch.cat(rows).numpy()
