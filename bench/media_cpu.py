#!/usr/bin/python3
"""CPU of the real tarnwick while music plays, with the software renderer, on
a private X11 desktop and session bus: the playback wings shown beside the
closed notch (mpd with mpDris2, a music player, so the wings show), then the
Nook open on the Now Playing page, then the same with mpv (a video player:
no wings). Each phase is measured as the process's own CPU time over the
window (utime + stime), with the frames drawn and the load average beside
it, because these machines are shared.

Usage: media_cpu.py TARNWICK_BINARY [SECONDS_PER_PHASE]"""

import math
import os
import shutil
import socket
import struct
import subprocess
import sys
import time
import wave

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "e2e"))
from x11session import X11Session  # noqa: E402

binary = os.path.abspath(sys.argv[1])
seconds = float(sys.argv[2]) if len(sys.argv) > 2 else 60.0
ticks = os.sysconf("SC_CLK_TCK")
helper = os.path.join(os.path.dirname(binary), "..", "helper", "tarnwick-nowplaying")

for tool, package in (("mpd", "mpd"), ("mpDris2", "mpdris2"), ("mpv", "mpv")):
    if shutil.which(tool) is None:
        raise SystemExit(f"{tool} is missing: install the Debian package {package}")


def cpu_ticks(pid):
    fields = open(f"/proc/{pid}/stat").read().rsplit(")", 1)[1].split()
    return int(fields[11]) + int(fields[12])  # utime + stime


def id3_chunk(title, artist):
    # mpd reads a WAV file's tags from an ID3v2.3 tag in an "id3 " chunk.
    def frame(name, text):
        body = b"\x00" + text.encode("latin-1")
        return name + struct.pack(">I", len(body)) + b"\x00\x00" + body
    frames = frame(b"TIT2", title) + frame(b"TPE1", artist)
    size = bytes((len(frames) >> shift) & 0x7F for shift in (21, 14, 7, 0))
    tag = b"ID3\x03\x00\x00" + size + frames
    return b"id3 " + struct.pack("<I", len(tag)) + tag + (b"\x00" if len(tag) % 2 else b"")


def write_tone(path, seconds_long):
    # A quiet 440 Hz tone with a title; mpd plays it to its null output.
    rate = 8000
    with wave.open(path, "wb") as w:
        w.setnchannels(1)
        w.setsampwidth(2)
        w.setframerate(rate)
        w.writeframes(b"".join(struct.pack("<h", int(2000 * math.sin(2 * math.pi * 440 * i / rate)))
                               for i in range(rate * seconds_long)))
    data = open(path, "rb").read() + id3_chunk("Bench Tone", "The Testers")
    open(path, "wb").write(data[:4] + struct.pack("<I", len(data) - 8) + data[8:])


def frames_in(log_path, start_line):
    lines = open(log_path).read().splitlines()
    return sum(1 for line in lines[start_line:] if "work " in line), len(lines)


def measure(proc, log_path, label):
    _, mark = frames_in(log_path, 0)
    load0 = os.getloadavg()[0]
    c0, t0 = cpu_ticks(proc.pid), time.monotonic()
    time.sleep(seconds)
    c1, t1 = cpu_ticks(proc.pid), time.monotonic()
    frames, _ = frames_in(log_path, mark)
    elapsed = t1 - t0
    percent = 100.0 * (c1 - c0) / ticks / elapsed
    print(f"{label}: {percent:.2f} % of one core over {elapsed:.0f} s, {frames / elapsed:.1f} frames/s "
          f"(load average {load0:.2f} -> {os.getloadavg()[0]:.2f})", flush=True)
    return percent


s = X11Session().start().start_buses()
try:
    music = os.path.join(s.tmp, "music")
    os.makedirs(music)
    write_tone(os.path.join(music, "Bench Tone.wav"), 600)
    mpd_dir = os.path.join(s.tmp, "mpd")
    os.makedirs(mpd_dir)
    port = 6600 + os.getpid() % 1000
    conf = os.path.join(mpd_dir, "mpd.conf")
    open(conf, "w").write(f"""music_directory "{music}"
db_file "{mpd_dir}/db"
state_file "{mpd_dir}/state"
pid_file "{mpd_dir}/pid"
bind_to_address "127.0.0.1"
port "{port}"
audio_output {{
    type "null"
    name "bench"
}}
""")
    s.spawn(["mpd", "--no-daemon", conf])
    def answers():
        try:
            socket.create_connection(("127.0.0.1", port), 1).close()
            return True
        except OSError:
            return False
    s.wait_for(answers, 10, "mpd did not start")
    s.spawn(["mpDris2", "--host=127.0.0.1", f"--port={port}", f"--music-dir={music}"])

    def mpd(*commands):
        script = "".join(c + "\n" for c in commands) + "close\n"
        return subprocess.run(["python3", "-c", f"""
import socket; s = socket.create_connection(("127.0.0.1", {port})); s.recv(100)
s.sendall({script!r}.encode()); print(s.makefile().read())"""], capture_output=True, text=True).stdout

    mpd("update")
    time.sleep(1.5)
    mpd("clear", 'add "Bench Tone.wav"', "repeat 1", "play")
    if "state: play" not in mpd("status"):
        raise SystemExit("mpd does not play: " + mpd("status"))
    s.wait_for(lambda: "org.mpris.MediaPlayer2.mpd" in s.run(
        ["dbus-send", "--session", "--print-reply", "--dest=org.freedesktop.DBus", "/org/freedesktop/DBus",
         "org.freedesktop.DBus.ListNames"], check=False).stdout, 10, "mpDris2 is not on the bus")

    s.move(756, 600)
    log_path = os.path.join(s.tmp, "render.log")
    env = dict(s.env, TARNWICK_FRAME_LOG="1", TARNWICK_NOWPLAYING_HELPER=os.path.abspath(helper))
    proc = subprocess.Popen([binary], env=env, stdout=subprocess.DEVNULL, stderr=open(log_path, "w"))
    s.procs.append(proc)
    s.wait_for(lambda: "IsViewable" in s.run(["xwininfo", "-name", "Tarnwick"], check=False).stdout, 10, "no panel")
    time.sleep(5)  # the helper finds the player, the cover and colours settle

    print(f"one core = 100 %; {os.cpu_count()} cores; {seconds:.0f} s per phase", flush=True)
    measure(proc, log_path, "mpd playing, wings shown, Nook closed")
    s.move(756, 8)
    time.sleep(2)
    s.screenshot(os.path.join("/tmp", "bench-media-open.png"), crop="600x160+456+0")
    measure(proc, log_path, "mpd playing, Nook open on Now Playing")
    s.move(756, 600)
    mpd("stop")
    player = s.spawn(["mpv", "--no-config", "--ao=null", "--vo=null", "--no-terminal", "--loop=inf",
                      "--script=/etc/mpv/scripts/mpris.so", os.path.join(music, "Bench Tone.wav")])
    time.sleep(4)
    s.move(756, 8)
    time.sleep(2)
    measure(proc, log_path, "mpv playing, Nook open on Now Playing")
finally:
    s.stop()
