# SPDX-License-Identifier: MIT
"""Servers and messages that mean harm or make no sense: no crash, no hang, no growth without bound."""

import random
import time

import pytest

from messages import SPAM_WORD, ham, message, on_the_wire, parsed_size, spam
from program import day_number, sanitized
from scripted_server import (ScriptedServer, after, chunked, endless, pieces, reply, then_close, then_reset,
                             then_silence)

NO_LOGIN = b"-ERR Password isn't correct"
MEGABYTE = 1 << 20


@pytest.fixture
def alive(client):
    """Asserts that the proxy serves the next client as if nothing had been."""

    def check(one):
        assert one.running(), one.error_output()
        raw = client(one)
        assert raw.ask("STAT") == b"+OK 0 0"
        raw.quit()

    return check


# -- replies without end ------------------------------------------------------------------------
@pytest.mark.parametrize("command", ["GREETING", "USER", "PASS"])
def test_endless_status_line(proxy, client, server, alive, command):
    upstream = server()
    upstream.when(command, endless(b"+OK ", b"x" * 4096, limit=64 * MEGABYTE))
    one = proxy(server={"Timeout": 60})
    raw = client(one)
    raw.user(upstream.port)
    assert raw.ask("PASS secret") == NO_LOGIN
    raw.ended()
    assert not hasattr(upstream, "endless_sent")  # broken off long before the fence of the test
    assert sanitized() or one.peak_memory() < 64 * MEGABYTE
    alive(one)


@pytest.mark.parametrize("status", [b"+OK ", b"XOK "])
def test_endless_status_line_of_a_message(proxy, client, server, alive, status):
    """It neither fills the log nor the terminal."""
    upstream = server(ham(1))
    upstream.when("RETR 1", reply(status + b"p" * (8 * MEGABYTE) + b"\r\n.\r\n"))
    one = proxy()
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 0
    raw.quit()
    assert len(one.server_log()) < 64 * 1024
    assert len(one.output()) < 4096
    alive(one)


@pytest.mark.parametrize("command, line", [("LIST", b"1 10\r\n"), ("LIST", b"x" * 1000 + b"\r\n"),
                                           ("UIDL", b"1 abc\r\n"), ("LIST", b"no line end ")],
                         ids=lambda v: repr(v[:12]))
def test_endless_listing(proxy, client, server, alive, command, line):
    upstream = server(ham(1))
    upstream.when(command, endless(b"+OK\r\n", line * (65536 // len(line)), limit=256 * MEGABYTE))
    one = proxy(server={"Timeout": 60})
    raw = client(one).login(upstream.port)
    begun = time.monotonic()
    assert raw.stat(60)[0] == 0
    assert time.monotonic() - begun < 30
    assert not hasattr(upstream, "endless_sent")
    raw.quit()
    assert sanitized() or one.peak_memory() < 400 * MEGABYTE
    alive(one)


def test_client_that_leaves_an_endless_message_frees_the_proxy(proxy, client, server, alive):
    """The download of one message ends by its time-out; the flood stops when the server does."""
    upstream = server(ham(1))
    upstream.when("RETR", then_silence(b"+OK\r\n" + b"x" * 100000))
    one = proxy({"AutoAbortOnTimeout": 1}, {"Timeout": 2})
    raw = client(one).login(upstream.port)
    raw.send(b"STAT\r\n")
    upstream.wait_for_command("RETR")
    raw.close()
    alive(one)


def test_answers_before_the_question(proxy, client, server, alive):
    """A server that talks ahead must not make the proxy crash or hang; what it believes is its affair."""
    upstream = server(ham(1))
    upstream.when("GREETING", reply(b"+OK\r\n+OK\r\n+OK\r\n+OK\r\n1 5\r\n.\r\n+OK\r\n.\r\n"))
    one = proxy(server={"Timeout": 2})
    raw = client(one)
    raw.user(upstream.port)
    assert raw.ask("PASS secret")[:4] in (b"+OK ", b"-ERR")
    raw.send(b"STAT\r\n")
    raw.close()
    alive(one)


@pytest.mark.parametrize("listing", [
    b"+OK\r\n" + b"1 10\r\n" * 5 + b".\r\n", b"+OK\r\n" + b"\r\n" * 100 + b".\r\n",
    b"+OK\r\n1\r\n2 \r\n \r\n-\r\n.\r\n", b"+OK\r\n\0\0\0 \0\r\n\xff\xfe 12\r\n.\r\n",
    b"+OK\r\n99999999999999999999 1\r\n.\r\n", b"+OK\r\n..\r\n.x\r\n.\r\n", b"+OK 1 10\r\n.\r\n", b"+OK\r\n1 10",
    b"+OK\r\n+OK\r\n-ERR\r\n.\r\n", b"+OK\n1 10\n.\n", b"+OK" + b" " * 9000 + b"\r\n.\r\n",
], ids=lambda listing: repr(listing[:30]))
@pytest.mark.parametrize("command", ["LIST", "UIDL"])
def test_strange_listing(proxy, client, server, alive, command, listing):
    upstream = server(ham(1), spam(1))
    upstream.when(command, reply(listing))
    one = proxy({"AutoAbortOnTimeout": 1}, {"Timeout": 1})
    raw = client(one).login(upstream.port)
    count = raw.stat()[0]
    assert len(raw.list()) == count if count else raw.listing("LIST")[1] == []
    raw.quit()
    alive(one)


def test_same_number_listed_twice(proxy, client, server):
    """Two entries of one number: both are served the same message, and DELE is sent for neither ham."""
    upstream = server(ham(1))
    upstream.list_lines = [b"1 10", b"1 10"]
    raw = client(proxy()).login(upstream.port)
    raw.stat()
    raw.quit()
    upstream.wait_for_end()
    assert upstream.count("DELE") == 0


@pytest.mark.parametrize("answer", [
    b"+OK\r\n", b"+OK", b"+OK 10 octets\r\nSubject: x\r\n\r\nno end", b"\r\n.\r\n", b".\r\n", b"+OK\r\n.", b"-ERR",
    b"+OK\n\n.\n", b"",
])
@pytest.mark.parametrize("how", [then_close, then_reset])
def test_message_that_breaks_off(proxy, client, server, alive, answer, how):
    upstream = server(ham(1), ham(2))
    upstream.when("RETR 1", how(answer))
    one = proxy(server={"Timeout": 60})
    raw = client(one).login(upstream.port)
    begun = time.monotonic()
    assert raw.stat()[0] == 1
    raw.quit()
    assert time.monotonic() - begun < 15
    assert upstream.count("DELE") == 0
    alive(one)


@pytest.mark.parametrize("cut", range(1, 40, 3))
def test_server_gone_at_any_byte_of_a_message(proxy, client, server, alive, cut):
    data = b"Subject: x\r\n\r\n.x\r\n"
    wire = ScriptedServer.retr_reply(data)
    upstream = server(data)
    upstream.when("RETR", pieces([wire[:cut], wire[cut:]], 0.02) if cut % 2 else then_close(wire[:cut]))
    one = proxy(server={"Timeout": 60})
    raw = client(one).login(upstream.port)
    whole = cut % 2 == 1 or cut >= len(wire)
    assert raw.stat()[0] == (1 if whole else 0)
    if whole:
        assert raw.retr(1)[1] == on_the_wire(data)
    raw.quit()
    alive(one)


def test_text_behind_the_closing_dot(proxy, client, server, alive):
    """A server that forgets to stuff a dot: the message ends there, and nothing hangs on the rest."""
    upstream = server(ham(1), ham(2))
    upstream.when("RETR 2", reply(b"+OK\r\nSubject: cut\r\n\r\nbefore\r\n.\r\nbehind\r\n.\r\n"))
    one = proxy({"AutoAbortOnTimeout": 1}, {"Timeout": 1})
    raw = client(one).login(upstream.port)
    assert raw.stat(10)[0] >= 1
    assert raw.retr(1)[1] == b"Subject: cut\r\n\r\nbefore\r\n"
    raw.quit()
    alive(one)


def test_sixty_thousand_messages_are_listed_in_linear_time(proxy, client, server):
    count = 60000
    upstream = server()
    upstream.list_lines = [b"%d 1000" % n for n in range(1, count + 1)]
    upstream.uidl_lines = [b"%d id-%d" % (n, n) for n in range(1, count + 1)]
    one = proxy(server={"Timeout": 30})
    one.write("uniqueid.xml", '<?xml version="1.0" encoding="ISO-8859-1"?>\n<uniqueid>\n' + "".join(
        f'  <mail uid="id-{n}" date="{day_number()}"/>\n' for n in range(1, count + 1)) + "</uniqueid>\n")
    raw = client(one).login(upstream.port)
    begun = time.monotonic()
    assert raw.stat(60) == (count, 1000 * count)
    assert len(raw.uidl()) == count
    raw.quit(60)
    assert time.monotonic() - begun < 20
    assert upstream.count("RETR") == 0


def test_much_spam_is_filed_in_linear_time(proxy, client, server):
    count = 600
    upstream = server(*[spam(n) for n in range(count)])
    one = proxy(server={"Timeout": 30})
    raw = client(one).login(upstream.port)
    assert raw.stat(60) == (0, 0)
    begun = time.monotonic()
    raw.quit(60)
    assert time.monotonic() - begun < 20
    assert len(one.bin_files()) == len(one.bin_entries()) == count
    assert upstream.numbers() == []


# -- messages -----------------------------------------------------------------------------------
def deliver(client, one, upstream, expected=1):
    raw = client(one).login(upstream.port)
    assert raw.stat(60)[0] == expected
    result = raw.retr(1, 60)[1] if expected else b""
    raw.quit(60)
    return result


def random_message(seed):
    rng = random.Random(seed)
    words = [b"Subject", b"From", b"Content-Type", b": ", b"multipart/mixed", b"boundary", b"=", b'"', b";", b"XY",
             b"--XY", b"--", b"\r\n", b"\r\n\r\n", b"\n", b"\r", b"\t", b" ", b"=?iso-8859-1?Q?", b"?=", b"=?",
             b"base64", b"\0",
             b"Content-Transfer-Encoding", b"quoted-printable", b"text/html", b"<", b">", b"<br>", b"&nbsp;", b"=4",
             b"==", b"Date", b"99:99 +9900", b"\xff", b"%n%s", b"a" * 300, b".", b"..", b"\r\n.", SPAM_WORD.encode()]
    return b"".join(rng.choice(words) for _ in range(rng.randrange(400))) + b"\r\n"


def test_random_messages_do_no_harm(proxy, client, server, alive):
    mail = [random_message(seed) for seed in range(150)]
    upstream = server(*mail)
    one = proxy({"FilterMaxMessageSize": 0}, senders={"*x*a*": "x,1"})
    raw = client(one).login(upstream.port)
    count = raw.stat(60)[0]
    sizes = dict(raw.list())
    for number in range(1, count + 1):
        assert raw.retr(number)[0] == b"+OK %d" % sizes[number]
    raw.quit(60)
    upstream.wait_for_end()
    assert upstream.count("RETR") == 150
    assert upstream.count("DELE") == len(one.bin_entries()) == len(one.bin_files()) == 150 - count
    alive(one)


def test_message_of_a_hundred_thousand_delimiters(proxy, client, server, alive):
    data = (b"Subject: many\r\nContent-Type: multipart/mixed; boundary=b\r\n\r\n" + b"--b\r\n\r\n" * 100000
            + b"--b--\r\n")
    upstream = server(data)
    one = proxy({"FilterMaxMessageSize": 0})
    begun = time.monotonic()
    delivered = deliver(client, one, upstream)
    assert time.monotonic() - begun < 20
    assert delivered.count(b"--b\r\n") == 100000
    alive(one)


def test_message_nested_ten_thousand_deep(proxy, client, server, alive):
    data = b"Subject: deep\r\n" + b"".join(
        b"Content-Type: multipart/mixed; boundary=b%d.\r\n\r\n--b%d.\r\n" % (n, n) for n in range(10000))
    upstream = server(data + b"\r\ninnermost\r\n")
    one = proxy({"FilterMaxMessageSize": 0})
    begun = time.monotonic()
    delivered = deliver(client, one, upstream)
    assert time.monotonic() - begun < 30
    assert b"innermost" in delivered and b"--b9999.\r\n" in delivered
    alive(one)


def test_message_of_many_header_lines(proxy, client, server, alive):
    data = b"".join(b"X-%d: y\r\n" % n for n in range(300000)) + b"\r\nbody\r\n"
    upstream = server(data)
    one = proxy({"FilterMaxMessageSize": 0})
    begun = time.monotonic()
    assert deliver(client, one, upstream) == data
    assert time.monotonic() - begun < 20
    alive(one)


@pytest.mark.parametrize("piece", [b"<", b"<a>", b"&nbsp;", b"=", b"a ", b"=?", b"-- \r\n", b"\0", b"x"], ids=repr)
def test_message_that_invites_quadratic_work(proxy, client, server, alive, piece):
    body = piece * (400000 // len(piece))
    data = message(subject="=?" * 400, sender="<" * 500, body=body + b"\r\n",
                   fields=[("Content-Type", "text/html"), ("Content-Transfer-Encoding", "quoted-printable")])
    upstream = server(data)
    one = proxy({"FilterMaxMessageSize": 0}, senders={"*a*a*a*a*a*a*a*a*a*b": "x,1"})
    begun = time.monotonic()
    assert deliver(client, one, upstream) == on_the_wire(data)
    assert time.monotonic() - begun < 15
    alive(one)


def test_wildcards_do_not_explode(proxy, client, server):
    sender = "a" * 250
    upstream = server(message(sender=f"x <{sender}>"))
    one = proxy(senders={"*a" * 30 + "b": "x,1", "*a" * 30: "y,1"})
    begun = time.monotonic()
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 0
    assert time.monotonic() - begun < 5


def test_sender_name_cannot_write_settings(proxy, client, server):
    name = "=?iso-8859-1?Q?x=0D=0A[SERVER]=0D=0APort=3D1?="
    upstream = server(message(sender=f"{name} <bad@blocked.example>"))
    one = proxy(senders={"bad@blocked.example": "x,1"})
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 0
    raw.quit()
    assert b"Port=1" not in one.read("Quillbeaker.ini")
    (entry,) = one.bin_entries()
    assert "\n" not in entry["sender"].replace("\r\n", "")


def test_large_message_in_small_segments_is_read_in_linear_time(proxy, client, server):
    data = message(body="a line of the large message\r\n" * 150000)
    upstream = server(data)
    upstream.when("RETR", chunked(ScriptedServer.retr_reply(data), 1460))
    one = proxy()
    begun = time.monotonic()
    assert deliver(client, one, upstream) == on_the_wire(data)
    assert time.monotonic() - begun < 30
    assert sanitized() or one.peak_memory() < 6 * len(data) + 30 * MEGABYTE


def test_many_messages_cost_memory_once(proxy, client, server):
    """What is kept until QUIT is one copy of each message."""
    data = message(body="0123456789abcdef\r\n" * 3000)
    count = 300
    upstream = server(*[data] * count)
    one = proxy(server={"Timeout": 30})
    raw = client(one).login(upstream.port)
    assert raw.stat(60) == (count, count * parsed_size(data))
    assert sanitized() or one.peak_memory() < 1.5 * count * len(data) + 30 * MEGABYTE
    raw.quit(60)


def test_slow_server_is_waited_for(proxy, client, server):
    upstream = server(ham(1), spam(1))
    for command in ("GREETING", "USER", "PASS", "LIST", "UIDL", "RETR", "DELE"):
        upstream.when(command, after(0.5))
    one = proxy({"AutoAbortOnTimeout": 1}, {"Timeout": 5})
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 1
    raw.quit()
    upstream.wait_for_end()
    assert upstream.numbers() == [1]
