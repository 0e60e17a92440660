# SPDX-License-Identifier: MIT
"""quillbeaker-cli as the torture starts, disturbs, ends and reads it."""

import os
import resource
import select
import signal
import subprocess
import time

import program

START_LIMIT = 20.0


class RunningProgram:
    """One program directory and, between start() and its end, the proxy that serves it."""

    def __init__(self, executable, directory, points, command_points):
        self.executable = executable
        self.directory = directory
        self.points = points
        self.command_points = command_points
        self.port = program.free_port()
        self.process = None
        self.output = []
        self.exit_code = None
        self.starts = 0
        self._exit_fd = None

    def start(self, address_space=None):
        """True when it listens; False when it ended before, as a kill at its start makes it."""
        self.starts += 1
        self.exit_code = None
        self.process = subprocess.Popen(
            [self.executable, "run", "--directory", self.directory, "--port", str(self.port)],
            env={"LC_ALL": "C.UTF-8", "TZ": "UTC", **self.points.environment()}, stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        os.set_blocking(self.process.stdout.fileno(), False)
        self._exit_fd = os.pidfd_open(self.process.pid)
        end = time.monotonic() + START_LIMIT
        said = b""
        while time.monotonic() < end:
            select.select([self.process.stdout], [], [], end - time.monotonic())
            piece = self._drain()
            said += piece
            if b"listens on" in said:
                if address_space is not None:
                    used = self.memory("VmSize")
                    self.limit(resource.RLIMIT_AS, used + address_space)
                return True
            if not piece and self.poll():
                return False
        raise AssertionError(f"it does not listen after {START_LIMIT} s: {said!r}")

    def _drain(self):
        try:
            piece = os.read(self.process.stdout.fileno(), 65536)
        except BlockingIOError:
            return b""
        if piece:
            self.output.append(piece)
        return piece

    def drain(self):
        """Reads what it has printed, so that it never waits for a reader."""
        if self.process is not None:
            while self._drain():
                pass

    def exit_descriptor(self):
        """Readable once the process has ended."""
        return self._exit_fd

    def poll(self):
        """True when it has ended; what is left of it is tidied up then."""
        if self.process is None:
            return True
        if self.process.poll() is None:
            return False
        self.drain()
        self.exit_code = self.process.returncode
        self.process.stdout.close()
        os.close(self._exit_fd)
        self.process = self._exit_fd = None
        return True

    def kill(self):
        """SIGKILL now; returns when the process is gone."""
        if self.process is not None:
            self.process.kill()
            self.process.wait()
            self.poll()

    def terminate(self):
        if self.process is not None:
            self.process.send_signal(signal.SIGTERM)

    def wait(self, limit):
        """True when it has ended within the limit."""
        if self.process is not None:
            try:
                self.process.wait(limit)
            except subprocess.TimeoutExpired:
                return False
        return self.poll()

    def limit(self, which, size):
        if self.process is not None:
            try:
                resource.prlimit(self.process.pid, which, (size, resource.RLIM_INFINITY))
            except ProcessLookupError:
                pass

    def lift_limit(self, which):
        self.limit(which, resource.RLIM_INFINITY)

    def memory(self, name):
        """A line of /proc/PID/status, in bytes."""
        with open(f"/proc/{self.process.pid}/status", encoding="ascii") as file:
            for line in file:
                if line.startswith(name + ":"):
                    return int(line.split()[1]) * 1024
        return 0

    def is_kept_waiting(self):
        """True when it would run if the machine let it: it is none that waits for something."""
        for _ in range(5):
            try:
                with open(f"/proc/{self.process.pid}/stat", encoding="latin-1") as file:
                    if file.read().rpartition(")")[2].split()[0] in "RD":
                        return True
            except (OSError, AttributeError):
                return False
            time.sleep(0.005)
        return False

    def command(self, *arguments):
        """Runs another quillbeaker-cli on the same directory; (exit code, output)."""
        done = subprocess.run([self.executable, *arguments], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, timeout=60, check=False,
                              env={"LC_ALL": "C.UTF-8", "TZ": "UTC", **self.command_points.environment()})
        return done.returncode, done.stdout.decode("utf-8", "replace")

    def said(self):
        return b"".join(self.output).decode("utf-8", "replace")
