#!/usr/bin/env python3
"""Saved searches from the command line: their forms, texts and statuses, their file, and many processes at once."""

import json
import unittest
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from harness import Outcome, ProgramTest, Stream, lines

ADD_USAGE = b"usage: --saved --add <name> <query>\n"
REMOVE_USAGE = b"usage: --saved --remove <name>\n"


class SavedSearchesTest(ProgramTest):
    def setUp(self) -> None:
        super().setUp()
        self.folder = self.home / ".local/share/Dovra"
        self.file = self.folder / "saved-searches.json"

    def saved(self, *arguments: str | bytes | Path, **how: object) -> Outcome:
        return self.run_program("--saved", *arguments, **how)  # type: ignore[arg-type]

    def assert_prints(self, *steps: tuple[list[str | bytes], bytes]) -> None:
        for arguments, out in steps:
            self.assertEqual(self.saved(*arguments), Outcome(0, out, b""), arguments)

    def test_adding_listing_removing(self) -> None:
        self.assert_prints(
            ([], b"No saved searches\n"),
            (["--add", "md", "ext:md", "<a|b>", "!c"], b'Saved "md"\n'),
            (["-a", "  longer name\n", "q"], b'Saved "longer name"\n'),
            ([], b"md           ext:md <a|b> !c\nlonger name  q\n"),
            (["--add", "md", "new"], b'Saved "md"\n'),
            (["-a", "MD", "other"], b'Saved "MD"\n'),
            ([], b"md           new\nlonger name  q\nMD           other\n"),
            (["--remove", "md"], b'Removed "md"\n'),
            (["-r", "MD"], b'Removed "MD"\n'),
            # Behind "--" nothing is an option or a mode.
            (["-a", "--", "--search", "x"], b'Saved "--search"\n'),
            ([], b"longer name  q\n--search     x\n"),
            (["-r", "--", "--search"], b'Removed "--search"\n'),
            ([], b"longer name  q\n"),
        )
        self.assertEqual(self.file.read_bytes(), b'[{"name":"longer name","query":"q"}]')
        self.assertEqual(self.file.stat().st_mode & 0o777, 0o600)
        for folder in [self.folder, self.folder.parent, self.folder.parent.parent]:
            self.assertEqual(folder.stat().st_mode & 0o777, 0o700)

    def test_what_cannot_be_done_is_told_and_changes_nothing(self) -> None:
        for arguments in [(), ("x",), ("x", ""), ("", "q"), (" \n", "q"), ("--", "x")]:
            self.assertEqual(self.saved("--add", *arguments), Outcome(2, b"", ADD_USAGE), arguments)
        for arguments in [(), ("a", "b"), ("--",)]:
            self.assertEqual(self.saved("-r", *arguments), Outcome(2, b"", REMOVE_USAGE), arguments)
        self.assertEqual(self.saved("--limit", "3").status, 2)
        self.assertFalse(self.home.joinpath(".local").exists())
        self.saved("--add", "Known", "q")
        for name in [b"known", b"Know", b"no\nlines \xff", b"--bogus"]:
            for arguments in [(name,), ("--remove", name)]:
                expected = Outcome(1, b"", b'No saved search named "' + name + b'"\n')
                self.assertEqual(self.saved(*arguments), expected, arguments)
        for arguments in [(), ("-a", "c", "d")]:
            outcome = self.saved(*arguments, out=Stream.FULL_DISK)
            self.assertEqual(outcome.status, 1)
            self.assert_one_line(outcome.err, "standard output")

    def test_runs_the_query_as_a_search_would_and_more_words_narrow_it(self) -> None:
        a, b, c = [self.write(name) for name in ["a one.md", "b one.txt", "c two.md"]]
        for name in ["notes", "--add", "-x"]:
            self.saved("--add", "--", name, "ext:md|ext:txt")
        for arguments, paths, total in [
            (["notes"], [a, b, c], 3),
            (["notes", "--desc", "-n", "2"], [c, b], 3),
            ([" notes\n", "one"], [a, b], 2),
            (["notes", "one", "--desc", "!txt"], [a], 1),
            (["-x", "two"], [c], 1),
            (["--", "--add"], [a, b, c], 3),
        ]:
            outcome = self.saved("-i", self.root, *arguments)
            self.assertEqual(outcome, Outcome(0, lines(paths), b"%d result(s)\n" % total), arguments)
        self.assertEqual(self.saved("-0", "notes", "--in", self.root).out, lines([a, b, c], b"\0"))

    def test_names_and_queries_of_any_bytes(self) -> None:
        name, query = b'"quoted"\nname \x1b\xff', b"caf\xe9\n"
        found = self.write(b"a caf\xe9\n")
        self.assert_prints(
            (["--add", name, query], b'Saved "' + name + b'"\n'),
            (["--add", "\u65e5\u672c\u8a9e", "r"], 'Saved "\u65e5\u672c\u8a9e"\n'.encode()),
        )
        self.assertEqual(self.saved(name, "--in", self.root).out, bytes(found) + b"\n")
        json.loads(self.file.read_text(encoding="utf-8"))
        shown = rb'"quoted"\nname \x1B' + "\ufffd".encode()
        listed = shown + b"  caf\xef\xbf\xbd\\n\n" + "\u65e5\u672c\u8a9e".encode().ljust(25) + b"r\n"
        self.assertEqual(self.saved(out=Stream.TERMINAL).out, listed)
        self.assertEqual(self.saved(b"\x1b", err=Stream.TERMINAL).err, b'No saved search named "\\x1B"\n')
        self.assert_prints((["-r", name], b'Removed "' + name + b'"\n'))

    def test_a_damaged_file_is_reported_and_kept(self) -> None:
        self.folder.mkdir(parents=True)
        self.file.write_bytes(b"damaged")
        for arguments, out in [((), b"No saved searches\n"), (("-a", "a", "b"), b'Saved "a"\n')]:
            outcome = self.saved(*arguments)
            self.assertEqual((outcome.status, outcome.out), (0, out))
            self.assert_one_line(outcome.err, str(self.file))
        self.assert_prints(([], b"a  b\n"))
        self.assertEqual(Path(f"{self.file}.unreadable-1").read_bytes(), b"damaged")

    def test_a_write_that_fails_is_not_called_saved(self) -> None:
        self.saved("--add", "a", "b")
        before = self.file.read_bytes()
        folders = [self.folder, self.folder.parent, self.folder.parent.parent]
        self.file.chmod(0o644)
        for how in [{"script": 'ulimit -f 1; exec "$0" "$@"'}, {"unprivileged": True}]:
            outcome = self.saved("--add", "long", "x" * 1000, **how)
            self.assertEqual((outcome.status, outcome.out), (1, b""))
            self.assert_one_line(outcome.err, str(self.file))
            self.assertEqual(self.file.read_bytes(), before)
            self.assertEqual(len(list(self.folder.iterdir())), 2)  # and the lock
            # The second store may be read and not written.
            for folder in folders:
                folder.chmod(0o555)
        for folder in folders:
            folder.chmod(0o755)

    def test_processes_at_once_lose_nothing(self) -> None:
        self.saved("--add", "gone", "q")
        names = [f"name {number}" for number in range(60)]
        commands = [["--remove", "gone"], *(["--add", name, f"query of {name}"] for name in names)]
        with ThreadPoolExecutor(8) as pool:
            self.assertEqual({outcome.status for outcome in pool.map(lambda words: self.saved(*words), commands)}, {0})
        stored = {item["name"]: item["query"] for item in json.loads(self.file.read_bytes())}
        self.assertEqual(stored, {name: f"query of {name}" for name in names})


if __name__ == "__main__":
    unittest.main()
