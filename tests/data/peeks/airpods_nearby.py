#!/usr/bin/env python3
"""A pair of AirPods for BlueZ's stand-in (python3-dbusmock's bluez5
template, already running on the given system bus): connected, with their
product ID, and a nearby advertisement of their levels (left 70 %, right
90 %, case 50 %) each second while someone scans, as the real buds do.
Prints "ready" once the pair is there.

    airpods_nearby.py SYSTEM_BUS_ADDRESS
"""
import sys
import time

import dbus

bus = dbus.bus.BusConnection(sys.argv[1])
for _ in range(100):
    try:
        bus.get_object('org.bluez', '/').Introspect(dbus_interface='org.freedesktop.DBus.Introspectable'); break
    except dbus.DBusException:
        time.sleep(0.1)
mock = dbus.Interface(bus.get_object('org.bluez', '/'), 'org.bluez.Mock')
mock.AddAdapter('hci0', 'desk')
mock.AddDevice('hci0', '00:1B:66:00:00:02', "Ada's AirPods Pro")
mock.ConnectDevice('hci0', '00:1B:66:00:00:02')
pods = dbus.Interface(bus.get_object('org.bluez', '/org/bluez/hci0/dev_00_1B_66_00_00_02'), 'org.freedesktop.DBus.Mock')
pods.UpdateProperties('org.bluez.Device1', {'Modalias': 'bluetooth:v004Cp200Ed0B21'})
mock.AddDevice('hci0', '5A:00:00:00:00:02', '')
nearby = dbus.Interface(bus.get_object('org.bluez', '/org/bluez/hci0/dev_5A_00_00_00_00_02'), 'org.freedesktop.DBus.Mock')
adapter = bus.get_object('org.bluez', '/org/bluez/hci0')
print('ready', flush=True)
# Left 70 %, right 90 %, case 50 %, as the pair says it while someone scans.
message = bytes.fromhex('0719010e202b97450100050000000000000000000000000000000000')
while True:
    if adapter.Get('org.bluez.Adapter1', 'Discovering', dbus_interface='org.freedesktop.DBus.Properties'):
        nearby.EmitSignal('org.freedesktop.DBus.Properties', 'PropertiesChanged', 'sa{sv}as', [
            'org.bluez.Device1',
            {'RSSI': dbus.Int16(-45, variant_level=1),
             'ManufacturerData': dbus.Dictionary({dbus.UInt16(0x4c): dbus.ByteArray(message)}, signature='qv', variant_level=1)},
            dbus.Array([], signature='s')])
        time.sleep(1)
    time.sleep(0.05)
