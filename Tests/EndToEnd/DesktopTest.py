#!/usr/bin/env python3
"""Pictures of the panel, and the panel itself on a display and a session bus of its own."""

import os
import struct
import unittest

from desktopSession import HAS_WINDOWS, DesktopSession, missing
from harness import ProgramTest

MISSING = missing("Xvfb", "openbox", "xdotool", "dbus-daemon")


@unittest.skipUnless(HAS_WINDOWS, "no windows")
class Snapshot(ProgramTest):
    def draw(self, *arguments: str, **variables: str) -> bytes:
        picture = self.home / "picture"
        outcome = self.run_program("--snapshot", "--in", self.root, *arguments, picture, variables=variables)
        self.assertEqual((outcome.status, outcome.out, outcome.err), (0, b"", b""))
        return picture.read_bytes()

    def test_pictures_show_the_answer_and_are_the_same_each_time(self) -> None:
        os.utime(self.write("found", b"x" * 100), (1e9, 1e9))
        seen: set[bytes] = set()
        sizes = {(): (760, 560), ("--scale", "2"): (1520, 1120), ("--size", "500x300"): (500, 300)}
        for arguments, size in sizes.items():
            for query in ["", "found", "fnd", "absent*"]:
                for appearance in ["light", "dark"]:
                    how = [*arguments, "--query", query]
                    picture = self.draw(*how, DOVRA_APPEARANCE=appearance)
                    self.assertEqual(struct.unpack(">II", picture[16:24]), size)
                    self.assertNotIn(picture, seen)
                    seen.add(picture)
        self.assertIn(self.draw(), seen)
        previews = [self.draw("--preview", "--query", query) for query in ["found", "absent*", "found"]]
        self.assertEqual(struct.unpack(">II", previews[0][16:24]), (760 + 12 + 480, 560))
        self.assertEqual((previews[0], len(set(previews))), (previews[2], 2))

    def test_what_cannot_be_drawn_or_written_is_told(self) -> None:
        for file, word in {"/dev/full": "No space", "/absent/x": "No such", str(self.root): "directory"}.items():
            outcome = self.run_program("--snapshot", "--in", self.root, file)
            self.assertEqual((outcome.status, outcome.out), (1, b""))
            self.assert_one_line(outcome.err, file, word)
        config = self.home / "fonts.conf"
        config.write_text("<fontconfig/>")
        fontless = {"QT_QPA_PLATFORM": "offscreen", "FONTCONFIG_FILE": str(config)}
        for word, arguments, variables in [
            ("no font", ["--snapshot", "--in", self.root, self.home / "picture"], fontless),
            ("no font", ["--in", self.root], fontless),
            ("no display", [], {}),
        ]:
            outcome = self.run_program(*arguments, variables=variables)
            self.assertEqual((outcome.status, outcome.out), (1, b""))
            self.assert_one_line(outcome.err, word)


class Session(DesktopSession):
    """A test with a window manager too."""

    def setUp(self) -> None:
        super().setUp()
        self.start_window_manager()

    def wait_for_panel(self, visible: bool = True) -> None:
        """Waits until the panel has the keyboard, or is gone."""
        if visible:
            self.wait_until(lambda: self.xdotool("getwindowfocus", "getwindowname") == "Dovra")
        else:
            self.wait_until(lambda: not self.xdotool("search", "--onlyvisible", "--name", "^Dovra$"))


@unittest.skipIf(MISSING, "no windows or no display")
class Panel(Session):
    def previewed(self) -> str:
        """The title of the preview window; empty when there is none."""
        return self.xdotool("search", "--onlyvisible", "--name", "^Preview of", "getwindowname").split(" — ")[0]

    def press_in_preview(self, key: str) -> None:
        """Presses the key with the keyboard in the preview window."""
        self.xdotool("search", "--onlyvisible", "--name", "^Preview of", "windowactivate", "--sync", "key", key)

    def test_a_user_previews_rows_without_leaving_the_panel(self) -> None:
        for name in [b"a one", b"a two"]:
            self.write(name, b"text")
        self.start_program("--in", self.root)
        self.wait_for_panel()
        self.xdotool("type", "a o")  # A space in a text opens nothing.
        self.xdotool("key", "BackSpace", "Return")
        self.wait_for_opened(b"a one")
        self.xdotool("key", "Down", "space")
        self.wait_until(lambda: self.previewed() == "Preview of a two")
        self.wait_for_panel()
        self.xdotool("key", "Up")
        self.wait_until(lambda: self.previewed() == "Preview of a one")
        # With the keyboard it has the same keys.
        self.press_in_preview("Down")
        self.wait_until(lambda: self.previewed() == "Preview of a two")
        for key, preview in [("Escape", ""), ("ctrl+y", "Preview of a two"), ("space", "")]:
            self.xdotool("key", key)
            self.wait_until(lambda: self.previewed() == preview)
            self.wait_for_panel()
        self.xdotool("key", "Escape")
        self.wait_for_panel(visible=False)

    def test_a_user_ends_the_program_while_there_is_a_preview(self) -> None:
        self.write("found")
        for press in [lambda key: self.xdotool("key", key), self.press_in_preview]:
            panel = self.start_program("--in", self.root, "--query", "found")
            self.wait_for_panel()
            self.xdotool("key", "Return")
            self.wait_for_opened(b"found")
            self.opened.unlink()
            self.xdotool("key", "ctrl+y")
            self.wait_until(lambda: self.previewed() != "")
            self.wait_for_panel()
            press("ctrl+q")
            self.assertEqual(panel.wait(60), 0)

    def test_a_user_calls_the_panel_finds_and_opens(self) -> None:
        first, second = b"found \xff & <b>", b"other"
        for name in [first, second]:
            self.write(name)
        panel = self.start_program("--in", self.root)
        self.wait_for_panel()
        self.xdotool("type", "foun")
        self.xdotool("key", "Return")
        self.wait_for_opened(first)
        self.xdotool("key", "Escape")
        self.wait_for_panel(visible=False)
        for visible in [True, False, True]:
            self.xdotool("key", "alt+space")
            self.wait_for_panel(visible)
        # It is on every workspace, so the key hides what the user sees.
        self.xdotool("set_desktop", "1")
        self.wait_until(lambda: self.xdotool("get_desktop") == "1")
        for key, visible in [("Escape", False), ("alt+space", True)]:
            self.xdotool("key", key)
            self.wait_for_panel(visible)
        # Further starts reach the first one, also from where no display is.
        for arguments in [["--toggle"], ["--query", "other"]]:
            outcome = self.run_program(*arguments, variables={"DISPLAY": ""})
            self.assertEqual((outcome.status, outcome.out, outcome.err), (0, b"", b""))
            self.wait_for_panel(visible=arguments != ["--toggle"])
        self.xdotool("key", "Return")
        self.wait_for_opened(first, second)
        # Without a bus one runs beside it, and tells that the key is taken.
        self.variables["DBUS_SESSION_BUS_ADDRESS"] = "unix:path=/absent"
        with self.start_program("--in", self.root) as alone:
            assert alone.stderr
            self.assertTrue(any(b"Alt+Space" in line for line in alone.stderr))
            alone.kill()
        self.wait_for_panel()
        self.xdotool("key", "ctrl+q")
        self.assertEqual(panel.wait(60), 0)
        self.assertLessEqual({"frecency", "index"}, self.saved_files())


if __name__ == "__main__":
    if MISSING:
        print("SKIPPED: tests of the desktop without", *MISSING)
    unittest.main()
