# SPDX-License-Identifier: MIT
"""Mail clients that give up, and what keeps them from it."""

import os
import re
import resource
import time

import pytest

from messages import ham, message, on_the_wire, spam
from program import day_number, sanitized
from scripted_server import after, then_silence

KEPT = b"         C: (message kept from an earlier session)"


def fetch_all(raw, count):
    return [raw.retr(number)[1] for number in range(1, count + 1)]


def give_up_during(client, one, upstream, command):
    """A client that asks for the list and is gone when the server has been asked for `command`."""
    raw = client(one).login(upstream.port)
    raw.send(b"STAT\r\n")
    upstream.wait_for_command(command)
    raw.close()
    upstream.wait_for_end(upstream.connections)


def test_what_was_fetched_for_a_client_that_went_is_not_fetched_again(proxy, client, server):
    mails = [ham(1), spam(2), ham(3), ham(4)]
    upstream = server(*mails)
    upstream.when("RETR 1", after(3), times=1)
    one = proxy(server={"KeepWaitingSeconds": 0})
    give_up_during(client, one, upstream, "RETR 1")
    assert upstream.count("RETR") == 4
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 3
    assert sorted(fetch_all(raw, 3)) == sorted(on_the_wire(mail) for mail in (mails[0], mails[2], mails[3]))
    raw.quit()
    # Of four messages only the one that had not come was asked for a second time.
    assert upstream.count("RETR") == 5
    assert one.server_log().count(KEPT) == 3
    assert len(one.bin_entries()) == 1


def test_the_person_is_told_how_much_is_ready(proxy, client, server):
    upstream = server(ham(1), ham(2), ham(3))
    upstream.when("RETR 1", then_silence(), times=1)
    one = proxy(server={"KeepWaitingSeconds": 0})
    give_up_during(client, one, upstream, "RETR 1")
    one.wait_for_output(r"2 of 3")


def test_kept_mail_is_judged_anew(proxy, client, server):
    upstream = server(ham(1), spam(2))
    upstream.when("RETR 1", after(3), times=1)
    one = proxy(server={"KeepWaitingSeconds": 0})
    give_up_during(client, one, upstream, "RETR 1")
    one.spam_words({"another": 100})
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 2
    raw.quit()
    assert one.bin_entries() == []


def test_what_was_kept_is_not_fetched_again_after_a_session_without_quit(proxy, client, server):
    upstream = server(ham(1), ham(2), ham(3))
    upstream.when("RETR 1", after(3), times=1)
    one = proxy(server={"KeepWaitingSeconds": 0})
    give_up_during(client, one, upstream, "RETR 1")
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 3
    raw.close()
    upstream.wait_for_end(2)
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 3
    raw.quit()
    # Mails 2 and 3 once; the first never came for the client that gave up, and each later one waited for it.
    assert upstream.count("RETR 2") == upstream.count("RETR 3") == 1


def test_quit_clears_what_was_kept(proxy, client, server):
    upstream = server(ham(1), ham(2))
    upstream.when("RETR 1", after(3), times=1)
    one = proxy(server={"KeepWaitingSeconds": 0})
    give_up_during(client, one, upstream, "RETR 1")
    client(one).login(upstream.port).quit()
    upstream.wait_for_end(2)
    raw = client(one).login(upstream.port)
    raw.stat()
    assert KEPT not in one.server_log()


@pytest.mark.parametrize("settings", [{"FetchCacheMegabytes": 0}, {"UIDChecking": 0}])
def test_nothing_is_kept_where_it_must_not_be(proxy, client, server, settings):
    upstream = server(ham(1), ham(2))
    upstream.when("RETR 1", after(3), times=1)
    main = {k: v for k, v in settings.items() if k == "UIDChecking"}
    one = proxy(main, server={"KeepWaitingSeconds": 0, **{k: v for k, v in settings.items() if k not in main}})
    give_up_during(client, one, upstream, "RETR 1")
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 2
    assert KEPT not in one.server_log()
    assert upstream.count("RETR 2") == 2


# -- the waiting bytes ---------------------------------------------------------------------------
def arrivals(raw, end=b"\r\n"):
    """[(seconds since the call, bytes)] until `end` has come."""
    begun, seen, result = time.monotonic(), b"", []
    while not seen.endswith(end):
        data = raw.sock.recv(4096)
        assert data, seen
        seen += data
        result.append((time.monotonic() - begun, data))
    return result


def test_a_waiting_client_gets_the_answer_byte_by_byte(proxy, client, server):
    upstream = server(ham(1))
    upstream.when("RETR 1", after(7))
    one = proxy(server={"KeepWaitingSeconds": 1})
    raw = client(one).login(upstream.port)
    raw.send(b"STAT\r\n")
    came = arrivals(raw)
    assert [data for _, data in came[:4]] == [b"+", b"O", b"K", b" "]
    assert b"".join(data for _, data in came) == b"+OK 1 %d\r\n" % (len(ham(1)) - 2)
    for number, (when, _) in enumerate(came[:4], 1):
        assert number - 0.2 <= when <= number + 2
    assert raw.retr(1)[1] == on_the_wire(ham(1))
    raw.quit()
    assert b" S: +OK 1 " in one.client_log()


@pytest.mark.parametrize("command, answer", [("LIST", b"+OK Message list follows"), ("UIDL", b"+OK UID list follows")])
def test_the_bytes_change_nothing_but_their_time(proxy, client, server, command, answer):
    upstream = server(ham(1))
    upstream.when("LIST", after(2.5))
    one = proxy(server={"KeepWaitingSeconds": 1})
    raw = client(one).login(upstream.port)
    raw.send(command.encode() + b"\r\n")
    came = arrivals(raw, b".\r\n")
    assert len(came) >= 3 and came[0][1] == b"+"
    assert b"".join(data for _, data in came).startswith(answer + b"\r\n1 ")


def test_quit_is_kept_waiting_too(proxy, client, server):
    upstream = server(spam(1))
    upstream.when("DELE", after(2.5))
    one = proxy(server={"KeepWaitingSeconds": 1})
    raw = client(one).login(upstream.port)
    raw.stat()
    raw.send(b"QUIT\r\n")
    came = arrivals(raw)
    assert came[0][1] == b"+" and came[0][0] < 2
    assert b"".join(data for _, data in came) == b"+OK Everything done.\r\n"


def test_no_byte_comes_before_its_time_when_none_is_wanted(proxy, client, server):
    upstream = server(ham(1))
    upstream.when("RETR 1", after(2.5))
    raw = client(proxy(server={"KeepWaitingSeconds": 0})).login(upstream.port)
    raw.send(b"STAT\r\n")
    raw.nothing(1.8)
    assert raw.line().startswith(b"+OK 1 ")


def test_an_answer_that_may_be_a_refusal_waits_for_no_bytes(proxy, client, server):
    upstream = server(ham(1))
    upstream.when("RETR 1", after(2.5))
    one = proxy(server={"KeepWaitingSeconds": 1})
    raw = client(one).login(upstream.port)
    raw.send(b"LIST 9\r\n")
    raw.nothing(1.8)
    assert raw.line() == b"-ERR message does not exist!"


# -- more mail than memory -----------------------------------------------------------------------
def test_mail_beyond_the_limit_waits_in_a_file_and_comes_back_whole(proxy, client, server):
    mails = [ham(n, fields=[("X-Padding", "p" * 60)]) + b"line of mail\r\n" * 40_000 for n in range(1, 6)]
    upstream = server(*mails, spam(6))
    one = proxy(server={"SessionMegabytes": 1})
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 5
    assert sorted(fetch_all(raw, 5)) == sorted(on_the_wire(mail) for mail in mails)
    raw.quit()
    assert len(one.bin_entries()) == 1
    assert [name for name in os.listdir(one.directory) if "spill" in name] == []


def test_a_file_that_takes_no_more_ends_the_build_as_a_failed_download(proxy, client, server):
    mails = [message(body=f"mail {n}\r\n" + "line of mail\r\n" * 60_000) for n in range(3)]
    upstream = server(*mails)
    one = proxy(server={"SessionMegabytes": 1})
    # One of the messages fits into memory, one into the file.
    resource.prlimit(one.process.pid, resource.RLIMIT_FSIZE, (1 << 20, resource.RLIM_INFINITY))
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 2
    assert [raw.retr(number)[1] for number in (1, 2)] == [on_the_wire(mails[2]), on_the_wire(mails[1])]
    raw.quit()
    assert re.search(rb"         C: \(message could not be kept: .+\)\r\n", one.server_log())
    one.wait_for_output("3 messages, 2 new")
    # What was not seen is not known: it comes with the next check.
    resource.prlimit(one.process.pid, resource.RLIMIT_FSIZE, (resource.RLIM_INFINITY, resource.RLIM_INFINITY))
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 3
    assert raw.retr(3)[1] == on_the_wire(mails[0])


def limit_memory(one, megabytes):
    """What the program may have beyond what it has now."""
    with open(f"/proc/{one.process.pid}/statm", encoding="ascii") as file:
        now = int(file.read().split()[0]) * os.sysconf("SC_PAGE_SIZE")
    limit = now + megabytes * 1024 * 1024
    resource.prlimit(one.process.pid, resource.RLIMIT_AS, (limit, limit))


@pytest.mark.skipif(sanitized(), reason="the sanitizer needs address space of its own")
def test_a_check_larger_than_memory_comes_whole(proxy, client, server):
    mails = [message(body="line of mail\r\n" * 500_000, subject=f"big {n}") for n in range(1, 21)]
    upstream = server(*mails)
    one = proxy(server={"SessionMegabytes": 32})
    limit_memory(one, 120)
    raw = client(one, deadline=60).login(upstream.port)
    assert raw.stat()[0] == 20
    for number in (1, 7, 20):
        assert raw.retr(number)[1] == on_the_wire(mails[20 - number])
    raw.quit()
    assert one.running()


@pytest.mark.skipif(sanitized(), reason="the sanitizer needs address space of its own")
def test_memory_that_cannot_be_had_ends_the_session_and_not_the_program(proxy, client, server):
    upstream = server(*(message(body="line of mail\r\n" * 500_000) for _ in range(20)))
    one = proxy(server={"SessionMegabytes": 4096})
    limit_memory(one, 60)
    raw = client(one, deadline=60).login(upstream.port)
    raw.send(b"STAT\r\n")
    raw.ended()
    one.wait_for_output("not enough memory")
    assert b"(out of memory, the session ends)" in one.client_log()
    one.wait_for_output("ended without QUIT")
    assert "gave up" not in one.output(), "it was not the mail program"
    assert client(one).ask("STAT") == b"+OK 0 0"


@pytest.mark.skipif(sanitized(), reason="the sanitizer needs address space of its own")
@pytest.mark.parametrize("megabytes", [4, 12, 24])
def test_a_store_that_memory_is_short_for_is_not_replaced(proxy, client, server, megabytes):
    """It would read like a damaged one: every mail on the server would count as new."""
    upstream = server(ham(1))
    one = proxy()
    ids = "".join(f'  <mail uid="old-{n:08d}" date="{day_number()}"/>\n' for n in range(100_000))
    store = f'<?xml version="1.0" encoding="ISO-8859-1"?>\n<uniqueid>\n{ids}</uniqueid>\n'.encode()
    one.write("uniqueid.xml", store)
    raw = client(one, deadline=60).login(upstream.port)
    limit_memory(one, megabytes)
    raw.send(b"STAT\r\n")
    raw.ended()
    one.wait_for_output("not enough memory")
    assert one.read("uniqueid.xml") == store
    assert "old-" not in one.error_output()
    assert client(one).ask("STAT") == b"+OK 0 0"


@pytest.mark.skipif(sanitized(), reason="the sanitizer needs memory of its own")
def test_known_mail_beyond_the_limit_is_not_held_in_memory(proxy, client, server):
    big = message(body="line of mail\r\n" * 400_000)
    upstream = server(*([big] * 20))
    one = proxy(server={"SessionMegabytes": 20})
    known = "".join(f'<mail uid="{m.uid.decode()}" date="{day_number()}"/>' for m in upstream.mailbox)
    one.write("uniqueid.xml", f"<uniqueid>{known}</uniqueid>")
    raw = client(one, deadline=60).login(upstream.port)
    assert raw.stat()[0] == 20
    for number in range(1, 21):
        assert len(raw.retr(number)[1]) == len(on_the_wire(big))
    assert one.peak_memory() < 64 << 20
    raw.quit()


@pytest.mark.skipif(sanitized(), reason="the sanitizer needs memory of its own")
def test_mail_of_nothing_but_parts_counts_with_what_it_costs(proxy, client, server):
    head = b"From: a@example.org\r\nContent-Type: multipart/mixed; boundary=b\r\n\r\n"
    upstream = server(*([head + b"--b\r\n\r\n" * 300_000] * 8))
    one = proxy(server={"SessionMegabytes": 40})
    raw = client(one, deadline=60).login(upstream.port)
    assert raw.stat()[0] == 8
    assert one.peak_memory() < 160 << 20
    raw.quit()


def test_spam_beyond_the_limit_is_filed_whole(proxy, client, server):
    big = [spam(n) + b"line of mail\r\n" * 40_000 for n in range(1, 5)]
    upstream = server(*big)
    one = proxy({"FilterMaxMessageSize": 0}, server={"SessionMegabytes": 1})
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 0
    raw.quit()
    upstream.wait_for_end(1)
    assert upstream.numbers() == []
    assert sorted(one.read(f"recycle/{name}") + b"\r\n" for name in one.bin_files()) == sorted(
        on_the_wire(mail) for mail in big)
