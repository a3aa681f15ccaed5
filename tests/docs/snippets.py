#!/usr/bin/python3
"""Compiles or runs every code block of README.md and docs/*.md.

    snippets.py LANGUAGE SOURCE BUILD INSTALLED WORK

LANGUAGE picks the blocks of one kind; a block is what stands between ``` fences:

    c        compiled as the body of a function that has a finder and an image, by the rules of C99
    cpp      a program, where it has a main function, is compiled, linked and run on a photograph and the models;
             otherwise it is compiled as the body of a function in which the names of PRELUDE are known
    cmake    a project beside docs/find_faces.cpp as main.cpp: configured against the installed tree and built
    python   run, the blocks of a page one after the other as one program, with photo.jpg and photos/ there
    sh       run by bash in a folder with photo.jpg, photos/, main.cpp, the built program in the path, and what a
             checkout has in its places; 'sh checkout' marks commands on the whole tree, which ./check runs itself:
             what they name must exist
    bash     a file of the tree
    text     no code

A block below a comment <!-- file: NAME --> is that file, word for word. Code has no other form: indented blocks
are refused.
"""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import textwrap

PRELUDE = """
#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "ozna.h"

[[maybe_unused]] static const std::string models_dir, root;
[[maybe_unused]] static const std::uint8_t* pixels;
[[maybe_unused]] static std::int32_t width, height;
[[maybe_unused]] static oznalib::Detector detector;

[[maybe_unused]] static int snippet() {
%s
  return 0;
}
"""

C_PRELUDE = """#include <math.h>
#include <oznakit.h>
#include <stdint.h>
void block(oznakit_finder* finder, oznakit_image image);
void block(oznakit_finder* finder, oznakit_image image) {
%s}
"""

KIT_PRELUDE = """
#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "oznakit.hpp"

[[maybe_unused]] static const std::uint8_t* pixels;
[[maybe_unused]] static std::int32_t width, height;
[[maybe_unused]] static oznakit::Image image;

[[maybe_unused]] static int snippet(const oznakit::Finder& finder) {
  static_cast<void>(finder);
%s
  return 0;
}
"""

# Stands for the command of a batch system: runs the jobs of an array one after the other.
SBATCH = r"""#!/usr/bin/env bash
set -euo pipefail
[ "$1" = --wait ] && shift
script=$1
shift
read -r first last < <(sed -nE 's/^#SBATCH --array=([0-9]+)-([0-9]+)$/\1 \2/p' "$script")
for task in $(seq "$first" "$last"); do
  SLURM_ARRAY_TASK_ID=$task SLURM_CPUS_PER_TASK=1 bash "$script" "$@"
done
"""


class Block:
    def __init__(self, page, line, info, text, file):
        self.page, self.line, self.text, self.file = page, line, text, file
        self.language, _, self.mark = info.partition(" ")

    def __str__(self):
        return f"{self.page.name}:{self.line}"


def blocks_of(page):
    """The code blocks of a page; raises where a page has code in another form."""
    blocks, fence, file = [], None, None
    before = ""
    for number, line in enumerate(page.read_text().splitlines(), start=1):
        if line.startswith("```"):
            if fence is None:
                fence = [number, line[3:].strip(), []]
            else:
                blocks.append(Block(page, fence[0], fence[1], "\n".join(fence[2]) + "\n", file))
                fence, file = None, None
        elif fence is not None:
            fence[2].append(line)
        elif line.startswith("<!-- file: "):
            file = line[len("<!-- file: ") : -len(" -->")]
        elif line.startswith("    ") and not before.strip():
            raise SystemExit(f"{page.name}:{number}: an indented code block; put it between fences")
        before = line
    if fence is not None:
        raise SystemExit(f"{page.name}:{fence[0]}: a fence that is not closed")
    return blocks


class Runner:
    def __init__(self, source, build, installed, work):
        self.source, self.build, self.installed, self.work = map(pathlib.Path, (source, build, installed, work))
        self.cc = os.environ.get("CC", "gcc")
        self.cxx = os.environ.get("CXX", "g++")
        self.failures = 0

    def run(self, command, what, **options):
        done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, **options)
        if done.returncode != 0:
            self.fail(what, f"status {done.returncode} of {command}\n{done.stdout}")
        return done.stdout

    def fail(self, what, message):
        print(f"{what}: {message}")
        self.failures += 1

    def sandbox(self, name):
        """A folder that looks like a checkout in which ./run has been, with photographs of a user's."""
        place = self.work / name
        shutil.rmtree(place, ignore_errors=True)
        for folder in ("photos", "bin", "tmp"):
            (place / folder).mkdir(parents=True)
        for folder in ("docs", "kit", "public", "samples", "scripts"):
            (place / folder).symlink_to(self.source / folder)
        (place / "build" / "run").mkdir(parents=True)
        for folder in ("tools", "public", "kit"):
            (place / "build/run" / folder).symlink_to(self.build / folder)
        shutil.copy(self.source / "samples/grace_hopper.jpg", place / "photo.jpg")
        for copy in ("a", "b c"):
            shutil.copy(self.source / "samples/group.jpg", place / "photos" / f"{copy}.jpg")
        shutil.copy(self.build / "tests/photographs/astronaut.ppm", place / "photo.ppm")
        shutil.copy(self.source / "docs/find_faces.cpp", place / "main.cpp")
        (place / "bin/ozna").symlink_to(self.build / "tools/ozna")
        (place / "bin/python3").symlink_to(os.path.realpath(sys.executable))
        (place / "bin/sbatch").write_text(SBATCH)
        (place / "bin/sbatch").chmod(0o755)
        return place

    def environment(self, place):
        libraries = next(self.installed.glob("lib*/**/libozna.so"))
        return {
            **os.environ,
            "PATH": f"{place}/bin:/usr/bin:/bin",
            "HOME": str(place),
            "TMPDIR": str(place / "tmp"),
            "PYTHONPATH": str(self.build / "python"),
            "PYTHONDONTWRITEBYTECODE": "1",
            "PKG_CONFIG_PATH": str(libraries.parent / "pkgconfig"),
            "OPENBLAS_NUM_THREADS": "1",
        }

    def cpp(self, blocks):
        place = self.sandbox("cpp")
        for number, block in enumerate(blocks):
            program = "int main(" in block.text
            kit = "oznakit" in block.text
            prelude = KIT_PRELUDE if kit else PRELUDE
            text = block.text if program else prelude % textwrap.indent(block.text, "  ")
            file = place / f"block{number}.cpp"
            file.write_text(text)
            headers = self.source / ("kit" if kit else "public")
            command = [self.cxx, "-std=c++17", "-Wall", "-Wextra", "-Werror", f"-I{headers}", str(file)]
            if not program:
                self.run([*command, "-fsyntax-only"], block)
                continue
            binary = str(file.with_suffix(""))
            libraries = self.build / ("kit" if kit else "public")
            library = "-loznakit" if kit else "-lozna"
            models = [] if kit else [str(place / "public") + "/"]
            self.run([*command, f"-L{libraries}", library, f"-Wl,-rpath,{libraries}", "-o", binary], block)
            output = self.run([binary, *models, str(place / "photo.ppm")], block)
            if "score" not in output:
                self.fail(block, "found no face")

    def c(self, blocks):
        place = self.sandbox("c")
        for number, block in enumerate(blocks):
            file = place / f"block{number}.c"
            file.write_text(C_PRELUDE % textwrap.indent(block.text, "  "))
            warnings = ["-Wall", "-Wextra", "-Werror", "-pedantic"]
            self.run([self.cc, "-std=c99", *warnings, f"-I{self.source / 'kit'}", "-fsyntax-only", str(file)], block)

    def cmake(self, blocks):
        for number, block in enumerate(blocks):
            place = self.sandbox(f"cmake{number}")
            (place / "CMakeLists.txt").write_text(block.text)
            build = str(place / "build/mine")
            self.run(["cmake", "-S", str(place), "-B", build, "-G", "Ninja", f"-DCMAKE_PREFIX_PATH={self.installed}"], block)
            self.run(["cmake", "--build", build], block)

    def python(self, blocks):
        for page in sorted({block.page for block in blocks}):
            place = self.sandbox("python")
            texts = [block.text for block in blocks if block.page == page and not block.file]
            if not texts:
                continue
            text = "\n".join(texts)
            if "import numpy" not in text:  # A page that goes on from another one.
                guide = [b for b in blocks_of(self.source / "docs/guide.md") if b.language == "python"]
                text = guide[0].text + text
            (place / "page.py").write_text(text)
            self.run([sys.executable, "page.py"], page.name, cwd=place, env=self.environment(place))

    def sh(self, blocks):
        for number, block in enumerate(blocks):
            if block.mark == "checkout":
                for word in re.findall(r"^(\./\S+|scripts/\S+)", block.text, re.M):
                    if not os.access(self.source / word, os.X_OK):
                        self.fail(block, f"{word} is no program of the tree")
                presets = (self.source / "CMakePresets.json").read_text()
                for preset in re.findall(r"--preset (\S+)", block.text):
                    if f'"name": "{preset}"' not in presets:
                        self.fail(block, f"no preset {preset}")
                continue
            place = self.sandbox(f"sh{number}")
            # A block leaves no process behind; what it put into the background ends with it.
            script = "set -euo pipefail\n" + block.text
            environment = self.environment(place)
            self.run(["timeout", "-k", "5", "120", "bash", "-m", "-c", script], block, cwd=place, env=environment)

    def bash(self, blocks):
        for block in blocks:
            if not block.file:
                self.fail(block, "a bash block is a file of the tree: name it in a comment above")

    def text(self, blocks):
        pass

    def files(self, blocks):
        for block in blocks:
            if block.file and (self.source / block.file).read_text() != block.text:
                self.fail(block, f"differs from {block.file}")


def main():
    language, source, build, installed, work = sys.argv[1:]
    runner = Runner(source, build, installed, work)
    pages = [runner.source / "README.md", *sorted((runner.source / "docs").glob("*.md"))]
    blocks = [block for page in pages for block in blocks_of(page)]
    known = {"c", "cpp", "cmake", "python", "sh", "bash", "text"}
    for block in blocks:
        if block.language not in known:
            runner.fail(block, f"a block of an unknown language: '{block.language}'")
    runner.files(blocks)
    wanted = [block for block in blocks if block.language == language]
    getattr(runner, language)(wanted)
    print(f"{len(wanted)} blocks of {language}, {runner.failures} failures")
    if runner.failures or not wanted:
        sys.exit(1)


if __name__ == "__main__":
    main()
