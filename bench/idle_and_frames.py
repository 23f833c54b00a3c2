#!/usr/bin/python3
"""Measures the real tarnwick on a private X11 desktop: start-up time to the
panel being mapped, idle CPU and wake-ups over a window with the Nook
closed and nothing playing, resident memory, and the frame times of one
open/close cycle. Usage: idle_and_frames.py TARNWICK_BINARY [IDLE_SECONDS]"""

import os
import re
import subprocess
import sys
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "e2e"))
from x11session import X11Session  # noqa: E402

binary = os.path.abspath(sys.argv[1])
idle_seconds = float(sys.argv[2]) if len(sys.argv) > 2 else 60.0
ticks = os.sysconf("SC_CLK_TCK")


def cpu_ticks(pid):
    fields = open(f"/proc/{pid}/stat").read().rsplit(")", 1)[1].split()
    return int(fields[11]) + int(fields[12])  # utime + stime


def switches(pid):
    total = 0
    for task in os.listdir(f"/proc/{pid}/task"):
        for line in open(f"/proc/{pid}/task/{task}/status"):
            if line.startswith(("voluntary_ctxt_switches", "nonvoluntary_ctxt_switches")):
                total += int(line.split()[1])
    return total


def rss_kib(pid):
    for line in open(f"/proc/{pid}/status"):
        if line.startswith("VmRSS"):
            return int(line.split()[1])
    return 0


s = X11Session().start()
try:
    s.move(756, 600)
    log_path = os.path.join(s.tmp, "render.log")
    env = dict(s.env, TARNWICK_FRAME_LOG="1")
    started = time.monotonic()
    proc = subprocess.Popen([binary], env=env, stdout=subprocess.DEVNULL, stderr=open(log_path, "w"))
    s.procs.append(proc)
    s.wait_for(lambda: "IsViewable" in s.run(["xwininfo", "-name", "Tarnwick"], check=False).stdout, 10, "no panel")
    startup = time.monotonic() - started
    time.sleep(3)  # let start-up work settle

    c0, w0, t0 = cpu_ticks(proc.pid), switches(proc.pid), time.monotonic()
    time.sleep(idle_seconds)
    c1, w1, t1 = cpu_ticks(proc.pid), switches(proc.pid), time.monotonic()
    elapsed = t1 - t0
    cpu_percent = 100.0 * (c1 - c0) / ticks / elapsed
    wakeups = (w1 - w0) / elapsed
    rss = rss_kib(proc.pid)

    before = len(open(log_path).read().splitlines())
    s.move(756, 8)
    time.sleep(1.2)
    s.move(756, 600)
    time.sleep(1.5)
    lines = open(log_path).read().splitlines()[before:]
    open("/tmp/render-tail.log", "w").write("\n".join(lines))
    matches = [re.search(r"work ([\d.]+) ms, gap ([\d.]+) ms", l) for l in lines]
    frames = [float(m.group(1)) for m in matches if m]
    gaps = [float(m.group(2)) for m in matches if m][1:]
    # The render loop prints per-frame timings; without them count the swaps.
    print(f"start to panel shown: {startup * 1000:.0f} ms")
    print(f"idle over {elapsed:.0f} s: CPU {cpu_percent:.3f} % of one core, {wakeups:.2f} context switches/s")
    print(f"resident memory: {rss / 1024:.1f} MiB")
    if frames:
        frames.sort()
        print(f"open/close cycle: {len(frames)} frames; work per frame median {frames[len(frames)//2]:.2f} ms, "
              f"worst {frames[-1]:.2f} ms (budget 16.7 ms at 60 Hz)")
        motion = sorted(g for g in gaps if g < 100)
        if motion:
            print(f"  gaps between frames while moving: median {motion[len(motion)//2]:.1f} ms, "
                  f"worst {motion[-1]:.1f} ms; gaps over 25 ms: {sum(1 for g in motion if g > 25)}")
    else:
        print("open/close cycle: no per-frame timings in the render log:")
        print("\n".join(lines[-5:]))
finally:
    s.stop()
