#!/usr/bin/env python3
"""The mode that lists equal files: its sets, its options, what is printed where, and names of any bytes."""

import os
import re
import unittest
from pathlib import Path

from harness import Outcome, ProgramTest, Stream

# How a terminal shows a header.
STYLED = b"\x1b[38;2;207;58;78m%s\x1b[0m"


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

    def test_sets_are_listed_largest_first_as_the_options_tell(self) -> None:
        large = self.write_copies(b"x" * 1_500_000, "large.iso", "folder/large.txt")
        small = self.write_copies(b"small", "a.txt", "folder/b.txt", "c.log")
        self.write("other", b"Small")
        for name in ["empty1", "empty2"]:
            self.write(name)
        both = [(b"2 copies, 1.5 MB each ---", large), (b"3 copies, 5 bytes each ---", small)]
        texts = [(b"2 copies, 5 bytes each ---", [path for path in small if path.endswith(b".txt")])]
        of_both = b"2 duplicate set(s); 1.5 MB reclaimable\n"
        of_texts = b"1 duplicate set(s); 5 bytes reclaimable\n"
        for line, sets, summary in [
            ("", both, of_both),
            ("--limit 1", both[:1], of_both),
            ("-n 9", both, of_both),
            ("-n 0", both, of_both),
            (".txt !large", texts, of_texts),
            ("-- .txt !large", texts, of_texts),
            ("dupe:content ext:txt !large", texts, of_texts),
            ("other", [], b"0 duplicate set(s); Zero KB reclaimable\n"),
        ]:
            with self.subTest(line=line):
                outcome = self.duplicates(*line.split())
                self.assertEqual(outcome.err, summary)
                self.assertEqual(self.sets_of(outcome) if sets else outcome.out, sets or b"")
        # A search sets them side by side.
        outcome = self.run_program("--search", "-i", self.root, "dupe:content", "--sort", "path")
        paths = outcome.out.splitlines()
        self.assertEqual([sorted(paths[:2]), sorted(paths[2:])], [large, small])
        self.assertEqual(outcome.err, b"5 result(s)\n")

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

    def test_what_an_expression_gave_up_is_told(self) -> None:
        self.write_copies(b"content", "a" * 60, "b")
        told = b"1 name(s) took the regular expression too many steps and count as no match\n"
        self.assertTrue(self.duplicates(r"regex:(.*)*\d$").err.endswith(told))

    def test_what_is_printed_where(self) -> None:
        first = self.write_copies(b"content", b"new\nline", b"\x1b[31mred", b'"quoted"', b"invalid \xff")
        names = [rb"new\nline", rb"\x1B[31mred", b'"quoted"', b"invalid \xef\xbf\xbd"]
        shown = sorted(bytes(self.root) + b"/" + name for name in names)
        header = b"4 copies, 7 bytes each ---"
        for variables, expected in [({}, STYLED % header), ({"NO_COLOR": "1"}, header)]:
            outcome = self.duplicates(out=Stream.TERMINAL, variables=variables)
            self.assertEqual(self.sets_of(outcome), [(expected, shown)])
        # Progress is gone at the end.
        *rewritten, last = re.split(rb"\r\x1b\[K", self.duplicates(err=Stream.TERMINAL).err)
        self.assertEqual(last, b"\x1b[1m1\x1b[0m duplicate set(s); 21 bytes reclaimable\n")
        self.assertGreaterEqual(len(rewritten), 2)
        for line in rewritten[1:]:
            self.assertRegex(line, rb"\A\d+ of \d+ files, [^\n]+ of [^\n]+ compared\Z")
        # Paths only, and an empty one behind each set.
        second = self.write_copies(b"more", "a", "b")
        for option, stream in [("--print0", Stream.PIPE), ("-0", Stream.TERMINAL)]:
            sets = self.duplicates(option, out=stream).out.split(b"\0\0")
            self.assertEqual([sorted(part.split(b"\0")) for part in sets], [first, second, [b""]])


if __name__ == "__main__":
    unittest.main()
