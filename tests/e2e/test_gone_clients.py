# SPDX-License-Identifier: MIT
"""Mail programs that go away while the server is waited for: the next one is served, and a QUIT is carried out."""

import re
import socket
import struct

import pytest

from messages import ham, spam
from program import eventually
from reach import AT_ONCE, PATIENCE, WAITS, every_wait, go_to, is_served, silent_server
from scripted_server import after, reply, then_silence


def close(raw):
    raw.close()


def reset(raw):
    raw.sock.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
    raw.close()


@pytest.mark.parametrize("go", [close, reset])
@every_wait
def test_next_client_is_served_at_once(proxy, client, server, where, go):
    upstream = silent_server(server, where)
    one = proxy({"AutoAbortOnTimeout": 1}, {"Timeout": PATIENCE})
    raw = client(one)
    go_to(raw, upstream, WAITS[where][0])
    go(raw)
    is_served(one)
    upstream.wait_for_end(timeout=AT_ONCE)


@every_wait
def test_standing_question_keeps_nobody(on_terminal, client, server, where):
    upstream = silent_server(server, where)
    one, terminal = on_terminal({"AutoAbortOnTimeout": 0}, {"Timeout": 1})
    raw = client(one)
    go_to(raw, upstream, WAITS[where][0])
    terminal.wait_for(rb"Do you want to abort connection\?")
    raw.close()
    is_served(one)


@pytest.mark.parametrize("where", ["greeting", "in the greeting", "USER", "PASS", "in the answer to PASS"])
def test_client_gone_at_login_is_no_failure(proxy, client, server, where):
    upstream = silent_server(server, where)
    one = proxy({"AutoAbortOnTimeout": 1}, {"Timeout": PATIENCE})
    raw = client(one)
    go_to(raw, upstream, WAITS[where][0])
    raw.close()
    is_served(one)
    log = one.server_log()
    assert b"failed" not in log
    assert re.search(rb"(?m)^ {9}[CS]: \((?!login)[^*]+\)\r?$", log), log
    assert "failed" not in one.output() + one.error_output()
    # A failure of the next one is told as ever.
    upstream.when(WAITS[where][0], reply(b"-ERR go away\r\n"))
    second = client(one)
    second.user(upstream.port)
    assert second.ask("PASS secret") == b"-ERR Password isn't correct"
    one.wait_for_output(r"failed: the server refuses .*-ERR go away")


@pytest.mark.parametrize("go", [close, reset])
@pytest.mark.parametrize("slow", ["DELE", "QUIT"])
def test_quit_is_carried_out_although_the_client_has_gone(proxy, client, server, slow, go):
    upstream = server(ham(1), spam(2), ham(3), spam(4))
    upstream.when(slow, after(1.5), times=1)
    one = proxy({"AutoAbortOnTimeout": 1}, {"Timeout": PATIENCE})
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 2
    assert raw.ask("DELE 1").startswith(b"+OK")  # the last on the server comes first
    raw.send(b"QUIT\r\n")
    upstream.wait_for_command(slow)
    go(raw)
    assert upstream.wait_until(lambda: upstream.updates == [[2, 3, 4]]), (upstream.updates, upstream.commands())
    is_served(one)
    assert upstream.numbers() == [1]
    assert len(one.bin_entries()) == len(one.bin_files()) == 2
    assert [uid for uid, _ in one.known_ids()] == ["uid-1-0"]
    assert one.setting("STATS") is None and b"[STATS]" in one.read("Quillbeaker.ini").upper()
    eventually(lambda: not one.read("recycle/unconfirmed.xml"), what="the end of what was under way")


@pytest.mark.parametrize("where", ["LIST", "in a message"])
def test_nothing_is_done_for_a_client_gone_before_its_quit(proxy, client, server, where):
    upstream = server(spam(1), spam(2))
    command, said = WAITS[where]
    upstream.when(command, then_silence(said), times=1)
    one = proxy({"AutoAbortOnTimeout": 1}, {"Timeout": PATIENCE})
    raw = client(one)
    go_to(raw, upstream, command)
    raw.close()
    is_served(one)
    assert "DELE" not in upstream.words() and not one.bin_entries() and not one.known_ids()
    # The next check finds everything as it was.
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 0
    raw.quit()
    assert upstream.numbers() == [] and len(one.bin_entries()) == 2
