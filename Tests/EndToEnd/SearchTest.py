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
        self.assertEqual(outcome.out.split(b"\n"), lines(paths).split(b"\n"))
        self.assertEqual(outcome.err, b"%d result(s)\n" % (len(paths) if total is None else total))
        self.assertEqual(outcome.status, 0)


class Order(SearchTest):
    def setUp(self) -> None:
        super().setUp()
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

    def in_order(self, key: str) -> list[Path]:
        def folded(text: str) -> bytes:
            return os.fsencode(text).lower()

        keys = {
            "name": lambda path: folded(path.name),
            "path": lambda path: folded(str(path)),
            "size": lambda path: path.stat().st_size,
            "modified": lambda path: path.stat().st_mtime,
        }
        return sorted(self.root.rglob("*.log"), key=keys[key])

    def test_sort_words(self) -> None:
        words = {
            "name": ["name", "NAME", "nonsense", ""],
            "path": ["path", "Path"],
            "size": ["size", "SIZE"],
            "modified": ["date", "modified", "dm", "Modified"],
        }
        for key, spellings in words.items():
            for word in spellings:
                with self.subTest(word=word):
                    self.assert_found(self.search(".log", "--sort", word), self.in_order(key))
        found = self.search(".log", "-s", "size", "--sort", "nonsense", "--trigram")
        self.assert_found(found, self.in_order("size"))

    def test_direction(self) -> None:
        backwards = self.in_order("name")[::-1]
        for arguments in [("--desc",), ("-d",), ("--asc", "--desc"), ("--desc", "--sort", "name")]:
            with self.subTest(arguments=arguments):
                self.assert_found(self.search(*arguments, ".log"), backwards)
        self.assert_found(self.search("--desc", ".log", "--asc"), self.in_order("name"))

    def test_relevance_puts_the_better_name_first(self) -> None:
        # The whole name, the stem, the start of the name, the start of a word, anywhere.
        best_first = [self.write(name) for name in ["mid", "mid.txt", "midway", "a mid", "amid"]]
        for word in ["relevance", "score", "rank"]:
            self.assert_found(self.search("mid", "--sort", word), best_first)
        self.assert_found(self.search("mid", "--sort", "rank", "--desc"), best_first[::-1])


class Limit(SearchTest):
    def test_how_many_rows_are_printed(self) -> None:
        paths = [self.write(f"row{number:03}") for number in range(120)]
        usual = dict.fromkeys(["x", "", "3x", "1.5", "99999999999999999999999"], 100)
        for value, rows in {"3": 3, "+3": 3, "120": 120, "1000000": 120, "0": 120, "-5": 120, **usual}.items():
            for options in [("--limit", value), ("-n", "7", "-n", value)]:
                with self.subTest(options=options):
                    rows = 7 if rows == 100 and len(options) == 4 else rows
                    self.assert_found(self.search("row", *options), paths[:rows], total=120)
        self.assert_found(self.search("row", "--limit"), paths[:100], total=120)


class Query(SearchTest):
    def test_words_are_joined_with_one_space(self) -> None:
        both = [self.write("one two.txt"), self.write("two one.txt")]
        self.write("one.txt")
        self.assert_found(self.search("one", "two"), both)
        self.assert_found(self.search('"one', 'two"'), both[:1])
        self.assert_found(self.search('"one', "", 'two"'), [])
        self.assert_found(self.search("one", "--limit", "5", "two"), both)
        self.assertEqual(list(self.home.iterdir()), [], "nothing is stored")

    def test_after_a_double_dash_everything_is_a_word(self) -> None:
        found = self.write("x --desc -n --in --print0 --.txt")
        self.write("x.txt")
        outcome = self.search("x", "--", "--desc", "-n", "--in", "--print0", "--")
        self.assert_found(outcome, [found])

    def test_the_empty_query_finds_everything_below_the_root(self) -> None:
        self.write("folder/file")
        (self.root / "link").symlink_to("folder")
        names = ["folder", "folder/file", "link"]
        self.assert_found(self.search("--sort", "path"), [self.root / name for name in names])

    def test_what_an_expression_gave_up_is_told(self) -> None:
        self.write("a" * 60)
        outcome = self.search(r"regex:(.*)*\d$")
        self.assertEqual((outcome.out, outcome.status), (b"", 0))
        told = b"0 result(s)\n1 name(s) took the regular expression too many steps and count as no match\n"
        self.assertEqual(outcome.err, told)


class Root(SearchTest):
    def test_every_spelling_of_the_root(self) -> None:
        found = self.write("folder/file")
        folder = found.parent
        self.assertEqual(folder.parent, self.root)
        for spelling in [f"{folder}///", f"{folder}/../folder/./", "folder", "./folder/", "./../root/folder/."]:
            for option in ["--in", "-i"]:
                with self.subTest(option=option, spelling=spelling):
                    self.assert_found(self.run_program("--search", "file", option, spelling), [found])
        self.assert_found(self.run_program("--search", "file", "-i", "../folder", cwd=folder), [found])

    def test_home(self) -> None:
        found = self.home / "folder" / "file"
        found.parent.mkdir()
        found.touch()
        for spelling in ["~", "~/", "~/folder", "~/folder/..", "~/folder/../folder/"]:
            with self.subTest(spelling=spelling):
                self.assert_found(self.run_program("--search", "file", "-i", spelling), [found])

    def test_a_link_is_kept_as_written(self) -> None:
        self.write("folder/file")
        link = self.root / "link"
        link.symlink_to("folder")
        found = self.run_program("--search", "file", "--in", link)
        self.assert_found(found, [link / "file"])

    def test_what_cannot_be_listed_is_empty(self) -> None:
        for root in [self.root / "absent", self.write("file"), ""]:
            with self.subTest(root=root):
                outcome = self.run_program("--search", "anything", "--in", root, cwd=self.home)
                self.assert_found(outcome, [])

    def test_what_may_not_be_read_is_empty(self) -> None:
        hidden = self.write("closed/file")
        open_file = self.write("open/file")
        hidden.parent.chmod(0)
        self.addCleanup(hidden.parent.chmod, 0o755)
        self.assert_found(self.search("file", unprivileged=True), [open_file])
        closed = self.run_program("--search", "--in", hidden.parent, "file", unprivileged=True)
        self.assert_found(closed, [])


class Output(SearchTest):
    # A name, and how a terminal shows it.
    NAMES = [
        (b"m a newline\nin it", rb"m a newline\nin it"),
        (b"m b tab\tand return\r", rb"m b tab\tand return\r"),
        (b"m c \x1b[31mred\x07", rb"m c \x1B[31mred\x07"),
        (b"m d invalid \xff\xfe", b"m d invalid \xef\xbf\xbd\xef\xbf\xbd"),
        (b"m e \xc2\x9b31m", rb"m e \x9B31m"),
        ("m f \u00e9 \u65e5\u672c".encode(), "m f \u00e9 \u65e5\u672c".encode()),
    ]

    def write_names(self) -> list[Path]:
        return [self.write(name) for name, _ in self.NAMES]

    def test_a_pipe_gets_the_bytes_as_they_are(self) -> None:
        paths = self.write_names()
        self.assertEqual(self.search("m").out, lines(paths))
        self.assertEqual(self.search("m", err=Stream.TERMINAL).out, lines(paths))

    def test_a_terminal_gets_text_that_cannot_act_on_it(self) -> None:
        self.write_names()
        shown = [os.fsencode(self.root) + b"/" + text for _, text in self.NAMES]
        self.assertEqual(self.search("m", out=Stream.TERMINAL).out, lines(shown))

    def test_print0_ends_each_path_with_a_zero_byte(self) -> None:
        paths = self.write_names()
        for option in ["--print0", "-0"]:
            self.assertEqual(self.search("m", option).out, lines(paths, b"\0"))

    def test_the_count_is_bold_on_a_terminal(self) -> None:
        self.write("file")
        plain, bold = b"1 result(s)\n", b"\x1b[1m1\x1b[0m result(s)\n"
        for variables, stream, expected in [
            ({}, Stream.TERMINAL, bold),
            ({"NO_COLOR": ""}, Stream.TERMINAL, bold),
            ({"NO_COLOR": "1"}, Stream.TERMINAL, plain),
            ({}, Stream.PIPE, plain),
        ]:
            with self.subTest(variables=variables, stream=stream):
                self.assertEqual(self.search("file", err=stream, variables=variables).err, expected)
        # Standard output's being a terminal does not style what goes to standard error.
        self.assertEqual(self.search("file", out=Stream.TERMINAL).err, plain)

    def test_a_count_that_cannot_be_written_changes_nothing(self) -> None:
        path = self.write("file")
        outcome = self.search("file", err=Stream.FULL_DISK)
        self.assertEqual((outcome.status, outcome.out), (0, lines([path])))


if __name__ == "__main__":
    unittest.main()
