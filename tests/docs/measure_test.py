"""scripts/measure_presets.py: what it counts, and that the table of docs/tuning.md is one of its own.

    measure_test.py SOURCE PROGRAM
"""

import importlib.util
import json
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

SOURCE, PROGRAM = map(pathlib.Path, sys.argv[1:3])
SCRIPT = SOURCE / "scripts/measure_presets.py"
sys.dont_write_bytecode = True
sys.path.insert(0, str(SCRIPT.parent))  # Where a script that is run finds its modules.
spec = importlib.util.spec_from_file_location("measure_presets", SCRIPT)
measure_presets = importlib.util.module_from_spec(spec)
spec.loader.exec_module(measure_presets)


def face(cx, cy, side, ignore=False):
    return {"cx": cx, "cy": cy, "side": side, "ignore": ignore}


def found(left, top, side):
    return {"left": left, "top": top, "right": left + side, "bottom": top + side}


def counted(faces, boxes):
    """Faces found and all for each size, wrong boxes; in a photograph of 1000 pixels."""
    truth = {"a": {"width": 1000, "height": 500, "faces": faces}}
    return measure_presets.measure(truth, {"a": {"faces": boxes}})


class Measure(unittest.TestCase):
    def test_overlap_is_intersection_over_union(self):
        self.assertEqual(measure_presets.overlap((0, 0, 4, 4), (2, 0, 6, 4)), 8 / 24)
        self.assertEqual(measure_presets.overlap((0, 0, 4, 4), (4, 0, 8, 4)), 0)
        self.assertEqual(measure_presets.overlap((1, 1, 3, 3), (1, 1, 3, 3)), 1)

    def test_faces_count_by_size(self):
        sizes, wrong = counted(
            [face(130, 130, 60), face(400, 100, 90), face(800, 250, 400)], [found(100, 100, 60), found(600, 50, 400)]
        )
        self.assertEqual(sizes, [[0, 0], [1, 2], [0, 0], [0, 0], [1, 1]])
        self.assertEqual(wrong, 0)

    def test_box_on_nothing_is_wrong_and_a_second_box_on_a_face_is_not(self):
        _, wrong = counted([face(150, 150, 100)], [found(100, 100, 100), found(105, 100, 100), found(700, 100, 100)])
        self.assertEqual(wrong, 1)

    def test_box_beside_a_face_finds_nothing_and_is_wrong(self):
        # Moved by two fifths of the side: 0.6 / 1.4 is below 0.45.
        sizes, wrong = counted([face(150, 150, 100)], [found(140, 100, 100)])
        self.assertEqual((sizes[2], wrong), ([0, 1], 1))

    def test_ignored_and_tiny_faces_count_neither_way(self):
        # Moved by half of the side: 0.5 / 1.5 is above 0.3.
        sizes, wrong = counted([face(150, 150, 100, True), face(500, 100, 20)], [found(150, 100, 100), found(500, 90, 20)])
        self.assertEqual((sum(map(sum, sizes)), wrong), (0, 0))

    def test_page_gets_the_table_of_a_photograph(self):
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name)
            shutil.copy(SOURCE / "samples/astronaut.png", folder)
            # The eyes stand at about (206, 113) and (245, 113), the chin at about (226, 160).
            line = {"image": "astronaut.png", "width": 512, "height": 512, "faces": [face(224, 118, 104)]}
            (folder / "data.jsonl").write_text(json.dumps(line) + "\n")
            page = folder / "page.md"
            page.write_text("before\n" + measure_presets.BEGIN + "old\n" + measure_presets.END + "after\n")
            command = [SCRIPT, folder / "data.jsonl", PROGRAM, "--page", page]
            subprocess.run(command, stdout=subprocess.DEVNULL, check=True)
            text = page.read_text()
        self.assertNotIn("old", text)
        self.assertTrue(text.startswith("before\n") and text.endswith("after\n"))
        rows = {row.split("|")[1].strip(" `"): row.split("|")[2:] for row in text.splitlines() if row.startswith("| `")}
        self.assertEqual(list(rows), measure_presets.SETTINGS)
        for setting, columns in rows.items():
            self.assertGreater(float(columns[6]), 0, setting)
            if setting.startswith("--preset"):
                self.assertEqual(columns[3].strip(), "1.000", setting)

    def test_page_of_the_tree_has_a_row_a_setting(self):
        page = (SOURCE / "docs/tuning.md").read_text()
        table = page.partition(measure_presets.BEGIN)[2].partition(measure_presets.END)[0]
        rows = [row.split("|")[1].strip(" `") for row in table.splitlines() if row.startswith("| `")]
        self.assertEqual(rows, measure_presets.SETTINGS)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
