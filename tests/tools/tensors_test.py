#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""tavix tensors: its arrays as NumPy reads them, which frames it takes, and what it refuses."""
import os
import re
import subprocess
import time

import numpy

import tool
from tool import LOSSLESS, ffmpeg, make_video, pixels

MEAN = numpy.array([123.675, 116.28, 103.53], numpy.float32)
SCALE = numpy.array([1 / 58.395, 1 / 57.12, 1 / 57.375], numpy.float32)


def normalised(pictures, mean=MEAN, scale=SCALE):
    return (pictures.astype(numpy.float32) - mean) * scale


def pictures_of(video, width, height):
    return numpy.frombuffer(pixels(video), numpy.uint8).reshape(-1, height, width, 3)


class Tensors(tool.ToolTest):

    def tensors(self, video, *options):
        result = self.json("tensors", "--output", self.output, *options, video)
        self.assertEqual(self.outputs(), ["tensors.npy"])
        # As on disk: mapped, so that offset and size are right too.
        tensors = numpy.load(self.output / "tensors.npy", mmap_mode="r")
        self.assertEqual((tensors.dtype, list(tensors.shape)), (numpy.float32, result["shape"]))
        self.assertEqual(tensors.offset % 64, 0)
        self.assertEqual(result["frames"], len(tensors))
        return tensors

    def test_exact_values(self):
        """Frames of the tensor's size are not resized."""
        video = make_video(self.folder / "clip.mkv", *LOSSLESS, size="96x64", frames=3)
        pictures = pictures_of(video, 96, 64)
        size = "--size", "96x64"
        nhwc = normalised(pictures)
        numpy.testing.assert_array_equal(self.tensors(video, *size), nhwc.transpose(0, 3, 1, 2))
        numpy.testing.assert_array_equal(self.tensors(video, *size, "--layout", "nhwc"), nhwc)
        values = numpy.array([1, 2, 3], numpy.float32), numpy.array([.5, .25, 2], numpy.float32)
        numpy.testing.assert_array_equal(
            self.tensors(video, *size, "--layout", "nhwc", "--channels", "bgr", "--mean", "1,2,3",
                         "--scale", "0.5,0.25,2"), normalised(pictures[..., ::-1], *values))
        values = numpy.float32(5), numpy.float32(.5)  # of all channels
        numpy.testing.assert_array_equal(
            self.tensors(video, *size, "--layout", "nhwc", "--mean", 5, "--scale", .5),
            normalised(pictures, *values))

    def test_resizing(self):
        """To a quarter, by area: means of 2 x 2 pixels; by nearest: every second pixel."""
        video = make_video(self.folder / "clip.mkv", *LOSSLESS, size="64x48", frames=2)
        pictures = pictures_of(video, 64, 48)
        options = "--size", "32x24", "--layout", "nhwc", "--mean", 0, "--scale", 1
        blocks = pictures.reshape(2, 24, 2, 32, 2, 3).astype(float).mean((2, 4))
        for name in "area", "linear":
            tensors = self.tensors(video, *options, "--interpolation", name)
            self.assertLessEqual(numpy.abs(tensors - blocks).max(), 0.75, name)
        numpy.testing.assert_array_equal(self.tensors(video, *options, "--interpolation", "nearest"),
                                         pictures[:, ::2, ::2])

    def test_crop(self):
        """The middle 7/8 of the shorter side."""
        video = make_video(self.folder / "clip.mkv", *LOSSLESS, size="300x256", frames=2)
        middle = pictures_of(video, 300, 256)[:, 16:240, 38:262]
        numpy.testing.assert_array_equal(self.tensors(video, "--crop"),
                                         normalised(middle).transpose(0, 3, 1, 2))

    def test_which_frames(self):
        """Ten frames a second; each is told by its level."""
        video = self.folder / "clip.mkv"
        ffmpeg("-f", "lavfi", "-i", "nullsrc=s=16x16:r=10,geq=r='5*N':g='5*N':b='5*N',format=bgr0",
               "-frames:v", 40, *LOSSLESS, video)
        values = "--size", 16, "--mean", 0, "--scale", 1
        for options, expected in (
                ((), range(40)), (("--every", 3), range(0, 40, 3)), (("--fps", 2), range(0, 40, 5)),
                (("--fps", 100), range(40)), (("--fps", 4), [0, 3, 5, 8, 10, 13, 15, 18, 20, 23, 25,
                                                             28, 30, 33, 35, 38]),
                (("--start", 1.5, "--end", 2), range(15, 20)), (("--end", 0.1), [0]),
                (("--start", 1, "--every", 10), [10, 20, 30]),
                (("--start", 1, "--fps", 1, "--end", 3.5), [10, 20, 30])):
            with self.subTest(options):
                tensors = self.tensors(video, *values, *options)
                self.assertEqual(list(tensors[:, 0, 8, 8] / 5), list(expected))

    def test_start_far_from_the_beginning(self):
        """The frames after a seek are those of a whole decode; not many more are decoded."""
        x264 = "-c:v", "libx264", "-pix_fmt", "yuv420p", "-x264-params"
        encodings = {
            "closed.mp4": (*x264, "keyint=10:bframes=3"),
            "open.mp4": (*x264, "keyint=10:bframes=3:open-gop=1"),
            "refresh.mp4": (*x264, "keyint=10:bframes=0:intra-refresh=1"),
            "open.mkv": (*x264, "keyint=10:bframes=3:open-gop=1"),
            "late.mkv": (*x264, "keyint=10:bframes=3", "-output_ts_offset", 5),
            "clip.ts": (*x264, "keyint=10:bframes=3"),
            "clip.avi": ("-c:v", "mpeg4", "-bf", 2, "-g", 10),
            "clip.webm": ("-c:v", "libvpx-vp9", "-cpu-used", 8, "-g", 10),
        }
        found = ("closed.mp4", "open.mp4", "open.mkv", "late.mkv", "clip.webm")
        for name, encoding in encodings.items():
            video = make_video(self.folder / name, *encoding, frames=80)
            everything = numpy.array(self.tensors(video, "--size", 32))
            for start, first in (1.95, 20), (4.05, 41), (7.85, 79):
                with self.subTest(name=name, start=start):
                    options = "--size", 32, "--start", start
                    shown = self.works("tensors", video, "--output", self.output, *options)
                    numpy.testing.assert_array_equal(numpy.load(self.output / "tensors.npy"), everything[first:])
                    decoded = int(re.search(r" from (\d+) frames", shown)[1])
                    if name in found and start > 2:
                        self.assertLessEqual(decoded, 80 - first + 30)

    def test_any_number_of_threads(self):
        video = make_video(self.folder / "clip.mp4", size="320x240", frames=60)
        expected = numpy.array(self.tensors(video, "--threads", 1))
        for threads in 2, 3, 8:
            numpy.testing.assert_array_equal(self.tensors(video, "--threads", threads), expected)

    def test_compressed(self):
        """4:2:0, converted by the library: every colour matrix is the one the file names."""
        for space in "bt709", "smpte170m", "bt2020nc":
            for size in "256x256", "257x256":
                with self.subTest(space=space, size=size):
                    video = make_video(self.folder / "clip.mkv", "-vf",
                                       f"scale=out_color_matrix={space}", "-c:v", "ffv1", "-pix_fmt",
                                       "yuv420p", "-colorspace", space, size=size, frames=2)
                    width, height = map(int, size.split("x"))
                    tensors = self.tensors(video, "--size", size, "--mean", 0, "--scale",
                                           "1,1,1", "--layout", "nhwc")
                    error = numpy.abs(tensors - pictures_of(video, width, height))
                    self.assertLess(numpy.median(error), 3)  # of 255; chroma edges differ more

    def test_text(self):
        shown = self.works("tensors", make_video(self.folder / "clip.mp4"), "--output", self.output)
        self.assertIn("10 tensors of 3 x 224 x 224 from 10 frames, on ", shown)
        for step in "decode", "compute", "write", "all":
            self.assertRegex(shown, rf"\n{step} +\d+\.\d+ +\d+ +\d+\n")

    def test_two_runs_in_one_folder(self):
        """One begins and ends while the other runs; the result is that of the last to end."""
        clip = make_video(self.folder / "clip.y4m", "-pix_fmt", "yuv420p", frames=60).read_bytes()
        pipe = self.folder / "pipe"
        os.mkfifo(pipe)
        slow = subprocess.Popen([tool.TAVIX, "tensors", pipe, "--output", self.output], stdout=subprocess.DEVNULL)
        with open(pipe, "wb", buffering=0) as feed:
            feed.write(clip[:len(clip) // 2])
            while not self.outputs():
                self.assertIsNone(slow.poll())
                time.sleep(0.01)
            self.works("tensors", make_video(self.folder / "clip.mp4"), "--output", self.output)
            self.assertEqual(len(numpy.load(self.output / "tensors.npy")), 10)
            feed.write(clip[len(clip) // 2:])
        self.assertEqual(slow.wait(), 0)
        self.assertEqual(self.outputs(), ["tensors.npy"])
        self.assertEqual(len(numpy.load(self.output / "tensors.npy")), 60)

    def test_damaged(self):
        whole = make_video(self.folder / "clip.mkv", frames=20).read_bytes()
        cut = self.file("cut.mkv", whole[:len(whole) // 2])
        run = self.tavix("tensors", cut, "--output", self.output)
        self.assertEqual(run.returncode, 1)
        self.assertRegex(run.stderr, r"\Atavix tensors: '.*cut.mkv' is damaged or cut: \d+ of its 20 "
                                     r"frames could be decoded, \d+ are lost\n\Z")
        self.assertEqual(self.outputs(), ["tensors.npy"])

    def test_bad_files(self):
        self.refuses("'.*none.mp4' does not exist", "tensors", self.folder / "none.mp4", "--output",
                     self.output)
        words = self.file("words.mp4", b"Not a video, but words.\n" * 50)
        self.refuses("'.*words.mp4' .*", "tensors", words, "--output", self.output)
        video = make_video(self.folder / "clip.mp4")
        self.refuses("'.*clip.mp4' has no frame in that time", "tensors", video, "--start", 9,
                     "--output", self.output)

    def test_full_disk(self):
        video = make_video(self.folder / "clip.mp4", frames=5)
        command = (f'ulimit -f 1000; trap "" XFSZ; '
                   f'exec "{tool.TAVIX}" tensors "{video}" --output "{self.output}"')
        run = subprocess.run(["bash", "-c", command], capture_output=True, text=True)
        self.assertEqual(run.returncode, 1)
        self.assertRegex(run.stderr, r"\Atavix tensors: cannot write '.*tensors.npy': File too large\n\Z")
        self.assertEqual(self.outputs(), [])

    def test_command_line(self):
        for wrong in ([], ["a.mp4", "--size", "0"], ["a.mp4", "--size", "4x"],
                      ["a.mp4", "--layout", "chw"], ["a.mp4", "--mean", "1,2"],
                      ["a.mp4", "--scale", "x"],
                      ["a.mp4", "--every", "0"], ["a.mp4", "--every", "2", "--fps", "2"],
                      ["a.mp4", "--start", "-1"], ["a.mp4", "--threads", "0"]):
            with self.subTest(wrong):
                self.misuses("tensors", *wrong)


if __name__ == "__main__":
    tool.main()
