# SPDX-License-Identifier: MIT
"""Starts, watches and stops quillbeaker-cli, and reads what it leaves in its program directory."""

import ctypes
import datetime
import functools
import itertools
import os
import re
import shutil
import signal
import socket
import subprocess
import tempfile
import threading
import time
import xml.etree.ElementTree as ElementTree

REPOSITORY = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
START_LIMIT = 20.0
STOP_LIMIT = 15.0

PORT_IN_USE = ("The port Quillbeaker uses , is right now in use. Please check if you have other applications "
               "that use the same port . You can change this value from Settings dialog")
WRONG_USER_NAME = "The user name in the client mail program has the wrong format."

_block = None


def executable():
    path = os.environ.get("QUILLBEAKER_CLI", os.path.join(REPOSITORY, "build/native/quillbeaker-cli"))
    assert os.access(path, os.X_OK), f"{path} is not built (QUILLBEAKER_CLI names another)"
    return os.path.abspath(path)


@functools.lru_cache(maxsize=None)
def sanitized():
    """Whether the program under test is built with sanitizers, which cost memory of their own."""
    with open(executable(), "rb") as file:
        return b"__asan_init" in file.read()


def _take_block():
    """Ports of this process alone, below the range from which the system takes outgoing ones.

    The name of the block is an abstract socket held until the process ends: several runs of these
    tests may go on at once, and none must take a port that another has found to be free."""
    for first in range(12000, 32000, 500):
        holder = socket.socket(socket.AF_UNIX)
        try:
            holder.bind(f"\0quillbeaker-tests-{first}")
        except OSError:
            holder.close()
            continue
        return holder, itertools.cycle(range(first, first + 500))
    raise AssertionError("every block of ports is taken by other runs of these tests")


def free_port():
    global _block
    if _block is None:
        _block = _take_block()
    for port in _block[1]:
        with socket.socket() as probe:
            try:
                probe.bind(("127.0.0.1", port))
            except OSError:
                continue
            return port


PR_SET_PDEATHSIG = 1
LIBC = ctypes.CDLL(None)


def end_with_the_tests(how=signal.SIGKILL):
    """Run by a child before its program starts: it ends with the test process, also when that is killed."""
    LIBC.prctl(PR_SET_PDEATHSIG, how)


def eventually(predicate, timeout=15.0, what="the condition"):
    """Polls a state that announces itself by no event, such as a file; gives the true value."""
    end = time.monotonic() + timeout
    while True:
        value = predicate()
        if value:
            return value
        assert time.monotonic() < end, f"{what} did not come true in {timeout} s"
        time.sleep(0.02)


def day_number(date=None):
    """The Julian day number of a date; 2451545 is 1 January 2000."""
    date = date or datetime.date.today()
    return (date - datetime.date(2000, 1, 1)).days + 2451545


def ini_text(sections, newline="\n"):
    lines = []
    for section, keys in sections.items():
        lines.append(f"[{section}]")
        lines += [f"{key}={value}" for key, value in keys.items()]
    return newline.join(lines) + newline


def make_directory():
    return tempfile.mkdtemp(prefix="qb-", dir="/tmp")


class Quillbeaker:
    """One program directory and, once started, the proxy that serves it."""

    def __init__(self, directory=None):
        self.directory = directory or make_directory()
        self.port = None
        self.process = None
        self.lines = []
        self.errors = []
        self._changed = threading.Condition()
        self._readers = []

    # -- files ------------------------------------------------------------------------------
    def path(self, *parts):
        return os.path.join(self.directory, *parts)

    def write(self, name, data):
        path = self.path(name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "wb") as file:
            file.write(data.encode("latin-1") if isinstance(data, str) else data)
        return path

    def read(self, name):
        try:
            with open(self.path(name), "rb") as file:
                return file.read()
        except FileNotFoundError:
            return b""

    def configure(self, settings=None, server=None, senders=None, **sections):
        """Writes Quillbeaker.ini: `settings` goes to [QUILLBEAKER], `server` to [SERVER]."""
        content = {"QUILLBEAKER": settings or {}, "SERVER": {"Timeout": 10, **(server or {})}}
        if senders:
            content["SENDERS"] = senders
        content.update(sections)
        self.write("Quillbeaker.ini", ini_text(content))

    def spam_words(self, words, thresholds=None):
        self.write("spampoints.ini", ini_text({"PROBABILITIES": words, "THRESHOLD": thresholds or {}}))

    def setting(self, key, section="QUILLBEAKER"):
        """A value of Quillbeaker.ini as text, None when missing."""
        current = None
        for line in self.read("Quillbeaker.ini").decode("latin-1").splitlines():
            line = line.strip()
            if line.startswith("["):
                current = line.strip("[]").upper()
            elif current == section.upper() and "=" in line:
                name, _, value = line.partition("=")
                if name.strip().lower() == key.lower():
                    return value.strip()
        return None

    def client_log(self):
        return self.read("client.log")

    def server_log(self):
        return self.read("server.log")

    def bin_entries(self):
        """The attributes of every entry of recycle/recyclebin.xml, in order."""
        data = self.read("recycle/recyclebin.xml")
        if not data:
            return []
        root = ElementTree.fromstring(data)
        assert root.tag == "recyclebin", root.tag
        return [dict(e.attrib) for e in root if e.tag == "recyclefile"]

    def bin_files(self):
        """The names of the message files in the recycle bin, sorted."""
        try:
            return sorted(n for n in os.listdir(self.path("recycle")) if n.endswith(".recycle"))
        except FileNotFoundError:
            return []

    def known_ids(self):
        """The (uid, date) pairs of uniqueid.xml, in order."""
        data = self.read("uniqueid.xml")
        if not data:
            return []
        root = ElementTree.fromstring(data)
        assert root.tag == "uniqueid", root.tag
        return [(e.get("uid"), e.get("date")) for e in root if e.tag == "mail"]

    def restored_entry(self, name, text=None, account=None, **attributes):
        """Puts a message into the recycle bin and marks it restored."""
        self.bin_entry(name, text, account, restored="1", **attributes)

    def bin_entry(self, name, text=None, account=None, **attributes):
        if text is not None:
            self.write(f"recycle/{name}", text)
        data = self.read("recycle/recyclebin.xml")
        root = ElementTree.fromstring(data) if data else ElementTree.Element("recyclebin")
        values = {"name": name, "date": str(day_number()), "time": "10:00", "subject": "kept", "sender": "",
                  "address": "", "size": str(len(text or b"")), **attributes}
        if account is not None:
            values["account"] = account
        ElementTree.SubElement(root, "recyclefile", values)
        self.write("recycle/recyclebin.xml",
                   b'<?xml version="1.0" encoding="ISO-8859-1"?>\n' + ElementTree.tostring(root))

    # -- the process ------------------------------------------------------------------------
    def start(self, port=None, program=None, cwd=None, arguments=None, terminal=None):
        """Starts the proxy and waits for the line that names the address it listens on."""
        self.port = port or free_port()
        if arguments is None:
            arguments = ["run", "--directory", self.directory, "--port", str(self.port)]
        self.process = subprocess.Popen(
            [program or executable(), *arguments], cwd=cwd, preexec_fn=end_with_the_tests,
            stdin=terminal if terminal is not None else subprocess.DEVNULL,
            stdout=terminal if terminal is not None else subprocess.PIPE,
            stderr=terminal if terminal is not None else subprocess.PIPE)
        if terminal is None:
            for stream, lines in ((self.process.stdout, self.lines), (self.process.stderr, self.errors)):
                reader = threading.Thread(target=self._collect, args=(stream, lines), daemon=True)
                reader.start()
                self._readers.append(reader)
            self.wait_for_output(rf"127\.0\.0\.1\D+{self.port}\b", START_LIMIT)
        return self

    def _collect(self, stream, lines):
        for line in stream:
            with self._changed:
                lines.append(line.decode("utf-8", "replace"))
                self._changed.notify_all()
        with self._changed:
            self._changed.notify_all()

    def output(self):
        with self._changed:
            return "".join(self.lines)

    def error_output(self):
        with self._changed:
            return "".join(self.errors)

    def wait_for_output(self, pattern, timeout=15.0):
        """Waits until standard output or standard error holds the pattern."""
        end = time.monotonic() + timeout
        with self._changed:
            while True:
                match = re.search(pattern, "".join(self.lines) + "".join(self.errors))
                if match:
                    return match
                left = end - time.monotonic()
                dead = self.process.poll() is not None and not any(r.is_alive() for r in self._readers)
                assert left > 0 and not dead, (
                    f"no {pattern!r} in the output (exit code {self.process.poll()}):\n"
                    + "".join(self.lines) + "".join(self.errors))
                self._changed.wait(min(left, 0.5))

    def cpu_seconds(self):
        with open(f"/proc/{self.process.pid}/stat", encoding="ascii") as file:
            fields = file.read().rpartition(")")[2].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def peak_memory(self):
        """The high-water mark of the resident set, in bytes."""
        with open(f"/proc/{self.process.pid}/status", encoding="ascii") as file:
            return int(re.search(r"VmHWM:\s+(\d+) kB", file.read())[1]) * 1024

    def running(self):
        return self.process is not None and self.process.poll() is None

    def stop(self, how=signal.SIGTERM):
        """Asks the proxy to end and demands exit code 0."""
        if self.process is None:
            return
        process, self.process = self.process, None
        early = process.poll()
        if early is None:
            process.send_signal(how)
        try:
            code = process.wait(STOP_LIMIT)
        except subprocess.TimeoutExpired:
            process.kill()
            process.wait()
            raise AssertionError(f"still running {STOP_LIMIT} s after signal {how}") from None
        finally:
            for reader in self._readers:
                reader.join(5)
            self._readers = []
            for stream in (process.stdout, process.stderr):
                if stream:
                    stream.close()
        assert early is None, f"ended by itself with {early}:\n{self.output()}{self.error_output()}"
        assert code == 0, f"exit code {code}:\n{self.output()}{self.error_output()}"
        assert "Sanitizer" not in self.error_output() and "runtime error" not in self.error_output(), (
            self.error_output())

    def discard(self):
        """Last resort of the teardown: nothing of this proxy stays."""
        if self.process is not None and self.process.poll() is None:
            self.process.kill()
            self.process.wait()
        shutil.rmtree(self.directory, ignore_errors=True)


def run_cli(*arguments, timeout=60, **options):
    """Runs the program once; standard output and error are bytes."""
    return subprocess.run([executable(), *map(str, arguments)], stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=timeout, check=False, **options)
