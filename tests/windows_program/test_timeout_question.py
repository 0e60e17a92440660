# SPDX-License-Identifier: MIT
"""What is asked when the mail server does not answer in time."""

import time

import pytest

from driver import IDCANCEL, IDOK
from messages import ham
from program import eventually
from scripted_server import after, then_silence

TITLE, TEXT, SERVER = "Timeout", 1024, 1300
QUESTION = "The server has not answered for a long time. Do you want to abort connection?"


@pytest.fixture
def waiting(program, client, server):
    """A session whose server is silent at a command, with a time limit of one second."""

    def begin(action=None, settings=None, command="RETR"):
        one = program(settings, {"Timeout": 1})
        upstream = server(ham(1))
        upstream.when(command, action or then_silence())
        raw = client(one).login(upstream.port)
        raw.send(b"STAT\r\n")
        upstream.wait_for_command(command)
        return one, raw, upstream

    return begin


def question(one, timeout=20.0):
    return one.driver.dialog(TITLE, timeout, process=one.main.process)


def questions(one):
    return one.driver.windows(kind="#32770", title=TITLE, visible=True)


def test_aborting(waiting, picture):
    one, raw, upstream = waiting()
    box = question(one)
    assert box.owner == 0
    assert {c["id"]: c["text"] for c in box.controls()} == {
        TEXT: QUESTION, SERVER: f"Server: 127.0.0.1:{upstream.port}\nAccount: jane @ 127.0.0.1", IDOK: "Abort",
        IDCANCEL: "Wait..."}
    assert [c["id"] for c in box.controls()] == [TEXT, SERVER, IDOK, IDCANCEL]  # their tab order
    assert box.default_button() == IDCANCEL and box.focus()["focus_id"] == IDCANCEL
    picture("timeout-question", box.place)
    box.click(IDOK)
    box.wait_until_gone()
    assert raw.line()[:3] in (b"+OK", b"-ER")
    upstream.wait_for_end()
    raw.quit()


def test_waiting_and_the_next_period(waiting):
    one, raw, upstream = waiting(after(3.4))
    first = question(one)
    first.click(IDCANCEL)
    first.wait_until_gone()
    again = question(one, 3)  # the server is still silent
    again.click(IDCANCEL)
    assert raw.line(10).startswith(b"+OK 1 ")
    raw.quit()
    assert upstream.numbers() == [1]


def test_one_question_however_long_it_stands(waiting):
    one, raw, _ = waiting()
    box = question(one)
    began = time.monotonic()
    while time.monotonic() - began < 2.3:  # two more periods
        assert [q.handle for q in questions(one)] == [box.handle]
    assert box.thread not in (one.main.thread,)
    one.main.send(0)  # the windows do not wait for the answer either
    box.click(IDOK)
    raw.line()


def test_an_answer_after_the_session(waiting, client, server):
    """"Abort" is for the session that asked: one that has ended meanwhile is past it, the next one is untouched."""
    one, raw, _ = waiting(after(2))
    box = question(one)
    assert raw.line(10).startswith(b"+OK 1 ")
    raw.quit()
    raw.close()
    upstream = server(ham(7), uid_prefix=b"next")
    second = client(one).login(upstream.port)
    assert box.stands()
    box.click(IDOK)
    box.wait_until_gone()
    assert second.stat()[0] == 1
    second.quit()


def test_the_next_session_asks_over_a_stale_question(waiting, client, server):
    one, raw, _ = waiting(after(2))
    stale = question(one)
    assert raw.line(10).startswith(b"+OK 1 ")
    raw.quit()
    raw.close()
    upstream = server(ham(7), uid_prefix=b"next")
    upstream.when("LIST", then_silence())
    second = client(one).login(upstream.port)
    assert stale.stands()
    second.send(b"STAT\r\n")
    stale.wait_until_gone()
    box = question(one)
    assert f"127.0.0.1:{upstream.port}" in box.text(SERVER)
    assert len(questions(one)) == 1
    box.click(IDOK)
    assert second.line(10) == b"+OK 0 0"
    upstream.wait_for_end()


def test_long_names_are_shown_whole(program, client, server, picture):
    """79 letters are what a mail program can give for either."""
    one = program(None, {"Timeout": 1})
    silent = server()
    silent.when("GREETING", then_silence())
    host = "127.0.0.1"
    second = client(one)
    second.user(silent.port, name="W" * 79, host=host)
    second.send(b"PASS secret\r\n")
    box = question(one)
    names, abort = box.control(SERVER), box.control(IDOK)
    picture("timeout-question-long-name", box.place)
    assert "W" * 79 + " @ " + host in names["text"]
    assert names["place"]["bottom"] <= abort["place"]["top"]
    box.click(IDOK)


def test_aborting_without_a_question(waiting):
    one, raw, upstream = waiting(settings={"AutoAbortOnTimeout": 1})
    upstream.wait_for_end()
    assert questions(one) == []
    raw.line()
    assert one.no_box() or one.has_bubble()


def test_the_end_of_the_program_takes_the_question_along(waiting):
    one, _, _ = waiting()
    question(one)
    one.log_off()
    code, seconds = one.wait_for_end()
    assert code == 0 and seconds < 7
    eventually(lambda: not questions(one), what="the end of the question")
