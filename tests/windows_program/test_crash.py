# SPDX-License-Identifier: MIT
"""A fault in the running program, forced from outside: what the person is asked then, and what crash.txt tells."""

import bisect
import os
import re
import shutil
import socket
import subprocess

import pytest

from desktop import need
from driver import IDNO, IDYES, tools
from icons import Tray, wait_for_no_icon
from messages import ham
from program import WRONG_USER_NAME, end_with_the_tests, eventually, make_directory
from scripted_server import then_silence
from windows_program import COMMAND_EXIT, TITLE

IMAGE_BASE = 0x140000000  # where the linker places every 64-bit program
ACCESS_VIOLATION, STACK_OVERFLOW, UNCAUGHT = 0xC0000005, 0xC00000FD, 0x20474343
QUESTION = "Quillbeaker crashed!\nDo you want to restart it?"


def listener_thread(one, client):
    """The thread that serves mail clients tells itself by a box that it shows."""
    raw = client(one)
    raw.send(b"USER jane\r\n")
    box = one.box(WRONG_USER_NAME)
    thread = box.thread
    assert thread != one.main.thread
    box.click(1)
    box.wait_until_gone()
    assert raw.line().startswith(b"-ERR")
    raw.close()
    eventually(lambda: not one.has_bubble(), what="the end of the session")
    return thread


def crash(one, thread):
    assert one.driver.ask("crash", thread=thread)
    if thread == one.main.thread:
        one.main.post(0)  # wakes it
    else:
        socket.create_connection(("127.0.0.1", one.port), timeout=10).close()


@pytest.mark.parametrize("which", ["windows", "listener"])
def test_restart_after_a_fault(program, driver, desktop, client, server, picture, which):
    one = program()
    Tray(one)
    crash(one, one.main.thread if which == "windows" else listener_thread(one, client))
    question = driver.dialog("Fatal error")
    assert question.text() == QUESTION
    assert question.owner == 0
    assert {c["id"] for c in question.controls() if c["class"] == "Button"} == {IDYES, IDNO}
    wait_for_no_icon(desktop)
    assert not one.is_listening()
    (version, thread, code, frames), = reports(one.directory)
    assert (version, thread, code) == ("1.7.1", which, ACCESS_VIOLATION)
    assert [module for module, _ in frames if module == "Quillbeaker.exe"], frames
    picture("crash-question-" + which, question.place)
    first = one.main
    question.click(IDYES)
    code, _ = one.wait_for_end()
    assert code == 0
    # The new one lives: icon, menu, mail.
    one.main = eventually(lambda: [w for w in driver.windows(kind=TITLE) if w.process != first.process],
                          what="the new instance")[0]
    Tray(one)
    eventually(one.is_listening, what="the listening port")
    raw = client(one).login(server(ham(1)).port)
    assert raw.stat()[0] == 1
    raw.quit()
    one.command(COMMAND_EXIT)
    one.box("Do you really want to quit").click(IDYES)
    eventually(lambda: not driver.windows(kind=TITLE), what="the end of the new instance")


def test_no_restart(program, driver):
    one = program()
    crash(one, one.main.thread)
    driver.dialog("Fatal error").click(IDNO)
    code, _ = one.wait_for_end()
    assert code == 0
    assert not driver.windows(kind=TITLE)


def test_a_crash_during_a_mail_check(program, driver, client, server):
    """Nothing of the broken program stays on the screen beside the question."""
    one = program()
    upstream = server(ham(1))
    upstream.when("RETR", then_silence())
    raw = client(one).login(upstream.port)
    raw.send(b"STAT\r\n")
    upstream.wait_for_command("RETR")
    one.bubble()
    crash(one, one.main.thread)
    question = driver.dialog("Fatal error")
    assert [w.title for w in driver.windows(process=one.main.process, visible=True, kind="#32770")] == ["Fatal error"]
    raw.ended()
    one.command(COMMAND_EXIT)  # means nothing any more
    one.main.send(0)
    assert len(driver.windows(process=one.main.process, visible=True, kind="#32770")) == 1
    question.click(IDNO)
    code, _ = one.wait_for_end()
    assert code == 0


def reports(directory):
    """crash.txt: [(version, thread, code, [(module, offset), ...]), ...]"""
    try:
        with open(os.path.join(directory, "crash.txt"), "rb") as file:
            text = file.read().decode()
    except FileNotFoundError:
        return []
    one = re.compile(r"--- Quillbeaker (\S+), \d{4}-\d\d-\d\d \d\d:\d\d:\d\d UTC\r\n"
                     r"thread: (\w+) \(\d+\)\r\ncode: 0x([0-9A-F]+)\r\nframes:\r\n((?:  .*\r\n)*)")
    assert one.sub("", text) == "", text
    return [(version, thread, int(code, 16),
             [(module or None, int(offset, 16))
              for module, offset in re.findall(r"^  (?:(\S+)\+)?0x([0-9A-F]+)\r$", frames, re.MULTILINE)])
            for version, thread, code, frames in one.findall(text)]


class Functions:
    """The names in a program file, by their places."""

    def __init__(self, path):
        names = subprocess.run([need("x86_64-w64-mingw32-nm", "binutils-mingw-w64-x86-64"), "-C", "-n", path],
                               stdout=subprocess.PIPE, check=True).stdout.decode().splitlines()
        names = [line.split(" ", 2) for line in names if line[:1] == "0"]
        self.places = [(int(address, 16) - IMAGE_BASE, name) for address, kind, name in names if kind in "tT"]

    def at(self, offset):
        return self.places[bisect.bisect(self.places, (offset, chr(0x10FFFF))) - 1][1]

    def of(self, frames):
        return [self.at(offset) for module, offset in frames if module == "throwing_program.exe"]


@pytest.fixture
def failing(desktop):
    """failing(how) is the crash handler in a small program that fails in that way: its directory, its process.
    The names `taken` there are folders, where it cannot write a file."""
    started = []
    directory = make_directory()

    def start(how, taken=()):
        for name in taken:
            os.mkdir(os.path.join(directory, name))
        exe = shutil.copy(os.path.join(tools(), "throwing_program.exe"), directory)
        started.append(subprocess.Popen(["wine", exe, how], env=desktop.environment, stdin=subprocess.DEVNULL,
                                        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                        preexec_fn=end_with_the_tests))
        return directory, started[-1]

    yield start
    for process in started:
        process.kill()
        process.wait()
    shutil.rmtree(directory)


@pytest.mark.parametrize("where", ["exception", "exception-in-thread", "fault", "jump", "overflow", "overflow-in-thread",
                                   "exception-in-clean-up", "fault-in-clean-up", "fault-in-report"])
def test_an_exception_that_nobody_catches(driver, failing, where):
    """The same handler in a small program that fails on command."""
    directory, process = failing(where)
    question = driver.dialog("Fatal error")
    assert question.text() == "Start it again?"
    done = {"released", "stopped"} | (set() if where.endswith("clean-up") else {"shut_down"})
    report = set() if where == "fault-in-report" else {"crash.txt"}
    assert done | report == set(os.listdir(directory)) - {"throwing_program.exe"}
    question.click(IDYES)
    assert process.wait(20) == 0
    eventually(lambda: "restarted" in os.listdir(directory), what="the new instance")


@pytest.mark.parametrize("where, thread, code, functions", [
    ("exception", "main", UNCAUGHT, ["Fail()", "wWinMain"]),
    ("exception-in-thread", "another", UNCAUGHT, ["Fail()"]),
    ("fault", "main", ACCESS_VIOLATION, ["WriteToNowhere()", "wWinMain"]),
    ("jump", "main", ACCESS_VIOLATION, ["JumpToNoCode()", "wWinMain"]),
    ("held-locks", "main", ACCESS_VIOLATION, ["WriteToNowhere()", "wWinMain"])])
def test_a_crash_leaves_evidence(driver, failing, where, thread, code, functions):
    directory, _ = failing(where)
    version, thread_told, code_told, frames = eventually(lambda: reports(directory), what="a report")[0]
    assert (version, thread_told, code_told) == ("0.1", thread, code)
    called = [name.removeprefix("(anonymous namespace)::") for name in
              Functions(os.path.join(directory, "throwing_program.exe")).of(frames)]
    # In that order, and none in between that is not there for the exception's sake.
    order = [called.index(name) for name in functions]
    assert order == sorted(order), called
    assert frames[-1][0] in ("ntdll.dll", "kernel32.dll"), frames
    if where == "jump":
        assert frames[0] == (None, 0)
    if where != "held-locks":  # where nothing more can be done
        driver.dialog("Fatal error").click(IDNO)


@pytest.mark.parametrize("where, thread", [("overflow", "main"), ("overflow-in-thread", "another")])
def test_a_stack_overflow_leaves_evidence(driver, failing, where, thread):
    """The innermost frames are all that the report has room for, and they are what runs in circles."""
    directory, process = failing(where)
    driver.dialog("Fatal error").click(IDNO)
    assert process.wait(20) == 0
    (_, thread_told, code, frames), = reports(directory)
    assert (thread_told, code) == (thread, STACK_OVERFLOW)
    called = Functions(os.path.join(directory, "throwing_program.exe")).of(frames)
    assert len(frames) == 64
    # A call of something else may be what had no more room.
    assert [name.removeprefix("(anonymous namespace)::") for name in called[1:]] == ["Recurse(int)"] * (len(called) - 1)


def test_the_last_three_crashes_are_kept(driver, failing):
    for number, how in enumerate(["fault", "exception", "jump", "exception-in-thread"], 1):
        directory, process = failing(how)
        driver.dialog("Fatal error").click(IDNO)
        assert process.wait(20) == 0
        assert len(reports(directory)) == min(number, 3)
    assert [(thread, code) for _, thread, code, _ in reports(directory)] == [
        ("main", UNCAUGHT), ("main", ACCESS_VIOLATION), ("another", UNCAUGHT)]


def test_a_report_that_cannot_be_written_keeps_nobody_from_asking(driver, failing):
    directory, process = failing("fault", taken=["crash.txt"])
    driver.dialog("Fatal error").click(IDNO)
    assert process.wait(20) == 0
    assert {"no-report", "released", "stopped", "shut_down"} <= set(os.listdir(directory))
