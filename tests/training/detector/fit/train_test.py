"""The trainer: what its steps fit, its record, and a tiny training from nothing."""

import argparse
import json
import os
import shutil
import subprocess
import sys

import numpy as np
import pytest

pytest.importorskip("torch")

import fitting  # noqa: E402
import shapes  # noqa: E402
import tasks  # noqa: E402
import train  # noqa: E402
from fit_helpers import ROOT, TABLE, TOOLS, LabelledWindows, trained_twin  # noqa: E402
from teacher import Teacher  # noqa: E402

TRAIN = os.path.join(ROOT, "training/detector/fit/train.py")


JUDGED = [(0, 0, 0, 0.9), (0, 0, -1, 0.0)]


def a_trainer_that_teaches(tmp_path, monkeypatch, cut=None):
    """One whose networks, a number each, answer that number and 1 for two windows, and 4 more for mirror images; a teacher answers 30
    and 31, and overlaps beside. Of windows of 48 pixels, `cut` says what they are."""
    number = {"second": 10.0, "third": 20.0, "fourth": 40.0}

    def answers(twin, data, mean, *_arguments, mirrored, **_options):
        teacher = isinstance(twin, Teacher)
        assert data.side == (48 if twin == number["fourth"] else 24) and mean == (number["second"] if teacher else twin)
        faces = np.array([0.0, 1.0]) + (30 if teacher else twin) + (4 if mirrored else 0)
        return np.c_[faces, np.full((2, 3), 99.0)] if teacher else np.stack([np.full(2, 7.0), faces + 7], 1)

    def windows(_self, what):
        far = what["windows"] == ["some-48"]
        data = LabelledWindows(cut if far and cut else JUDGED)
        data.side = 48 if far else 24
        return data

    monkeypatch.setattr(fitting, "answers", answers)
    monkeypatch.setattr(train.Trainer, "_windows", windows)
    monkeypatch.setattr(train.Trainer, "_options", lambda *_, **__: {})
    monkeypatch.setattr(train.Trainer, "_patterns", lambda *_: TABLE)
    monkeypatch.setattr(train.Trainer, "_twin", lambda _self, network: number[network])
    monkeypatch.setattr(train.Trainer, "_fitted", lambda *_: "a teacher of some samples")
    monkeypatch.setattr(train.Trainer, "_mean", lambda _self, network: number[network])
    trainer = object.__new__(train.Trainer)
    trainer.shape = shapes.COMPACT
    trainer.arguments, trainer.taught_path = argparse.Namespace(seed=1, threads=1, bf16=False), tmp_path / "taught.npy"
    return trainer


# The mean over a window and its mirror image lies 2 above the answer for the window.
@pytest.mark.parametrize("what, words, taught",
                         [({"by": ["second"]}, "2 windows judged by the second network", [12, 13]),
                          ({"by": ["second", "third"], "certain": 2.0}, "the second network, the third network", [34, 36]),
                          ({"by": ["fourth"]}, "the fourth network", [42, 43]),
                          ({"by": ["teacher", "second"]}, "a teacher of some samples, the second network", [22, 23])])
def test_the_answers_that_teach_are_the_mean_over_judges_and_mirror_images(tmp_path, monkeypatch, what, words, taught):
    trainer = a_trainer_that_teaches(tmp_path, monkeypatch)
    assert trainer.teach("second", {"windows": ["some"], **what}, "").endswith(words)
    assert np.load(trainer.taught_path).tolist() == taught


def test_windows_of_another_side_that_are_others_are_refused(tmp_path, monkeypatch):
    trainer = a_trainer_that_teaches(tmp_path, monkeypatch, cut=[(0, 0, 0, 0.9), (1, 0, -1, 0.0)])
    with pytest.raises(ValueError, match="the windows of 48 pixels for fourth are not those that second learns from"):
        trainer.teach("second", {"windows": ["some"], "by": ["second", "fourth"]}, "")


def tasks_of_the_plan(monkeypatch, network):
    """What the plan's fits of a network that no teacher has fit it to."""
    fitted = []
    monkeypatch.setattr(train.Trainer, "_windows", lambda self, what: LabelledWindows([(0, 0, 0, 0.9), (0, 0, -1, 0.0)], (0, 0, 24)))
    monkeypatch.setattr(train.Trainer, "_options", lambda *_, **__: {})
    monkeypatch.setattr(train.Trainer, "_twin", lambda *_: argparse.Namespace(modules_by_name={}))
    monkeypatch.setattr(train.Trainer, "_fitted", lambda self, twin, data, task, *_: fitted.append(task) or "told")
    monkeypatch.setattr(train.Trainer, "_save", lambda *_: None)
    monkeypatch.setattr(train.Trainer, "_patterns", lambda *_: TABLE)
    trainer = object.__new__(train.Trainer)
    trainer.shape = shapes.BUILT_IN
    told = [trainer.fit(network, what, "") for kind, name, what in shapes.BUILT_IN.plan if (kind, name) == ("fit", network)]
    assert all(words.startswith("told") for words in told) and len(told) == len(fitted)
    return fitted


@pytest.mark.parametrize("network, share", [("first", 1.0), ("second", 0.5)])
def test_a_step_of_the_plan_says_which_share_of_its_windows_is_recoloured(monkeypatch, network, share):
    shares = [task.recoloured for task in tasks_of_the_plan(monkeypatch, network)]
    assert shares and set(shares) == {share}


def test_the_calibration_learns_the_best_moves_and_then_to_lose_little(monkeypatch):
    planned = tasks_of_the_plan(monkeypatch, "calibration")
    assert [type(task) for task in planned] == [tasks.CalibrationTask, tasks.PlacementTask]
    assert all(len(task.weights) == 1 for task in planned)  # The window that is on no face is left out.


@pytest.mark.parametrize("share, words", [(1.0, ""), (0.5, ", 50% of the windows recoloured")])
def test_the_record_says_which_share_of_the_windows_was_recoloured(schema, tmp_path, monkeypatch, share, words):
    monkeypatch.setattr(fitting, "Fit", lambda *_: argparse.Namespace(run=lambda: [(1, 0.5), (2, 0.25)]))
    trainer = object.__new__(train.Trainer)
    trainer.work = str(tmp_path)
    monkeypatch.setattr(train.Trainer, "_mean", lambda *_: 0.0)
    task = tasks.Task()
    task.recoloured = share
    options = {"samples": 3000, "batch": 10, "rate": 1e-3, "muon": True, "normalised": False, "bf16": False}
    told = trainer._fitted(trained_twin(schema, "second")[0], [0] * 2000, task, "second", options, "key")
    assert told == f"3,000 samples of 2,000 windows, in batches of 10, rate 0.001, Muon{words}: loss 0.500 to 0.250"


# Of the built-in shape without its third network, which takes minutes and is fitted as the compact shape's last one is.
@pytest.mark.parametrize("shape, only", [(shapes.COMPACT, list(shapes.COMPACT.networks)),
                                         (shapes.BUILT_IN, ["first", "second", "calibration"])], ids=["compact", "built-in"])
def test_a_tiny_training_from_nothing_lowers_every_loss_and_resumes(data, tmp_path, shape, only):
    command = [sys.executable, TRAIN, str(data), "--work", str(tmp_path), "--tools", TOOLS,
               "--shape", shape.name, "--threads", "1", "--scale", "0.003", "--seed", "4", "--only", ",".join(only)]
    subprocess.run(command, check=True)
    losses = {}
    for number, (kind, network, what) in enumerate(shape.plan, 1):
        if network in only and (kind == "fit" or (kind == "teach" and "teacher" in what["by"])):
            # A teacher's answers are another goal than the labels', and so is little lost overlap.
            learner = f"{network}, {next((goal for goal in ('taught', 'placed') if goal in what), kind)}"
            with open(tmp_path / f"{number}-{kind}-{network}.curve.json", encoding="ascii") as file:
                losses.setdefault(learner, []).extend(loss for _, loss in json.load(file))
    assert {name.split(",")[0] for name in losses} == set(only)
    for network, values in losses.items():
        # The cross entropy of hundreds of patterns begins high, and a teacher, which takes 15 steps, learns their overlaps along.
        slow = network in ("calibration, fit", "fourth, teach")
        assert values[-1] < (0.95 if slow else 0.9) * values[0], f"{network}: {values}"
    # All is done: a second run has nothing to do and leaves the model as it is.
    last = shape.networks[only[-2]]
    weights = tmp_path / "model" / last.folder / last.weights
    before = weights.read_bytes()
    again = subprocess.run(command, check=True, capture_output=True, text=True)
    assert "Step" not in again.stderr
    assert weights.read_bytes() == before
    assert (tmp_path / "model" / shape.notes / "MODEL.md").exists()


def test_a_tiny_training_continues_from_a_cascade(data, tmp_path):
    shape, start = shapes.COMPACT, os.path.join(ROOT, "public/compact")
    command = [sys.executable, TRAIN, str(data), "--work", str(tmp_path), "--tools", TOOLS, "--shape",
               shape.name, "--plan", "further", "--start", start, "--threads", "1", "--scale", "0.001", "--seed", "4", "--bf16"]
    subprocess.run(command, check=True)
    with open(tmp_path / "record.json", encoding="ascii") as file:
        record = json.load(file)
    assert [step["key"] for step in record] == [f"{n}-{kind}-{name}" for n, (kind, name, _) in enumerate(shape.further, 1)]
    for words in ("judged by the second network, the third network, the fourth network", "the mean of the weights before and after"):
        assert any(words in step["told"] for step in record)
    for name, network in shape.networks.items():
        trained = (tmp_path / "model" / network.folder / network.weights).read_bytes()
        with open(os.path.join(start, network.folder, network.weights), "rb") as file:
            assert (trained == file.read()) == (name in ("first", "calibration"))
    assert "--plan further" in (tmp_path / "model" / "MODEL.md").read_text()


@pytest.mark.parametrize("options, words", [(["--shape", "compact", "--plan", "further"], "--start"),
                                            (["--shape", "compact", "--plan", "further", "--start", os.path.join(ROOT, "public")],
                                             "does not have the stages of the shape compact"),
                                            (["--plan", "further", "--start", "public"], "no plan further of the shape built-in")])
def test_a_plan_that_cannot_begin_is_refused(tmp_path, options, words):
    command = [sys.executable, TRAIN, str(tmp_path), "--work", str(tmp_path / "work"), *options]
    run = subprocess.run(command, capture_output=True, text=True, check=False)
    assert run.returncode == 2 and words in run.stderr
    assert not (tmp_path / "work").exists()


@pytest.mark.parametrize("change, words", [(lambda second, third: shutil.copy(third, second), "has others"),
                                           (lambda second, _third: os.remove(second), "does not exist")], ids=["other layers", "none"])
def test_the_plan_further_refuses_a_start_whose_networks_cannot_judge(tmp_path, change, words):
    start = tmp_path / "start"
    shutil.copytree(os.path.join(ROOT, "public/compact"), start)
    change(*(start / shapes.COMPACT.networks[name].folder / "proto" for name in ("second", "third")))
    command = [sys.executable, TRAIN, str(tmp_path), "--work", str(tmp_path / "work"), "--shape", "compact", "--plan", "further",
               "--start", str(start)]
    run = subprocess.run(command, capture_output=True, text=True, check=False)
    assert run.returncode == 2 and "t c12/2 c24 p c32 f48 f2" in run.stderr and words in run.stderr
    assert not (tmp_path / "work" / "record.json").exists()


def test_a_taught_first_network_is_not_normalised(monkeypatch):
    fitted = []
    monkeypatch.setattr(train.Trainer, "_windows", lambda *_: LabelledWindows(JUDGED))
    monkeypatch.setattr(train.Trainer, "_task", lambda *_: tasks.Task())
    monkeypatch.setattr(train.Trainer, "_twin", lambda *_: argparse.Namespace(modules_by_name={}))
    monkeypatch.setattr(train.Trainer, "_fitted", lambda self, twin, data, task, network, options, key: fitted.append(options) or "told")
    monkeypatch.setattr(train.Trainer, "_save", lambda *_: None)
    trainer = object.__new__(train.Trainer)
    trainer.shape = shapes.COMPACT
    trainer.arguments = argparse.Namespace(seed=1, threads=1, bf16=False, scale=1.0)
    trainer.fit("first", {"windows": ["some"], "samples": 10, "batch": 2, "rate": 1e-3, "taught": True}, "")
    assert fitted[0]["scan"] and not fitted[0]["normalised"]
