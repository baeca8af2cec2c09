#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""The program tavix as a whole: help, version, info, manual page, completion."""
import contextlib
import os
import pty
import re
import subprocess

import tool
from tool import make_video


class Program(tool.ToolTest):

    def commands(self):
        shown = self.works("--help")
        return re.findall(r"^  ([a-z]+) ", shown[shown.index("Subcommands:"):], re.MULTILINE)

    def options(self, command):
        return set(re.findall(r"--[a-z-]+", self.works(command, "--help"))) - {"--help"}

    def test_help(self):
        self.assertLessEqual({"motion", "gallery", "convert", "tensors", "stats", "diff", "info"},
                             set(self.commands()))
        for command in self.commands():
            self.assertIn("--json", self.options(command))

    def test_misuse(self):
        self.misuses()
        self.misuses("nothing")

    def test_version(self):
        self.assertRegex(self.works("--version"), r"\Atavix \d+\.\d+\.\d+\n\Z")

    def test_full_disk(self):
        """What cannot be printed is said."""
        for arguments in ["--help"], ["--version"], ["info"], ["selfcheck"], ["info", "--json"]:
            with self.subTest(arguments), open("/dev/full", "w", encoding="utf-8") as full:
                run = subprocess.run([tool.TAVIX, *arguments], stdout=full, stderr=subprocess.PIPE, text=True,
                                     check=False)
                self.assertEqual(run.returncode, 1)
                self.assertRegex(run.stderr, r"\Atavix[ a-z]*: cannot write the (help|result)\n\Z")

    def test_info(self):
        shown = self.json("info")
        self.assertIn(shown["implementation"], ("vector (AVX2 or wider)", "portable"))
        self.assertEqual(shown["implementation"] != "portable", "avx2" in shown["features"])
        self.assertTrue(1 <= shown["workers"] <= 8)
        for library in "tavix_video_common_cpu", "OpenCV", "oneTBB", "FFmpeg":
            self.assertRegex(shown["versions"][library], r"\d+\.\d+")
            self.assertIn(shown["versions"][library], self.works("info"))

    def test_progress_on_a_terminal(self):
        """A bar with rate and time left, which leaves an empty line behind."""
        video = make_video(self.folder / "clip.avi", "-c:v", "mjpeg", size="1280x720", frames=60)
        master, slave = pty.openpty()
        run = subprocess.Popen([tool.TAVIX, "stats", video, "--output", self.output], stderr=slave,
                               stdout=subprocess.DEVNULL)
        os.close(slave)
        shown = b""
        with contextlib.suppress(OSError):  # the end of a terminal
            while part := os.read(master, 4096):
                shown += part
        os.close(master)
        self.assertEqual(run.wait(), 0)
        self.assertRegex(shown.decode(), r"\r\x1b\[K\[=* *\] +\d+ %  \d+ of 60 frames, [\d.]+ frames/s, "
                                         r"\d+:\d\d left")
        self.assertTrue(shown.endswith(b"\r\x1b[K"))

    def test_manual_page(self):
        """Every sub-command and option, and nothing that man complains about."""
        page = self.works("--man")
        for columns in 60, 80, 200:
            run = subprocess.run(["groff", "-man", "-Tutf8", "-P-cbou", "-ww", f"-rLL={columns}n"], input=page,
                                 text=True, capture_output=True, check=True)
            self.assertEqual(run.stderr, "")
        for command in self.commands():
            self.assertIn(f"tavix {command}", run.stdout)
        plain = page.replace("\\-", "-")
        self.assertIn("\\fB--version\\fR", plain)
        for command in self.commands():
            for option in self.options(command):
                self.assertIn(f"\\fB{option}\\fR", plain)

    def complete(self, *words):
        """What bash offers for the last word."""
        script = self.folder / "completion"
        script.write_text(self.works("--bash-completion"))
        line = " ".join(f"'{word}'" for word in words)
        run = subprocess.run(
            ["bash", "-c", f". {script}; COMP_WORDS=({line}); COMP_CWORD={len(words) - 1}; _tavix; "
                           'printf "%s\\n" "${COMPREPLY[@]}"'],
            capture_output=True, text=True, check=True)
        self.assertEqual(run.stderr, "")
        return run.stdout.split()

    def test_completion(self):
        self.assertEqual(self.complete("tavix", "mo"), ["motion"])
        self.assertLessEqual(set(self.commands()), set(self.complete("tavix", "")))
        for command in self.commands():
            self.assertEqual(set(self.complete("tavix", command, "--")) - {"--help"},
                             self.options(command))
        self.assertEqual(self.complete("tavix", "motion", "vid"), [])  # files are bash's business
        self.assertEqual(self.complete("tavix", "tensors", "clip.mp4", "--layout", ""), ["nchw", "nhwc"])
        self.assertEqual(self.complete("tavix", "convert", "in", "out", "--to", "gray"), ["gray8", "grayf32"])
        self.assertEqual(self.complete("tavix", "tensors", "clip.mp4", "--size", ""), [])
        self.assertEqual(self.complete("tavix", "bench", "warp"), ["warp-affine", "warp-perspective"])


if __name__ == "__main__":
    tool.main()
