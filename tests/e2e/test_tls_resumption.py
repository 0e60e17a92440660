# SPDX-License-Identifier: MIT
"""TLS sessions that are resumed within one process: by the same server under the same trust alone.

Each case asks the server which of its handshakes resumed a session."""

import datetime
import re
import ssl
import subprocess
import threading
import time

import pytest

from certificates import VALID
from messages import ham
from program import end_with_the_tests, free_port
from scripted_server import ScriptedServer, start_tls
from test_tls import failure, login_fails, nothing_was_said

VERSIONS = pytest.mark.parametrize("version", [ssl.TLSVersion.TLSv1_2, ssl.TLSVersion.TLSv1_3])


def context_of(certificate, version=ssl.TLSVersion.TLSv1_3):
    return certificate.server_context(minimum_version=version, maximum_version=version)


def check_mail(client, one, upstream):
    raw = client(one).login(upstream.port, host="localhost")
    assert raw.stat()[0] == 1
    raw.quit()


@VERSIONS
@pytest.mark.parametrize("security", ["tls", "starttls"])
def test_second_session_is_resumed(proxy, client, server, trusted, version, security):
    context = context_of(trusted.issue("DNS:localhost"), version)
    upstream = server(ham(1))
    if security == "tls":
        upstream.tls = context
    upstream.when("STLS", start_tls(context))
    one = proxy(server={"Security": security})
    for _ in range(3):
        check_mail(client, one, upstream)
    assert upstream.resumed == [False, True, True]
    # What another process knows is nothing to this one.
    check_mail(client, proxy(server={"Security": security}), upstream)
    assert upstream.resumed == [False, True, True, False]


@VERSIONS
def test_openssl_server_resumes(proxy, client, trusted, version):
    """The program openssl, which tells on its output what each connection was."""
    certificate = trusted.issue("DNS:localhost")
    port = free_port()
    process = subprocess.Popen(
        ["openssl", "s_server", "-accept", f"127.0.0.1:{port}", "-cert", certificate.certificate, "-key",
         certificate.key, "-crlf", "-tls1_2" if version == ssl.TLSVersion.TLSv1_2 else "-tls1_3"],
        stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, preexec_fn=end_with_the_tests)
    shown, reused = [], []
    listening = threading.Event()

    def answer():
        for line in process.stdout:
            shown.append(line)
            if line.startswith(b"ACCEPT"):
                listening.set()
            elif line.startswith(b"-----BEGIN SSL SESSION"):
                reused.append(False)
            elif line.startswith(b"Reused session-id"):
                reused[-1] = True
            elif line.startswith(b"Secure Renegotiation"):
                process.stdin.write(b"+OK ready\n")
            elif line.startswith(b"USER"):
                process.stdin.write(b"+OK\n")
            elif line.startswith(b"PASS"):
                process.stdin.write(b"-ERR not today\n")
            process.stdin.flush()

    reader = threading.Thread(target=answer, daemon=True)
    reader.start()
    try:
        assert listening.wait(15), shown
        one = proxy(server={"Security": "tls"})
        for _ in range(3):
            login_fails(client, one, port, timeout=15)
            assert "PASS refused: -ERR not today" in failure(one)
    finally:
        process.kill()
        process.wait()
        reader.join(5)
        process.stdin.close()
        process.stdout.close()
    assert reused == [False, True, True], b"".join(shown)


@VERSIONS
def test_other_port_shakes_hands_in_full(proxy, client, server, trusted, version):
    context = context_of(trusted.issue("DNS:localhost"), version)
    first, second = server(ham(1), tls=context), server(ham(1), tls=context)
    one = proxy(server={"Security": "tls"})
    for upstream in (first, second, first, second):
        check_mail(client, one, upstream)
    assert first.resumed == second.resumed == [False, True]


@VERSIONS
def test_any_change_of_trust_drops_the_session(proxy, client, server, trusted, version):
    certificate = trusted.issue("DNS:localhost")
    upstream = server(ham(1), tls=context_of(certificate, version))
    one = proxy(server={"Security": "tls"})
    check_mail(client, one, upstream)
    expected = [False]
    name = f"localhost:{upstream.port}"
    for section in ({"pop.example.org:995": "0" * 64},  # of another server
                    {"pop.example.org:995": "1" * 64},
                    {},
                    {name: certificate.fingerprint()},
                    {name: certificate.fingerprint(), "pop.example.org:995": "1" * 64},
                    {name: "0" * 64}):
        one.configure(server={"Security": "tls"}, CERTIFICATES=section)
        check_mail(client, one, upstream)
        check_mail(client, one, upstream)
        expected += [False, True]
    # Whatever else is changed drops nothing.
    one.configure(server={"Security": "tls", "ClientTimeout": 500}, CERTIFICATES=section)
    check_mail(client, one, upstream)
    assert upstream.resumed == expected + [True]


@VERSIONS
def test_certificate_trusted_by_its_pin_alone(proxy, client, server, trusted, version):
    certificate = trusted.self_signed("DNS:elsewhere.example")
    upstream = server(ham(1), tls=context_of(certificate, version))
    pin = {f"localhost:{upstream.port}": certificate.fingerprint()}
    one = proxy(server={"Security": "tls"}, CERTIFICATES=pin)
    check_mail(client, one, upstream)
    check_mail(client, one, upstream)
    assert upstream.resumed == [False, True]
    before = upstream.raw()
    for section in ({}, {f"localhost:{upstream.port}": "0" * 64}):
        one.configure(server={"Security": "tls"}, CERTIFICATES=section)
        login_fails(client, one, upstream.port)
        assert "certificate not accepted: self-signed certificate" in failure(one)
    one.configure(server={"Security": "tls"}, CERTIFICATES=pin)
    check_mail(client, one, upstream)
    # The server shook hands with the two that refused it, and read nothing from them.
    assert upstream.resumed == [False, True, False, False, False]
    assert upstream.raw(3) == upstream.raw(4) == b"" and upstream.raw().startswith(before)


@VERSIONS
def test_certificate_that_has_expired_since(proxy, client, server, trusted, version):
    until = datetime.datetime.now(datetime.timezone.utc) + datetime.timedelta(seconds=6)
    short = trusted.issue("DNS:localhost", dates=(VALID[0], until.strftime("%Y%m%d%H%M%SZ")))
    context = context_of(short, version)
    upstream = server(ham(1), tls=context)
    one = proxy(server={"Security": "tls"})
    check_mail(client, one, upstream)
    check_mail(client, one, upstream)
    assert upstream.resumed == [False, True]
    while datetime.datetime.now(datetime.timezone.utc) < until + datetime.timedelta(seconds=1):
        time.sleep(0.1)
    login_fails(client, one, upstream.port)
    assert "certificate not accepted: certificate has expired" in failure(one)
    # A new one under the same keys to sessions.
    good = trusted.issue("DNS:localhost")
    context.load_cert_chain(good.certificate, good.key)
    check_mail(client, one, upstream)
    assert upstream.resumed == [False, True, False, False]


@VERSIONS
def test_server_that_does_not_resume_is_checked_in_full(proxy, client, server, trusted, version):
    upstream = server(ham(1), tls=context_of(trusted.issue("DNS:localhost"), version))
    one = proxy(server={"Security": "tls"})
    check_mail(client, one, upstream)
    upstream.tls = context_of(trusted.issue("DNS:localhost"), version)
    check_mail(client, one, upstream)
    assert upstream.resumed == [False, False]
    upstream.tls = context_of(trusted.issue("DNS:elsewhere.example"), version)
    login_fails(client, one, upstream.port)
    assert "certificate not accepted: hostname mismatch" in failure(one)
    upstream.wait_for_end(3)
    assert upstream.raw(3) == b""


def test_stranger_at_the_same_address(proxy, client, server, authority, trusted):
    """Another process at the same port: it has no key to the session, and what it shows is judged anew."""
    upstream = server(ham(1), tls=context_of(trusted.issue("DNS:localhost")))
    one = proxy(server={"Security": "tls"})
    check_mail(client, one, upstream)
    port = upstream.port
    upstream.stop()
    with ScriptedServer([ham(1)], port=port, tls=context_of(trusted.self_signed("DNS:localhost"))) as stranger:
        login_fails(client, one, port)
        nothing_was_said(stranger)
        assert re.search("certificate not accepted: self-signed certificate", failure(one))
