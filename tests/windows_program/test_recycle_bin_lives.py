# SPDX-License-Identifier: MIT
"""The recycle bin's window while a mail check runs, and its keys."""

import os

from driver import IDCANCEL, IDYES, WM_COMMAND, WM_KEYDOWN
from messages import ham, spam
from program import eventually
from test_mail_check import check

RECYCLE_BIN = 40005
LIST, STATUS, SEARCH = 1022, 1005, 1152
KEYS = {"down": 0x28, "delete": 0x2E, "enter": 0x0D}


class Bin:
    def __init__(self, one):
        self.one = one
        one.command(RECYCLE_BIN)
        self.window = one.box(title="Recycle bin")
        self.list = self.window.control(LIST)["window"]

    def rows(self):
        return self.one.driver.ask("list", window=self.list)

    def press(self, key):
        self.one.driver.ask("post", window=self.list, message=WM_KEYDOWN, wparam=KEYS[key], lparam=0)


def test_what_a_mail_check_files_appears(program, client, server, picture):
    one = program()
    check(client, server, one, spam(1), spam(2), prefix=b"a")
    bin_window = Bin(one)
    assert bin_window.rows()["count"] == 2
    assert bin_window.window.focus()["focus"] == bin_window.list
    bin_window.press("down")
    eventually(lambda: bin_window.rows()["selected"] == [1], what="the second row selected")
    check(client, server, one, spam(3), ham(4), prefix=b"b")
    eventually(lambda: bin_window.rows()["count"] == 3, what="the row of the new message")
    after = bin_window.rows()
    assert after["selected"] == [1] and after["focused"] == 1
    assert after["rows"][2][1] != ""
    picture("recycle-bin", bin_window.window.place)
    # Del asks, deletes files and entries, and the focus goes to the next row.
    before = len(os.listdir(one.path("recycle")))
    bin_window.press("delete")
    one.box("Do you really want to delete this mail?").click(IDYES)
    eventually(lambda: bin_window.rows()["count"] == 2, what="the end of the row")
    assert bin_window.rows()["selected"] == [] and bin_window.rows()["focused"] == 1
    assert len(os.listdir(one.path("recycle"))) == before - 1


def test_a_search_narrows_and_escape_ends_it(program, client, server):
    one = program()
    check(client, server, one, spam(1), spam(2), spam(3))
    bin_window = Bin(one)
    subject = bin_window.rows()["rows"][1][1]
    field = bin_window.window.control(SEARCH)["window"]
    assert one.driver.ask("set_text", window=field, text=subject)
    eventually(lambda: 0 < bin_window.rows()["count"] < 3, what="fewer rows")
    one.driver.ask("post", window=field, message=WM_KEYDOWN, wparam=0x1B, lparam=0)
    eventually(lambda: bin_window.rows()["count"] == 3, what="all rows")
    assert bin_window.window.stands()
    one.driver.ask("post", window=field, message=WM_KEYDOWN, wparam=0x1B, lparam=0)
    bin_window.window.wait_until_gone()


def test_the_viewer_the_reasons_and_the_trust_open_from_the_list(program, client, server, picture):
    one = program()
    check(client, server, one, spam(1), spam(2))
    bin_window = Bin(one)
    bin_window.press("down")
    bin_window.press("enter")
    viewer = one.box(title="View message")
    picture("recycle-bin-viewer", viewer.place)
    viewer.close_box()
    viewer.wait_until_gone()
    for command, title in ((40037, "Why was this taken?"), (40036, "Restore and trust")):
        bin_window.window.post(WM_COMMAND, command)
        dialog = one.box(title=title)
        picture(f"recycle-bin-{command}", dialog.place)
        dialog.post(WM_COMMAND, IDCANCEL)
        dialog.wait_until_gone()
    assert bin_window.rows()["count"] == 2
