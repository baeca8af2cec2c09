#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""tavix motion on videos of many kinds and on files that are none."""
import json
import signal
import subprocess
import time

import tool
from tool import LOSSLESS, H264, ffmpeg, make_video, pixels

OUTPUTS = ["contact-sheet.png", "motion.mp4", "statistics.csv", "statistics.png"]


def video_stream(path):
    shown = subprocess.run(
        ["ffprobe", "-v", "error", "-count_frames", "-show_streams", "-of", "json", str(path)],
        check=True, capture_output=True, text=True)
    assert not shown.stderr, shown.stderr
    return json.loads(shown.stdout)["streams"][0]


class MotionTest(tool.ToolTest):

    def setUp(self):
        super().setUp()
        self.output.mkdir()

    def run_motion(self, video, *options):
        return self.tavix("motion", video, "--output", self.output, *options)

    def assert_works(self, video, frames, width, height, *options, stderr=""):
        run = self.run_motion(video, *options)
        self.assertEqual((run.returncode, run.stderr), (0, stderr))
        counted = "1 frame" if frames == 1 else f"{frames} frames"
        self.assertIn(f"{counted} of {width} x {height} pixels\n", run.stdout)
        for step in "decode", "convert", "difference", "statistics", "amplify", "blend", "encode", "all":
            self.assertRegex(run.stdout, rf"\n{step}[^\d\n]* +\d+\.\d+ +\d+ +\d+\n")
        self.assertEqual(self.outputs(), OUTPUTS)
        video = video_stream(self.output / "motion.mp4")
        self.assertEqual(
            (video["codec_name"], video["pix_fmt"], video["width"], video["height"],
             int(video["nb_read_frames"])),
            ("h264", "yuv420p", width & ~1, height & ~1, frames))
        self.assertEqual(video_stream(self.output / "contact-sheet.png")["codec_name"], "png")
        return video

    def assert_refuses(self, video, sentence, *options):
        self.refuses(sentence, "motion", video, "--output", self.output, *options)

    def assert_damaged(self, video, *options, status=1):
        """What can be decoded is written; how many frames of the 20 there are."""
        run = self.run_motion(video, *options)
        self.assertEqual(run.returncode, status)
        self.assertRegex(run.stderr, r"\Atavix motion: '.*' is damaged or cut: \d+ of its \d+ frames "
                                     r"could be decoded, \d+ (is|are) lost\n\Z")
        self.assertEqual(self.outputs(), OUTPUTS)
        shown = int(video_stream(self.output / "motion.mp4")["nb_read_frames"])
        self.assertIn(f": {shown} of its ", run.stderr)
        return shown


class Videos(MotionTest):

    def test_h264(self):
        made = self.assert_works(make_video(self.folder / "clip.mp4"), 10, 64, 48)
        self.assertAlmostEqual(float(made["duration"]), 1.0, places=3)

    def test_other_encodings(self):
        encodings = {
            "avi": ("-c:v", "mpeg4", "-bf", "2"),
            "mkv": ("-c:v", "ffv1", "-pix_fmt", "yuv422p10le"),
            "webm": ("-c:v", "libvpx-vp9", "-cpu-used", "8"),
            "ts": ("-c:v", "mpeg2video"),
            "gif": (),
            "264": ("-c:v", "libx264"),
        }
        for extension, encoding in encodings.items():
            with self.subTest(extension):
                video = make_video(self.folder / f"clip.{extension}", *encoding or ("-c:v", "gif"))
                self.assert_works(video, 10, 64, 48)

    def test_sizes(self):
        for width, height in (67, 45), (3, 2), (2, 2), (2, 90), (1920, 16):
            with self.subTest(width=width, height=height):
                video = make_video(self.folder / "clip.mkv", *LOSSLESS, size=f"{width}x{height}",
                                   frames=2)
                self.assert_works(video, 2, width, height)

    def test_one_frame(self):
        self.assert_works(make_video(self.folder / "clip.mp4", frames=1), 1, 64, 48)
        self.assertLess(max(pixels(self.output / "motion.mp4")), 4)

    def test_many_frames(self):
        self.assert_works(make_video(self.folder / "clip.mp4", frames=90), 90, 64, 48)

    def test_name_with_a_colon(self):
        made = make_video(self.folder / "clip.mp4")
        self.assert_works(made.rename(self.folder / "http: clip.mp4"), 10, 64, 48)

    def test_results_replace_earlier_ones(self):
        for frames in 3, 5:
            self.assert_works(make_video(self.folder / "clip.mp4", frames=frames), frames, 64, 48)

    def test_output_folder_is_made(self):
        self.output.rmdir()
        self.output = self.output / "deeper"
        self.output.parent.mkdir()
        self.assert_works(make_video(self.folder / "clip.mp4"), 10, 64, 48)

    def test_uneven_times(self):
        video = make_video(self.folder / "clip.mkv", "-c:v", "libx264", "-vf",
                           "setpts=(N*N+70)/10/TB", "-vsync", "vfr")
        made = self.assert_works(video, 10, 64, 48)
        self.assertAlmostEqual(float(made["start_time"]), 0, places=2)
        self.assertAlmostEqual(float(made["duration"]), 8.2, places=2)

    def test_arithmetic(self):
        """Two flat frames, one grey level 100 and one 110."""
        width, height = 64, 48
        frames = b"".join(bytes([level]) * (3 * width * height) for level in (100, 110))
        video = self.folder / "clip.mkv"
        ffmpeg("-f", "rawvideo", "-pix_fmt", "rgb24", "-s", f"{width}x{height}", "-i", "-",
               *LOSSLESS, video, input=frames)
        self.assert_works(video, 2, width, height)

        motion = pixels(self.output / "motion.mp4")
        first, second = motion[:len(motion) // 2], motion[len(motion) // 2:]
        self.assertLess(max(first), 4)  # a difference to itself
        for channel, expected in enumerate((60, 40, 60)):  # H.264 is not exact
            self.assertLessEqual(max(abs(v - expected) for v in second[channel::3]), 4)

        sheet = pixels(self.output / "contact-sheet.png")
        colours = list(zip(sheet[0::3], sheet[1::3], sheet[2::3]))
        for colour in (100,) * 3, (110,) * 3, (255,) * 3, (0,) * 3, (106,) * 3:
            self.assertGreaterEqual(colours.count(colour), 320 * 240, colour)


class BadFiles(MotionTest):

    def whole(self, extension="mp4"):
        """20 frames; every fifth is a key frame."""
        clip = make_video(self.folder / f"whole.{extension}", *H264, "-g", "5",
                          *(["-movflags", "+faststart"] if extension == "mp4" else []),
                          size="320x240", frames=20)
        return clip.read_bytes()

    def test_missing(self):
        self.assert_refuses(self.folder / "none.mp4", "'.*none.mp4' does not exist")

    def test_empty(self):
        self.assert_refuses(self.file("empty.mp4", b""), "'.*empty.mp4' is empty")

    def test_directory(self):
        self.assert_refuses(self.folder, "'.*' is a directory, not a video file")

    def test_text(self):
        for name in "words.txt", "words.mp4", "words":
            with self.subTest(name):
                self.assert_refuses(self.file(name, b"Not a video, but words.\n" * 50),
                                    f"'.*{name}' (holds no video|is not a video file.*)")

    def test_noise(self):
        noise = bytes((i * i * 31 + i // 7 * 17) % 251 for i in range(50000))
        self.assert_refuses(self.file("noise.mp4", noise), "'.*noise.mp4' .*")

    def test_sound(self):
        sound = self.folder / "sound.wav"
        ffmpeg("-f", "lavfi", "-i", "sine", "-t", "0.1", sound)
        self.assert_refuses(sound, "'.*sound.wav' holds no video")

    def test_sound_with_a_cover(self):
        sound = self.folder / "sound.flac"
        ffmpeg("-f", "lavfi", "-i", "sine", "-f", "lavfi", "-i", "testsrc2=s=64x64", "-t", "0.1",
               "-frames:v", "1", "-c:v", "png", "-disposition:v", "attached_pic", sound)
        self.assert_refuses(sound, "'.*sound.flac' holds no video")

    def test_index_missing(self):
        plain = make_video(self.folder / "plain.mp4").read_bytes()
        self.assert_refuses(self.file("cut.mp4", plain[:plain.index(b"moov")]),
                            "'.*cut.mp4' is not a video file, or is damaged")

    def test_end_missing(self):
        for extension in "mp4", "mkv", "ts", "avi":
            with self.subTest(extension):
                whole = self.whole(extension)
                cut = self.file(f"cut.{extension}", whole[:len(whole) * 3 // 5 + 1])
                self.assertTrue(5 < self.assert_damaged(cut) < 20)
                self.assertTrue(5 < self.assert_damaged(cut, "--skip-damaged", status=0) < 20)

    def test_lost_frames_are_counted(self):
        """Exactly, where the file says how many it has."""
        for extension in "mp4", "mkv":
            whole = self.whole(extension)
            cut = self.file(f"cut.{extension}", whole[:len(whole) // 2])
            run = self.run_motion(cut, "--json", "--skip-damaged")
            result = json.loads(run.stdout)
            self.assertEqual(result["frames"] + result["lost"], 20)

    def test_nothing_but_a_header(self):
        whole = self.whole()
        self.assert_refuses(self.file("no_data.mp4", whole[:whole.index(b"mdat") + 4]),
                            "'.*no_data.mp4' .*")
        self.assert_refuses(self.file("start.mkv", self.whole("mkv")[:200]),
                            "'.*start.mkv' is not a video file, or is damaged")

    def test_middle_damaged(self):
        damaged = bytearray(self.whole())
        for i in range(len(damaged) // 2, len(damaged) * 3 // 4):
            damaged[i] = i * 37 % 256
        damaged = self.file("bad.mp4", damaged)
        self.assertTrue(5 < self.assert_damaged(damaged) < 20)
        self.assertTrue(5 < self.assert_damaged(damaged, "--skip-damaged", status=0) < 20)

    def test_everything_damaged(self):
        whole = self.whole()
        start = whole.index(b"mdat") + 4
        damaged = self.file("bad.mp4", whole[:start] + bytes(len(whole) - start))
        self.assert_refuses(damaged, "'.*bad.mp4' .*")
        self.assert_refuses(damaged, "'.*bad.mp4' .*", "--skip-damaged")

    def test_earlier_results_survive(self):
        self.assertEqual(self.run_motion(self.file("clip.mp4", self.whole())).returncode, 0)
        self.assert_refuses(self.folder / "none.mp4", "'.*none.mp4' does not exist")
        self.assertEqual(self.outputs(), OUTPUTS)


class BadOutput(MotionTest):

    def test_file_in_the_way(self):
        self.output.rmdir()
        self.output.write_text("a file")
        run = self.run_motion(make_video(self.folder / "clip.mp4"))
        self.assertEqual(run.returncode, 1)
        self.assertRegex(run.stderr, r"\Atavix motion: cannot write to '.*output': .*\n\Z")
        self.assertEqual(self.output.read_text(), "a file")

    def test_folder_that_takes_no_files(self):
        self.output = tool.pathlib.Path("/proc/self")
        run = self.run_motion(make_video(self.folder / "clip.mp4"))
        self.assertEqual(run.returncode, 1)
        self.assertRegex(run.stderr, r"\Atavix motion: cannot write '/proc/self/motion.mp4': .*\n\Z")

    def test_full_disk(self):
        video = make_video(self.folder / "clip.mp4", size="320x240", frames=30)
        command = f'ulimit -f 20; trap "" XFSZ; exec "{tool.TAVIX}" motion "{video}" --output "{self.output}"'
        run = subprocess.run(["bash", "-c", command], capture_output=True, text=True)
        self.assertEqual(run.returncode, 1)
        self.assertRegex(run.stderr, r"\Atavix motion: cannot write '.*motion.mp4': .*\n\Z")
        self.assertEqual(self.outputs(), [])

    def test_input_is_kept(self):
        video = make_video(self.output / "motion.mp4")
        content = video.read_bytes()
        self.assert_refuses(video, "'.*motion.mp4' would be overwritten")
        self.assertEqual(video.read_bytes(), content)

    def test_picture_too_small_for_the_encoder(self):
        video = make_video(self.folder / "clip.mkv", *LOSSLESS, size="1x9")
        self.assert_refuses(video, "cannot write '.*motion.mp4': .* 1 x 9.*")

    def test_interrupted(self):
        clip = make_video(self.folder / "clip.avi", "-c:v", "mjpeg", size="1280x720", frames=100)
        video = self.folder / "long.avi"  # than any machine needs to send the signal
        ffmpeg("-stream_loop", "49", "-i", clip, "-c", "copy", video)
        run = subprocess.Popen([tool.TAVIX, "motion", video, "--output", self.output], stderr=subprocess.PIPE,
                               stdout=subprocess.PIPE, text=True)
        for _ in range(1000):
            if self.outputs():
                break
            time.sleep(0.01)
        run.send_signal(signal.SIGINT)
        _, stderr = run.communicate(timeout=60)
        self.assertEqual((run.returncode, stderr), (130, "tavix motion: interrupted\n"))
        self.assertEqual(self.outputs(), [])

    def test_command_line(self):
        for arguments in [], ["a.mp4", "b.mp4"], ["--unknown"]:
            self.misuses("motion", *arguments)
        self.works("motion", "--help")


if __name__ == "__main__":
    tool.main()
