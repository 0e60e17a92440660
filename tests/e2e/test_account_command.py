# SPDX-License-Identifier: MIT
"""`account test`: logs in as a mail check does, and leaves everything as it is."""

import os
import signal
import subprocess
import time

import pytest

from dovecot import PASSWORD, Dovecot
from messages import ham
from program import executable, free_port
from scripted_server import reply, then_silence
from terminal import run_on_terminal


@pytest.fixture
def account(program_directory):
    """account(server, user, *options, password=...) runs the test; its attribute `home` is the directory."""

    def run(server, user, *options, password="secret", timeout=60):
        arguments = [executable(), "account", "test", "--directory", run.home.directory, "--password-stdin", server,
                     user, *map(str, options)]
        return subprocess.run(arguments, input=password.encode() + b"\n", stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, timeout=timeout, check=False)

    run.home = program_directory()
    run.home.configure()
    return run


@pytest.fixture(scope="module")
def tls_dovecot(authority):
    one = Dovecot(free_port(), free_port(), authority.issue("DNS:localhost", "IP:127.0.0.1"))
    yield one
    one.stop()


def files(home):
    return sorted(name for name in os.listdir(home.directory) if not name.endswith(".lock"))


@pytest.mark.parametrize("security", ["plain", "tls", "starttls"])
def test_counts_dovecots_messages_and_leaves_them(account, trusted, tls_dovecot, security):
    name = f"acct{security}"
    tls_dovecot.mailbox(name, [ham(1), ham(2)])
    before = files(account.home)
    port = tls_dovecot.tls_port if security == "tls" else tls_dovecot.port
    done = account("localhost", name, "--port", port, "--security", security, password=PASSWORD)
    assert (done.returncode, done.stderr) == (0, b"")
    told = done.stdout.decode().splitlines()
    assert told[0] == "The login works. Messages in the mailbox: 2."
    assert told[1].endswith(f"user name localhost&{name}&{port}")
    assert tls_dovecot.left(name) == 2
    assert files(account.home) == sorted({*before, "server.log"})
    log = account.home.server_log()
    assert b"PASS ********" in log and PASSWORD.encode() not in log
    assert b"RETR" not in log and b"DELE" not in log


def test_wrong_password_says_what_to_do(account, tls_dovecot):
    tls_dovecot.mailbox("acctwrong", [ham(1)])
    done = account("localhost", "acctwrong", "--port", tls_dovecot.port, password="not-it")
    assert (done.returncode, done.stdout) == (1, b"")
    told = done.stderr.decode()
    assert "refuses the password" in told and "app password" in told and "not-it" not in told
    assert b"not-it" not in account.home.server_log()


def test_a_refused_login_tells_what_the_provider_needs(account, server):
    account.home.write("providers.ini", b"[DOMAINS]\r\none.example=one\r\n[one]\r\nServer=localhost\r\nPort=995\r\n"
                                        b"Security=tls\r\nNeeds=oauth\r\n")
    upstream = server()
    upstream.when("PASS", reply(b"-ERR no\r\n"))
    options = ["--port", upstream.port]
    assert "only OAuth" in account("localhost", "jane@one.example", *options).stderr.decode()
    assert "OAuth" not in account("localhost", "jane@two.example", *options).stderr.decode()


def test_says_only_what_it_must(account, server):
    upstream = server(ham(1))
    assert account("127.0.0.1", "jane", "--port", upstream.port).returncode == 0
    upstream.wait_for_end()
    assert upstream.commands() == ["USER jane", "PASS secret", "LIST", "QUIT"]


def test_mailbox_in_use(account, server):
    upstream = server()
    upstream.when("PASS", reply(b"-ERR [IN-USE] locked by another session\r\n"))
    done = account("127.0.0.1", "jane", "--port", upstream.port)
    assert done.returncode == 1
    assert "jane @ 127.0.0.1 is in use" in done.stderr.decode()


def test_a_server_that_echoes_the_password_does_not_show_it(account, server):
    upstream = server()
    upstream.when("LIST", reply(b"-ERR secret is no use for lists\r\n"))
    done = account("127.0.0.1", "jane", "--port", upstream.port)
    assert done.returncode == 1
    assert "(-ERR ******** is no use for lists)" in done.stderr.decode() and b"secret" not in done.stdout + done.stderr


def test_unknown_certificate_is_refused_where_nobody_can_be_asked(account, tls_dovecot):
    done = account("localhost", "acctcert", "--port", tls_dovecot.tls_port, "--security", "tls")
    assert done.returncode == 1
    assert "certificate is not accepted" in done.stderr.decode()
    assert b"CERTIFICATES" not in account.home.read("Quillbeaker.ini")


def test_certificate_question_and_password_on_a_terminal(account, tls_dovecot):
    tls_dovecot.mailbox("acctpin", [ham(1)])
    arguments = ["account", "test", "--directory", account.home.directory, "--security", "tls", "--port",
                 tls_dovecot.tls_port, "localhost", "acctpin"]
    code, shown = run_on_terminal(*arguments, replies=[(b"Password for acctpin @ localhost: ", PASSWORD.encode() + b"\n"),
                                                       (b"press Enter.", b"y\n")])
    assert code == 0, shown
    assert b"Messages in the mailbox: 1." in shown and PASSWORD.encode() not in shown
    assert account.home.setting(f"localhost:{tls_dovecot.tls_port}", "CERTIFICATES")
    # The certificate is trusted now: nothing but the password is asked.
    code, shown = run_on_terminal(*arguments, replies=[(b"Password for acctpin @ localhost: ", PASSWORD.encode() + b"\n")])
    assert code == 0, shown


def test_keeps_the_security_that_works(account, trusted, tls_dovecot):
    tls_dovecot.mailbox("acctkeep", [])
    options = ["--port", tls_dovecot.port, "--security", "starttls", "--keep-security"]
    key = f"localhost:{tls_dovecot.port}"
    assert account("localhost", "acctkeep", *options, password="not-it").returncode == 1
    assert b"starttls" not in account.home.read("Quillbeaker.ini")
    assert account("localhost", "acctkeep", *options, password=PASSWORD).returncode == 0
    assert account.home.setting(key, "SECURITY") == "starttls"


@pytest.mark.parametrize("password", ["", "two words"])
def test_passwords_that_no_mail_program_could_send(account, server, password):
    upstream = server()
    done = account("127.0.0.1", "jane", "--port", upstream.port, password=password)
    assert done.returncode == 1 and done.stderr
    assert upstream.connections == 0


def test_ctrl_c_ends_it(account, server):
    upstream = server()
    upstream.when("PASS", then_silence())
    process = subprocess.Popen([executable(), "account", "test", "--directory", account.home.directory,
                                "--password-stdin", "127.0.0.1", "jane", "--port", str(upstream.port)],
                               stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    try:
        process.stdin.write(b"secret\n")
        process.stdin.flush()
        upstream.wait_for_command("PASS")
        start = time.monotonic()
        process.send_signal(signal.SIGINT)
        out, err = process.communicate(timeout=30)
    finally:
        process.kill()
        process.wait()
    assert process.returncode == 1 and out == b"" and b"cancelled" in err
    assert time.monotonic() - start < 15


@pytest.mark.parametrize("arguments", [[], ["pop.example.org"], ["pop.example.org", "jane", "--port", "0"],
                                       ["pop.example.org", "jane", "--security", "auto"],
                                       ["pop.example.org", "jane", "--keep-security"]])
def test_wrong_usage(account, arguments):
    done = subprocess.run([executable(), "account", "test", *arguments], stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=60, check=False)
    assert done.returncode == 2


def test_without_a_terminal_a_password_must_be_piped(account):
    done = subprocess.run([executable(), "account", "test", "pop.example.org", "jane"], stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=60, check=False)
    assert done.returncode == 1 and b"password" in done.stderr
