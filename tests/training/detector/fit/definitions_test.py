"""Networks that are written in one line, and the tables of calibrations."""

import pytest

torch = pytest.importorskip("torch")

import definitions  # noqa: E402
import networks  # noqa: E402
from fit_helpers import twin_of  # noqa: E402


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


def test_a_network_of_convolutions_alone_scans(schema, tmp_path):
    twin = twin_of(schema, tmp_path, "c4 p3 c4k5/3 c2k1", 13)
    assert twin(torch.zeros(1, 3, 13, 13)).shape == (1, 2, 1, 1)


def test_patterns_hold_every_shift_with_every_scale_about_the_middle():
    lines = definitions.patterns((-2, 0, 2), (0.75, 1), 24).splitlines()
    assert len(lines) == 18
    # A box of 24 becomes 32: its corner moves by 4 to the left and up, which dx and dy of 4 say.
    assert lines[4] == "4 4 0.75" and lines[0] == "2 2 0.75"
    assert lines[13] == "0 0 1" and lines[17] == "2 2 1"
