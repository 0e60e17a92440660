# SPDX-License-Identifier: MIT
"""The session with the mail server: login, listings, downloads, and what is sent when."""

import os
import socket
import subprocess
import time

import pytest

from messages import ham, message, on_the_wire, parsed_size, spam
from program import eventually, executable, free_port
from scripted_server import ScriptedServer, chunked, pieces, reply, then_close, then_reset, then_silence

NO_LOGIN = b"-ERR Password isn't correct"


def refused(raw, port, host="127.0.0.1", timeout=None):
    """USER and PASS; asserts that the login fails and the session ends."""
    assert raw.user(port, host=host) == b"+OK Username accepted"
    assert raw.ask("PASS secret", timeout) == NO_LOGIN
    raw.ended()


# -- login --------------------------------------------------------------------------------------
@pytest.mark.parametrize("command, answer", [
    ("GREETING", b"-ERR go away\r\n"), ("GREETING", b"+ok lower case\r\n"), ("GREETING", b"hello\r\n"),
    ("USER", b"-ERR who?\r\n"), ("USER", b"\r\n"), ("PASS", b"-ERR no\r\n"), ("PASS", b"+Ok\r\n"),
])
def test_login_refused_by_the_server(proxy, client, server, command, answer):
    upstream = server(ham(1))
    upstream.when(command, reply(answer))
    one = proxy()
    refused(client(one), upstream.port)
    upstream.wait_for_end()
    assert upstream.commands()[-1] == "QUIT"
    assert client(one).ask("STAT") == b"+OK 0 0"


@pytest.mark.parametrize("command", ["GREETING", "USER", "PASS"])
@pytest.mark.parametrize("how", [then_close, then_reset])
def test_server_goes_away_during_the_login(proxy, client, server, command, how):
    upstream = server(ham(1))
    upstream.when(command, how(b"+O"))
    one = proxy()
    refused(client(one), upstream.port)
    assert client(one).ask("STAT") == b"+OK 0 0"


def test_closed_port(proxy, client):
    refused(client(proxy()), free_port())


def test_unknown_host(proxy, client):
    one = proxy(server={"Timeout": 3})
    raw = client(one)
    refused(raw, 110, host="no-such-host.invalid")
    assert client(one).ask("STAT") == b"+OK 0 0"


def test_wrong_password_is_refused_by_the_server(proxy, client, server):
    upstream = server(ham(1))
    raw = client(proxy())
    assert raw.user(upstream.port) == b"+OK Username accepted"
    assert raw.ask("PASS wrong") == NO_LOGIN
    raw.ended()
    assert upstream.commands()[:2] == ["USER jane", "PASS wrong"]


@pytest.mark.parametrize("host", ["127.0.0.1", "::1"])
def test_every_address_of_a_name_is_tried(proxy, client, host):
    """"localhost" is two addresses on most systems; the server listens on one of them."""
    family = socket.AF_INET6 if ":" in host else socket.AF_INET
    try:
        known = {info[4][0] for info in socket.getaddrinfo("localhost", None, type=socket.SOCK_STREAM)}
        socket.socket(family).close()
    except OSError:
        known = set()
    if host not in known:
        pytest.skip(f"localhost is not {host} here")
    with ScriptedServer([ham(1)], host=host) as upstream:
        raw = client(proxy()).login(upstream.port, host="localhost")
        assert raw.stat()[0] == 1


@pytest.fixture
def known_hosts(program_directory, tmp_path):
    """A proxy for which "mail.test" is the given addresses, by a hosts file of its own."""

    def start(addresses, settings=None, server=None):
        if subprocess.run(["unshare", "--mount", "true"], stderr=subprocess.DEVNULL, check=False).returncode:
            pytest.skip("needs the right to give a process a hosts file of its own")
        hosts = tmp_path / "hosts"
        hosts.write_text("".join(f"{address} mail.test\n" for address in addresses), encoding="ascii")
        one = program_directory()
        one.configure(settings, server)
        port = free_port()
        return one.start(port=port, program="unshare", arguments=[
            "--mount", "sh", "-c", 'mount --bind "$1" /etc/hosts && shift && exec "$@"', "sh", str(hosts), executable(),
            "run", "--directory", one.directory, "--port", str(port)])

    return start


def test_addresses_are_tried_in_turn(known_hosts, client):
    with ScriptedServer([ham(1)], host="127.0.0.23") as upstream:
        one = known_hosts(["127.0.0.21", "127.0.0.22", "127.0.0.23", "127.0.0.24"])
        raw = client(one).login(upstream.port, host="mail.test")
        assert raw.stat()[0] == 1
        raw.quit()


def test_address_that_does_not_answer_is_passed_over(known_hosts, client):
    with ScriptedServer([ham(1)], host="127.0.0.26") as upstream, socket.socket() as deaf:
        deaf.bind(("127.0.0.25", upstream.port))
        deaf.listen(0)
        fillers = [socket.socket() for _ in range(4)]
        for filler in fillers:
            filler.setblocking(False)
            filler.connect_ex(("127.0.0.25", upstream.port))
        one = known_hosts(["127.0.0.25", "127.0.0.26"], {"AutoAbortOnTimeout": 1}, {"Timeout": 2})
        raw = client(one)
        raw.user(upstream.port, host="mail.test")
        assert raw.ask("PASS secret", 15) == b"+OK Password accepted"
        for filler in fillers:
            filler.close()


# -- what is sent -------------------------------------------------------------------------------
def test_sends_these_commands_and_no_others(proxy, client, server):
    upstream = server(ham(1), spam(1), ham(2))
    raw = client(proxy()).login(upstream.port)
    raw.stat()
    raw.list()
    raw.uidl()
    raw.retr(1)
    raw.ask("TOP 2 0")
    raw.until(b"\r\n.\r\n")
    raw.ask("RSET")
    raw.send(b"NOOP\r\n")
    upstream.wait_for_command("NOOP")
    assert raw.ask("DELE 2") == b"+OK Message deleted"
    raw.quit()
    upstream.wait_for_end()
    assert upstream.raw() == (b"USER jane\r\nPASS secret\r\nLIST\r\nUIDL\r\nRETR 3\r\nRETR 2\r\nRETR 1\r\nNOOP\r\n"
                              b"DELE 2\r\nDELE 1\r\nQUIT\r\n")


def test_no_uidl_without_uid_checking(proxy, client, server):
    upstream = server(ham(1))
    one = proxy({"UIDChecking": 0})
    for _ in range(2):
        raw = client(one).login(upstream.port)
        raw.stat()
        raw.quit()
    upstream.wait_for_end(2)
    assert upstream.words() == ["USER", "PASS", "LIST", "RETR", "QUIT"] * 2
    assert not os.path.exists(one.path("uniqueid.xml"))


def test_nothing_is_listed_before_it_is_needed(proxy, client, server):
    upstream = server(ham(1))
    raw = client(proxy()).login(upstream.port)
    raw.quit()
    upstream.wait_for_end()
    assert upstream.commands() == ["USER jane", "PASS secret", "QUIT"]


def test_server_can_read_quit_though_it_is_still_sending(proxy, client, server):
    """Closing at once while something is unread would reset the connection before QUIT is read,
    and what was marked would not be deleted."""
    upstream = server(spam(1))

    def talkative(session, line):
        session.default(line)
        session.pause(0.3)
        session.send(b"* more\r\n" * 5000)

    upstream.when("DELE", talkative)
    raw = client(proxy()).login(upstream.port)
    raw.stat()
    raw.quit()
    upstream.wait_for_end()
    assert upstream.commands()[-1] == "QUIT"
    assert upstream.numbers() == []


def test_server_that_is_silent_at_quit_keeps_nobody_waiting(proxy, client, server):
    upstream = server(ham(1))
    upstream.when("QUIT", then_silence())
    one = proxy()
    raw = client(one).login(upstream.port)
    raw.stat()
    begun = time.monotonic()
    assert raw.ask("QUIT") == b"+OK Everything done."
    assert time.monotonic() - begun < 1.5
    upstream.wait_for_end(timeout=8)  # a server that never answers QUIT is not waited for long


# -- listings -----------------------------------------------------------------------------------
def test_line_without_a_size(proxy, client, server):
    upstream = server(ham(1), ham(2))
    one = proxy()
    with client(one).login(upstream.port) as raw:
        raw.stat()
        raw.quit()
    upstream.list_lines = [b"1", b"2\t4711"]
    raw = client(one).login(upstream.port)
    assert raw.list() == [(1, 4711), (2, 0)]


def test_uidl_line_of_an_unknown_number_ends_the_reading(proxy, client, server):
    upstream = server(ham(1), ham(2), ham(3))
    upstream.uidl_lines = [b"1 one", b"7 seven", b"2 two", b"3 three"]
    raw = client(proxy()).login(upstream.port)
    ids = dict(raw.uidl())
    assert ids[1] == b"one"
    assert ids[2].startswith(b"Quillbeaker") and ids[3].startswith(b"Quillbeaker")


def test_uidl_lines_of_all_forms(proxy, client, server):
    upstream = server(ham(1), ham(2), ham(3), ham(4))
    upstream.uidl_lines = [b"1\ttabbed", b"nonsense", b"2", b"3 with blanks in it", b"4 " + b"u" * 300]
    raw = client(proxy()).login(upstream.port)
    ids = dict(raw.uidl())
    assert ids[1] == b"tabbed" and ids[3] == b"with blanks in it" and ids[4] == b"u" * 254
    assert ids[2].startswith(b"Quillbeaker")


def test_uidl_refused_is_no_harm(proxy, client, server):
    upstream = server(ham(1), spam(1))
    upstream.has_uidl = False
    one = proxy()
    for connection in (1, 2):
        raw = client(one).login(upstream.port)
        assert raw.stat()[0] == 1
        raw.quit()
        upstream.wait_for_end(connection)
        upstream.renumber()
    assert upstream.numbers() == [1]
    assert one.known_ids() == []
    assert upstream.count("RETR", 2) == 1  # unknown again: fetched and judged again


def test_list_refused_means_an_empty_mailbox(proxy, client, server):
    upstream = server(ham(1))
    upstream.when("LIST", reply(b"-ERR not now\r\n"))
    one = proxy()
    one.restored_entry("1_100000_1.recycle", b"Subject: kept\r\n\r\nkept\r\n", "jane @ 127.0.0.1")
    raw = client(one).login(upstream.port)
    assert raw.ask("STAT") == b"+OK 0 0"
    raw.quit()
    assert upstream.numbers() == [1]


def test_numbers_out_of_range_are_left_alone(proxy, client, server):
    upstream = server(ham(1), ham(2))
    upstream.list_lines = [b"0 10", b"1 100", b"65536 10", b"70000 10", b"2 100", b"4294967296 10", b"-3 10"]
    upstream.uidl_lines = [b"1 one", b"2 two", b"0 zero", b"70000 big"]
    raw = client(proxy({"Aggressiveness": 100})).login(upstream.port)
    assert raw.uidl() == [(2, b"two"), (1, b"one")]
    assert raw.stat()[0] == 0
    raw.quit()
    upstream.wait_for_end()
    fetched = [c for c in upstream.commands() if c[:4] in ("RETR", "DELE")]
    assert fetched == ["RETR 2", "RETR 1", "DELE 2", "DELE 1"]


@pytest.mark.parametrize("line", [b"0 zero", b"70000 big", b"3 other", b"none none"])
def test_an_id_of_no_message_ends_the_reading_of_ids(proxy, client, server, line):
    upstream = server(ham(1), ham(2))
    upstream.list_lines = [b"1 100", b"70000 10", b"2 100"]
    upstream.uidl_lines = [b"1 one", line, b"2 two"]
    raw = client(proxy()).login(upstream.port)
    assert raw.stat()[0] == 2
    ids = [unique_id for _, unique_id in raw.uidl()]
    assert b"one" in ids and b"two" not in ids
    raw.quit()


def test_largest_number_is_a_server_message(proxy, client, server):
    upstream = server()
    upstream.put(ham(1), number=65535)
    raw = client(proxy()).login(upstream.port)
    assert raw.stat()[0] == 1
    assert raw.retr(1)[1] == on_the_wire(ham(1))


@pytest.mark.parametrize("size", [b"0", b"1", b"4294967295", b"99999999999999999999", b"-1", b"x"])
def test_size_of_the_listing_is_only_a_hint(proxy, client, server, size):
    upstream = server(ham(1))
    upstream.list_lines = [b"1 " + size]
    one = proxy()
    raw = client(one).login(upstream.port)
    assert raw.stat() == (1, parsed_size(ham(1)))
    assert raw.retr(1)[1] == on_the_wire(ham(1))
    assert one.peak_memory() < 150 << 20
    raw.quit()


# -- downloads ----------------------------------------------------------------------------------
@pytest.mark.parametrize("size", [1, 2, 3, 5, 7])
def test_replies_in_small_segments(proxy, client, server, size):
    data = message(body=".\r\n..\r\nend\r\n")
    upstream = server(data)
    for command, answer in (("GREETING", b"+OK hi\r\n"), ("USER", b"+OK\r\n"), ("PASS", b"+OK\r\n"),
                            ("LIST", b"+OK\r\n1 %d\r\n.\r\n" % len(data)), ("UIDL", b"+OK\r\n1 u\r\n.\r\n"),
                            ("RETR", ScriptedServer.retr_reply(data))):
        upstream.when(command, chunked(answer, size))
    raw = client(proxy()).login(upstream.port)
    assert raw.stat()[0] == 1
    assert raw.retr(1)[1] == on_the_wire(data)
    assert raw.uidl() == [(1, b"u")]


def test_server_closes_in_the_middle_of_a_body(proxy, client, server):
    upstream = server(ham(1))
    upstream.when("RETR", then_close(b"+OK\r\nSubject: half\r\n\r\nhalf a bo"))
    one = proxy(server={"Timeout": 60})
    raw = client(one).login(upstream.port)
    raw.send(b"RETR 1\r\n")
    raw.ended()
    before = one.cpu_seconds()
    time.sleep(1)  # watching for a loop that would burn the processor has no event to wait for
    assert one.cpu_seconds() - before < 0.3
    assert client(one).ask("STAT") == b"+OK 0 0"


def test_server_closes_in_the_middle_of_the_view_build(proxy, client, server):
    upstream = server(ham(1), ham(2), ham(3))
    upstream.when("RETR 2", then_close(b"+OK\r\nSubject: half\r\n\r\nhalf a bo"))
    one = proxy(server={"Timeout": 60})
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 1
    assert raw.retr(1)[1] == on_the_wire(ham(3))
    raw.quit()
    assert upstream.numbers() == [1, 2, 3]
    assert [uid for uid, _ in one.known_ids()] == ["uid-3-2"]


def test_refused_retr_in_two_segments_does_not_mix_up_the_answers(proxy, client, server):
    upstream = server(ham(1), ham(2), ham(3))
    upstream.when("RETR 2", pieces([b"-ERR", b" sorry\r\n"], 0.4), times=1)
    raw = client(proxy()).login(upstream.port)
    assert raw.stat()[0] == 1
    assert raw.retr(2)[1] == on_the_wire(ham(2))
    assert raw.ask("DELE 1") == b"+OK Message deleted"
    raw.quit()
    assert upstream.numbers() == [1, 2]


def test_refused_retr_whose_end_never_comes(proxy, client, server):
    """The rest of the refusal must be read before anything else is sent; it never comes."""
    upstream = server(ham(1), ham(2), ham(3))
    upstream.when("RETR 2", pieces([b"-ERR sorry"]))
    raw = client(proxy(server={"Timeout": 1})).login(upstream.port)
    assert raw.stat()[0] == 1
    raw.send(b"RETR 2\r\n")
    raw.ended(6)
    upstream.wait_for_end()
    assert upstream.count("RETR 2") == 1 and upstream.count("RETR 1") == 0


def test_refusal_is_known_by_its_start_in_any_case(proxy, client, server):
    upstream = server(ham(1), ham(2))
    upstream.when("RETR 1", reply(b"-err lower case\r\n"))
    raw = client(proxy()).login(upstream.port)
    begun = time.monotonic()
    assert raw.stat()[0] == 1
    assert time.monotonic() - begun < 5  # and not after the time-out


def test_multi_line_reply_with_a_strange_start(proxy, client, server):
    upstream = server(ham(1), ham(2))
    upstream.when("RETR 1", reply(b"+ok lower case\r\nSubject: x\r\n\r\nx\r\n.\r\n"))
    raw = client(proxy()).login(upstream.port)
    assert raw.stat()[0] == 1


def test_failing_download_is_named_in_the_status(proxy, client, server):
    upstream = server(*[ham(n) for n in range(1, 11)])
    upstream.when("RETR 7", reply(b"-ERR the disk is on fire\r\n"))
    one = proxy()
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 3
    raw.quit()
    one.wait_for_output(r"(?s)\b7\b.*the disk is on fire|the disk is on fire.*\b7\b")


# -- deletions and survival ---------------------------------------------------------------------
def test_failed_delete_is_silent_and_its_id_is_not_stored(proxy, client, server):
    upstream = server(ham(1), spam(1), ham(2))
    upstream.when("DELE 2", reply(b"-ERR locked\r\n"))
    one = proxy()
    raw = client(one).login(upstream.port)
    raw.stat()
    raw.quit()
    upstream.wait_for_end()
    assert upstream.count("DELE 2") == 1
    assert sorted(uid for uid, _ in one.known_ids()) == ["uid-1-0", "uid-3-2"]
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 2  # hidden again


def test_program_survives_many_broken_sessions(proxy, client, server):
    one = proxy(server={"Timeout": 1})
    for command in ("GREETING", "USER", "PASS", "LIST", "UIDL", "RETR", "DELE"):
        upstream = server(ham(1), spam(1))
        upstream.when(command, then_reset(b"+OK"))
        raw = client(one)
        raw.user(upstream.port)
        if raw.ask("PASS secret") == NO_LOGIN:
            raw.ended()
            continue
        raw.ask("STAT")
        raw.quit()
    upstream = server(ham(1), spam(1))
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 1
    raw.quit()
    eventually(lambda: upstream.numbers() == [1])
