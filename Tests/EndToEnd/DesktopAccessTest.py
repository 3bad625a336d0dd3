#!/usr/bin/env python3
"""The panel as assistive programs see it, and its menu as a desktop with a status area does."""

from __future__ import annotations

import subprocess
import sys
import unittest
from collections.abc import Iterator
from typing import Any

from desktopSession import DesktopSession, missing, next_line

MISSING = missing("Xvfb", "openbox", "xdotool", "dbus-daemon")
try:
    import gi

    gi.require_version("Atspi", "2.0")
    from gi.repository import Gio, GLib
except (ImportError, ValueError):
    MISSING.append("gir1.2-atspi-2.0 and python3-gi")

MENU = "com.canonical.dbusmenu"
HOST = "org.kde.StatusNotifierWatcher"
HOST_XML = f"""<node><interface name="{HOST}">
  <method name="RegisterStatusNotifierItem"><arg type="s" direction="in"/></method>
  <property name="IsStatusNotifierHostRegistered" type="b" access="read"/>
</interface></node>"""
# Prints what a screen reader would: in its own process, because the library knows one session only.
READER = """
import sys
import gi
gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib
def tell(event):
    if event.detail1 and event.source.get_role() == Atspi.Role.TABLE_CELL:
        print("moved to", event.source.get_name(), sep="|", flush=True)
def dump(node):
    for i in range(node.get_child_count()):
        child = node.get_child_at_index(i)
        states = child.get_state_set()
        if states.contains(Atspi.StateType.SHOWING):
            isSelected = states.contains(Atspi.StateType.SELECTED)
            print(child.get_role_name(), child.get_name(), *["selected"] * isSelected, sep="|")
            dump(child)
listener = Atspi.EventListener.new(tell)
listener.register("object:state-changed:focused")
print("ready", flush=True)
def command(*_):
    sys.stdin.readline()
    dump(Atspi.get_desktop(0))
    print("end", flush=True)
    return True
GLib.io_add_watch(0, GLib.IO_IN, command)
Atspi.event_main()
"""


@unittest.skipIf(MISSING, "no windows, no display or no bindings")
class Access(DesktopSession):
    def setUp(self) -> None:
        super().setUp()
        self.variables["QT_LINUX_ACCESSIBILITY_ALWAYS_ON"] = "1"
        self.bus = Gio.DBusConnection.new_for_address_sync(
            self.variables["DBUS_SESSION_BUS_ADDRESS"],
            Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION,
            None,
            None,
        )
        self.addCleanup(self.bus.close_sync)

    def call(self, name: str, path: str, method: str, arguments: Any = None) -> Any:
        interface, member = method.rsplit(".", 1)
        reply = self.bus.call_sync(name, path, interface, member, arguments, None, 0, 60_000, None)
        return reply.unpack()

    def wait_until_done(self, condition: Any) -> None:
        """As `wait_until`, while this process answers calls."""

        def met() -> bool:
            while GLib.MainContext.default().iteration(False):
                pass
            return bool(condition())

        self.wait_until(met)


class Reader(Access):
    def test_controls_rows_and_the_selection_are_told(self) -> None:
        for name in [b"one & <b>", b"one\n\xff", b"one two"]:
            self.write(name, b"x" * 1500)
        reader = self.start(sys.executable, "-B", "-c", READER)
        self.assertEqual(next_line(reader.stdout), "ready")
        self.start_window_manager()
        self.start_program("--in", self.root)

        def has(*lines: str) -> bool:
            assert reader.stdin
            reader.stdin.write(b"\n")
            return {*lines} <= {*iter(lambda: next_line(reader.stdout), "end")}

        buttons = ["push button|ext:pdf, by type", "push button|Menu"]
        self.wait_until(lambda: has("frame|Dovra", "text|Search", *buttons))
        self.xdotool("type", "one")
        first, second = "one\\n\ufffd", "one & <b>"
        table = ["tree|Results", "table column header|Size", "push button|Clear search", "label|3 matches"]
        rows = [f"table cell|{first}|selected", f"table cell|{second}", "table cell|2 KB|selected"]
        self.wait_until(lambda: has(*table, *rows))
        # The field keeps the keyboard, and yet the row is told.
        self.xdotool("key", "Down")
        self.wait_until(lambda: has(f"moved to|{second}", f"table cell|{first}", f"table cell|{second}|selected"))


class Tray(Access):
    def setUp(self) -> None:
        super().setUp()
        self.items: list[str] = []
        host = Gio.DBusNodeInfo.new_for_xml(HOST_XML).interfaces[0]

        def register(*call: Any) -> None:
            self.items.append(call[1])
            call[6].return_value(None)

        self.bus.register_object("/StatusNotifierWatcher", host, register, lambda *_: GLib.Variant("b", True), None)

    def own_host(self) -> None:
        self.call("org.freedesktop.DBus", "/", "org.freedesktop.DBus.RequestName", GLib.Variant("(su)", (HOST, 4)))

    def layout(self, item: int = 0) -> Iterator[tuple[int, dict[str, Any]]]:
        """The items of a menu, as a desktop asks for them when it opens it."""
        name = self.items[-1]
        self.call(name, "/MenuBar", MENU + ".AboutToShow", GLib.Variant("(i)", (item,)))
        arguments = GLib.Variant("(iias)", (item, 1, []))
        _, (_, _, children) = self.call(name, "/MenuBar", MENU + ".GetLayout", arguments)
        for number, properties, _ in children:
            yield number, properties

    def menu(self, item: int = 0) -> dict[str, tuple[int, dict[str, Any]]]:
        return {properties.get("label", "-"): (number, properties) for number, properties in self.layout(item)}

    def saved(self) -> dict[str, tuple[int, dict[str, Any]]]:
        return self.menu(self.menu()["Saved Searches"][0])

    def click(self, number: int) -> None:
        arguments = GLib.Variant("(isvu)", (number, "clicked", GLib.Variant("s", ""), 0))
        self.call(self.items[-1], "/MenuBar", MENU + ".Event", arguments)

    def test_the_menu_works_from_a_status_area_that_comes_and_goes(self) -> None:
        panel = self.start_program("--in", self.root)
        self.own_host()
        self.wait_until_done(lambda: self.items)
        names = ["Show Search  (Alt+Space)", "Find Duplicate Files", "Saved Searches", "-", "Rebuild Index"]
        fast = "Fast Regex _& Similarity (more memory)"
        self.assertEqual([*self.menu()], [*names, fast, "Quit Dovra"])
        self.click(self.menu()[fast][0])
        self.wait_until(lambda: self.menu()[fast][1]["toggle-state"] == 1)

        self.assertEqual([*self.saved()], ["No Saved Searches", "-", "Save Current Search…"])
        self.assertFalse(self.saved()["No Saved Searches"][1]["enabled"])
        # Another process saves. "_" marks a letter there, and "__" stands for itself.
        self.assertEqual(self.run_program("--saved", "--add", b"a_b & <b> & c\n\xff", "a").status, 0)
        shown = "a__b _& <b> & c\\n\ufffd"
        updates: list[Any] = []
        self.bus.signal_subscribe(None, MENU, "LayoutUpdated", None, None, 0, lambda *call: updates.append(call))
        self.saved()
        self.wait_until_done(lambda: updates)
        items = [shown, "-", "Remove Saved Search", "Save Current Search…"]
        self.wait_until(lambda: [*self.saved()] == items)
        self.click(self.saved()[shown][0])
        # The query can be saved now.
        self.wait_until(lambda: self.saved()["Save Current Search…"][1].get("enabled", True))
        self.click(self.menu()["Find Duplicate Files"][0])

        # The area is started anew.
        self.call("org.freedesktop.DBus", "/", "org.freedesktop.DBus.ReleaseName", GLib.Variant("(s)", (HOST,)))
        self.items.clear()
        self.own_host()
        self.wait_until_done(lambda: self.items)
        self.click(self.menu(self.saved()["Remove Saved Search"][0])[shown][0])
        self.wait_until(lambda: "No Saved Searches" in self.saved())
        self.click(self.menu()["Quit Dovra"][0])
        self.assertEqual(panel.wait(60), 0)
        self.assertIn("index", self.saved_files())


if __name__ == "__main__":
    if MISSING:
        print("SKIPPED: tests of the desktop without", *MISSING)
    unittest.main()
