#!/usr/bin/python3
"""The real tarnwick with the camera mirror out, with the software renderer,
on a private X11 desktop whose PipeWire server offers one 640x480 camera at
30 fps (PipeWire's own test picture node, linked by this script as a session
manager would). Reports the process's CPU (utime + stime) over the window
with the drawer out, its RSS with the drawer out and after it closed, and
the time from the drawer closing (the app's own log line) to the camera
having no reader left. These machines are shared: the load average is
printed beside each figure.

Usage: camera_app.py TARNWICK_BINARY [SECONDS]"""

import json
import os
import shutil
import subprocess
import sys
import threading
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "e2e"))
from x11session import X11Session  # noqa: E402

binary = os.path.abspath(sys.argv[1])
seconds = float(sys.argv[2]) if len(sys.argv) > 2 else 30.0
ticks = os.sysconf("SC_CLK_TCK")
CENTRE_X = 756
MIRROR_X = 500  # over the left strip of the open Nook

for tool, package in (("pipewire", "pipewire"), ("pw-cli", "pipewire-bin"), ("pw-dump", "pipewire-bin"),
                      ("pw-link", "pipewire-bin")):
    if shutil.which(tool) is None:
        raise SystemExit(f"{tool} is missing: install the Debian package {package}")


def cpu_ticks(pid):
    fields = open(f"/proc/{pid}/stat").read().rsplit(")", 1)[1].split()
    return int(fields[11]) + int(fields[12])


def rss_mib(pid):
    for line in open(f"/proc/{pid}/status"):
        if line.startswith("VmRSS:"):
            return int(line.split()[1]) / 1024
    return 0.0


class Cameras:
    """A private PipeWire with one test picture camera, and a linker."""

    def __init__(self, s):
        self.s = s
        conf = os.path.join(s.env["XDG_CONFIG_HOME"], "pipewire", "pipewire.conf.d")
        os.makedirs(conf)
        open(os.path.join(conf, "cameras.conf"), "w").write(
            "context.spa-libs = { videotestsrc = videotestsrc/libspa-videotestsrc }\n")
        s.spawn(["pipewire"])
        s.wait_for(lambda: os.path.exists(os.path.join(s.env["XDG_RUNTIME_DIR"], "pipewire-0")), 10,
                   "pipewire did not start")
        s.run(["pw-cli", "create-node", "adapter", "{ factory.name=videotestsrc node.name=BenchCamera "
               "node.description=BenchCamera media.class=Video/Source object.linger=true }"])
        self.running = True
        self.thread = threading.Thread(target=self.link, daemon=True)
        self.thread.start()

    def dump(self):
        out = self.s.run(["pw-dump", "--no-colors"], check=False).stdout
        try:
            return json.loads(out)
        except ValueError:
            return []

    def readers(self, objects=None):
        objects = self.dump() if objects is None else objects
        cameras = {o["id"] for o in objects if o.get("type") == "PipeWire:Interface:Node"
                   and o["info"]["props"].get("media.class") == "Video/Source"}
        return sum(1 for o in objects if o.get("type") == "PipeWire:Interface:Link"
                   and o["info"]["output-node-id"] in cameras)

    def link(self):
        while self.running:
            objects = self.dump()
            ports = {}
            linked = {o["info"]["input-port-id"] for o in objects if o.get("type") == "PipeWire:Interface:Link"}
            for o in objects:
                if o.get("type") == "PipeWire:Interface:Port":
                    ports.setdefault((int(o["info"]["props"]["node.id"]), o["info"]["direction"]), []).append(o["id"])
            camera = [o["id"] for o in objects if o.get("type") == "PipeWire:Interface:Node"
                      and o["info"]["props"].get("media.class") == "Video/Source"]
            for o in objects:
                if o.get("type") == "PipeWire:Interface:Node" and \
                        o["info"]["props"].get("media.class") == "Stream/Input/Video" and camera:
                    inputs = ports.get((o["id"], "input"), [])
                    outputs = ports.get((camera[0], "output"), [])
                    if inputs and outputs and inputs[0] not in linked:
                        self.s.run(["pw-link", str(outputs[0]), str(inputs[0])], check=False)
            time.sleep(0.02)


s = X11Session().start().start_buses()
try:
    cameras = Cameras(s)
    s.move(CENTRE_X, 600)
    log_path = os.path.join(s.tmp, "app.log")
    env = dict(s.env, QT_QUICK_BACKEND="software", QT_MESSAGE_PATTERN="%{category}: %{message}",
               QT_LOGGING_RULES="tarnwick.camera.debug=true")
    proc = subprocess.Popen([binary], env=env, stdout=subprocess.DEVNULL, stderr=open(log_path, "w"))
    s.procs.append(proc)
    s.wait_for(lambda: "IsViewable" in s.run(["xwininfo", "-name", "Tarnwick"], check=False).stdout, 10, "no panel")
    time.sleep(3)
    print(f"one core = 100 %; {os.cpu_count()} cores", flush=True)
    print(f"RSS before the drawer first came out: {rss_mib(proc.pid):.1f} MiB", flush=True)

    s.move(CENTRE_X, 8)
    time.sleep(1.0)
    s.move(CENTRE_X, 80)
    time.sleep(0.2)
    s.move(MIRROR_X, 80)
    s.wait_for(lambda: cameras.readers() > 0, 15, "the drawer did not open the camera")
    time.sleep(3)  # the detector's model is made, the preview settles
    s.screenshot("/tmp/bench-camera-open.png", crop="1000x170+0+0")
    load0 = os.getloadavg()[0]
    c0, t0 = cpu_ticks(proc.pid), time.monotonic()
    time.sleep(seconds)
    c1, t1 = cpu_ticks(proc.pid), time.monotonic()
    percent = 100.0 * (c1 - c0) / ticks / (t1 - t0)
    print(f"drawer out, 640x480 at 30 fps: {percent:.2f} % of one core over {t1 - t0:.0f} s "
          f"(load average {load0:.2f} -> {os.getloadavg()[0]:.2f})", flush=True)
    print(f"RSS with the drawer out: {rss_mib(proc.pid):.1f} MiB", flush=True)

    marks = len(open(log_path).read().splitlines())
    s.move(CENTRE_X, 600)
    closed = None
    deadline = time.monotonic() + 10
    while closed is None and time.monotonic() < deadline:
        if any("closing the camera" in line for line in open(log_path).read().splitlines()[marks:]):
            closed = time.monotonic()
        time.sleep(0.002)
    if closed is None:
        raise SystemExit("the drawer did not close the camera")
    s.wait_for(lambda: cameras.readers() == 0, 10, "the camera kept a reader", interval=0.002)
    print(f"drawer closed -> no reader on the camera: {1000 * (time.monotonic() - closed):.0f} ms "
          "(pw-dump's own time included)", flush=True)
    time.sleep(3)
    print(f"RSS 3 s after the drawer closed: {rss_mib(proc.pid):.1f} MiB", flush=True)
    cameras.running = False
finally:
    s.stop()
