"""The recipe for Dask on a scheduler with two workers on loopback, one of which is killed half-way.

    dask_test.py PROGRAM PHOTOGRAPHS RECIPES
"""

import csv
import json
import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import time

import numpy as np

PROGRAM, PHOTOGRAPHS, RECIPES = sys.argv[1:]
sys.path.insert(0, RECIPES)
import faces_dask  # noqa: E402

TASKS = 5


def write_photographs(folder):
    """Cut-outs of the samples, small and a little different each, and a file that is no photograph."""
    paths = []
    for i in range(TASKS * faces_dask.PARTITION - 1):
        name = "astronaut" if i % 3 else "group"
        data = (pathlib.Path(PHOTOGRAPHS) / f"{name}.ppm").read_bytes()
        width, height = map(int, data.split(maxsplit=3)[1:3])
        image = np.frombuffer(data, np.uint8, offset=len(data) - 3 * width * height).reshape(height, width, 3)
        top, left = 20 + i % 20, 120 + i % 15
        image = image[top : top + 200, left : left + 200]
        path = folder / f"photo {i:03}.ppm"
        path.write_bytes(b"P6 %d %d 255\n" % (image.shape[1], image.shape[0]) + image.tobytes())
        paths.append(str(path))
    broken = folder / "broken.jpg"
    broken.write_text("no photograph")
    return [*paths[:20], str(broken), *paths[20:]]


def in_hand(dask_scheduler):
    """For each worker by its name: what it holds finished, and what it has to do."""
    return {
        state.name: (len(state.has_what), len(state.processing)) for state in dask_scheduler.workers.values()
    }


def run_with_a_lost_worker(folder, photographs):
    """Runs the recipe; gives the rows of its table."""
    from distributed import Client

    file = folder / "scheduler.json"
    processes = []

    def start(*command):
        processes.append(subprocess.Popen(command, stdout=log, stderr=log, cwd=folder, start_new_session=True))
        return processes[-1]

    with open(folder / "log", "wb") as log:
        try:
            start("dask-scheduler", "--host", "127.0.0.1", "--port", "0", "--no-dashboard", "--scheduler-file", str(file))
            deadline = time.monotonic() + 60
            while not file.exists():
                assert time.monotonic() < deadline, "the scheduler does not start"
                time.sleep(0.1)
            address = json.loads(file.read_text())["address"]
            workers = {
                name: start(
                    "dask-worker", address, "--host", "127.0.0.1", "--name", name,
                    "--nthreads", "1", "--no-nanny", "--no-dashboard", "--local-directory", str(folder),
                )  # fmt: skip
                for name in ("lost", "stays")
            }
            with Client(address) as client:
                client.wait_for_workers(2, timeout=60)
                table = folder / "faces.csv"
                recipe = start(sys.executable, os.path.join(RECIPES, "faces_dask.py"), address, str(table), *photographs)
                deadline = time.monotonic() + 200
                # What it has finished is lost with the worker.
                while (before := client.run_on_scheduler(in_hand))["lost"][0] < 1:
                    assert recipe.poll() is None and time.monotonic() < deadline, before
                    time.sleep(0.02)
                workers["lost"].send_signal(signal.SIGKILL)
                assert sum(finished for finished, _ in before.values()) < TASKS, before
                print(f"killed a worker; finished and to do: {before}")
                assert recipe.wait(timeout=200) == 0
                assert list(client.run_on_scheduler(in_hand)) == ["stays"]
            with open(table, newline="", encoding="utf-8") as rows:
                return list(csv.reader(rows))
        except BaseException:
            log.flush()
            print((folder / "log").read_text(errors="replace")[-5000:])
            raise
        finally:
            for process in processes:
                if process.poll() is None:
                    process.kill()
                process.wait()


def main():
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        photographs = write_photographs(folder)
        header, *rows = run_with_a_lost_worker(folder, photographs)
        assert header == faces_dask.COLUMNS

        plain = [[str(cell) for cell in row] for row in faces_dask.faces_of(photographs)]
        assert rows == plain, "the table differs from that of a plain run"
        assert {row[0] for row in rows if row[-1]} == {str(folder / "broken.jpg")}
        # Also those without a face have a row.
        assert {row[0] for row in rows} == {str(path) for path in photographs}

        # The same faces as the program finds.
        some = photographs[: 2 * faces_dask.PARTITION]
        output = subprocess.run([PROGRAM, "detect", "--json", *some], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        assert output.returncode == 1  # For the one that is broken.
        edges = ("left", "top", "right", "bottom")
        of_program = [
            (record["path"], *(float(face[edge]) for edge in edges))
            for record in map(json.loads, output.stdout.splitlines())
            for face in record.get("faces", [])
        ]
        assert of_program == [(row[0], *map(float, row[1:5])) for row in rows if row[0] in some and row[1]]


if __name__ == "__main__":
    main()
