#!/usr/bin/python3
"""Compares this tree's speed, memory and results with those of an earlier commit, side by side.

    benchmarks/compare_builds.py COMMIT PHOTO... [--kernels Haswell,SkylakeX] [--models DIRECTORY] [--limit N]

Builds both, then has a host of each library (timed_host.cpp) and each program work on one photograph after the other in
turn, so that whatever else the machine does falls on both. Times are processor time; each row is the median over the
photographs of each build and of their ratios. PHOTO is a picture or a folder of pictures; they are brought to a longer side of
1024 pixels. Boxes and points of both builds are compared too.

--kernels   what OPENBLAS_CORETYPE is set to, one run each; the machine's own choice if the option is not given
--models    one more model directory, which this tree's library searches with beside its own (column "other")
--large     a folder of large JPEG files for the last row; made of the photographs, 36 megapixels each, if not given
"""

import argparse
import os
import pathlib
import random
import resource
import statistics
import subprocess
import sys

from PIL import Image

ROOT = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "scripts"))

from boxes import overlap  # noqa: E402

PRESET = "run"  # The library and the program alone.
SIDE_PX = 1024


def build(source, log):
    """Builds the library, the program and the host of a tree; returns the host's path."""
    folder = source / "build" / PRESET
    folder.mkdir(parents=True, exist_ok=True)
    with open(log, "w", encoding="utf-8") as output:
        subprocess.run(["cmake", "--preset", PRESET], cwd=source, check=True, stdout=output, stderr=output)
        subprocess.run(["cmake", "--build", "--preset", PRESET], cwd=source, check=True, stdout=output, stderr=output)
    host = folder / "timed_host"
    library = folder / "public"
    sources = [str(ROOT / name) for name in ("benchmarks/timed_host.cpp", "tests/host/photograph_file.cpp")]
    subprocess.run(["g++", "-std=c++17", "-O2", "-pthread", f"-I{source / 'public'}", f"-I{ROOT}", *sources, f"-L{library}", "-lozna", f"-Wl,-rpath,{library}", "-o", str(host)], check=True)
    return host


def checkout(commit, folder):
    """A work tree of that commit in the folder."""
    if not (folder / "CMakeLists.txt").exists():
        subprocess.run(["git", "-C", str(ROOT), "worktree", "prune"], check=True)
        subprocess.run(["git", "-C", str(ROOT), "worktree", "add", "--detach", "--force", str(folder), commit], check=True)
    else:
        subprocess.run(["git", "-C", str(folder), "checkout", "-q", "--detach", commit], check=True)
    return folder


class Host:
    """A running timed_host."""

    def __init__(self, path, environment):
        self.process = subprocess.Popen([str(path)], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True, env=environment)

    def ask(self, command):
        """The lines that the command printed, and its seconds."""
        print(command, file=self.process.stdin, flush=True)
        lines = []
        for line in self.process.stdout:
            if line.startswith("done "):
                return lines, float(line.split()[1])
            lines.append(line.split())
        sys.exit(f"compare_builds.py: the host ended during: {command}")

    def close(self):
        self.process.stdin.close()
        self.process.wait()


def environment(kernels, threads=True):
    """The environment of a run. The older build's mathematics library starts threads unless its environment forbids it."""
    result = {name: value for name, value in os.environ.items() if not name.startswith(("OPENBLAS", "OMP", "BLIS", "GOTO"))}
    if not threads:
        result["OPENBLAS_NUM_THREADS"] = "1"
    if kernels:
        result["OPENBLAS_CORETYPE"] = kernels
        if kernels == "Haswell":  # What libozna.so encloses chooses well where the processor has more.
            result["OZNA_KERNELS"] = "haswell"
    return result


def find_pictures(paths):
    for path in map(pathlib.Path, paths):
        if path.is_dir():
            yield from sorted(p for p in path.iterdir() if p.suffix.lower() in (".jpg", ".jpeg", ".png"))
        else:
            yield path


def prepare(paths, folder, limit):
    """Writes the photographs as PPM and as JPEG files of the same side; returns both lists."""
    folder.mkdir(parents=True, exist_ok=True)
    pictures = list(find_pictures(paths))
    if limit and len(pictures) > limit:
        pictures = sorted(random.Random(1).sample(pictures, limit))
    raw, coded = [], []
    for number, path in enumerate(pictures):
        picture = Image.open(path).convert("RGB")
        scale = SIDE_PX / max(picture.size)
        picture = picture.resize([max(1, round(side * scale)) for side in picture.size], Image.BICUBIC)
        raw.append(folder / f"{number:04}.ppm")
        coded.append(folder / f"{number:04}.jpg")
        picture.save(raw[-1])
        picture.save(coded[-1], quality=92)
    return raw, coded


def make_large(coded, folder, count=6):
    """JPEG files of 36 megapixels, with the grain of a sensor, since a smooth picture is decoded faster than real ones."""
    folder.mkdir(parents=True, exist_ok=True)
    for path in coded[:count]:
        target = folder / path.name
        if target.exists():
            continue
        picture = Image.open(path)
        width, height = (7360, 4912) if picture.width >= picture.height else (4912, 7360)
        picture = picture.resize((width, height), Image.BICUBIC)
        grain = Image.effect_noise((width, height), 12).convert("RGB")
        Image.blend(picture, grain, 0.06).save(target, quality=92)
    return folder


class Differences:
    """Counts how the boxes and points of two builds differ."""

    def __init__(self):
        self.faces = self.lost = self.moved = self.changed = 0
        self.box_px = self.score = 0.0
        self.alignments = self.changed_points = 0
        self.point_px = 0.0

    def add_faces(self, before, now):
        rest = list(now)
        self.faces += len(before)
        self.lost += abs(len(before) - len(now))
        for face in before:
            other = max(rest, key=lambda candidate: overlap(face, candidate), default=None)
            if other is None or overlap(face, other) < 0.5:
                continue
            rest.remove(other)
            box_px = max(abs(a - b) for a, b in zip(face[:4], other[:4]))
            score = abs(face[4] - other[4])
            self.box_px = max(self.box_px, box_px)
            self.score = max(self.score, score)
            self.changed += box_px > 0 or score > 0
            self.moved += box_px > 1 or score > 1e-4

    def add_points(self, before, now):
        distance = max(abs(a - b) for a, b in zip(before, now))
        self.alignments += 1
        self.changed_points += distance > 0
        self.point_px = max(self.point_px, distance)

    def __str__(self):
        return (f"{self.faces} faces: {self.lost} more or fewer, {self.moved} beyond a pixel or 1e-4 of the score, "
                f"{self.changed} differ at all (largest {self.box_px:.3g} px, score {self.score:.2g}); "
                f"{self.alignments} alignments: {self.changed_points} differ at all (largest {self.point_px:.3g} px)")


class Table:
    """Rows of medians in milliseconds and of the ratios, pair by pair."""

    def __init__(self, names):
        self.names = names
        self.rows = []

    def add(self, what, columns):
        """columns: the measured values of each build, pair by pair."""
        base = columns[0]
        cells = [f"{statistics.median(column):.4g}" for column in columns]
        ratios = [statistics.median(b / a for a, b in zip(base, column)) for column in columns[1:]]
        missing = len(self.names) - len(columns)  # The program knows no third column.
        self.rows.append([what, *cells, *[""] * missing, *(f"{ratio:.3f}" for ratio in ratios), *[""] * missing])

    def __str__(self):
        head = ["", *self.names, *(f"{name} / {self.names[0]}" for name in self.names[1:])]
        lines = [head, ["---"] * len(head), *self.rows]
        return "\n".join("| " + " | ".join(line) + " |" for line in lines)


def floats(words):
    return [float(word) for word in words[1:]]


def compare_searches(hosts, photographs, table):
    """detect and the alignment of each face; only the first two columns are compared in their results."""
    differences = Differences()
    times = [[] for _ in hosts]
    align_times = [[] for _ in hosts]
    for path in photographs:
        results = []
        for host, column in zip(hosts, times):
            host.ask(f"read {path}")
            host.ask("detect")  # Brings memory to the size that this photograph needs.
            runs = [host.ask("detect") for _ in range(3)]
            column.append(1e3 * statistics.median(seconds for _, seconds in runs))
            results.append([floats(line) for line in runs[0][0]])
        differences.add_faces(results[0], results[1])
        for face in results[0][:2]:
            points = []
            for host, column in zip(hosts, align_times):
                command = "align " + " ".join(f"{value:.9g}" for value in face[:4])
                runs = [host.ask(command) for _ in range(3)]
                column.append(1e3 * statistics.median(seconds for _, seconds in runs))
                points.append(floats(runs[0][0][0]))
            differences.add_points(points[0], points[1])
    table.add("one `detect`, ms", times)
    if align_times[0]:
        table.add("one alignment, ms", align_times)
    return differences


def compare_loads(paths, models, settings, table, rounds=15):
    times = [[] for _ in paths]
    for _ in range(rounds):
        for path, directory, column in zip(paths, models, times):
            host = Host(path, settings)
            column.append(1e3 * host.ask(f"load {directory}")[1])
            host.close()
    table.add("first load of the cascade, ms", times)


def compare_memory(paths, models, settings, photograph, table, more=7):
    """What a further detector takes once it has searched."""
    values = []
    for path, directory in zip(paths, models):
        host = Host(path, settings)
        host.ask(f"read {photograph}")

        def add_one(host=host, directory=directory):
            host.ask(f"load {directory}")
            host.ask("detect")
            host.ask("detect")
            return float(host.ask("memory")[0][0][1])

        first = add_one()
        for _ in range(more):
            last = add_one()
        values.append([(last - first) / more / 1e6])
        host.close()
    table.add("a further detector that has searched, MB", values)


def compare_threads(paths, models, settings, photograph, table):
    """A host with threads of its own, and nothing set in its environment."""
    hosts = [Host(path, settings) for path in paths]
    for host, directory in zip(hosts, models):
        host.ask(f"load {directory}")
        host.ask(f"read {photograph}")
    for count in (1, 2, 8):
        times = [[] for _ in hosts]
        for _ in range(5):
            for host, column in zip(hosts, times):
                column.append(1e3 * host.ask(f"threads {count} 4")[1])
        table.add(f"one `detect` of {count} threads at once, ms", times)
    for host in hosts:
        host.close()


def program_seconds(program, arguments, settings):
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    subprocess.run([str(program), "detect", "--progress", "never", *map(str, arguments)], check=True, env=settings,
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return after.ru_utime - before.ru_utime + after.ru_stime - before.ru_stime


def compare_programs(programs, settings, coded, large, table):
    times = [[] for _ in programs]
    for path in (coded * 20)[:20]:
        for program, column in zip(programs, times):
            column.append(1e3 * program_seconds(program, [path], settings))
    table.add("`ozna detect` of one photograph, ms", times)
    times = [[] for _ in programs]
    for _ in range(3):
        for program, column in zip(programs, times):
            column.append(program_seconds(program, ["-r", large], settings))
    table.add("`ozna detect` of a folder of 36 megapixel JPEGs, s", times)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("commit")
    parser.add_argument("photographs", nargs="+")
    parser.add_argument("--kernels", default="", type=lambda text: text.split(","))
    parser.add_argument("--models", type=pathlib.Path)
    parser.add_argument("--limit", type=int, default=60, help="photographs drawn at random; 0 for all")
    parser.add_argument("--large", type=pathlib.Path)
    parser.add_argument("--work", type=pathlib.Path, default=ROOT / "build/compare")
    options = parser.parse_args()

    work = options.work.resolve()
    work.mkdir(parents=True, exist_ok=True)
    base = checkout(options.commit, work / "base")
    paths = [build(base, work / "base.log"), build(ROOT, work / "this.log")]
    models = [base / "public", ROOT / "public"]
    names = [options.commit[:7], "this"]
    programs = [source / "build" / PRESET / "tools/ozna" for source in (base, ROOT)]
    if options.models:
        paths.append(paths[1])
        models.append(options.models.resolve())
        names.append("other")
    raw, coded = prepare(options.photographs, work / "photographs", options.limit)
    large = options.large or make_large(coded, work / "large")

    for kernels in options.kernels or [""]:
        table = Table(names)
        settings = environment(kernels, threads=False)
        hosts = [Host(path, settings) for path in paths]
        for host, directory in zip(hosts, models):
            host.ask(f"load {directory}")
            host.ask(f"landmarks {directory if (directory / 'models').exists() else ROOT / 'public'}")
        differences = compare_searches(hosts, raw, table)
        for host in hosts:
            host.close()
        compare_loads(paths, models, settings, table)
        compare_memory(paths, models, settings, raw[0], table)
        compare_threads(paths, models, environment(kernels), raw[0], table)
        compare_programs(programs, environment(kernels), coded, large, table)
        print(f"\nKernels: {kernels or 'as the machine chooses'}; {len(raw)} photographs\n\n{table}\n\n{differences}", flush=True)


if __name__ == "__main__":
    main()
