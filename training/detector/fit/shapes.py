"""The cascades that can be trained: their networks, and the steps that make them."""

import os
import shutil
from dataclasses import dataclass, field

import definitions

ROOT = os.path.abspath(os.path.join(os.path.dirname(__file__), "../../.."))
CALIBRATION = "cascades/x32Net-x32-3Scales-200"  # The library looks for the calibration there in every cascade.


@dataclass(frozen=True)
class Network:
    """One network of a cascade."""

    folder: str  # Below the model directory.
    side: int  # Of the windows that it is fitted to, in pixels.
    role: str  # Decides what it is asked for: "scan", "middle", "last" or "calibration".
    layers: str = ""  # As `definitions.definition` takes them; empty where the definition is a file.
    definition: str = "prototxt-deploy"
    weights: str = "proto"


@dataclass(frozen=True)
class Shape:
    """A cascade to train. The networks of the stages stand in their order, the calibration last."""

    name: str
    networks: dict
    thresholds: tuple
    plan: list = field(repr=False)  # From nothing.
    further: list = field(default_factory=list, repr=False)  # From the weights of a cascade of the shape, where there is such a plan.
    fixed_thresholds: bool = False  # Then a constant on the logits sets an operating point, otherwise the threshold itself.
    declared: int = 384  # Side of the first network's declared input.
    notes: str = "cascades"  # Where the notes go, below the model directory.
    home: str = "public"  # The folder of the repository that it is for.

    @property
    def plans(self):
        return {"whole": self.plan, **({"further": self.further} if self.further else {})}

    def stages(self):
        """Names of the stages in their order."""
        return [name for name, network in self.networks.items() if network.role != "calibration"]

    def prepare(self, cascade):
        """Writes all of the model directory but the weights."""
        raise NotImplementedError

    def write_stages(self, cascade, thresholds):
        with open(os.path.join(cascade, "stages.txt"), "w", encoding="ascii") as file:
            file.write("# stage directory, threshold\n")
            for stage, threshold in zip(self.stages(), thresholds, strict=True):
                file.write(f"{self.networks[stage].folder} {threshold:.6g}\n")

    @staticmethod
    def read_stages(cascade):
        """Folders and thresholds of a cascade's stages, as they are written."""
        with open(os.path.join(cascade, "stages.txt"), encoding="ascii") as file:
            return [line.split() for line in file if line.strip() and line[0] != "#"]

    def read_thresholds(self, cascade):
        return [float(threshold) for _, threshold in self.read_stages(cascade)]

    def has_stages_of(self, cascade):
        """Whether a cascade has the stages of this shape, whose thresholds are then a start."""
        folders = [self.networks[stage].folder for stage in self.stages()]
        return os.path.exists(os.path.join(cascade, "stages.txt")) and [folder for folder, _ in self.read_stages(cascade)] == folders


class BuiltIn(Shape):
    """The cascade whose definitions and tables are a part of the library."""

    def prepare(self, cascade):
        shutil.copytree(os.path.join(ROOT, "public/cascades"), os.path.join(cascade, "cascades"), dirs_exist_ok=True)
        self.write_stages(cascade, self.thresholds)


# Moves of a quarter of the box and scales of three in ten: where windows overlapped a face by 0.35 or more, by 0.54 on
# average, the best of the built-in cascade's 19 moves leaves 0.68 and the best of these 0.85.
SHIFTS = (-6, -4, -2, 0, 2, 4, 6)
SCALES = (0.77, 0.84, 0.92, 1, 1.09, 1.19, 1.3)
# Mean images by side. Any would do, since a fit absorbs what is left; with these, networks of both shapes can be exchanged.
MEANS = {24: "public/cascades/x32Net/mean", 48: "public/cascades/x64Net/mean"}


class Compact(Shape):
    """Networks of several small layers, and a second calibration."""

    def prepare(self, cascade):
        for name, network in self.networks.items():
            folder = os.path.join(cascade, network.folder)
            os.makedirs(folder, exist_ok=True)
            scan = network.role == "scan"
            side = self.declared if scan else network.side
            self._write(folder, network.definition, definitions.definition(f"{self.name} {name}", network.layers, side))
            if definitions.has_tone(network.layers):
                self._write(folder, "mean", "0\n" * (3 * side * side))
            elif not scan:
                shutil.copy(os.path.join(ROOT, MEANS[side]), os.path.join(folder, "mean"))
        calibration = self.networks["calibration"]
        self._write(os.path.join(cascade, calibration.folder), "offsets-scales",
                    definitions.patterns(SHIFTS, SCALES, calibration.side))
        self.write_stages(cascade, self.thresholds)

    @staticmethod
    def _write(folder, name, text):
        with open(os.path.join(folder, name), "w", encoding="ascii") as file:
            file.write(text)


# Steps of a plan, in their order. A `mine` step writes windows with the cascade as it stands then; a `fit` step continues from the
# network's present weights with all windows that are named. A `teach` step keeps the answers of those that it names in `by`: a "teacher", which
# it fits from nothing, or networks of the cascade, of which one may be the learner itself: the mean of its answers for a window and the
# mirror image is better than either alone. A network of another side reads the same windows as `NAME-48`, cut at that side. A fit that
# is `taught` learns from the answers; one that is `placed` makes the calibration lose little overlap; one that is `normalised`
# has its layers normalised meanwhile. A `point` step sets a threshold so that `boxes` boxes (or, of the last network, wrong
# boxes) per held-back photograph pass. A `scores` step makes the last network's scores probabilities, and sets its threshold so that
# `wrong` wrong boxes per held-back photograph are left. `portraits` are the photographs with landmarks: one well placed face each, in
# every light, but nothing is known of their backgrounds.
# Of two like fits of the second network, the one with half of its windows `recoloured` left better placed boxes on held-back
# photographs than the one with all of them (overlap 0.761 against 0.758), and reached 2 of 415 faces fewer.
BUILT_IN_PLAN = [
    ("mine", "first-random", ["--target", "first", "--variants", "4", "--negatives", "60"]),
    ("fit", "first", {"windows": ["first-random"], "samples": 3_000_000, "batch": 512, "rate": 2e-3}),
    ("mine", "first-hard", ["--target", "first", "--first-variant", "4", "--variants", "3", "--negatives", "80",
                            "--score", "--keep-above", "0.1"]),
    ("fit", "first", {"windows": ["first-random", "first-hard"], "samples": 14_000_000, "batch": 512, "rate": 4e-3, "muon": True}),
    ("point", "first", {"boxes": 178}),
    ("mine", "second", ["--target", "second", "--variants", "5", "--negatives", "70", "--jittered", "2",
                        "--floors", "0.3"]),
    ("mine", "second-portraits", ["--target", "second", "--photographs", "landmarks", "--variants", "2", "--jittered", "3",
                                  "--floors", "0.3"]),
    ("fit", "calibration", {"windows": ["second", "second-portraits"], "samples": 2_500_000, "batch": 256, "rate": 1e-3}),
    ("fit", "calibration", {"windows": ["second", "second-portraits"], "samples": 8_000_000, "batch": 512, "rate": 2e-3,
                            "muon": True, "recoloured": 0.5, "placed": True}),
    ("fit", "second", {"windows": ["second", "second-portraits"], "samples": 13_000_000, "batch": 512, "rate": 2.5e-3,
                       "muon": True, "recoloured": 0.5}),
    ("point", "second", {"boxes": 17.1}),
    ("mine", "third", ["--target", "third", "--variants", "5", "--negatives", "30", "--jittered", "2",
                       "--floors", "0.4,0.4"]),
    ("mine", "third-portraits", ["--target", "third", "--photographs", "landmarks", "--variants", "3", "--jittered", "2",
                                 "--floors", "0.35,0.4"]),
    ("fit", "third", {"windows": ["third", "third-portraits"], "samples": 800_000, "batch": 128, "rate": 6e-4, "muon": True}),
    ("mine", "third-hard", ["--target", "third", "--first-variant", "5", "--variants", "6", "--negatives", "16", "--score",
                            "--keep-above", "0.02", "--floors", "0.35,0.5"]),
    ("teach", "third", {"windows": ["third", "third-portraits", "third-hard"], "by": ["teacher"], "samples": 1_300_000, "batch": 256,
                       "rate": 0.03}),
    ("fit", "third", {"windows": ["third", "third-portraits", "third-hard"], "samples": 4_500_000, "batch": 256, "rate": 0.014,
                      "taught": True}),
    ("mine", "third-late", ["--target", "third", "--first-variant", "12", "--variants", "5", "--negatives", "12", "--jittered", "1",
                            "--floors", "0.38,0.6"]),
    ("teach", "third", {"windows": ["third-late"], "by": ["third"]}),
    ("fit", "third", {"windows": ["third-late"], "samples": 1_250_000, "batch": 256, "rate": 0.008, "taught": True}),
    ("point", "third", {"boxes": 0.108}),
]

BUILT_IN = BuiltIn(
    "built-in",
    {
        "first": Network("cascades/x16Net-demo", 13, "scan", definition="prototxt-full", weights="proto-full"),
        "second": Network("cascades/x32Net", 24, "middle"),
        "third": Network("cascades/x64Net", 48, "last"),
        "calibration": Network(CALIBRATION, 24, "calibration"),
    },
    (0.4, 0.8, 0.98),
    BUILT_IN_PLAN,
    fixed_thresholds=True,
)


def cut_at(side, steps):
    """Steps that mine, each followed by one that cuts the same windows at another side in pixels."""
    return [each for kind, name, options in steps
            for each in ((kind, name, options), (kind, f"{name}-{side}", [*options, "--side", str(side)]))]


# What the networks of a cascade that stands can teach each other, with windows that it cuts itself. Whatever a network lets pass has to
# please the later ones, which see more of it: the second and the third learn from all that come after them, and from themselves. The last
# network has none after it: it learns from its own answers, which are the better for the mirror image, and the mean of its weights before
# and after is taken. Not the first: taught by the second and the third it found as many faces, and in searches for small ones it let a third
# more through.
COMPACT_TEACHING = [
    *cut_at(48, [("mine", "second-late", ["--target", "second", "--first-variant", "10", "--variants", "3", "--negatives", "50",
                                          "--jittered", "2", "--floors", "0.3"])]),
    ("teach", "second", {"windows": ["second-late"], "by": ["second", "third", "fourth"], "certain": 1.3}),
    ("fit", "second", {"windows": ["second-late"], "samples": 8_000_000, "batch": 512, "rate": 0.012, "taught": True}),
    *cut_at(48, [("mine", "third-late", ["--target", "third", "--first-variant", "10", "--variants", "3", "--negatives", "30",
                                         "--jittered", "2", "--floors", "0.4,0.25"])]),
    ("teach", "third", {"windows": ["third-late"], "by": ["second", "third", "fourth"], "certain": 1.3}),
    ("fit", "third", {"windows": ["third-late"], "samples": 5_000_000, "batch": 512, "rate": 0.012, "taught": True}),
    ("point", "second", {"boxes": 28}),
    ("point", "third", {"boxes": 16}),
    ("mine", "fourth-late", ["--target", "fourth", "--first-variant", "10", "--variants", "4", "--negatives", "24", "--jittered", "2",
                             "--floors", "0.4,0.25,0.1"]),
    ("mine", "fourth-late-portraits", ["--target", "fourth", "--photographs", "landmarks", "--first-variant", "4", "--variants", "2",
                                       "--jittered", "2", "--floors", "0.3,0.2,0.1"]),
    ("teach", "fourth", {"windows": ["fourth-late", "fourth-late-portraits"], "by": ["fourth"]}),
    ("fit", "fourth", {"windows": ["fourth-late", "fourth-late-portraits"], "samples": 2_500_000, "batch": 256, "rate": 0.008,
                       "taught": True, "dark": 1.5, "mean": True}),
    ("scores", "fourth", {"wrong": 0.1}),
]
COMPACT_PLAN = [
    ("mine", "first-random", ["--target", "first", "--variants", "4", "--negatives", "60"]),
    ("fit", "first", {"windows": ["first-random"], "samples": 3_000_000, "batch": 512, "rate": 2e-3}),
    ("mine", "first-hard", ["--target", "first", "--first-variant", "4", "--variants", "3", "--negatives", "80",
                            "--score", "--keep-above", "0.1"]),
    ("fit", "first", {"windows": ["first-random", "first-hard"], "samples": 14_000_000, "batch": 512, "rate": 4e-3, "muon": True}),
    ("point", "first", {"boxes": 200}),
    ("mine", "second", ["--target", "second", "--variants", "5", "--negatives", "50", "--jittered", "2", "--floors", "0.3"]),
    ("mine", "second-portraits", ["--target", "second", "--photographs", "landmarks", "--first-variant", "1", "--variants", "2",
                                  "--jittered", "2", "--floors", "0.3"]),
    ("fit", "second", {"windows": ["second", "second-portraits"], "samples": 6_000_000, "batch": 512, "rate": 0.012,
                       "normalised": True, "recoloured": 0.5}),
    ("point", "second", {"boxes": 36}),
    ("fit", "calibration", {"windows": ["second", "second-portraits"], "samples": 2_000_000, "batch": 512, "rate": 0.015,
                            "normalised": True, "recoloured": 0.5}),
    ("fit", "calibration", {"windows": ["second", "second-portraits"], "samples": 3_000_000, "batch": 512, "rate": 0.01,
                            "normalised": True, "recoloured": 0.5, "placed": True}),
    ("mine", "third", ["--target", "third", "--variants", "5", "--negatives", "30", "--jittered", "2", "--floors", "0.37,0.3"]),
    ("mine", "third-portraits", ["--target", "third", "--photographs", "landmarks", "--first-variant", "1", "--variants", "2",
                                 "--jittered", "2", "--floors", "0.3,0.2"]),
    ("fit", "calibration", {"windows": ["second", "second-portraits", "third", "third-portraits"], "samples": 4_000_000,
                            "batch": 512, "rate": 0.01, "normalised": True, "recoloured": 0.5, "placed": True}),
    ("fit", "third", {"windows": ["third", "third-portraits"], "samples": 6_000_000, "batch": 512, "rate": 0.012,
                      "normalised": True, "recoloured": 0.5}),
    ("point", "third", {"boxes": 18}),
    ("mine", "fourth", ["--target", "fourth", "--variants", "5", "--negatives", "30", "--jittered", "2",
                        "--floors", "0.4,0.3,0.3"]),
    ("mine", "fourth-portraits", ["--target", "fourth", "--photographs", "landmarks", "--first-variant", "1", "--variants", "3",
                                  "--jittered", "2", "--floors", "0.3,0.2,0.2"]),
    ("fit", "fourth", {"windows": ["fourth", "fourth-portraits"], "samples": 3_000_000, "batch": 256, "rate": 0.014,
                       "normalised": True}),
    ("mine", "fourth-hard", ["--target", "fourth", "--first-variant", "5", "--variants", "5", "--negatives", "16", "--score",
                             "--keep-above", "0.02", "--floors", "0.37,0.3,0.3"]),
    ("teach", "fourth", {"windows": ["fourth", "fourth-portraits", "fourth-hard"], "by": ["teacher"], "samples": 1_300_000, "batch": 256,
                         "rate": 0.03}),
    ("fit", "fourth", {"windows": ["fourth", "fourth-portraits", "fourth-hard"], "samples": 8_000_000, "batch": 256, "rate": 0.014,
                       "taught": True}),
    *COMPACT_TEACHING,
]
COMPACT_FURTHER = COMPACT_TEACHING
# The first network has twice the kernels of the built-in one and a layer of 1 by 1 more: at 150 boxes per photograph it reaches as many
# faces as the other at 250, and the scan takes a twelfth longer.
# All others see the roots of their pixels: of two like fits of the second network from random weights, the one with roots was left
# with a loss of 0.334 on held-back windows, 0.312 below a grey level of 50, the other with 0.359 and 0.365. The calibration, which
# runs on more boxes than pass, begins with a stride of 2: half the work for 0.006 of recall.
# The second network looks at hundreds of boxes, so it is the smallest: taught by those after it, it leaves the cascade as sure with 28 boxes
# per photograph as one of nearly twice its work, fitted to the labels, with 38. The third sees those that are left once more, after their first
# calibration; the last one does most of the telling apart.
COMPACT = Compact(
    "compact",
    {
        "first": Network("cascades/first", 13, "scan", "c16 p3 c32k5/3 c32k1 c2k1", definition="prototxt-full", weights="proto-full"),
        "second": Network("cascades/second", 24, "middle", "t c12/2 c24 p c32 f48 f2"),
        "third": Network("cascades/third", 24, "middle", "t c16 p c32 c48 p f64 f2"),
        "fourth": Network("cascades/fourth", 48, "last", "t c24/2 c32 p c64 c64 p f128 f2"),
        "calibration": Network(CALIBRATION, 24, "calibration", f"t c16/2 c32 p c48 f96 f{len(SHIFTS) ** 2 * len(SCALES)}"),
    },
    (0.4, 0.5, 0.5, 0.5),
    COMPACT_PLAN,
    COMPACT_FURTHER,
    notes="",
    home="public/compact",
)

SHAPES = {shape.name: shape for shape in (BUILT_IN, COMPACT)}
