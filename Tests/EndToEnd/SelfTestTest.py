#!/usr/bin/env python3
"""The self test: passes on sound trees whatever their names, and fails where it can check nothing."""

import shutil
import unittest
from pathlib import Path
from random import Random

from harness import ProgramTest
from treeWork import DEEP, TreeWork, dig

PROJECT = Path(__file__).parents[2]


class SelfTest(ProgramTest):
    def assert_passes(self, says: str, *arguments: str | Path) -> None:
        outcome = self.run_program("--selftest", *arguments)
        self.assertEqual((outcome.status, outcome.err), (0, b""), outcome.out)
        self.assertRegex(outcome.out, rb"\npassed in [0-9.]+ s\n\Z")
        self.assertIn(says.encode(), outcome.out)

    def test_sound_trees_pass(self) -> None:
        self.assert_passes("scan: 0 entries in 1 folders")
        for seed in ("1", "2"):
            folder = self.root / seed
            folder.mkdir()
            work = TreeWork(folder, Random(seed), 250)
            while (entries := sum(1 for _ in work.entries())) < 200:
                work.step()
            shutil.rmtree(folder / DEEP, ignore_errors=True)
            self.assert_passes(f"scan: {entries} entries", folder, seed)
        self.assert_passes("scan:", PROJECT / "Sources/Dovra/Diagnostics")
        (self.root / "deep").mkdir()
        dig(self.root / "deep", "level" * 20, 100)
        self.assert_passes("none on paths", self.root / "deep")

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
