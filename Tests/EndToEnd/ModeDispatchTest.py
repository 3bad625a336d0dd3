#!/usr/bin/env python3
"""Which mode the arguments choose."""

import subprocess
import unittest
from pathlib import Path

from harness import PROGRAM, TIMEOUT_SECONDS, ProgramTest, Stream

# Every mode word, in the order in which they are looked for, and what its own help tells of.
MODES = {
    "--selftest": [],
    "--search": ["--in", "--limit", "--sort", "--desc", "--print0"],
    "--snapshot": [],
    "--http": [],
    "--mcp": ["--in", "-i", "--trigram"],
    "--bench": [],
    "--duplicates": ["usage", "--in", "--limit", "--print0"],
    "--du": ["usage", "--in", "--limit"],
    "--saved": ["--add", "-r", "--limit", "--"],
}
# Those that this version answers with an error.
UNAVAILABLE = ["--snapshot", "--http"]


class UnavailableModes(ProgramTest):
    def assert_refused(self, *arguments: str, names: str = "") -> None:
        outcome = self.run_program(*arguments)
        self.assertEqual((outcome.status, outcome.out), (2, b""))
        self.assert_one_line(outcome.err, names)

    def test_each_is_named_in_one_line(self) -> None:
        for mode in UNAVAILABLE:
            for arguments in [(mode,), (mode, "x"), ("x", mode, "--in", "/nowhere")]:
                with self.subTest(arguments=arguments):
                    self.assert_refused(*arguments, names=mode)

    def test_the_first_of_the_table_wins_wherever_it_stands(self) -> None:
        first, second = UNAVAILABLE
        for arguments in [(first, second), (second, first)]:
            err = self.run_program(*arguments).err.decode()
            self.assertIn(first, err)
            self.assertNotIn(second, err)

    def test_without_a_mode_word_the_desktop_is_meant(self) -> None:
        # Only a whole argument is a mode word; help and version count only when they come first.
        for arguments in [(), ("x",), ("--searching",), ("--SEARCH",), ("--d",), ("-search",), ("x", "--help")]:
            with self.subTest(arguments=arguments):
                self.assert_refused(*arguments)


class AvailableModes(ProgramTest):
    def test_search_gets_all_that_follows_its_word_and_nothing_before(self) -> None:
        found = self.write("sun --du --mcp x")
        self.write("moon")
        for before in [(), ("moon",), ("--mcp", "moon"), ("--bench", "--saved")]:
            arguments = [*before, "--search", "sun", "--in", self.root, "--du", "--mcp"]
            with self.subTest(arguments=arguments):
                outcome = self.run_program(*arguments)
                self.assertEqual(outcome.out, bytes(found) + b"\n")
                self.assertEqual((outcome.status, outcome.err), (0, b"1 result(s)\n"))

    def test_the_self_test_wins_over_all_and_takes_a_folder_or_the_current_one(self) -> None:
        self.write("a/b.txt", b"text")
        for arguments in [("--selftest", self.root), ("--selftest",), ("--search", "--selftest", self.root)]:
            with self.subTest(arguments=arguments):
                outcome = self.run_program(*arguments, cwd=self.root)
                self.assertEqual(outcome.status, 0, outcome)
                self.assertNotIn(b"result(s)", outcome.err)

    def test_bench_measures_the_folder_it_is_given(self) -> None:
        self.write("a/b.txt", b"text")
        outcome = self.run_program("--bench", self.root, "--trigram")
        self.assertEqual(outcome.status, 0, outcome)
        self.assertNotEqual(outcome.out, b"")


class Output(ProgramTest):
    def test_that_cannot_be_written_is_reported_and_that_nobody_reads_is_not(self) -> None:
        # More than any buffer holds, so that the program writes before it is done.
        for number in range(2000):
            self.write(f"{'long name ' * 8}{number}/file", b"equal")
        for arguments in [
            ("--search", "-n", "0", "--in", self.root, "long"),
            ("--duplicates", "--in", self.root),
            ("--du", "--limit", "0", self.root),
        ]:
            with self.subTest(arguments=arguments):
                outcome = self.run_program(*arguments, out=Stream.FULL_DISK)
                self.assertEqual(outcome.status, 1)
                self.assertRegex(outcome.err, rb"No space left on device")
                self.assertEqual(self.run_program(*arguments, out=Stream.CLOSED_PIPE).err, b"")


class WrongUsage(ProgramTest):
    def test_is_named_in_one_line_and_nothing_is_done(self) -> None:
        self.assertEqual(self.run_program("--saved", "--add", "name", "x").status, 0)
        for word, *arguments in [
            ("-n", "--du", "-n", "5"),
            ("--trigram", "--du", ".", "--trigram"),
            ("--limit", "--du", ".", "--limit"),
            ("few", "--du", "--limit", "few", "."),
            ("extra", "--du", ".", "extra"),
            ("extra", "--du", "--in", ".", "extra"),
            ("--in", "--duplicates", "x", "--in"),
            ("1.5", "--duplicates", "-n", "1.5"),
            ("-n", "--saved", "name", "-n"),
            ("--remove", "--saved", "name", "--remove"),
            ("colour", "--saved", "name", "--sort", "colour"),
            ("extra", "--selftest", ".", "1", "extra"),
            ("many", "--selftest", ".", "many"),
            ("extra", "--bench", ".", "extra"),
            ("extra", "--bench", "--trigram", "extra"),
            ("--in", "--bench", "--in", "."),
            ("--in", "--mcp", "--in"),
            ("extra", "--mcp", "extra"),
        ]:
            with self.subTest(arguments=arguments):
                outcome = self.run_program(*arguments)
                self.assertEqual((outcome.status, outcome.out), (2, b""))
                self.assert_one_line(outcome.err, f'"{word}"', f"dovra {arguments[0]} --help")


class LostOutput(ProgramTest):
    def test_is_reported(self) -> None:
        for arguments in [
            ("--help",),
            ("--version",),
            *((mode, "--help") for mode in MODES if mode not in UNAVAILABLE),
            ("--saved",),
            ("--selftest", self.root),
        ]:
            with self.subTest(arguments=arguments):
                outcome = self.run_program(*arguments, out=Stream.FULL_DISK)
                self.assertEqual(outcome.status, 1)
                self.assert_one_line(outcome.err, "standard output", "No space left on device")
                closed = subprocess.run(
                    ["sh", "-c", 'exec "$0" "$@" >&-', PROGRAM, *arguments],
                    stderr=subprocess.PIPE,
                    env=self._environment({}),
                    timeout=TIMEOUT_SECONDS,
                    check=False,
                )
                self.assertEqual(closed.returncode, 1)
                self.assert_one_line(closed.stderr, "standard output")


class DeletedCurrentFolder(ProgramTest):
    def run_there(self, *arguments: str | Path) -> subprocess.CompletedProcess[bytes]:
        folder = self.root / "deleted"
        folder.mkdir()
        script = 'cd "$1" && rmdir "$1" && shift && exec "$0" "$@"'
        return subprocess.run(
            ["sh", "-c", script, PROGRAM, folder, *arguments],
            stdin=subprocess.DEVNULL,
            capture_output=True,
            env=self._environment({}),
            timeout=TIMEOUT_SECONDS,
            check=False,
        )

    def test_relative_paths_are_errors(self) -> None:
        self.assertEqual(self.run_program("--saved", "--add", "name", "x").status, 0)
        modes = ["--search -i . x", "--saved name --in below", "--duplicates --in .", "--du .", "--mcp --in ."]
        for arguments in [line.split() for line in [*modes, "--selftest", "--selftest below", "--bench ."]]:
            with self.subTest(arguments=arguments):
                outcome = self.run_there(*arguments)
                self.assertGreater(outcome.returncode, 0)
                self.assertEqual(outcome.stdout, b"")
                self.assert_one_line(outcome.stderr, "current folder")

    def test_absolute_paths_go_on_working(self) -> None:
        self.write("x")
        for arguments in [("--search", "--in", self.root, "x"), ("--du", self.root), ("--selftest", self.root)]:
            with self.subTest(arguments=arguments):
                outcome = self.run_there(*arguments)
                self.assertEqual(outcome.returncode, 0, outcome)
                self.assertIn(bytes(self.root), outcome.stdout)


class HelpAndVersion(ProgramTest):
    def answer(self, *arguments: str) -> str:
        outcome = self.run_program(*arguments)
        self.assertEqual((outcome.status, outcome.err), (0, b""))
        return outcome.out.decode()

    def test_help_lists_every_mode(self) -> None:
        for arguments in [("--help",), ("--help", "--search"), ("--help", "x")]:
            text = self.answer(*arguments)
            for mode in MODES:
                self.assertIn(mode, text, arguments)

    def test_version_is_one_line_with_a_number(self) -> None:
        for arguments in [("--version",), ("--version", "--search", "x")]:
            self.assertRegex(self.answer(*arguments), r"\A[^\n]*\d+\.\d+[^\n]*\n\Z")

    def test_the_only_argument_of_a_mode(self) -> None:
        for mode, words in MODES.items():
            for word in words:
                self.assertIn(word, self.answer(mode, "--help"))
        self.assertRegex(self.answer("--search", "--version"), r"\d+\.\d+")

    def test_elsewhere_they_are_words_of_the_query(self) -> None:
        for word in ["--help", "--version"]:
            found = self.write(f"about {word}")
            outcome = self.run_program("--search", "--in", self.root, word)
            self.assertEqual(outcome.out, bytes(found) + b"\n")
            self.assertEqual(outcome.err, b"1 result(s)\n")


if __name__ == "__main__":
    unittest.main()
