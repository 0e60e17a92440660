# SPDX-License-Identifier: MIT
"""A program directory with the real Quillbeaker.exe in it, started on the desktop of the tests."""

import os
import shutil
import signal
import subprocess
import time

from desktop import REPOSITORY
from driver import WM_COMMAND, WM_ENDSESSION, WM_USER
from program import Quillbeaker, end_with_the_tests, eventually, free_port

TITLE = "Quillbeaker"
COMMAND_EXIT, COMMAND_SWITCH_FILTER = 40002, 40018
LEFT_UP, LEFT_DOUBLE, RIGHT_DOWN = 514, 515, 516


def built_program():
    path = os.environ.get("QUILLBEAKER_WINDOWS_PROGRAM", os.path.join(REPOSITORY, "build/windows/Quillbeaker.exe"))
    assert os.path.exists(path), f"{path} is not built (QUILLBEAKER_WINDOWS_PROGRAM names another)"
    return path


class WindowsProgram(Quillbeaker):
    """Starts and ends Quillbeaker.exe in a directory of its own."""

    def __init__(self, desktop, driver, directory=None):
        super().__init__(directory)
        self.desktop = desktop
        self.driver = driver
        self.exe = shutil.copy(built_program(), self.path("Quillbeaker.exe"))
        self.arguments = []
        self.main = None

    def configure(self, settings=None, server=None, senders=None, **sections):
        self.port = free_port()
        # A box that fades in has no fixed look, so only the tests of fading let it.
        super().configure({"AlphaBlending": 0, **(settings or {})}, {"Port": self.port, **(server or {})}, senders,
                          **sections)

    def spawn(self, **environment):
        return subprocess.Popen(["wine", self.exe, *self.arguments], env={**self.desktop.environment, **environment},
                                stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                preexec_fn=end_with_the_tests, cwd="/")

    def start(self, wait=True, **environment):  # pylint: disable=arguments-differ
        """Waits until the program serves; without `wait` only until its main window is there."""
        self.process = self.spawn(**environment)
        self.find_main_window()
        if wait:
            eventually(self.is_listening, what="the listening port")
        return self

    def find_main_window(self):
        self.main = self.driver.window(kind=TITLE, title=TITLE)
        return self.main

    def is_listening(self):
        """Whether somebody listens at the port, without connecting to it."""
        wanted = f"0100007F:{self.port:04X}"
        with open("/proc/net/tcp", encoding="ascii") as file:
            return any(line.split()[1] == wanted and line.split()[3] == "0A" for line in file.readlines()[1:])

    # -- what a person, the shell or the system would do --------------------------------------
    def command(self, number):
        self.main.post(WM_COMMAND, number)

    def tray(self, mouse_message):
        self.main.post(WM_USER, 0, mouse_message)

    def box(self, containing=None, title=TITLE, timeout=20.0):
        return self.driver.dialog(title, timeout, containing, self.main.process)

    def no_box(self):
        """Nothing but the main window: no dialog, no message box."""
        return [one for one in self.driver.windows(process=self.main.process, visible=True) if one.title] == []

    def bubble(self, timeout=20.0):
        return self.driver.dialog(TITLE, timeout, "Cancel", self.main.process)

    def has_bubble(self):
        return any(c["text"] == "Cancel" for w in self.driver.windows(title=TITLE, kind="#32770", visible=True)
                   for c in w.controls())

    def notices(self):
        """The texts of what the shell shows at icons; it comes two seconds late there. A hyphen is a hyphen, also the
        one that no line is broken at."""
        return [self.driver.ask("title", window=w.handle).replace("\u2011", "-")
                for w in self.driver.windows(kind="tooltips_class32", visible=True)]

    def log_off(self):
        self.main.post(WM_ENDSESSION, 1)

    # -- its end ------------------------------------------------------------------------------
    def wait_for_end(self, timeout=15.0):
        """The exit code, and how long it took."""
        began = time.monotonic()
        process, self.process = self.process, None
        try:
            return process.wait(timeout), time.monotonic() - began
        except subprocess.TimeoutExpired:
            process.kill()
            process.wait()
            raise AssertionError(f"still running after {timeout} s") from None

    def stop(self, how=signal.SIGTERM):
        """The end of the Windows session: no question, exit code 0."""
        if self.process is None:
            return
        if self.process.poll() is None and self.main is not None:
            self.log_off()
        code, _ = self.wait_for_end()
        assert code == 0, f"exit code {code}"
