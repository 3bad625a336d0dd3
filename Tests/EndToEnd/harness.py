"""Runs the built program (environment variable DOVRA_PROGRAM) on temporary trees, as a shell would."""

from __future__ import annotations

import os
import shutil
import subprocess
import tempfile
import threading
import tty
import unittest
from collections.abc import Mapping, Sequence
from dataclasses import dataclass
from enum import Enum
from pathlib import Path

PROGRAM = os.environ.get("DOVRA_PROGRAM", "")
TIMEOUT_SECONDS = 240  # sanitizers on a busy machine are slow
# The sanitizers' settings are the only variables that reach the program from outside.
KEPT_VARIABLES = ("ASAN_OPTIONS", "LSAN_OPTIONS", "TSAN_OPTIONS", "UBSAN_OPTIONS")


class Stream(Enum):
    """Where a stream of the program leads. A terminal delivers the bytes as they were written."""

    PIPE = "pipe"
    TERMINAL = "terminal"
    FULL_DISK = "a device on which every write fails"
    CLOSED_PIPE = "a pipe that nobody reads"


@dataclass(frozen=True)
class Outcome:
    status: int  # negative: the number of the signal that ended the program
    out: bytes
    err: bytes


class _Capture:
    """One output stream: the end that the program writes to, and what came out of it."""

    def __init__(self, stream: Stream) -> None:
        self.bytes = b""
        self._reader: int | None = None
        if stream is Stream.FULL_DISK:
            self.writer = os.open("/dev/full", os.O_WRONLY)
        elif stream is Stream.TERMINAL:
            self._reader, self.writer = os.openpty()
            tty.setraw(self.writer)
        else:
            self._reader, self.writer = os.pipe()
        if stream is Stream.CLOSED_PIPE:
            self._close_reader()
        self._thread = threading.Thread(target=self._read, daemon=True)

    def start(self) -> None:
        os.close(self.writer)
        self._thread.start()

    def finish(self) -> bytes:
        self._thread.join(TIMEOUT_SECONDS)
        if self._thread.is_alive():
            raise AssertionError("the program ended and something still holds its output open")
        return self.bytes

    def _read(self) -> None:
        if self._reader is None:
            return
        try:
            while chunk := os.read(self._reader, 65536):
                self.bytes += chunk
        except OSError:
            pass  # How a terminal says that its other end is closed.
        self._close_reader()

    def _close_reader(self) -> None:
        assert self._reader is not None
        os.close(self._reader)
        self._reader = None


class ProgramTest(unittest.TestCase):
    """A test with a temporary tree (`root`) and a home folder of its own, both empty at first."""

    root: Path
    home: Path

    @classmethod
    def setUpClass(cls) -> None:
        if not os.access(PROGRAM, os.X_OK):
            raise RuntimeError(f"DOVRA_PROGRAM is not a program: {PROGRAM!r}")

    def setUp(self) -> None:
        self._folder = Path(tempfile.mkdtemp(prefix="dovra-test-")).resolve()
        self.addCleanup(shutil.rmtree, self._folder)
        # Another user, whom `unprivileged` runs as, may look in.
        self._folder.chmod(0o755)
        self.root = self._folder / "root"
        self.home = self._folder / "home"
        self.root.mkdir()
        self.home.mkdir()

    def write(self, name: str | bytes, content: bytes = b"") -> Path:
        """Makes a file below `root`, and the folders that lead to it."""
        path = Path(os.fsdecode(os.path.join(os.fsencode(self.root), os.fsencode(name))))
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content)
        return path

    def start_program(self, *arguments: str | bytes | Path) -> subprocess.Popen[bytes]:
        """Starts the program with pipes to all its streams. It is ended and closed with the test."""
        process = subprocess.Popen(
            [PROGRAM, *arguments],
            bufsize=0,
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            cwd=self.root,
            env=self._environment({}),
        )
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
    ) -> Outcome:
        """Runs the program to its end, with an empty standard input and no variables of the caller's."""
        captures = [_Capture(out), _Capture(err)]
        try:
            process = subprocess.Popen(
                [self._program(unprivileged), *arguments],
                stdin=subprocess.DEVNULL,
                stdout=captures[0].writer,
                stderr=captures[1].writer,
                cwd=cwd or self.root,
                env=self._environment(variables or {}),
                user="nobody" if unprivileged and os.geteuid() == 0 else None,
                restore_signals=True,
            )
        finally:
            for capture in captures:
                capture.start()
        try:
            status = process.wait(TIMEOUT_SECONDS)
        except subprocess.TimeoutExpired:
            process.kill()
            process.wait()
            self.fail(f"not done after {TIMEOUT_SECONDS} s: {arguments}")
        return Outcome(status, *(capture.finish() for capture in captures))

    def _program(self, unprivileged: bool) -> str:
        """The program, where the user that runs it can reach it: the build may stand in root's own folder."""
        if not unprivileged or os.geteuid() != 0:
            return PROGRAM
        copy = self._folder / "program"
        shutil.copy(PROGRAM, copy)
        return str(copy)

    def assert_one_line(self, text: bytes, *words: str) -> None:
        """Checks that the text is one line that ends in a newline and holds the words."""
        self.assertRegex(text, rb"\A[^\n]+\n\Z")
        for word in words:
            self.assertIn(word.encode(), text)


def lines(paths: Sequence[Path | str | bytes], ending: bytes = b"\n") -> bytes:
    """What the program prints for the paths."""
    return b"".join(os.fsencode(path) + ending for path in paths)
