#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""The classify_preprocess example: its tensors as NumPy reads them, and what it refuses.

Usage: classify_preprocess_test.py CLASSIFY_PREPROCESS [unittest arguments]
"""
import pathlib
import subprocess
import sys
import tempfile
import unittest

import numpy

from videos import LOSSLESS, ffmpeg, make_video, pixels

PROGRAM = None

MEAN = numpy.float32(255) * numpy.array([0.485, 0.456, 0.406], numpy.float32)
SCALE = numpy.float32(1) / (numpy.float32(255) * numpy.array([0.229, 0.224, 0.225], numpy.float32))


def expected(video, width, height):
    """The middle 224 x 224 pixels of every picture, normalised, as N x 3 x 224 x 224."""
    pictures = numpy.frombuffer(pixels(video), numpy.uint8).reshape(-1, height, width, 3)
    top, left = (height - 224) // 2, (width - 224) // 2
    middle = pictures[:, top:top + 224, left:left + 224].astype(numpy.float32)
    return ((middle - MEAN) * SCALE).transpose(0, 3, 1, 2)


class ClassifyPreprocess(unittest.TestCase):

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.output = self.folder / "output"

    def run_program(self, video, *options):
        return subprocess.run([PROGRAM, str(video), "--output", str(self.output), *options],
                              capture_output=True, text=True, timeout=120)

    def outputs(self):
        return sorted(path.name for path in self.output.iterdir()) if self.output.exists() else []

    def tensors(self, video, frames):
        run = self.run_program(video)
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        self.assertIn(f"{frames} tensors of 3 x 224 x 224 from frames of ", run.stdout)
        self.assertIn(f"all {frames * 3 * 224 * 224} samples are as before\n", run.stdout)
        for step in "decode", "convert", "resize", "normalise", "to tensor", "from tensor", "all":
            self.assertRegex(run.stdout, rf"\n{step}[^\d\n]* +\d+\.\d+ +\d+ +\d+\n")
        self.assertEqual(self.outputs(), ["contact-sheet.png", "tensors.npy"])
        # As on disk: mapped, so that offset and size are right too.
        tensors = numpy.load(self.output / "tensors.npy", mmap_mode="r")
        self.assertEqual((tensors.dtype, tensors.shape), (numpy.float32, (frames, 3, 224, 224)))
        self.assertEqual(tensors.offset % 64, 0)
        self.assertGreater(len(pixels(self.output / "contact-sheet.png")), 0)
        return tensors

    def refuses(self, video, sentence):
        before = self.outputs()
        run = self.run_program(video)
        self.assertRegex(run.stderr, rf"\Aclassify_preprocess: {sentence}\n\Z")
        self.assertEqual((run.returncode, run.stdout), (1, ""))
        self.assertEqual(self.outputs(), before)

    def test_exact_values(self):
        """Of 256 rows the middle 224 stay as they are, so that nothing is resized."""
        for width, height in (256, 256), (300, 256), (256, 301):
            with self.subTest(width=width, height=height):
                video = make_video(self.folder / "clip.mkv", *LOSSLESS, size=f"{width}x{height}",
                                   frames=3)
                numpy.testing.assert_array_equal(self.tensors(video, 3),
                                                 expected(video, width, height))

    def test_levels(self):
        """Flat pictures of other sizes have one value in each channel, in the order R, G, B."""
        colour = numpy.array([200, 100, 50], numpy.float32)
        for size in "2x2", "64x48", "1000x30", "639x480":
            with self.subTest(size):
                video = self.folder / "clip.mkv"
                ffmpeg("-f", "lavfi", "-i", f"color=c=0xC86432:s={size},format=bgr0", "-frames:v",
                       2, *LOSSLESS, video)
                tensors = self.tensors(video, 2)
                for channel, value in enumerate((colour - MEAN) * SCALE):
                    self.assertEqual(numpy.unique(tensors[:, channel]), [value])

    def test_compressed(self):
        """4:2:0, converted by the library: every colour matrix is the one the file names."""
        for space in "bt709", "smpte170m", "bt2020nc":
            for size in "256x256", "257x256":
                with self.subTest(space=space, size=size):
                    video = make_video(self.folder / "clip.mkv", "-vf",
                                       f"scale=out_color_matrix={space}", "-c:v", "ffv1", "-pix_fmt",
                                       "yuv420p", "-colorspace", space, size=size, frames=2)
                    width, height = map(int, size.split("x"))
                    reference = expected(video, width, height)
                    error = numpy.abs(self.tensors(video, 2) - reference) / SCALE[:, None, None]
                    self.assertLess(numpy.median(error), 3)  # of 255; chroma edges differ more

    def test_bad_files(self):
        self.refuses(self.folder / "none.mp4", "'.*none.mp4' does not exist")
        words = self.folder / "words.mp4"
        words.write_text("Not a video, but words.\n" * 50)
        self.refuses(words, "'.*words.mp4' .*")

    def test_full_disk(self):
        video = make_video(self.folder / "clip.mp4", frames=5)
        command = f'ulimit -f 1000; trap "" XFSZ; exec "{PROGRAM}" "{video}" --output "{self.output}"'
        run = subprocess.run(["bash", "-c", command], capture_output=True, text=True)
        self.assertEqual(run.returncode, 1)
        self.assertRegex(run.stderr, r"\Aclassify_preprocess: cannot write '.*tensors.npy'\n\Z")
        self.assertEqual(self.outputs(), [])

    def test_command_line(self):
        run = subprocess.run([PROGRAM], capture_output=True, text=True)
        self.assertEqual((run.returncode, run.stdout), (2, ""))
        self.assertIn("--help", run.stderr)


if __name__ == "__main__":
    PROGRAM = str(pathlib.Path(sys.argv.pop(1)).resolve())
    unittest.main()
