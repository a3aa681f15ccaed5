"""Fits: the order of windows, the optimisers, resuming, and answers for many windows."""

import numpy as np
import pytest

torch = pytest.importorskip("torch")

import fitting  # noqa: E402
import tasks  # noqa: E402
import windows as w  # noqa: E402
from fit_helpers import trained_twin, write_windows  # noqa: E402


def test_the_first_network_is_written_with_the_bias_of_pixels_less_100(schema):
    twin, _ = trained_twin(schema, "first")
    twin.initialise(torch.Generator().manual_seed(3))
    fitting.first_network_bias(twin)
    conv = next(layer for layer in twin.to_message().layers if layer.name == "conv1")
    weight = np.array(conv.blobs[0].data).reshape(16, 27)
    np.testing.assert_allclose(np.array(conv.blobs[1].data), -100 * weight.sum(1), rtol=1e-4, atol=1e-4)


def test_answers_for_mirrored_windows_are_those_of_their_mirror_images(schema, tmp_path):
    names = [str(tmp_path / name) for name in ("plain", "mirrored")]
    pixels = write_windows(names[0], [0] * 5, 48, np.random.default_rng(11))
    write_windows(names[1], [0] * 5, 48, np.random.default_rng(11))
    np.ascontiguousarray(pixels[..., ::-1]).tofile(names[1] + ".u8")
    plain, mirrored = w.Windows(names[:1]), w.Windows(names[1:])
    twin, _ = trained_twin(schema, "third")
    expected = fitting.answers(twin, mirrored, 100.0)
    np.testing.assert_allclose(fitting.answers(twin, plain, 100.0, mirrored=True), expected, rtol=1e-5)
    assert np.abs(fitting.answers(twin, plain, 100.0) - expected).max() > 0.01


def test_biases_and_the_last_layer_are_left_to_adam(schema):
    twin, _ = trained_twin(schema, "third")
    adam, other = fitting.optimisers(twin, list(twin.parameters()), {"muon": True, "normalised": False, "bf16": False, "rate": 1e-3})
    sizes = sorted(tuple(p.shape) for group in other.param_groups for p in group["params"])
    # Sides along the branches, poolings rounding up: 12, 10, 5; 24, 20, 10; 48, 44, 22, 18, 9.
    convolutions = [(16, 3, 3, 3), (32, 3, 5, 5), (64, 3, 5, 5), (64, 64, 5, 5)]
    assert sizes == sorted(convolutions + [(16, 16 * 5 * 5), (64, 32 * 10 * 10), (256, 64 * 9 * 9)])
    assert sum(len(group["params"]) for group in adam.param_groups) == len(list(twin.parameters())) - len(sizes)
    assert len(fitting.optimisers(twin, list(twin.parameters()), {"muon": False, "normalised": False, "bf16": False, "rate": 1e-3})) == 1


def test_a_resumed_fit_continues_where_it_stopped(schema, tmp_path):
    prefix, checkpoint = str(tmp_path / "windows"), str(tmp_path / "checkpoint")
    write_windows(prefix, list(range(32)), 24, np.random.default_rng(9))
    mined = w.Windows([prefix])
    mined.labels[:16, w.OVERLAP] = 0.7
    options = {"samples": 64, "batch": 16, "rate": 1e-3, "seed": 1, "bf16": False, "muon": True, "normalised": False,
               "scan": False, "threads": 1}

    def fit():
        twin, _ = trained_twin(schema, "second")
        return twin, fitting.Fit(twin, mined, tasks.FaceTask(mined, "middle"), 0.0, options, checkpoint, "second").run()

    first, curve = fit()
    saved = torch.load(checkpoint)
    assert saved["seen"] == 64
    moments = [state["moment"] for state in saved["optimisers"][1]["state"].values()]
    assert moments and all(moment.abs().max() > 0 for moment in moments)
    # Nothing is left to do, so the result is that of the first run, from the weights before it and the checkpoint alone.
    again, same_curve = fit()
    assert same_curve == curve
    for key, value in again.state_dict().items():
        torch.testing.assert_close(value, first.state_dict()[key])
        torch.testing.assert_close(value, saved["average"][key])
    options["samples"] = 96
    assert fit()[1][-1][0] == 96
    adam = torch.load(checkpoint)["optimisers"][0]["state"].values()
    assert [int(state["step"]) for state in adam] == [96 // 16] * len(adam)


def test_a_fit_takes_the_windows_that_are_gathered_and_lowers_the_ranking_loss(schema, tmp_path, monkeypatch):
    class Ranked(tasks.FaceTask):
        mirror = False
        recoloured = 0.0
        fitted = []

        def gather(self, chosen, rng):
            return 16 + chosen % 16, chosen % 16

        def losses(self, logits, batch):
            self.fitted.append(batch.index.tolist())
            return 0 * logits.flatten(1)[:, 0], torch.zeros(len(batch.index))

        def ranking(self, logits, batch):
            return logits.flatten(1)[:, 1].mean()

    corrected = []
    monkeypatch.setattr(fitting.Sampler, "correction", lambda self, index: corrected.append(index) or np.ones(len(index)))
    write_windows(str(tmp_path / "windows"), list(range(32)), 24, np.random.default_rng(9))
    mined = w.Windows([str(tmp_path / "windows")])
    twin, _ = trained_twin(schema, "second")
    before = fitting.answers(twin, mined, 0.0)[:, 1].mean()
    options = {"samples": 320, "batch": 16, "rate": 1e-3, "seed": 1, "bf16": False, "muon": False, "normalised": False, "scan": False,
               "threads": 1}
    fitting.Fit(twin, mined, Ranked(mined, "middle"), 0.0, options, str(tmp_path / "checkpoint"), "second").run()
    assert fitting.answers(twin, mined, 0.0)[:, 1].mean() < before - 0.1
    assert [index.tolist() for index in corrected] == [[i - 16 for i in index] for index in Ranked.fitted]
    assert all(index == sorted(index) and index[0] >= 16 for index in Ranked.fitted)


def test_hard_windows_are_drawn_more_often():
    sampler = fitting.Sampler(np.ones(1000, np.float32))
    sampler.saw(np.arange(1000), np.where(np.arange(1000) < 100, 1.0, 0.0))
    drawn = sampler.epoch(20000, np.random.default_rng(2))
    # 100 windows of difficulty 1 against 900 of 0.08: 100 / 172 of the draws.
    assert abs((drawn < 100).mean() - 100 / 172) < 0.02
    assert sampler.correction(np.array([0, 999])) == pytest.approx([1, 1 / np.sqrt(0.08)])
