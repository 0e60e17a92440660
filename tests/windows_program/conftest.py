# SPDX-License-Identifier: MIT
"""Fixtures of the tests of the real Windows program. One desktop and one driver for all; a program directory for
each test."""

import os
import subprocess
import sys

import pytest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

from desktop import REPOSITORY, Desktop, need  # noqa: E402
from certificates import Authority  # noqa: E402
from dovecot import Dovecot  # noqa: E402
from drag import Source  # noqa: E402
from driver import WM_ENDSESSION, Driver, tools  # noqa: E402
from messages import SPAM_WORDS  # noqa: E402
from program import eventually, free_port  # noqa: E402
from raw_client import RawClient  # noqa: E402
from scripted_server import ScriptedServer  # noqa: E402
from windows_program import TITLE, WindowsProgram  # noqa: E402

SCREENSHOTS = os.path.join(REPOSITORY, "build/screenshots")


@pytest.fixture(scope="session")
def desktop():
    one = Desktop()
    yield one
    one.stop()


@pytest.fixture(scope="session")
def driver(desktop):
    one = Driver(desktop)
    yield one
    one.stop()


@pytest.fixture(scope="session")
def picture(desktop):
    """picture(name) keeps what the screen shows, for a person to look at; picture(name, window) just a window with
    its surroundings."""
    os.makedirs(SCREENSHOTS, exist_ok=True)

    def take(name, place=None, margin=12):
        path = os.path.join(SCREENSHOTS, name + ".png")
        crop = []
        if place is not None:
            left, top = max(0, place["left"] - margin), max(0, place["top"] - margin)
            width, height = place["right"] + margin - left, place["bottom"] + margin - top
            crop = ["-crop", f"{width}x{height}+{left}+{top}"]
        subprocess.run([need("import", "imagemagick"), "-window", "root", *crop, "+repage", path],
                       env=desktop.environment, stdin=subprocess.DEVNULL, check=True, timeout=60)
        return path

    return take


@pytest.fixture
def directory(desktop, driver):
    """A factory of program directories; what was started in them ends here, and must end well."""
    made = []

    def make(path=None):
        made.append(WindowsProgram(desktop, driver, path))
        return made[-1]

    yield make
    try:
        for one in made:
            one.stop()
    finally:
        for one in made:
            one.discard()
        for window in driver.windows(kind=TITLE, title=TITLE):
            window.post(0x12)  # WM_QUIT: an instance that a failed test has left behind
        eventually(lambda: not driver.windows(kind=TITLE, title=TITLE), what="the end of every instance")


@pytest.fixture
def program(directory):
    """A factory of running programs: program(settings, ...)."""

    def make(settings=None, server=None, senders=None, spam_words=None, thresholds=None, **sections):
        one = directory()
        one.configure(settings, server, senders, **sections)
        one.spam_words(SPAM_WORDS if spam_words is None else spam_words, thresholds)
        return one.start()

    return make


def name_of_active_window(desktop):
    return subprocess.run([need("xdotool", "xdotool"), "getactivewindow", "getwindowname"], env=desktop.environment,
                          stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=False,
                          timeout=30).stdout


@pytest.fixture
def other_window(desktop, driver):
    """A factory: the window of another program, visible and in front, as a mail program's would be."""
    started = []

    def make():
        started.append(subprocess.Popen(["wine", os.path.join(tools(), "empty_program.exe"), "show"],
                                        env=desktop.environment, stdin=subprocess.DEVNULL,
                                        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL))
        window = driver.window(kind="EmptyProgram", visible=True)
        # The window manager gives it the keyboard a moment after Wine says that it has it.
        eventually(lambda: b"Another program" in name_of_active_window(desktop), what="the other window in front")
        assert window.focus()["foreground"] == window.handle
        return window

    yield make
    for window in driver.windows(kind="EmptyProgram"):
        window.post(WM_ENDSESSION, 1)
    for process in started:
        assert process.wait(20) == 0


@pytest.fixture
def source(desktop, driver, tmp_path):
    """A factory: source(form, mails...) is the program that they can be dragged from."""
    made = []

    def make(form, *mails):
        for one in made:
            one.stop()
        paths = []
        for number, mail in enumerate(mails):
            name, content = mail if isinstance(mail, tuple) else (f"mail{number}.eml", mail)
            (tmp_path / name).write_bytes(content)
            paths.append(str(tmp_path / name))
        made[:] = [Source(desktop, driver, form, paths)]
        return made[0]

    yield make
    for one in made:
        one.stop()


@pytest.fixture
def server():
    """A factory: server(messages...) is a scripted POP3 server on loopback."""
    started = []

    def make(*messages, **options):
        started.append(ScriptedServer(messages, **options))
        return started[-1]

    yield make
    for one in started:
        one.stop()


@pytest.fixture
def client():
    """A factory: client(proxy) is a raw client that has read the greeting."""
    opened = []

    def connect(target, **options):
        opened.append(RawClient(getattr(target, "port", target), **options))
        return opened[-1]

    yield connect
    for one in opened:
        one.close()


@pytest.fixture(scope="session")
def dovecot():
    one = Dovecot(free_port())
    yield one
    one.stop()


@pytest.fixture(scope="session")
def authority():
    """Nobody here trusts it."""
    one = Authority()
    yield one
    one.close()
