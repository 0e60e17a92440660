# SPDX-License-Identifier: MIT
"""Dovecot as an ordinary user on loopback, with a Maildir per account.

All of it lies in one short new folder: the paths of its sockets must stay under 108 characters. As
root it runs as another user, because it refuses root as the owner of mail."""

import getpass
import grp
import os
import pwd
import shutil
import signal
import socket
import subprocess
import tempfile
import time

from program import end_with_the_tests

PASSWORD = "secret"

CONFIGURATION = """
base_dir = {base}/run
state_dir = {base}/state
log_path = {base}/log
protocols = pop3
listen = 127.0.0.1
{tls}
disable_plaintext_auth = no
auth_mechanisms = plain
default_internal_user = {user}
default_internal_group = {group}
default_login_user = {user}
first_valid_uid = 1
mail_location = maildir:{base}/mail/%u
mail_max_userip_connections = 100
pop3_uidl_format = %g
passdb {{
  driver = static
  args = password={password}
}}
userdb {{
  driver = static
  args = uid={user} gid={group} home={base}/mail/%u
}}
service anvil {{
  chroot =
}}
service pop3-login {{
  chroot =
  inet_listener pop3 {{
    address = 127.0.0.1
    port = {port}
  }}
  inet_listener pop3s {{
    address = 127.0.0.1
    port = {tls_port}
    ssl = yes
  }}
}}
"""


class Dovecot:
    """A running server; `mailbox` fills an account, `stop` ends it and removes its folder.

    With a certificate it speaks TLS too: from the first byte on the port of its own, and behind STLS."""

    def __init__(self, port, tls_port=0, certificate=None):
        self.port = port
        self.tls_port = tls_port
        tls = "ssl = no"
        if certificate is not None:
            tls = f"ssl = yes\nssl_cert = <{certificate.certificate}\nssl_key = <{certificate.key}"
        if os.getuid() == 0:
            user = pwd.getpwnam("nobody")
        else:
            user = pwd.getpwnam(getpass.getuser())
        self.uid, self.gid = user.pw_uid, user.pw_gid
        self.base = tempfile.mkdtemp(prefix="dv-", dir="/tmp")
        os.chmod(self.base, 0o700)
        for name in ("run", "state", "mail"):
            os.mkdir(os.path.join(self.base, name))
        configuration = os.path.join(self.base, "conf")
        with open(configuration, "w", encoding="ascii") as file:
            file.write(CONFIGURATION.format(base=self.base, user=user.pw_name, password=PASSWORD, port=port,
                                            tls_port=tls_port, tls=tls,
                                            group=grp.getgrgid(user.pw_gid).gr_name))
        self._own(self.base)
        drop = {"user": self.uid, "group": self.gid, "extra_groups": []} if os.getuid() == 0 else {}
        binary = shutil.which("dovecot", path=os.environ.get("PATH", "") + ":/usr/sbin:/sbin")
        assert binary, "dovecot is not installed (Debian package dovecot-pop3d)"
        self.output = open(os.path.join(self.base, "output"), "wb")
        self.process = subprocess.Popen([binary, "-F", "-c", configuration], stdin=subprocess.DEVNULL,
                                        stdout=self.output, stderr=subprocess.STDOUT, cwd="/",
                                        preexec_fn=lambda: end_with_the_tests(signal.SIGTERM), **drop)
        try:
            self._wait_for_greeting()
        except BaseException:
            self.stop()
            raise

    def _own(self, path):
        if os.getuid() != 0:
            return
        os.chown(path, self.uid, self.gid)
        for root, directories, files in os.walk(path):
            for name in directories + files:
                os.chown(os.path.join(root, name), self.uid, self.gid)

    def log(self):
        text = ""
        for name in ("output", "log"):
            try:
                with open(os.path.join(self.base, name), encoding="utf-8", errors="replace") as file:
                    text += file.read()
            except FileNotFoundError:
                pass
        return text

    def _wait_for_greeting(self, limit=20.0):
        end = time.monotonic() + limit
        while True:
            assert self.process.poll() is None, f"dovecot ended:\n{self.log()}"
            try:
                with socket.create_connection(("127.0.0.1", self.port), timeout=2) as probe:
                    probe.settimeout(max(0.1, end - time.monotonic()))
                    if probe.recv(100).startswith(b"+OK"):
                        return
            except OSError:
                pass
            assert time.monotonic() < end, f"dovecot does not answer:\n{self.log()}"
            time.sleep(0.05)

    def mailbox(self, user, messages):
        """Makes the account anew with these messages, in this order, stored with LF line ends."""
        base = os.path.join(self.base, "mail", user)
        shutil.rmtree(base, ignore_errors=True)
        for name in ("cur", "new", "tmp"):
            os.makedirs(os.path.join(base, name))
        for index, data in enumerate(messages, 1):
            with open(os.path.join(base, "cur", f"{1700000000 + index}.M{index}.local:2,"), "wb") as file:
                file.write(data.replace(b"\r\n", b"\n"))
        self._own(base)

    def left(self, user):
        """How many messages the account still holds."""
        base = os.path.join(self.base, "mail", user)
        return sum(len(os.listdir(os.path.join(base, name))) for name in ("cur", "new"))

    def stop(self):
        if self.process.poll() is None:
            self.process.terminate()
            try:
                self.process.wait(10)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()
        self.output.close()
        shutil.rmtree(self.base, ignore_errors=True)
