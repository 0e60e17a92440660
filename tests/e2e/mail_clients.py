# SPDX-License-Identifier: MIT
"""curl, mpop and fetchmail, each told to fetch a mailbox and to say what it got."""

import os
import re
import shutil
import subprocess
import tempfile

LIMIT = 60


class Fetched:
    """What a client brought home: the messages, its exit code and what it printed."""

    def __init__(self, messages, code, output):
        self.messages = messages
        self.code = code
        self.output = output


def need(name, package):
    path = shutil.which(name)
    assert path, f"{name} is not installed (Debian package {package})"
    return path


def _run(arguments, directory):
    environment = {"PATH": os.environ.get("PATH", "/usr/bin:/bin"), "HOME": directory, "LC_ALL": "C"}
    return subprocess.run(arguments, cwd=directory, env=environment, stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=LIMIT, check=False)


def curl(port, user, password, count=None, delete=False):
    """LIST, then RETR of every message, in one run and so in one session.

    curl sends only what its URLs say, so LIST comes first; the number of messages, when it is not
    given, is asked for in a session before."""
    program = need("curl", "curl")
    login = f"{user.replace('&', '%26')}:{password}@127.0.0.1:{port}"
    with tempfile.TemporaryDirectory(prefix="cu-", dir="/tmp") as directory:
        listing = os.path.join(directory, "list")
        if count is None:
            first = _run([program, "-sS", "--max-time", str(LIMIT), f"pop3://{login}/", "-o", listing], directory)
            if first.returncode:
                return Fetched([], first.returncode, first.stdout)
            with open(listing, "rb") as file:
                count = sum(bool(re.match(rb"\d+ \d+", line)) for line in file)
        # A transfer of its own for every message; --next starts new options on the same connection.
        arguments = [program, "-sS", "--max-time", str(LIMIT), f"pop3://{login}/", "-o", listing]
        for number in range(1, count + 1):
            arguments += ["--next", "-sS", "--max-time", str(LIMIT), f"pop3://{login}/{number}",
                          "-o", os.path.join(directory, str(number))]
        if delete:
            for number in range(1, count + 1):
                arguments += ["--next", "-sS", "--max-time", str(LIMIT), "-I", "-X", "DELE",
                              f"pop3://{login}/{number}"]
        done = _run(arguments, directory)
        messages = []
        for number in range(1, count + 1):
            try:
                with open(os.path.join(directory, str(number)), "rb") as file:
                    messages.append(file.read())
            except FileNotFoundError:
                pass
        return Fetched(messages, done.returncode, done.stdout)


def _delivered(folder):
    names = sorted(os.listdir(folder))
    messages = []
    for name in names:
        with open(os.path.join(folder, name), "rb") as file:
            messages.append(file.read())
    return messages


class Mpop:
    """mpop with a Maildir and a list of known ids that last from one call to the next."""

    name = "mpop"

    def __init__(self):
        self.program = need("mpop", "mpop")
        self.directory = tempfile.mkdtemp(prefix="mp-", dir="/tmp")

    def fetch(self, port, user, password, keep=True, pipelining="off", host="127.0.0.1", authority=None):
        """With an authority to trust: over TLS from the first byte."""
        tls = f"tls on\ntls_starttls off\ntls_trust_file {authority}" if authority else "tls off"
        folder = tempfile.mkdtemp(dir=self.directory)
        for name in ("cur", "new", "tmp"):
            os.mkdir(os.path.join(folder, name))
        configuration = os.path.join(self.directory, "mpoprc")
        with open(configuration, "w", encoding="utf-8") as file:
            file.write(f"account proxy\nhost {host}\nport {port}\nuser {user}\npassword {password}\n"
                       f"auth user\n{tls}\npipelining {pipelining}\nreceived_header off\n"
                       f"keep {'on' if keep else 'off'}\nuidls_file {self.directory}/uidls_%U\n"
                       f"delivery maildir {folder}\naccount default : proxy\n")
        os.chmod(configuration, 0o600)
        done = _run([self.program, "-C", configuration], self.directory)
        return Fetched(_delivered(os.path.join(folder, "new")), done.returncode, done.stdout)

    def close(self):
        shutil.rmtree(self.directory, ignore_errors=True)


class Fetchmail:
    """fetchmail handing each message to a small program that stores it."""

    name = "fetchmail"

    def __init__(self):
        self.program = need("fetchmail", "fetchmail")
        self.directory = tempfile.mkdtemp(prefix="fm-", dir="/tmp")

    def fetch(self, port, user, password, keep=True, uidl=True, fetchall=True):
        folder = tempfile.mkdtemp(dir=self.directory)
        store = os.path.join(self.directory, "store")
        with open(store, "w", encoding="utf-8") as file:
            file.write(f'#!/bin/sh\nn=$(ls "{folder}" | wc -l)\ncat > "{folder}/$(printf %05d "$n")"\n')
        os.chmod(store, 0o700)
        configuration = os.path.join(self.directory, "fetchmailrc")
        with open(configuration, "w", encoding="utf-8") as file:
            file.write(f"set invisible\nset no bouncemail\npoll 127.0.0.1 protocol pop3 service {port}"
                       f" {'uidl' if uidl else 'no uidl'} auth password\n"
                       f" user \"{user}\" password \"{password}\" is nobody here\n"
                       f" {'keep' if keep else 'no keep'} {'fetchall' if fetchall else 'no fetchall'} sslproto '' no rewrite no mimedecode"
                       f" pass8bits mda \"{store}\"\n")
        os.chmod(configuration, 0o600)
        done = _run([self.program, "-f", configuration, "--nosyslog", "--idfile", f"{self.directory}/ids",
                     "--pidfile", f"{self.directory}/pid", "-v", "-v"], self.directory)
        return Fetched(_delivered(folder), done.returncode, done.stdout)

    def close(self):
        shutil.rmtree(self.directory, ignore_errors=True)
