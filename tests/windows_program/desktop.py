# SPDX-License-Identifier: MIT
"""A desktop of our own for Windows programs: a virtual screen with a window manager and a notification area, and
one Wine server that stays warm on it.

Run as a program it does the same for a command: desktop.py COMMAND [ARGUMENT...]"""

import os
import shutil
import signal
import subprocess
import sys
import tempfile
import time

REPOSITORY = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
sys.path.insert(0, os.path.join(REPOSITORY, "tests/e2e"))

from program import end_with_the_tests  # noqa: E402

SCREEN = (1280, 1024)
TRAY_HEIGHT = 24


def need(name, package):
    path = shutil.which(name)
    assert path, f"{name} is not installed (Debian package {package})"
    return path


class Desktop:
    """`environment` is what a program must be given to appear here."""

    def __init__(self, prefix=None, display=None, screen=SCREEN):
        """`display` is a screen that is there already, a person's perhaps; without it a virtual one is made."""
        self.screen = screen
        self.directory = tempfile.mkdtemp(prefix="qd-", dir="/tmp")
        self.children = []
        self.environment = {
            **os.environ,
            "WINEPREFIX": prefix or os.environ.get("WINEPREFIX") or os.path.join(REPOSITORY, "build/wine"),
            "WINEARCH": "win64", "WINEDEBUG": "-all", "LC_ALL": "C.UTF-8", "HOME": self.directory,
            "WINEDLLOVERRIDES": "mscoree,mshtml=;winemenubuilder.exe=d"}
        self.environment.pop("WAYLAND_DISPLAY", None)
        try:
            if display is None:
                self._start_screen()
            else:
                self.environment["DISPLAY"] = display
                self.environment.setdefault("XAUTHORITY", os.path.expanduser("~/.Xauthority"))
            self._start_wine()
        except BaseException:
            self.stop()
            raise

    def _start(self, *command, **options):
        log = open(os.path.join(self.directory, os.path.basename(command[0]) + ".log"), "wb")
        child = subprocess.Popen(command, env=self.environment, stdin=subprocess.DEVNULL, stdout=log, stderr=log,
                                 preexec_fn=end_with_the_tests, **options)
        log.close()
        self.children.append(child)
        return child

    def _start_screen(self):
        reading, writing = os.pipe()
        width, height = self.screen
        # The screen finds itself a free number and tells it.
        self._start(need("Xvfb", "xvfb"), "-displayfd", str(writing), "-screen", "0", f"{width}x{height}x24",
                    "-nolisten", "tcp", "-noreset", pass_fds=[writing])
        os.close(writing)
        with os.fdopen(reading) as pipe:
            number = pipe.readline().strip()
        assert number, "the virtual screen does not start"
        self.environment["DISPLAY"] = ":" + number
        # Without a window manager every window that goes costs two seconds under Wine.
        # It runs the command once it manages windows. Those that come a moment before, when it is already listed as
        # the window manager, it never takes note of.
        self._start(need("openbox", "openbox"), "--sm-disable", "--startup",
                    need("xprop", "x11-utils") + " -root -f DESKTOP_READY 8u -set DESKTOP_READY yes")
        self._wait_for_property("DESKTOP_READY", '"yes"')
        # Not black: a picture shall show where a window ends.
        subprocess.run([need("xsetroot", "x11-xserver-utils"), "-solid", "#4a7a8c"], env=self.environment,
                       stdin=subprocess.DEVNULL, check=True, timeout=60)
        # A bar along the whole lower edge, so that the work area is not the screen.
        self._start(need("trayer", "trayer"), "--edge", "bottom", "--align", "right", "--widthtype", "percent",
                    "--width", "100", "--heighttype", "pixel", "--height", str(TRAY_HEIGHT), "--SetDockType", "true",
                    "--SetPartialStrut", "true", "--expand", "true", "--transparent", "false", "--padding", "4")
        # Wine asks for the work area when it starts.
        self._wait_for_property("_NET_WORKAREA", f"= 0, 0, {width}, {height - TRAY_HEIGHT},")

    def _wait_for_property(self, name, value, limit=20.0):
        """Of the screen, which is where the window manager tells what it does."""
        end = time.monotonic() + limit
        while value not in subprocess.run([need("xprop", "x11-utils"), "-root", name], env=self.environment,
                                          stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                          check=False, timeout=30).stdout.decode():
            assert time.monotonic() < end, f"{name} does not become {value}"
            time.sleep(0.02)

    def wine(self, *arguments, limit=120.0):
        """Runs a program to its end and gives its exit code; nothing of Wine's own gets hold of our pipes."""
        return subprocess.run(["wine", *arguments], env=self.environment, stdin=subprocess.DEVNULL,
                              stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=limit,
                              check=False).returncode

    def _server(self, *arguments, limit=30.0):
        subprocess.run(["wineserver", *arguments], env=self.environment, stdin=subprocess.DEVNULL,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=limit, check=False)

    def _start_wine(self):
        prefix = self.environment["WINEPREFIX"]
        maker = os.path.join(REPOSITORY, "tools/wine-prefix.sh")
        subprocess.run([maker, prefix], stdin=subprocess.DEVNULL, check=True, timeout=240)
        # A server that runs already may know another screen, or none: it must not be the one that we use.
        self.restart_wine()

    def restart_wine(self):
        """Everything that runs in it ends."""
        self._server("-k")
        self._server("-w")
        self._server("-p")
        # Services and desktop, so that every later start is warm.
        self.wine("wineboot")

    def stop(self):
        self._server("-k")
        for child in reversed(self.children):
            child.terminate()
            try:
                child.wait(5)
            except subprocess.TimeoutExpired:
                child.kill()
                child.wait()
        shutil.rmtree(self.directory, ignore_errors=True)


def main():
    desktop = Desktop()
    try:
        return subprocess.run(sys.argv[1:], env=desktop.environment, check=False).returncode
    finally:
        desktop.stop()


if __name__ == "__main__":
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))
    sys.exit(main())
