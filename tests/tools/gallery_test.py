#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""tavix gallery."""
import tool
from tool import make_video, picture_size, pixels


class Gallery(tool.ToolTest):

    def test_grid(self):
        """Rows of six, all of them full."""
        shown = self.json("gallery", make_video(self.folder / "video.mp4"), "--output", self.output)
        self.assertEqual(shown, {"frame": 5, "outputs": {"gallery": str(self.output / "gallery.png")},
                                 "lost": 0})
        self.assertEqual(self.outputs(), ["gallery.png"])
        width, height = picture_size(self.output / "gallery.png")
        cell = (height - 8) // 3
        self.assertEqual((width, height), (6 * 328 + 8, 3 * cell + 8))
        self.assertGreaterEqual(cell, 28 + 320 * 3 // 4 + 8)
        rgb = pixels(self.output / "gallery.png")
        for row in range(3):
            for column in range(6):
                x, y = 8 + column * 328 + 160, row * cell + 28 + 120
                tile = {rgb[3 * (width * (y + dy) + x + dx):][:3]
                        for dy in range(-90, 90, 9) for dx in range(-90, 90, 9)}
                self.assertNotEqual(tile, {bytes([250] * 3)}, (row, column))

    def test_too_small(self):
        video = make_video(self.folder / "clip.mkv", *tool.LOSSLESS, size="7x90")
        self.refuses("frames of 7 x 90 pixels are too small: 8 x 8 are needed", "gallery", video,
                     "--output", self.output)
        self.works("gallery", make_video(self.folder / "clip.mkv", *tool.LOSSLESS, size="8x8"),
                   "--output", self.output)

    def test_no_video(self):
        words = self.file("text.mp4", b"no video\n" * 100)
        self.refuses("'.*text.mp4' .*", "gallery", words, "--output", self.output)
        self.assertEqual(self.outputs(), [])


if __name__ == "__main__":
    tool.main()
