"""That the comparison with other detectors reads what evaluate_detector prints."""

import json
import os
import shutil
import sys

ROOT = os.path.abspath(os.path.join(os.path.dirname(__file__), "../../.."))
TOOLS = os.environ.get("OZNA_TRAINING_TOOLS", os.path.join(ROOT, "build/release/training/detector"))
sys.path.insert(0, os.path.join(ROOT, "benchmarks"))

import compare_detectors  # noqa: E402


def test_both_cascades_find_the_face_of_a_sample(tmp_path):
    folder = tmp_path / "detection" / "dev"
    folder.mkdir(parents=True)
    shutil.copy(os.path.join(ROOT, "samples/astronaut.png"), folder)
    # As seen by eye: from above the brows to below the nose.
    face = {"cx": 224, "cy": 116, "side": 110, "ignore": False}
    record = {"image": "dev/astronaut.png", "width": 512, "height": 512, "faces": [face]}
    (tmp_path / "detection" / "dev.jsonl").write_text(json.dumps(record) + "\n")
    ours = compare_detectors.measure_ours(os.path.join(TOOLS, "evaluate_detector"), str(tmp_path), 0)
    assert len(ours) == len(compare_detectors.OURS)
    for recall_at, recall, wrong, milliseconds in ours:
        assert (recall_at, recall, wrong) == (1, 1, 0) and milliseconds > 0
