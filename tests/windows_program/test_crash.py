# SPDX-License-Identifier: MIT
"""A fault in the running program, forced from outside, and what the person is asked then."""

import os
import shutil
import socket
import subprocess

import pytest

from driver import IDNO, IDYES, tools
from icons import Tray, wait_for_no_icon
from messages import ham
from program import WRONG_USER_NAME, end_with_the_tests, eventually, make_directory
from scripted_server import then_silence
from windows_program import COMMAND_EXIT, TITLE

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


@pytest.mark.parametrize("where", ["exception", "exception-in-thread", "fault", "exception-in-clean-up",
                                   "fault-in-clean-up"])
def test_an_exception_that_nobody_catches(desktop, driver, where):
    """The same handler in a small program that fails on command."""
    directory = make_directory()
    exe = shutil.copy(os.path.join(tools(), "throwing_program.exe"), directory)
    process = subprocess.Popen(["wine", exe, where], env=desktop.environment, stdin=subprocess.DEVNULL,
                               stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, preexec_fn=end_with_the_tests)
    try:
        question = driver.dialog("Fatal error")
        assert question.text() == "Start it again?"
        done = {"released", "stopped"} | (set() if where.endswith("clean-up") else {"shut_down"})
        assert done == set(os.listdir(directory)) - {os.path.basename(exe)}
        question.click(IDYES)
        assert process.wait(20) == 0
        eventually(lambda: "restarted" in os.listdir(directory), what="the new instance")
    finally:
        process.kill()
        process.wait()
        shutil.rmtree(directory)
