# SPDX-License-Identifier: MIT
"""The two programs that the demonstration can show: the Windows program under Wine, and the one for the terminal."""

import contextlib
import os
import shutil
import subprocess
import sys
import threading
import time
from pathlib import Path

TOP = Path(__file__).resolve().parents[2]
sys.path[:0] = [str(TOP / "tests" / "windows_program")]

from desktop import SCREEN, Desktop  # noqa: E402
from driver import Driver  # noqa: E402
from program import Quillbeaker, eventually, executable  # noqa: E402
from windows_program import RIGHT_DOWN, WindowsProgram  # noqa: E402

WM_CLOSE = 0x10
MOMENT, LOOK = 1.0, 4.0  # seconds
UNCHANGED = 3  # moments in which a window must look the same to count as painted
SHOWN_WINDOWS = (
    (40005, "Recycle bin", "the recycle bin", "demo-recycle-bin"),
    (40014, "Training Area (Recently Received Messages)", "the training area", "demo-training-area"),
    (40007, "Spam Mail Statistic", "the statistic", "demo-statistic"),
    (40004, "Settings", "the settings", "demo-settings"),
    (40020, "Set up a mail account", "the window that sets up a mail account", "demo-account"),
)


class ConsoleFace(Quillbeaker):
    """quillbeaker-cli, silent until it stays."""

    description = "Quillbeaker"

    @contextlib.contextmanager
    def watched_check(self):
        yield

    def show_windows(self):
        """It has none."""

    def pictures(self):
        return []

    def stay(self):
        """Its own words go to the terminal from now on."""
        port = self.port
        self.stop()
        program = subprocess.Popen([executable(), "run", "--directory", self.directory, "--port", str(port)])
        try:
            program.wait()
        finally:
            if program.poll() is None:
                program.terminate()
                try:
                    program.wait(15)
                except subprocess.TimeoutExpired:
                    program.kill()
                    program.wait()

    def end(self):
        if self.running():
            self.process.kill()
            self.process.wait()


def screen_of_the_person():
    """The display that a person looks at, if there is one that answers."""
    display = os.environ.get("DISPLAY")
    if not display or not shutil.which("xdpyinfo"):
        return None
    with contextlib.suppress(subprocess.TimeoutExpired):
        if subprocess.run(["xdpyinfo"], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                          stderr=subprocess.DEVNULL, timeout=5, check=False).returncode == 0:
            return display
    return None


class WindowsFace(WindowsProgram):
    """Quillbeaker.exe: on the person's display, or on a virtual one, of which pictures are taken."""

    description = "Quillbeaker, the Windows program,"

    def __init__(self, directory, pictures):
        self.screen = screen_of_the_person()
        self.picture_directory = pictures
        self.taken = []
        # Never a prefix of the person's own, whose programs would be ended.
        desktop = Desktop(prefix=str(TOP / "build" / "wine"), display=self.screen)
        try:
            super().__init__(desktop, Driver(desktop), directory)
        except BaseException:
            desktop.stop()
            raise

    def start(self, port):  # pylint: disable=arguments-differ
        self.port = port
        self._set_port(port)
        return super().start()

    def _set_port(self, port):
        path = Path(self.path("Quillbeaker.ini"))
        text = path.read_text(encoding="latin-1")
        path.write_text(f"{text.rstrip()}\n[SERVER]\nPort={port}\n", encoding="latin-1")

    @contextlib.contextmanager
    def watched_check(self):
        """Takes the pictures of a mail check that goes on in the body, and of what it leaves behind."""
        if self.screen is not None:
            yield
            return
        watcher = threading.Thread(target=self._picture_of_bubble)
        watcher.start()
        try:
            yield
        finally:
            watcher.join()
        eventually(lambda: not self.driver.windows(process=self.main.process, visible=True, title="Quillbeaker"),
                   what="the end of the bubble")
        self._picture("the tray icon with the number of deleted messages", "demo-tray")
        subprocess.run(["xdotool", "mousemove", str(SCREEN[0] - 20), str(SCREEN[1] - 30)],
                       env=self.desktop.environment, stdin=subprocess.DEVNULL, check=True, timeout=30)
        self.tray(RIGHT_DOWN)
        eventually(lambda: self.driver.windows(kind="#32768", visible=True), what="the menu")
        self._picture("the tray icon's menu", "demo-menu")
        self.main.post(0x1F)  # WM_CANCELMODE

    def _picture_of_bubble(self):
        with contextlib.suppress(AssertionError):
            bubble = self.bubble()
            eventually(lambda: any("Spam" in one["text"] for one in bubble.controls()), what="spam in the bubble")
            self._picture("the bubble during the mail check", "demo-bubble")

    def show_windows(self):
        """Opens the windows, one after the other, and takes their pictures; on a person's own display each stays for a
        moment."""
        for command, title, what, name in SHOWN_WINDOWS:
            self.command(command)
            window = self.driver.dialog(title, process=self.main.process)
            if self.screen is None:
                left, top, right, bottom = (window.place[side] for side in ("left", "top", "right", "bottom"))
                self._wait_until_painted(left=left, top=top, width=right - left, height=bottom - top)
                self._picture(what, name, f"{right - left}x{bottom - top}+{left}+{top}")
            else:
                time.sleep(LOOK)
            window.post(WM_CLOSE)
            window.wait_until_gone()

    def _wait_until_painted(self, **area):
        """A window is painted a moment after it is there, control by control."""
        seen = [None] * UNCHANGED

        def is_still():
            time.sleep(MOMENT)
            seen.append(self.driver.ask("grab", **area))
            return len(set(seen[-UNCHANGED:])) == 1

        eventually(is_still, 60.0, "a window that is painted")

    def _picture(self, what, name, part=None):
        self.picture_directory.mkdir(parents=True, exist_ok=True)
        path = self.picture_directory / f"{name}.png"
        # Unless told otherwise: all else happens in the corner of the notification area.
        width, height = 440, 360
        part = part or f"{width}x{height}+{SCREEN[0] - width}+{SCREEN[1] - height}"
        subprocess.run(["import", "-window", "root", "-crop", part, "+repage", str(path)], env=self.desktop.environment,
                       stdin=subprocess.DEVNULL, check=True, timeout=60)
        self.taken.append((what, path))

    def pictures(self):
        return self.taken

    def stay(self):
        """Until Ctrl+C, or until the person chooses Exit in its menu."""
        self.process.wait()
        self.process = None

    def end(self):
        try:
            if self.process is not None and self.process.poll() is None:
                self.process.kill()
                self.process.wait()
            self.driver.stop()
        finally:
            self.desktop.stop()
