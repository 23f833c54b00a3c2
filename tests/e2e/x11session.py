"""A private X11 desktop for end-to-end tests: Xvfb, a compositor, a
window manager and a wallpaper, torn down with the test."""

import os
import shutil
import subprocess
import tempfile
import time
import traceback

REQUIRED = {"Xvfb": "xvfb", "openbox": "openbox", "xcompmgr": "xcompmgr", "hsetroot": "hsetroot", "xdotool": "xdotool",
            "import": "imagemagick", "convert": "imagemagick", "xwininfo": "x11-utils", "xev": "x11-utils",
            "xrandr": "x11-xserver-utils", "xdpyinfo": "x11-utils", "xprop": "x11-utils", "xfwm4": "xfwm4"}


class X11Session:
    def __init__(self, width=1512, height=982, wm="openbox"):
        missing = sorted({pkg for tool, pkg in REQUIRED.items() if shutil.which(tool) is None})
        if missing:
            raise SystemExit("missing tools; install the Debian packages: " + " ".join(missing))
        self.width, self.height, self.wm = width, height, wm
        self.tmp = tempfile.mkdtemp(prefix="tarnwick-e2e-")
        self.procs = []
        number = 200 + os.getpid() % 500
        while os.path.exists(f"/tmp/.X11-unix/X{number}"):
            number += 1
        self.display = f":{number}"
        home = os.path.join(self.tmp, "home")
        self.env = dict(os.environ, DISPLAY=self.display, HOME=home, XDG_CONFIG_HOME=home + "/.config",
                        XDG_DATA_HOME=home + "/.local/share", XDG_CACHE_HOME=home + "/.cache",
                        XDG_RUNTIME_DIR=os.path.join(self.tmp, "run"))
        # Never the developer's own session bus: a quick add typed by a test
        # would land in their real calendar. start_buses() gives a private one.
        for name in ("WAYLAND_DISPLAY", "DBUS_SESSION_BUS_ADDRESS", "QT_QPA_PLATFORM"):
            self.env.pop(name, None)
        os.makedirs(home)
        os.makedirs(self.env["XDG_RUNTIME_DIR"], mode=0o700)

    def start(self, wallpaper=True):
        self.spawn(["Xvfb", self.display, "-screen", "0", f"{self.width}x{self.height}x24", "-nolisten", "tcp"])
        self.wait_for(lambda: self.run(["xdpyinfo"], check=False).returncode == 0, 10, "Xvfb did not start")
        self.spawn(["xcompmgr"])
        # xfwm4's own compositor stays off: xcompmgr draws for both.
        self.spawn(["xfwm4", "--compositor=off"] if self.wm == "xfwm4" else ["openbox"])
        time.sleep(0.4)
        if wallpaper:
            wall = os.path.join(self.tmp, "wall.png")
            self.run(["convert", "-size", f"{self.width}x{self.height}", "gradient:#4a6fa5-#d4a373", wall])
            self.run(["hsetroot", "-fill", wall])
        return self

    def start_buses(self):
        """Private session and system buses, so a test can play the desktop's
        services (python3-dbusmock) without touching the machine's own."""
        for kind in ("SESSION", "SYSTEM"):
            p = self.spawn(["dbus-daemon", "--nofork", "--print-address", "--config-file=/usr/share/dbus-1/session.conf"],
                           stdout=subprocess.PIPE)
            address = p.stdout.readline().decode().strip()
            if not address:
                raise AssertionError("dbus-daemon did not start (Debian package: dbus-daemon)")
            self.env[f"DBUS_{kind}_BUS_ADDRESS"] = address
        return self

    def mock(self, *arguments, system=False):
        """Starts python3-dbusmock with Debian's own interpreter."""
        p = self.spawn(["/usr/bin/python3", "-m", "dbusmock", *(["--system"] if system else []), *arguments])
        time.sleep(0.8)
        if p.poll() is not None:
            raise AssertionError("python3 -m dbusmock failed (Debian package: python3-dbusmock)")

    def spawn(self, argv, **kw):
        p = subprocess.Popen(argv, env=self.env, stdout=kw.pop("stdout", subprocess.DEVNULL),
                             stderr=kw.pop("stderr", subprocess.DEVNULL), **kw)
        self.procs.append(p)
        return p

    def run(self, argv, check=True, **kw):
        return subprocess.run(argv, env=self.env, check=check, capture_output=True, text=True, **kw)

    def stop(self):
        for p in reversed(self.procs):
            if p.poll() is None:
                p.terminate()
                try:
                    p.wait(5)
                except subprocess.TimeoutExpired:
                    p.kill()
        shutil.rmtree(self.tmp, ignore_errors=True)

    @staticmethod
    def wait_for(condition, timeout, message, interval=0.05):
        deadline = time.monotonic() + timeout
        while time.monotonic() < deadline:
            if condition():
                return
            time.sleep(interval)
        raise AssertionError(message)

    def pixel(self, x, y):
        # Eight bits a channel: ImageMagick otherwise prints sixteen.
        out = self.run(["import", "-window", "root", "-crop", f"1x1+{x}+{y}", "-depth", "8", "txt:-"]).stdout
        return out.strip().splitlines()[-1].split("#")[1][:6].lower()

    def screenshot(self, path, crop=None):
        full = os.path.join(self.tmp, "full.png")
        self.run(["import", "-window", "root", full])
        self.run(["convert", full] + (["-crop", crop, "+repage"] if crop else []) + [path])

    def move(self, x, y):
        self.run(["xdotool", "mousemove", str(x), str(y)])

    def xdotool(self, *args):
        return self.run(["xdotool", *map(str, args)], check=False)

    def window_geometry(self, name):
        """(x, y, width, height) of the named window, or None."""
        out = self.run(["xwininfo", "-name", name], check=False).stdout
        keys = ("Absolute upper-left X", "Absolute upper-left Y", "Width", "Height")
        values = dict(line.strip().split(":", 1) for line in out.splitlines() if line.strip().startswith(keys))
        return tuple(int(values[k]) for k in keys) if len(values) == 4 else None


def run_scenarios(scenarios):
    """Runs (name, desktop, test) scenarios, each on a desktop of its own:
    `desktop` holds X11Session's options (and "wallpaper"), test(session)
    sets up what else it needs and checks. Prints one line per scenario and
    what Tarnwick logged for a failing one; returns the exit status.
    TARNWICK_E2E_ONLY=word runs only the scenarios whose name holds it."""
    failed = []
    for name, desktop, test in scenarios:
        if os.environ.get("TARNWICK_E2E_ONLY", "") not in name:
            continue
        started, options = time.monotonic(), dict(desktop)
        wallpaper = options.pop("wallpaper", True)
        session = X11Session(**options)
        try:
            test(session.start(wallpaper=wallpaper))
            print(f"PASS   {name} ({time.monotonic() - started:.1f} s)", flush=True)
        except Exception:
            failed.append(name)
            print(f"FAIL!  {name}")
            traceback.print_exc()
            log = os.path.join(session.tmp, "tarnwick.log")
            if os.path.exists(log):
                print("tarnwick said:\n" + open(log).read(), flush=True)
        finally:
            session.stop()
    print(f"{len(failed)} failed: {failed}" if failed else "all passed")
    return 1 if failed else 0
