# SPDX-License-Identifier: MIT
"""All of the program's threads in one mail check after the other: what ThreadSanitizer is to look at.

The listener's thread has names resolved by another, asks a person on a third, and is stopped by a fourth; meanwhile
another process uses the same files."""

import threading

from messages import SPAM_WORDS, ham, on_the_wire, spam
from program import eventually, run_cli
from raw_client import RawClient
from scripted_server import after

CLIENTS = 4
CHECKS = 3
QUESTION = rb"Do you want to abort connection\?"


def check_mail(port, upstream, failures):
    """Fetches and deletes what there is, as often as it takes to be sure that nothing is left."""
    try:
        for _ in range(CHECKS):
            with RawClient(port, deadline=60) as raw:
                raw.login(upstream.port, host="localhost")
                for number in range(1, raw.stat()[0] + 1):
                    assert raw.retr(number)[1] in [on_the_wire(ham(n)) for n in (1, 3)]
                    raw.ask(f"DELE {number}")
                raw.quit()
    except AssertionError as error:
        failures.append(error)


def test_clients_at_once_a_question_and_another_process(on_terminal, client, server, trusted):
    context = trusted.issue("DNS:localhost").server_context()
    upstreams = [server(ham(1), spam(2), ham(3), tls=context if n % 2 else None, uid_prefix=f"box{n}".encode())
                 for n in range(CLIENTS)]
    one, terminal = on_terminal({"AutoAbortOnTimeout": 0}, {"Timeout": 2, "KeepWaitingSeconds": 1},
                                SECURITY={f"localhost:{u.port}": "tls" for u in upstreams if u.tls})
    one.spam_words(SPAM_WORDS)
    upstreams[0].when("RETR", after(3), times=1)
    failures = []
    threads = [threading.Thread(target=check_mail, args=(one.port, upstream, failures)) for upstream in upstreams]
    for thread in threads:
        thread.start()
    while any(thread.is_alive() for thread in threads):
        run_cli("stats", "--directory", one.directory, "--json")
        threads[0].join(0.2)
    for thread in threads:
        thread.join()
    assert not failures
    for upstream in upstreams:
        assert eventually(lambda upstream=upstream: not [m for m in upstream.mailbox if not m.deleted])
    assert len(one.bin_entries()) == CLIENTS

    # The question of a session that is over stands while the next one asks, and while the program ends.
    terminal.wait_for(QUESTION, 10)
    slow = server(ham(4), uid_prefix=b"slow")
    slow.when("RETR", after(30))
    raw = client(one).login(slow.port)
    raw.send(b"STAT\r\n")
    slow.wait_for_command("RETR")
    terminal.shown = b""
    terminal.wait_for(QUESTION, 10)
    one.stop()
