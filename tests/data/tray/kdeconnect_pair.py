#!/usr/bin/env python3
"""Two real KDE Connect daemons, paired with each other, for the share tests.

Each daemon has a network namespace of its own, joined to the other's by a
veth pair, so they find each other by broadcast as two hosts on a LAN would,
without touching the machine's network; and its own home and session bus (a
socket file, reachable from outside). "a" plays the user's computer, "b" the
device files are sent to.

usage: kdeconnect_pair.py WORKDIR
Prints one JSON line once the two are paired and b's share plugin is ready,
{"busA": ..., "nameB": ..., "downloadsB": ...} (or {"error": ...}), then
answers each line of input with "ok"; "stop-b" first ends daemon b, as if
the device went out of range. End of input tears everything down. Needs
root (for the namespaces) and Debian's kdeconnect, iproute2 and dbus.
"""

import json
import os
import re
import signal
import subprocess
import sys
import time

DAEMON = "/usr/lib/x86_64-linux-gnu/libexec/kdeconnectd"
SERVICE = "org.kde.kdeconnect"
NAMES = {"a": "Tarnwick Desk", "b": "Studio Tablet"}


def fail(message):
    print(json.dumps({"error": message}), flush=True)
    sys.exit(1)


class Pair:
    def __init__(self, workdir):
        self.workdir = workdir
        tag = "tw%d" % os.getpid()
        self.netns = {side: tag + side for side in "ab"}
        self.processes = []
        self.daemons = {}

    def bus(self, side):
        return "unix:path=" + os.path.join(self.workdir, side, "bus")

    def dbus(self, side, path, member, *args, dest=SERVICE):
        result = subprocess.run(["dbus-send", "--bus=" + self.bus(side), "--print-reply", "--dest=" + dest, path,
                                 member, *args], capture_output=True, text=True, timeout=10)
        return result.stdout if result.returncode == 0 else ""

    def devices(self, side, paired=False):  # reachable ones only
        out = self.dbus(side, "/modules/kdeconnect", "org.kde.kdeconnect.daemon.devices", "boolean:true",
                        "boolean:" + str(paired).lower())
        return re.findall(r'string "([^"]+)"', out)

    def device_call(self, side, device, method, *args):
        return self.dbus(side, "/modules/kdeconnect/devices/" + device, "org.kde.kdeconnect.device." + method, *args)

    def wait(self, condition, what, timeout=30):
        deadline = time.monotonic() + timeout
        while time.monotonic() < deadline:
            value = condition()
            if value:
                return value
            time.sleep(0.1)
        # The daemons' own last words say why, when a run on another machine fails.
        logs = []
        for side in "ab":
            try:
                with open(os.path.join(self.workdir, side, "kdeconnectd.log"), errors="replace") as f:
                    logs.append("%s: %s" % (side, " | ".join(f.read().splitlines()[-12:])))
            except OSError:
                pass
        fail("timed out waiting for " + what + ("; " + "; ".join(logs) if logs else ""))

    def network(self):
        a, b = self.netns["a"], self.netns["b"]
        steps = [["ip", "netns", "add", a], ["ip", "netns", "add", b],
                 ["ip", "link", "add", a, "type", "veth", "peer", "name", b],
                 ["ip", "link", "set", a, "netns", a], ["ip", "link", "set", b, "netns", b],
                 ["ip", "-n", a, "addr", "add", "10.231.0.1/24", "dev", a],
                 ["ip", "-n", b, "addr", "add", "10.231.0.2/24", "dev", b]]
        for ns in (a, b):
            # The default route carries the daemons' 255.255.255.255 broadcasts.
            steps += [["ip", "-n", ns, "link", "set", "lo", "up"], ["ip", "-n", ns, "link", "set", ns, "up"],
                      ["ip", "-n", ns, "route", "add", "default", "dev", ns]]
        for step in steps:
            result = subprocess.run(step, capture_output=True, text=True)
            if result.returncode != 0:
                fail("%s: %s (network namespaces need root and iproute2)" % (" ".join(step), result.stderr.strip()))

    def start(self, side):
        home = os.path.join(self.workdir, side, "home")
        runtime = os.path.join(self.workdir, side, "run")
        config = os.path.join(home, ".config", "kdeconnect")
        os.makedirs(config, exist_ok=True)
        os.makedirs(runtime, mode=0o700, exist_ok=True)
        with open(os.path.join(config, "config"), "w") as f:
            f.write("[General]\nname=%s\n" % NAMES[side])
        bus = subprocess.Popen(["dbus-daemon", "--session", "--nofork", "--print-address",
                                "--address=" + self.bus(side)], stdout=subprocess.PIPE,
                               stderr=subprocess.DEVNULL, text=True)
        bus.stdout.readline()
        self.processes.append(bus)
        env = dict(os.environ, HOME=home, XDG_RUNTIME_DIR=runtime, XDG_CONFIG_HOME=os.path.join(home, ".config"),
                   XDG_DATA_HOME=os.path.join(home, ".local", "share"), XDG_CACHE_HOME=os.path.join(home, ".cache"),
                   DBUS_SESSION_BUS_ADDRESS=self.bus(side), QT_QPA_PLATFORM="offscreen",
                   # Timed debug lines: a failure's last words then say what each daemon was doing.
                   QT_LOGGING_RULES="kdeconnect.*.debug=true", QT_MESSAGE_PATTERN="%{time process} %{category}: %{message}")
        env.pop("DISPLAY", None)
        log = open(os.path.join(self.workdir, side, "kdeconnectd.log"), "a")
        daemon = subprocess.Popen(["ip", "netns", "exec", self.netns[side], DAEMON], env=env,
                                  stdout=log, stderr=subprocess.STDOUT)
        self.daemons[side] = daemon
        self.processes.append(daemon)
        # Calls made before the daemon owns its name would have the bus start
        # a second one from its service file.
        self.wait(lambda: "boolean true" in self.dbus(side, "/org/freedesktop/DBus", "org.freedesktop.DBus.NameHasOwner",
                                                      "string:" + SERVICE, dest="org.freedesktop.DBus"),
                  "kdeconnectd %s on its bus" % side)

    def stop(self, process):
        process.terminate()
        try:
            process.wait(5)
        except subprocess.TimeoutExpired:
            process.kill()

    def pair(self):
        id_b = self.wait(lambda: self.devices("a"), "a to see b")[0]
        id_a = self.wait(lambda: self.devices("b"), "b to see a")[0]
        # A request sent while the two daemons are still settling their link
        # can be lost, and the asking side then ignores new requests until its
        # own 30 s pairing time-out; so when none has arrived after a while,
        # the other side asks instead. Whichever side is asked accepts; a side
        # that asked and is then asked pairs by itself, with no request left
        # to see. When both first requests are lost, the next ones only count
        # after those time-outs: the wait leaves room for three rounds.
        peers = {"a": id_b, "b": id_a}
        asked = {"since": 0.0, "by": "b"}

        def accepted():
            if id_b in self.devices("a", paired=True):
                return True
            for side in ("b", "a"):
                if "true" in self.device_call(side, peers[side], "hasPairingRequests"):
                    self.device_call(side, peers[side], "acceptPairing")
                    return True
            if time.monotonic() - asked["since"] > 4:
                asked["by"] = "a" if asked["by"] == "b" else "b"
                self.device_call(asked["by"], peers[asked["by"]], "requestPair")
                asked["since"] = time.monotonic()
            return False

        self.wait(accepted, "a pairing request", timeout=100)
        self.wait(lambda: id_b in self.devices("a", paired=True), "the pairing")
        self.wait(lambda: "true" in self.device_call("a", id_b, "hasPlugin", "string:kdeconnect_share"),
                  "the share plugin")

    def teardown(self):
        for process in reversed(self.processes):
            self.stop(process)
        for ns in self.netns.values():
            subprocess.run(["ip", "netns", "del", ns], capture_output=True)


def main():
    if len(sys.argv) != 2:
        fail("usage: kdeconnect_pair.py WORKDIR")
    if not os.access(DAEMON, os.X_OK):
        fail("needs Debian's kdeconnect package (%s)" % DAEMON)
    pair = Pair(os.path.abspath(sys.argv[1]))
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(0))
    try:
        pair.network()
        pair.start("a")
        pair.start("b")
        pair.pair()
        print(json.dumps({"busA": pair.bus("a"), "nameB": NAMES["b"],
                          "downloadsB": os.path.join(pair.workdir, "b", "home", "Downloads")}), flush=True)
        for line in sys.stdin:
            if line.strip() == "stop-b":
                pair.stop(pair.daemons["b"])
            print("ok", flush=True)
    finally:
        pair.teardown()


if __name__ == "__main__":
    main()
