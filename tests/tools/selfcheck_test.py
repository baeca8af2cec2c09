#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""tavix selfcheck: that all implementations agree here, and that it finds a wrong bit."""
import json

import tool


class Selfcheck(tool.ToolTest):

    def test_this_machine(self):
        shown = self.json("selfcheck")
        self.assertEqual(shown["first_difference"], None)
        self.assertGreater(shown["cases"], 400)
        self.assertLess(shown["seconds"], 10)
        self.assertEqual(shown["implementations"][0], "portable")
        vector = "avx2" in self.json("info")["features"]
        self.assertEqual(len(shown["implementations"]) > 1, vector)
        self.assertIn(f"{shown['cases']} cases agree\n", self.works("selfcheck"))

    def test_fault(self):
        run = self.tavix("selfcheck", "--fault", "--json")
        if "avx2" not in self.json("info")["features"]:
            return  # nothing to compare with
        self.assertEqual(run.returncode, 1)
        self.assertRegex(run.stderr, r"\Atavix selfcheck: .*: element \d+ is [\d.]+ in the .* "
                                     r"implementation, [\d.]+ in the .* one\n\Z")
        first = json.loads(run.stdout)["first_difference"]
        self.assertIn(first["operation"], run.stderr)


if __name__ == "__main__":
    tool.main()
