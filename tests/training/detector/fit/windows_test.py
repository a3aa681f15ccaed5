"""Mined windows: their files, and what changes their pixels."""

import numpy as np
import pytest

torch = pytest.importorskip("torch")

import windows as w  # noqa: E402
from fit_helpers import write_windows  # noqa: E402


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


def test_coloured_light_changes_the_balance_of_the_planes():
    white = torch.full((400, 3, 8, 8), 200.0)
    changed = w.jitter(white, np.random.default_rng(3), occlude=0, coloured=0.5).mean((2, 3))
    tinted = ((changed.max(1).values - changed.min(1).values) > 8).float().mean()
    # Half of the windows, less those few whose three gains come out alike and those that are clipped.
    assert 0.35 < tinted < 0.55


def test_moves_of_the_calibration_leave_the_overlaps_that_the_library_would():
    labels = torch.zeros(2, w.LABEL_VALUES)
    labels[:, [w.X, w.Y, w.SIDE]] = torch.tensor([10.0, 20.0, 25.0])
    labels[0, [w.FACE_X, w.FACE_Y, w.FACE_SIDE]] = torch.tensor([11.0, 20.0, 25.0])
    table = torch.tensor([[0, 0, 1], [-1, 0, 1], [1, 0, 1], [0, 0, 0.92]])
    # 25 / 24 pixels are cut to one, to either side; 25 / 0.92 to 27, of which the face fills all but a column to the left.
    expected = [24 / 26, 1, 23 / 27, 25 * 25 / (27 * 27)]
    assert w.moved_overlaps(labels, table, 24)[0].tolist() == pytest.approx(expected)
    assert w.moved_overlaps(labels, table, 24)[1].tolist() == [0, 0, 0, 0]  # No face.


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
