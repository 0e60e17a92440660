# SPDX-License-Identifier: MIT
"""Servers that send a little now and then: each byte keeps the time-out away, but not for ever.

QUILLBEAKER_SLOW=1 also runs what takes minutes."""

import os
import time

import pytest

from messages import ham, message, on_the_wire
from reach import AT_ONCE, PATIENCE, go_to, is_served
from scripted_server import GREETING, ScriptedServer, chunked

slow = pytest.mark.skipif(not os.environ.get("QUILLBEAKER_SLOW"), reason="takes minutes: QUILLBEAKER_SLOW=1")

# The command whose answer drips, and the answer: none of them ends within a test.
DRIPS = {
    "greeting": (GREETING, b"+OK " + b"x" * 10000),
    "PASS": ("PASS", b"+OK " + b"x" * 10000),
    "LIST": ("LIST", b"+OK\r\n" + b"".join(b"%d 100\r\n" % n for n in range(1, 2000))),
    "message": ("RETR", b"+OK\r\nSubject: slow\r\n\r\n" + b"line of mail\r\n" * 1000),
}
every_drip = pytest.mark.parametrize("where", DRIPS)


def dripping_server(server, where):
    command, answer = DRIPS[where]
    upstream = server(ham(1))
    upstream.when(command, chunked(answer, 1, 0.1))
    return upstream


@every_drip
def test_client_that_goes_ends_it_at_once(proxy, client, server, where):
    upstream = dripping_server(server, where)
    one = proxy({"AutoAbortOnTimeout": 1}, {"Timeout": PATIENCE})
    raw = client(one)
    go_to(raw, upstream, DRIPS[where][0])
    raw.close()
    is_served(one)


@every_drip
def test_end_of_the_program_ends_it_at_once(proxy, client, server, where):
    upstream = dripping_server(server, where)
    one = proxy({"AutoAbortOnTimeout": 1}, {"Timeout": PATIENCE})
    go_to(client(one), upstream, DRIPS[where][0])
    begun = time.monotonic()
    one.stop()
    assert time.monotonic() - begun < AT_ONCE


def test_slow_line_is_no_silence(proxy, client, server):
    data = message(body="a line that takes its time\r\n" * 2)
    upstream = server(data)
    wire = ScriptedServer.retr_reply(data)
    upstream.when("RETR", chunked(wire, 4, 0.05))
    raw = client(proxy({"AutoAbortOnTimeout": 1}, {"Timeout": 1})).login(upstream.port)
    begun = time.monotonic()
    assert raw.stat(60)[0] == 1
    assert time.monotonic() - begun > 2
    assert raw.retr(1)[1] == on_the_wire(data)
    raw.quit()


@slow
def test_trickle_is_given_up_after_five_minutes(proxy, client, server):
    upstream = server(ham(1))
    upstream.when("LIST", chunked(b"+OK\r\n" + b"1" * 3000, 1, 1.0))
    one = proxy({"AutoAbortOnTimeout": 1}, {"Timeout": 20})
    raw = client(one, deadline=400).login(upstream.port)
    begun = time.monotonic()
    assert raw.stat(400)[0] == 0
    assert 290 < time.monotonic() - begun < 345
    is_served_later = client(one, greeting=False)
    raw.quit()
    assert is_served_later.line() == b"+OK Ready"


@slow
def test_slow_message_of_more_than_five_minutes_arrives(proxy, client, server):
    data = message(body="x" * 70 + "\r\n" + "line of mail\r\n" * 600)
    wire = ScriptedServer.retr_reply(data)
    upstream = server(data)
    upstream.when("RETR", chunked(wire, len(wire) // 360, 1.0))  # some 7 KB in five minutes
    one = proxy({"AutoAbortOnTimeout": 1}, {"Timeout": 20})
    raw = client(one, deadline=500).login(upstream.port)
    begun = time.monotonic()
    assert raw.stat(500)[0] == 1
    assert time.monotonic() - begun > 345
    assert raw.retr(1)[1] == on_the_wire(data)
    raw.quit()
