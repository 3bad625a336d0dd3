#!/usr/bin/env python3
"""Which mode the arguments choose, and what every mode does with wrong usage, lost output and no current folder."""

import unittest

from harness import Outcome, ProgramTest, Stream

# Every mode word, in the order of precedence, and an option that its own help names.
MODES = {
    "--selftest": [],
    "--search": ["--in", "--limit", "--sort", "--desc", "--print0"],
    "--snapshot": ["usage", "--in", "--query", "--size", "--scale"],
    "--http": ["usage", "--in", "-i", "--trigram", "--host", "--allow-download", "--token"],
    "--mcp": ["--in", "-i", "--trigram"],
    "--bench": [],
    "--duplicates": ["usage", "--in", "--limit", "--print0"],
    "--du": ["usage", "--in", "--limit"],
    "--saved": ["--add", "-r", "--limit", "--"],
}


class ModeDispatchTest(ProgramTest):
    def run_line(self, line: str, **how: object) -> Outcome:
        """Runs the program with the words of the line, of which ROOT stands for the tree's."""
        words = [str(self.root) if word == "ROOT" else word for word in line.split(" ") if word]
        return self.run_program(*words, **how)  # type: ignore[arg-type]

    def assert_refused(self, outcome: Outcome, status: int, *words: str) -> None:
        self.assertEqual((outcome.status, outcome.out), (status, b""))
        self.assert_one_line(outcome.err, *words)

    def test_the_first_of_the_table_wins_wherever_it_stands(self) -> None:
        found = bytes(self.write("sun --du --mcp x"))
        self.write("moon")
        # Nothing in front of a mode word counts.
        for before in ["", "moon", "--mcp moon", "--bench --saved"]:
            outcome = self.run_line(f"{before} --search sun --in ROOT --du --mcp")
            self.assertEqual(outcome, Outcome(0, found + b"\n", b"1 result(s)\n"), before)
        for line in ["--selftest ROOT", "--selftest", "--search --selftest ROOT", "--bench ROOT --trigram"]:
            outcome = self.run_line(line)
            self.assertEqual((outcome.status, b"result(s)" in outcome.err), (0, False), line)
            self.assertNotEqual(outcome.out, b"", line)
        for line in ["--snapshot", "x --snapshot --in ROOT", "--http --snapshot"]:
            self.assert_refused(self.run_line(line), 2, "file", "dovra --snapshot --help")
        # Only a whole argument is a mode word, and help and version count only when they come first.
        for line in ["x", "--searching", "--SEARCH", "--d", "-search", "x --help"]:
            self.assert_refused(self.run_line(line), 2, "dovra --help")

    def test_wrong_usage_is_named_in_one_line_and_nothing_is_done(self) -> None:
        self.assertEqual(self.run_line("--saved --add name x").status, 0)
        for line, word in {
            "--du -n 5": "-n",
            "--du . --trigram -x": "--trigram",
            "--du . --limit": "--limit",
            "--du --limit few .": "few",
            "--du . extra": "extra",
            "--du --in . extra": "extra",
            "--duplicates x --in": "--in",
            "--duplicates -n 1.5": "1.5",
            "--saved name -n": "-n",
            "--saved name --remove": "--remove",
            "--saved name --sort colour": "colour",
            "--selftest . 1 extra": "extra",
            "--selftest . many": "many",
            "--bench . extra": "extra",
            "--bench --trigram extra": "extra",
            "--bench --in .": "--in",
            "--mcp --in": "--in",
            "--mcp extra": "extra",
            "--mcp --root /": "--root",
            "--mcp --in / -i": "-i",
            "--snapshot x y": "y",
            "--snapshot x --size big": "big",
            "--snapshot x --scale 9": "9",
            "--http --port": "--port",
            "--http 65536": "65536",
            "--http 80 81": "81",
            "--http --host": "--host",
        }.items():
            self.assert_refused(self.run_line(line), 2, f'"{word}"', f"dovra {line.split()[0]} --help")

    def test_lost_output_is_reported_and_that_nobody_reads_is_not(self) -> None:
        helps = [f"{mode} --help" for mode in MODES]
        for line in ["--help", "--version", *helps, "--saved", "--selftest ROOT"]:
            self.assert_refused(self.run_line(line, out=Stream.FULL_DISK), 1, "standard output", "No space left")
            self.assert_refused(self.run_line(line, script='exec "$0" "$@" >&-'), 1, "standard output")
        # More than any buffer holds, so that the program writes before it is done.
        for number in range(2000):
            self.write(f"{'long name ' * 8}{number}/file", b"equal")
        for line in ["--search -n 0 --in ROOT long", "--duplicates --in ROOT", "--du --limit 0 ROOT"]:
            outcome = self.run_line(line, out=Stream.FULL_DISK)
            self.assertEqual((outcome.status, b"No space left on device" in outcome.err), (1, True), line)
            self.assertEqual(self.run_line(line, out=Stream.CLOSED_PIPE).err, b"", line)

    def test_a_current_folder_that_was_deleted_is_missed_by_relative_paths_only(self) -> None:
        self.write("x")
        self.assertEqual(self.run_line("--saved --add name x").status, 0)
        there = 'mkdir gone && cd gone && rmdir ../gone && exec "$0" "$@"'
        relative = ["--search -i . x", "--saved name --in below", "--duplicates --in .", "--du .", "--mcp --in ."]
        for line in [*relative, "--selftest", "--selftest below", "--bench ."]:
            outcome = self.run_line(line, script=there)
            self.assertGreater(outcome.status, 0, line)
            self.assert_refused(outcome, outcome.status, "current folder")
        for line in ["--search --in ROOT x", "--du ROOT", "--selftest ROOT"]:
            outcome = self.run_line(line, script=there)
            self.assertEqual((outcome.status, bytes(self.root) in outcome.out), (0, True), line)

    def test_help_and_version(self) -> None:
        tells = {f"{mode} --help": words for mode, words in MODES.items()}
        tells |= {"--help": [*MODES], "--help --search": [*MODES]}
        for line, words in tells.items():
            outcome = self.run_line(line)
            self.assertEqual((outcome.status, outcome.err), (0, b""), line)
            for word in words:
                self.assertIn(word, outcome.out.decode(), line)
        for line in ["--version", "--version --search x", "--search --version"]:
            self.assertRegex(self.run_line(line).out, rb"\A[^\n]*\d+\.\d+[^\n]*\n\Z")
        # Elsewhere they are words of the query.
        for word in ["--help", "--version"]:
            found = bytes(self.write(f"about {word}"))
            self.assertEqual(self.run_line(f"--search {word} --in ROOT").out, found + b"\n")


if __name__ == "__main__":
    unittest.main()
