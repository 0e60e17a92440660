# SPDX-License-Identifier: MIT
"""Servers that want TLS: who is trusted, and that nobody else is told anything.

Each failing case ends with the same question: what did the server get to read?"""

import os
import re
import socket
import ssl
import time

import pytest

import mail_clients
from certificates import EXPIRED, NOT_YET, Authority
from dovecot import PASSWORD, Dovecot
from messages import ham, message, on_the_wire, spam
from program import eventually, free_port
from scripted_server import GREETING, ScriptedServer, after, reply, start_tls, then_close, then_reset, then_silence
from test_upstream import known_hosts  # noqa: F401  (a fixture)

NO_LOGIN = b"-ERR Password isn't correct"
SECRETS = (b"jane", b"secret", b"USER", b"PASS", b"QUIT", b"CAPA", b"AUTH")


def login_fails(client, one, port, host="localhost", timeout=None):
    raw = client(one)
    assert raw.user(port, host=host) == b"+OK Username accepted"
    answer = raw.ask("PASS secret", timeout)
    assert answer == NO_LOGIN, answer
    raw.ended()


def nothing_was_said(upstream, allowed=b""):
    """No byte of POP3, QUIT included, but those allowed."""
    upstream.wait_for_end()
    raw = upstream.raw()
    assert raw == allowed, raw


def failure(one):
    """The one line of the server log that tells why the last login failed."""
    lines = re.findall(rb"(?m)^ {9}S: (\(login to .*\))\r$", eventually(
        lambda: b"failed: " in one.server_log() and one.server_log(), what="a reason in the log"))
    return lines[-1].decode("utf-8")


# -- mail ----------------------------------------------------------------------------------------
@pytest.fixture(scope="module")
def tls_dovecot(authority):
    one = Dovecot(free_port(), free_port(), authority.issue("DNS:localhost", "IP:127.0.0.1"))
    yield one
    one.stop()


@pytest.mark.parametrize("security", ["tls", "starttls"])
@pytest.mark.parametrize("host", ["localhost", "127.0.0.1"])
def test_mail_check_from_dovecot(proxy, trusted, tls_dovecot, security, host):
    account = f"{security}{len(host)}"
    tls_dovecot.mailbox(account, [ham(1), spam(2), ham(3)])
    one = proxy(server={"Security": security})
    port = tls_dovecot.tls_port if security == "tls" else tls_dovecot.port
    mpop = mail_clients.Mpop()
    try:
        got = mpop.fetch(one.port, f"{host}&{account}&{port}", PASSWORD)
    finally:
        mpop.close()
    assert got.code == 0, got.output
    assert len(got.messages) == 2 and all(b"ham" in text.lower() for text in got.messages)
    eventually(lambda: tls_dovecot.left(account) == 2, what="the deletion")
    assert one.bin_entries()[0]["account"] == f"{account} @ {host}"
    log = one.server_log()
    assert b"PASS ********" in log and PASSWORD.encode() not in log
    assert (b"C: STLS" in log) == (security == "starttls") and b"C: CAPA" in log


@pytest.mark.parametrize("version", [ssl.TLSVersion.TLSv1_2, ssl.TLSVersion.TLSv1_3])
def test_large_mail_arrives_whole(proxy, client, server, trusted, version):
    context = trusted.issue("DNS:localhost").server_context(minimum_version=version, maximum_version=version)
    data = message(body="line of mail\r\n" * 200000)
    upstream = server(data, tls=context)
    raw = client(proxy(server={"Security": "tls"})).login(upstream.port, host="localhost")
    assert raw.stat()[0] == 1
    assert raw.retr(1)[1] == on_the_wire(data)
    raw.quit()
    assert upstream.words() == ["USER", "PASS", "CAPA", "LIST", "UIDL", "RETR", "QUIT"]


def test_name_is_told_to_the_server_and_an_address_is_not(proxy, client, server, trusted):
    context = trusted.issue("DNS:localhost", "IP:127.0.0.1").server_context()
    asked = []
    context.sni_callback = lambda sock, name, own: asked.append(name)
    upstream = server(tls=context)
    one = proxy(server={"Security": "tls"})
    client(one).login(upstream.port, host="localhost").quit()
    client(one).login(upstream.port, host="127.0.0.1").quit()
    assert asked == ["localhost", None]


def test_section_names_the_server(proxy, client, server, trusted):
    secure = server(tls=trusted.issue("DNS:localhost").server_context())
    plain = server()
    one = proxy(SECURITY={f"LOCALHOST:{secure.port}": "TLS", "localhost": "plain"}, server={"Security": "starttls"})
    client(one).login(secure.port, host="localhost").quit()
    client(one).login(plain.port, host="localhost").quit()


@pytest.mark.skipif(not socket.has_ipv6 or not os.path.exists("/proc/net/if_inet6")
                    or "00000000000000000000000000000001" not in open("/proc/net/if_inet6", encoding="ascii").read(),
                    reason="there is no IPv6 loopback here")
@pytest.mark.parametrize("entry, good", [("IP:::1", True), ("IP:::2", False)])
def test_ipv6(proxy, client, server, trusted, entry, good):
    upstream = server(ham(1), host="::1", tls=trusted.issue(entry).server_context())
    one = proxy(SECURITY={f"::1:{upstream.port}": "tls"})
    if good:
        raw = client(one).login(upstream.port, host="::1")
        assert raw.stat()[0] == 1
        raw.quit()
    else:
        login_fails(client, one, upstream.port, "::1")
        nothing_was_said(upstream)
        assert f"login to ::1:{upstream.port} failed: certificate not accepted: IP address mismatch" in failure(one)


def test_dead_first_address(known_hosts, client, trusted):  # noqa: F811
    context = trusted.issue("DNS:mail.test").server_context()
    with ScriptedServer([ham(1)], host="127.0.0.23", tls=context) as upstream:
        one = known_hosts(["127.0.0.21", "127.0.0.23"], server={"Security": "tls"})
        raw = client(one).login(upstream.port, host="mail.test")
        assert raw.stat()[0] == 1
        raw.quit()


# -- certificates --------------------------------------------------------------------------------
BAD = {
    "expired": ("localhost", lambda ca: ca.issue("DNS:localhost", dates=EXPIRED), "certificate has expired"),
    "not yet": ("localhost", lambda ca: ca.issue("DNS:localhost", dates=NOT_YET), "certificate is not yet valid"),
    "wrong host": ("localhost", lambda ca: ca.issue("DNS:localhost.example.org"), "hostname mismatch"),
    "name only as common name": ("localhost", lambda ca: ca.issue("DNS:a.test", common_name="localhost"),
                                 "hostname mismatch"),
    "wrong address": ("127.0.0.1", lambda ca: ca.issue("IP:127.0.0.2", "DNS:localhost"), "IP address mismatch"),
    "address as name": ("127.0.0.1", lambda ca: ca.issue("DNS:127.0.0.1"), "IP address mismatch"),
    "self-signed": ("localhost", lambda ca: ca.self_signed("DNS:localhost"), "self-signed certificate"),
    "for clients": ("localhost", lambda ca: ca.issue("DNS:localhost", usage="clientAuth"), "purpose"),
    "everything": ("localhost", lambda ca: ca.self_signed("DNS:a.test"),
                   "self-signed certificate, hostname mismatch"),
}


@pytest.mark.parametrize("security", ["tls", "starttls"])
@pytest.mark.parametrize("kind", BAD)
def test_bad_certificate_is_refused(proxy, client, server, trusted, kind, security):
    host, make, reason = BAD[kind]
    certificate = make(trusted)
    upstream = server(ham(1))
    if security == "tls":
        upstream.tls = certificate.server_context()
    upstream.when("STLS", start_tls(certificate.server_context()))
    one = proxy(server={"Security": security})
    login_fails(client, one, upstream.port, host)
    nothing_was_said(upstream, b"STLS\r\n" if security == "starttls" else b"")
    told = failure(one)
    assert told.startswith(f"(login to {host}:{upstream.port} failed: certificate not accepted: "), told
    assert reason in told.partition("; subject ")[0], told
    assert re.search(r"; subject CN=.+; issuer CN=.+; valid \d{4}-\d\d-\d\d to \d{4}-\d\d-\d\d; SHA-256 "
                     + certificate.fingerprint() + r"\)$", told), told
    assert one.wait_for_output(rf"The login to {re.escape(host)}:{upstream.port} failed: its certificate is not accepted")
    # It is not asked about where nobody can be asked.
    assert b"CERTIFICATES" not in one.read("Quillbeaker.ini")


def test_stranger_is_refused(proxy, client, server, authority, monkeypatch):
    """A chain that is in order, from an authority that nobody here trusts."""
    monkeypatch.setenv("SSL_CERT_FILE", "/dev/null")
    monkeypatch.setenv("SSL_CERT_DIR", "/nonexistent")
    upstream = server(tls=authority.issue("DNS:localhost").server_context())
    one = proxy(server={"Security": "tls"})
    login_fails(client, one, upstream.port)
    nothing_was_said(upstream)
    assert "unable to get local issuer certificate" in failure(one)


@pytest.mark.parametrize("kind", BAD)
def test_dovecot_with_a_bad_certificate(proxy, client, trusted, kind):
    host, make, _ = BAD[kind]
    dovecot = Dovecot(free_port(), free_port(), make(trusted))
    try:
        dovecot.mailbox("jane", [ham(1)])
        one = proxy(SECURITY={f"{host}:{dovecot.port}": "starttls", f"{host}:{dovecot.tls_port}": "tls"})
        for port in (dovecot.port, dovecot.tls_port):
            login_fails(client, one, port, host)
        eventually(lambda: dovecot.log().count("no auth attempts") >= 2, what="two logins without a word")
        assert "user=<jane>" not in dovecot.log()
    finally:
        dovecot.stop()


# -- what is no TLS ------------------------------------------------------------------------------
def test_plain_server_on_the_tls_port(proxy, client, server, trusted):
    upstream = server(ham(1))
    one = proxy(server={"Security": "tls"})
    login_fails(client, one, upstream.port)
    upstream.wait_for_end()
    raw = upstream.raw()
    assert raw.startswith(b"\x16\x03") and not any(word in raw for word in SECRETS), raw
    assert f"(login to localhost:{upstream.port} failed: no TLS: " in failure(one)


def test_tls_server_on_the_plain_port(proxy, client, server, trusted):
    upstream = server(ham(1), tls=trusted.issue("DNS:localhost").server_context())
    one = proxy({"AutoAbortOnTimeout": 1}, {"Timeout": 1})
    login_fails(client, one, upstream.port)
    upstream.wait_for_end()
    assert upstream.handshake_errors and upstream.raw() == b""
    assert failure(one) == f"(login to localhost:{upstream.port} failed: no answer)"


@pytest.mark.parametrize("value", ["ssl", "tls1.3", "", "plain tls"])
@pytest.mark.parametrize("where", ["general", "host", "port"])
def test_unclear_setting_sends_nothing(proxy, client, server, value, where):
    upstream = server()
    keys = {"host": "localhost", "port": f"localhost:{upstream.port}"}
    sections = {"SECURITY": {keys[where]: value}} if where in keys else {}
    one = proxy(server={"Security": value} if where == "general" else {"Security": "plain"}, **sections)
    login_fails(client, one, upstream.port)
    key = keys.get(where, "Security")
    assert failure(one) == f"(login to localhost failed: unclear setting: {key}={value})"
    assert upstream.connections == 0


def test_own_address_is_refused(proxy, client):
    one = proxy()
    for host in ("127.0.0.1", "0.0.0.0"):
        login_fails(client, one, one.port, host, timeout=5)
        assert failure(one) == f"(login to {host}:{one.port} failed: the server is this program itself)"
    assert client(one).ask("STAT") == b"+OK 0 0"


# -- STLS ----------------------------------------------------------------------------------------
@pytest.mark.parametrize("answer", [b"-ERR not here\r\n", b"-ERR\r\n", b"what?\r\n", b"+ok\r\n"])
def test_refused_stls(proxy, client, server, trusted, answer):
    upstream = server(ham(1))
    upstream.when("STLS", reply(answer))
    one = proxy(server={"Security": "starttls"})
    login_fails(client, one, upstream.port)
    nothing_was_said(upstream, b"STLS\r\n")
    words = answer.decode().strip()
    assert failure(one) == f"(login to localhost:{upstream.port} failed: STLS refused: {words})"


@pytest.mark.parametrize("behind", [b"+OK\r\n", b"x", b"+OK\r\n+OK\r\n-ERR\r\n"])
@pytest.mark.parametrize("pause", [0, 0.3])
def test_bytes_behind_the_answer_to_stls(proxy, client, server, trusted, behind, pause):
    """In the same segment, or before the handshake's first: an attacker's words, not the server's."""
    context = trusted.issue("DNS:localhost").server_context()

    def inject(session, line):
        session.send(b"+OK begin\r\n" + (behind if not pause else b""))
        if pause:
            session.pause(pause)
            session.send(behind)
        session.start_tls(context)

    upstream = server(ham(1))
    upstream.when("STLS", inject)
    one = proxy({"AutoAbortOnTimeout": 1}, {"Security": "starttls", "Timeout": 2})
    login_fails(client, one, upstream.port)
    upstream.wait_for_end()
    raw = upstream.raw()
    assert raw == b"STLS\r\n", raw
    assert re.search(r"failed: (STLS refused: bytes behind the answer|no TLS: .*)\)$", failure(one))


def test_bytes_behind_the_greeting(proxy, client, server, trusted):
    upstream = server(ham(1))
    upstream.when(GREETING, reply(b"+OK ready\r\n+OK begin\r\n"))
    one = proxy(server={"Security": "starttls"})
    login_fails(client, one, upstream.port)
    nothing_was_said(upstream)
    assert "greeting refused: bytes behind the answer" in failure(one)


def test_refused_greeting_before_stls_gets_no_quit(proxy, client, server, trusted):
    upstream = server()
    upstream.when(GREETING, reply(b"-ERR go away\r\n"))
    one = proxy(server={"Security": "starttls"})
    login_fails(client, one, upstream.port)
    nothing_was_said(upstream)


# -- time ----------------------------------------------------------------------------------------
def records_of(flight):
    """The TLS records that the bytes are made of."""
    records = []
    while flight:
        size = 5 + int.from_bytes(flight[3:5], "big")
        records.append(flight[:size])
        flight = flight[size:]
    return records


class StallingServer(ScriptedServer):
    """Shakes hands by records, and falls silent behind so many of them."""

    def __init__(self, context, version, records):
        super().__init__()
        self.sent_records = 0
        self.read_text = b""
        context.minimum_version = context.maximum_version = version
        self.when(GREETING, lambda session, line: self._stall(session, context, records))

    def _stall(self, session, context, left):
        incoming, outgoing = ssl.MemoryBIO(), ssl.MemoryBIO()
        engine = context.wrap_bio(incoming, outgoing, server_side=True)
        while True:
            try:
                engine.do_handshake()
                self.read_text += engine.read(1000)
            except ssl.SSLWantReadError:
                pass
            records = records_of(outgoing.read())
            session.send(b"".join(records[:left]))
            self.sent_records += len(records[:left])
            left -= len(records[:left])
            incoming.write(session._receive())


# What a server sends in a handshake: one flight of TLS 1.3 (and the tickets that nobody waits for), two of TLS 1.2.
@pytest.mark.parametrize("version, records", [(ssl.TLSVersion.TLSv1_3, n) for n in range(7)]
                         + [(ssl.TLSVersion.TLSv1_2, n) for n in range(7)])
def test_handshake_that_stalls(proxy, client, trusted, version, records):
    context = trusted.issue("DNS:localhost").server_context()
    with StallingServer(context, version, records) as upstream:
        one = proxy({"AutoAbortOnTimeout": 1}, {"Security": "tls", "Timeout": 1})
        begun = time.monotonic()
        login_fails(client, one, upstream.port)
        assert 0.9 < time.monotonic() - begun < 5
        assert failure(one) == f"(login to localhost:{upstream.port} failed: no answer)"
        upstream.wait_for_end()
        assert upstream.sent_records <= records and upstream.read_text == b""
        assert not any(word in upstream.raw() for word in SECRETS)


def test_stalled_handshake_is_asked_about(on_terminal, client, server, trusted):
    upstream = server()
    upstream.when(GREETING, then_silence())
    one, terminal = on_terminal({"AutoAbortOnTimeout": 0}, {"Security": "tls", "Timeout": 1})
    raw = client(one)
    raw.user(upstream.port, host="localhost")
    raw.send(b"PASS secret\r\n")
    terminal.wait_for(rb"Do you want to abort connection\?", 5)
    raw.nothing(0.5)
    terminal.type(b"a\n")
    assert raw.line(5) == NO_LOGIN
    upstream.wait_for_end()
    assert not any(word in upstream.raw() for word in SECRETS)


def test_time_out_sends_nothing_over_tls(proxy, client, server, trusted):
    """The one who gives up is another thread than the one that encrypts."""
    upstream = server(ham(1), tls=trusted.issue("DNS:localhost").server_context())
    upstream.when("LIST", then_silence())
    one = proxy({"AutoAbortOnTimeout": 1}, {"Security": "tls", "Timeout": 1})
    raw = client(one).login(upstream.port, host="localhost")
    assert raw.stat(5)[0] == 0
    upstream.wait_for_end()
    assert upstream.raw() == b"USER jane\r\nPASS secret\r\nCAPA\r\nLIST\r\n"
    raw.quit()


@pytest.mark.parametrize("how", [then_close, then_reset])
@pytest.mark.parametrize("command", ["GREETING", "USER", "PASS", "LIST", "RETR"])
def test_server_goes_away(proxy, client, server, trusted, command, how):
    """Without a word of TLS; what is written then must not end the program."""
    upstream = server(ham(1), ham(2), tls=trusted.issue("DNS:localhost").server_context())
    upstream.when(command, how())
    one = proxy(server={"Security": "tls"})
    if command in ("GREETING", "USER", "PASS"):
        login_fails(client, one, upstream.port)
        assert failure(one).endswith("failed: connection lost)")
    else:
        raw = client(one).login(upstream.port, host="localhost")
        assert raw.stat(8)[0] == 0
        raw.quit(8)
    assert client(one).ask("STAT") == b"+OK 0 0"


@pytest.mark.parametrize("client_timeout, closed", [(1, True), (0, False)])
def test_silent_client(proxy, client, client_timeout, closed):
    raw = client(proxy(server={"ClientTimeout": client_timeout}))
    if closed:
        begun = time.monotonic()
        raw.ended(5)
        assert time.monotonic() - begun > 0.9
    else:
        raw.nothing(2.5)
        assert raw.ask("STAT") == b"+OK 0 0"


def test_client_that_takes_nothing(proxy, client, server):
    upstream = server(message(body="line of mail\r\n" * 1500000))
    one = proxy(server={"ClientTimeout": 1})
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 1
    raw.send(b"RETR 1\r\n")
    # A session that is over lets the next client in.
    assert client(one, deadline=15).ask("STAT") == b"+OK 0 0"


def test_download_does_not_count_as_idle(proxy, client, server):
    upstream = server(ham(1))
    upstream.when("LIST", after(2.5))
    raw = client(proxy(server={"ClientTimeout": 1})).login(upstream.port)
    assert raw.stat()[0] == 1
    raw.quit()


# -- why it failed -------------------------------------------------------------------------------
@pytest.mark.parametrize("command, answer, marker", [
    ("GREETING", b"-ERR over\x07 capacity\r\n", r"greeting refused: -ERR over  capacity"),  # a control byte is a blank
    ("USER", b"-ERR who is that?\r\n", r"USER refused: -ERR who is that\?"),
    ("PASS", b"-ERR [AUTH] use an app password\r\n", r"PASS refused: -ERR \[AUTH\] use an app password"),
])
def test_reason_has_the_servers_words(proxy, client, server, command, answer, marker):
    upstream = server()
    upstream.when(command, reply(answer))
    one = proxy()
    login_fails(client, one, upstream.port)
    told = failure(one)
    assert re.fullmatch(rf"\(login to localhost:{upstream.port} failed: {marker}\)", told), told
    assert "\x07" not in told
    one.wait_for_output(rf"The login to localhost:{upstream.port} failed: the server refuses .*-ERR")


@pytest.mark.parametrize("command", ["GREETING", "USER", "PASS"])
def test_time_out_is_a_reason(proxy, client, server, command):
    upstream = server()
    upstream.when(command, then_silence())
    one = proxy({"AutoAbortOnTimeout": 1}, {"Timeout": 1})
    login_fails(client, one, upstream.port)
    assert failure(one) == f"(login to localhost:{upstream.port} failed: no answer)"
    one.wait_for_output(r"failed: the server does not answer\.")


def test_no_server_is_a_reason(proxy, client):
    one = proxy(server={"Timeout": 3})
    port = free_port()
    login_fails(client, one, port)
    assert failure(one) == f"(login to localhost:{port} failed: not reached)"
    login_fails(client, one, 110, "no-such-host.invalid")
    assert re.search(r"failed: (no server of that name|no answer)\)$", failure(one))


@pytest.mark.parametrize("port, number", [("99999", 99999), ("0", 0), ("-1", -1), ("pop3", 0)])
def test_a_port_that_is_none_is_a_reason(proxy, client, port, number):
    one = proxy()
    login_fails(client, one, port)
    assert failure(one) == f"(login to localhost:{number} failed: no such port)"
    one.wait_for_output(rf"The login to localhost:{number} failed: a port is a number from 1 to 65535\. .*&\[port\]")


# -- trust ---------------------------------------------------------------------------------------
def in_pairs(certificate):
    """The fingerprint as the question shows it."""
    pairs = re.findall("..", certificate.fingerprint().upper())
    return (":".join(pairs[:16]) + ":\r\n" + ":".join(pairs[16:]) + "\r\n").encode()


def question(terminal, server, changed=False):
    words = "has CHANGED" if changed else "is not accepted"
    terminal.wait_for(rb"(?s)The certificate of %s %s.*anything else not to" % (server.encode(), words.encode()))
    shown, terminal.shown = terminal.shown, b""
    return shown


def test_trusted_after_a_yes_until_it_changes(on_terminal, client, server, trusted):
    first, second, third = (trusted.self_signed("DNS:localhost") for _ in range(3))
    upstream = server(ham(1), tls=first.server_context())
    name = f"localhost:{upstream.port}"
    one, terminal = on_terminal(server={"Security": "tls"})
    login_fails(client, one, upstream.port)
    shown = question(terminal, name)
    assert in_pairs(first) in shown and b"Account: jane @ localhost\r\n" in shown and b"self-signed certificate" in shown
    assert not one.setting(name, "CERTIFICATES")
    terminal.type(b"y\n")
    terminal.wait_for(rb"is trusted from now on")
    assert one.setting(name, "CERTIFICATES") == first.fingerprint()
    raw = client(one).login(upstream.port, host="localhost")
    assert raw.stat()[0] == 1
    raw.quit()

    # Another bad one is refused, and the question says what that may mean.
    before = upstream.raw()
    upstream.tls = second.server_context()
    login_fails(client, one, upstream.port)
    shown = question(terminal, name, changed=True)
    assert in_pairs(second) in shown
    terminal.type(b"n\n")
    terminal.wait_for(rb"is not trusted")
    assert upstream.raw() == before and one.setting(name, "CERTIFICATES") == first.fingerprint()

    # No is remembered, the first is still trusted, and a good one needs no question.
    terminal.shown = b""
    upstream.tls = third.server_context()
    login_fails(client, one, upstream.port)
    for certificate in (first, trusted.issue("DNS:localhost")):
        upstream.tls = certificate.server_context()
        client(one).login(upstream.port, host="localhost").quit()
    terminal.wait_for(rb"(?s)(unread|listed|messages).*(unread|listed|messages)")
    assert b"Do you want to trust" not in terminal.shown


@pytest.mark.parametrize("answer", [b"n\n", b"\n", b"what?\n"])
def test_anything_but_yes_is_no(on_terminal, client, server, trusted, answer):
    upstream = server(tls=trusted.self_signed("DNS:localhost").server_context())
    one, terminal = on_terminal(server={"Security": "tls"})
    login_fails(client, one, upstream.port)
    question(terminal, f"localhost:{upstream.port}")
    terminal.type(answer)
    terminal.wait_for(rb"is not trusted")
    terminal.shown = b""
    login_fails(client, one, upstream.port)
    terminal.wait_for(rb"its certificate is not accepted")
    # Questions come one after the other: when another server's stands, this one's has not been asked again.
    other = server(tls=trusted.self_signed("DNS:localhost").server_context())
    login_fails(client, one, other.port)
    assert question(terminal, f"localhost:{other.port}").count(b"Do you want to trust") == 1
    assert upstream.raw() == b"" and b"CERTIFICATES" not in one.read("Quillbeaker.ini")


def test_question_holds_up_no_mail(on_terminal, client, server, trusted):
    bad = server(tls=trusted.self_signed("DNS:localhost").server_context())
    good = server(ham(1), tls=trusted.issue("DNS:localhost").server_context())
    one, terminal = on_terminal(server={"Security": "tls"})
    login_fails(client, one, bad.port)
    question(terminal, f"localhost:{bad.port}")
    raw = client(one).login(good.port, host="localhost")
    assert raw.stat()[0] == 1
    raw.quit()


@pytest.mark.parametrize("pin", ["", "yes", "0" * 64])
def test_pin_of_another_certificate_is_none(proxy, client, server, trusted, pin):
    upstream = server(tls=trusted.self_signed("DNS:localhost").server_context())
    one = proxy(server={"Security": "tls"}, CERTIFICATES={f"localhost:{upstream.port}": pin})
    login_fails(client, one, upstream.port)
    nothing_was_said(upstream)


@pytest.mark.parametrize("kind", BAD)
@pytest.mark.parametrize("security", ["tls", "starttls"])
def test_pinned_certificate_is_accepted_whatever_is_wrong(proxy, client, server, trusted, kind, security):
    host, make, _ = BAD[kind]
    certificate = make(trusted)
    upstream = server(ham(1))
    if security == "tls":
        upstream.tls = certificate.server_context()
    upstream.when("STLS", start_tls(certificate.server_context()))
    copied = ":".join(re.findall("..", certificate.fingerprint().upper()))
    one = proxy(server={"Security": security}, CERTIFICATES={f"{host}:{upstream.port}": copied})
    raw = client(one).login(upstream.port, host=host)
    assert raw.stat()[0] == 1
    raw.quit()


def test_authority_of_another_is_no_help(proxy, client, server, trusted):
    """The same name of authority, another key."""
    other = Authority()
    try:
        upstream = server(tls=other.issue("DNS:localhost").server_context())
        one = proxy(server={"Security": "tls"})
        login_fails(client, one, upstream.port)
        nothing_was_said(upstream)
    finally:
        other.close()
