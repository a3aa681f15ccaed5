"""Builds the Python package by CMake; pyproject.toml says how to call it.

The variable CMAKE_ARGS of the environment adds options of cmake.
"""

import os
import pathlib
import re
import shlex
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = pathlib.Path(__file__).resolve().parent
VERSION = re.search(r"project\(ozna VERSION ([0-9.]+)", (ROOT / "CMakeLists.txt").read_text())[1]


class CMakeBuild(build_ext):
    """Library, module and models, as cmake installs them."""

    def run(self) -> None:
        # As deep below the sources as a build of the tree, whose objects a compiler cache then knows.
        build = pathlib.Path(self.build_temp).resolve()
        target = pathlib.Path(self.build_lib).resolve()
        options = [
            "-DCMAKE_BUILD_TYPE=Release",
            "-DOZNA_WHEEL=ON",
            "-DOZNA_BUILD_PYTHON=ON",
            *(f"-DOZNA_BUILD_{part}=OFF" for part in ("TOOLS", "TESTS", "BENCHMARKS", "TRAINING")),
            f"-DPython3_EXECUTABLE={sys.executable}",
            "-DOZNA_INSTALL_PYTHONDIR=.",
            "-DCMAKE_INSTALL_LIBDIR=ozna",
            "-DCMAKE_INSTALL_DATADIR=ozna",
            *shlex.split(os.environ.get("CMAKE_ARGS", "")),
        ]
        subprocess.run(["cmake", "-S", ROOT, "-B", build, "-G", "Ninja", *options], check=True)
        subprocess.run(["cmake", "--build", build, "--target", "oznakit", "ozna_python"], check=True)
        for part in ("python", "kit", "models"):
            subprocess.run(
                ["cmake", "--install", build, "--prefix", target, "--component", part, "--strip"], check=True
            )


# The extension is named so that the wheel belongs to this interpreter and this kind of machine.
setup(
    version=VERSION,
    packages=[],
    ext_modules=[Extension("ozna._ozna", sources=[])],
    cmdclass={"build_ext": CMakeBuild},
)
