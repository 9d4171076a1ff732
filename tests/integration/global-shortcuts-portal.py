#!/usr/bin/python3
"""Plays the desktop portal's global shortcuts: global-shortcuts-portal.py LOG ANSWER

ANSWER is what the desktop's user says to the question for the shortcut: 0 yes, 1 no. Each call is a line in LOG. Prints
"ready" once the name is owned, and sends a signal for each line of its standard input, with which it ends:

    press            the shortcut, in the session
    press SESSION ID another one's
    nonsense         a press that does not hold what it should
    close            the end of the session
"""
import sys

import dbus
import dbus.mainloop.glib
import dbus.service
from gi.repository import GLib

ROOT = "/org/freedesktop/portal/desktop"
PORTAL = "org.freedesktop.portal.GlobalShortcuts"

dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
bus = dbus.SessionBus()
log = open(sys.argv[1], "a", buffering=1)
answer = dbus.UInt32(sys.argv[2])


def send(path, interface, member, signature, *arguments):
    message = dbus.lowlevel.SignalMessage(path, interface, member)
    message.append(*arguments, signature=signature)
    bus.send_message(message)


def path(kind, sender, options, key):
    return f"{ROOT}/{kind}/{sender[1:].replace('.', '_')}/{options[key]}"


def respond(request, response, results):
    """As the portal does it: after the call has returned."""
    GLib.timeout_add(20, lambda: send(request, "org.freedesktop.portal.Request", "Response", "ua{sv}", response,
                                      dbus.Dictionary(results, signature="sv")))


class Portal(dbus.service.Object):
    session = None

    @dbus.service.method("org.freedesktop.host.portal.Registry", in_signature="sa{sv}", sender_keyword="sender")
    def Register(self, app, options, sender=None):
        print("Register", app, file=log)

    @dbus.service.method(PORTAL, in_signature="a{sv}", out_signature="o", sender_keyword="sender")
    def CreateSession(self, options, sender=None):
        print("CreateSession", file=log)
        self.session = path("session", sender, options, "session_handle_token")
        request = path("request", sender, options, "handle_token")
        respond(request, dbus.UInt32(0), {"session_handle": self.session})
        return dbus.ObjectPath(request)

    @dbus.service.method(PORTAL, in_signature="oa(sa{sv})sa{sv}", out_signature="o", sender_keyword="sender")
    def BindShortcuts(self, session, shortcuts, parent, options, sender=None):
        for identifier, about in shortcuts:
            print("BindShortcuts", session == self.session, identifier, about["preferred_trigger"],
                  about["description"], file=log)
        bound = dbus.Array([(identifier, {"trigger_description": "Meta+Alt+L"}) for identifier, _ in shortcuts],
                           signature="(sa{sv})")
        request = path("request", sender, options, "handle_token")
        respond(request, answer, {"shortcuts": bound} if answer == 0 else {})
        return dbus.ObjectPath(request)

    def press(self, session=None, identifier="toggle"):
        send(ROOT, PORTAL, "Activated", "osta{sv}", dbus.ObjectPath(session or self.session), identifier,
             dbus.UInt64(1), dbus.Dictionary(signature="sv"))

    def nonsense(self):
        send(ROOT, PORTAL, "Activated", "su", "toggle", 1)

    def close(self):
        send(self.session, "org.freedesktop.portal.Session", "Closed", "a{sv}", dbus.Dictionary(signature="sv"))


def obey(source, condition):
    words = sys.stdin.readline().split()
    if words:
        getattr(portal, words[0])(*words[1:])
    else:
        loop.quit()
    return bool(words)


portal = Portal(bus, ROOT)
name = dbus.service.BusName("org.freedesktop.portal.Desktop", bus)
print("ready", flush=True)
loop = GLib.MainLoop()
GLib.io_add_watch(sys.stdin, GLib.IO_IN | GLib.IO_HUP, obey)
loop.run()
