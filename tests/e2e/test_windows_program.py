# SPDX-License-Identifier: MIT
"""The Windows console program under Wine: the same mail check, from Dovecot to a real client, by the program that
QUILLBEAKER_WINDOWS_CLI names. Skipped where it names none; `./test windows` does."""

import os
import socket
import subprocess
import time

import pytest

import mail_clients
from dovecot import PASSWORD
from messages import SPAM_WORDS, ham, spam
from program import Quillbeaker, free_port

PROGRAM = os.environ.get("QUILLBEAKER_WINDOWS_CLI")
pytestmark = pytest.mark.skipif(not PROGRAM, reason="QUILLBEAKER_WINDOWS_CLI names no program")
START_LIMIT = 60.0


def wait_until_served(port):
    end = time.monotonic() + START_LIMIT
    while True:
        try:
            with socket.create_connection(("127.0.0.1", port), timeout=5) as probe:
                if probe.recv(100).startswith(b"+OK"):
                    return
        except OSError:
            assert time.monotonic() < end, "the program does not answer"
            time.sleep(0.1)


@pytest.fixture
def windows_proxy():
    """A program directory served by the program under Wine. It is ended by force: Wine passes no SIGTERM on."""
    one = Quillbeaker()
    one.configure()
    one.spam_words(SPAM_WORDS)
    port = free_port()
    process = subprocess.Popen(["wine", PROGRAM, "run", "--directory", f"Z:{one.directory}", "--port", str(port)],
                               stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        wait_until_served(port)
        one.port = port
        yield one
    finally:
        process.kill()
        process.wait()
        one.discard()


def test_mail_check_under_wine(windows_proxy, dovecot):
    dovecot.mailbox("wine", [ham(1), spam(2), ham(3)])
    client = mail_clients.Mpop()
    try:
        got = client.fetch(windows_proxy.port, f"127.0.0.1&wine&{dovecot.port}", PASSWORD)
    finally:
        client.close()
    assert got.code == 0, got.output
    assert sorted(b"ham" in one.lower() for one in got.messages) == [True, True]
    end = time.monotonic() + 15
    while dovecot.left("wine") != 2:
        assert time.monotonic() < end, "the spam was not deleted on the server"
        time.sleep(0.1)
    assert len(windows_proxy.bin_files()) == 1
    assert [entry["account"] for entry in windows_proxy.bin_entries()] == ["wine @ 127.0.0.1"]
    assert len(windows_proxy.known_ids()) == 2
    assert b"PASS ********" in windows_proxy.server_log()
    assert PASSWORD.encode() not in windows_proxy.server_log() + windows_proxy.client_log()
