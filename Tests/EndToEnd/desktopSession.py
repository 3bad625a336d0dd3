"""A desktop of a test's own: a display, a session bus, and what stands in for the rest of a desktop."""

from __future__ import annotations

import os
import re
import shutil
import stat
import subprocess
import time
from collections.abc import Callable, Mapping
from pathlib import Path
from typing import IO
from urllib.parse import unquote_to_bytes

from harness import PROGRAM, ProgramTest

# A window manager with two workspaces, without keys of its own.
OPENBOX = """<openbox_config xmlns="http://openbox.org/3.4/rc">
  <keyboard/><desktops><number>2</number><popupTime>0</popupTime></desktops>
</openbox_config>"""
HAS_WINDOWS = Path(PROGRAM).with_name("dovra_desktop.so").exists()


def missing(*programs: str) -> list[str]:
    """What the tests of a desktop lack here."""
    return [*([] if HAS_WINDOWS else ["the windows (Qt 6)"]), *(name for name in programs if not shutil.which(name))]


def next_line(stream: IO[bytes] | None) -> str:
    assert stream
    return stream.readline().decode().strip()


class DesktopSession(ProgramTest):
    """A test with a display (`variables["DISPLAY"]`), a session bus, and a program that opens files."""

    def setUp(self) -> None:
        super().setUp()
        runtime = self.home / "runtime"
        runtime.mkdir(mode=0o700)
        self.opened = self.home / "opened"
        opener = self.home / "xdg-open"
        opener.write_text(f'#!/bin/sh\nprintf "%s\\n" "$1" >>"{self.opened}"\n')
        opener.chmod(opener.stat().st_mode | stat.S_IXUSR)
        self.variables = {"PATH": f"{self.home}:{os.defpath}", "XDG_RUNTIME_DIR": str(runtime)}
        # The bus would look for it in the home that the system's list of users names.
        self.variables["XDG_DATA_HOME"] = str(self.home / ".local/share")
        # Without "-noreset" the server starts anew, and drops its clients, whenever it has had its last one.
        self.server = self.start("Xvfb", "-noreset", "-displayfd", "1", "-screen", "0", "1280x900x24")
        self.variables["DISPLAY"] = ":" + next_line(self.server.stdout)
        bus = self.start("dbus-daemon", "--session", "--print-address")
        self.variables["DBUS_SESSION_BUS_ADDRESS"] = next_line(bus.stdout)

    def _environment(self, variables: Mapping[str, str]) -> dict[str, str]:
        return super()._environment({**self.variables, **variables})

    def start(self, *command: str) -> subprocess.Popen[bytes]:
        """Starts a program of the desktop. It is ended with the test."""
        pipes = {"stdin": subprocess.PIPE, "stdout": subprocess.PIPE, "stderr": subprocess.DEVNULL}
        process = subprocess.Popen(command, **pipes, bufsize=0, env=super()._environment(self.variables))
        self.addCleanup(process.__exit__, None, None, None)
        self.addCleanup(process.kill)
        return process

    def start_window_manager(self) -> None:
        config = self.home / "openbox.xml"
        config.write_text(OPENBOX)
        # A window that is older than its manager would not be given the keyboard.
        openbox = self.start("openbox", "--config-file", str(config), "--startup", "echo ready")
        self.assertEqual(next_line(openbox.stdout), "ready")

    def xdotool(self, *arguments: str) -> str:
        done = subprocess.run(["xdotool", *arguments], capture_output=True, env=self._environment({}), timeout=60)
        return done.stdout.decode().strip()

    def wait_until(self, condition: Callable[[], bool]) -> None:
        deadline = time.monotonic() + 60
        while not condition():
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.02)

    def wait_for_opened(self, *names: bytes) -> None:
        """Waits until these files, and no others, have been opened."""
        urls = [b"file://" + os.fsencode(self.root) + b"/" + name for name in names]
        taken = lambda: [*map(unquote_to_bytes, self.opened.read_bytes().split())] if self.opened.exists() else []
        self.wait_until(lambda: len(taken()) >= len(names))
        self.assertEqual(taken(), urls)

    def saved_files(self) -> set[str]:
        """The kinds of files that the program has saved."""
        return {re.split("[-.]", path.name)[0] for path in (self.home / ".local/share/Dovra").iterdir()}
