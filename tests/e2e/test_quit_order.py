# SPDX-License-Identifier: MIT
"""What a QUIT does, in which order, and what stands in the files when either side hears of it."""

import re
import time

import pytest

from learnt import training_entries, word_list
from messages import ham, spam
from reach import AT_ONCE
from scripted_server import after, reply

FRIEND = "Fred Friend <fred@friends.example>"
SENDERS = {"fred@friends.example": "Fred,2"}


class Snapshots:
    """What lies in the program directory whenever the server hears one of the commands."""

    def __init__(self, upstream, one, *commands):
        self.one = one
        self.seen = {}
        for command in commands:
            upstream.when(command, self._take)

    def _take(self, session, line):
        one = self.one
        self.seen.setdefault(line.decode(), {
            "entries": [(entry["name"], entry.get("restored")) for entry in one.bin_entries()],
            "files": one.bin_files(),
            "training": len(training_entries(one)),
            "known": [uid for uid, _ in one.known_ids()],
            "statistic": b"[STATS]" in one.read("Quillbeaker.ini").upper(),
            "unconfirmed": one.read("recycle/unconfirmed.xml"),
        })
        session.default(line)


def test_every_file_is_whole_when_a_side_hears_of_it(proxy, client, server):
    upstream = server(ham(1), spam(2), ham(3), spam(4))
    one = proxy()
    one.restored_entry("20200101-restored.recycle", ham(9), "jane @ 127.0.0.1")
    shots = Snapshots(upstream, one, "DELE", "QUIT")
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 3
    raw.retr(1)  # the restored one
    assert raw.ask("DELE 1").startswith(b"+OK")
    assert raw.ask("DELE 2").startswith(b"+OK")
    raw.send(b"QUIT\r\n")
    assert raw.line() == b"+OK Everything done."
    told = {"known": [uid for uid, _ in one.known_ids()], "names": one.bin_files(),
            "statistic": b"[STATS]" in one.read("Quillbeaker.ini").upper()}
    raw.ended()

    # Spam is filed and other mail kept for training before the first deletion, in the order of the list.
    assert [word for word in upstream.commands() if word.startswith(("DELE", "QUIT"))] == [
        "DELE 4", "DELE 3", "DELE 2", "QUIT"]
    first = shots.seen["DELE 4"]
    assert len([entry for entry in first["entries"] if entry[1] != "1"]) == 2 and len(first["files"]) == 3
    assert first["training"] == 4 and first["unconfirmed"].count(b'due="1"') == 3
    # What was delivered, what stays, and what was counted, before the server's QUIT.
    last = shots.seen["QUIT"]
    assert len(last["entries"]) == len(last["files"]) == 2 and last["known"] == ["uid-1-0"]
    assert last["statistic"]
    assert told == {"known": last["known"], "names": last["files"], "statistic": True}
    # And nothing is under way any more once the client's connection has ended.
    assert not one.read("recycle/unconfirmed.xml")


def test_words_are_learnt_before_the_first_deletion(proxy, client, server):
    upstream = server(ham(1, sender=FRIEND), spam(2))
    one = proxy(senders=SENDERS)
    learnt = []
    upstream.when("DELE", lambda session, line: (learnt.append(word_list(one, "good")[0]), session.default(line)))
    raw = client(one).login(upstream.port)
    raw.stat()
    raw.quit()
    assert learnt == [1]


def test_server_hears_quit_before_the_client_is_answered(proxy, client, server):
    upstream = server(ham(1), spam(2))
    raw = client(proxy()).login(upstream.port)
    raw.stat()
    heard = []
    upstream.when("QUIT", lambda session, line: (heard.append(time.monotonic()), session.pause(0.7),
                                                 session.default(line)))
    raw.send(b"QUIT\r\n")
    assert raw.line() == b"+OK Everything done."
    assert upstream.count("QUIT") == 1 or upstream.wait_until(lambda: heard, 0.3)
    assert heard, "the client was answered first"


def test_client_does_not_wait_for_the_servers_answer(proxy, client, server):
    upstream = server(ham(1), spam(2))
    upstream.when("QUIT", lambda session, line: session.pause(60))  # nor does it close when we have said all
    raw = client(proxy({"AutoAbortOnTimeout": 1}, {"Timeout": 30})).login(upstream.port)
    raw.stat()
    begun = time.monotonic()
    assert raw.ask("QUIT") == b"+OK Everything done."
    answered = time.monotonic() - begun
    raw.ended()
    closed = time.monotonic() - begun
    # The server has its time to carry the deletions out, and the client's connection outlasts that.
    assert closed - answered > 1.5
    assert closed < AT_ONCE


def test_clients_connection_ends_last(proxy, client, server):
    upstream = server(ham(1), spam(2))
    upstream.when("QUIT", after(1.0))
    raw = client(proxy()).login(upstream.port)
    raw.stat()
    assert raw.ask("QUIT") == b"+OK Everything done."
    raw.ended()
    assert upstream.updates == [[2]]


@pytest.mark.parametrize("answer", [b"-ERR some deleted messages not removed\r\n",
                                    b"-ERR [SYS/TEMP] mailbox \x07 is busy\r\n"])
def test_refused_deletions_are_told(proxy, client, server, answer):
    upstream = server(ham(1), spam(2))
    upstream.when("QUIT", reply(answer), times=1)
    one = proxy()
    raw = client(one).login(upstream.port)
    raw.stat()
    raw.quit()
    words = answer.decode().strip().replace("\x07", " ")
    one.wait_for_output(re.escape(words))
    assert f"\n         S: {words}\r\n".encode() in one.server_log(), one.server_log()
    # What was not deleted is known to be under way; the next check ends it without a second copy.
    assert one.read("recycle/unconfirmed.xml")
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 1
    raw.quit()
    assert upstream.updates == [[2]] and len(one.bin_files()) == 1


def test_words_of_a_refusal_have_an_end(proxy, client, server):
    upstream = server(spam(1))
    upstream.when("QUIT", reply(b"-ERR " + b"x" * 5000 + b"\r\n"))
    one = proxy()
    raw = client(one).login(upstream.port)
    raw.stat()
    raw.quit()
    assert b"         S: -ERR " + b"x" * 195 + b"\r\n" in one.server_log()
    one.wait_for_output("x{195}")
    assert "x" * 196 not in one.output()


@pytest.mark.parametrize("answer", [b"-ERR whatever\r\n", b"+OK bye\r\n", b""])
def test_answer_is_no_news_without_a_deletion(proxy, client, server, answer):
    upstream = server(ham(1))
    upstream.when("QUIT", lambda session, line: (session.send(answer), session.close()))
    one = proxy()
    raw = client(one).login(upstream.port)
    raw.stat()
    raw.quit()
    one.wait_for_output(r"1 new")
    assert b"whatever" not in one.server_log() and "whatever" not in one.output() + one.error_output()


@pytest.mark.parametrize("answer", [b"+OK bye\r\n", b""])
def test_agreement_or_a_plain_close_is_no_news_either(proxy, client, server, answer):
    upstream = server(ham(1), spam(2))

    def carry_out(session, line):
        session.default(line) if answer else session.server._update(session.marked)
        session.close()

    upstream.when("QUIT", carry_out)
    one = proxy()
    raw = client(one).login(upstream.port)
    raw.stat()
    raw.quit()
    one.wait_for_output(r"1 new|2 new")
    log = one.server_log()
    assert log.rstrip().endswith(b"C: QUIT"), log[-300:]
    assert upstream.numbers() == [1]
