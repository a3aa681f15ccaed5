"""What networks are fitted to: weights of windows, losses and errors."""

import numpy as np
import pytest

torch = pytest.importorskip("torch")

import networks  # noqa: E402
import tasks  # noqa: E402
import windows as w  # noqa: E402
from fit_helpers import TABLE, LabelledWindows, batch_of, write_windows  # noqa: E402


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


def test_answers_of_a_teacher_for_other_windows_are_refused():
    with pytest.raises(ValueError, match="answers for 2 windows are needed, there are 3"):
        tasks.DistilledTask(LabelledWindows([(0, 0, -1, 0.0)] * 2), "last", np.zeros(3, np.float32))


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
