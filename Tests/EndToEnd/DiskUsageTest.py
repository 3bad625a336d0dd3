#!/usr/bin/env python3
"""The mode that lists the largest folders: its sums, its options, and what is printed where."""

import os
import subprocess
import unittest
from pathlib import Path

from harness import Outcome, ProgramTest, Stream


def row(size: str, files: int, path: Path | bytes) -> bytes:
    return f"{size:>10}  {files:>8} files  ".encode() + os.fsencode(path) + b"\n"


class DiskUsageTest(ProgramTest):
    def usage(self, *arguments: str | bytes | Path, **how: object) -> Outcome:
        return self.run_program("--du", *arguments, **how)  # type: ignore[arg-type]

    def assert_printed(self, outcome: Outcome, *rows: bytes) -> None:
        self.assertEqual(outcome, Outcome(0, b"".join(rows), b""))


class Sums(DiskUsageTest):
    def setUp(self) -> None:
        super().setUp()
        self.write("a/large", b"x" * 2_000_000)
        self.write("a/b/small", b"x" * 999)
        self.write("c/one", b"x")
        (self.root / "d").mkdir()
        self.rows = [
            row("2 MB", 3, self.root),
            row("2 MB", 2, self.root / "a"),
            row("999 bytes", 1, self.root / "a/b"),
            row("1 byte", 1, self.root / "c"),
            row("Zero KB", 0, self.root / "d"),
        ]

    def test_largest_first(self) -> None:
        for arguments in [(self.root,), ("--in", self.root), ("--", self.root), (f"{self.root}/",)]:
            with self.subTest(arguments=arguments):
                self.assert_printed(self.usage(*arguments), *self.rows)
        self.assert_printed(self.usage("a", cwd=self.root), *self.rows[1:3])

    def test_limit(self) -> None:
        for value, count in [("2", 2), ("0", 5), ("-1", 5), ("99", 5)]:
            with self.subTest(value=value):
                self.assert_printed(self.usage(self.root, "--limit", value), *self.rows[:count])
        for number in range(30):
            (self.root / f"e{number}").mkdir()
        self.assertEqual(self.usage(self.root).out.count(b"\n"), 20)

    def test_what_cannot_be_listed_is_empty(self) -> None:
        self.assert_printed(self.usage(self.root / "nowhere"))
        self.assert_printed(self.usage(self.write("file")))


class PeerSums(DiskUsageTest):
    def test_sums_are_those_of_du(self) -> None:
        for number in range(2, 30):
            self.write("/".join(f"{number:b}") + "/file", b"x" * number)
        (self.root / "link").symlink_to("1/file")
        own = {os.fsencode(base): os.lstat(base).st_size for base, _, _ in os.walk(self.root)}
        expected = {}
        for line in subprocess.check_output(["du", "-b", self.root]).splitlines():
            total, folder = line.split(b"\t", 1)
            # du counts the folders themselves.
            folders = sum(size for path, size in own.items() if (path + b"/").startswith(folder + b"/"))
            expected[folder] = b"%d bytes" % (int(total) - folders)
        outcome = self.usage(self.root, "--limit", "0")
        found = {}
        for line in outcome.out.splitlines():
            size, _, folder = line.rpartition(b" files  ")
            found[folder] = size[:10].strip()
        self.assertEqual(found, expected)


class Output(DiskUsageTest):
    NAME, SHOWN = b"new\nline \x1b[31m \xff", b"new\\nline \\x1B[31m \xef\xbf\xbd"

    def test_a_terminal_gets_colour_and_text_that_cannot_act_on_it(self) -> None:
        self.write(self.NAME + b"/file", b"12")
        folder = os.fsencode(self.root) + b"/" + self.NAME
        shown = os.fsencode(self.root) + b"/" + self.SHOWN
        accent, dim, reset = b"\x1b[38;2;207;58;78m", b"\x1b[2m", b"\x1b[0m"
        self.assert_printed(self.usage(folder), row("2 bytes", 1, folder))
        styled = accent + b"   2 bytes" + reset + b"         1 files  ".rjust(18) + dim + shown + reset + b"\n"
        self.assert_printed(self.usage(folder, out=Stream.TERMINAL), styled)
        plain = self.usage(folder, out=Stream.TERMINAL, variables={"NO_COLOR": "1"})
        self.assert_printed(plain, row("2 bytes", 1, shown))


if __name__ == "__main__":
    unittest.main()
