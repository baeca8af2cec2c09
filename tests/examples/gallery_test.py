#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""The gallery example on a small video and on a file that is none.

Usage: gallery_test.py GALLERY [unittest arguments]
"""
import pathlib
import subprocess
import sys
import tempfile
import unittest

from videos import make_video

GALLERY = None


class GalleryTest(unittest.TestCase):

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.output = self.folder / "output"

    def run_gallery(self, video):
        return subprocess.run([GALLERY, str(video), "--output", str(self.output)],
                              capture_output=True, text=True, timeout=120)

    def test_grid(self):
        video = self.folder / "video.mp4"
        make_video(video)
        run = self.run_gallery(video)
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        self.assertEqual([path.name for path in self.output.iterdir()], ["gallery.png"])
        size = subprocess.run(
            ["ffprobe", "-v", "error", "-show_entries", "stream=width,height", "-of", "csv=p=0",
             str(self.output / "gallery.png")],
            check=True, capture_output=True, text=True).stdout.strip().split(",")
        self.assertEqual(int(size[0]), 4 * 328 + 8)
        self.assertGreater(int(size[1]), 5 * 100)

    def test_no_video(self):
        video = self.folder / "text.mp4"
        video.write_text("no video\n" * 100)
        run = self.run_gallery(video)
        self.assertEqual(run.returncode, 1)
        self.assertEqual(run.stderr.count("\n"), 1)
        self.assertIn("text.mp4", run.stderr)
        self.assertFalse(self.output.exists() and any(self.output.iterdir()))


if __name__ == "__main__":
    GALLERY = sys.argv.pop(1)
    unittest.main()
