# SPDX-License-Identifier: MIT
"""What a running program costs, read from the system that Wine runs on."""

import os
import re
import subprocess

from driver import WM_ENDSESSION, tools
from program import end_with_the_tests


def anonymous_memory(process):
    """Bytes that belong to the process alone and stand in no file."""
    with open(f"/proc/{process.pid}/status", encoding="ascii") as file:
        return int(re.search(r"RssAnon:\s+(\d+) kB", file.read())[1]) * 1024


def cpu_seconds(process, main_thread_only=False):
    """Of all its threads, or of the one that windows live on, to the nanosecond."""
    directory = f"/proc/{process.pid}/task"
    total = 0
    for thread in [str(process.pid)] if main_thread_only else os.listdir(directory):
        with open(f"{directory}/{thread}/schedstat", encoding="ascii") as file:
            total += int(file.read().split()[0])
    return total / 1e9


def wake_ups(process):
    """How often its threads have gone to sleep of their own will: each timer that ticks adds to it."""
    total = 0
    for thread in os.listdir(f"/proc/{process.pid}/task"):
        with open(f"/proc/{process.pid}/task/{thread}/status", encoding="ascii") as file:
            total += int(re.search(r"voluntary_ctxt_switches:\s+(\d+)", file.read())[1])
    return total


class EmptyProgram:
    """A program that only waits, with a window that is never shown."""

    def __init__(self, desktop, driver):
        self.driver = driver
        self.process = subprocess.Popen(["wine", os.path.join(tools(), "empty_program.exe"), "stay"],
                                        env=desktop.environment, stdin=subprocess.DEVNULL,
                                        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                        preexec_fn=end_with_the_tests)
        self.window = driver.window(kind="EmptyProgram")

    def stop(self):
        self.window.post(WM_ENDSESSION, 1)
        assert self.process.wait(20) == 0
