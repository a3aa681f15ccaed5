"""The teacher of the last network."""

import pytest

torch = pytest.importorskip("torch")

from teacher import Teacher  # noqa: E402


def test_a_teacher_answers_for_a_face_and_each_pattern():
    teacher = Teacher(patterns=19)
    assert teacher(torch.zeros(5, 3, 48, 48)).shape == (5, 20)
    assert teacher.last_layer().out_features == 20
