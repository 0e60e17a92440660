# SPDX-License-Identifier: MIT
"""A terminal of its own for the program: run once in one of a given size, or looked at while it serves."""

import fcntl
import os
import pty
import re
import select
import struct
import subprocess
import termios
import time

from program import end_with_the_tests, executable


def run_on_terminal(*arguments, columns=80, timeout=60, replies=()):
    """(exit code, bytes that the terminal got); line ends are CR LF there.

    `replies` are pairs: once the first has been shown, the second is typed (bytes) or sent (a signal)."""
    replies = list(replies)
    master, slave = pty.openpty()
    try:
        fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("HHHH", 30, columns, 0, 0))
        process = subprocess.Popen([executable(), *map(str, arguments)], stdin=slave, stdout=slave, stderr=slave,
                                   preexec_fn=end_with_the_tests)
    finally:
        os.close(slave)
    shown = b""
    end = time.monotonic() + timeout
    try:
        while True:
            ready, _, _ = select.select([master], [], [], max(0, end - time.monotonic()))
            assert ready, f"still running after {timeout} s: {shown!r}"
            try:
                piece = os.read(master, 65536)
            except OSError:  # the other side was closed by the last that held it
                break
            if not piece:
                break
            shown += piece
            while replies and replies[0][0] in shown:
                reply = replies.pop(0)[1]
                if isinstance(reply, bytes):
                    os.write(master, reply)
                else:
                    process.send_signal(reply)
        assert not replies, f"never shown: {replies[0][0]!r} in {shown!r}"
        return process.wait(max(1, end - time.monotonic())), shown
    finally:
        os.close(master)
        if process.poll() is None:
            process.kill()
            process.wait()


class Terminal:
    """A terminal of its own for the proxy: what it shows so far, and waiting for a text."""

    def __init__(self):
        self.master, self.slave = pty.openpty()
        self.shown = b""

    def close(self):
        os.close(self.master)
        os.close(self.slave)

    def type(self, text):
        os.write(self.master, text)

    def wait_for(self, pattern, timeout=15):
        end = time.monotonic() + timeout
        while not re.search(pattern, self.shown):
            ready, _, _ = select.select([self.master], [], [], max(0, end - time.monotonic()))
            assert ready, f"no {pattern!r} on the terminal, only {self.shown!r}"
            self.shown += os.read(self.master, 65536)

    def read_for(self, seconds):
        """Everything shown until so many seconds from now."""
        end = time.monotonic() + seconds
        while select.select([self.master], [], [], max(0, end - time.monotonic()))[0]:
            self.shown += os.read(self.master, 65536)
        return self.shown
