#!/usr/bin/env bash
# Checks that docs/landmarks.svg is what scripts/draw_landmark_map.py draws from the present model.
set -euo pipefail
diff <("$1/scripts/draw_landmark_map.py") "$1/docs/landmarks.svg"
