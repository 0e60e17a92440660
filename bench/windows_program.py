#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""What the Windows program costs under Wine: its start beside an empty program's, its memory at rest, the bubble's
share of a mail check, and the time that its windows take.

All of it on a desktop of its own, with a Wine server that is warm; what is compared is measured in turn. Needs
build/windows (Quillbeaker, window_driver, empty_program, window_times)."""

import argparse
import os
import statistics
import subprocess
import sys
import tempfile
import time

TOP = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path[:0] = [os.path.join(TOP, "tests", "windows_program"), os.path.join(TOP, "bench")]

import cost  # noqa: E402
import desktop as desktops  # noqa: E402
import dovecot  # noqa: E402
import driver as drivers  # noqa: E402
import mail_check  # noqa: E402
from program import free_port  # noqa: E402
from windows_program import TITLE, WindowsProgram  # noqa: E402


def until(condition):
    end = time.monotonic() + 60
    while not condition():
        assert time.monotonic() < end, "it does not happen"
        time.sleep(0.002)


def start_of_empty_program(desktop):
    begun = time.perf_counter()
    assert desktop.wine(os.path.join(drivers.tools(), "empty_program.exe")) == 0
    return time.perf_counter() - begun


def start_of_program(one):
    """Until the port is open, which comes after the icon: so this is more than what is limited."""
    begun = time.perf_counter()
    one.process = one.spawn()
    # The window first: asking the system for its ports costs more than the start.
    until(lambda: one.driver.windows(kind=TITLE))
    until(one.is_listening)
    seconds = time.perf_counter() - begun
    one.find_main_window()
    one.stop()
    return seconds


def measure_start(desktop, driver, rounds):
    one = WindowsProgram(desktop, driver)
    one.configure()
    empty, full = [], []
    try:
        # The first start makes the directories, and flushes what it makes to the disk.
        start_of_empty_program(desktop)
        start_of_program(one)
        for _ in range(rounds):
            empty.append(start_of_empty_program(desktop))
            full.append(start_of_program(one))
    finally:
        one.discard()
    empty, full = statistics.median(empty), statistics.median(full)
    print(f"start: {full * 1000:.0f} ms until mail is served, an empty program {empty * 1000:.0f} ms (medians of "
          f"{rounds} in turn): ratio {full / empty:.1f} (at most 3.0)")
    return full / empty <= 3.0


def measure_rest(desktop, driver):
    empty = cost.EmptyProgram(desktop, driver)
    one = WindowsProgram(desktop, driver)
    one.configure()
    try:
        one.start()
        time.sleep(3)
        more = cost.anonymous_memory(one.process) - cost.anonymous_memory(empty.process)
        cpu, wakes = cost.cpu_seconds(one.process), cost.wake_ups(one.process)
        time.sleep(20)
        cpu, wakes = cost.cpu_seconds(one.process) - cpu, cost.wake_ups(one.process) - wakes
        print(f"at rest: {cpu * 1000:.1f} ms of CPU and {wakes} wake-ups in 20 s; {more / 1e6:.1f} MB of memory more than "
              "an empty program (at most 10)")
        one.stop()
        return cpu < 0.01 and wakes <= 2 and more <= 10 * (1 << 20)
    finally:
        one.discard()
        empty.stop()


def timed_check(desktop, driver, server, mailbox, bubble):
    """Wall time of a whole check, and the CPU of the thread that shows it."""
    server.mailbox("wine", mailbox)
    one = WindowsProgram(desktop, driver)
    one.configure({"ShowBubble": int(bubble)})
    try:
        one.start()
        shown = cost.cpu_seconds(one.process, main_thread_only=True)
        seconds, count = mail_check.timed(mail_check.plain_client, one.port, f"127.0.0.1&wine&{server.port}")
        shown = cost.cpu_seconds(one.process, main_thread_only=True) - shown
        assert count == len(mailbox)
        one.stop()
        return seconds, shown
    finally:
        one.discard()


def measure_bubble(desktop, driver, messages, rounds):
    mailbox = mail_check.corpus(messages)
    server = dovecot.Dovecot(free_port())
    try:
        times = {True: [], False: []}
        for _ in range(rounds):
            for bubble in (True, False):
                times[bubble].append(timed_check(desktop, driver, server, mailbox, bubble))
    finally:
        server.stop()
    (with_bubble, cpu_with), (without, cpu_without) = (
        [statistics.median(column) for column in zip(*times[bubble])] for bubble in (True, False))
    share = (cpu_with - cpu_without) / with_bubble
    print(f"mail check of {messages} messages: {with_bubble:.2f} s with the bubble, {without:.2f} s without (medians of "
          f"{rounds} in turn)")
    print(f"  the bubble's CPU is {share:.1%} of that time (at most 2%), all that the windows' thread does {cpu_with / with_bubble:.1%}")
    return share <= 0.02


def measure_windows(desktop, rounds):
    # A file and no pipe, which Wine's own programs would hold open.
    with tempfile.TemporaryFile("w+") as told:
        subprocess.run(["wine", os.path.join(drivers.tools(), "window_times.exe"), str(rounds)], env=desktop.environment,
                       stdin=subprocess.DEVNULL, stdout=told, stderr=subprocess.DEVNULL, timeout=300, check=True)
        told.seek(0)
        times = {name: float(value) for name, value in map(str.split, told)}
    ratio = times["settings"] / times["templates"]
    print(f"settings: {times['settings']:.1f} ms to open and close, their two templates alone {times['templates']:.1f} ms "
          f"(medians of {rounds} in turn): ratio {ratio:.2f} (at most 2.0)")
    kept = ratio <= 2.0
    for page in ("words", "senders"):
        few, many, key = (times[f"{page}-{what}"] for what in ("few", "many", "key"))
        print(f"  {page}: first rows of 20,000 after {many:.1f} ms, of 20 after {few:.1f} ms: {many - few:.1f} ms more (at most 50); "
              f"the slowest key of a search {key:.1f} ms (at most 30)")
        kept = kept and many - few <= 50 and 0 <= key <= 30
    return measure_bin(times) and kept


def measure_bin(times):
    empty, full, row = times["bin-empty"], times["bin-full"], times["bin-row-bytes"]
    print(f"recycle bin: open with 50,000 messages after {full:.1f} ms, empty after {empty:.1f} ms: {full - empty:.1f} ms more "
          f"(at most 100); its rows {times['bin-listed']:.0f} ms later")
    print(f"  a page {times['bin-page']:.1f} ms, sorted by subject in {times['bin-sorted']:.0f} ms, {row:.0f} bytes "
          f"resident a row (at most 1,024)")
    return full - empty <= 100 and row <= 1024


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--messages", type=int, default=1000)
    parser.add_argument("--rounds", type=int, default=5)
    arguments = parser.parse_args()
    desktop = desktops.Desktop()
    try:
        driver = drivers.Driver(desktop)
        kept = [measure_start(desktop, driver, 3 * arguments.rounds), measure_rest(desktop, driver),
                measure_bubble(desktop, driver, arguments.messages, arguments.rounds),
                measure_windows(desktop, 20)]
        driver.stop()
    finally:
        desktop.stop()
    return 0 if all(kept) else 1


if __name__ == "__main__":
    sys.exit(main())
