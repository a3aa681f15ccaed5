"""The fitting of the detector's networks: twins that agree with the library, and a tiny training from nothing."""

import argparse
import json
import os
import shutil
import subprocess
import sys

import numpy as np
import pytest

torch = pytest.importorskip("torch")

ROOT = os.path.abspath(os.path.join(os.path.dirname(__file__), "../../../.."))
TRAINING = os.path.join(ROOT, "training/detector/fit")
TOOLS = os.environ.get("OZNA_TRAINING_TOOLS", os.path.join(ROOT, "build/release/training/detector"))
sys.path.insert(0, TRAINING)

import fitting  # noqa: E402
import muon  # noqa: E402
import networks  # noqa: E402
import normalisation  # noqa: E402
import shapes  # noqa: E402
import tasks  # noqa: E402
import train  # noqa: E402
import windows as w  # noqa: E402
from pairs import FacePairs  # noqa: E402
from teacher import Teacher  # noqa: E402

# Squares around the nine faces of samples/group.jpg: centre and side, measured by eye.
GROUP = [(856, 112, 74), (376, 480, 66), (616, 496, 80), (1164, 410, 66), (182, 123, 120), (900, 476, 140), (126, 525, 108),
         (547, 178, 158), (1137, 144, 130)]


@pytest.fixture(scope="module")
def data(tmp_path_factory):
    """A data folder of the sample photographs, each under many names, since a tenth of the names is held back."""
    folder = tmp_path_factory.mktemp("data")
    photographs = folder / "detection" / "train"
    photographs.mkdir(parents=True)
    (folder / "negatives").mkdir()
    faces = [{"cx": cx, "cy": cy, "side": side, "ignore": False} for cx, cy, side in GROUP]
    size = {"width": 1280, "height": 700}
    records = []
    for i in range(12):
        shutil.copy(os.path.join(ROOT, "samples/group.jpg"), photographs / f"{i}.jpg")
        records.append({"image": f"train/{i}.jpg", **size, "faces": faces})
    write_lines(folder / "detection" / "train.jsonl", records)
    write_lines(folder / "detection" / "dev.jsonl", records[:1])
    # An outline that has the square of the face.
    portraits = folder / "landmarks" / "train"
    portraits.mkdir(parents=True)
    records = []
    for i, (cx, cy, side) in enumerate(GROUP):
        shutil.copy(os.path.join(ROOT, "samples/group.jpg"), portraits / f"{i}.jpg")
        height = side / 1.18
        bottom = cy + 0.675 * height
        points = [[cx - 0.4 * height, bottom - 0.5 * height], [cx + 0.4 * height, bottom], [cx, bottom - height]]
        records.append({"image": f"train/{i}.jpg", **size, "points": points})
    write_lines(folder / "landmarks" / "train.jsonl", records)
    return folder


def write_lines(path, records):
    with open(path, "w", encoding="ascii") as file:
        for record in records:
            file.write(json.dumps(record) + "\n")


@pytest.fixture(scope="module")
def schema(tmp_path_factory):
    folder = tmp_path_factory.mktemp("schema")
    source = os.path.join(ROOT, "caffe/src/caffe/proto")
    subprocess.run(["protoc", f"--proto_path={source}", f"--python_out={folder}", "caffe.proto"], check=True)
    sys.path.insert(0, str(folder))
    import caffe_pb2

    return caffe_pb2


def trained_twin(schema, network):
    about = shapes.BUILT_IN.networks[network]
    base = os.path.join(ROOT, "public", about.folder)
    definition = networks.read_definition(schema, os.path.join(base, about.definition))
    twin = networks.Twin(definition, (3, about.side, about.side))
    message = schema.NetParameter()
    with open(os.path.join(base, about.weights), "rb") as file:
        message.ParseFromString(file.read())
    twin.from_message(message)
    return twin, message


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


def test_the_first_network_is_written_with_the_bias_of_pixels_less_100(schema):
    twin, _ = trained_twin(schema, "first")
    twin.initialise(torch.Generator().manual_seed(3))
    fitting.first_network_bias(twin)
    conv = next(layer for layer in twin.to_message().layers if layer.name == "conv1")
    weight = np.array(conv.blobs[0].data).reshape(16, 27)
    np.testing.assert_allclose(np.array(conv.blobs[1].data), -100 * weight.sum(1), rtol=1e-4, atol=1e-4)


def test_normalisation_across_channels_is_the_plain_formula():
    x = torch.randn(1, 12, 2, 3, generator=torch.Generator().manual_seed(1)) * 30
    y = networks.AcrossChannels(12, 9, 0.001)(x)
    for c in range(12):
        near = x[0, max(0, c - 4) : c + 5].double()
        expected = x[0, c].double() * (1 + 0.001 / 9 * near.square().sum(0)) ** -0.75
        np.testing.assert_allclose(y[0, c].numpy(), expected.numpy(), rtol=1e-4)


def test_jitter_keeps_shape_and_range_and_changes_colours():
    pixels = torch.randint(0, 256, (64, 3, 24, 24), generator=torch.Generator().manual_seed(0)).float()
    before = pixels.clone()
    changed = w.jitter(pixels, np.random.default_rng(1), occlude=0.5, coloured=0.0)
    assert torch.equal(pixels, before)
    assert changed.shape == pixels.shape
    assert changed.min() >= 0 and changed.max() <= 255
    grey = [(row[0] == row[1]).all() and (row[1] == row[2]).all() for row in changed]
    assert 1 <= sum(grey) <= 24
    assert (changed - pixels).abs().mean() > 3


def test_a_covering_rectangle_is_plain_or_a_part_of_another_window():
    plain = torch.full((200, 3, 24, 24), 120.0)
    plain[::2, :, :, ::2] = 60.0
    plain[::2, :, :, 1::2] = 180.0
    changed = w.jitter(plain, np.random.default_rng(6), occlude=1.0, coloured=0.0)[1::2]
    # A plain window has one shade in each plane, two with a plain rectangle, and more with stripes of the window before it.
    shades = [len(row[0].unique()) for row in changed]
    assert 25 < sum(count > 2 for count in shades) < 75
    assert 25 < sum(count <= 2 for count in shades) < 75


def test_about_half_of_the_windows_are_mirrored():
    x = torch.rand(400, 3, 6, 6, generator=torch.Generator().manual_seed(8))
    changed = x.clone()
    flipped = w.mirror(changed, np.random.default_rng(4))
    assert 150 < flipped.sum() < 250
    assert torch.equal(changed[~flipped], x[~flipped])
    assert torch.equal(changed[flipped][..., 0], x[flipped][..., 5])


def test_a_share_of_the_windows_turns_about_their_centre():
    # A plane of brightness: a turn tilts it, and leaves its middle as bright as it was.
    ramp = 100.0 + 3 * (torch.arange(24.0) - 11.5)
    x = ramp.expand(300, 3, 24, 24).clone()
    w.turn(x, np.random.default_rng(5), 0.5)
    tilted = (x[:, 0, 11, 11] - x[:, 0, 12, 11]).abs() > 1e-4
    assert 100 < tilted.sum() < 200
    assert (x[:, 0, 11:13, 11:13].mean((1, 2)) - 100).abs().max() < 1e-2
    assert torch.equal(x[~tilted], ramp.expand(int((~tilted).sum()), 3, 24, 24))
    still = ramp.expand(4, 3, 24, 24).clone()
    w.turn(still, np.random.default_rng(5), 0.0)
    assert torch.equal(still, ramp.expand(4, 3, 24, 24))


def test_a_share_of_the_windows_is_blurred_and_a_share_is_noisy():
    board = ((torch.arange(24)[:, None] + torch.arange(24)) % 2 * 100.0 + 50).expand(400, 3, 24, 24)
    changed = board.clone()
    w.degrade(changed, np.random.default_rng(6), 0.25)
    assert changed.min() >= 0 and changed.max() <= 255
    contrast = changed.std((1, 2, 3))
    assert 60 < (contrast < 30).sum() < 140  # A blurred board of single pixels is nearly grey.
    touched = (changed != board).flatten(1).any(1)
    assert 0.4 < touched.float().mean() < 0.5  # One less 0.75 squared is 0.44.


class LabelledWindows:
    """Labels alone: photograph, variant, face and overlap of each window. The boxes are 24 by 24 pixels, with their corner at 0; `squares`
    are left, top and side of the faces."""

    def __init__(self, rows, squares=None):
        self.labels = np.zeros((len(rows), w.LABEL_VALUES), np.float32)
        for i, (photograph, variant, face, overlap) in enumerate(rows):
            self.labels[i, [w.PHOTOGRAPH, w.VARIANT, w.FACE, w.OVERLAP]] = photograph, variant, face, overlap
        self.labels[:, w.SIDE] = 24
        if squares is not None:
            self.labels[:, [w.FACE_X, w.FACE_Y, w.FACE_SIDE]] = squares

    def keep(self, mask):
        self.labels = self.labels[mask]

    def __len__(self):
        return len(self.labels)


def test_coloured_light_changes_the_balance_of_the_planes():
    white = torch.full((400, 3, 8, 8), 200.0)
    changed = w.jitter(white, np.random.default_rng(3), occlude=0, coloured=0.5).mean((2, 3))
    tinted = ((changed.max(1).values - changed.min(1).values) > 8).float().mean()
    # Half of the windows, less those few whose three gains come out alike and those that are clipped.
    assert 0.35 < tinted < 0.55


def test_windows_below_the_best_of_their_face_are_known():
    data = LabelledWindows([(0, 0, 0, 0.7), (0, 0, 0, 0.65), (0, 0, 0, 0.6), (0, 0, 1, 0.5), (0, 1, 0, 0.4), (1, 0, 0, 0.45)])
    below = tasks.below_best(data.labels, data.labels[:, w.OVERLAP])
    assert below.tolist() == [False, False, True, False, False, False]


def test_classes_and_near_misses_have_their_shares_of_the_weight():
    rows = [(0, 0, 0, 0.7)] * 3 + [(0, 0, 0, 0.2)] * 2 + [(0, 0, -1, 0.0)] * 5
    assert tasks.FaceTask(LabelledWindows(rows), "middle").weights == pytest.approx([1 / 6] * 3 + [0.5 / 7] * 7)
    assert tasks.FaceTask(LabelledWindows(rows), "last").weights == pytest.approx([1 / 6] * 3 + [0.075] * 2 + [0.07] * 5)


def test_the_first_network_weighs_other_windows_of_a_face_less():
    weights = tasks.FaceTask(LabelledWindows([(0, 0, 0, 0.9), (0, 0, 0, 0.7), (0, 0, -1, 0.0)]), "scan").weights
    assert weights == pytest.approx([0.5 / 1.2, 0.1 / 1.2, 0.5])


def test_faces_of_many_windows_weigh_less_a_window_in_the_first_and_last_network():
    rows = [(0, 0, 0, 0.7)] + [(0, 0, 1, 0.7)] * 4 + [(0, 0, -1, 0.0)]
    # The five weigh 1 and 4 times 1 / 2 before they are given their half.
    assert tasks.FaceTask(LabelledWindows(rows), "last").weights == pytest.approx([0.5 / 3] + [0.25 / 3] * 4 + [0.35])
    assert tasks.FaceTask(LabelledWindows(rows), "scan").weights == pytest.approx([0.5 / 3] + [0.25 / 3] * 4 + [0.5])
    assert tasks.FaceTask(LabelledWindows(rows), "middle").weights == pytest.approx([0.1] * 5 + [0.5])


def test_dark_windows_weigh_more_within_their_class(tmp_path):
    prefix = str(tmp_path / "windows")
    write_windows(prefix, [0, 1, 2, 3], 24, np.random.default_rng(3))
    light = np.array([70, 200, 30, 90], np.uint8)
    np.broadcast_to(light[:, None, None, None], (4, 3, 24, 24)).tofile(prefix + ".u8")
    mined = w.Windows([prefix])
    mined.labels[:2, w.OVERLAP] = 0.9
    assert mined.brightness(step=3) == pytest.approx(light)
    assert tasks.FaceTask(mined, "middle").weights == pytest.approx([0.25] * 4)
    assert tasks.FaceTask(mined, "middle", dark=3.0).weights == pytest.approx([3 / 8, 1 / 8, 3 / 8, 1 / 8])


def batch_of(rows, mirrored=None):
    """The batch of all windows, as it reaches a task's losses, which do not look at the pixels."""
    no = torch.zeros(rows, dtype=torch.bool)
    return tasks.Batch(torch.arange(rows), torch.zeros(rows, 3, 48, 48), no if mirrored is None else torch.tensor(mirrored))


def test_moves_of_the_calibration_leave_the_overlaps_that_the_library_would():
    labels = torch.zeros(2, w.LABEL_VALUES)
    labels[:, [w.X, w.Y, w.SIDE]] = torch.tensor([10.0, 20.0, 25.0])
    labels[0, [w.FACE_X, w.FACE_Y, w.FACE_SIDE]] = torch.tensor([11.0, 20.0, 25.0])
    table = torch.tensor([[0, 0, 1], [-1, 0, 1], [1, 0, 1], [0, 0, 0.92]])
    # 25 / 24 pixels are cut to one, to either side; 25 / 0.92 to 27, of which the face fills all but a column to the left.
    expected = [24 / 26, 1, 23 / 27, 25 * 25 / (27 * 27)]
    assert w.moved_overlaps(labels, table, 24)[0].tolist() == pytest.approx(expected)
    assert w.moved_overlaps(labels, table, 24)[1].tolist() == [0, 0, 0, 0]  # No face.


# Nothing; half a box to the right; twice as large.
TABLE = torch.tensor([[0, 0, 1], [-12, 0, 1], [0, 0, 0.5]])


def test_a_teacher_learns_overlaps_where_a_face_is_and_the_window_is_not_mirrored():
    data = LabelledWindows([(0, 0, 0, 0.9), (0, 0, 0, 0.9), (0, 0, -1, 0.0)], squares=(0, 0, 24))
    task = tasks.TeacherTask(data, "last", TABLE)
    losses, errors = task.losses(torch.zeros(3, 4), batch_of(3, mirrored=[False, True, False]))
    # Logits of 0 cost ln 2 whatever the answer is, and the overlaps half of that.
    assert losses.tolist() == pytest.approx([1.5 * np.log(2), np.log(2), np.log(2)])
    assert errors.tolist() == pytest.approx([0.5, 0.5, 0.5])
    certain = torch.zeros(3, 4)
    certain[:, 0] = torch.tensor([9.0, 9.0, -9.0])
    assert task.losses(certain, batch_of(3))[1].max() < 1e-3


def test_placement_loses_what_the_likely_moves_leave_short_of_the_best():
    # Overlaps of the three moves: 1, 1/3, 1/4; 1/3, 1, 1/4; 1/4, 0, 1/16.
    squares = [(0, 0, 24), (12, 0, 24), (0, 0, 12)]
    task = tasks.PlacementTask(LabelledWindows([(0, 0, 0, 0.5)] * 3, squares), TABLE)
    assert task.weights == pytest.approx(np.array([1, 1, 1 / 16]) / (2 + 1 / 16))
    losses, _ = task.losses(torch.zeros(3, 3), batch_of(3))  # All patterns alike.
    assert losses.tolist() == pytest.approx([20 * (2 / 3 + 3 / 4) / 3, 20 * (2 / 3 + 3 / 4) / 3, 20 * (1 / 4 + 3 / 16) / 3])
    certain = torch.zeros(3, 3)
    certain[0, 0] = certain[1, 0] = certain[2, 2] = 50.0
    losses, errors = task.losses(certain, batch_of(3))
    assert losses.tolist() == pytest.approx([0, 20 * 2 / 3, 20 * 3 / 16], abs=1e-5)
    assert errors.tolist() == pytest.approx([0, 1, 15 / 16], abs=1e-6)


def test_a_taught_network_is_asked_for_the_teachers_answers_and_a_share_of_the_labels():
    data = LabelledWindows([(0, 0, -1, 0.0), (0, 0, 0, 0.9)])
    task = tasks.DistilledTask(data, "last", np.array([2.0, 0.0], np.float32))
    taught = 1 / (1 + np.exp(-2))
    answers = torch.tensor([0.8 * taught, 0.2 + 0.8 * 0.5])
    logits = torch.stack([torch.zeros(2), torch.logit(answers)], 1)
    assert task.losses(logits, batch_of(2))[1].tolist() == pytest.approx([0, 0], abs=1e-6)
    assert task.losses(logits, batch_of(2))[0].tolist() == pytest.approx((1e-3 * logits[:, 1] ** 2).tolist(), abs=1e-6)
    distance = answers * (2 * answers).log() + (1 - answers) * (2 - 2 * answers).log()
    assert task.losses(torch.zeros(2, 2), batch_of(2))[0].tolist() == pytest.approx(distance.tolist(), abs=1e-6)
    assert task.losses(torch.zeros(2, 2), batch_of(2))[1].tolist() == pytest.approx((answers - 0.5).abs().tolist())


@pytest.mark.parametrize("what, words, taught",
                         [({}, "told", [3.0, 4.0]), ({"itself": True}, "its own answers for 2 windows", [3.0, 4.0]),
                          ({"itself": True, "start": True}, "those of the network of the start", [8.0, 9.0])])
def test_a_teachers_answers_are_the_mean_over_a_window_and_its_mirror_image(tmp_path, monkeypatch, what, words, taught):
    def answers(teacher, _data, mean, *_arguments, mirrored, **_options):
        assert mean == (5.0 if teacher == "network of start" else 0.0)
        faces = np.array([1.0, 2.0]) + (4 if mirrored else 0) + (10 if teacher == "network of start" else 0)
        overlaps = np.full((2, 3), 99.0)
        return np.c_[faces, overlaps] if isinstance(teacher, Teacher) else np.stack([np.full(2, 7.0), faces + 7], 1)

    monkeypatch.setattr(fitting, "answers", answers)
    monkeypatch.setattr(train.Trainer, "_windows", lambda self, what: LabelledWindows([(0, 0, 0, 0.9), (0, 0, -1, 0.0)]))
    monkeypatch.setattr(train.Trainer, "_options", lambda *_, **__: {})
    monkeypatch.setattr(train.Trainer, "_patterns", lambda *_: TABLE)
    monkeypatch.setattr(train.Trainer, "_twin", lambda _self, _network, cascade=None: f"network of {cascade}")
    monkeypatch.setattr(train.Trainer, "_fitted", lambda *_: "told")
    monkeypatch.setattr(train.Trainer, "_mean", lambda _self, _network, cascade=None: 5.0 if cascade == "start" else 0.0)
    trainer = object.__new__(train.Trainer)
    trainer.shape = shapes.BUILT_IN
    trainer.arguments, trainer.taught_path = argparse.Namespace(seed=1, threads=1, bf16=False, start="start"), tmp_path / "taught.npy"
    assert trainer.teach("third", what, "").endswith(words)
    assert np.load(trainer.taught_path).tolist() == taught


def test_answers_of_a_teacher_for_other_windows_are_refused():
    with pytest.raises(ValueError, match="answers for 2 windows are needed, there are 3"):
        tasks.DistilledTask(LabelledWindows([(0, 0, -1, 0.0)] * 2), "last", np.zeros(3, np.float32))


def test_windows_of_a_batch_come_together_with_others_of_their_faces():
    # Two faces of three windows, one of which is too far off to be on it, one face of a single window, and two backgrounds.
    faces = [(0, 0, 0, 0.7), (0, 0, 1, 0.8), (0, 0, 0, 0.3), (0, 0, 1, 0.5), (0, 0, 0, 0.9), (0, 0, 1, 0.2), (1, 0, 0, 0.6)]
    pairs = FacePairs(LabelledWindows(faces + [(0, 0, -1, 0.0), (1, 0, -1, 0.0)]).labels)
    companions = {0: {2, 4}, 4: {0, 2}, 1: {3}, 3: {1}}
    met = set()
    for seed in range(50):
        chosen = np.array([0, 3, 4, 6, 1, 7, 8, 2])
        windows, cause = pairs.gather(chosen, np.random.default_rng(seed))
        changed = np.flatnonzero(windows != chosen)
        assert set(chosen[changed]) <= {0, 1, 3, 4}  # The others stay: 6 is alone, 2 counts as no face.
        came = [(int(c), int(x)) for c, x in zip(cause, windows) if c != x]
        assert len(came) == 2
        met.update(came)
        stayed = np.flatnonzero(windows == cause)
        assert (windows[stayed] == chosen[stayed]).all() and len(stayed) == 6
    assert met == {(one, other) for one, others in companions.items() for other in others}


def test_pairs_of_a_batch_are_those_on_one_face():
    rows = [(0, 0, 0, 0.7), (0, 0, 0, 0.3), (0, 1, 0, 0.5), (0, 0, -1, 0.0), (0, 0, -1, 0.0), (0, 0, 0, 0.2)]
    pairs = FacePairs(LabelledWindows(rows).labels)
    one, other = pairs.among(np.array([1, 4, 0, 3, 2, 5]))
    assert list(zip(one, other)) == [(0, 2)]
    assert len(FacePairs(LabelledWindows(rows[3:5]).labels).among(np.array([0, 1]))[0]) == 0


def test_a_taught_network_learns_which_window_lies_better():
    data = LabelledWindows([(0, 0, 0, 0.9), (0, 0, 0, 0.7), (0, 0, 1, 0.8), (0, 0, -1, 0.0)])
    task = tasks.DistilledTask(data, "last", np.array([3.0, 1.0, -5.0, 5.0], np.float32))
    score = torch.tensor([0.4, 1.0, 9.0, -9.0])
    loss = task.ranking(torch.stack([torch.zeros(4), score], 1), batch_of(4))
    # Only the first two lie on one face. Their overlaps differ by 0.2, the teacher's logits by 2, the network's by -0.6.
    sigmoid = lambda x: 1 / (1 + np.exp(-x))
    wanted = (sigmoid(15 * 0.2) + sigmoid(2)) / 2
    expected = -wanted * np.log(sigmoid(-0.6)) - (1 - wanted) * np.log(sigmoid(0.6))
    assert float(loss) == pytest.approx(0.7 * expected / 4, rel=1e-5)
    assert float(task.ranking(torch.zeros(2, 2), tasks.Batch(torch.tensor([2, 3]), None, None))) == 0


def test_a_task_changes_the_colours_of_its_share_of_the_windows(tmp_path):
    class Half(tasks.Task):
        mirror = False
        recoloured = 0.5

    pixels = write_windows(str(tmp_path / "some"), [0] * 400, 6, np.random.default_rng(7))
    data = w.Windows([str(tmp_path / "some")])
    drawn = Half().batch(data, np.arange(400), 0.0, np.random.default_rng(9))
    same = (drawn.x.cpu() * networks.INPUT_SCALE == torch.from_numpy(pixels).float()).flatten(1).all(1)
    assert 150 < same.sum() < 250


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
def test_the_record_tells_which_share_of_the_windows_was_recoloured(schema, tmp_path, monkeypatch, share, words):
    monkeypatch.setattr(fitting, "Fit", lambda *_: argparse.Namespace(run=lambda: [(1, 0.5), (2, 0.25)]))
    trainer = object.__new__(train.Trainer)
    trainer.work = str(tmp_path)
    monkeypatch.setattr(train.Trainer, "_mean", lambda *_: 0.0)
    task = tasks.Task()
    task.recoloured = share
    options = {"samples": 3000, "batch": 10, "rate": 1e-3, "muon": True, "normalised": False, "bf16": False}
    told = trainer._fitted(trained_twin(schema, "second")[0], [0] * 2000, task, "second", options, "key")
    assert told == f"3,000 samples of 2,000 windows, in batches of 10, rate 0.001, Muon{words}: loss 0.500 to 0.250"


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


def test_a_teacher_answers_for_a_face_and_each_pattern():
    teacher = Teacher(patterns=19)
    assert teacher(torch.zeros(5, 3, 48, 48)).shape == (5, 20)
    assert teacher.last_layer().out_features == 20


def test_normalisation_begins_as_the_network_and_folds_back_into_its_layers(schema):
    twin, _ = trained_twin(schema, "third")
    names = list(twin.state_dict())
    x = torch.randn(64, 3, 48, 48, generator=torch.Generator().manual_seed(2))
    with torch.no_grad():
        plain = twin(x)
        normalisation.normalise(twin, x)
        torch.testing.assert_close(twin.eval()(x), plain, rtol=1e-3, atol=1e-3)
        # As a fit would leave it: other statistics, scales and offsets.
        for module in twin.modules():
            if isinstance(module, normalisation.Normalised):
                module.norm.running_mean += 0.3
                module.norm.running_var *= 1.5
                module.norm.weight *= 0.9
                module.norm.bias -= 0.1
        changed = twin(x)
        normalisation.fold(twin)
        torch.testing.assert_close(twin(x), changed, rtol=1e-3, atol=1e-3)
    assert (changed - plain).abs().max() > 0.1
    assert list(twin.state_dict()) == names


def write_windows(prefix, photographs, side, rng):
    """A file as the miner writes it; returns its pixels."""
    pixels = rng.integers(0, 256, (len(photographs), 3, side, side), dtype=np.uint8)
    labels = np.zeros((len(photographs), w.LABEL_VALUES), np.float32)
    labels[:, w.PHOTOGRAPH] = photographs
    pixels.tofile(prefix + ".u8")
    labels.tofile(prefix + ".f32")
    with open(prefix + ".json", "w", encoding="ascii") as file:
        json.dump({"windows": len(photographs), "label_values": w.LABEL_VALUES, "side": side}, file)
    return pixels


def test_windows_of_several_files_are_taken_by_one_index_and_share_no_photograph(tmp_path):
    rng = np.random.default_rng(5)
    names = [str(tmp_path / name) for name in "abc"]
    written = [write_windows(name, photographs, 6, rng) for name, photographs in zip(names, ([0, 0, 2], [], [0, 1]))]
    mined = w.Windows(names)
    everything = np.concatenate(written)
    np.testing.assert_array_equal(mined.take(np.arange(5)), everything)
    np.testing.assert_array_equal(mined.take(np.array([1, 4])), everything[[1, 4]])
    same = mined.labels[:, None, w.PHOTOGRAPH] == mined.labels[None, :, w.PHOTOGRAPH]
    assert same.sum() == 7 and same[0, 1]  # Five windows and themselves, the first two and each other.
    kept = mined.keep(np.array([False, True, True, False, True]))
    assert len(kept) == 3
    np.testing.assert_array_equal(kept.take(np.array([0, 2])), everything[[1, 4]])


@pytest.mark.parametrize("dtype", [torch.float32, torch.bfloat16])
@pytest.mark.parametrize("shape", [(12, 40), (40, 12)])
def test_orthogonalised_matrices_have_singular_values_about_one(shape, dtype):
    matrix = torch.randn(shape, generator=torch.Generator().manual_seed(4)) * 1e-3
    made = muon.orthogonalise(matrix, dtype)
    values = torch.linalg.svdvals(made)
    assert values.min() > 0.6 and values.max() < 1.3
    # The same singular vectors: the made one against the exact one.
    u, _, v = torch.linalg.svd(matrix, full_matrices=False)
    assert (made - u @ v).norm() < 0.35 * (u @ v).norm()


def test_a_step_of_muon_goes_downhill_by_a_fifth_of_the_rate():
    parameter = torch.nn.Parameter(torch.zeros(8, 3, 5, 5))
    gradient = torch.randn(parameter.shape, generator=torch.Generator().manual_seed(6))
    parameter.grad = gradient.clone()
    muon.Muon([parameter], lr=0.01).step()
    assert (parameter.detach() * gradient).sum() < 0
    assert abs(parameter.detach().square().mean().sqrt() / 0.002 - 1) < 0.25


def test_a_step_that_keeps_the_norm_moves_by_a_share_of_it():
    generator = torch.Generator().manual_seed(7)
    before = torch.randn(8, 3, 5, 5, generator=generator)
    parameter = torch.nn.Parameter(before.clone())
    parameter.grad = torch.randn(before.shape, generator=generator) * 1e-4
    muon.Muon([parameter], lr=0.02, keep_norm=True).step()
    assert parameter.norm().item() == pytest.approx(before.norm().item(), rel=1e-5)
    assert ((parameter - before).norm() / before.norm()).item() == pytest.approx(0.02, rel=0.05)
    assert ((parameter.detach() - before) * parameter.grad).sum() < 0


def test_biases_and_the_last_layer_are_left_to_adam(schema):
    twin, _ = trained_twin(schema, "third")
    adam, other = fitting.optimisers(twin, list(twin.parameters()), {"muon": True, "normalised": False, "bf16": False, "rate": 1e-3})
    shapes = sorted(tuple(p.shape) for group in other.param_groups for p in group["params"])
    # Sides along the branches, poolings rounding up: 12, 10, 5; 24, 20, 10; 48, 44, 22, 18, 9.
    convolutions = [(16, 3, 3, 3), (32, 3, 5, 5), (64, 3, 5, 5), (64, 64, 5, 5)]
    assert shapes == sorted(convolutions + [(16, 16 * 5 * 5), (64, 32 * 10 * 10), (256, 64 * 9 * 9)])
    assert sum(len(group["params"]) for group in adam.param_groups) == len(list(twin.parameters())) - len(shapes)
    assert len(fitting.optimisers(twin, list(twin.parameters()), {"muon": False, "normalised": False, "bf16": False, "rate": 1e-3})) == 1


def test_a_resumed_fit_goes_on_where_it_stood(schema, tmp_path):
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


# Of the built-in shape without its third network, which takes minutes and is fitted as the compact shape's last one is.
@pytest.mark.parametrize("shape, only", [(shapes.COMPACT, list(shapes.COMPACT.networks)),
                                         (shapes.BUILT_IN, ["first", "second", "calibration"])], ids=["compact", "built-in"])
def test_a_tiny_training_from_nothing_lowers_every_loss_and_resumes(data, tmp_path, shape, only):
    command = [sys.executable, os.path.join(TRAINING, "train.py"), str(data), "--work", str(tmp_path), "--tools", TOOLS,
               "--shape", shape.name, "--threads", "1", "--scale", "0.003", "--seed", "4", "--only", ",".join(only)]
    subprocess.run(command, check=True)
    losses = {}
    for number, (kind, network, what) in enumerate(shape.plan, 1):
        if network in only and (kind == "fit" or (kind == "teach" and "itself" not in what)):
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


def test_a_tiny_training_goes_on_from_a_cascade(data, tmp_path):
    shape, start = shapes.COMPACT, os.path.join(ROOT, "public/compact")
    command = [sys.executable, os.path.join(TRAINING, "train.py"), str(data), "--work", str(tmp_path), "--tools", TOOLS, "--shape",
               shape.name, "--plan", "further", "--start", start, "--threads", "1", "--scale", "0.001", "--seed", "4", "--bf16"]
    subprocess.run(command, check=True)
    with open(tmp_path / "record.json", encoding="ascii") as file:
        record = json.load(file)
    assert [step["key"] for step in record] == [f"{n}-{kind}-{name}" for n, (kind, name, _) in enumerate(shape.further, 1)]
    for words in ("those of the network of the start", "the mean of the weights before and after"):
        assert any(words in step["told"] for step in record)
    for number, (kind, name, what) in enumerate(shape.further, 1):
        if kind == "fit" and not (what.get("taught") or name == "calibration"):
            with open(tmp_path / f"{number}-{kind}-{name}.curve.json", encoding="ascii") as file:
                assert json.load(file)[0][1] < 0.65, f"{name} knows faces from the start; random weights would begin at 0.69"
    for network in shape.networks.values():
        trained = (tmp_path / "model" / network.folder / network.weights).read_bytes()
        with open(os.path.join(start, network.folder, network.weights), "rb") as file:
            assert trained != file.read()
    assert "--plan further" in (tmp_path / "model" / "MODEL.md").read_text()


@pytest.mark.parametrize("options, words", [(["--shape", "compact", "--plan", "further"], "--start"),
                                            (["--shape", "compact", "--plan", "further", "--start", os.path.join(ROOT, "public")],
                                             "does not have the stages of the shape compact"),
                                            (["--plan", "further", "--start", "public"], "no plan further of the shape built-in")])
def test_a_plan_that_cannot_begin_is_refused(tmp_path, options, words):
    command = [sys.executable, os.path.join(TRAINING, "train.py"), str(tmp_path), "--work", str(tmp_path / "work"), *options]
    run = subprocess.run(command, capture_output=True, text=True, check=False)
    assert run.returncode == 2 and words in run.stderr
    assert not (tmp_path / "work").exists()
