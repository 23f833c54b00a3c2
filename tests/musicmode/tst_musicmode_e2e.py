#!/usr/bin/python3
"""End to end: the real tarnwick binary with Music mode on, a real MPRIS
player (mpv with mpv-mpris) playing a track with a cover, and KDE's accent
colour in a private kdeglobals. The user's accent must come back after a
polite quit at once, and after a kill -9 at the next start.
Usage: tst_musicmode_e2e.py TARNWICK_BINARY HELPER_BINARY"""

import os
import shutil
import signal
import subprocess
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "e2e"))
from x11session import run_scenarios  # noqa: E402

BINARY = os.path.abspath(sys.argv[1])
HELPER = os.path.abspath(sys.argv[2])
MPRIS_PLUGIN = "/etc/mpv/scripts/mpris.so"
USERS_ACCENT = "61,174,233"
NEEDS = {"mpv": "mpv", "kreadconfig5": "libkf5config-bin", "kwriteconfig5": "libkf5config-bin", "ffmpeg": "ffmpeg"}


def require():
    missing = sorted({pkg for tool, pkg in NEEDS.items() if shutil.which(tool) is None})
    if not os.path.exists(MPRIS_PLUGIN):
        missing.append("mpv-mpris")
    if missing:
        raise SystemExit("missing tools; install the Debian packages: " + " ".join(missing))


def prepare(s):
    """A KDE user with their own accent, Music mode switched on, and an
    album (a tone and a red cover) to play."""
    s.env.update(XDG_CURRENT_DESKTOP="KDE", TARNWICK_NOWPLAYING_HELPER=HELPER)
    config = s.env["XDG_CONFIG_HOME"]
    os.makedirs(os.path.join(config, "Tarnwick"), exist_ok=True)
    with open(os.path.join(config, "kdeglobals"), "w") as f:
        f.write(f"[General]\nAccentColor={USERS_ACCENT}\nColorScheme=BreezeDark\n")
    with open(os.path.join(config, "Tarnwick", "Tarnwick.conf"), "w") as f:
        f.write("[General]\nmusicMode.on=true\nmusicMode.appliedWallpaper=/old/poster.png\n")
    # Posters that an older Tarnwick set as the wallpaper itself.
    os.makedirs(os.path.join(s.env["XDG_DATA_HOME"], "Tarnwick", "Wallpapers"))
    with open(os.path.join(s.env["XDG_DATA_HOME"], "Tarnwick", "Wallpapers", "poster.png"), "w") as f:
        f.write("old poster")
    s.music = os.path.join(s.tmp, "music")
    os.makedirs(s.music)
    s.run(["ffmpeg", "-loglevel", "error", "-f", "lavfi", "-i", "sine=sample_rate=8000:duration=120",
           os.path.join(s.music, "Red Song.flac")])
    s.run(["convert", "-size", "64x64", "xc:#c0392b", os.path.join(s.music, "cover.png")])


def play(s):
    return s.spawn(["mpv", "--no-config", "--ao=null", "--vo=null", "--no-terminal", "--idle=no",
                    "--script=" + MPRIS_PLUGIN, os.path.join(s.music, "Red Song.flac")])


def accent(s):
    return s.run(["kreadconfig5", "--file", "kdeglobals", "--group", "General", "--key", "AccentColor"]).stdout.strip()


def tint_keys(s):
    with open(os.path.join(s.env["XDG_CONFIG_HOME"], "Tarnwick", "Tarnwick.conf")) as f:
        text = f.read()
    return [k for k in ("appliedTint", "originalTint") if k + "=" in text]


def launch(s):
    log = open(os.path.join(s.tmp, "tarnwick.log"), "a")
    return s.spawn([BINARY], stdout=log, stderr=subprocess.STDOUT)


def album_tint_applied(s, app):
    s.wait_for(lambda: accent(s) not in ("", USERS_ACCENT), 20, "the album's colour never reached kdeglobals")
    s.wait_for(lambda: tint_keys(s) == ["appliedTint", "originalTint"], 5, "the tint keys were not written")
    assert app.poll() is None, "tarnwick went away"


def a_polite_quit_gives_the_users_accent_back_before_exit(s):
    player = play(s)
    app = launch(s)
    album_tint_applied(s, app)
    assert not os.path.exists(os.path.join(s.env["XDG_DATA_HOME"], "Tarnwick", "Wallpapers")), "old posters kept"
    with open(os.path.join(s.env["XDG_CONFIG_HOME"], "Tarnwick", "Tarnwick.conf")) as f:
        assert "appliedWallpaper" not in f.read(), "the old wallpaper key was kept"
    app.send_signal(signal.SIGTERM)
    assert app.wait(10) == 0, "SIGTERM did not quit normally"
    # Checked after exit with no wait: the restore ran before the process ended.
    assert accent(s) == USERS_ACCENT, f"after SIGTERM the accent is {accent(s)!r}"
    assert tint_keys(s) == [], f"keys left after SIGTERM: {tint_keys(s)}"
    player.terminate()


def the_next_start_after_a_crash_gives_the_users_accent_back(s):
    player = play(s)
    app = launch(s)
    album_tint_applied(s, app)
    app.send_signal(signal.SIGKILL)
    app.wait(10)
    assert accent(s) not in ("", USERS_ACCENT), "kill -9 cannot restore; the test setup is wrong"
    # The music stopped while Tarnwick was gone.
    player.terminate()
    player.wait(5)
    app = launch(s)
    s.wait_for(lambda: accent(s) == USERS_ACCENT, 15, f"the accent stayed {accent(s)!r} after the restart")
    s.wait_for(lambda: tint_keys(s) == [], 5, f"keys left after the restart: {tint_keys(s)}")
    app.send_signal(signal.SIGTERM)
    assert app.wait(10) == 0


TESTS = [a_polite_quit_gives_the_users_accent_back_before_exit,
         the_next_start_after_a_crash_gives_the_users_accent_back]


def scenario(test):
    def run(session):
        session.start_buses()
        prepare(session)
        test(session)
    return test.__name__, {"wallpaper": False}, run


if __name__ == "__main__":
    require()
    sys.exit(run_scenarios([scenario(test) for test in TESTS]))
