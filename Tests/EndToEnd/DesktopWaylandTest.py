#!/usr/bin/env python3
"""The panel on Wayland with a desktop's portal, and on displays that are not there or go away."""

import os
import subprocess
import unittest

from desktopSession import DesktopSession, missing, next_line

PYTHON = "/usr/bin/python3"  # with the packages of the system
PORTAL = os.path.join(os.path.dirname(os.path.abspath(__file__)), "fakePortal.py")
HAS_GI = os.path.exists(PYTHON) and not subprocess.call([PYTHON, "-c", "from gi.repository import Gio"], stderr=-3)
MISSING = [*missing("Xvfb", "weston", "xdotool", "dbus-daemon"), *([] if HAS_GI else ["python3-gi"])]


@unittest.skipIf(MISSING, "no windows, display, compositor or portal")
class Wayland(DesktopSession):
    def start_portal(self, answer: str) -> subprocess.Popen[bytes]:
        portal = self.start(PYTHON, PORTAL, answer)
        self.assertEqual(next_line(portal.stdout), "ready")
        return portal

    def start_compositor(self) -> subprocess.Popen[bytes]:
        """Starts a compositor in a window of the display, whose keys and pointer it has."""
        config = self.home / "weston.ini"
        config.write_text("[core]\nidle-time=0\n[shell]\npanel-position=none\nanimation=none\nlocking=false\n")
        compositor = self.start("weston", "--backend=x11-backend.so", "--socket=wayland", f"--config={config}")
        self.wait_until((self.home / "runtime/wayland").exists)
        self.xdotool("mousemove", "600", "300")
        self.variables["WAYLAND_DISPLAY"] = "wayland"
        return compositor

    def wait_for_line(self, panel: subprocess.Popen[bytes], *words: bytes) -> None:
        """Waits until the panel or its traced connection has said something with these words."""
        assert panel.stderr
        for line in panel.stderr:
            if all(word in line for word in words):
                return
        self.fail(f"{words} never came")

    def assert_ends_with_the_display(self, panel: subprocess.Popen[bytes], server: subprocess.Popen[bytes]) -> None:
        server.kill()
        self.wait_for_line(panel, b"dovra: the display cannot be used any more: ")
        self.assertEqual(panel.wait(60), 1)
        self.assertLessEqual({"frecency", "index"}, self.saved_files())

    def test_the_portal_calls_the_panel_and_the_keyboard_is_its_own(self) -> None:
        self.write("found")
        compositor = self.start_compositor()
        portal = self.start_portal("grant")
        self.variables["WAYLAND_DEBUG"] = "1"
        panel = self.start_program("--in", self.root)
        self.wait_for_line(panel, b"wl_keyboard", b".enter(")
        for again in [False, True]:
            if again:
                portal.kill()
                portal.wait()
                portal = self.start_portal("grant")
            self.assertEqual(next_line(portal.stdout), "Register org.dovra.Dovra")
            self.assertEqual(next_line(portal.stdout), "Bind ALT+space")
            for change in [b".leave(", b".enter("]:
                assert portal.stdin
                portal.stdin.write(b"\n")
                self.wait_for_line(panel, b"wl_keyboard", change)
        self.xdotool("type", "foun")
        self.xdotool("key", "Return")
        self.wait_for_opened(b"found")
        self.assert_ends_with_the_display(panel, compositor)

    def test_the_stores_are_saved_when_the_x_server_is_killed(self) -> None:
        self.write("found")
        panel = self.start_program("--in", self.root, "--query", "found")
        self.wait_until(lambda: bool(self.xdotool("search", "--onlyvisible", "--name", "^Dovra$")))
        self.xdotool("mousemove", "600", "300")
        while not self.opened.exists():
            self.xdotool("key", "Return")
        self.assert_ends_with_the_display(panel, self.server)

    def test_a_key_that_cannot_be_had_is_told(self) -> None:
        self.variables.update(QT_QPA_PLATFORM="offscreen")
        for answer in ["", "refuse", "nothing"]:
            portal = self.start_portal(answer) if answer else None
            panel = self.start_program("--in", self.root)
            self.wait_for_line(panel, b"Alt+Space cannot be had here", b"dovra --toggle")
            for process in [panel, portal]:
                if process:
                    process.kill()
                    process.wait()

    def test_a_display_that_is_not_there_is_told_in_one_line(self) -> None:
        for name, value, reason in [
            ("DISPLAY", "", "could not connect"),
            ("DISPLAY", ":4000", "could not connect to display :4000"),
            ("WAYLAND_DISPLAY", "absent", "wl_display"),
            ("QT_QPA_PLATFORM", "absent", '"absent"'),
        ]:
            outcome = self.run_program("--in", self.root, variables={"DISPLAY": "", name: value})
            self.assertEqual((outcome.status, outcome.out), (1, b""))
            self.assert_one_line(outcome.err, "dovra: there is no display", reason)


if __name__ == "__main__":
    if MISSING:
        print("SKIPPED: tests of Wayland and of the portal without", *MISSING)
    unittest.main()
