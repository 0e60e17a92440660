# SPDX-License-Identifier: MIT
"""Asks window_driver.exe about windows, and works them. What is waited for is polled; a wait that fails says what
it saw instead."""

import json
import os
import socket
import subprocess

from desktop import REPOSITORY
from program import end_with_the_tests, eventually

WM_CLOSE, WM_ENDSESSION, WM_COMMAND, WM_KEYDOWN, WM_USER = 0x10, 0x16, 0x111, 0x100, 0x400
WM_SYSCOMMAND, SC_CLOSE = 0x112, 0xF060
WM_INITDIALOG = 0x110
DM_GETDEFID, PBM_GETPOS = WM_USER, WM_USER + 8
VK_RETURN, VK_ESCAPE = 0x0D, 0x1B
IDOK, IDCANCEL, IDYES, IDNO = 1, 2, 6, 7
MESSAGE_BOX_TEXT = 0xFFFF
WS_EX_TOPMOST = 8

LIMIT = 20.0


def tools():
    return os.environ.get("QUILLBEAKER_WINDOWS_TOOLS", os.path.join(REPOSITORY, "build/windows/windows_program"))


class Window:
    """A window as it was when it was looked up; its methods ask anew."""

    def __init__(self, driver, facts):
        self.driver = driver
        self.handle = facts["window"]
        self.title = facts.get("title", "")
        self.process = facts["process"]
        self.thread = facts["thread"]
        self.visible = facts["visible"]
        self.enabled = facts["enabled"]
        self.ex_style = facts["ex_style"]
        self.owner = facts["owner"]
        self.place = facts["place"]
        self.client = facts["client"]
        self.kind = facts["class"]

    def __repr__(self):
        return f"<{self.kind} {self.title!r} {'visible' if self.visible else 'hidden'} {self.place}>"

    def controls(self):
        return self.driver.ask("controls", window=self.handle)

    def control(self, number):
        found = [one for one in self.controls() if one["id"] & 0xFFFF == number]
        assert found, f"{self!r} has no control {number}"
        return found[0]

    def text(self, number=MESSAGE_BOX_TEXT):
        return self.control(number)["text"]

    def click(self, number):
        assert self.driver.ask("click", window=self.handle, id=number), f"{self!r} has no control {number}"

    def post(self, message, wparam=0, lparam=0):
        assert self.driver.ask("post", window=self.handle, message=message, wparam=wparam, lparam=lparam)

    def send(self, message, wparam=0, lparam=0):
        return self.driver.ask("send", window=self.handle, message=message, wparam=wparam, lparam=lparam)

    def close_box(self):
        self.post(WM_SYSCOMMAND, SC_CLOSE)

    def default_button(self):
        return self.send(DM_GETDEFID) & 0xFFFF

    def focus(self):
        return self.driver.ask("focus", thread=self.thread)

    def stands(self):
        return any(one.handle == self.handle and one.visible for one in self.driver.windows())

    def wait_until_gone(self, timeout=LIMIT):
        eventually(lambda: not self.stands(), timeout, f"the end of {self!r}")


class Driver:
    def __init__(self, desktop):
        listener = socket.create_server(("127.0.0.1", 0))
        listener.settimeout(60)
        self.process = subprocess.Popen(
            ["wine", os.path.join(tools(), "window_driver.exe"), str(listener.getsockname()[1])],
            env=desktop.environment, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
            preexec_fn=end_with_the_tests)
        self.connection, _ = listener.accept()
        listener.close()
        self.connection.settimeout(60)
        self.lines = self.connection.makefile("r", encoding="utf-8")

    def ask(self, what, **arguments):
        self.connection.sendall(json.dumps({"do": what, **arguments}).encode() + b"\n")
        answer = json.loads(self.lines.readline())
        assert "is" in answer, f"{what} {arguments}: {answer}"
        return answer["is"]

    def windows(self, kind=None, title=None, visible=None, process=None):
        found = [Window(self, facts) for facts in self.ask("windows")]
        return [one for one in found
                if (kind is None or one.kind == kind) and (title is None or one.title == title)
                and (visible is None or one.visible == visible) and (process is None or one.process == process)]

    def window(self, timeout=LIMIT, **which):
        """The first window of that kind, once there is one."""
        return eventually(lambda: self.windows(**which), timeout, f"a window with {which}")[0]

    def message_only(self, kind, process):
        """The windows of a class that only take messages."""
        found = [Window(self, facts) for facts in self.ask("message_only", **{"class": kind})]
        return [one for one in found if one.process == process]

    def dialog(self, title, timeout=LIMIT, containing=None, process=None):
        """A visible dialog or message box, by its title and by a piece of one of its texts."""

        def found():
            for one in self.windows(kind="#32770", title=title, visible=True, process=process):
                if containing is None or any(containing in c["text"] for c in one.controls()):
                    return one
            return None

        try:
            return eventually(found, timeout, "x")
        except AssertionError:
            seen = [(one, [c["text"] for c in one.controls()]) for one in self.windows(visible=True)]
            raise AssertionError(f"no dialog {title!r} with {containing!r}; there are {seen}") from None

    def menu_items(self, menu):
        return self.ask("menu", window=menu.handle)

    def work_area(self):
        return self.ask("screen")["work"]

    def stop(self):
        self.lines.close()
        self.connection.close()
        try:
            self.process.wait(10)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
