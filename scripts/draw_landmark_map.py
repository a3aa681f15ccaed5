#!/usr/bin/python3
"""Draws docs/landmarks.svg: the mean face of a landmark model with the index of every landmark.

    scripts/draw_landmark_map.py [MODEL.sdm] > docs/landmarks.svg

Needs nothing but Python. A test compares the committed picture with what this prints.
"""

import pathlib
import struct
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent

# Name, first and last index, whether the last is joined with the first, colour.
RANGES = [
    ("jaw", 0, 16, False, "#5b6770"),
    ("brow at the left", 17, 21, False, "#8a5a00"),
    ("brow at the right", 22, 26, False, "#8a5a00"),
    ("bridge of the nose", 27, 30, False, "#006b5b"),
    ("base of the nose", 31, 35, False, "#006b5b"),
    ("eye at the left", 36, 41, True, "#0b57b0"),
    ("eye at the right", 42, 47, True, "#0b57b0"),
    ("outer lips", 48, 59, True, "#b01338"),
    ("inner lips", 60, 67, True, "#7a2a86"),
]
WIDTH = 760  # Of the face, in units of the picture.
MARGIN = 60
LEGEND = 260


def mean_shape(path):
    """The mean landmarks of a model file: 68 pairs, in parts of the face box."""
    data = pathlib.Path(path).read_bytes()
    position = 0

    def take(layout):
        nonlocal position
        values = struct.unpack_from("<" + layout, data, position)
        position += struct.calcsize("<" + layout)
        return values

    for _ in range(2):  # Matrices that alignment does not use, then the biases.
        for _ in range(take("i")[0]):
            rows, columns = take("qq")
            position += 4 * rows * columns
    numbers = take(f"{take('i')[0]}f")
    assert len(numbers) == 136, f"{path} does not have 68 landmarks"
    return list(zip(numbers[0::2], numbers[1::2]))


def draw(points):
    left, top = (min(point[axis] for point in points) for axis in (0, 1))
    scale = WIDTH / (max(point[0] for point in points) - left)
    places = [((x - left) * scale + MARGIN, (y - top) * scale + MARGIN) for x, y in points]
    height = max(y for _, y in places) + MARGIN
    width = WIDTH + 2 * MARGIN + LEGEND

    yield f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width:.0f} {height:.0f}" font-family="sans-serif">'
    yield "<title>The 68 landmarks of Ozna</title>"
    yield f'<rect width="{width:.0f}" height="{height:.0f}" fill="white"/>'
    for name, first, last, closed, colour in RANGES:
        line = " ".join(f"{x:.1f},{y:.1f}" for x, y in places[first : last + 1])
        kind = "polygon" if closed else "polyline"
        yield f'<{kind} points="{line}" fill="none" stroke="{colour}" stroke-width="1.5" opacity="0.5"/>'
        centre = [sum(place[axis] for place in places[first : last + 1]) / (last + 1 - first) for axis in (0, 1)]
        for index in range(first, last + 1):
            x, y = places[index]
            yield f'<circle cx="{x:.1f}" cy="{y:.1f}" r="3.5" fill="{colour}"/>'
            # The number stands outside of its range; the corners of the inner lips have room inside alone.
            if name == "jaw":
                dx, dy = (-16, 5) if index < 7 else (16, 5) if index > 9 else (0, 18)
            elif name == "base of the nose":
                dx, dy = 0, 17
            elif name == "bridge of the nose":
                dx, dy = 15, 4
            elif "brow" in name:
                dx, dy = 0, -9
            elif index in (60, 64):
                dx, dy = (16 if index == 60 else -16), 4
            else:
                dx = 0 if name == "inner lips" else 13 if x > centre[0] + 30 else -13 if x < centre[0] - 30 else 0
                dy = 15 if y > centre[1] else -8
            yield f'<text x="{x + dx:.1f}" y="{y + dy:.1f}" font-size="14" text-anchor="middle" fill="{colour}">{index}</text>'
    for row, (name, first, last, _, colour) in enumerate(RANGES):
        x, y = WIDTH + 2 * MARGIN, MARGIN + 30 * row
        yield f'<circle cx="{x}" cy="{y - 5}" r="5" fill="{colour}"/>'
        yield f'<text x="{x + 15}" y="{y}" font-size="18" fill="{colour}">{first}-{last} {name}</text>'
    yield "</svg>"


if __name__ == "__main__":
    print("\n".join(draw(mean_shape(sys.argv[1] if len(sys.argv) > 1 else ROOT / "public/models/face68.sdm"))))
