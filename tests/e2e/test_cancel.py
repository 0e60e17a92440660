# SPDX-License-Identifier: MIT
"""The end of the program while the server is waited for: at once, and nothing that a QUIT has done is lost."""

import time

import pytest

from messages import ham, message, spam
from reach import AT_ONCE, PATIENCE, WAITS, every_wait, go_to, silent_server
from scripted_server import then_silence


def stop_at_once(one):
    begun = time.monotonic()
    one.stop()
    assert time.monotonic() - begun < AT_ONCE


@every_wait
def test_every_wait_ends_with_the_program(proxy, client, server, where):
    upstream = silent_server(server, where)
    one = proxy({"AutoAbortOnTimeout": 1}, {"Timeout": PATIENCE})
    go_to(client(one), upstream, WAITS[where][0])
    stop_at_once(one)
    upstream.wait_for_end(timeout=AT_ONCE)


def test_standing_question_ends_with_the_program(on_terminal, client, server):
    upstream = silent_server(server, "LIST")
    one, terminal = on_terminal({"AutoAbortOnTimeout": 0}, {"Timeout": 1})
    go_to(client(one), upstream, "LIST")
    terminal.wait_for(rb"Do you want to abort connection\?")
    stop_at_once(one)


def test_client_that_takes_nothing_ends_with_the_program(proxy, client, server):
    upstream = server(message(body="line of mail\r\n" * 1500000))
    one = proxy(server={"ClientTimeout": PATIENCE})
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 1
    raw.send(b"RETR 1\r\n")
    assert raw.line().startswith(b"+OK")
    stop_at_once(one)


@pytest.mark.parametrize("slow", ["DELE 4", "DELE 2", "QUIT"])
def test_files_of_a_quit_are_finished(proxy, program_directory, client, server, slow):
    upstream = server(ham(1), spam(2), ham(3), spam(4))
    upstream.when(slow, then_silence(), times=1)
    one = proxy({"AutoAbortOnTimeout": 1}, {"Timeout": PATIENCE})
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 2
    raw.send(b"QUIT\r\n")
    upstream.wait_for_command(slow)
    stop_at_once(one)
    assert len(one.bin_entries()) == len(one.bin_files()) == 2
    filed = one.bin_files()
    # The server has deleted nothing. The next check does, and files nothing twice.
    again = program_directory(one.directory).start()
    raw = client(again).login(upstream.port)
    assert raw.stat()[0] == 2
    raw.quit()
    assert upstream.numbers() == [1, 3]
    assert again.bin_files() == filed and len(again.bin_entries()) == 2
    assert not again.read("recycle/unconfirmed.xml")
