#!/usr/bin/env python3
"""Trains the detector's cascade: mines windows with the library, fits the networks one after the other, sets their
operating points, measures, and writes a model directory with its notes. See ../README.md."""

import argparse
import json
import os
import subprocess
import sys

import numpy as np
import torch

import fitting
import model_notes
import networks
import normalisation
import scores
import shapes
import tasks
import windows as w
from shapes import ROOT
from teacher import Teacher


def processor_minutes():
    """Of this process and the tools that it ran: what a step takes, whatever else the machine does."""
    return sum(os.times()[:4]) / 60


class Trainer:
    """One run in a working folder, which also remembers the steps that are done."""

    def __init__(self, arguments):
        self.arguments = arguments
        self.shape = shapes.SHAPES[arguments.shape]
        self.work = arguments.work
        self.cascade = os.path.join(self.work, "model")
        self.record_path = os.path.join(self.work, "record.json")
        self.taught_path = os.path.join(self.work, "taught.npy")
        os.makedirs(self.work, exist_ok=True)
        self.schema = self._load_schema()
        self.record = []  # Of each step that is done: its key, what came of it, and the minutes of processor time that it took.
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
        """A cascade of the shape, with the weights of --start where that has them for layers of these sizes, and random ones
        otherwise. Not in the plan further, whose networks judge windows from its first step on: a random one would teach noise."""
        self.shape.prepare(self.cascade)
        generator = torch.Generator().manual_seed(self.arguments.seed)
        if self.arguments.start and self.shape.has_stages_of(self.arguments.start):
            self.shape.write_stages(self.cascade, self.shape.read_thresholds(self.arguments.start))
        for name, network in self.shape.networks.items():
            twin = self._twin(name, empty=True)
            weights = os.path.join(self.arguments.start or "", network.folder, network.weights)
            message = self._read_message(weights) if self.arguments.start and os.path.exists(weights) else None
            if message and twin.fits(message):
                twin.from_message(message)
            elif self.arguments.plan == "further":
                raise ValueError(f"the plan further needs a start whose {name} network has the layers '{network.layers}'; "
                                 f"{weights} {'has others' if message else 'does not exist'}")
            else:
                twin.initialise(generator)
                if network.role == "scan":
                    fitting.first_network_bias(twin)
            self._save(name, twin)

    def _read_message(self, path):
        message = self.schema.NetParameter()
        with open(path, "rb") as file:
            message.ParseFromString(file.read())
        return message

    def _path(self, network, file):
        return os.path.join(self.cascade, self.shape.networks[network].folder, file)

    def _twin(self, network, empty=False):
        about = self.shape.networks[network]
        definition = networks.read_definition(self.schema, self._path(network, about.definition))
        twin = networks.Twin(definition, (3, about.side, about.side))
        if not empty:
            twin.from_message(self._read_message(self._path(network, about.weights)))
        return twin

    def _save(self, network, twin):
        path = self._path(network, self.shape.networks[network].weights)
        with open(path + ".new", "wb") as file:
            file.write(twin.to_message().SerializeToString(deterministic=True))
        os.replace(path + ".new", path)

    def _mean(self, network):
        return 100.0 if self.shape.networks[network].role == "scan" else w.read_mean(self._path(network, "mean"))

    def _patterns(self):
        return w.read_patterns(self._path("calibration", "offsets-scales"))

    def _tool(self, name, *arguments):
        command = [os.path.join(self.arguments.tools, name), self.arguments.data, "--models", self.cascade,
                   "--threads", str(self.arguments.threads), *arguments]
        if self.arguments.limit:
            command += ["--limit", str(self.arguments.limit)]
        subprocess.run(command, check=True)

    def run(self):
        plan = self.shape.plans[self.arguments.plan]
        for number, (kind, name, what) in enumerate(plan, 1):
            key = f"{number}-{kind}-{name}"
            if any(step["key"] == key for step in self.record):
                continue
            if self.arguments.only and name.split("-")[0] not in self.arguments.only:
                continue
            print(f"Step {number} of {len(plan)}: {kind} {name}", file=sys.stderr, flush=True)
            start = processor_minutes()
            told = getattr(self, kind)(name, what, key)
            self.record.append({"key": key, "told": told, "minutes": processor_minutes() - start})
            with open(self.record_path, "w", encoding="ascii") as file:
                json.dump(self.record, file, indent=1)
        self.describe()

    def describe(self):
        """Measures the cascade as it stands, beside the one that it began with or the built-in one, and writes its notes."""
        other = self.arguments.start or ("" if self.shape.fixed_thresholds else os.path.join(ROOT, "public"))
        names = ["this", "start" if self.arguments.start else "built-in"]
        models = [path for path in (self.cascade, other) if path and os.path.exists(os.path.join(path, "stages.txt"))]
        folder = os.path.join(self.cascade, self.shape.notes)
        command = [os.path.join(self.arguments.tools, "evaluate_detector"), self.arguments.data, "--models", *models,
                   "--names", *names[: len(models)], "--threads", str(self.arguments.threads),
                   "--curve", os.path.join(folder, model_notes.CURVE)]
        if not self.shape.fixed_thresholds:
            command += ["--reliability", os.path.join(folder, model_notes.RELIABILITY)]
        table = subprocess.run(command, check=True, capture_output=True, text=True).stdout
        model_notes.write(folder, self.shape, self.arguments, self.record, table)

    def mine(self, name, options, _key):
        prefix = os.path.join(self.work, name)
        views = options.index("--variants") + 1
        options = options[:views] + [str(max(1, round(int(options[views]) * self.arguments.scale)))] + options[views + 1 :]
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
            "bf16": self.arguments.bf16 and (normalised or self.shape.networks[network].role == "last"),
            "muon": what.get("muon", False) or normalised,
            "normalised": normalised,
            "scan": self.shape.networks[network].role == "scan",
            "threads": self.arguments.threads,
        }

    def _fitted(self, twin, data, task, network, options, key):
        """Fits, keeps the curve, and says what was done."""
        checkpoint = os.path.join(self.work, key + ".checkpoint")
        name = network if isinstance(twin, networks.Twin) else network + " (teacher)"
        curve = fitting.Fit(twin, data, task, self._mean(network), options, checkpoint, name).run()
        with open(os.path.join(self.work, key + ".curve.json"), "w", encoding="ascii") as file:
            json.dump(curve, file)
        return (f"{options['samples']:,} samples of {len(data):,} windows, in batches of {options['batch']}, rate "
                f"{options['rate']:g}{', Muon' if options['muon'] else ''}{', normalised' if options['normalised'] else ''}"
                f"{', bfloat16' if options['bf16'] else ''}"
                f"{'' if task.recoloured == 1 else f', {task.recoloured:.0%} of the windows recoloured'}: loss "
                f"{curve[0][1]:.3f} to {curve[-1][1]:.3f}")

    def _cut_for(self, judge, network, what, data):
        """A step's windows `data` as another network sees them: those of another side have files of their own, `NAME-48` beside `NAME`."""
        side = self.shape.networks[judge].side
        if side == self.shape.networks[network].side:
            return data
        cut = self._windows({"windows": [f"{name}-{side}" for name in what["windows"]]})
        if not np.array_equal(w.places(cut.labels), w.places(data.labels)):
            raise ValueError(f"the windows of {side} pixels for {judge} are not those that {network} learns from; mine both with the same options")
        return cut

    def _teacher(self, network, what, data, key):
        """Fits a teacher from nothing, and says what was done."""
        torch.manual_seed(self.arguments.seed)
        patterns = self._patterns()
        teacher = Teacher(len(patterns))
        task = tasks.TeacherTask(data, self.shape.networks[network].role, patterns)
        return teacher, self._fitted(teacher, data, task, network, self._options(network, what, normalised=True), key)

    def teach(self, network, what, key):
        """Keeps the answers of judges for a network's windows: the mean over all of them, and over each window and its mirror image.
        `certain` is what the mean is multiplied by: that of several logits is less sure than each of them."""
        data, said, told = self._windows(what), [], []
        for judge in what["by"]:
            if judge == "teacher":
                (twin, words), seen, mean = self._teacher(network, what, data, key), data, self._mean(network)
            else:
                twin, words = self._twin(judge), f"the {judge} network"
                seen, mean = self._cut_for(judge, network, what, data), self._mean(judge)
            for mirrored in (False, True):
                name = f"{network} ({judge}'s answers{', mirrored' if mirrored else ''})"
                said.append(tasks.face_logits(fitting.answers(twin, seen, mean, self.arguments.threads, bf16=self.arguments.bf16,
                                                              mirrored=mirrored, name=name)))
            told.append(words)
        np.save(self.taught_path, what.get("certain", 1.0) * np.mean(said, 0))
        return f"{len(data):,} windows judged by {', '.join(told)}"

    def _task(self, data, role, what):
        """What a fit asks of its network."""
        if role == "calibration":
            data.keep(data.labels[:, w.OVERLAP] >= 0.35)
            return (tasks.PlacementTask if what.get("placed") else tasks.CalibrationTask)(data, self._patterns())
        dark = what.get("dark", 1.0)
        if what.get("taught"):
            return tasks.DistilledTask(data, role, np.load(self.taught_path), dark)
        return tasks.FaceTask(data, role, 0.1 if role == "last" else 0.0, dark)

    def fit(self, network, what, key):
        data = self._windows(what)
        # Not the first network, whose first layer has its bias given.
        normalised = (what.get("taught", False) or what.get("normalised", False)) and self.shape.networks[network].role != "scan"
        options = self._options(network, what, normalised)
        twin = self._twin(network)
        task = self._task(data, self.shape.networks[network].role, what)
        task.recoloured = what.get("recoloured", task.recoloured)
        if normalised:
            rng = np.random.default_rng(self.arguments.seed)
            some = np.sort(fitting.Sampler(task.weights).epoch(1024, rng))
            normalisation.normalise(twin, task.batch(data, some, self._mean(network), rng).x.cpu())
        told = self._fitted(twin, data, task, network, options, key)
        normalisation.fold(twin)
        if what.get("mean"):
            twin.become_mean_with(self._twin(network))
        self._save(network, twin)
        words = {"taught": ", taught", "placed": ", for the least lost overlap", "mean": "; the mean of the weights before and after"}
        return told + "".join(words[word] for word in words if what.get(word))

    def point(self, network, what, _key):
        """Chooses the stage's operating point: so many boxes per held-back photograph pass, of the last stage so many wrong ones. The
        threshold becomes the score that does it; where thresholds are fixed, the face logit is moved instead."""
        stage, last = self.shape.stages().index(network), len(self.shape.stages()) - 1
        thresholds = self.shape.read_thresholds(self.cascade)
        # The next stage's windows are what this one lets through; the last one's own are judged by itself.
        floors = thresholds[:stage] + ([] if stage == last else [1e-6])
        options = ["--part", "held", "--photographs", "faces", "--negatives", "1000000", "--floors", ",".join(map(str, floors)),
                   "--target", self.shape.stages()[min(stage + 1, last)], *(["--score"] if stage == last else [])]
        name = os.path.join(self.work, "held-" + network)
        self._tool("mine_windows", "--out", name, *options)
        labels = w.read_labels(name)
        photographs = len(np.unique(labels[:, w.PHOTOGRAPH]))
        found = labels[:, w.SCORE].astype(np.float64)
        if stage == last:
            found = found[labels[:, w.OVERLAP] < 0.3]
        if len(found) == 0:
            return "left as it is: no box to set it by"
        ranked = np.sort(found)[::-1]
        cut = float(np.clip(ranked[min(len(ranked) - 1, int(what["boxes"] * photographs))], 1e-7, 1 - 1e-7))
        passing = f"{what['boxes']} {'wrong ' if stage == last else ''}boxes per held-back photograph pass"
        if self.shape.fixed_thresholds:
            constant = scores.logit(thresholds[stage]) - scores.logit(cut)
            self._rescale(network, 1.0, constant)
            told = f"{constant:+.3f} on the face logit: a score of {cut:.3f} becomes {thresholds[stage]}, which {passing}"
        else:
            thresholds[stage] = cut
            self.shape.write_stages(self.cascade, thresholds)
            told = f"a threshold of {cut:.6g}, which {passing}"
        print(f"{network}: {told}", file=sys.stderr)
        return told

    def _rescale(self, network, slope, constant):
        """Makes slope * d + constant of the difference d of a network's two logits."""
        twin = self._twin(network)
        with torch.no_grad():
            last = twin.last_layer()
            last.weight *= slope
            last.bias *= slope
            last.bias[1] += float(constant)
        self._save(network, twin)

    def scores(self, network, what, _key):
        """Makes the last network's scores probabilities: of the boxes of the held-back photographs that score about 0.9, nine in ten
        are to be faces. Then sets the threshold that leaves the wanted number of wrong boxes per photograph."""
        name = os.path.join(self.work, "held-scores.txt")
        command = [os.path.join(self.arguments.tools, "evaluate_detector"), self.arguments.data, "--models", self.cascade, "--split",
                   "train", "--part", "held", "--threads", str(self.arguments.threads), "--scores", name]
        subprocess.run(command, check=True, stdout=subprocess.DEVNULL)
        photographs, found, right = scores.read(name)
        slope, constant = scores.fit(found, right)
        self._rescale(network, slope, constant)
        threshold = scores.threshold(scores.change(found, slope, constant), right, int(what["wrong"] * photographs))
        self.shape.write_stages(self.cascade, self.shape.read_thresholds(self.cascade)[:-1] + [threshold])
        return (f"{slope:.3f} times the difference of the logits {constant:+.3f}; a threshold of {threshold:.3f}, which {what['wrong']} wrong "
                "boxes per held-back photograph pass")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("data", help="folder with detection/, landmarks/ and negatives/")
    parser.add_argument("--work", required=True, help="folder for windows, checkpoints and the growing model")
    parser.add_argument("--tools", default=os.path.join(ROOT, "build/release/training/detector"),
                        help="folder of the built mine_windows and evaluate_detector")
    parser.add_argument("--shape", choices=list(shapes.SHAPES), default="built-in", help="the cascade to train")
    parser.add_argument("--plan", choices=["whole", "further"], default="whole",
                        help="whole: from nothing; further: from the weights of --start, whose networks teach each other")
    parser.add_argument("--start", help="model directory whose weights to start from; random ones where it has none")
    parser.add_argument("--remarks", help="text to end MODEL.md with, such as what people saw on its contact sheets")
    parser.add_argument("--only", type=lambda text: text.split(","), help="networks to train, such as first,second")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--threads", type=int, default=2)
    parser.add_argument("--scale", type=float, default=1.0, help="factor on the samples of every fit, and on the views that are mined, of which one is left at least")
    parser.add_argument("--limit", type=int, default=0, help="about so many photographs only")
    parser.add_argument("--bf16", action="store_true", help="fit the last network and the normalised ones in bfloat16, twice as fast where the "
                        "processor has it")
    arguments = parser.parse_args()
    if arguments.plan not in shapes.SHAPES[arguments.shape].plans:
        parser.error(f"there is no plan {arguments.plan} of the shape {arguments.shape}")
    if arguments.plan == "further" and not arguments.start:
        parser.error("the plan further continues from a cascade, which --start names")
    if arguments.plan == "further" and not shapes.SHAPES[arguments.shape].has_stages_of(arguments.start):
        parser.error(f"--start {arguments.start} does not have the stages of the shape {arguments.shape}, from which the plan further continues")
    try:
        trainer = Trainer(arguments)
    except ValueError as error:
        parser.error(str(error))
    trainer.run()


if __name__ == "__main__":
    main()
