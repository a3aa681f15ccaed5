"""The shapes of cascades: their files, plans and thresholds."""

import dataclasses

import pytest

pytest.importorskip("torch")

import networks  # noqa: E402
import shapes  # noqa: E402
import windows as w  # noqa: E402


def test_a_network_with_roots_has_a_mean_image_of_zeros(tmp_path):
    networks_of = {**shapes.COMPACT.networks, "second": dataclasses.replace(shapes.COMPACT.networks["second"], layers="t c16 p f2")}
    dataclasses.replace(shapes.COMPACT, networks=networks_of).prepare(str(tmp_path))
    mean = w.read_mean(str(tmp_path / shapes.COMPACT.networks["second"].folder / "mean"))
    assert mean.shape == (3, 24, 24) and (mean == 0).all()


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
def test_a_plan_names_windows_that_were_mined_before_and_fits_its_networks(shape, plan):
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
            sides = {shape.networks[judge].side for judge in what["by"] if judge != "teacher"} - {shape.networks[name].side}
            assert {f"{windows}-{side}" for windows in answers for side in sides} <= mined
        if what.get("taught"):
            assert what["windows"] == answers  # One answer a window.
    fitted = {name for kind, name, _ in shape.plans[plan] if kind == "fit"}
    assert fitted == set(shape.networks) - ({"first", "calibration"} if plan == "further" else set())


def test_windows_are_cut_at_another_side_by_the_same_options():
    steps = shapes.cut_at(48, [("mine", "second", ["--target", "second"])])
    assert steps == [("mine", "second", ["--target", "second"]), ("mine", "second-48", ["--target", "second", "--side", "48"])]


def test_thresholds_are_written_and_read(tmp_path):
    shapes.COMPACT.write_stages(str(tmp_path), [0.4, 0.125, 3e-5, 0.75])
    assert shapes.COMPACT.read_thresholds(str(tmp_path)) == [0.4, 0.125, 3e-5, 0.75]
