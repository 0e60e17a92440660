# SPDX-License-Identifier: MIT
"""The outside of fault_points.cpp: says at which file operation a process is killed, or what fails for it."""

import mmap
import os
import struct
from dataclasses import dataclass

TRACE_LINES = 4096
SIZE = 128 + TRACE_LINES * 128

CREATE, WRITE, FLUSH, RENAME, ERASE, TRUNCATE, MAKE_DIRECTORY, OPEN, READ = (1 << n for n in range(9))
CHANGES = {"change": CREATE | WRITE | FLUSH | RENAME | ERASE | TRUNCATE | MAKE_DIRECTORY, "create": CREATE,
           "rename": RENAME, "erase": ERASE}
KILL_MODES = ("before", "after", "half way")


@dataclass
class KillPoint:
    number: int  # 1 is the next
    change: str  # of CHANGES
    mode: str  # of KILL_MODES

    def __str__(self):
        return f"killed {self.mode} {self.change} {self.number}"


def draw_kill_point(random, most):
    """One of the first `most` changes, or an early one of the telling kinds."""
    change = random.choice(("change", "change", "change", "rename", "erase", "create"))
    return KillPoint(random.randrange(1, most + 1 if change == "change" else 2 + most // 6), change,
                     random.choice(KILL_MODES))


class FaultPoints:
    """One block of memory, shared with each process that is started with environment()."""

    def __init__(self, library, path, folder):
        self._library = library
        self._path = path
        self._folder = folder
        self._read_to = 0
        descriptor = os.open(path, os.O_RDWR | os.O_CREAT, 0o600)
        os.ftruncate(descriptor, SIZE)
        self._memory = mmap.mmap(descriptor, SIZE)
        os.close(descriptor)

    def environment(self):
        return {"LD_PRELOAD": self._library, "FAULT_POINTS": self._path, "FAULT_POINTS_BELOW": self._folder + "/",
                "ASAN_OPTIONS": "verify_asan_link_order=0:detect_leaks=0"}

    def kill_at(self, point):
        """Before, after or half way through the next such change of a file, or a later one."""
        struct.pack_into("<II", self._memory, 4, KILL_MODES.index(point.mode), CHANGES[point.change])
        struct.pack_into("<I", self._memory, 0, point.number)

    def fail(self, operations, error, *, skip=0, count=0xFFFFFFFF, match=""):
        struct.pack_into("<64s", self._memory, 64, match.encode())
        struct.pack_into("<IIII", self._memory, 12, operations, skip, count, error)

    def clear(self):
        struct.pack_into("<IIIIIII", self._memory, 0, *(0,) * 7)

    def mutations(self):
        return struct.unpack_from("<I", self._memory, 28)[0]

    def failures(self):
        return struct.unpack_from("<I", self._memory, 32)[0]

    def trace(self, last=200):
        """The last changes to files, the oldest first."""
        count = self._traced()
        return self._lines(max(0, count - min(last, TRACE_LINES)), count)

    def new_trace(self):
        """The changes since the last call; None when there were too many to be kept."""
        since, self._read_to = self._read_to, self._traced()
        return self._lines(since, self._read_to) if self._read_to - since <= TRACE_LINES else None

    def _traced(self):
        return struct.unpack_from("<I", self._memory, 36)[0]

    def _lines(self, first, end):
        return [self._line(n).split(b"\0", 1)[0].decode("latin-1") for n in range(first, end)]

    def _line(self, line):
        start = 128 + line % TRACE_LINES * 128
        return self._memory[start:start + 128]

    def close(self):
        self._memory.close()
        os.unlink(self._path)


class Flushes:
    """What would be lost if the power failed now: names and contents that are not on the disk yet."""

    def __init__(self, points):
        self._points = points
        self._contents = set()
        self._names = {}  # folder with its separator -> names in it

    def forget(self):
        """What went on up to now does not count."""
        self._points.new_trace()
        self._contents.clear()
        self._names.clear()

    def waiting(self, folder):
        """The files of a folder ("recycle/") of which name or content is not flushed; None when nobody knows."""
        lines = self._points.new_trace()
        if lines is None:
            self.forget()
            return None
        for line in lines:
            if not line.endswith("-> fails"):
                self._take(*line.split(" ", 1))
        return sorted({n for n in self._contents if n.startswith(folder) and not n.endswith(".new")}
                      | self._names.get(folder, set()))

    def _take(self, what, name):
        if what in ("rename", "link"):
            name = name.removeprefix("to ")
            if name + ".new" in self._contents:
                self._contents.discard(name + ".new")
                self._contents.add(name)
        folder = name[:name.rfind("/") + 1]
        if what in ("create", "write", "truncate"):
            self._contents.add(name)
        elif what == "flush":
            self._contents.discard(name)
            self._names.pop(name, None)
        elif what == "erase":
            self._contents.discard(name)
            self._names.get(folder, set()).discard(name)
        if what in ("create", "rename", "link") and not name.endswith(".new"):
            self._names.setdefault(folder, set()).add(name)
