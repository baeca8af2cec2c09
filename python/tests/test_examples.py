# SPDX-License-Identifier: Apache-2.0
"""Every example runs, is short, and leaves a picture that shows something."""

import pathlib
import subprocess
import sys

import cv2
import pytest

EXAMPLES = pathlib.Path(__file__).resolve().parents[1] / "examples"
SCRIPTS = sorted(path for path in EXAMPLES.glob("*.py") if path.name != "make_clip.py")


def test_there_are_at_least_six():
    assert len(SCRIPTS) >= 6


@pytest.mark.parametrize("script", SCRIPTS, ids=lambda path: path.stem)
def test_example(script, tmp_path):
    assert len(script.read_text().splitlines()) < 60
    done = subprocess.run(
        [sys.executable, "-B", str(script), str(tmp_path)],
        capture_output=True, text=True, timeout=240, cwd=tmp_path,
    )  # fmt: skip
    assert done.returncode == 0, done.stderr
    picture = cv2.imread(str(tmp_path / f"{script.stem}.png"))
    assert picture.shape[0] >= 100 and picture.shape[1] >= 100
    assert picture.std() > 5
