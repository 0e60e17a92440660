# SPDX-License-Identifier: MIT
"""One terminal, two questions: whether to trust a certificate waits, a mail check that hangs does not."""

from messages import ham
from scripted_server import GREETING, after, then_silence

QUESTION = rb"Do you want to abort connection\?"


def refused(client, one, port):
    raw = client(one)
    raw.user(port, host="localhost")
    raw.send(b"PASS secret\r\n")
    return raw


def test_time_out_is_asked_about_over_a_certificate(on_terminal, client, server, trusted):
    bad = server(tls=trusted.self_signed("DNS:localhost").server_context())
    silent = server(ham(1))
    silent.when(GREETING, then_silence())
    one, terminal = on_terminal({"AutoAbortOnTimeout": 0}, {"Timeout": 1},
                                SECURITY={f"localhost:{bad.port}": "tls"})
    refused(client, one, bad.port).line(5)
    terminal.wait_for(rb"anything else not to", 5)

    waiting = refused(client, one, silent.port)
    terminal.wait_for(rb"Do you want to abort connection\?", 5)
    terminal.type(b"a\n")
    assert waiting.line(5) == b"-ERR Password isn't correct"

    # Nobody answered whether to trust the server: that is asked again.
    terminal.shown = b""
    refused(client, one, bad.port).line(5)
    terminal.wait_for(rb"anything else not to", 5)
    terminal.type(b"y\n")
    terminal.wait_for(rb"is trusted from now on", 5)


def stale_question(on_terminal, client, server, **sections):
    """A proxy whose terminal still shows the question of a session that is over: its server answered at last."""
    slow = server(ham(1))
    slow.when("RETR", after(2))
    one, terminal = on_terminal({"AutoAbortOnTimeout": 0}, {"Timeout": 1}, **sections)
    raw = client(one).login(slow.port)
    assert raw.stat(10)[0] == 1
    raw.quit()
    terminal.wait_for(QUESTION, 5)
    terminal.wait_for(rb"1 messages, 1 new", 5)
    return one, terminal


def test_names_server_and_account(on_terminal, client, server):
    silent = server(ham(1))
    silent.when("LIST", then_silence())
    one, terminal = on_terminal({"AutoAbortOnTimeout": 0}, {"Timeout": 1})
    raw = client(one).login(silent.port)
    raw.send(b"STAT\r\n")
    terminal.wait_for(rb"Server: 127\.0\.0\.1:%d\r\nAccount: jane @ 127\.0\.0\.1\r\nType A to abort" % silent.port, 5)
    terminal.type(b"a\n")
    raw.line(5)


def test_next_session_asks_over_a_stale_question(on_terminal, client, server):
    one, terminal = stale_question(on_terminal, client, server)
    terminal.shown = b""
    silent = server(ham(2))
    silent.when("LIST", then_silence())
    raw = client(one).login(silent.port)
    raw.send(b"STAT\r\n")
    terminal.wait_for(QUESTION + rb"\r\nServer: 127\.0\.0\.1:%d\r\n" % silent.port, 5)
    # However many periods pass, this one is not asked twice.
    assert terminal.read_for(2.5).count(b"abort connection?") == 1
    terminal.type(b"a\n")
    assert raw.line(5) == b"+OK 0 0"
    silent.wait_for_end()


def test_answer_to_a_stale_question_does_nothing(on_terminal, client, server):
    one, terminal = stale_question(on_terminal, client, server)
    upstream = server(ham(3), uid_prefix=b"next")
    raw = client(one).login(upstream.port)
    terminal.type(b"a\n")
    assert raw.stat()[0] == 1
    raw.quit()
    assert upstream.numbers() == [1]


def test_certificate_is_asked_about_over_a_stale_question(on_terminal, client, server, trusted):
    bad = server(tls=trusted.self_signed("DNS:localhost").server_context())
    one, terminal = stale_question(on_terminal, client, server, SECURITY={f"localhost:{bad.port}": "tls"})
    refused(client, one, bad.port).line(5)
    terminal.wait_for(rb"anything else not to", 5)
    terminal.type(b"y\n")
    terminal.wait_for(rb"is trusted from now on", 5)
