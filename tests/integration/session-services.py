#!/usr/bin/python3
"""Plays the inhibition services of a desktop session: session-services.py LOG NAME...

Each inhibition and its end is a line in LOG. Prints "ready" once the names are owned; ends with its standard input.
"""
import sys

import dbus
import dbus.mainloop.glib
import dbus.service
from gi.repository import GLib

dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
bus = dbus.SessionBus()
log = open(sys.argv[1], 'a', buffering=1)
cookies = iter(range(100, 1000))


def note(*words):
    print(*words, file=log)


def cookie():
    return dbus.UInt32(next(cookies))


class SessionManager(dbus.service.Object):
    interface, path = 'org.gnome.SessionManager', '/org/gnome/SessionManager'

    @dbus.service.method(interface, in_signature='susu', out_signature='u')
    def Inhibit(self, app, window, reason, flags):
        note('SessionManager.Inhibit', app, window, reason, flags)
        return cookie()

    @dbus.service.method(interface, in_signature='u')
    def Uninhibit(self, held):
        note('SessionManager.Uninhibit', held)


class PowerManagement(dbus.service.Object):
    interface, path = 'org.freedesktop.PowerManagement.Inhibit', '/org/freedesktop/PowerManagement/Inhibit'

    @dbus.service.method(interface, in_signature='ss', out_signature='u')
    def Inhibit(self, app, reason):
        note('PowerManagement.Inhibit', app, reason)
        return cookie()

    @dbus.service.method(interface, in_signature='u')
    def UnInhibit(self, held):
        note('PowerManagement.UnInhibit', held)


class ScreenSaver(dbus.service.Object):
    interface, path = 'org.freedesktop.ScreenSaver', '/org/freedesktop/ScreenSaver'

    @dbus.service.method(interface, in_signature='ss', out_signature='u')
    def Inhibit(self, app, reason):
        note('ScreenSaver.Inhibit', app, reason)
        return cookie()

    @dbus.service.method(interface, in_signature='u')
    def UnInhibit(self, held):
        note('ScreenSaver.UnInhibit', held)


class Request(dbus.service.Object):
    @dbus.service.method('org.freedesktop.portal.Request')
    def Close(self):
        note('Request.Close')


class Portal(dbus.service.Object):
    path = '/org/freedesktop/portal/desktop'

    @dbus.service.method('org.freedesktop.portal.Inhibit', in_signature='sua{sv}', out_signature='o')
    def Inhibit(self, window, flags, options):
        note('Portal.Inhibit', repr(str(window)), flags, options['reason'])
        path = f'{self.path}/request/r{next(cookies)}'
        keep.append(Request(bus, path))
        return dbus.ObjectPath(path)


classes = {'org.gnome.SessionManager': SessionManager, 'org.freedesktop.PowerManagement': PowerManagement,
           'org.freedesktop.ScreenSaver': ScreenSaver, 'org.freedesktop.portal.Desktop': Portal}
keep = []
for name in sys.argv[2:]:
    keep += [classes[name](bus, classes[name].path), dbus.service.BusName(name, bus)]
print('ready', flush=True)
loop = GLib.MainLoop()
GLib.io_add_watch(sys.stdin, GLib.IO_IN | GLib.IO_HUP, lambda *_: loop.quit())
loop.run()
