"""The shapes of cascades, their definitions and tables, and scores that are probabilities."""

import dataclasses
import os
import subprocess
import sys

import numpy as np
import pytest

torch = pytest.importorskip("torch")

ROOT = os.path.abspath(os.path.join(os.path.dirname(__file__), "../../../.."))
sys.path.insert(0, os.path.join(ROOT, "training/detector/fit"))

import definitions  # noqa: E402
import networks  # noqa: E402
import scores  # noqa: E402
import shapes  # noqa: E402
import windows as w  # noqa: E402


@pytest.fixture(scope="module")
def schema(tmp_path_factory):
    folder = tmp_path_factory.mktemp("schema")
    source = os.path.join(ROOT, "caffe/src/caffe/proto")
    subprocess.run(["protoc", f"--proto_path={source}", f"--python_out={folder}", "caffe.proto"], check=True)
    sys.path.insert(0, str(folder))
    import caffe_pb2

    return caffe_pb2


def twin_of(schema, tmp_path, layers, side):
    path = tmp_path / "definition"
    path.write_text(definitions.definition("some", layers, side))
    return networks.Twin(networks.read_definition(schema, str(path)), (3, side, side))


def test_a_line_becomes_a_chain_of_layers(schema, tmp_path):
    twin = twin_of(schema, tmp_path, "c6/2 c8k5 p f10 f2", 24)
    kinds = [kind for kind, *_ in twin.steps]
    assert kinds == ["CONVOLUTION", "RELU", "CONVOLUTION", "POOLING", "RELU", "INNER_PRODUCT", "RELU", "INNER_PRODUCT"]
    # Sides 24, 11, 7, and 4 since poolings round up.
    shapes_of = {name: tuple(module.weight.shape) for name, module in twin.modules_by_name.items()}
    assert shapes_of == {"conv1": (6, 3, 3, 3), "conv2": (8, 6, 5, 5), "fc4": (10, 8 * 4 * 4), "fc5": (2, 10)}
    assert twin(torch.zeros(5, 3, 24, 24)).shape == (5, 2)
    assert twin.definition.layers[-1].top[0] == "probs" and twin.definition.input_dim[2:] == [24, 24]


def test_roots_of_the_pixels_come_before_all_layers(schema, tmp_path):
    twin = twin_of(schema, tmp_path, "t c6 p f10 f2", 24)
    assert [kind for kind, *_ in twin.steps][:3] == ["POWER", "POWER", "CONVOLUTION"]
    assert set(twin.modules_by_name) == {"conv1", "fc3", "fc4"}, "names do not depend on the roots"
    assert twin.input_layers() == ["conv1"]
    seen = []
    twin.modules_by_name["conv1"].register_forward_pre_hook(lambda _layer, inputs: seen.append(inputs[0] * networks.INPUT_SCALE))
    pixels = torch.arange(256.0)
    twin((pixels / networks.INPUT_SCALE).view(256, 1, 1, 1).expand(256, 3, 24, 24))
    values = seen[0][:, 0, 0, 0]
    torch.testing.assert_close(values, 2 * 111**0.5 * (pixels + 1).sqrt() - 222, rtol=1e-4, atol=1e-2)
    # Around 110 grey levels lie as far apart as before, in the dark further.
    assert values[110] == pytest.approx(0, abs=0.01)
    assert (values[115] - values[105]) / 10 == pytest.approx(1, abs=0.01)
    assert (values[25] - values[15]) / 10 > 2


def test_a_network_with_roots_has_a_mean_image_of_zeros(tmp_path):
    networks_of = {**shapes.COMPACT.networks, "second": dataclasses.replace(shapes.COMPACT.networks["second"], layers="t c16 p f2")}
    dataclasses.replace(shapes.COMPACT, networks=networks_of).prepare(str(tmp_path))
    mean = w.read_mean(str(tmp_path / shapes.COMPACT.networks["second"].folder / "mean"))
    assert mean.shape == (3, 24, 24) and (mean == 0).all()


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


def test_a_network_of_convolutions_alone_scans(schema, tmp_path):
    twin = twin_of(schema, tmp_path, "c4 p3 c4k5/3 c2k1", 13)
    assert twin(torch.zeros(1, 3, 13, 13)).shape == (1, 2, 1, 1)


def test_patterns_hold_every_shift_with_every_scale_about_the_middle():
    lines = definitions.patterns((-2, 0, 2), (0.75, 1), 24).splitlines()
    assert len(lines) == 18
    # A box of 24 becomes 32: its corner moves by 4 to the left and up, which dx and dy of 4 say.
    assert lines[4] == "4 4 0.75" and lines[0] == "2 2 0.75"
    assert lines[13] == "0 0 1" and lines[17] == "2 2 1"


@pytest.mark.parametrize("shape", list(shapes.SHAPES.values()), ids=list(shapes.SHAPES))
def test_a_shape_is_prepared_with_all_but_its_weights(schema, tmp_path, shape):
    shape.prepare(str(tmp_path))
    lines = [line.split() for line in (tmp_path / "stages.txt").read_text().splitlines() if line[0] != "#"]
    assert [name for name, _ in lines] == [shape.networks[stage].folder for stage in shape.stages()]
    assert shape.read_thresholds(str(tmp_path)) == pytest.approx(shape.thresholds)
    for network in shape.networks.values():
        folder = tmp_path / network.folder
        definition = networks.read_definition(schema, str(folder / network.definition))
        twin = networks.Twin(definition, (3, network.side, network.side))
        outputs = len(twin.last_layer().bias)
        if network.role == "calibration":
            assert outputs == len(w.read_patterns(str(folder / "offsets-scales")))
        else:
            assert outputs == 2
        if network.role != "scan":
            assert w.read_mean(str(folder / "mean")).shape == (3, network.side, network.side)
            assert list(definition.input_dim) == [1, 3, network.side, network.side]


PLANS = [(shape, name) for shape in shapes.SHAPES.values() for name in shape.plans]


@pytest.mark.parametrize("shape, plan", PLANS, ids=[f"{shape.name} {plan}" for shape, plan in PLANS])
def test_a_plan_names_windows_that_were_mined_before_and_fits_every_network(shape, plan):
    mined, answers = set(), None
    for kind, name, what in shape.plans[plan]:
        if kind == "mine":
            mined.add(name)
            assert what[what.index("--target") + 1] == name.split("-")[0]
            continue
        assert name in shape.networks
        assert set(what.get("windows", ())) <= mined
        if kind == "teach":
            answers = what["windows"]
        if what.get("taught"):
            assert what["windows"] == answers  # One answer a window.
    assert {name for kind, name, _ in shape.plans[plan] if kind == "fit"} == set(shape.networks)


def test_thresholds_are_written_and_read(tmp_path):
    shapes.COMPACT.write_stages(str(tmp_path), [0.4, 0.125, 3e-5, 0.75])
    assert shapes.COMPACT.read_thresholds(str(tmp_path)) == [0.4, 0.125, 3e-5, 0.75]


def test_scores_become_the_share_of_faces_among_their_like():
    # Boxes whose differences of logits are twice too large, and one too high.
    rng = np.random.default_rng(3)
    true = rng.normal(0, 2, 40000)
    right = rng.random(len(true)) < 1 / (1 + np.exp(-true))
    told = 1 / (1 + np.exp(-(2 * true + 1)))
    slope, constant = scores.fit(told, right)
    assert slope == pytest.approx(0.5, abs=0.02) and constant == pytest.approx(-0.5, abs=0.05)
    changed = scores.change(told, slope, constant)
    some = (changed > 0.85) & (changed < 0.95)
    assert right[some].mean() == pytest.approx(0.9, abs=0.02)


def test_a_few_boxes_without_an_error_do_not_make_scores_certain():
    slope, constant = scores.fit(np.array([0.9, 0.8, 0.2, 0.1]), np.array([True, True, False, False]))
    changed = scores.change(np.array([0.9, 0.1]), slope, constant)
    assert 0.6 < changed[0] < 0.9 and 0.1 < changed[1] < 0.4


def test_a_threshold_lets_so_many_wrong_boxes_pass():
    found = np.array([0.9, 0.8, 0.7, 0.6, 0.5])
    right = np.array([True, False, True, False, False])
    assert scores.threshold(found, right, 1) == 0.6
    assert scores.threshold(found, right, 0) == 0.8
    assert scores.threshold(found, right, 3) == 0.0


def test_a_list_of_boxes_is_read(tmp_path):
    path = tmp_path / "scores.txt"
    path.write_text("7\n0.25 1\n0.125 0\n")
    photographs, found, right = scores.read(str(path))
    assert photographs == 7 and found.tolist() == [0.25, 0.125] and right.tolist() == [True, False]
