#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""tavix diff: its numbers beside NumPy and FFmpeg, and what it says of unlike files."""
import re
import subprocess

import numpy

import tool
from tool import LOSSLESS, ffmpeg, make_video, picture_size, pixels


class Diff(tool.ToolTest):

    def picture(self, name, rgb):
        height, width, _ = rgb.shape
        ffmpeg("-f", "rawvideo", "-pix_fmt", "rgb24", "-s", f"{width}x{height}", "-i", "-",
               self.folder / name, input=rgb.tobytes())
        return self.folder / name

    def test_one_pixel(self):
        rgb = numpy.random.default_rng(3).integers(0, 256, (40, 60, 3), numpy.uint8)
        rgb[7, 11] = 100
        other = rgb.copy()
        other[7, 11, 1] = 110
        shown = self.json("diff", self.picture("a.png", rgb), self.picture("b.png", other))
        self.assertEqual(shown["first"], {"frame": 0, "x": 11, "y": 7})
        self.assertEqual(shown["maximum"], 10)
        self.assertAlmostEqual(shown["psnr"], 10 * numpy.log10(255**2 / (100 / rgb.size)), places=6)
        self.assertLess(shown["ssim"], 1)

    def test_same(self):
        video = make_video(self.folder / "clip.mkv", *LOSSLESS)
        shown = self.json("diff", video, video)
        self.assertEqual((shown["psnr"], shown["ssim"], shown["first"], shown["maximum"]),
                         (None, 1, None, 0))
        self.assertIn("no pixel differs\n", self.works("diff", video, video))

    def test_beside_ffmpeg(self):
        """PSNR of all channels, SSIM of grey pictures within the difference of their windows."""
        first = make_video(self.folder / "a.mkv", *LOSSLESS, size="320x240")
        second = self.folder / "b.mkv"
        ffmpeg("-i", first, "-vf", "noise=all_strength=20:all_seed=3,format=bgr0", *LOSSLESS, second)
        shown = self.json("diff", first, second)
        a, b = (numpy.frombuffer(pixels(path), numpy.uint8).astype(float) for path in (first, second))
        self.assertAlmostEqual(shown["psnr"], 10 * numpy.log10(255**2 / ((a - b)**2).mean()), places=6)
        self.assertEqual(shown["maximum"], numpy.abs(a - b).max())
        run = subprocess.run(
            ["ffmpeg", "-i", first, "-i", second, "-lavfi",
             "[0]format=gray[a];[1]format=gray[b];[a][b]ssim", "-f", "null", "-"],
            check=True, capture_output=True, text=True)
        self.assertAlmostEqual(shown["ssim"], float(re.search(r"All:([\d.]+)", run.stderr)[1]),
                               delta=0.05)

    def test_heat_map(self):
        rgb = numpy.full((300, 400, 3), 90, numpy.uint8)
        other = rgb.copy()
        other[100:200, 100:300, 2] += 50
        target = self.folder / "map.png"
        self.works("diff", self.picture("a.png", rgb), self.picture("b.png", other), "--heat-map",
                   target)
        width, height = picture_size(target)
        colours = numpy.frombuffer(pixels(target), numpy.uint8).reshape(height, width, 3)
        brightness = colours[36:336, 12:412].astype(int).sum(2)
        self.assertEqual(set(brightness[100:200, 100:300].flat), {brightness.max()})
        brightness[100:200, 100:300] = brightness[0, 0]
        self.assertEqual(len(set(brightness.flat)), 1)

    def test_inputs_are_kept(self):
        rgb = numpy.zeros((4, 4, 3), numpy.uint8)
        a, b = self.picture("a.png", rgb), self.picture("b.png", rgb)
        for target in a, b:
            self.refuses(f"'{target}' would be overwritten", "diff", a, b, "--heat-map", target)

    def test_unlike(self):
        small, large = make_video(self.folder / "a.mp4"), make_video(self.folder / "b.mp4",
                                                                     size="96x48")
        self.refuses("'.*a.mp4' has 64 x 48 pixels, '.*b.mp4' has 96 x 48", "diff", small, large)
        longer = make_video(self.folder / "c.mp4", frames=12)
        run = self.tavix("diff", small, longer)
        self.assertEqual(run.returncode, 1)
        self.assertRegex(run.stderr, r"\Atavix diff: '.*c.mp4' has more frames than the other\n\Z")
        self.assertIn("10 frames of 64 x 48 pixels\n", run.stdout)
        self.refuses("'.*none' does not exist", "diff", small, self.folder / "none")


if __name__ == "__main__":
    tool.main()
