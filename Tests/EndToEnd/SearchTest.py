#!/usr/bin/env python3
"""The command-line search: options, order, what is printed where, and names of any bytes."""

import os
import unittest
from pathlib import Path

from harness import Outcome, ProgramTest, Stream, lines


class SearchTest(ProgramTest):
    def search(self, *arguments: str | bytes | Path, **how: object) -> Outcome:
        return self.run_program("--search", "--in", self.root, *arguments, **how)  # type: ignore[arg-type]

    def assert_found(self, outcome: Outcome, paths: list[Path], total: int | None = None) -> None:
        """Checks the paths in their order, the count and the status."""
        count = len(paths) if total is None else total
        self.assertEqual(outcome, Outcome(0, lines(paths), b"%d result(s)\n" % count))

    def test_order(self) -> None:
        # name, size, modification time; no two names or paths are equal when folded.
        for name, size, time in [
            ("B.log", 30, 5000),
            ("a.log", 10, 9000),
            ("ab.log", 20, 1000),
            ("Zoo/C.log", 50, 3000),
            ("zone/_.log", 40, 7000),
            ("zone/\u00e9.log", 60, 2000),
        ]:
            os.utime(self.write(name, b"x" * size), (time, time))
        paths = list(self.root.rglob("*.log"))
        by_name = sorted(paths, key=lambda path: os.fsencode(path.name).lower())
        by_path = sorted(paths, key=lambda path: os.fsencode(path).lower())
        by_size = sorted(paths, key=lambda path: path.stat().st_size)
        by_date = sorted(paths, key=lambda path: path.stat().st_mtime)
        for expected, options in [
            (by_name, ["", "--sort name", "--sort NAME", "--sort nonsense", "--desc --asc"]),
            (by_name[::-1], ["--desc", "-d", "--asc --desc", "--desc --sort name"]),
            (by_path, ["--sort path", "--sort Path"]),
            (by_size, ["--sort size", "-s SIZE", "-s size --sort nonsense --trigram"]),
            (by_date, ["--sort date", "--sort modified", "--sort dm", "--sort Modified"]),
        ]:
            for option in options:
                with self.subTest(option=option):
                    self.assert_found(self.search(*option.split(), ".log"), expected)
        # The whole name, the stem, the start of the name, the start of a word, anywhere.
        best_first = [self.write(name) for name in ["mid", "mid.txt", "midway", "a mid", "amid"]]
        for word in ["relevance", "score", "rank"]:
            self.assert_found(self.search("mid", "--sort", word), best_first)
        self.assert_found(self.search("mid", "--sort", "rank", "--desc"), best_first[::-1])

    def test_limit(self) -> None:
        paths = [self.write(f"row{number:03}") for number in range(120)]
        usual = dict.fromkeys(["x", "", "3x", "1.5", "99999999999999999999999"], 100)
        for value, rows in {"3": 3, "+3": 3, "120": 120, "1000000": 120, "0": 120, "-5": 120, **usual}.items():
            with self.subTest(value=value):
                self.assert_found(self.search("row", "--limit", value), paths[:rows], total=120)
                # An argument that is no number leaves the former limit.
                rows = 7 if rows == 100 else rows
                self.assert_found(self.search("row", "-n", "7", "-n", value), paths[:rows], total=120)
        self.assert_found(self.search("row", "--limit"), paths[:100], total=120)

    def test_words_of_the_query(self) -> None:
        both = [self.write("one two.txt"), self.write("two one.txt")]
        odd = self.write("x --desc -n --in --print0 --.txt")
        self.write("one.txt")
        for words, paths in [
            (["one", "two"], both),
            (['"one', 'two"'], both[:1]),
            (['"one', "", 'two"'], []),
            (["one", "--limit", "5", "two"], both),
            # Behind a double dash everything is a word.
            (["x", "--", "--desc", "-n", "--in", "--print0", "--"], [odd]),
        ]:
            self.assert_found(self.search(*words), paths)
        self.assertEqual(list(self.home.iterdir()), [], "nothing is stored")

    def test_what_an_expression_gave_up_is_told(self) -> None:
        self.write("a" * 60)
        outcome = self.search(r"regex:(.*)*\d$")
        self.assertEqual((outcome.out, outcome.status), (b"", 0))
        told = b"0 result(s)\n1 name(s) took the regular expression too many steps and count as no match\n"
        self.assertEqual(outcome.err, told)

    def test_every_spelling_of_the_root(self) -> None:
        found = self.write("folder/file")
        at_home = self.home / "folder" / "file"
        at_home.parent.mkdir()
        at_home.touch()
        link = self.root / "link"
        link.symlink_to("folder")
        below, above = f"{found.parent}///", f"{found.parent}/../folder/./"
        for expected, spellings in [
            (found, [below, above, "folder", "./folder/", "./../root/folder/."]),
            (at_home, ["~", "~/", "~/folder", "~/folder/..", "~/folder/../folder/"]),
            (link / "file", [str(link)]),
        ]:
            for spelling in spellings:
                for option in ["--in", "-i"]:
                    with self.subTest(option=option, spelling=spelling):
                        self.assert_found(self.run_program("--search", "file", option, spelling), [expected])
        self.assert_found(self.search("--sort", "path"), [found.parent, found, link])

    def test_what_cannot_be_read_is_empty(self) -> None:
        closed, found = self.write("closed/file"), self.write("open/file")
        for root in [self.root / "absent", found, ""]:
            self.assert_found(self.run_program("--search", "file", "--in", root, cwd=self.home), [])
        closed.parent.chmod(0)
        self.addCleanup(closed.parent.chmod, 0o755)
        self.assert_found(self.search("file", unprivileged=True), [found])
        self.assert_found(self.run_program("--search", "--in", closed.parent, "file", unprivileged=True), [])

    def test_what_is_printed_where(self) -> None:
        # A name, and how a terminal shows it: as text that cannot act on it.
        names = [
            (b"m a newline\nin it", rb"m a newline\nin it"),
            (b"m b tab\tand return\r", rb"m b tab\tand return\r"),
            (b"m c \x1b[31mred\x07", rb"m c \x1B[31mred\x07"),
            (b"m d invalid \xff\xfe", b"m d invalid \xef\xbf\xbd\xef\xbf\xbd"),
            (b"m e \xc2\x9b31m", rb"m e \x9B31m"),
            ("m f \u00e9 \u65e5\u672c".encode(), "m f \u00e9 \u65e5\u672c".encode()),
        ]
        written = [self.write(name) for name, _ in names]
        paths = lines(written)
        shown = lines([bytes(self.root) + b"/" + text for _, text in names])
        plain, bold = b"6 result(s)\n", b"\x1b[1m6\x1b[0m result(s)\n"
        pipe, terminal = Stream.PIPE, Stream.TERMINAL
        for out, err, variables, expected in [
            (pipe, pipe, {}, (paths, plain)),
            (pipe, terminal, {}, (paths, bold)),
            (pipe, terminal, {"NO_COLOR": ""}, (paths, bold)),
            (pipe, terminal, {"NO_COLOR": "1"}, (paths, plain)),
            (terminal, pipe, {}, (shown, plain)),
            # Standard error that cannot be written changes nothing.
            (pipe, Stream.FULL_DISK, {}, (paths, b"")),
        ]:
            with self.subTest(out=out, err=err, variables=variables):
                outcome = self.search("m", out=out, err=err, variables=variables)
                self.assertEqual(outcome, Outcome(0, *expected))
        for option in ["--print0", "-0"]:
            self.assertEqual(self.search("m", option).out, lines(written, b"\0"))


if __name__ == "__main__":
    unittest.main()
