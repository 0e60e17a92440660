# SPDX-License-Identifier: MIT
"""Time-outs of the mail server: how long it is waited for, what is asked, and what is kept."""

import socket
import time

import pytest

from messages import ham, message, on_the_wire, parsed_size, spam
from raw_client import Silent
from scripted_server import ScriptedServer, after, chunked, then_silence

NO_LOGIN = b"-ERR Password isn't correct"


def test_silent_server_fails_the_login_in_time(proxy, client, server):
    upstream = server()
    upstream.when("GREETING", then_silence())
    one = proxy({"AutoAbortOnTimeout": 1}, {"Timeout": 2})
    raw = client(one)
    raw.user(upstream.port)
    begun = time.monotonic()
    assert raw.ask("PASS secret") == NO_LOGIN
    assert 1.9 <= time.monotonic() - begun < 4.5
    raw.ended()
    assert client(one).ask("STAT") == b"+OK 0 0"


def test_without_a_terminal_a_time_out_aborts_unasked(proxy, client, server):
    upstream = server()
    upstream.when("USER", then_silence())
    raw = client(proxy({"AutoAbortOnTimeout": 0}, {"Timeout": 2}))
    raw.user(upstream.port)
    begun = time.monotonic()
    assert raw.ask("PASS secret") == NO_LOGIN
    assert 1.9 <= time.monotonic() - begun < 4.5


def test_abort_sends_an_unlogged_quit(proxy, client, server):
    upstream = server(ham(1))
    upstream.when("LIST", then_silence())
    one = proxy({"AutoAbortOnTimeout": 1}, {"Timeout": 1})
    raw = client(one).login(upstream.port)
    assert raw.stat(5)[0] == 0
    upstream.wait_for_end()
    assert upstream.raw().endswith(b"LIST\r\nQUIT\r\n")
    raw.quit()
    with client(one):  # whose greeting comes when the log of the first session is closed
        assert b"C: LIST" in one.server_log() and b"C: QUIT" not in one.server_log()


@pytest.mark.parametrize("command", ["USER", "PASS", "LIST", "UIDL", "RETR", "DELE", "NOOP"])
def test_silence_at_any_command(proxy, client, server, command):
    upstream = server(ham(1), spam(1))
    upstream.when(command, then_silence())
    one = proxy({"AutoAbortOnTimeout": 1}, {"Timeout": 1})
    raw = client(one)
    raw.user(upstream.port)
    login = raw.ask("PASS secret", 5)
    if command in ("USER", "PASS"):
        assert login == NO_LOGIN
        raw.ended()
        return
    assert raw.stat(5)[0] == {"LIST": 0, "UIDL": 0, "RETR": 0, "DELE": 1, "NOOP": 1}[command]
    if command == "NOOP":
        raw.send(b"NOOP\r\n")
        upstream.wait_for_command("NOOP")
    raw.quit(8)
    assert upstream.numbers() == [1, 2]


def test_each_received_piece_starts_the_time_anew(proxy, client, server):
    data = message(body="slow\r\n")
    upstream = server(data)
    wire = ScriptedServer.retr_reply(data)
    upstream.when("RETR", chunked(wire, len(wire) // 6, 0.4))
    raw = client(proxy({"AutoAbortOnTimeout": 1}, {"Timeout": 1})).login(upstream.port)
    begun = time.monotonic()
    assert raw.stat()[0] == 1
    assert time.monotonic() - begun > 2
    assert raw.retr(1)[1] == on_the_wire(data)


@pytest.mark.parametrize("timeout", [0, -5, "abc", 5000000])
def test_time_out_without_meaning_is_replaced(proxy, client, server, timeout):
    upstream = server(ham(1))
    upstream.when("LIST", after(1.5))
    raw = client(proxy({"AutoAbortOnTimeout": 1}, {"Timeout": timeout})).login(upstream.port)
    assert raw.stat()[0] == 1


def test_connect_has_the_time_limit(proxy, client):
    """A full backlog leaves the connection request unanswered."""
    with socket.socket() as listener:
        listener.bind(("127.0.0.1", 0))
        listener.listen(0)
        port = listener.getsockname()[1]
        fillers = []
        for _ in range(4):
            filler = socket.socket()
            filler.setblocking(False)
            filler.connect_ex(("127.0.0.1", port))
            fillers.append(filler)
        raw = client(proxy({"AutoAbortOnTimeout": 1}, {"Timeout": 2}))
        begun = time.monotonic()
        raw.user(port)
        assert raw.ask("PASS secret", 10) == NO_LOGIN
        raw.ended()
        assert 1.5 < time.monotonic() - begun < 7
        for filler in fillers:
            filler.close()


def test_terminal_is_asked_about_a_time_out(on_terminal, client, server):
    """The question stands there, and the server may still answer."""
    upstream = server(ham(1))
    upstream.when("LIST", after(3.5))
    one, terminal = on_terminal({"AutoAbortOnTimeout": 0}, {"Timeout": 1})
    raw = client(one).login(upstream.port)
    raw.send(b"STAT\r\n")
    terminal.wait_for(rb"The server has not answered for a long time\. Do you want to abort connection\?", 5)
    with pytest.raises(Silent):
        raw.line(0.5)
    assert raw.line() == b"+OK 1 %d" % parsed_size(ham(1))
    raw.quit()


def test_terminal_is_not_asked_when_it_shall_not_be(on_terminal, client, server):
    upstream = server(ham(1))
    upstream.when("LIST", then_silence())
    one, terminal = on_terminal({"AutoAbortOnTimeout": 1}, {"Timeout": 1})
    raw = client(one).login(upstream.port)
    assert raw.stat(5)[0] == 0
    assert b"Do you want" not in terminal.shown


def test_terminal_shows_progress_in_one_line(on_terminal, client, server):
    upstream = server(*[ham(n) for n in range(1, 8)])
    upstream.when("RETR", after(0.2))
    one, terminal = on_terminal()
    raw = client(one).login(upstream.port)
    raw.send(b"STAT\r\n")
    # Drawn again and again over the same line: a carriage return that no line feed follows.
    terminal.wait_for(rb"(?s)(\r[^\n].*){3}", 10)
    assert raw.line().startswith(b"+OK 7 ")
    raw.quit()


def test_spam_is_kept_when_the_server_dies_before_quit(proxy, client, server):
    """The messages that were judged are filed; nothing can be deleted, and no id is remembered."""
    upstream = server(ham(1), ham(2), spam(1), spam(2))
    upstream.when("RETR 1", then_silence())
    one = proxy({"AutoAbortOnTimeout": 1}, {"Timeout": 1})
    raw = client(one).login(upstream.port)
    assert raw.stat(8)[0] == 1
    raw.quit()
    assert upstream.count("DELE") == 0
    assert sorted(e["subject"] for e in one.bin_entries()) == ["offer 1", "offer 2"]
    assert len(one.bin_files()) == 2
    ids = [uid for uid, _ in one.known_ids()]
    assert "uid-3-2" not in ids and "uid-4-3" not in ids and "uid-1-0" not in ids
