# SPDX-License-Identifier: MIT
"""The tools of these tests against each other, without the proxy: a test that fails later is not theirs."""

import time

import pytest

from mail_clients import Fetchmail, Mpop, curl
from messages import assert_same_mail, fold, message, parts, refolded, samples
from raw_client import Closed, RawClient, Silent
from scripted_server import (chunked, dot_stuffed, endless, pieces, reply, then_close, then_reset,
                             then_silence)

NAMES = list(samples())


def connect(port):
    raw = RawClient(port, greeting=False)
    assert raw.line().startswith(b"+OK")
    return raw


def log_in(port, user="jane"):
    raw = connect(port)
    assert raw.ask(f"USER {user}").startswith(b"+OK")
    assert raw.ask("PASS secret").startswith(b"+OK")
    return raw


# -- the scripted server ------------------------------------------------------------------------
def test_scripted_server_is_honest_when_left_alone(server):
    upstream = server(message("one"), message("two", body=".dot\r\n"))
    with log_in(upstream.port) as raw:
        assert raw.ask("STAT") == b"+OK 2 %d" % sum(m.size() for m in upstream.mailbox)
        assert [line.split()[0] for line in raw.listing("LIST")[1]] == [b"1", b"2"]
        assert raw.listing("UIDL")[1] == [b"1 uid-1-0", b"2 uid-2-1"]
        assert raw.retr(2)[1] == dot_stuffed(upstream.mailbox[1].data)
        assert raw.ask("DELE 1").startswith(b"+OK")
        assert upstream.numbers() == [1, 2]
        assert raw.ask("QUIT").startswith(b"+OK")
    upstream.wait_for_end()
    assert upstream.numbers() == [2]
    assert upstream.commands() == ["USER jane", "PASS secret", "STAT", "LIST", "UIDL", "RETR 2", "DELE 1", "QUIT"]


def test_scripted_server_deletes_nothing_without_quit(server):
    upstream = server(message("one"))
    with log_in(upstream.port) as raw:
        assert raw.ask("DELE 1").startswith(b"+OK")
    upstream.wait_for_end()
    assert upstream.numbers() == [1]


def test_scripted_server_follows_its_script(server):
    upstream = server(message("one"))
    upstream.when("STAT", pieces([b"-ER", b"R no\r\n"], 0.1), times=1)
    upstream.when("LIST", chunked(b"+OK\r\n1 5\r\n.\r\n", 3, 0.01))
    upstream.when("RETR 1", then_close(b"+OK\r\nhalf"))
    with log_in(upstream.port) as raw:
        assert raw.ask("STAT") == b"-ERR no"
        assert raw.ask("STAT").startswith(b"+OK 1 ")
        assert raw.listing("LIST") == (b"+OK", [b"1 5"])
        raw.send(b"RETR 1\r\n")
        assert raw.line() == b"+OK"
        with pytest.raises(Closed):
            raw.line()


def test_scripted_server_can_be_silent_and_endless(server):
    upstream = server()
    upstream.when("STAT", then_silence())
    upstream.when("NOOP", then_reset(b"+OK"))
    upstream.when("UIDL", endless(b"+OK\r\n", b"1 x\r\n" * 1000, limit=1 << 18))
    with log_in(upstream.port) as raw:
        raw.send(b"STAT\r\n")
        begun = time.monotonic()
        with pytest.raises(Silent):
            raw.line(0.3)
        assert 0.25 < time.monotonic() - begun < 5
    with log_in(upstream.port) as raw:
        raw.send(b"NOOP\r\n")
        with pytest.raises(Closed):
            raw.line()
    with log_in(upstream.port) as raw:
        raw.send(b"UIDL\r\n")
        assert upstream.wait_until(lambda: len(upstream.over) == 2)
        with pytest.raises(Silent):
            raw.until(b"\r\n.\r\n", 1.0)
        assert len(raw.buffer) >= 1 << 18


def test_scripted_server_refuses_where_told(server):
    upstream = server()
    upstream.when("GREETING", reply(b"-ERR go away\r\n"))
    raw = RawClient(upstream.port, greeting=False)
    with raw:
        assert raw.line() == b"-ERR go away"


# -- the oracle ---------------------------------------------------------------------------------
def test_fold_puts_a_tab_after_the_last_blank_of_seventy():
    words = b" ".join(b"word%02d" % n for n in range(15))
    assert len(words) == 104
    assert fold(words) == words[:69] + b"\r\n\t" + words[70:]
    assert fold(b"x" * 150) == b"x" * 150
    assert fold(b"a " + b"x" * 150) == b"a " + b"x" * 150
    assert fold(b"ab " + b"x" * 150) == b"ab\r\n\t" + b"x" * 150


def test_refolded_keeps_fields_and_body():
    text = b"A: 1\r\n\t2\r\n  3\r\nno colon\r\nB : x \r\n\r\nbody\r\n.."
    assert refolded(text) == b"A: 1 2  3\r\nB: x\r\n\r\nbody\r\n.."


@pytest.mark.parametrize("name", NAMES)
def test_comparison_notices_one_changed_byte(name):
    sent = samples()[name]
    sent += b"" if sent.endswith(b"\r\n") else b"\r\n"
    assert_same_mail(sent, sent)
    at = max(i for i, byte in enumerate(sent) if chr(byte).isalnum() and sent[i:i + 1] not in (b"-",)
             and not sent[sent.rfind(b"\r\n", 0, i) + 2:].startswith(b"--"))
    changed = sent[:at] + bytes([sent[at] ^ 1]) + sent[at + 1:]
    with pytest.raises(AssertionError):
        assert_same_mail(sent, changed)


def test_parts_of_a_nested_message():
    fields, _, children = parts(samples()["nested first"])
    assert dict(fields)[b"MIME-Version"] == b"1.0"
    assert [len(child[2]) for child in children] == [2, 0]
    assert b"paper.pdf" in dict(children[1][0])[b"Content-Type"]


# -- real clients directly at Dovecot -----------------------------------------------------------
def test_dovecot_serves_the_samples(dovecot):
    sent = samples()
    dovecot.mailbox("direct", sent.values())
    with log_in(dovecot.port, "direct") as raw:
        for number, data in enumerate(sent.values(), 1):
            stored = raw.retr(number)[1]
            expected = dot_stuffed(data)
            assert stored == expected, number
        raw.ask("QUIT")


def test_real_clients_fetch_from_dovecot(dovecot):
    sent = list(samples().values())
    dovecot.mailbox("clients", sent)
    mpop, fetchmail = Mpop(), Fetchmail()
    try:
        for fetched in (curl(dovecot.port, "clients", "secret"),
                        mpop.fetch(dovecot.port, "clients", "secret"),
                        fetchmail.fetch(dovecot.port, "clients", "secret")):
            assert fetched.code == 0, fetched.output
            assert len(fetched.messages) == len(sent), fetched.output
            for one, delivered in zip(sent, fetched.messages):
                assert_same_mail(one, delivered)
    finally:
        mpop.close()
        fetchmail.close()
