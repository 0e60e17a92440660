# SPDX-License-Identifier: MIT
"""Where a mail check may have to wait for the server: how a test gets there, and what the wait may cost."""

import time

import pytest

from messages import ham
from raw_client import RawClient
from scripted_server import GREETING, then_silence

# A wait that is looked at twice a second ends in this time also on a machine with much to do; a time-out
# of PATIENCE does not.
AT_ONCE = 6
PATIENCE = 60

# The command at which the server falls silent, and what it has said by then.
WAITS = {
    "greeting": (GREETING, b""),
    "in the greeting": (GREETING, b"+OK alm"),
    "USER": ("USER", b""),
    "PASS": ("PASS", b""),
    "in the answer to PASS": ("PASS", b"+OK logged"),
    "LIST": ("LIST", b""),
    "in LIST": ("LIST", b"+OK\r\n1 100\r\n2 1"),
    "UIDL": ("UIDL", b""),
    "RETR": ("RETR", b""),
    "in a message": ("RETR", b"+OK 100 octets\r\nFrom: ann@example.org\r\nSubject: half a"),
}
every_wait = pytest.mark.parametrize("where", WAITS)


def silent_server(server, where):
    """A server with mail that falls silent there."""
    upstream = server(ham(1), ham(2))
    command, said = WAITS[where]
    upstream.when(command, then_silence(said))
    return upstream


def go_to(raw, upstream, command):
    """Makes the client ask for what ends in that command of the proxy, without waiting for its answer."""
    if command in (GREETING, "USER", "PASS"):
        raw.user(upstream.port)
        raw.send(b"PASS secret\r\n")
    else:
        raw.login(upstream.port)
        raw.send(b"STAT\r\n")
    if command == GREETING:
        assert upstream.wait_until(lambda: upstream.connections == 1)
    else:
        upstream.wait_for_command(command)


def is_served(one, within=AT_ONCE):
    """The next client is greeted in time."""
    begun = time.monotonic()
    with RawClient(one.port, deadline=within) as raw:
        assert raw.ask("STAT") == b"+OK 0 0"
    return time.monotonic() - begun
