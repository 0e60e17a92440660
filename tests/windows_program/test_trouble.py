# SPDX-License-Identifier: MIT
"""What goes wrong without the mail program hearing of it, as the icon's notifications tell it."""

import time

import pytest

from driver import IDOK
from messages import SPAM_WORDS, ham, spam
from program import eventually, free_port
from scripted_server import after, reply, then_close
from windows_program import COMMAND_SWITCH_FILTER

ACCOUNT = "jane @ 127.0.0.1: "
STATUS = 1033


def check(client, one, upstream):
    """A whole mail check: how many messages the mail program was offered."""
    raw = client(one).login(upstream.port)
    count = raw.stat()[0]
    raw.quit()
    raw.close()
    eventually(lambda: not one.has_bubble(), what="the end of the session")
    return count


def told(one, begin):
    """Waits for a notification whose first line begins so: the whole of it. The shell shows the next one only when the
    one before has had its time."""
    seen = []

    def found():
        seen.extend(text for text in one.notices() if text not in seen)
        return [text for text in seen if text.startswith(begin)]

    try:
        return eventually(found, 40, "x")[0]
    except AssertionError:
        raise AssertionError(f"no notification {begin!r}; there were {seen}") from None


def test_a_login_that_is_refused(program, client, server):
    upstream = server(ham(1))
    upstream.when("PASS", reply(b"-ERR [AUTH] use an app password\r\n"))
    one = program()
    raw = client(one)
    raw.user(upstream.port)
    assert raw.ask("PASS secret") == b"-ERR Password isn't correct"
    text = told(one, ACCOUNT)
    assert f"127.0.0.1:{upstream.port}" in text and "-ERR [AUTH] use an app password" in text


def test_a_server_that_is_not_reached(program, client):
    one = program()
    port = free_port()
    raw = client(one)
    raw.user(port)
    assert raw.ask("PASS secret") == b"-ERR Password isn't correct"
    assert f"127.0.0.1:{port}" in told(one, ACCOUNT)


@pytest.mark.parametrize("answer, words", [
    (b"-ERR [SYS/TEMP] busy\r\n", "-ERR [SYS/TEMP] busy"),
    (b"Subject: no status line\r\n.\r\n", "Subject: no status line")])
def test_a_message_that_is_refused_or_broken(program, client, server, answer, words):
    upstream = server(ham(1), ham(2))
    upstream.when("RETR 2", reply(answer))
    one = program()
    check(client, one, upstream)
    assert told(one, ACCOUNT) == f"{ACCOUNT}message 2 could not be received ({words})"
    assert one.server_log().count(b"         S: " + words.encode() + b"\r\n") == 1


def test_spam_that_cannot_be_kept_is_told_of_once_a_day(directory, client, server):
    one = directory()
    one.configure()
    one.spam_words(SPAM_WORDS)
    one.write("recycle", b"a file where the folder should be")
    one.start(wait=False)
    one.box("can not write to its directory").click(IDOK)
    upstream = server(spam(1), ham(2), spam(3))
    assert check(client, one, upstream) == 1
    told(one, ACCOUNT + "2 spam messages could not be kept in the recycle bin and stay on the server")
    assert upstream.numbers() == [1, 2, 3]
    time.sleep(5)  # for so long what was told stands below what comes next
    # Were it told a second time it would stand there now.
    lost = server(ham(1), uid_prefix=b"lost")
    lost.when("RETR", then_close(b"+OK\r\nSubject: cut"))
    check(client, one, upstream)
    check(client, one, lost)
    assert told(one, ACCOUNT + "the connection to the server was lost").count("\n") == 0


def test_a_mail_program_that_gives_up(program, client, server):
    upstream = server(*[ham(number) for number in range(1, 7)])
    upstream.when("RETR 3", after(3))  # the last message is asked for first
    one = program(server={"KeepWaitingSeconds": 0})
    raw = client(one).login(upstream.port)
    raw.send(b"STAT\r\n")
    upstream.wait_for_command("RETR 3")
    raw.close()
    assert told(one, ACCOUNT) == ACCOUNT + "the mail program gave up; 3 of 6 are ready for its next try"


@pytest.mark.parametrize("command", ["DELE", "QUIT"])
def test_deletions_that_the_server_does_not_confirm(program, client, server, command):
    upstream = server(spam(1), ham(2), spam(3))
    upstream.when(command, reply(b"-ERR mailbox is locked\r\n"))
    one = program()
    assert check(client, one, upstream) == 1
    assert told(one, ACCOUNT) == (ACCOUNT + "the server did not confirm the deletion of 2 messages "
                                            "(-ERR mailbox is locked)")
    assert one.server_log().count(b"-ERR mailbox is locked") >= 1


def test_nothing_is_told_where_it_shall_not_be(program, client, server):
    upstream = server(ham(1), spam(2))
    upstream.when("QUIT", reply(b"-ERR mailbox is locked\r\n"))
    one = program({"ShowErrors": 0})
    check(client, one, upstream)
    one.write("Quillbeaker.ini", one.read("Quillbeaker.ini").replace(b"ShowErrors=0", b"ShowErrors=1"))
    lost = server(ham(1), uid_prefix=b"lost")
    lost.when("RETR", then_close(b"+OK\r\nSubject: cut"))
    check(client, one, lost)
    assert told(one, ACCOUNT + "the connection to the server was lost").count("\n") == 0


def test_the_bubble_says_that_the_filter_is_off_until_it_is_on(program, client, server):
    upstream = server(ham(1), ham(2))
    upstream.when("RETR 1", after(30))
    one = program({"Enable": 0}, OPTIONALMESSAGEBOXES={"FilterReEnable": 1})
    raw = client(one).login(upstream.port)
    raw.send(b"STAT\r\n")
    bubble = one.bubble()
    eventually(lambda: bubble.control(STATUS)["text"] == "The Spam-Filter has been disabled", what="the text")
    one.command(COMMAND_SWITCH_FILTER)
    eventually(lambda: bubble.control(STATUS)["text"] == "", what="an empty status")
    assert one.setting("Enable") == "1"
