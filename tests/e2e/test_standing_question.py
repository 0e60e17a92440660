# SPDX-License-Identifier: MIT
"""One terminal, two questions: whether to trust a certificate waits, a mail check that hangs does not."""

from messages import ham
from scripted_server import GREETING, then_silence


def refused(client, one, port):
    raw = client(one)
    raw.user(port, host="localhost")
    raw.send(b"PASS secret\r\n")
    return raw


def test_time_out_is_asked_about_over_a_certificate(on_terminal, client, server, trusted):
    bad = server(tls=trusted.self_signed("DNS:localhost").server_context())
    silent = server(ham(1))
    silent.when(GREETING, then_silence())
    one, terminal = on_terminal({"AutoAbortOnTimeout": 0}, {"Timeout": 1},
                                SECURITY={f"localhost:{bad.port}": "tls"})
    refused(client, one, bad.port).line(5)
    terminal.wait_for(rb"anything else not to", 5)

    waiting = refused(client, one, silent.port)
    terminal.wait_for(rb"Do you want to abort connection\?", 5)
    terminal.type(b"a\n")
    assert waiting.line(5) == b"-ERR Password isn't correct"

    # Nobody answered whether to trust the server: that is asked again.
    terminal.shown = b""
    refused(client, one, bad.port).line(5)
    terminal.wait_for(rb"anything else not to", 5)
    terminal.type(b"y\n")
    terminal.wait_for(rb"is trusted from now on", 5)
