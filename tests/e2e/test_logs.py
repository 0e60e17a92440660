# SPDX-License-Identifier: MIT
"""client.log and server.log: what stands in them, what never does, and how long they get."""

import os
import re

import pytest

from messages import ham, message, spam
from program import eventually

BANNER = rb"\r\n%s Log started at: (\d\d)\.(\d\d)\.(\d{4}) - (\d\d):(\d\d):(\d\d)\r\n"
TIME = rb"\d\d:\d\d:\d\d "
SECRET = "pa55-word-of-jane"


@pytest.fixture
def logged(proxy, client, server):
    """logged(messages, act, ...) runs one session and gives (client.log, server.log, proxy)."""

    def run(messages, act, one=None, **settings):
        upstream = server(*messages, password=SECRET.encode())
        one = one or proxy(settings)
        raw = client(one).login(upstream.port, password=SECRET)
        act(raw, upstream)
        raw.quit()
        upstream.wait_for_end()
        eventually(lambda: b"C: QUIT" in one.server_log(), what="the end of the server log")
        return one.client_log(), one.server_log(), one

    return run


def lines(log, form):
    return re.findall(rb"(?m)^" + TIME + form + rb"\r$", log)


def test_session_begins_with_an_empty_line_and_the_banner(logged):
    client_log, server_log, one = logged([ham(1)], lambda raw, upstream: raw.stat())
    assert re.match(BANNER % b"Client", client_log)
    assert re.match(BANNER % b"Server", server_log)
    client_log, server_log, _ = logged([ham(1)], lambda raw, upstream: raw.stat(), one)
    assert len(re.findall(BANNER % b"Client", client_log)) == 2
    assert len(re.findall(BANNER % b"Server", server_log)) == 2


def test_client_log_has_every_command_and_reply(logged):
    def act(raw, upstream):
        raw.stat()
        raw.list()
        raw.ask("CAPA")
        raw.ask("DELE 1")

    log = logged([ham(1)], act)[0]
    for form in (rb"S: \+OK Ready", rb"C: USER 127\.0\.0\.1&jane&\d+", rb"S: \+OK Username accepted",
                 rb"C: PASS \*{8}", rb"S: \+OK Password accepted", rb"C: STAT", rb"S: \+OK 1 \d+", rb"C: LIST",
                 rb"S: \+OK Message list follows", rb"S: 1 \d+", rb"S: \.", rb"C: CAPA", rb"S: -ERR Unknown command",
                 rb"C: DELE 1", rb"S: \+OK Message deleted", rb"C: QUIT", rb"S: \+OK Everything done\."):
        assert len(lines(log, form)) == 1, form


def test_server_log_has_commands_replies_and_markers(logged):
    def act(raw, upstream):
        raw.stat()
        raw.send(b"NOOP\r\n")
        upstream.wait_for_command("NOOP")

    log = logged([ham(1), spam(1)], act)[1]
    for form, times in ((rb"S: \+OK scripted server", 1), (rb"C: USER jane", 1), (rb"S: \+OK logged in", 1),
                        (rb"C: LIST", 1), (rb"C: UIDL", 1), (rb"C: RETR 2", 1), (rb"C: RETR 1", 1), (rb"C: NOOP", 1),
                        (rb"C: DELE 2", 1), (rb"S: \+OK marked", 1), (rb"C: QUIT", 1)):
        assert len(lines(log, form)) == times, form
    for marker, times in ((b"C: PASS ********", 1), (b"S: +OK %d octets" % len(ham(1)), 1),
                          (b"C: (message completely received)", 2), (b"C: (message has been parsed)", 2)):
        assert log.count(b"\r\n         " + marker + b"\r\n") == times, marker
    # A listing that came in one piece is one entry.
    assert re.search(rb"(?m)^" + TIME + rb"S: \+OK listing\r\n1 \d+\r\n2 \d+\r\n\.\r\n", log)


def test_neither_password_nor_body_is_logged(logged):
    body = "body-text-of-the-message\r\n" * 50

    def act(raw, upstream):
        raw.stat()
        raw.retr(1)
        raw.ask("TOP 1 0")
        raw.until(b"\r\n.\r\n")

    client_log, server_log, _ = logged([message("subject-of-the-message", body=body)], act)
    for log in (client_log, server_log):
        assert len(log) > 200
        for secret in (SECRET.encode(), SECRET[:6].encode(), b"body-text", b"subject-of"):
            assert secret not in log
        assert b"PASS ********" in log


def test_client_log_marks_what_was_transferred(logged):
    def act(raw, upstream):
        raw.stat()
        raw.retr(1)
        raw.ask("TOP 1 0")
        raw.until(b"\r\n.\r\n")

    log = logged([ham(1)], act)[0]
    at = log.index(b"C: RETR 1\r\n")
    assert re.match(rb"C: RETR 1\r\n" + TIME + rb"S: \+OK \d+\r\n         S: \(message completely transferred\)\r\n"
                    + TIME + rb"C: TOP 1 0\r\n" + TIME + rb"S: \+OK Message header follows\r\n"
                    rb"         S: \(message header completely transferred\)\r\n", log[at:])


@pytest.mark.parametrize("text, kept, gone", [
    (b"pass hunter2\r\n", b"C: PASS ********\r\n", [b"hunter2"]),
    (b"PaSSword hunter2\r\n", b"C: PASS ********\r\n", [b"hunter2"]),
    (b"PASS\r\n", b"C: PASS ********\r\n", []),
    (b"USER a&b&1\r\nPASS hunter2\r\n", b"C: USER a&b&1\r\nPASS ********\r\n", [b"hunter2"]),
    (b"USER a&b&1\r\npassx hunter2\r\nSTAT\r\n", b"STAT\r\n", [b"hunter2"]),
    (b"AUTH PLAIN aHVudGVyMg==\r\n", b"AUTH ********\r\n", [b"aHVudGVyMg"]),
    (b"apop jane hunter2\r\n", b"apop ********\r\n", [b"hunter2"]),
    (b"CAPA\r\nAUTH LOGIN hunter2\r\n", b"CAPA\r\n", [b"hunter2"]),
    (b" PASS hunter2\r\n", b"C:  PASS ********\r\n", [b"hunter2"]),
    (b"\tPASS hunter2\r\n", b"C: \tPASS ********\r\n", [b"hunter2"]),
    (b"\0PASS hunter2\r\n", b"C: \0PASS ********\r\n", [b"hunter2"]),
    (b"\xef\xbb\xbfPASS hunter2\r\n", b"C: \xef\xbb\xbfPASS ********\r\n", [b"hunter2"]),
    (b"LOGIN jane hunter2\r\n", b"C: LOGIN ********\r\n", [b"hunter2"]),
    (b"a LOGIN jane hunter2\r\n", b"C: a LOGIN ********\r\n", [b"hunter2"]),
    (b"AUTH PLAIN\r\naHVudGVyMg==\r\nSTAT\r\n", b"AUTH ********\r\n********\r\nSTAT\r\n", [b"aHVudGVyMg"]),
])
def test_secrets_are_masked_in_whatever_was_received(proxy, client, text, kept, gone):
    one = proxy(server={"Timeout": 2})
    raw = client(one)
    raw.send(text)
    raw.line()
    raw.close()
    client(one).quit()  # the next greeting comes after the first session has closed its log
    log = one.client_log()
    assert kept.lower() in log.lower()
    for secret in gone:
        assert secret not in log


def test_credentials_after_auth_are_masked_until_a_command(proxy, client):
    one = proxy()
    raw = client(one)
    for line in (b"AUTH LOGIN", b"amFuZQ==", b"aHVudGVyMg==", b"CAPA", b"amFuZQ=="):
        raw.send(line + b"\r\n")
        assert raw.line() == b"-ERR Unknown command"
    raw.close()
    client(one).quit()
    said = re.findall(rb"(?m)^" + TIME + rb"C: (.*)\r$", one.client_log())
    assert said[:5] == [b"AUTH ********", b"********", b"********", b"CAPA", b"amFuZQ=="]


def answer_in_pieces(one, pieces):
    """An answer of the server whose pieces the program receives one by one."""
    def said(log):
        return len(re.findall(rb"(?m)^" + TIME + rb"S: ", log))

    def answer(session, line):
        before = said(one.server_log())
        for count, piece in enumerate(pieces):
            eventually(lambda: said(one.server_log()) >= before + count, what="the piece before in the log")
            session.send(piece)
    return answer


@pytest.mark.parametrize("password, pieces, logged_as", [
    (SECRET, [b"+OK PASS %s welcome\r\n"], [b"+OK PASS ******** welcome"]),
    (SECRET, [b"-ERR bad command PASS %s\r\n"], [b"-ERR bad command PASS ********"]),
    (SECRET.upper(), [b"-ERR %s is not %s\r\n"], [b"-ERR ******** is not ********"]),
    (SECRET, [b"+OK PASS pa55-w", b"ord-of-jane welcome\r\n"], [b"+OK PASS ********", b"******** welcome"]),
    (SECRET, [b"-ERR PASS pa55-w", b"ord-of-jane\r\n"], [b"-ERR PASS ********"]),
    ("OK", [b"+OK fine, OK\r\n"], [b"********"]),
    ("no", [b"-ERR no\r\n"], [b"********"]),
])
def test_password_that_the_server_repeats_is_masked(proxy, client, server, password, pieces, logged_as):
    upstream = server(ham(1))
    one = proxy()
    pieces = [piece.replace(b"%s", password.encode()) for piece in pieces]
    upstream.when("PASS", answer_in_pieces(one, pieces))
    raw = client(one)
    raw.ask(f"USER 127.0.0.1&jane&{upstream.port}")
    answer = raw.ask(f"PASS {password}")
    assert answer.startswith(b"+OK") == pieces[0].startswith(b"+OK")
    raw.close()
    client(one).quit()
    log = one.server_log()
    answers = re.findall(rb"(?m)^" + TIME + rb"S: (.*)\r$", log[log.index(b"C: PASS ********"):])
    assert answers[:len(logged_as)] == logged_as
    for shown in (log, one.client_log(), one.output().encode()):
        for secret in (password.encode(), b"pa55", b"ord-of"):
            assert len(secret) < 4 or secret.lower() not in shown.lower()
    if pieces[0].startswith(b"-ERR"):
        assert b"failed: PASS refused: " + logged_as[0] + b")\r\n" in log


def test_limit_is_met_after_the_session_and_not_during_it(proxy, client, server):
    upstream = server(ham(1))
    one = proxy({"LogFileClientMaxSize": 2000, "LogFileServerMaxSize": 600})
    raw = client(one).login(upstream.port)
    for _ in range(60):
        raw.stat()
    for index in range(1, 30):
        raw.send(b"NOOP\r\n")
        upstream.wait_for_command("NOOP", index)
    raw.stat()
    assert len(one.client_log()) > 2000 and len(one.server_log()) > 600
    raw.quit()
    eventually(lambda: len(one.client_log()) <= 2000, what="the trimmed client log")
    eventually(lambda: len(one.server_log()) <= 600, what="the trimmed server log")
    for log, limit in ((one.client_log(), 2000), (one.server_log(), 600)):
        assert limit - 60 < len(log) <= limit
        assert re.match(TIME + rb"[CS]: ", log), log[:60]
    assert lines(one.client_log(), rb"S: \+OK Everything done\.")


def test_limit_of_nothing_empties_the_log(proxy, client, server):
    upstream = server(ham(1))
    for limit in (0, -5):
        one = proxy({"LogFileClientMaxSize": limit, "LogFileServerMaxSize": limit})
        raw = client(one).login(upstream.port)
        raw.stat()
        raw.quit()
        eventually(lambda: one.client_log() == b"" and one.server_log() == b"", what="two empty logs")
        assert os.path.exists(one.path("client.log")) and os.path.exists(one.path("server.log"))


def test_logs_may_be_named_otherwise(proxy, client, server):
    upstream = server(ham(1))
    one = proxy({"LogFileClientFileName": "mine.txt", "LogFileServerFileName": "theirs.txt"})
    raw = client(one).login(upstream.port)
    raw.stat()
    raw.quit()
    assert re.match(BANNER % b"Client", one.read("mine.txt"))
    assert re.match(BANNER % b"Server", one.read("theirs.txt"))
    assert not os.path.exists(one.path("client.log")) and not os.path.exists(one.path("server.log"))


@pytest.mark.parametrize("name", ["../outside.log", "/tmp/qb-outside-{}.log", "sub/../../outside.log", ""])
def test_log_is_opened_only_inside_the_program_directory(proxy, client, name):
    name = name.format(os.getpid())
    one = proxy({"LogFileClientFileName": name})
    client(one).quit()
    assert client(one).ask("STAT") == b"+OK 0 0"
    outside = [os.path.join(os.path.dirname(one.directory), "outside.log"), "/tmp/outside.log"]
    outside += [name] if name.startswith("/") else []
    assert not [path for path in outside if os.path.exists(path)]
    assert not [n for n in os.listdir(one.directory) if n.endswith(".log") and n != "server.log"]


def test_log_that_cannot_be_opened_is_no_harm(proxy, client, server):
    upstream = server(ham(1))
    one = proxy()
    os.mkdir(one.path("client.log"))
    os.mkdir(one.path("server.log"))
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 1
    raw.quit()


def test_files_are_for_the_owner_only(logged):
    one = logged([ham(1), spam(1)], lambda raw, upstream: raw.stat())[2]
    names = ["client.log", "server.log", "uniqueid.xml", "recycle/recyclebin.xml"]
    names += [f"recycle/{name}" for name in one.bin_files()]
    for name in names:
        assert os.stat(one.path(name)).st_mode & 0o777 == 0o600, name


def test_long_commands_are_logged_as_they_came(proxy, client):
    one = proxy()
    raw = client(one)
    raw.send(b"X" * 500 + b"\r\n")
    raw.line()
    raw.send(b"\xe4\xff Y\r\n")
    raw.line()
    raw.close()
    client(one).quit()
    log = one.client_log()
    assert re.search(TIME + rb"C: X{500}\r\n" + TIME + rb"S: -ERR Unknown command\r\n"
                     + TIME + rb"C: \xe4\xff Y\r\n", log)
