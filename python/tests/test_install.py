# SPDX-License-Identifier: Apache-2.0
"""pip builds and installs the package, with the libraries inside it."""

import pathlib
import subprocess
import sys
import venv

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]

CHECK = """
import pathlib, numpy as np, tavix
folder = pathlib.Path(tavix.__file__).parent
assert "site-packages" in str(folder), folder
assert tavix.add(np.ones((2, 2, 3), np.uint8), np.ones((2, 2, 3), np.uint8)).sum() == 24
maps = open("/proc/self/maps").read()
for library in ("libtavix_core.so", "libtavix_video_common_cpu.so"):
    assert str(folder / library) in maps, library
print(tavix.__version__)
"""


def environment(folder):
    """A virtual environment with the system's packages; its interpreter."""
    venv.create(folder, system_site_packages=True, with_pip=True)
    return str(folder / "bin" / "python")


def run(*command, cwd):
    done = subprocess.run(
        command, capture_output=True, text=True, cwd=cwd,
        env={"PATH": "/usr/bin:/bin", "HOME": str(cwd), "CMAKE_CXX_COMPILER_LAUNCHER": LAUNCHER},
    )  # fmt: skip
    assert done.returncode == 0, done.stdout + done.stderr
    return done.stdout


# Rebuilding the library is not what is tested here.
LAUNCHER = "ccache" if pathlib.Path("/usr/bin/ccache").exists() else ""


@pytest.fixture(scope="module")
def source(tmp_path_factory):
    """A copy of the sources without what a build leaves."""
    folder = tmp_path_factory.mktemp("source") / "tavix"
    subprocess.run(["git", "clone", "-q", ROOT, folder], check=True)
    return folder


def test_pip_install(source, tmp_path):
    python = environment(tmp_path / "venv")
    run(python, "-m", "pip", "install", "--no-build-isolation", "--no-deps", ".", cwd=source)
    assert run(python, "-c", CHECK, cwd=tmp_path).strip() == "1.0.0"
    assert "VIDEO_OR_FOLDER" in run(str(tmp_path / "venv/bin/tavix-corpus"), "--help", cwd=tmp_path)


def test_pip_wheel(source, tmp_path):
    builder = environment(tmp_path / "builder")
    run(
        builder, "-m", "pip", "wheel", "--no-build-isolation", "--no-deps", "-w", str(tmp_path),
        ".", cwd=source,
    )  # fmt: skip
    (wheel,) = tmp_path.glob("tavix-1.0.0-*.whl")
    assert "cp311" in wheel.name and "linux_x86_64" in wheel.name
    python = environment(tmp_path / "fresh")
    run(python, "-m", "pip", "install", "--no-deps", str(wheel), cwd=tmp_path)
    assert run(python, "-c", CHECK, cwd=tmp_path).strip() == "1.0.0"
    assert sys.version_info[:2] == (3, 11)
