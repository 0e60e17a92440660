# SPDX-License-Identifier: MIT
"""The window of the recycle bin."""

import re

import pytest

from driver import VK_ESCAPE, WM_KEYDOWN
from mail_lists import BEFRIEND, BLOCK, DELETE, EMPTY_BIN, HELP, RESET_ACCOUNT, RESTORE, VIEW, Bin, plain
from messages import spam

COLUMNS = ["Sender", "Subject", "Date", "Spam Words", "Probability of Spam", "Mail account", "Size"]
MENU = [(VIEW, "&View message\tEnter"), (BLOCK, "&Add sender to blocked senders list"),
        (BEFRIEND, "Add sender to my &friends"), (RESTORE, "&Restore"), (DELETE, "&Delete\tDel"),
        (RESET_ACCOUNT, "&Reset account information"), (EMPTY_BIN, "&Empty bin")]


def name_of(number):
    return f"2452676_231507_{number:x}.recycle"


def put(one, number, **attributes):
    """A spam in the bin, called "offer NUMBER" and 1024 bytes long as the index says."""
    one.bin_entry(name_of(number), spam(number), **{
        "subject": f"offer {number}", "sender": f"Seller {number}", "address": f"seller{number}@spam.example",
        "size": "1024", **attributes})


@pytest.fixture
def bin_of(program):
    """bin_of(count): a running program and its window with so many spams of today."""

    def make(count, senders=None, settings=None, **attributes):
        one = program(settings, senders=senders)
        for number in range(1, count + 1):
            put(one, number, **attributes)
        return one, Bin(one, count)

    return make


def subjects(one):
    return [entry["subject"] for entry in one.bin_entries()]


def status_of(count, kilobytes):
    return f"{count} messages - {kilobytes:.2f} KB"


def test_what_it_shows(program, picture):
    one = program(senders={"x@spam.example": "X,1"})
    rows = [
        ({"sender": "Müller Sales", "address": "sales@shop.example", "subject": "Cheap pills", "date": "2452676",
          "time": "22:15", "spamwords": "pills, cheap", "probability": "0.9871", "account": "ann @ mailserver",
          "size": "2345"},
         ["Müller Sales", "Cheap pills", "05.02.2003, 22:15", "pills, cheap", "98.71 %", "ann @ mailserver",
          "2.29 KB"]),
        ({"sender": "X", "address": "x@spam.example", "date": "2452677", "probability": "1.1000", "size": "1024"},
         ["X", "kept", "06.02.2003, 10:00", "(Blocked Sender)", "110.00 %", "", "1.00 KB"]),
        ({"sender": "Y", "address": "y@spam.example", "time": "00:01", "date": "2451545", "size": "0"},
         ["Y", "kept", "01.01.2000, 00:01", "(LF:)", "", "", ""]),
        ({"sender": "Z", "address": "x@spam.example", "spamwords": "pills", "probability": "0", "restored": "1",
          "date": "2452676", "time": "9:05", "account": ""},
         ["Z", "kept", "05.02.2003, 00:00", "pills", "", "", "4.00 KB"]),
        ({"sender": "W", "address": "", "date": "2452676", "restored": "0", "size": "512"},
         ["W", "kept", "05.02.2003, 10:00", "(LF:)", "", "", "0.50 KB"]),
    ]
    for number, (attributes, _) in enumerate(rows, 1):
        one.bin_entry(name_of(number), spam(number), **{"size": "4096", **attributes})
    window = Bin(one, len(rows))
    assert window.headings() == COLUMNS
    for (_, wanted), seen in zip(rows, window.rows(), strict=True):
        assert seen == wanted
    assert window.pictures() == [None, None, None, 0, None]
    assert [button["text"] for button in window.buttons()] == ["Empty bin", "View message", "Delete", "Restore",
                                                              "Help"]
    assert [button["id"] for button in window.buttons()] == [EMPTY_BIN, VIEW, DELETE, RESTORE, HELP]
    assert window.status() == ["Ready", status_of(5, (2345 + 1024 + 4096 + 512) / 1024)]
    assert window.has_focus() and window.selected() == []
    picture("recycle-bin", window.window.place)
    # The list fills what the toolbar, the fields of the filter and the status bar leave.
    toolbar, place, search, status = (window.window.control(number)["place"] for number in (1004, 1022, 1152, 1005))
    assert toolbar["bottom"] <= place["top"] and place["bottom"] <= search["top"]
    assert search["bottom"] <= status["top"] and status["bottom"] <= window.window.client["bottom"]
    assert place["right"] - place["left"] > 0.9 * (window.window.client["right"] - window.window.client["left"])
    # A second time it is the same window.
    one.command(40005)
    one.main.send(0)
    assert len(one.driver.windows(title=window.title, visible=True)) == 1
    window.close()
    assert subjects(one) == ["Cheap pills", "kept", "kept", "kept", "kept"]


def test_the_context_menu(bin_of, picture):
    _, window = bin_of(3)
    menu = window.open_menu(lambda: window.click_row(1, 3))
    assert window.selected() == [1]  # the row under the mouse, before the menu opens
    items = window.driver.menu_items(menu)
    picture("recycle-bin-menu", window.window.place)
    window.window.post(WM_KEYDOWN, VK_ESCAPE)
    menu.wait_until_gone()
    shown = [(item["id"], item["text"]) for item in items]
    assert [item for item in shown if item[0]][:7] == MENU
    behind = shown[shown.index(MENU[-1]) + 1:]
    assert behind[0][0] == 0 and len(behind) > 4
    assert {"Restore and trust...", "Why was this taken?", "Save as...", "Select all of this sender",
            "Look for lost messages"} <= {plain(text) for _, text in behind}
    letters = [re.search("&(.)", text)[1].lower() for _, text in behind if "&" in text]
    assert len(set(letters)) == len(letters) and not set(letters) & set("vafrde")
    # A right click on one of several selected rows keeps them all.
    window.select(0, 2)
    menu = window.open_menu(lambda: window.click_row(2, 3))
    assert window.selected() == [0, 2]
    window.window.post(WM_KEYDOWN, VK_ESCAPE)
    menu.wait_until_gone()
    # By the keyboard it opens at the focused row.
    for name in ("shift+F10", "Menu"):
        window.select(2)
        place = window.place_of(2)
        menu = window.open_menu(lambda name=name: window.key(name))
        assert abs(menu.place["top"] - place["bottom"]) <= place["bottom"] - place["top"]
        assert place["left"] - 40 <= menu.place["left"] <= place["right"] + 10
        window.window.post(WM_KEYDOWN, VK_ESCAPE)
        menu.wait_until_gone()
