#!/usr/bin/env bash
# viewer_test.sh VIEWER PHOTOGRAPH SCREENSHOT PYTHON: what the viewer shows on a display: the photograph, a green box around
# the face, yellow points in it, and a chip below.
set -euo pipefail
viewer=$1 photograph=$2 screenshot=$3 python=$4
if [ "$viewer" = none ]; then
  echo "skipped: Qt 6 or xvfb-run is missing (on Debian: qt6-base-dev xvfb xauth)"
  exit 77
fi
rm -f "$screenshot"
QT_QPA_PLATFORM=xcb xvfb-run -a -s "-screen 0 1200x900x24" timeout 200 "$viewer" "$photograph" --screenshot "$screenshot"
"$python" - "$screenshot" "$photograph" <<'END'
import sys
import numpy as np
from PIL import Image

shot = np.asarray(Image.open(sys.argv[1]).convert("RGB")).astype(int)
green = np.argwhere((shot == (0, 255, 0)).all(axis=2))
yellow = np.argwhere((shot == (255, 255, 0)).all(axis=2))
assert len(green) > 100, f"{len(green)} pixels of a box"
top, left = green.min(axis=0)
bottom, right = green.max(axis=0)
# A frame: nothing green well inside of it.
inside = (green > (top + 3, left + 3)).all(axis=1) & (green < (bottom - 3, right - 3)).all(axis=1)
assert not inside.any(), f"{inside.sum()} pixels inside of the box"
assert 0.8 < (right - left) / (bottom - top) < 1.25, (left, top, right, bottom)
within = ((yellow > (top, left)) & (yellow < (bottom, right + 1))).all(axis=1)
assert len(yellow) > 100 and within.mean() > 0.6, (len(yellow), within.mean())
# The photograph is drawn around the box: no black there, which the background is.
assert shot[top - 20, left - 20].sum() > 0
# The chip, 112 pixels wide, at the left below the picture: skin is redder than blue.
height = shot.shape[0]
chip = shot[height - 120 : height - 60, 30:100]
assert chip[..., 0].mean() > chip[..., 2].mean() + 20 and chip.std() > 20, (chip.mean(axis=(0, 1)), chip.std())
END
