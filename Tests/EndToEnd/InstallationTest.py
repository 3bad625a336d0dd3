#!/usr/bin/env python3
"""The installed program: its files stand in their places and are valid, it may be moved, and the bus can start it."""

import os
import shutil
import struct
import subprocess
import unittest
from pathlib import Path
from xml.etree import ElementTree

import DesktopTest
from desktopSession import HAS_WINDOWS, missing
from harness import PROGRAM, ProgramTest

ID = "org.dovra.Dovra"
VALIDATORS = [
    ["desktop-file-validate", f"share/applications/{ID}.desktop"],
    ["appstreamcli", "validate", "--no-net", f"share/metainfo/{ID}.metainfo.xml"],
    ["man", "--warnings", "--local-file", "-Tutf8", "share/man/man1/dovra.1"],
]
MISSING_VALIDATORS = [command[0] for command in VALIDATORS if not shutil.which(command[0])]
MISSING = [*DesktopTest.MISSING, *missing("gdbus")]


def install(prefix: Path, **variables: str) -> None:
    command = ["cmake", "--install", Path(PROGRAM).parent, "--prefix", prefix]
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL, env={**os.environ, **variables})


class Files(ProgramTest):
    def test_files_are_valid_and_name_the_place_where_they_will_be_used(self) -> None:
        prefix = Path("/absent/my programs")
        install(prefix, DESTDIR=str(self.home))
        installed = self.home / prefix.relative_to("/")
        for command in VALIDATORS:
            file = installed / command[-1]
            self.assertEqual(file.exists(), HAS_WINDOWS or "share/man" in command[-1])
            if not file.exists() or command[0] in MISSING_VALIDATORS:
                continue
            environment = {"PATH": os.defpath, "LC_ALL": "C.UTF-8"}
            streams = {"stdout": subprocess.PIPE, "stderr": subprocess.STDOUT}
            done = subprocess.run([*command[:-1], file], env=environment, **streams)
            self.assertEqual(done.returncode, 0, done.stdout)
            self.assertNotIn(b"warning", done.stdout)
        manual = (installed / "share/man/man1/dovra.1").read_text().replace("\\-", "-")
        # The help of the program has a word of its options or modes at the beginning of each line.
        for line in self.run_program("--help").out.decode().splitlines():
            for word in line.removeprefix("  dovra").split()[:2]:
                self.assertTrue(not word.startswith("--") or word.rstrip(",") in manual, word)
        if not HAS_WINDOWS:
            return
        entries = [f"share/applications/{ID}.desktop", f"etc/xdg/autostart/{ID}.desktop"]
        for name in [*entries, f"share/dbus-1/services/{ID}.service"]:
            self.assertIn(f'\nExec="{prefix}/bin/dovra"', (installed / name).read_text())
        icons = installed / "share/icons/hicolor"
        for name in ["scalable/apps/{}.svg", "symbolic/apps/{}-symbolic.svg"]:
            self.assertTrue(ElementTree.parse(icons / name.format(ID)).getroot().tag.endswith("}svg"))
        for size in [16, 22, 24, 32, 48, 64, 128, 256, 512]:
            picture = (icons / f"{size}x{size}/apps/{ID}.png").read_bytes()
            self.assertEqual(struct.unpack(">II", picture[16:24]), (size, size))

    def test_the_program_works_wherever_it_was_moved(self) -> None:
        install(self.home / "first")
        moved = (self.home / "first").rename(self.home / "second")
        program = str(moved / "bin/dovra")
        outcome = self.run_program(program, "--version", script='exec "$@"')
        self.assertEqual((outcome.status, outcome.out), (0, self.run_program("--version").out))
        outcome = self.run_program(program, "--snapshot", "--in", self.root, "/dev/null", script='exec "$@"')
        self.assertEqual((outcome.status, outcome.err.count(b"were not built")), (0, 0) if HAS_WINDOWS else (1, 1))


@unittest.skipIf(MISSING, "no windows, no display or no programs of a desktop")
class Activation(DesktopTest.Session):
    def setUp(self) -> None:
        super().setUp()
        prefix = self.home / ".local"
        install(prefix)
        self.program = str(prefix / "bin/dovra")
        # The whole machine would take long to index.
        service = prefix / f"share/dbus-1/services/{ID}.service"
        service.write_text(service.read_text().replace("--background", f'--background --in "{self.root}"'))
        self.call("org.freedesktop.DBus.ReloadConfig")

    def run_tool(self, *command: str | Path) -> str:
        done = subprocess.run(command, capture_output=True, env=self._environment({}), timeout=60)
        self.assertEqual(done.returncode, 0, done.stderr)
        return done.stdout.decode()

    def call(self, method: str, *arguments: str, path: str = "/", name: str = "org.freedesktop.DBus") -> str:
        how = ["--session", "--dest", name, "--object-path", path, "--method", method]
        return self.run_tool("gdbus", "call", *how, *arguments)

    def ask(self, method: str, *arguments: str) -> None:
        """Calls the program as a launcher does, which has the bus start it."""
        self.call(f"org.freedesktop.Application.{method}", *arguments, "@a{sv} {}", path="/org/dovra/Dovra", name=ID)

    def is_running(self) -> bool:
        return "true" in self.call("org.freedesktop.DBus.NameHasOwner", ID)

    def quit(self) -> None:
        self.wait_for_panel()
        self.xdotool("key", "ctrl+q")
        self.wait_until(lambda: not self.is_running())

    def test_the_bus_starts_the_program_and_each_request_shows_the_panel_once(self) -> None:
        for name in ["alone", "twin 1", "twin 2"]:
            self.write(name, name[:4].encode())
        toggle = ["ActivateAction", "toggle", "@av []"]
        for request in [["Activate"], ["Open", "@as []"], toggle]:
            self.assertFalse(self.is_running())
            self.ask(*request)
            self.wait_for_panel()
            self.ask(*toggle)
            self.wait_for_panel(visible=False)
            self.ask(*request)
            self.quit()
        self.ask("ActivateAction", "find-duplicates", "@av []")
        self.wait_for_panel()
        taken = lambda: self.opened.read_bytes() if self.opened.exists() else b""
        # Nothing tells when the rows are there.
        self.wait_until(lambda: self.xdotool("key", "Return") == "" and taken() != b"")
        self.assertIn(b"/twin%20", taken())
        self.quit()

    def test_a_start_in_the_background_shows_no_panel_until_it_is_called(self) -> None:
        program = self.start(self.program, "--background", "--in", str(self.root))
        self.wait_until(self.is_running)
        # A second such start is over at once.
        self.run_tool(self.program, "--background")
        # The answer comes from its event loop, which begins when the start is done.
        path = ["--object-path", "/org/dovra/Dovra"]
        self.run_tool("gdbus", "introspect", "--session", "--dest", ID, *path)
        # Before its first call the panel has no window, not even one that waits for the window manager.
        self.assertEqual(self.xdotool("search", "--name", "^Dovra$"), "")
        self.run_tool(self.program)
        self.quit()
        self.assertEqual(program.wait(60), 0)


if __name__ == "__main__":
    if lacking := list(dict.fromkeys([*MISSING_VALIDATORS, *MISSING])):
        print("SKIPPED: tests of the installation without", *lacking)
    unittest.main()
