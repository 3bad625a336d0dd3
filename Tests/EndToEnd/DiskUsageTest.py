#!/usr/bin/env python3
"""The mode that lists the largest folders: its sums, its options, and what is printed where."""

import os
import unittest
from pathlib import Path

from harness import Outcome, ProgramTest, Stream


def row(size: str, files: int, path: Path | bytes) -> bytes:
    return f"{size:>10}  {files:>8} files  ".encode() + os.fsencode(path) + b"\n"


class DiskUsageTest(ProgramTest):
    def usage(self, *arguments: str | bytes | Path, **how: object) -> Outcome:
        return self.run_program("--du", *arguments, **how)  # type: ignore[arg-type]

    def test_folders_are_listed_largest_first_as_the_options_tell(self) -> None:
        for name, size in [("a/large", 2_000_000), ("a/b/small", 999), ("c/one", 1)]:
            self.write(name, b"x" * size)
        (self.root / "d").mkdir()
        rows = [
            row("2 MB", 3, self.root),
            row("2 MB", 2, self.root / "a"),
            row("999 bytes", 1, self.root / "a/b"),
            row("1 byte", 1, self.root / "c"),
            row("Zero KB", 0, self.root / "d"),
        ]
        for line, expected in [
            ("ROOT", rows),
            ("--in ROOT", rows),
            ("-- ROOT///", rows),
            ("a", rows[1:3]),
            ("ROOT --limit 2", rows[:2]),
            ("ROOT --limit 0", rows),
            ("--limit -1 ROOT", rows),
            ("ROOT/nowhere", []),
            ("ROOT/c/one", []),
        ]:
            with self.subTest(line=line):
                outcome = self.usage(*line.replace("ROOT", str(self.root)).split())
                self.assertEqual(outcome, Outcome(0, b"".join(expected), b""))
        for number in range(30):
            (self.root / f"e{number}").mkdir()
        self.assertEqual(self.usage(self.root).out.count(b"\n"), 20)

    def test_a_terminal_gets_colour_and_text_that_cannot_act_on_it(self) -> None:
        folder = bytes(self.write(b"new\nline \x1b[31m \xff/file", b"12").parent)
        shown = bytes(self.root) + b"/new\\nline \\x1B[31m \xef\xbf\xbd"
        accent, dim, reset = b"\x1b[38;2;207;58;78m", b"\x1b[2m", b"\x1b[0m"
        styled = accent + b"   2 bytes" + reset + b"         1 files  ".rjust(18) + dim + shown + reset + b"\n"
        for stream, variables, expected in [
            (Stream.PIPE, {}, row("2 bytes", 1, folder)),
            (Stream.TERMINAL, {}, styled),
            (Stream.TERMINAL, {"NO_COLOR": "1"}, row("2 bytes", 1, shown)),
        ]:
            self.assertEqual(self.usage(folder, out=stream, variables=variables), Outcome(0, expected, b""))


if __name__ == "__main__":
    unittest.main()
