# SPDX-License-Identifier: MIT
"""Servers that end a session in which they hear nothing: a NOOP of ours keeps them, and disturbs nobody."""

import time

import pytest

from messages import ham, message, on_the_wire, spam
from scripted_server import Gone, ScriptedServer, Session, after, reply, then_silence

AUTOLOGOUT = 3.0


class ImpatientSession(Session):
    """Ends without a word, and without carrying out deletions, when nothing was said for AUTOLOGOUT seconds."""

    def run(self):
        self.heard = time.monotonic()
        super().run()

    def record(self, data):
        self.heard = time.monotonic()
        super().record(data)

    def send(self, data):
        super().send(data)
        self.heard = time.monotonic()

    def _receive(self):
        while True:
            if self.server.stopping.is_set() or time.monotonic() - self.heard > AUTOLOGOUT:
                raise Gone
            self.sock.settimeout(0.2)
            try:
                data = self.sock.recv(65536)
            except TimeoutError:
                continue
            except OSError as error:
                raise Gone from error
            if not data:
                raise Gone
            self.record(data)
            return data


class ImpatientServer(ScriptedServer):
    session_type = ImpatientSession


def test_session_outlives_an_autologout(proxy, client):
    with ImpatientServer([ham(1), spam(2), ham(3)]) as upstream:
        raw = client(proxy(server={"KeepAliveSeconds": 1})).login(upstream.port)
        assert raw.stat()[0] == 2
        assert raw.retr(1)[1] == on_the_wire(ham(3))
        upstream.wait_for_command("NOOP", 4)  # more seconds than the server has patience
        assert raw.retr(2)[1] == on_the_wire(ham(1))
        assert raw.ask("DELE 1").startswith(b"+OK")
        raw.quit()
        assert upstream.updates == [[2, 3]] and upstream.numbers() == [1]


def test_session_without_it_does_not(proxy, client):
    """That the server is what the test above takes it for."""
    with ImpatientServer([ham(1), spam(2)]) as upstream:
        raw = client(proxy(server={"KeepAliveSeconds": 0})).login(upstream.port)
        assert raw.stat()[0] == 1
        upstream.wait_for_end()
        raw.quit()
        assert upstream.updates == [] and upstream.count("NOOP") == 0


def test_client_that_reads_from_memory_without_a_pause(proxy, client):
    with ImpatientServer([ham(1), spam(2)]) as upstream:
        raw = client(proxy(server={"KeepAliveSeconds": 1})).login(upstream.port)
        assert raw.stat()[0] == 1
        end = time.monotonic() + AUTOLOGOUT + 1
        while time.monotonic() < end:
            assert raw.retr(1)[1] == on_the_wire(ham(1))
            time.sleep(0.05)  # no mail program is faster
        raw.quit()
        assert upstream.count("NOOP") >= 2 and upstream.updates == [[2]]


def test_client_that_takes_its_time_with_one_message(proxy, client):
    data = message(body="line of mail\r\n" * 1500000)
    with ImpatientServer([data]) as upstream:
        one = proxy(server={"KeepAliveSeconds": 1, "ClientTimeout": 60})
        raw = client(one).login(upstream.port)
        assert raw.stat()[0] == 1
        raw.send(b"RETR 1\r\n")
        upstream.wait_for_command("NOOP", 4)  # more seconds than the server has patience
        assert raw.line().startswith(b"+OK")
        assert raw.until(b"\r\n.\r\n")[:-3] == on_the_wire(data)
        assert raw.ask("DELE 1").startswith(b"+OK")
        raw.quit()
        assert upstream.numbers() == []


def test_only_a_listed_mailbox_is_kept(proxy, client, server):
    upstream = server(ham(1))
    raw = client(proxy(server={"KeepAliveSeconds": 1})).login(upstream.port)
    raw.nothing(1.8)
    assert upstream.count("NOOP") == 0
    assert raw.stat()[0] == 1
    upstream.wait_for_command("NOOP", 2)
    raw.quit()


@pytest.mark.parametrize("answer", [b"+OK\r\n", b"-ERR not now\r\n", b"+OK nothing\r\n+OK more\r\n"])
def test_answer_is_taken_when_it_comes(proxy, client, server, answer):
    """Never for that to another command, and nobody waits for it who wants nothing of the server."""
    upstream = server(ham(1), spam(2), spam(3))

    def late(session, line):
        session.pause(2)
        session.send(answer)

    upstream.when("NOOP", late, times=1)
    upstream.when("DELE 2", reply(b"-ERR no\r\n"))
    one = proxy({"AutoAbortOnTimeout": 1}, {"KeepAliveSeconds": 1, "Timeout": 30})
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 1
    upstream.wait_for_command("NOOP")
    asked = time.monotonic()
    assert raw.retr(1, 10)[1] == on_the_wire(ham(1))
    assert time.monotonic() - asked < 2
    raw.quit()
    assert upstream.updates == [[3]]


def test_noop_that_is_not_answered_is_not_asked_about(on_terminal, client, server):
    upstream = server(ham(1), spam(2))
    upstream.when("NOOP", then_silence())
    one, terminal = on_terminal({"AutoAbortOnTimeout": 0}, {"KeepAliveSeconds": 1, "Timeout": 2})
    one.spam_words({"zorkmoney": 120})
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 1
    upstream.wait_for_command("NOOP")
    raw.nothing(2.8)  # the answer's time-out shows nowhere
    assert raw.retr(1)[1] == on_the_wire(ham(1))
    begun = time.monotonic()
    raw.quit()
    assert time.monotonic() - begun < 6
    assert upstream.count("NOOP") == 1 and upstream.count("DELE") == 0
    terminal.wait_for(rb"messages")
    assert b"Do you want to abort" not in terminal.shown
    assert upstream.numbers() == [1, 2] and not upstream.updates


def test_noop_of_the_client_is_passed_on(proxy, client, server):
    upstream = server(ham(1))
    upstream.when("NOOP", after(1), times=1)
    raw = client(proxy(server={"KeepAliveSeconds": 0})).login(upstream.port)
    assert raw.stat()[0] == 1
    raw.send(b"NOOP\r\n")
    upstream.wait_for_command("NOOP")
    assert raw.stat()[0] == 1  # it has no reply of its own
    raw.quit()
    assert upstream.count("NOOP") == 1


def test_silent_client_is_closed_all_the_same(proxy, client, server):
    upstream = server(ham(1))
    raw = client(proxy(server={"KeepAliveSeconds": 1, "ClientTimeout": 4})).login(upstream.port)
    assert raw.stat()[0] == 1
    begun = time.monotonic()
    raw.ended(15)
    assert time.monotonic() - begun > 3.5
    assert upstream.count("NOOP") >= 2
