# SPDX-License-Identifier: MIT
"""What the program costs while nothing happens. Times are figures of bench/, not tests."""

import time

import pytest

from cost import EmptyProgram, anonymous_memory, cpu_seconds, wake_ups
from icons import PLAIN, Tray
from messages import ham, spam
from program import eventually
from test_mail_check import check

MEGABYTE = 1 << 20


@pytest.fixture
def empty_memory(desktop, driver):
    empty = EmptyProgram(desktop, driver)
    memory = anonymous_memory(empty.process)
    empty.stop()
    return memory


def settled(process):
    """Waits until it has nothing to do any more, as far as half a second tells."""

    def quiet():
        before = wake_ups(process)
        time.sleep(0.5)
        return wake_ups(process) == before

    eventually(quiet, what="rest")


def assert_idle(one):
    settled(one.process)
    cpu, wakes = cpu_seconds(one.process), wake_ups(one.process)
    time.sleep(2)
    assert wake_ups(one.process) - wakes <= 1
    assert cpu_seconds(one.process) - cpu < 0.002


def test_nothing_runs_while_nothing_happens(program, client, server, empty_memory):
    one = program({"TrayNumSeconds": 1})
    assert_idle(one)
    assert anonymous_memory(one.process) - empty_memory <= 10 * MEGABYTE
    # And after a session with everything that it starts.
    tray = Tray(one)
    check(client, server, one, ham(1), spam(2))
    eventually(lambda: tray.shown() == PLAIN, what="the end of the number on the icon")
    assert_idle(one)
    assert anonymous_memory(one.process) - empty_memory <= 10 * MEGABYTE
