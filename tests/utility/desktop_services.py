#!/usr/bin/env python3
# The desktop services the permission checks ask, on the test's private bus:
# org.a11y.Bus, the desktop portal (Settings, ScreenCast, Background) and its
# permission store. Configure(json) on /control sets the answers; services left
# out of "own" answer ServiceUnknown, as absent ones do (the names stay owned so
# that the bus never starts the real services). Calls() lists portal calls.
import json

import dbus
import dbus.lowlevel
import dbus.service
from dbus.mainloop.glib import DBusGMainLoop
from gi.repository import GLib

PROPS = dbus.PROPERTIES_IFACE
PORTAL = "/org/freedesktop/portal/desktop"
CAST = "org.freedesktop.portal.ScreenCast"
NAMES = {"a11y": "org.a11y.Bus", "portal": "org.freedesktop.portal.Desktop",
         "store": "org.freedesktop.impl.portal.PermissionStore"}
DBusGMainLoop(set_as_default=True)
bus = dbus.SessionBus()
state = {"config": {}, "calls": [], "hung": []}


def cfg(key, default=None):
    return state["config"].get(key, default)


def fail(name):
    raise dbus.exceptions.DBusException("no", name=name)


def present(service):  # an absent service's answer
    if service not in cfg("own", list(NAMES)):
        fail("org.freedesktop.DBus.Error.ServiceUnknown")


def property_of(interface, name, reply, error):
    present("a11y" if interface == "org.a11y.Status" else "portal")
    if cfg("hang"):
        return state["hung"].append(reply)  # never answered
    value = {("org.a11y.Status", "IsEnabled"): cfg("a11y"),
             (CAST, "AvailableSourceTypes"): cfg("sourceTypes"),
             ("org.freedesktop.portal.Background", "version"): cfg("background")}.get((interface, name))
    if value is None:
        error(dbus.exceptions.DBusException("no", name="org.freedesktop.DBus.Error.UnknownProperty"))
    elif isinstance(value, bool):
        reply(dbus.Boolean(value, variant_level=1))
    else:
        reply(dbus.UInt32(value, variant_level=1))


class Properties(dbus.service.Object):
    @dbus.service.method(PROPS, in_signature="ss", out_signature="v", async_callbacks=("reply", "error"))
    def Get(self, interface, name, reply, error):
        property_of(interface, name, reply, error)


class Portal(Properties):
    @dbus.service.method("org.freedesktop.portal.Settings", in_signature="ss", out_signature="v",
                         async_callbacks=("reply", "error"))
    def Read(self, namespace, key, reply, error):
        present("portal")
        if cfg("hang"):
            return state["hung"].append(reply)
        if cfg("colorScheme") is None or (namespace, key) != ("org.freedesktop.appearance", "color-scheme"):
            return error(dbus.exceptions.DBusException("no", name="org.freedesktop.portal.Error.NotFound"))
        reply(dbus.UInt32(cfg("colorScheme"), variant_level=2))

    def request(self, method, sender, options, results):
        present("portal")
        kept = {k: v for k, v in options.items() if k in ("types", "multiple")}
        state["calls"].append([method, {k: bool(v) if isinstance(v, dbus.Boolean) else int(v)
                                        for k, v in kept.items()}])
        path = "%s/request/%s/%s" % (PORTAL, sender[1:].replace(".", "_"), options["handle_token"])
        signal = dbus.lowlevel.SignalMessage(path, "org.freedesktop.portal.Request", "Response")
        signal.append(dbus.UInt32(cfg("responses", {}).get(method, 0)), dbus.Dictionary(results, signature="sv"))
        GLib.idle_add(lambda: bus.send_message(signal) and False)  # once, after the reply
        return dbus.ObjectPath(path)

    @dbus.service.method(CAST, in_signature="a{sv}", out_signature="o", sender_keyword="sender")
    def CreateSession(self, options, sender):
        session = "%s/session/%s/%s" % (PORTAL, sender[1:].replace(".", "_"), options["session_handle_token"])
        return self.request("CreateSession", sender, options, {"session_handle": session})

    @dbus.service.method(CAST, in_signature="oa{sv}", out_signature="o", sender_keyword="sender")
    def SelectSources(self, session, options, sender):
        return self.request("SelectSources", sender, options, {})

    @dbus.service.method(CAST, in_signature="osa{sv}", out_signature="o", sender_keyword="sender")
    def Start(self, session, parent, options, sender):
        return self.request("Start", sender, options, {})


class Sessions(dbus.service.FallbackObject):
    @dbus.service.method("org.freedesktop.portal.Session", in_signature="", out_signature="")
    def Close(self):
        state["calls"].append(["Close", {}])


class Store(dbus.service.Object):
    @dbus.service.method("org.freedesktop.impl.portal.PermissionStore", in_signature="ss", out_signature="a{sas}v")
    def Lookup(self, table, ident):
        present("store")
        if (table, ident) != ("background", "background") or cfg("decisions") is None:
            fail("org.freedesktop.portal.Error.NotFound")
        return ({k: [v] for k, v in cfg("decisions").items()}, dbus.Byte(0, variant_level=1))


class Control(dbus.service.Object):
    @dbus.service.method("com.vesko.test.Desktop", in_signature="s", out_signature="")
    def Configure(self, text):
        state["config"] = json.loads(text)
        state["calls"] = []

    @dbus.service.method("com.vesko.test.Desktop", in_signature="", out_signature="s")
    def Calls(self):
        return json.dumps(state["calls"])


Properties(bus, "/org/a11y/bus")
Portal(bus, PORTAL)
Sessions(bus, PORTAL + "/session")
Store(bus, "/org/freedesktop/impl/portal/PermissionStore")
names = [dbus.service.BusName(name, bus) for name in list(NAMES.values()) + ["com.vesko.test.Desktop"]]
Control(bus, "/control").Configure("{}")
print("ready", flush=True)
GLib.MainLoop().run()
