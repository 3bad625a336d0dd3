#!/usr/bin/env python3
"""The mode that lists equal files: its sets, its options, what is printed where, and names of any bytes."""

import os
import re
import unittest
from pathlib import Path

from harness import Outcome, ProgramTest, Stream

ACCENT, RESET = b"\x1b[38;2;207;58;78m", b"\x1b[0m"


class DuplicatesTest(ProgramTest):
    def duplicates(self, *arguments: str | bytes | Path, **how: object) -> Outcome:
        return self.run_program("--duplicates", "--in", self.root, *arguments, **how)  # type: ignore[arg-type]

    def write_copies(self, content: bytes, *names: str | bytes) -> list[bytes]:
        return sorted(os.fsencode(self.write(name, content)) for name in names)

    def sets_of(self, outcome: Outcome) -> list[tuple[bytes, list[bytes]]]:
        """Header and sorted paths of each set."""
        self.assertEqual(outcome.status, 0, outcome)
        blocks = outcome.out.split(b"\n\n")
        self.assertEqual(blocks.pop(), b"")
        return [(lines[0], sorted(lines[1:])) for lines in (block.split(b"\n") for block in blocks)]


class Sets(DuplicatesTest):
    def setUp(self) -> None:
        super().setUp()
        self.large = self.write_copies(b"x" * 1_500_000, "large.iso", "folder/large.txt")
        self.small = self.write_copies(b"small", "a.txt", "folder/b.txt", "c.log")
        self.write("other", b"Small")
        self.write("empty1")
        self.write("empty2")

    def test_largest_first_each_with_a_header(self) -> None:
        outcome = self.duplicates()
        self.assertEqual(
            self.sets_of(outcome),
            [(b"2 copies, 1.5 MB each ---", self.large), (b"3 copies, 5 bytes each ---", self.small)],
        )
        self.assertEqual(outcome.err, b"2 duplicate set(s); 1.5 MB reclaimable\n")

    def test_a_query_narrows_the_candidates(self) -> None:
        for words in [(".txt", "!large"), ("--", ".txt", "!large"), ("dupe:content", "ext:txt", "!large")]:
            with self.subTest(words=words):
                outcome = self.duplicates(*words)
                copies = [path for path in self.small if path.endswith(b".txt")]
                self.assertEqual(self.sets_of(outcome), [(b"2 copies, 5 bytes each ---", copies)])
                self.assertEqual(outcome.err, b"1 duplicate set(s); 5 bytes reclaimable\n")

    def test_limit(self) -> None:
        for value, count in [("1", 1), ("9", 2), ("0", 2)]:
            for option in ["--limit", "-n"]:
                with self.subTest(option=option, value=value):
                    outcome = self.duplicates(option, value)
                    self.assertEqual(len(self.sets_of(outcome)), count)
                    self.assertEqual(outcome.err, b"2 duplicate set(s); 1.5 MB reclaimable\n")

    def test_nothing_found(self) -> None:
        outcome = self.duplicates("other")
        self.assertEqual(outcome, Outcome(0, b"", b"0 duplicate set(s); Zero KB reclaimable\n"))

    def test_a_search_sets_them_side_by_side(self) -> None:
        outcome = self.run_program("--search", "-i", self.root, "dupe:content", "--sort", "path")
        lines = outcome.out.splitlines()
        self.assertEqual([sorted(lines[:2]), sorted(lines[2:])], [self.large, self.small])
        self.assertEqual(outcome.err, b"5 result(s)\n")


class Files(DuplicatesTest):
    def test_a_file_is_one_copy_whatever_leads_to_it(self) -> None:
        self.write_copies(b"content", "a", "b")
        self.write("closed", b"content").chmod(0)
        os.mkfifo(self.root / "pipe")
        for number in range(3):
            (self.root / f"hard{number}").hardlink_to(self.root / "a")
        (self.root / "soft").symlink_to("a")
        (self.root / "seven77").symlink_to("1234567")
        outcome = self.duplicates(unprivileged=True)
        summary, further = outcome.err.splitlines()
        self.assertEqual(summary, b"1 duplicate set(s); 7 bytes reclaimable")
        self.assertTrue(further.startswith(b"3 "), further)
        [(header, copies)] = self.sets_of(outcome)
        self.assertEqual(header, b"2 copies, 7 bytes each ---")
        self.assertEqual(len({os.stat(path).st_ino for path in copies}), 2)
        (self.root / "closed").unlink()
        found = self.run_program("--search", "--in", self.root, "dupe:content").out
        self.assertEqual(sorted(found.splitlines()), copies)


class Output(DuplicatesTest):
    NAMES = [b"new\nline", b"\x1b[31mred", b'"quoted"', b"invalid \xff"]
    SHOWN = [rb"new\nline", rb"\x1B[31mred", b'"quoted"', b"invalid \xef\xbf\xbd"]

    def test_a_terminal_gets_colour_and_text_that_cannot_act_on_it(self) -> None:
        self.write_copies(b"content", *self.NAMES)
        expected = sorted(os.fsencode(self.root) + b"/" + name for name in self.SHOWN)
        header = b"4 copies, 7 bytes each ---"
        outcome = self.duplicates(out=Stream.TERMINAL)
        self.assertEqual(self.sets_of(outcome), [(ACCENT + header + RESET, expected)])
        outcome = self.duplicates(out=Stream.TERMINAL, variables={"NO_COLOR": "1"})
        self.assertEqual(self.sets_of(outcome), [(header, expected)])

    def test_print0_has_paths_only_and_an_empty_one_behind_each_set(self) -> None:
        first = self.write_copies(b"content", *self.NAMES)
        second = self.write_copies(b"more", "a", "b")
        for option in ["--print0", "-0"]:
            for stream in [Stream.PIPE, Stream.TERMINAL]:
                sets = self.duplicates(option, out=stream).out.split(b"\0\0")
                self.assertEqual([sorted(part.split(b"\0")) for part in sets], [first, second, [b""]])

    def test_progress_is_gone_when_it_ends(self) -> None:
        self.write_copies(b"content", "a", "b")
        outcome = self.duplicates(err=Stream.TERMINAL)
        *rewritten, last = re.split(rb"\r\x1b\[K", outcome.err)
        self.assertEqual(last, b"\x1b[1m1\x1b[0m duplicate set(s); 7 bytes reclaimable\n")
        self.assertGreaterEqual(len(rewritten), 2)
        for line in rewritten[1:]:
            self.assertRegex(line, rb"\A\d+ of \d+ files, [^\n]+ of [^\n]+ compared\Z")


if __name__ == "__main__":
    unittest.main()
