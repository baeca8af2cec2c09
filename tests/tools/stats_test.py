#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""tavix stats: its table beside NumPy, and that the plot shows the curves."""
import csv

import numpy

import tool
from tool import LOSSLESS, make_video, picture_size, pixels


class Stats(tool.ToolTest):

    def test_values(self):
        video = make_video(self.folder / "clip.mkv", *LOSSLESS, frames=7)
        shown = self.json("stats", video, "--output", self.output)
        self.assertEqual((shown["frames"], shown["lost"]), (7, 0))
        self.assertEqual(self.outputs(), ["statistics.csv", "statistics.png"])
        with open(self.output / "statistics.csv", encoding="utf-8") as file:
            rows = list(csv.DictReader(file))
        rgb = numpy.frombuffer(pixels(video), numpy.uint8).reshape(7, -1, 3).astype(float)
        for i, row in enumerate(rows):
            self.assertAlmostEqual(float(row["seconds"]), i / 10, places=3)
            for c, channel in enumerate(("red", "green", "blue")):
                self.assertAlmostEqual(float(row[f"frame mean {channel}"]), rgb[i, :, c].mean(), places=3)
                self.assertAlmostEqual(float(row[f"frame deviation {channel}"]), rgb[i, :, c].std(),
                                       places=3)

    def test_plot(self):
        """A curve of each colour, with its name in the same colour's legend beside it."""
        self.works("stats", make_video(self.folder / "clip.mp4"), "--output", self.output)
        width, height = picture_size(self.output / "statistics.png")
        self.assertEqual((width, height), (1100, 360))
        colours = numpy.frombuffer(pixels(self.output / "statistics.png"), numpy.uint8).reshape(-1, 3)
        for colour in (255, 0, 0), (0, 255, 0), (0, 0, 255):
            self.assertGreater((colours == colour).all(1).sum(), 20, colour)

    def test_damaged(self):
        whole = make_video(self.folder / "clip.ts", frames=20).read_bytes()
        run = self.tavix("stats", self.file("cut.ts", whole[:len(whole) // 2 // 188 * 188 + 50]),
                         "--output", self.output)
        self.assertEqual(run.returncode, 1)
        self.assertIn("damaged or cut", run.stderr)
        self.assertEqual(self.outputs(), ["statistics.csv", "statistics.png"])

    def test_bad_files(self):
        self.refuses("'.*none.mp4' does not exist", "stats", self.folder / "none.mp4", "--output",
                     self.output)


if __name__ == "__main__":
    tool.main()
