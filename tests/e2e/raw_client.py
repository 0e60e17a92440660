# SPDX-License-Identifier: MIT
"""A POP3 client that sends exactly the bytes it is given and reads with a deadline.

It never waits longer than it is told, and it tells a silence from a closed connection."""

import fcntl
import re
import socket
import struct
import termios
import time

DEADLINE = 20.0


class Closed(AssertionError):
    """The peer closed the connection before the expected bytes had come."""


class Silent(AssertionError):
    """The expected bytes did not come in time."""


class RawClient:
    def __init__(self, port, host="127.0.0.1", greeting=True, deadline=DEADLINE):
        self.deadline = deadline
        self.buffer = bytearray()  # grows in place: a message of many megabytes comes in small pieces
        self.sock = socket.create_connection((host, port), timeout=deadline)
        self.sock.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        if greeting:
            first = self.line()
            assert first == b"+OK Ready", f"greeting {first!r}"

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        self.sock.close()

    def half_close(self):
        self.sock.shutdown(socket.SHUT_WR)

    # -- sending ----------------------------------------------------------------------------
    def send(self, data):
        self.sock.sendall(data.encode("latin-1") if isinstance(data, str) else data)

    # -- reading ----------------------------------------------------------------------------
    def _more(self, end):
        """Reads once; False at a close."""
        left = end - time.monotonic()
        if left <= 0:
            raise Silent(f"nothing more in time; have {self.buffer[-200:]!r}")
        self.sock.settimeout(left)
        try:
            data = self.sock.recv(1 << 16)
        except socket.timeout as error:
            raise Silent(f"nothing more in time; have {self.buffer[-200:]!r}") from error
        except ConnectionError:
            data = b""
        self.buffer += data
        return bool(data)

    def _take(self, count):
        taken = bytes(self.buffer[:count])
        del self.buffer[:count]
        return taken

    def until(self, terminator, timeout=None):
        """The bytes up to and including the terminator."""
        end = time.monotonic() + (timeout or self.deadline)
        start = 0
        while True:
            at = self.buffer.find(terminator, start)
            if at >= 0:
                return self._take(at + len(terminator))
            start = max(0, len(self.buffer) - len(terminator))
            if not self._more(end):
                raise Closed(f"closed; have {self.buffer[-200:]!r}")

    def line(self, timeout=None):
        """One line without its CR LF."""
        return self.until(b"\r\n", timeout)[:-2]

    def rest(self, timeout=None):
        """Everything until the peer closes."""
        end = time.monotonic() + (timeout or self.deadline)
        while self._more(end):
            pass
        return self._take(len(self.buffer))

    def nothing(self, seconds):
        """Asserts that nothing comes and nothing closes for so long."""
        assert not self.buffer, f"unexpected {self.buffer!r}"
        try:
            open_still = self._more(time.monotonic() + seconds)
        except Silent:
            return
        assert open_still, "the connection was closed"
        raise AssertionError(f"unexpected {self.buffer!r}")

    def ended(self, timeout=None):
        """Asserts that the peer closes and sends nothing before it does."""
        rest = self.rest(timeout)
        assert rest == b"", f"unexpected {rest!r} before the close"

    def wait_until_full(self, timeout=None):
        """Reads nothing, until no more comes: then the peer has to wait for us."""
        end = time.monotonic() + (timeout or self.deadline)
        waiting, since = -1, 0.0
        while time.monotonic() - since < 0.2:
            assert time.monotonic() < end, "the bytes do not stop coming"
            (now,) = struct.unpack("i", fcntl.ioctl(self.sock, termios.FIONREAD, b"\0" * 4))
            if now != waiting or not now:
                waiting, since = now, time.monotonic()
            time.sleep(0.01)

    # -- POP3 -------------------------------------------------------------------------------
    def ask(self, command, timeout=None):
        """Sends one command line, gives the first line of its reply."""
        command = command.encode("latin-1") if isinstance(command, str) else command
        self.send(command + b"\r\n")
        return self.line(timeout)

    def listing(self, command, timeout=None):
        """A multi-line command: (status line, lines without the closing dot)."""
        status = self.ask(command, timeout)
        lines = []
        while True:
            line = self.line(timeout)
            if line == b".":
                return status, lines
            lines.append(line)

    def retr(self, number, timeout=None):
        """RETR: (status line, the wire bytes between it and the closing dot, still stuffed).

        The bytes end with the CR LF that stands before the closing dot."""
        status = self.ask(f"RETR {number}", timeout)
        assert status.startswith(b"+OK"), status
        if self.peek(3, timeout) == b".\r\n":
            self._take(3)
            return status, b""
        return status, self.until(b"\r\n.\r\n", timeout)[:-3]

    def peek(self, count, timeout=None):
        end = time.monotonic() + (timeout or self.deadline)
        while len(self.buffer) < count:
            if not self._more(end):
                raise Closed(f"closed; have {self.buffer!r}")
        return bytes(self.buffer[:count])

    def user(self, port, name="jane", host="127.0.0.1"):
        return self.ask(f"USER {host}&{name}&{port}")

    def login(self, port, name="jane", password="secret", host="127.0.0.1"):
        answer = self.user(port, name, host)
        assert answer == b"+OK Username accepted", answer
        answer = self.ask(f"PASS {password}")
        assert answer == b"+OK Password accepted", answer
        return self

    def stat(self, timeout=None):
        """STAT: (count, size)."""
        answer = self.ask("STAT", timeout)
        match = re.fullmatch(rb"\+OK (\d+) (\d+)", answer)
        assert match, answer
        return int(match[1]), int(match[2])

    def list(self, timeout=None):
        """LIST: [(number, size), ...] in the order of the reply."""
        status, lines = self.listing("LIST", timeout)
        assert status == b"+OK Message list follows", status
        return [tuple(int(part) for part in line.split(b" ")) for line in lines]

    def uidl(self, timeout=None):
        """UIDL: [(number, id), ...] in the order of the reply."""
        status, lines = self.listing("UIDL", timeout)
        assert status == b"+OK UID list follows", status
        result = []
        for line in lines:
            number, _, uid = line.partition(b" ")
            result.append((int(number), uid))
        return result

    def quit(self, timeout=None):
        answer = self.ask("QUIT", timeout)
        assert answer == b"+OK Everything done.", answer
        self.ended(timeout)
