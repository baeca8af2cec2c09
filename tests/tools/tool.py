# SPDX-License-Identifier: Apache-2.0
"""What the tests of the program tavix share: how it is run, and videos made for tests.

Every test file is run as: NAME_test.py TAVIX [unittest arguments]
"""
import json
import pathlib
import subprocess
import sys
import tempfile
import unittest

TAVIX = None


def ffmpeg(*arguments, input=b""):
    return subprocess.run(["ffmpeg", "-loglevel", "error", "-y", *map(str, arguments)],
                          input=input, check=True, capture_output=True).stdout


H264 = ("-c:v", "libx264", "-pix_fmt", "yuv420p")
LOSSLESS = ("-c:v", "ffv1", "-pix_fmt", "bgr0")


def make_video(path, *encoding, size="64x48", frames=10):
    ffmpeg("-f", "lavfi", "-i", f"testsrc2=size=320x240:rate=10,format=bgr0,scale={size}",
           "-frames:v", frames, *(encoding or H264), path)
    return path


def pixels(path):
    """Every picture of a file as one run of R, G, B bytes."""
    return ffmpeg("-i", path, "-f", "rawvideo", "-pix_fmt", "rgb24", "-")


def picture_size(path):
    shown = subprocess.run(
        ["ffprobe", "-v", "error", "-show_entries", "stream=width,height", "-of", "csv=p=0",
         str(path)], check=True, capture_output=True, text=True)
    return tuple(map(int, shown.stdout.strip().split(",")))


class ToolTest(unittest.TestCase):
    """A folder for each test, with a folder "output" in it."""

    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.output = self.folder / "output"

    def file(self, name, content):
        path = self.folder / name
        path.write_bytes(content)
        return path

    def outputs(self):
        return sorted(path.name for path in self.output.iterdir()) if self.output.exists() else []

    def tavix(self, *arguments):
        return subprocess.run([TAVIX, *map(str, arguments)], capture_output=True, text=True,
                              timeout=120)

    def works(self, *arguments, stderr=""):
        """What the program prints."""
        run = self.tavix(*arguments)
        self.assertEqual((run.returncode, run.stderr), (0, stderr))
        return run.stdout

    def json(self, *arguments):
        return json.loads(self.works(*arguments, "--json"))

    def refuses(self, sentence, *arguments):
        """One sentence, status 1, and no file more or less."""
        before = sorted(self.folder.rglob("*"))
        run = self.tavix(*arguments)
        self.assertRegex(run.stderr, rf"\Atavix {arguments[0]}: {sentence}\n\Z")
        self.assertEqual((run.returncode, run.stdout), (1, ""))
        self.assertEqual(sorted(path for path in self.folder.rglob("*") if path != self.output),
                         [path for path in before if path != self.output])

    def misuses(self, *arguments):
        run = self.tavix(*arguments)
        self.assertEqual((run.returncode, run.stdout), (2, ""))
        self.assertIn("--help", run.stderr)


def main():
    global TAVIX
    TAVIX = str(pathlib.Path(sys.argv.pop(1)).resolve())
    unittest.main("__main__")
