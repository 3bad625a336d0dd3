"""Runs the built program (environment variable DOVRA_PROGRAM) on temporary trees, as a shell would."""

from __future__ import annotations

import contextlib
import os
import shutil
import subprocess
import tempfile
import tty
import unittest
from collections.abc import Mapping, Sequence
from dataclasses import dataclass
from enum import Enum
from pathlib import Path

PROGRAM = os.environ["DOVRA_PROGRAM"]
TIMEOUT_SECONDS = 240  # sanitizers on a busy machine are slow
# The sanitizers' settings are the only variables that reach the program from outside.
KEPT_VARIABLES = ("ASAN_OPTIONS", "LSAN_OPTIONS", "TSAN_OPTIONS", "UBSAN_OPTIONS")


class Stream(Enum):
    """Where a stream of the program leads. A terminal delivers the bytes as they were written, 4 KB at most."""

    PIPE = "pipe"
    TERMINAL = "terminal"
    FULL_DISK = "a device on which every write fails"
    CLOSED_PIPE = "a pipe that nobody reads"


@dataclass(frozen=True)
class Outcome:
    status: int  # negative: the number of the signal that ended the program
    out: bytes
    err: bytes


def _ends(stream: Stream, opened: contextlib.ExitStack) -> tuple[int | None, int]:
    """The end of a terminal to read from, and what the program writes to: closed with `opened`."""
    reader = None
    if stream is Stream.PIPE:
        return None, subprocess.PIPE
    if stream is Stream.FULL_DISK:
        writer = os.open("/dev/full", os.O_WRONLY)
    elif stream is Stream.CLOSED_PIPE:
        unread, writer = os.pipe()
        os.close(unread)
    else:
        reader, writer = os.openpty()
        tty.setraw(writer)
    opened.callback(os.close, writer)
    return reader, writer


def _taken(terminal: int) -> bytes:
    taken = b""
    # A terminal whose other end is closed gives an error.
    with open(terminal, "rb", buffering=0) as reader, contextlib.suppress(OSError):
        while chunk := reader.read(4096):
            taken += chunk
    return taken


class ProgramTest(unittest.TestCase):
    """A test with a temporary tree (`root`) and a home folder of its own, both empty at first."""

    root: Path
    home: Path

    def setUp(self) -> None:
        self._folder = Path(tempfile.mkdtemp(prefix="dovra-test-")).resolve()
        self.addCleanup(shutil.rmtree, self._folder)
        # The other user of `unprivileged` may look in.
        self._folder.chmod(0o755)
        self.root, self.home = self._folder / "root", self._folder / "home"
        self.root.mkdir()
        self.home.mkdir()

    def write(self, name: str | bytes, content: bytes = b"") -> Path:
        """Makes a file below `root`, and the folders that lead to it."""
        path = self.root / os.fsdecode(name)
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content)
        return path

    def start_program(self, *arguments: str | bytes | Path) -> subprocess.Popen[bytes]:
        """Starts the program with pipes to all its streams. It is ended and closed with the test."""
        pipes = dict.fromkeys(["stdin", "stdout", "stderr"], subprocess.PIPE)
        how = {"cwd": self.root, "env": self._environment({}), "bufsize": 0}
        process = subprocess.Popen([PROGRAM, *arguments], **pipes, **how)
        self.addCleanup(process.__exit__, None, None, None)
        self.addCleanup(process.kill)
        return process

    def _environment(self, variables: Mapping[str, str]) -> dict[str, str]:
        kept = {name: os.environ[name] for name in KEPT_VARIABLES if name in os.environ}
        return {"PATH": os.defpath, "HOME": str(self.home), **kept, **variables}

    def run_program(
        self,
        *arguments: str | bytes | Path,
        out: Stream = Stream.PIPE,
        err: Stream = Stream.PIPE,
        cwd: Path | None = None,
        variables: Mapping[str, str] | None = None,
        unprivileged: bool = False,
        script: str = 'exec "$0" "$@"',
    ) -> Outcome:
        """Runs the program to its end, with an empty standard input and no variables of the caller's.

        A shell script starts it, with the program as "$0".
        """
        # The build may stand in root's own folder, where another user cannot reach it.
        becomes_another = unprivileged and os.geteuid() == 0
        program = shutil.copy(PROGRAM, self._folder / "program") if becomes_another else PROGRAM
        with contextlib.ExitStack() as opened:
            ends = [_ends(stream, opened) for stream in (out, err)]
            done = subprocess.run(
                ["/bin/sh", "-c", script, program, *arguments],
                stdin=subprocess.DEVNULL,
                stdout=ends[0][1],
                stderr=ends[1][1],
                cwd=cwd or self.root,
                env=self._environment(variables or {}),
                user="nobody" if becomes_another else None,
                timeout=TIMEOUT_SECONDS,
            )
        piped = (done.stdout or b"", done.stderr or b"")
        texts = [_taken(reader) if reader else text for (reader, _), text in zip(ends, piped)]
        return Outcome(done.returncode, *texts)

    def assert_one_line(self, text: bytes, *words: str) -> None:
        """Checks that the text is one line that ends in a newline and holds the words."""
        self.assertRegex(text, rb"\A[^\n]+\n\Z")
        for word in words:
            self.assertIn(word.encode(), text)


def lines(paths: Sequence[Path | str | bytes], ending: bytes = b"\n") -> bytes:
    """What the program prints for the paths."""
    return b"".join(os.fsencode(path) + ending for path in paths)
