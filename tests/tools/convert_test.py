#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""tavix convert: values, sizes, round trips, pictures, and what it refuses."""
import os

import numpy

import tool
from tool import ffmpeg, pixels

# Bytes of one pixel, chroma included.
PACKED = {"rgb24": 3, "bgr24": 3, "gray8": 1, "bgra32": 4, "rgba32": 4, "rgbf32": 12, "bgrf32": 12,
          "rgbaf32": 16, "bgraf32": 16}
YUV = {"nv12": 1.5, "nv21": 1.5, "yv12": 1.5, "i420": 1.5}
WIDTH, HEIGHT = 34, 6


class Convert(tool.ToolTest):

    def setUp(self):
        super().setUp()
        self.rgb = numpy.random.default_rng(7).integers(0, 256, (HEIGHT, WIDTH, 3), numpy.uint8)

    def converted(self, content, source, target, *options, size=(WIDTH, HEIGHT)):
        """The raw result of a raw frame."""
        output = self.folder / "result.raw"
        shown = self.works("convert", self.file("source.raw", content), output, "--from", source,
                           "--to", target, "--size", f"{size[0]}x{size[1]}", *options)
        self.assertEqual(shown, f"{size[0]} x {size[1]} pixels, {source} to {target}\n")
        return output.read_bytes()

    def test_result_sizes(self):
        """Every format into two others."""
        formats = list((PACKED | YUV).items())
        for i, (source, bytes_from) in enumerate(formats):
            for target, bytes_to in formats[i - 1], formats[i - 5]:
                with self.subTest(source=source, target=target):
                    content = bytes(int(WIDTH * HEIGHT * bytes_from))
                    result = self.converted(content, source, target)
                    self.assertEqual(len(result), WIDTH * HEIGHT * bytes_to)

    def test_round_trips(self):
        """What only moves samples comes back as it was; channels by an own reference."""
        rgb = self.rgb
        self.assertEqual(self.converted(rgb.tobytes(), "rgb24", "bgr24"),
                         rgb[:, :, ::-1].tobytes())
        rgba = numpy.dstack([rgb, numpy.full((HEIGHT, WIDTH), 255, numpy.uint8)])
        self.assertEqual(self.converted(rgb.tobytes(), "rgb24", "rgba32"), rgba.tobytes())
        for between in "bgr24", "bgra32", "rgba32", "rgbf32", "bgrf32", "rgbaf32", "bgraf32":
            with self.subTest(between):
                there = self.converted(rgb.tobytes(), "rgb24", between)
                self.assertEqual(self.converted(there, between, "rgb24"), rgb.tobytes())

    def test_planes(self):
        """Chroma planes stand in the order that the format's name says."""
        size, luma = (6, 4), bytes(range(24))
        u, v = bytes(range(100, 106)), bytes(range(200, 206))
        pairs = lambda a, b: bytes(x for pair in zip(a, b) for x in pair)
        raw = {"i420": luma + u + v, "yv12": luma + v + u, "nv12": luma + pairs(u, v),
               "nv21": luma + pairs(v, u)}
        for source in raw:
            for target in raw:
                with self.subTest(source=source, target=target):
                    self.assertEqual(self.converted(raw[source], source, target, size=size),
                                     raw[target])
            self.assertEqual(self.converted(raw[source], source, "gray8", size=size), luma)

    def test_space_and_range(self):
        """Luma of pure green, by the documented weights of a scale of 256."""
        green = bytes([0, 255, 0]) * 4
        for options, weight, offset in (
                ((), 129, 16), (("--space", "bt601"), 129, 16), (("--space", "2"), 129, 16),
                (("--space", "bt709"), 157, 16), (("--space", "1"), 157, 16),
                (("--space", "bt2020"), 148, 16), (("--range", "limited"), 129, 16),
                (("--range", "full"), 150, 0), (("--range", "full", "--space", "bt2020"), 148, 0)):
            with self.subTest(options):
                luma = self.converted(green, "rgb24", "nv12", *options, size=(2, 2))[:4]
                self.assertEqual(luma, bytes([(weight * 255 + 128 >> 8) + offset]) * 4)
        # Decoding reads the space too: V of 228 is red, by another factor in each.
        content = bytes([100] * 4 + [128, 228])
        reds = [self.converted(content, "nv12", "rgb24", "--space", s, size=(2, 2))[0]
                for s in ("bt601", "bt709", "bt2020")]
        self.assertEqual(reds, [((100 - 16) * 74 + 100 * f + 32) >> 6 & 255 if
                                ((100 - 16) * 74 + 100 * f + 32) >> 6 < 256 else 255
                                for f in (102, 115, 107)])

    def test_pictures(self):
        raw = self.file("source.raw", self.rgb.tobytes())
        picture, back = self.folder / "picture.png", self.folder / "back.rgb"
        size = f"{WIDTH}x{HEIGHT}"
        for target in "rgb24", "bgr24", "rgba32", "bgra32":
            with self.subTest(target):
                run = self.tavix("convert", raw, picture, "--from", "rgb24", "--to", target, "--size",
                                       size)
                self.assertEqual((run.returncode, run.stderr), (0, ""))
                self.assertEqual(pixels(picture), self.rgb.tobytes())
                run = self.tavix("convert", picture, back, "--to", "rgb24")
                self.assertEqual((run.returncode, run.stderr), (0, ""))
                self.assertEqual(back.read_bytes(), self.rgb.tobytes())
        grey = self.converted(self.rgb.tobytes(), "rgb24", "gray8")
        run = self.tavix("convert", raw, picture, "--from", "rgb24", "--to", "gray8", "--size", size)
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        self.assertEqual(pixels(picture), bytes(v for v in grey for _ in range(3)))

        jpeg = self.folder / "flat.JPG"
        ffmpeg("-f", "lavfi", "-i", "color=c=0x646464:s=16x16", "-frames:v", 1, "-f", "mjpeg", jpeg)
        self.assertEqual(self.tavix("convert", jpeg, back, "--to", "gray8").returncode, 0)
        self.assertEqual((len(back.read_bytes()), set(back.read_bytes()) <= {99, 100, 101}),
                         (256, True))

    def test_odd_sizes(self):
        rgb = self.rgb[:5, :7].tobytes()
        self.assertEqual(self.converted(rgb, "rgb24", "rgb24", size=(7, 5)), rgb)
        raw, out = self.file("source.raw", rgb), self.folder / "out.raw"
        self.refuses("nv12 needs an even width and height, not 7 x 5", "convert", raw, out, "--from", "rgb24",
                     "--to", "nv12", "--size", "7x5")
        self.refuses("i420 needs an even width and height, not 6 x 5", "convert", raw, out, "--from", "i420",
                     "--to", "rgb24", "--size", "6x5")

    def test_bad_input(self):
        out = self.folder / "out.raw"
        raw = self.file("source.raw", bytes(23))
        options = "--from", "bgr24", "--to", "rgb24", "--size", "4x2"
        self.refuses("'.*source.raw' has 23 bytes, but 4 x 2 pixels of bgr24 are 24", "convert", raw, out,
                     *options)
        self.refuses("'.*source.raw' has 23 bytes, but 32767 x 32767 pixels of bgr24 are "
                     "3221028867", "convert", raw, out, *options[:-1], "32767x32767")
        self.refuses("'.*none' does not exist", "convert", self.folder / "none", out, *options)
        self.refuses("'.*' is a directory, not a file", "convert", self.folder, out, *options)
        self.refuses("'/dev/null' is a device or a pipe, not a file", "convert", "/dev/null", out, *options)
        self.refuses("'.*source.raw' is a raw file, which needs --from and --size", "convert", raw, out,
                     *options[:-2])
        self.refuses("'.*source.raw' is a raw file, which needs --from and --size", "convert", raw, out,
                     *options[2:])
        for content in b"", b"words", bytes(1000):
            picture = self.file("bad.png", content)
            self.refuses("'.*bad.png' is not a picture, or is damaged", "convert", picture, out, *options)

        picture = self.folder / "good.png"
        ffmpeg("-f", "lavfi", "-i", "testsrc2=s=4x2", "-frames:v", 1, "-pix_fmt", "rgb24", picture)
        self.refuses("'.*good.png' holds bgr24, not nv12", "convert", picture, out, "--to", "rgb24", "--from",
                     "nv12")
        self.refuses("'.*good.png' has 4 x 2 pixels, not 2x4", "convert", picture, out, "--to", "rgb24",
                     "--size", "2x4")
        deep = self.folder / "deep.png"
        ffmpeg("-i", picture, "-pix_fmt", "rgb48be", deep)
        self.refuses("'.*deep.png' has more than 8 bits a sample", "convert", deep, out, "--to", "rgb24")

    def test_impossible(self):
        raw, out = self.file("source.raw", bytes(24)), self.folder / "out.raw"
        four = "--size", "4x4", "--from", "i420", "--to"
        self.refuses("i420 is converted to rgb24 as limited range only", "convert", raw, out, *four, "rgb24",
                     "--range", "full")
        self.refuses("'.*out.png' is a picture, which cannot hold nv12", "convert", raw,
                     self.folder / "out.png", *four, "nv12")
        self.refuses("'.*out.png' is a picture, which cannot hold rgbf32", "convert", raw,
                     self.folder / "out.png", *four, "rgbf32")
        self.refuses("there is no conversion from i420 to grayf32", "convert", raw, out, *four, "grayf32")
        self.refuses("cannot write '.*out.raw': No such file or directory", "convert", raw, self.folder / "none" / "out.raw", *four,
                     "rgb24")

    def test_output_in_the_way(self):
        """A pipe is not replaced, nor is a link: what it leads to is."""
        raw, pipe, link, real = (self.folder / name for name in ("source.raw", "pipe", "link", "real"))
        raw.write_bytes(bytes(24))
        options = "--size", "4x4", "--from", "i420", "--to", "gray8"
        os.mkfifo(pipe)
        self.refuses("cannot write '.*pipe': it is a device or a pipe", "convert", raw, pipe, *options)
        self.assertTrue(pipe.is_fifo())
        real.write_bytes(b"earlier")
        link.symlink_to(real)
        self.works("convert", raw, link, *options)
        self.assertTrue(link.is_symlink())
        self.assertEqual(real.read_bytes(), bytes(16))
        folder = self.folder / "folder"
        folder.mkdir()
        self.refuses("cannot write '.*folder': Is a directory", "convert", raw, folder, *options)

    def test_command_line(self):
        raw, out = self.file("source.raw", bytes(24)), self.folder / "out.raw"
        good = [raw, out, "--from", "i420", "--to", "rgb24", "--size", "4x4"]
        self.assertEqual(self.tavix("convert", *good).returncode, 0)
        out.unlink()
        for wrong in ([], good[:4], ["--size", "4"], ["--size", "0x4"], ["--size", "4x4x"],
                      ["--size", "40000x4"], ["--size", "-4x4"], ["--size", "4x"], ["--size", "x4"],
                      ["--size", " 4x4"], ["--size", "+4x4"], ["--size", "4x99999999999"], ["--from", "yuyv"],
                      ["--to", ""], ["--range", "wide"], ["--space", "red"], ["--unknown"]):
            with self.subTest(wrong):
                rest = good[:2] + ["--to", "rgb24"] if wrong and str(wrong[0])[:2] == "--" and \
                    wrong[0] != "--to" else []
                self.misuses("convert", *rest, *wrong)
                self.assertFalse(out.exists())

    def test_help_lists_plain_names(self):
        shown = self.works("convert", "--help")
        self.assertIn("--to {rgb24,bgr24,gray8,", shown)
        self.assertIn("--range {limited,full}", shown)
        self.assertNotIn("->", shown)

    def test_json(self):
        out = self.folder / "out.nv12"
        shown = self.json("convert", self.file("source.raw", bytes(24)), out, "--from", "i420", "--to",
                          "nv12", "--size", "4x4")
        self.assertEqual(shown, {"width": 4, "height": 4, "from": "i420", "to": "nv12",
                                 "output": str(out)})


if __name__ == "__main__":
    tool.main()
