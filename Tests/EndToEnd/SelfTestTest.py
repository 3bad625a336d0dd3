#!/usr/bin/env python3
"""The self test: passes on sound trees whatever their names, and fails where it can check nothing."""

import os
import subprocess
import sys
import unittest
from pathlib import Path

from harness import ProgramTest

SUPPORT = Path(__file__).parent.parent / "Support"
SOURCES = Path(__file__).parent.parent.parent / "Sources" / "Dovra" / "Diagnostics"


class SelfTest(ProgramTest):
    def assert_passes(self, folder: Path, *arguments: str) -> bytes:
        outcome = self.run_program("--selftest", folder, *arguments)
        self.assertEqual((outcome.status, outcome.err), (0, b""), outcome.out)
        self.assertRegex(outcome.out, rb"\npassed in [0-9.]+ s\n\Z")
        return outcome.out

    def test_odd_names(self) -> None:
        for seed in ("1", "2"):
            folder = self.root / seed
            subprocess.run([sys.executable, SUPPORT / "makeRandomTree.py", folder, seed, "250"], check=True)
            entries = sum(len(folders) + len(files) for _, folders, files in os.walk(os.fsencode(folder)))
            self.assertIn(b"scan: %d entries" % entries, self.assert_passes(folder, seed))
        self.assert_passes(SOURCES)

    def test_deep_tree(self) -> None:
        folder = os.open(self.root, os.O_RDONLY)
        for _ in range(100):
            os.mkdir("level" * 20, dir_fd=folder)
            below = os.open("level" * 20, os.O_RDONLY, dir_fd=folder)
            os.close(folder)
            folder = below
        os.close(folder)
        self.assertIn(b"none on paths", self.assert_passes(self.root))

    def test_empty_folder_is_the_current_one(self) -> None:
        outcome = self.run_program("--selftest", cwd=self.root)
        self.assertEqual(outcome.status, 0)
        self.assertIn(b"scan: 0 entries in 1 folders", outcome.out)

    def test_what_cannot_be_read_does_not_pass(self) -> None:
        locked = self.root / "locked"
        locked.mkdir(mode=0o000)
        self.addCleanup(locked.chmod, 0o700)
        for path in (self.root / "absent", self.write("file"), locked):
            outcome = self.run_program("--selftest", path, unprivileged=True)
            self.assertEqual((outcome.status, outcome.out), (1, b""))
            self.assert_one_line(outcome.err, str(path))


if __name__ == "__main__":
    unittest.main()
