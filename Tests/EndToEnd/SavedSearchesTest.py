#!/usr/bin/env python3
"""Saved searches from the command line: their forms, texts and statuses, their file, and many processes at once."""

import json
import resource
import shutil
import subprocess
import unittest
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from harness import PROGRAM, Outcome, ProgramTest, Stream, lines

ADD_USAGE = b"usage: --saved --add <name> <query>\n"
REMOVE_USAGE = b"usage: --saved --remove <name>\n"


class SavedTest(ProgramTest):
    def setUp(self) -> None:
        super().setUp()
        self.folder = self.home / ".local/share/Dovra"
        self.file = self.folder / "saved-searches.json"

    def saved(self, *arguments: str | bytes | Path, **how: object) -> Outcome:
        return self.run_program("--saved", *arguments, **how)  # type: ignore[arg-type]

    def assert_done(self, outcome: Outcome, out: bytes) -> None:
        self.assertEqual((outcome.out, outcome.err, outcome.status), (out, b"", 0))

    def assert_fails(self, outcome: Outcome, err: bytes, status: int) -> None:
        self.assertEqual((outcome.out, outcome.err, outcome.status), (b"", err, status))

    def add(self, name: str | bytes, query: str | bytes) -> None:
        self.assertEqual(self.saved("--add", name, query).status, 0)


class Forms(SavedTest):
    def test_adding_listing_removing(self) -> None:
        self.assert_done(self.saved(), b"No saved searches\n")
        self.assert_done(self.saved("--add", "md", "ext:md", "<a|b>", "!c"), b'Saved "md"\n')
        self.assert_done(self.saved("-a", "  longer name\n", "q"), b'Saved "longer name"\n')
        self.assert_done(self.saved(), b"md           ext:md <a|b> !c\nlonger name  q\n")
        self.assert_done(self.saved("--add", "md", "new"), b'Saved "md"\n')
        self.assert_done(self.saved("-a", "MD", "other"), b'Saved "MD"\n')
        self.assert_done(self.saved(), b"md           new\nlonger name  q\nMD           other\n")
        self.assert_done(self.saved("--remove", "md"), b'Removed "md"\n')
        self.assert_done(self.saved("-r", "MD"), b'Removed "MD"\n')
        self.assert_done(self.saved(), b"longer name  q\n")

    def test_wrong_usage_changes_nothing(self) -> None:
        for arguments in [(), ("x",), ("x", ""), ("", "q"), (" \n", "q"), ("--", "x")]:
            self.assert_fails(self.saved("--add", *arguments), ADD_USAGE, 2)
        for arguments in [(), ("a", "b"), ("--",)]:
            self.assert_fails(self.saved("-r", *arguments), REMOVE_USAGE, 2)
        self.assertEqual(self.saved("--limit", "3").status, 2)
        self.assertFalse(self.home.joinpath(".local").exists())

    def test_unknown_names(self) -> None:
        self.add("Known", "q")
        for name in [b"known", b"Know", b"no\nlines \xff", b"--bogus"]:
            message = b'No saved search named "' + name + b'"\n'
            self.assert_fails(self.saved(name), message, 1)
            self.assert_fails(self.saved("--remove", name), message, 1)

    def test_names_that_look_like_options(self) -> None:
        found = self.write("apple")
        for name in ["--add", "-r", "--in", "--", "--help"]:
            # Behind "--" nothing is an option, also in a query.
            self.assert_done(self.saved("--add", "--", name, "apple"), f'Saved "{name}"\n'.encode())
            outcome = self.saved("--in", self.root, "--", name)
            self.assertEqual(outcome.out, lines([found]))
            self.assert_done(self.saved("--remove", "--", name), f'Removed "{name}"\n'.encode())
        self.add("-x", "apple")
        self.assertEqual(self.saved("-x", "-i", self.root).out, lines([found]))

    def test_names_and_queries_of_any_bytes(self) -> None:
        name, query = b'"quoted"\nname \xff', b"caf\xe9"
        found = self.write(b"a caf\xe9")
        self.assert_done(self.saved("--add", name, query), b'Saved "' + name + b'"\n')
        self.assert_done(self.saved(), name + b"  " + query + b"\n")
        self.assertEqual(self.saved(name, "--in", self.root).out, bytes(found) + b"\n")
        json.loads(self.file.read_text(encoding="utf-8"))
        self.assert_done(self.saved("-r", name), b'Removed "' + name + b'"\n')

    def test_on_a_terminal_control_characters_are_shown(self) -> None:
        name = b"a\x1b[2J\xff"
        shown = "a\\x1B[2J\ufffd".encode()
        self.assertEqual(self.saved("-a", name, "q\n", out=Stream.TERMINAL).out, b'Saved "' + shown + b'"\n')
        self.add("\u65e5\u672c\u8a9e very long", "r")
        listed = shown + b"         q\\n\n" + "\u65e5\u672c\u8a9e very long  r\n".encode()
        self.assertEqual(self.saved(out=Stream.TERMINAL).out, listed)
        message = self.saved(b"\x1b", err=Stream.TERMINAL).err
        self.assertEqual(message, b'No saved search named "\\x1B"\n')

    def test_standard_output_that_cannot_be_written(self) -> None:
        self.add("a", "b")
        for arguments in [(), ("-a", "c", "d")]:
            outcome = self.saved(*arguments, out=Stream.FULL_DISK)
            self.assertEqual(outcome.status, 1)
            self.assert_one_line(outcome.err, "standard output")


class Running(SavedTest):
    def test_runs_the_query_as_a_search_would_and_more_words_narrow_it(self) -> None:
        a, b, c = [self.write(name) for name in ["a one.md", "b one.txt", "c two.md"]]
        self.add("notes", "ext:md|ext:txt")
        for arguments, paths, total in [
            ((), [a, b, c], 3),
            (("--desc", "-n", "2"), [c, b], 3),
            (("one",), [a, b], 2),
            (("one", "--desc", "!txt"), [a], 1),
        ]:
            outcome = self.saved("notes", *arguments, "--in", self.root)
            self.assertEqual(outcome, Outcome(0, lines(paths), b"%d result(s)\n" % total))
        self.assertEqual(self.saved("-0", "notes", "--in", self.root).out, lines([a, b, c], b"\0"))


class File(SavedTest):
    def test_is_compact_json_for_the_user_alone(self) -> None:
        self.add("b", "2")
        self.add("a", "1")
        self.assertEqual(self.file.read_bytes(), b'[{"name":"b","query":"2"},{"name":"a","query":"1"}]')
        self.assertEqual(self.file.stat().st_mode & 0o777, 0o600)
        for folder in [self.folder, self.folder.parent, self.folder.parent.parent]:
            self.assertEqual(folder.stat().st_mode & 0o777, 0o700)

    def test_a_damaged_one_is_reported_and_kept(self) -> None:
        self.folder.mkdir(parents=True)
        self.file.write_bytes(b"damaged")
        outcome = self.saved()
        self.assertEqual((outcome.status, outcome.out), (0, b"No saved searches\n"))
        self.assert_one_line(outcome.err, str(self.file))
        outcome = self.saved("-a", "a", "b")
        self.assertEqual((outcome.status, outcome.out), (0, b'Saved "a"\n'))
        self.assert_done(self.saved(), b"a  b\n")
        self.assertEqual(Path(f"{self.file}.unreadable-1").read_bytes(), b"damaged")

    def assert_not_saved(self, outcome: Outcome, *words: str) -> None:
        self.assertEqual((outcome.status, outcome.out), (1, b""))
        self.assert_one_line(outcome.err, *words)

    def test_a_write_that_fails_is_not_called_saved(self) -> None:
        self.add("a", "b")
        before = self.file.read_bytes()
        process = subprocess.run(
            [PROGRAM, "--saved", "--add", "long", "x" * 1000],
            env=self._environment({}),
            capture_output=True,
            preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (200, 200)),  # as on a full disk
            check=False,
        )
        self.assert_not_saved(Outcome(process.returncode, process.stdout, process.stderr), str(self.file))
        self.assertEqual(self.file.read_bytes(), before)
        self.assertEqual(len(list(self.folder.iterdir())), 2)  # and the lock

    def test_a_folder_that_may_not_be_written(self) -> None:
        for folder in [self.home, self.home / ".local", self.folder.parent, self.folder]:
            folder.mkdir(exist_ok=True)
            folder.chmod(0o755)
        self.folder.chmod(0o555)
        outcome = self.saved("--add", "a", "b", unprivileged=True)
        self.assert_not_saved(outcome, str(self.file))
        shutil.rmtree(self.home / ".local")
        self.home.joinpath(".local").write_bytes(b"a file")
        self.assert_not_saved(self.saved("--add", "a", "b"))
        self.assert_done(self.saved(), b"No saved searches\n")

    def test_processes_at_once_lose_nothing(self) -> None:
        self.add("old", "q")
        self.add("gone", "q")
        names = [f"name {number}" for number in range(60)]

        def change(name: str) -> int:
            if name == "name 30":
                return self.saved("--remove", "gone").status
            return self.saved("--add", name, f"query of {name}").status

        with ThreadPoolExecutor(8) as pool:
            self.assertEqual(set(pool.map(change, names)), {0})
        stored = {item["name"]: item["query"] for item in json.loads(self.file.read_bytes())}
        expected = {name: f"query of {name}" for name in names if name != "name 30"}
        self.assertEqual(stored, {"old": "q", **expected})


if __name__ == "__main__":
    unittest.main()
