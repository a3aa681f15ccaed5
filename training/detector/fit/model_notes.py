"""MODEL.md: what a trained cascade is, where it came from, and how well it does."""

import json
import os

CURVE = "recall.png"
RELIABILITY = "reliability.png"

BUILT_IN_HEAD = """# The built-in cascade

Four networks that find faces, and the tables that belong to them. The library is rebuilt with them, since the mean images and the
definitions here are also taken into the program.

**Use.** The photographs that these models were trained on are for research use, and so are the models.

| folder | network | input |
| --- | --- | --- |
| `x16Net-demo` | first stage: scans the whole image, one cell for each window of 13 pixels | up to 384 by 384 |
| `x32Net` | second stage: scores one box | 24 by 24 |
| `x32Net-x32-3Scales-200` | calibration: finds how a face lies in a box, 19 patterns | 24 by 24 |
| `x64Net` | third stage: scores one box | 48 by 48 |

| file | content |
| --- | --- |
| `prototxt-full`, `prototxt-deploy` | definition of the network, text |
| `proto-full`, `proto` | trained weights, binary |
| `mean` | mean image of the network's input: one number per line, plane by plane, row by row; plane 0 is the third byte of a pixel |
| `offsets-scales` | one pattern per line: dx, dy in pixels of the 24 by 24 input, and scale |
| `first-stage-mean` | mean image of the first stage, 12 by 12; applied by nothing, since that network takes raw pixels |

`../stages.txt` lists the three stages and their thresholds: load with the root `public/` and the list `stages.txt`.
"""

COMPACT_HEAD = """# The compact cascade

Five networks of small layers that find faces, and the tables that belong to them. Load with this folder as the root and the list
`stages.txt`.

**Use.** The photographs that these models were trained on are for research use, and so are the models.

{networks}

Layers: `c16` a convolution of 16 kernels of 3 by 3, `k5` of 5 by 5, `/2` at distances of 2; `p` maximum pooling of 2 by 2, `p3` of 3 by 3
at distances of 2; `f64` fully connected; `t` takes the roots of the pixels before all others; rectifiers between them.

The first stage scans the whole image, one cell for each window of 13 pixels; the others score one box. The calibration runs
after every stage but the first and the last: it moves and scales a box by the likeliest of the {patterns} patterns of `offsets-scales` (dx, dy in
pixels of its input, and scale). `mean` is the mean image of an input: one number per line, plane by plane, row by row; plane 0 is the third
byte of a pixel. It is zero where a network takes roots.
"""

FIGURES = """## Figures

On the `dev` photographs, which were used for nothing but measuring. Faces count that are not ignored and whose side is at least 5
percent of the longer side of the photograph; a box matches from an overlap of 0.45; further boxes on a face, and boxes on ignored or
smaller faces, count neither way. Times were taken beside other processes: compare the columns.

```
{table}```

![Recall against false positives]({curve})

    evaluate_detector DATA --models {models}

prints them again. A second folder after `--models` gives a second column.
"""


SCORES = """## What a score is worth

The share of faces among the boxes of `dev` that score alike, by tenths; small dots stand for fewer than 20 boxes. The scores were
made probabilities on the held-back photographs.

![Reliability of the scores]({picture})
"""


def head(shape):
    """What a cascade is and which files it has."""
    if shape.fixed_thresholds:
        return BUILT_IN_HEAD
    rows = ["| folder | input | layers |", "| --- | --- | --- |"]
    rows += [f"| `{network.folder}` | {network.side} by {network.side} | {network.layers} |" for network in shape.networks.values()]
    patterns = shape.networks["calibration"].layers.split("f")[-1]
    return COMPACT_HEAD.format(networks="\n".join(rows), patterns=patterns)


def count_lines(path):
    if not os.path.exists(path):
        return 0
    with open(path, encoding="utf-8") as file:
        return sum(1 for line in file if line.strip())


def data_section(data):
    faces, ignored = 0, 0
    with open(os.path.join(data, "detection/train.jsonl"), encoding="utf-8") as file:
        for line in file:
            for face in json.loads(line)["faces"] if line.strip() else []:
                faces, ignored = faces + (not face["ignore"]), ignored + face["ignore"]
    lines = lambda name: count_lines(os.path.join(data, name))
    return (f"## Data\n\n{lines('detection/train.jsonl'):,} photographs with {faces:,} annotated faces and {ignored:,} that count "
            f"neither way, {lines('landmarks/train.jsonl'):,} portraits of one\nface with landmarks, and "
            f"{len(os.listdir(os.path.join(data, 'negatives'))):,} photographs without people. A tenth, chosen by file name, was held back "
            "to set the operating points with.\n")


def training_section(arguments, record):
    options = [f"--shape {arguments.shape}", f"--plan {arguments.plan}", f"--seed {arguments.seed}", f"--threads {arguments.threads}"]
    options += ["--bf16"] if arguments.bf16 else []
    options += [f"--scale {arguments.scale:g}"] if arguments.scale != 1 else []
    options += ["--start START"] if arguments.start else []
    rows = "\n".join(f"| {step['key']} | {step['told']} | {step['minutes']:.0f} |" for step in record)
    return (f"## Training\n\n    training/detector/fit/train.py DATA --work WORK {' '.join(options)}\n\n"
            f"{len(record)} steps, {sum(step['minutes'] for step in record) / 60:.1f} hours of processor time in all:\n\n"
            f"| step | what | minutes |\n| --- | --- | --- |\n{rows}\n")


def write(folder, shape, arguments, record, table):
    """Writes folder/MODEL.md.

    shape      what was trained (`shapes.Shape`)
    arguments  those of train.py
    record     of the steps: key, told, minutes; empty where the remarks describe the training
    table      what evaluate_detector printed
    """
    models = "public" if shape.fixed_thresholds else f"{shape.home} public"
    sections = [head(shape), data_section(arguments.data), FIGURES.format(table=table, curve=CURVE, models=models)]
    if not shape.fixed_thresholds:
        sections.append(SCORES.format(picture=RELIABILITY))
    if record:
        sections.append(training_section(arguments, record))
    if arguments.remarks:
        with open(arguments.remarks, encoding="utf-8") as file:
            sections.append(file.read())
    with open(os.path.join(folder, "MODEL.md"), "w", encoding="utf-8") as file:
        file.write("\n".join(sections))
