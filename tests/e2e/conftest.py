# SPDX-License-Identifier: MIT
"""Fixtures of the end-to-end tests. Whatever they start is ended here, whether the test passed or not."""

import pytest

from certificates import Authority
from dovecot import Dovecot
from messages import SPAM_WORDS
from program import Quillbeaker, free_port
from raw_client import RawClient
from scripted_server import ScriptedServer
from terminal import Terminal


@pytest.fixture
def server():
    """A factory: server(messages...) is a scripted POP3 server on loopback."""
    started = []

    def make(*messages, **options):
        started.append(ScriptedServer(messages, **options))
        return started[-1]

    yield make
    for one in started:
        one.stop()


@pytest.fixture
def program_directory():
    """A factory of program directories whose proxy is not started; each one started must end with 0."""
    made = []

    def make(*arguments):
        made.append(Quillbeaker(*arguments))
        return made[-1]

    yield make
    try:
        for one in made:
            one.stop()
    finally:
        for one in made:
            one.discard()


@pytest.fixture
def proxy(program_directory):
    """A factory of running proxies: proxy(settings, senders=..., spam_words=...)."""

    def make(settings=None, server=None, senders=None, spam_words=None, thresholds=None, **sections):
        one = program_directory()
        one.configure(settings, server, senders, **sections)
        one.spam_words(SPAM_WORDS if spam_words is None else spam_words, thresholds)
        return one.start()

    return make


@pytest.fixture
def client():
    """A factory: client(proxy) is a raw client that has read the greeting."""
    opened = []

    def connect(target, **options):
        opened.append(RawClient(getattr(target, "port", target), **options))
        return opened[-1]

    yield connect
    for one in opened:
        one.close()


@pytest.fixture(scope="session")
def authority():
    """One certification authority per test process."""
    one = Authority()
    yield one
    one.close()


@pytest.fixture
def trusted(authority, monkeypatch):
    """The same, trusted by the programs that the test starts."""
    monkeypatch.setenv("SSL_CERT_FILE", authority.certificate)
    return authority


@pytest.fixture(scope="session")
def dovecot():
    """One unprivileged Dovecot per test process; every test takes an account of its own."""
    one = Dovecot(free_port())
    yield one
    one.stop()


@pytest.fixture
def on_terminal(program_directory):
    """on_terminal(settings, server) -> (proxy, terminal)."""
    terminals = []

    def start(settings=None, server=None, **sections):
        one, terminal = program_directory(), Terminal()
        terminals.append((one, terminal))
        one.configure(settings, server, **sections)
        one.start(terminal=terminal.slave)
        terminal.wait_for(str(one.port).encode())
        return one, terminal

    yield start
    for one, terminal in terminals:
        try:
            one.stop()
        finally:
            terminal.close()
