# SPDX-License-Identifier: MIT
"""The Windows console program under Wine: the same mail check, from Dovecot to a real client, by the program that
QUILLBEAKER_WINDOWS_CLI names. Skipped where it names none; `./test windows` does."""

import os
import socket
import ssl
import subprocess
import time

import pytest

import mail_clients
from certificates import Authority
from dovecot import PASSWORD, Dovecot
from messages import SPAM_WORDS, ham, message, on_the_wire, spam
from program import Quillbeaker, free_port
from scripted_server import reply, start_tls, then_silence
from test_tls import BAD, SECRETS, failure, login_fails, nothing_was_said

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


class WineProxy:
    """A program directory served by the program under Wine. It is ended by force: Wine passes no SIGTERM on."""

    def __init__(self):
        self.home = Quillbeaker()
        self.home.configure()
        self.home.spam_words(SPAM_WORDS)
        port = free_port()
        self.process = subprocess.Popen(
            ["wine", PROGRAM, "run", "--directory", f"Z:{self.home.directory}", "--port", str(port)],
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        try:
            wait_until_served(port)
        except BaseException:
            self.end()
            raise
        self.home.port = port

    def end(self):
        self.process.kill()
        self.process.wait()
        self.home.discard()


@pytest.fixture
def windows_proxy():
    one = WineProxy()
    yield one.home
    one.end()


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


# -- TLS -----------------------------------------------------------------------------------------
def trust_root(how, authority):
    """Among the roots that Wine's user trusts; only programs started after it see it."""
    program = os.path.join(os.path.dirname(PROGRAM), "windows_program/trust_root.exe")
    der = authority.certificate + ".der"
    with open(authority.certificate, encoding="ascii") as file, open(der, "wb") as out:
        out.write(ssl.PEM_cert_to_DER_cert(file.read()))
    done = subprocess.run(["wine", program, how, f"Z:{der}"], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, timeout=120, check=False)
    assert done.returncode == 0, done.stdout


@pytest.fixture(scope="module")
def roots():
    """(an authority that Wine trusts, one that it does not)."""
    both = Authority("Quillbeaker trusted authority"), Authority("Quillbeaker unknown authority")
    trust_root("add", both[0])
    yield both
    trust_root("remove", both[0])
    for one in both:
        one.close()


@pytest.fixture(scope="module")
def tls_proxy(roots):
    """One process for all of them: what a test writes into its configuration acts at once."""
    one = WineProxy()
    yield one.home
    one.end()


def configure_tls(one, security="tls", timeout=10, **sections):
    one.configure({"AutoAbortOnTimeout": 1}, {"Security": security, "Timeout": timeout}, **sections)


@pytest.mark.parametrize("security", ["tls", "starttls"])
@pytest.mark.parametrize("host", ["localhost", "127.0.0.1"])
def test_tls_mail_check_under_wine(tls_proxy, roots, security, host):
    dovecot = Dovecot(free_port(), free_port(), roots[0].issue("DNS:localhost", "IP:127.0.0.1"))
    mpop = mail_clients.Mpop()
    try:
        dovecot.mailbox("wine", [ham(1), spam(2), ham(3)])
        configure_tls(tls_proxy, security)
        port = dovecot.tls_port if security == "tls" else dovecot.port
        got = mpop.fetch(tls_proxy.port, f"{host}&wine&{port}", PASSWORD)
        assert got.code == 0, (got.output, tls_proxy.server_log())
        assert len(got.messages) == 2
    finally:
        mpop.close()
        dovecot.stop()


def test_large_mail_arrives_whole_under_wine(tls_proxy, client, server, roots):
    data = message(body="line of mail\r\n" * 100000)
    upstream = server(data, tls=roots[0].issue("DNS:localhost").server_context())
    configure_tls(tls_proxy, timeout=30)
    raw = client(tls_proxy, deadline=60).login(upstream.port, host="localhost")
    assert raw.stat()[0] == 1
    assert raw.retr(1)[1] == on_the_wire(data)
    raw.quit()
    upstream.wait_for_end()
    assert upstream.words() == ["USER", "PASS", "CAPA", "LIST", "UIDL", "RETR", "QUIT"]


@pytest.mark.parametrize("security", ["tls", "starttls"])
@pytest.mark.parametrize("kind", [*BAD, "unknown authority"])
def test_bad_certificate_is_refused_under_wine(tls_proxy, client, server, roots, kind, security):
    host, make, reason = BAD.get(kind, ("localhost", None, "unable to get local issuer certificate"))
    certificate = make(roots[0]) if make else roots[1].issue("DNS:localhost")
    upstream = server(ham(1))
    if security == "tls":
        upstream.tls = certificate.server_context()
    upstream.when("STLS", start_tls(certificate.server_context()))
    configure_tls(tls_proxy, security)
    login_fails(client, tls_proxy, upstream.port, host)
    nothing_was_said(upstream, b"STLS\r\n" if security == "starttls" else b"")
    told = failure(tls_proxy)
    assert told.startswith(f"(login to {host}:{upstream.port} failed: certificate not accepted: "), told
    assert reason in told.partition("; subject ")[0], told
    assert told.endswith(f"SHA-256 {certificate.fingerprint()})"), told
    # The very same is accepted once it is pinned.
    configure_tls(tls_proxy, security, CERTIFICATES={f"{host}:{upstream.port}": certificate.fingerprint()})
    raw = client(tls_proxy).login(upstream.port, host=host)
    assert raw.stat()[0] == 1
    raw.quit()


def test_name_is_told_and_an_address_is_not_under_wine(tls_proxy, client, server, roots):
    context = roots[0].issue("DNS:localhost", "IP:127.0.0.1").server_context()
    asked = []
    context.sni_callback = lambda sock, name, own: asked.append(name)
    upstream = server(tls=context)
    configure_tls(tls_proxy)
    for host in ("localhost", "127.0.0.1"):
        client(tls_proxy).login(upstream.port, host=host).quit()
    assert asked == ["localhost", None]


def test_plain_server_on_the_tls_port_under_wine(tls_proxy, client, server):
    upstream = server(ham(1))
    configure_tls(tls_proxy)
    login_fails(client, tls_proxy, upstream.port)
    upstream.wait_for_end()
    raw = upstream.raw()
    assert raw.startswith(b"\x16\x03") and not any(word in raw for word in SECRETS), raw
    assert "failed: no TLS: " in failure(tls_proxy)


def test_silent_tls_server_under_wine(tls_proxy, client, server):
    upstream = server()
    upstream.when("GREETING", then_silence())
    configure_tls(tls_proxy, timeout=1)
    begun = time.monotonic()
    login_fails(client, tls_proxy, upstream.port)
    assert time.monotonic() - begun < 6
    assert failure(tls_proxy).endswith("failed: no answer)")
    upstream.wait_for_end()
    assert not any(word in upstream.raw() for word in SECRETS)


def test_refused_stls_under_wine(tls_proxy, client, server):
    upstream = server()
    upstream.when("STLS", reply(b"-ERR not here\r\n"))
    configure_tls(tls_proxy, "starttls")
    login_fails(client, tls_proxy, upstream.port)
    nothing_was_said(upstream, b"STLS\r\n")


def test_bytes_behind_the_answer_to_stls_under_wine(tls_proxy, client, server, roots):
    upstream = server()
    upstream.when("STLS", start_tls(roots[0].issue("DNS:localhost").server_context(), b"+OK\r\n"))
    configure_tls(tls_proxy, "starttls")
    login_fails(client, tls_proxy, upstream.port)
    upstream.wait_for_end()
    assert upstream.raw() == b"STLS\r\n"


def test_time_out_sends_nothing_over_tls_under_wine(tls_proxy, client, server, roots):
    upstream = server(ham(1), tls=roots[0].issue("DNS:localhost").server_context())
    upstream.when("LIST", then_silence())
    configure_tls(tls_proxy, timeout=1)
    raw = client(tls_proxy).login(upstream.port, host="localhost")
    assert raw.stat(8)[0] == 0
    upstream.wait_for_end()
    assert upstream.raw() == b"USER jane\r\nPASS secret\r\nCAPA\r\nLIST\r\n"
    raw.quit()


def test_further_sessions_under_wine(tls_proxy, client, server, roots):
    """What one session leaves for the next: whether the system resumes is its affair, trust is ours."""
    certificate = roots[0].issue("DNS:localhost")
    upstream = server(ham(1), tls=certificate.server_context())
    name = f"localhost:{upstream.port}"
    configure_tls(tls_proxy)
    for _ in range(3):
        raw = client(tls_proxy).login(upstream.port, host="localhost")
        assert raw.stat()[0] == 1
        raw.quit()
    upstream.tls = roots[1].issue("DNS:localhost").server_context()
    login_fails(client, tls_proxy, upstream.port)
    upstream.tls = certificate.server_context()
    for section in ({name: certificate.fingerprint()}, {name: "0" * 64}, {}):
        configure_tls(tls_proxy, CERTIFICATES=section)
        for _ in range(2):
            client(tls_proxy).login(upstream.port, host="localhost").quit()
    assert not upstream.handshake_errors
