#!/usr/bin/python3
"""A desktop's portal that knows global shortcuts. It prints what it is asked, and presses the key for each line read.

The argument is its answer to a wish for keys: "grant", "refuse" (the user does) or "nothing" (none is granted).
"""

import sys

from gi.repository import Gio, GLib

PATH = "/org/freedesktop/portal/desktop"
INTERFACES = """<node>
<interface name="org.freedesktop.host.portal.Registry">
  <method name="Register"><arg type="s" direction="in"/><arg type="a{sv}" direction="in"/></method>
</interface>
<interface name="org.freedesktop.portal.GlobalShortcuts">
  <method name="CreateSession"><arg type="a{sv}" direction="in"/><arg type="o" direction="out"/></method>
  <method name="BindShortcuts">
    <arg type="o" direction="in"/><arg type="a(sa{sv})" direction="in"/><arg type="s" direction="in"/>
    <arg type="a{sv}" direction="in"/><arg type="o" direction="out"/>
  </method>
</interface></node>"""
SHORTCUTS = "org.freedesktop.portal.GlobalShortcuts"
answer = sys.argv[1]
bus = Gio.bus_get_sync(Gio.BusType.SESSION)
bound = []


def call(_bus, sender, _path, _interface, method, arguments, invocation):
    *given, options = arguments.unpack()
    caller = sender[1:].replace(".", "_")
    if method == "Register":
        print("Register", *given, flush=True)
        return invocation.return_value(None)
    request = f"{PATH}/request/{caller}/{options['handle_token']}"
    if method == "CreateSession":
        status, session = 0, f"{PATH}/session/{caller}/{options['session_handle_token']}"
        results = {"session_handle": GLib.Variant("s", session)}
    else:
        session, shortcuts, _parent = given
        print("Bind", shortcuts[0][1]["preferred_trigger"], flush=True)
        bound[:] = [(session, shortcuts[0][0])]
        status = int(answer == "refuse")
        shown = [(shortcuts[0][0], {"trigger_description": GLib.Variant("s", "Alt+Space")})]
        results = {"shortcuts": GLib.Variant("a(sa{sv})", shown if answer == "grant" else [])}
    # The answer overtakes the reply, which is allowed.
    response = GLib.Variant("(ua{sv})", (status, results))
    bus.emit_signal(sender, request, "org.freedesktop.portal.Request", "Response", response)
    invocation.return_value(GLib.Variant("(o)", (request,)))


def press(*_event):
    if not sys.stdin.readline():
        loop.quit()
    for session, name in bound:
        values = (session, name, 0, {"activation_token": GLib.Variant("s", "token")})
        bus.emit_signal(None, PATH, SHORTCUTS, "Activated", GLib.Variant("(osta{sv})", values))
    return True


for interface in Gio.DBusNodeInfo.new_for_xml(INTERFACES).interfaces:
    bus.register_object(PATH, interface, call)
Gio.bus_own_name_on_connection(
    bus, "org.freedesktop.portal.Desktop", 0, lambda *_: print("ready", flush=True), None
)
loop = GLib.MainLoop()
GLib.io_add_watch(sys.stdin.fileno(), GLib.PRIORITY_DEFAULT, GLib.IO_IN | GLib.IO_HUP, press)
loop.run()
