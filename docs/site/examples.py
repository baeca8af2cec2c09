# SPDX-License-Identifier: Apache-2.0
"""Compiles and runs the examples of the reference.

An example is docs/examples/FUNCTION.c. What it prints stands in its last comment. Functions that come
in several implementations share one example, in which the name is exchanged.
"""

import os
import pathlib
import re
import subprocess

from PIL import Image

import picture

EXAMPLES = pathlib.Path(__file__).resolve().parent.parent / "examples"
PRINTS = re.compile(r"\n/\* Prints:\n(.*?)\n\*/\n", re.DOTALL)


def find(function):
    """The example of a function, and the name of the function that stands in it."""
    for suffix in ("ByCPU", "Forward", "CommonC", "AVX"):
        if function.endswith(suffix):
            shown = function.removesuffix(suffix) + "ByCPU"
            return EXAMPLES / f"{shown}.c", shown
    raise ValueError(f"{function}: no such kind of function")


def program(function):
    """The text of the example without its licence line."""
    file, shown = find(function)
    text = file.read_text().replace(shown, function)
    return text.split("\n", 1)[1]


def runs_here(function):
    return not function.endswith("AVX") or "avx2" in pathlib.Path("/proc/cpuinfo").read_text()


def run(function, prefix, work):
    """Compiles and runs one example in the folder work; its pictures stay there as PNG."""
    source = work / f"{function}.c"
    source.write_text(program(function))
    libraries = next(prefix.glob("**/pkgconfig"))
    flags = subprocess.run(["pkg-config", "--cflags", "--libs", "tavix_video_common_cpu"], check=True, text=True,
                           capture_output=True, env=dict(os.environ, PKG_CONFIG_PATH=str(libraries))).stdout.split()
    subprocess.run(["cc", "-std=c11", "-Wall", "-Wextra", "-Werror", f"-I{EXAMPLES}", str(source), "-o",
                    str(source.with_suffix("")), *flags, f"-Wl,-rpath,{libraries.parent}"], check=True)
    if not runs_here(function):
        return
    printed = subprocess.run([str(source.with_suffix(""))], cwd=work, check=True, text=True, capture_output=True).stdout
    expected = PRINTS.search(source.read_text())[1]
    if printed.strip() != expected:
        raise RuntimeError(f"{function} prints\n{printed}instead of\n{expected}")
    made = work / f"{function}.ppm"
    if made.exists():
        Image.open(made).save(made.with_suffix(".png"))


def run_all(functions, prefix, work):
    work.mkdir(parents=True, exist_ok=True)
    picture.write(work / "picture.ppm")
    Image.open(work / "picture.ppm").save(work / "picture.png")
    for function in functions:
        run(function, prefix, work)
