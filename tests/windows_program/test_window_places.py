# SPDX-License-Identifier: MIT
"""windows.ini: where a window opens again, and when the file is written."""

import os

from program import eventually
from settings import LEVELS, Settings


def move(dialog, left, top):
    """As a person does; the window manager may take a moment."""
    assert dialog.driver.ask("move", window=dialog.window.handle, left=left, top=top)
    eventually(lambda: corner(dialog) == (left, top), what="the window at its new place")


def corner(dialog):
    place = next(one.place for one in dialog.driver.windows() if one.handle == dialog.window.handle)
    return place["left"], place["top"]


def test_a_window_that_was_only_looked_at_writes_nothing(program):
    one = program()
    before = sorted(os.listdir(one.directory))
    for _ in range(2):
        dialog = Settings(one)
        dialog.page(LEVELS)
        dialog.cancel()
    assert sorted(os.listdir(one.directory)) == before


def test_the_settings_open_where_they_were_left(program):
    one = program()
    dialog = Settings(one)
    size = dialog.window.place["right"] - dialog.window.place["left"]
    move(dialog, 40, 60)
    dialog.cancel()
    assert one.read("windows.ini") == b"[Settings]\r\nPlace=40,60\r\n"
    dialog = Settings(one)
    assert corner(dialog) == (40, 60)
    assert dialog.window.place["right"] - dialog.window.place["left"] == size
    dialog.cancel()
    assert one.read("windows.ini") == b"[Settings]\r\nPlace=40,60\r\n"


def test_a_place_off_the_screen_is_brought_back(program, driver):
    one = program()
    one.write("windows.ini", "[Settings]\nPlace=30000,-20000\nSize=5,5\nDpi=96\n")
    dialog = Settings(one)
    work, place = driver.work_area(), dialog.window.place
    assert work["left"] <= place["left"] and place["right"] <= work["right"]
    assert work["top"] <= place["top"] and place["bottom"] <= work["bottom"]
    dialog.cancel()
