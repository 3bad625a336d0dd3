#!/usr/bin/env python3
"""The README's examples print what it says they print."""

import os
import re
import shlex
import unittest
from pathlib import Path

from harness import ProgramTest

PROJECT = Path(__file__).parent.parent.parent
# A command among these sources, and the lines behind it up to an empty one.
EXAMPLE = re.compile(r"^    \$ \./run (--search --in Sources .*)\n((?:    .*\n)+)", re.MULTILINE)


class Examples(ProgramTest):
    def test_among_the_sources(self) -> None:
        examples = EXAMPLE.findall((PROJECT / "README.md").read_text(encoding="utf-8"))
        self.assertGreaterEqual(len(examples), 3)
        for command, printed in examples:
            with self.subTest(command=command):
                outcome = self.run_program(*shlex.split(command, comments=True), cwd=PROJECT)
                text = os.fsdecode(outcome.out + outcome.err).replace(str(PROJECT), "/home/you/dovra")
                self.assertEqual(text, printed.replace("    ", ""))


if __name__ == "__main__":
    unittest.main()
