#!/usr/bin/python3
"""A stand-in for the desktop portal, for tests, on the private bus whose address it is given.

It owns org.freedesktop.portal.Desktop and serves the documented GlobalShortcuts and
RemoteDesktop methods at /org/freedesktop/portal/desktop, answering each request with a Response
signal on the Request object path the portal documentation gives (derived from the caller's
unique name and its handle_token). What it does is set by the test through
org.selvar.test.PortalStandIn at /org/selvar/test/stand_in:

  Configure(s json)    {"refuse": ["GlobalShortcuts.BindShortcuts", ...],   Response 1
                        "silent": ["RemoteDesktop.Start", ...],             no Response ever
                        "missing": ["GlobalShortcuts", ...],                interface not served
                        "bound": {"trigger": "Ctrl+D", ...}}                shortcuts kept earlier
  Calls() -> s json    every portal call so far: [{"method": ..., "args": [...]}, ...]
  Emit(s signal, s id) Activated or Deactivated for the latest shortcuts session

It prints "ready" once it owns the name, and exits when the bus goes away.
"""

import json
import sys

import gi

gi.require_version("Gio", "2.0")
from gi.repository import Gio, GLib  # noqa: E402

PORTAL_NAME = "org.freedesktop.portal.Desktop"
PORTAL_PATH = "/org/freedesktop/portal/desktop"
CONTROL_PATH = "/org/selvar/test/stand_in"

PORTAL_XML = """
<node>
  <interface name="org.freedesktop.portal.GlobalShortcuts">
    <method name="CreateSession">
      <arg type="a{sv}" name="options" direction="in"/>
      <arg type="o" name="handle" direction="out"/>
    </method>
    <method name="BindShortcuts">
      <arg type="o" name="session_handle" direction="in"/>
      <arg type="a(sa{sv})" name="shortcuts" direction="in"/>
      <arg type="s" name="parent_window" direction="in"/>
      <arg type="a{sv}" name="options" direction="in"/>
      <arg type="o" name="request_handle" direction="out"/>
    </method>
    <method name="ListShortcuts">
      <arg type="o" name="session_handle" direction="in"/>
      <arg type="a{sv}" name="options" direction="in"/>
      <arg type="o" name="request_handle" direction="out"/>
    </method>
    <signal name="Activated">
      <arg type="o" name="session_handle"/>
      <arg type="s" name="shortcut_id"/>
      <arg type="t" name="timestamp"/>
      <arg type="a{sv}" name="options"/>
    </signal>
    <signal name="Deactivated">
      <arg type="o" name="session_handle"/>
      <arg type="s" name="shortcut_id"/>
      <arg type="t" name="timestamp"/>
      <arg type="a{sv}" name="options"/>
    </signal>
    <property name="version" type="u" access="read"/>
  </interface>
  <interface name="org.freedesktop.portal.RemoteDesktop">
    <method name="CreateSession">
      <arg type="a{sv}" name="options" direction="in"/>
      <arg type="o" name="handle" direction="out"/>
    </method>
    <method name="SelectDevices">
      <arg type="o" name="session_handle" direction="in"/>
      <arg type="a{sv}" name="options" direction="in"/>
      <arg type="o" name="handle" direction="out"/>
    </method>
    <method name="Start">
      <arg type="o" name="session_handle" direction="in"/>
      <arg type="s" name="parent_window" direction="in"/>
      <arg type="a{sv}" name="options" direction="in"/>
      <arg type="o" name="handle" direction="out"/>
    </method>
    <method name="NotifyKeyboardKeycode">
      <arg type="o" name="session_handle" direction="in"/>
      <arg type="a{sv}" name="options" direction="in"/>
      <arg type="i" name="keycode" direction="in"/>
      <arg type="u" name="state" direction="in"/>
    </method>
    <property name="AvailableDeviceTypes" type="u" access="read"/>
    <property name="version" type="u" access="read"/>
  </interface>
  <interface name="org.freedesktop.portal.Request">
    <signal name="Response">
      <arg type="u" name="response"/>
      <arg type="a{sv}" name="results"/>
    </signal>
  </interface>
</node>
"""

CONTROL_XML = """
<node>
  <interface name="org.selvar.test.PortalStandIn">
    <method name="Configure"><arg type="s" name="json" direction="in"/></method>
    <method name="Calls"><arg type="s" name="json" direction="out"/></method>
    <method name="Emit">
      <arg type="s" name="signal" direction="in"/>
      <arg type="s" name="shortcut_id" direction="in"/>
    </method>
  </interface>
</node>
"""


def escaped(sender):
    return sender.lstrip(":").replace(".", "_")


class StandIn:
    def __init__(self, bus):
        self.bus = bus
        self.config = {}
        self.calls = []
        self.registrations = {}
        self.sessions = {}  # session path -> {"owner": sender, "keyboard": bool}
        self.latest_shortcuts_session = None
        self.bound = {}
        self.tokens = 0
        self.portal_node = Gio.DBusNodeInfo.new_for_xml(PORTAL_XML)
        control = Gio.DBusNodeInfo.new_for_xml(CONTROL_XML)
        bus.register_object(CONTROL_PATH, control.interfaces[0], self.on_control, None, None)
        self.serve()

    # Which interfaces are offered follows the configuration.
    def serve(self):
        missing = set(self.config.get("missing", []))
        for interface in self.portal_node.interfaces:
            name = interface.name.rsplit(".", 1)[1]
            if name == "Request":
                continue
            offered = name not in missing
            if offered and name not in self.registrations:
                self.registrations[name] = self.bus.register_object(
                    PORTAL_PATH, interface, self.on_portal, self.on_property, None)
            elif not offered and name in self.registrations:
                self.bus.unregister_object(self.registrations.pop(name))

    def on_control(self, bus, sender, path, interface, method, params, invocation):
        if method == "Configure":
            self.config = json.loads(params.unpack()[0])
            self.bound = dict(self.config.get("bound", {}))
            self.calls = []
            self.serve()
            invocation.return_value(None)
        elif method == "Calls":
            invocation.return_value(GLib.Variant("(s)", (json.dumps(self.calls),)))
        elif method == "Emit":
            signal, shortcut = params.unpack()
            session = self.latest_shortcuts_session
            if session is None:
                invocation.return_dbus_error("org.selvar.test.Error", "no shortcuts session")
                return
            bus.emit_signal(self.sessions[session]["owner"], PORTAL_PATH,
                            "org.freedesktop.portal.GlobalShortcuts", signal,
                            GLib.Variant("(osta{sv})", (session, shortcut, 0, {})))
            invocation.return_value(None)

    def on_property(self, bus, sender, path, interface, name):
        if name == "AvailableDeviceTypes":
            return GLib.Variant("u", 1)
        return GLib.Variant("u", 1 if interface.endswith("GlobalShortcuts") else 2)

    def on_portal(self, bus, sender, path, interface, method, params, invocation):
        short = interface.rsplit(".", 1)[1] + "." + method
        args = params.unpack()
        self.calls.append({"method": short, "args": args})
        if method == "NotifyKeyboardKeycode":
            session = self.sessions.get(args[0])
            if not session or not session.get("keyboard") or session["owner"] != sender:
                invocation.return_dbus_error("org.freedesktop.portal.Error.NotAllowed",
                                             "the session has no keyboard")
                return
            invocation.return_value(None)
            return
        options = args[0] if method == "CreateSession" else args[-1]
        handle = "%s/request/%s/%s" % (PORTAL_PATH, escaped(sender), options["handle_token"])
        # The Response goes out before the method's reply, as a quick portal's may: a client
        # that subscribes only once it has the reply misses it.
        if short in self.config.get("refuse", []):
            self.respond(sender, handle, 1, {})
        elif short not in self.config.get("silent", []):
            self.respond(sender, handle, 0, self.results(sender, short, args, options))
        invocation.return_value(GLib.Variant("(o)", (handle,)))

    def results(self, sender, short, args, options):
        if short.endswith("CreateSession"):
            session = "%s/session/%s/%s" % (PORTAL_PATH, escaped(sender),
                                            options["session_handle_token"])
            self.sessions[session] = {"owner": sender}
            # GlobalShortcuts documents its session handle as a string, RemoteDesktop as a path.
            if short.startswith("GlobalShortcuts"):
                self.latest_shortcuts_session = session
                return {"session_handle": GLib.Variant("s", session)}
            return {"session_handle": GLib.Variant("o", session)}
        if short == "GlobalShortcuts.BindShortcuts":
            for shortcut_id, info in args[1]:
                self.bound[shortcut_id] = info.get("preferred_trigger", "")
            return {"shortcuts": self.shortcut_list()}
        if short == "GlobalShortcuts.ListShortcuts":
            return {"shortcuts": self.shortcut_list()}
        if short == "RemoteDesktop.SelectDevices":
            self.sessions[args[0]]["types"] = options.get("types", 7)
            self.sessions[args[0]]["persist"] = options.get("persist_mode", 0)
            return {}
        if short == "RemoteDesktop.Start":
            session = self.sessions[args[0]]
            session["keyboard"] = bool(session.get("types", 0) & 1)
            results = {"devices": GLib.Variant("u", session.get("types", 0))}
            if session.get("persist") == 2:
                self.tokens += 1
                results["restore_token"] = GLib.Variant("s", "stand-in-token-%d" % self.tokens)
            return results
        return {}

    def shortcut_list(self):
        return GLib.Variant("a(sa{sv})", [
            (shortcut_id, {"description": GLib.Variant("s", shortcut_id),
                           "trigger_description": GLib.Variant("s", keys)})
            for shortcut_id, keys in sorted(self.bound.items())])

    def respond(self, sender, handle, code, results):
        self.bus.emit_signal(sender, handle, "org.freedesktop.portal.Request", "Response",
                             GLib.Variant("(ua{sv})", (code, results)))


def main():
    flags = (Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT
             | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION)
    bus = Gio.DBusConnection.new_for_address_sync(sys.argv[1], flags, None, None)
    bus.set_exit_on_close(False)
    loop = GLib.MainLoop()
    bus.connect("closed", lambda *_: loop.quit())
    StandIn(bus)
    reply = bus.call_sync("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                          "RequestName", GLib.Variant("(su)", (PORTAL_NAME, 4)),
                          GLib.VariantType("(u)"), Gio.DBusCallFlags.NONE, -1, None)
    if reply.unpack()[0] != 1:
        sys.exit("stand-in portal: the name is taken")
    print("ready", flush=True)
    loop.run()


if __name__ == "__main__":
    main()
