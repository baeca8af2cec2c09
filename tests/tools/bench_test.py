#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""tavix bench: a ratio for each operation, and no time."""
import tool


class Bench(tool.ToolTest):

    def test_all(self):
        shown = self.json("bench", "--seconds", 0.01, "--width", 64, "--height", 48)
        self.assertEqual((shown["width"], shown["height"]), (64, 48))
        self.assertLessEqual({"add", "sqrt", "mean", "bgr-i420", "tensor", "softmax", "resize", "blur", "split"},
                             set(shown["operations"]))
        for name, ratios in shown["operations"].items():
            self.assertGreater(ratios["opencv"], 0, name)
            self.assertGreater(ratios["memcpy"], 0, name)

    def test_some(self):
        text = self.works("bench", "mean", "add", "--seconds", 0.01, "--width", 64, "--height", 48)
        self.assertRegex(text, r"\nadd +\d+\.\d\d +\d+\.\d\d   add, .*\nmean +\d+\.\d\d +\d+\.\d\d   mean\n\Z")

    def test_command_line(self):
        for wrong in ["nothing"], ["add", "--width", "63"], ["add", "--height", "0"], \
                ["add", "--seconds", "0"]:
            with self.subTest(wrong):
                self.misuses("bench", *wrong)


if __name__ == "__main__":
    tool.main()
