"""Boxes of faces, for the scripts that compare them."""


def overlap(a, b):
    """Intersection over union of two boxes: left, top, right, bottom."""
    width = min(a[2], b[2]) - max(a[0], b[0])
    height = min(a[3], b[3]) - max(a[1], b[1])
    if width <= 0 or height <= 0:
        return 0.0
    both = width * height
    return both / ((a[2] - a[0]) * (a[3] - a[1]) + (b[2] - b[0]) * (b[3] - b[1]) - both)
