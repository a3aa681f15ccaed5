"""Images as programs have them, as arrays that the library reads in place."""

from typing import Any, NamedTuple, Optional

import numpy as _np

# As oznakit.h numbers them, with the number of channels.
_FORMATS = {"rgb": (0, 3), "bgr": (1, 3), "rgba": (2, 4), "bgra": (3, 4), "argb": (4, 4), "grey": (5, 1)}
_MIRRORED = {"rgb": "bgr", "bgr": "rgb", "bgra": "argb", "argb": "bgra"}
_WITH_ALPHA = {"rgb": "rgba", "bgr": "bgra"}
_PLAIN_MODES = ("RGB", "RGBA", "RGBX", "L")
# Modes of PIL with channels of 16 or 32 bits begin so. It would cut what is above 255, not scale it.
_WIDE_MODES = ("I", "F")


class View(NamedTuple):
    """Pixels side by side in rows of any step."""

    pixels: "_np.ndarray[Any, Any]"
    order: str  # Of the pixels in memory,
    asked: str  # and of the image that was given, which may be a view of them the other way round.

    @property
    def format(self) -> int:
        return _FORMATS[self.order][0]


def format_number(order: str) -> int:
    """The library's number of an order of channels."""
    if order not in _FORMATS:
        raise ValueError(f"order must be one of {', '.join(_FORMATS)}, not {order!r}")
    return _FORMATS[order][0]


def _array_of(image: Any) -> "_np.ndarray[Any, Any]":
    if isinstance(image, _np.ndarray):
        return image
    # A picture of PIL, whose other modes do not have channels of eight bits.
    mode: Optional[str] = getattr(image, "mode", None)
    if isinstance(mode, str) and hasattr(image, "convert") and mode not in _PLAIN_MODES:
        if mode.startswith(_WIDE_MODES):
            raise TypeError(f"picture must have 8 bits per channel, not the mode {mode!r}: scale it to 0 to 255 first")
        image = image.convert("RGB")
    if hasattr(image, "__array_interface__") or hasattr(image, "__array__"):
        return _np.asarray(image)
    raise TypeError(f"image must be a numpy array or offer one, not {type(image).__name__}")


def view_of(image: Any, order: str = "rgb") -> View:
    """The image as the library reads it: in place where its pixels lie side by side, a copy elsewhere.

    Raises TypeError where it is not an array of uint8, ValueError for shapes without pixels and for an
    order that does not go with the number of channels.
    """
    format_number(order)
    array = _array_of(image)
    if array.dtype != _np.uint8:
        raise TypeError(f"image must have dtype uint8, not {array.dtype}")
    if array.ndim == 3 and array.shape[2] == 1:
        array = array[:, :, 0]
    if array.ndim == 2:
        order, channels = "grey", 1
    elif array.ndim == 3 and array.shape[2] in (3, 4):
        channels = array.shape[2]
        if channels == 4:
            order = _WITH_ALPHA.get(order, order)
        if _FORMATS[order][1] != channels:
            raise ValueError(f"order {order!r} does not go with {channels} channels")
    else:
        raise ValueError(f"image must be (height, width) or (height, width, 1, 3 or 4), not {array.shape}")
    if 0 in array.shape:
        raise ValueError(f"image has no pixels: {array.shape}")

    asked = order
    # image[:, :, ::-1], the usual way to turn RGB into BGR, is a view of pixels in the other order.
    if array.ndim == 3 and array.strides[2] == -1 and order in _MIRRORED:
        array, order = array[:, :, ::-1], _MIRRORED[order]
    height, width = array.shape[:2]
    side_by_side = (channels == 1 or array.strides[2] == 1) and (width == 1 or array.strides[1] == channels)
    # Rows that overlap, as broadcast ones do, are none for the library.
    if not side_by_side or (height > 1 and abs(array.strides[0]) < width * channels):
        array = _np.ascontiguousarray(array)
    return View(array, order, asked)
