#!/usr/bin/python3
"""A scripted MPRIS player on the session bus, for the tests: it plays one
track forever and owns org.mpris.MediaPlayer2.NAME. With --ignore-writes it
accepts writes to Shuffle and LoopStatus and keeps the old values, as the
official Spotify client does; otherwise it honours them. --marker FILE is
written at start, so a test can tell whether anything launched it."""

import argparse
import time

import dbus
import dbus.service
from dbus.mainloop.glib import DBusGMainLoop
from gi.repository import GLib

ROOT = "org.mpris.MediaPlayer2"
PLAYER = "org.mpris.MediaPlayer2.Player"
PROPS = "org.freedesktop.DBus.Properties"

parser = argparse.ArgumentParser()
parser.add_argument("--name", default="spotify")
parser.add_argument("--desktop-entry", default="spotify")
parser.add_argument("--ignore-writes", action="store_true")
parser.add_argument("--no-modes", action="store_true")
parser.add_argument("--shuffle", action="store_true")
parser.add_argument("--title", default="Song")
parser.add_argument("--artist", default="Artist")
parser.add_argument("--seconds", type=float, default=200.0)
parser.add_argument("--marker")
args = parser.parse_args()

if args.marker:
    open(args.marker, "w").write("started\n")


class Player(dbus.service.Object):
    def __init__(self, bus):
        super().__init__(bus, "/org/mpris/MediaPlayer2")
        self.started = time.time()
        self.values = {
            ROOT: {"Identity": args.name, "DesktopEntry": args.desktop_entry},
            PLAYER: {
                "PlaybackStatus": "Playing",
                "Rate": 1.0,
                "Shuffle": dbus.Boolean(args.shuffle),
                "LoopStatus": "None",
                "Metadata": dbus.Dictionary({
                    "mpris:trackid": dbus.ObjectPath("/org/tarnwick/track/1"),
                    "xesam:title": args.title,
                    "xesam:artist": dbus.Array([args.artist], signature="s"),
                    "mpris:length": dbus.Int64(int(args.seconds * 1e6)),
                }, signature="sv"),
            },
        }
        if args.no_modes:
            del self.values[PLAYER]["Shuffle"], self.values[PLAYER]["LoopStatus"]

    def position(self):
        return dbus.Int64(int((time.time() - self.started) * 1e6))

    @dbus.service.method(PROPS, in_signature="ss", out_signature="v")
    def Get(self, interface, name):
        if interface == PLAYER and name == "Position":
            return self.position()
        return self.values[interface][name]

    @dbus.service.method(PROPS, in_signature="s", out_signature="a{sv}")
    def GetAll(self, interface):
        values = dict(self.values.get(interface, {}))
        if interface == PLAYER:
            values["Position"] = self.position()
        return dbus.Dictionary(values, signature="sv")

    @dbus.service.method(PROPS, in_signature="ssv")
    def Set(self, interface, name, value):
        if args.ignore_writes:
            return
        self.values[PLAYER][name] = value
        self.PropertiesChanged(PLAYER, {name: value}, [])

    @dbus.service.signal(PROPS, signature="sa{sv}as")
    def PropertiesChanged(self, interface, changed, invalidated):
        pass


DBusGMainLoop(set_as_default=True)
session = dbus.SessionBus()
player = Player(session)
name = dbus.service.BusName(ROOT + "." + args.name, session)
GLib.MainLoop().run()
