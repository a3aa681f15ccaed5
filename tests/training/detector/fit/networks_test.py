"""Twins of the library's networks: what they answer, and their weights as messages."""

import os
import subprocess

import numpy as np
import pytest

torch = pytest.importorskip("torch")

import fitting  # noqa: E402
import networks  # noqa: E402
import shapes  # noqa: E402
import windows as w  # noqa: E402
from fit_helpers import ROOT, TOOLS, trained_twin, twin_of  # noqa: E402


@pytest.mark.parametrize("network", ["first", "second", "third"])
def test_twin_scores_windows_as_the_library_does(data, schema, tmp_path, network):
    prefix = str(tmp_path / network)
    command = [os.path.join(TOOLS, "mine_windows"), str(data), "--models", os.path.join(ROOT, "public"), "--out", prefix,
               "--target", network, "--score", "--negatives", "100", "--jittered", "2", "--limit", "1", "--floors", "0.3,0.3"]
    subprocess.run(command, check=True)
    mined = w.Windows([prefix])
    assert len(mined) > 50
    twin, _ = trained_twin(schema, network)
    mean = 100.0 if network == "first" else w.read_mean(
        os.path.join(ROOT, "public", shapes.BUILT_IN.networks[network].folder, "mean"))
    if network == "first":  # What the exported bias does in the library, pixels less 100 do in the twin.
        with torch.no_grad():
            twin.modules_by_name["conv1"].bias.zero_()
    logits = fitting.answers(twin, mined, mean)
    scores = 1 / (1 + np.exp(logits[:, 0] - logits[:, 1]))
    assert np.abs(scores - mined.labels[:, w.SCORE]).max() < 1e-3
    assert scores.max() - scores.min() > 0.5


@pytest.mark.parametrize("network", list(shapes.BUILT_IN.networks))
def test_weights_come_back_as_they_were_read(schema, network):
    twin, message = trained_twin(schema, network)
    written = {layer.name: layer for layer in twin.to_message().layers}
    for layer in message.layers:
        assert len(layer.blobs) == len(written[layer.name].blobs)
        for one, other in zip(layer.blobs, written[layer.name].blobs):
            assert (one.num, one.channels, one.height, one.width) == (other.num, other.channels, other.height, other.width)
            np.testing.assert_allclose(np.array(one.data), np.array(other.data), rtol=1e-6)


def test_normalisation_across_channels_is_the_plain_formula():
    x = torch.randn(1, 12, 2, 3, generator=torch.Generator().manual_seed(1)) * 30
    y = networks.AcrossChannels(12, 9, 0.001)(x)
    for c in range(12):
        near = x[0, max(0, c - 4) : c + 5].double()
        expected = x[0, c].double() * (1 + 0.001 / 9 * near.square().sum(0)) ** -0.75
        np.testing.assert_allclose(y[0, c].numpy(), expected.numpy(), rtol=1e-4)


def test_weights_fit_layers_of_their_names_and_sizes(schema, tmp_path):
    twin = twin_of(schema, tmp_path, "c6/2 p f10 f2", 24)
    message = twin.to_message()
    assert twin.fits(message)
    assert twin_of(schema, tmp_path, "t c6/2 p f10 f2", 24).fits(message), "roots have no weights"
    assert not twin_of(schema, tmp_path, "c6 p f10 f2", 24).fits(message), "the fully connected layer sees more places"
    assert not twin_of(schema, tmp_path, "c6/2 p f10 f10 f2", 24).fits(message)


def test_the_mean_of_two_twins_lies_half_way(schema, tmp_path):
    one, other = (twin_of(schema, tmp_path, "c6/2 p f2", 24) for _ in range(2))
    before = one.modules_by_name["conv1"].weight.detach().clone()
    one.become_mean_with(other)
    expected = (before + other.modules_by_name["conv1"].weight) / 2
    torch.testing.assert_close(one.modules_by_name["conv1"].weight, expected)
