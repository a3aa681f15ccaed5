#!/usr/bin/env python3
"""Trains the detector's cascade: mines windows with the library, fits the networks one after the other, sets their
operating points, measures, and writes a model directory with its notes. See README.md beside this file."""

import argparse
import json
import os
import shutil
import subprocess
import sys
import time

import numpy as np
import torch

import fitting
import model_notes
import networks
import normalisation
import windows as w
from teacher import Teacher

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(HERE))

# Folder, definition, weights and input side of each network in a cascade.
NETWORKS = {
    "first": ("x16Net-demo", "prototxt-full", "proto-full", 13),
    "second": ("x32Net", "prototxt-deploy", "proto", 24),
    "calibration": ("x32Net-x32-3Scales-200", "prototxt-deploy", "proto", 24),
    "third": ("x64Net", "prototxt-deploy", "proto", 48),
}

# The steps in their order. A `mine` step writes windows with the cascade as it stands then; a `fit` step goes on from the
# network's present weights with all windows that are named; a `teach` step fits a teacher of the network from nothing, or has
# the network teach `itself`: the mean of its answers for a window and the mirror image is better than either alone. A fit that
# is `taught` learns from the answers; one that is `placed` makes the calibration lose little overlap. A `point` step adds the
# constant to the face logit with which the fixed threshold lets `boxes` boxes (or, of the third network, wrong boxes) a
# held-back photograph pass. `portraits` are the photographs with landmarks: one well placed face each, in every light, but
# nothing is known of their backgrounds.
# Of two like fits of the second network, the one with half of its windows `recoloured` left better placed boxes on held-back
# photographs than the one with all of them (overlap 0.761 against 0.758), and reached 2 of 415 faces fewer.
PLAN = [
    ("mine", "first-random", ["--target", "first", "--variants", "4", "--negatives", "60"]),
    ("fit", "first", {"windows": ["first-random"], "samples": 3_000_000, "batch": 512, "rate": 2e-3}),
    ("mine", "first-hard", ["--target", "first", "--first-variant", "4", "--variants", "3", "--negatives", "80",
                            "--score", "--keep-above", "0.1"]),
    ("fit", "first", {"windows": ["first-random", "first-hard"], "samples": 14_000_000, "batch": 512, "rate": 4e-3, "muon": True}),
    ("point", "first", {"boxes": 178}),
    ("mine", "second", ["--target", "second", "--variants", "5", "--negatives", "70", "--jittered", "2",
                        "--first-floor", "0.3"]),
    ("mine", "second-portraits", ["--target", "second", "--photographs", "landmarks", "--variants", "2", "--jittered", "3",
                                  "--first-floor", "0.3"]),
    ("fit", "calibration", {"windows": ["second", "second-portraits"], "samples": 2_500_000, "batch": 256, "rate": 1e-3}),
    ("fit", "calibration", {"windows": ["second", "second-portraits"], "samples": 8_000_000, "batch": 512, "rate": 2e-3,
                            "muon": True, "recoloured": 0.5, "placed": True}),
    ("fit", "second", {"windows": ["second", "second-portraits"], "samples": 13_000_000, "batch": 512, "rate": 2.5e-3,
                       "muon": True, "recoloured": 0.5}),
    ("point", "second", {"boxes": 17.1}),
    ("mine", "third", ["--target", "third", "--variants", "5", "--negatives", "30", "--jittered", "2",
                       "--first-floor", "0.4", "--second-floor", "0.4"]),
    ("mine", "third-portraits", ["--target", "third", "--photographs", "landmarks", "--variants", "3", "--jittered", "2",
                                 "--first-floor", "0.35", "--second-floor", "0.4"]),
    ("fit", "third", {"windows": ["third", "third-portraits"], "samples": 800_000, "batch": 128, "rate": 6e-4, "muon": True}),
    ("mine", "third-hard", ["--target", "third", "--first-variant", "5", "--variants", "6", "--negatives", "16", "--score",
                            "--keep-above", "0.02", "--first-floor", "0.35", "--second-floor", "0.5"]),
    ("teach", "third", {"windows": ["third", "third-portraits", "third-hard"], "samples": 1_300_000, "batch": 256, "rate": 0.03}),
    ("fit", "third", {"windows": ["third", "third-portraits", "third-hard"], "samples": 4_500_000, "batch": 256, "rate": 0.014,
                      "taught": True}),
    ("mine", "third-late", ["--target", "third", "--first-variant", "12", "--variants", "5", "--negatives", "12", "--jittered", "1",
                            "--first-floor", "0.38", "--second-floor", "0.6"]),
    ("teach", "third", {"windows": ["third-late"], "itself": True}),
    ("fit", "third", {"windows": ["third-late"], "samples": 1_250_000, "batch": 256, "rate": 0.008, "taught": True}),
    ("point", "third", {"boxes": 0.108}),
]


class Trainer:
    """One run in a working folder, which also remembers the steps that are done."""

    def __init__(self, arguments):
        self.arguments = arguments
        self.work = arguments.work
        self.cascade = os.path.join(self.work, "model")
        self.record_path = os.path.join(self.work, "record.json")
        self.taught_path = os.path.join(self.work, "taught.npy")
        os.makedirs(self.work, exist_ok=True)
        self.schema = self._load_schema()
        self.record = []  # Of each step that is done: its key, what came of it, and the minutes that it took.
        if os.path.exists(self.record_path):
            with open(self.record_path, encoding="ascii") as file:
                self.record = json.load(file)
        else:
            self._begin()

    def _load_schema(self):
        generated = os.path.join(self.work, "schema")
        os.makedirs(generated, exist_ok=True)
        source = os.path.join(ROOT, "caffe/src/caffe/proto")
        subprocess.run(["protoc", f"--proto_path={source}", f"--python_out={generated}", "caffe.proto"], check=True)
        sys.path.insert(0, generated)
        import caffe_pb2  # pylint: disable=import-outside-toplevel,import-error

        return caffe_pb2

    def _begin(self):
        """A cascade with the definitions and tables of public/ and the weights of --start, or random ones."""
        shutil.copytree(os.path.join(ROOT, "public/cascades"), os.path.join(self.cascade, "cascades"), dirs_exist_ok=True)
        shutil.copy(os.path.join(ROOT, "public/stages.txt"), self.cascade)
        generator = torch.Generator().manual_seed(self.arguments.seed)
        for network in NETWORKS:
            if self.arguments.start:
                folder, _, weights, _ = NETWORKS[network]
                shutil.copy(os.path.join(self.arguments.start, "cascades", folder, weights),
                            os.path.join(self.cascade, "cascades", folder, weights))
            else:
                twin = self._twin(network, empty=True)
                twin.initialise(generator)
                if network == "first":
                    fitting.first_network_bias(twin)
                self._save(network, twin)

    def _path(self, network, which):
        return os.path.join(self.cascade, "cascades", NETWORKS[network][0], NETWORKS[network][which])

    def _twin(self, network, empty=False):
        side = NETWORKS[network][3]
        twin = networks.Twin(networks.read_definition(self.schema, self._path(network, 1)), (3, side, side))
        if not empty:
            message = self.schema.NetParameter()
            with open(self._path(network, 2), "rb") as file:
                message.ParseFromString(file.read())
            twin.from_message(message)
        return twin

    def _save(self, network, twin):
        path = self._path(network, 2)
        with open(path + ".new", "wb") as file:
            file.write(twin.to_message().SerializeToString(deterministic=True))
        os.replace(path + ".new", path)

    def _mean(self, network):
        if network == "first":
            return 100.0
        return w.read_mean(os.path.join(self.cascade, "cascades", NETWORKS[network][0], "mean"))

    def _tool(self, name, *arguments):
        command = [os.path.join(self.arguments.tools, name), self.arguments.data, "--models", self.cascade,
                   "--threads", str(self.arguments.threads), *arguments]
        if self.arguments.limit:
            command += ["--limit", str(self.arguments.limit)]
        subprocess.run(command, check=True)

    def run(self):
        for number, (kind, name, what) in enumerate(PLAN, 1):
            key = f"{number}-{kind}-{name}"
            if any(step["key"] == key for step in self.record):
                continue
            if self.arguments.only and name.split("-")[0] not in self.arguments.only:
                continue
            print(f"Step {number} of {len(PLAN)}: {kind} {name}", file=sys.stderr, flush=True)
            start = time.time()
            told = getattr(self, kind)(name, what, key)
            self.record.append({"key": key, "told": told, "minutes": (time.time() - start) / 60})
            with open(self.record_path, "w", encoding="ascii") as file:
                json.dump(self.record, file, indent=1)
        self.describe()

    def describe(self):
        """Measures the cascade as it stands, beside the one that it began with, and writes its notes."""
        models = [self.cascade] + ([self.arguments.start] if self.arguments.start else [])
        folder = os.path.join(self.cascade, "cascades")
        command = [os.path.join(self.arguments.tools, "evaluate_detector"), self.arguments.data, "--models", *models,
                   "--names", "this", *(["start"] if self.arguments.start else []),
                   "--curve", os.path.join(folder, model_notes.CURVE), "--threads", str(self.arguments.threads)]
        table = subprocess.run(command, check=True, capture_output=True, text=True).stdout
        model_notes.write(folder, self.arguments, self.record, table)

    def mine(self, name, options, _key):
        prefix = os.path.join(self.work, name)
        self._tool("mine_windows", "--out", prefix, "--seed", str(self.arguments.seed), *options)
        return f"{len(w.read_labels(prefix)):,} windows: `{' '.join(options)}`"

    def _windows(self, what):
        return w.Windows([os.path.join(self.work, name) for name in what["windows"]])

    def _options(self, network, what, normalised):
        return {
            "samples": int(what["samples"] * self.arguments.scale),
            "batch": what["batch"],
            "rate": what["rate"],
            "seed": self.arguments.seed,
            "bf16": self.arguments.bf16 and network == "third",
            "muon": what.get("muon", False) or normalised,
            "normalised": normalised,
            "threads": self.arguments.threads,
        }

    def _fitted(self, twin, data, task, network, options, key):
        """Fits, keeps the curve, and tells what was done."""
        checkpoint = os.path.join(self.work, key + ".checkpoint")
        name = network if isinstance(twin, networks.Twin) else network + " (teacher)"
        curve = fitting.fit(twin, data, task, self._mean(network), options, checkpoint, name)
        with open(os.path.join(self.work, key + ".curve.json"), "w", encoding="ascii") as file:
            json.dump(curve, file)
        return (f"{options['samples']:,} samples of {len(data):,} windows, in batches of {options['batch']}, rate "
                f"{options['rate']:g}{', Muon' if options['muon'] else ''}{', normalised' if options['normalised'] else ''}"
                f"{', bfloat16' if options['bf16'] else ''}"
                f"{'' if task.recoloured == 1 else f', {task.recoloured:.0%} of the windows recoloured'}: loss "
                f"{curve[0][1]:.3f} to {curve[-1][1]:.3f}")

    def teach(self, network, what, key):
        """Keeps a teacher's answers for the windows, the mean over each and its mirror image; the teacher is fitted from nothing,
        or is the network as it stands."""
        data = self._windows(what)
        if what.get("itself"):
            teacher, told = self._twin(network), f"its own answers for {len(data):,} windows"
        else:
            torch.manual_seed(self.arguments.seed)
            teacher = Teacher()
            options = self._options(network, what, normalised=True)
            told = self._fitted(teacher, data, fitting.TeacherTask(data, network), network, options, key)
        taught = [fitting.face_logits(fitting.answers(
            teacher, data, self._mean(network), self.arguments.threads, bf16=self.arguments.bf16, mirrored=mirrored,
            name=f"{network} (the teacher's answers{', mirrored' if mirrored else ''})")) for mirrored in (False, True)]
        np.save(self.taught_path, np.mean(taught, 0))
        return told

    def fit(self, network, what, key):
        data = self._windows(what)
        taught = what.get("taught", False)
        options = self._options(network, what, normalised=taught)
        twin = self._twin(network)
        if network == "calibration":
            data.keep(data.labels[:, w.OVERLAP] >= 0.35)
            task = fitting.PlacementTask(data) if what.get("placed") else fitting.CalibrationTask(data)
        elif taught:
            task = fitting.DistilledTask(data, network, np.load(self.taught_path))
            rng = np.random.default_rng(self.arguments.seed)
            some = np.sort(fitting.Sampler(task.weights).epoch(1024, rng))
            normalisation.normalise(twin, task.batch(data, some, self._mean(network), rng).x.cpu())
        else:
            task = fitting.FaceTask(data, network, occlude=0.1 if network == "third" else 0.0)
        task.recoloured = what.get("recoloured", task.recoloured)
        told = self._fitted(twin, data, task, network, options, key)
        normalisation.fold(twin)
        self._save(network, twin)
        return told + (", taught" if taught else "") + (", for the least lost overlap" if what.get("placed") else "")

    def point(self, network, what, _key):
        """Moves the face logit so that the fixed threshold lets the wanted number of boxes pass, a photograph."""
        threshold = {"first": 0.4, "second": 0.8, "third": 0.98}[network]
        name = os.path.join(self.work, "held-" + network)
        # The next network's windows are what this one lets through; the third's own are judged by itself.
        target = {"first": "second", "second": "third", "third": "third"}[network]
        options = ["--target", target, "--part", "held", "--photographs", "faces", "--negatives", "1000000"]
        options += {"first": ["--first-floor", "0.000001"], "second": ["--second-floor", "0.000001", "--first-floor", "0.4"],
                    "third": ["--first-floor", "0.4", "--second-floor", "0.8", "--score"]}[network]
        self._tool("mine_windows", "--out", name, *options)
        labels = w.read_labels(name)
        photographs = len(np.unique(labels[:, w.PHOTOGRAPH]))
        scores = labels[:, w.SCORE].astype(np.float64)
        if network == "third":
            scores = scores[labels[:, w.OVERLAP] < 0.3]
        if len(scores) == 0:
            return "left as it is: no box to set it by"
        ranked = np.sort(scores)[::-1]
        cut = ranked[min(len(ranked) - 1, int(what["boxes"] * photographs))]
        logit = lambda p: np.log(p) - np.log1p(-p)
        constant = logit(threshold) - logit(min(max(cut, 1e-7), 1 - 1e-7))
        twin = self._twin(network)
        with torch.no_grad():
            twin.last_layer().bias[1] += float(constant)
        self._save(network, twin)
        told = (f"{constant:+.3f} on the face logit: a score of {cut:.3f} becomes {threshold}, which {what['boxes']} "
                f"{'wrong ' if network == 'third' else ''}boxes a held-back photograph pass")
        print(f"{network}: {told}", file=sys.stderr)
        return told


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("data", help="folder with detection/, landmarks/ and negatives/")
    parser.add_argument("--work", required=True, help="folder for windows, checkpoints and the growing model")
    parser.add_argument("--tools", default=os.path.join(ROOT, "build/release/training/detector"),
                        help="folder of the built mine_windows and evaluate_detector")
    parser.add_argument("--start", help="model directory to start from; random weights otherwise")
    parser.add_argument("--remarks", help="text to end MODEL.md with, such as what people saw on its contact sheets")
    parser.add_argument("--only", type=lambda text: text.split(","), help="networks to train, such as first,second")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--threads", type=int, default=2)
    parser.add_argument("--scale", type=float, default=1.0, help="factor on the samples of every fit")
    parser.add_argument("--limit", type=int, default=0, help="about so many photographs only")
    parser.add_argument("--bf16", action="store_true", help="fit the third network in bfloat16, twice as fast where the "
                        "processor has it")
    Trainer(parser.parse_args()).run()


if __name__ == "__main__":
    main()
