# SPDX-License-Identifier: MIT
"""The windows of the recycle bin and of the training area as a person works them: one list, its toolbar, its status
bar and its context menu."""

import os
import shutil
import subprocess

from desktop import need
from driver import IDNO, IDOK, VK_ESCAPE, VK_RETURN, WM_COMMAND, WM_KEYDOWN, tools
from icons import click_at, key
from program import eventually

COMMAND_BIN, COMMAND_TRAINING = 40005, 40014
BIN_TITLE, TRAINING_TITLE = "Recycle bin", "Training Area (Recently Received Messages)"
TOOLBAR, STATUS, BIN_LIST, TRAINING_LIST = 1004, 1005, 1022, 1038
EMPTY_BIN, DELETE, VIEW, RESTORE, BLOCK, BEFRIEND = 1030, 40001, 40008, 40009, 40010, 40011
RESET_ACCOUNT, MARK_SPAM, MARK_GOOD, LEARN, HELP = 40019, 1045, 40015, 40016, 9
VIEWER_TITLE, VIEWED_TEXT = "View message", 1051
SENDER_NAME, SENDER_ADDRESS = 1013, 1009
RESTORE_AND_TRUST, WHY, NEXT_MAIL, PREVIOUS_MAIL = 40036, 40037, 40038, 40039
FILE_NAMES = (0x480, 0x47C)  # an edit field, or a drop-down list with one
VK_DELETE = 0x2E
WM_NEXTDLGCTL, WM_HELP = 0x28, 0x53
LVM_ENSUREVISIBLE = 0x1000 + 19
APART = 0.6  # seconds between two clicks that shall be no double click

DELETE_ONE = "Do you really want to delete this mail?\nThis action can not be taken back."
DELETE_SEVERAL = "Do you really want to delete these mails?\nThis action can not be taken back."
ALREADY_LISTED = "This sender has already been added to this/another list."


class MailList:
    """Opens the window and waits until its list has the rows of the index."""

    def __init__(self, one, command, title, number, rows=None):
        self.one = one
        self.driver = one.driver
        self.title = title
        self.number = number
        one.command(command)
        self.window = one.driver.dialog(title, process=one.main.process)
        self.list = self.window.control(number)["window"]
        if rows is not None:
            eventually(lambda: self.count() == rows, what=f"a list of {rows} rows")

    # -- what is seen -------------------------------------------------------------------------
    def seen(self, most=100):
        return self.driver.ask("list", window=self.list, most=most)

    def count(self):
        return self.seen(0)["count"]

    def rows(self):
        return self.seen()["rows"]

    def column(self, number):
        return [row[number] for row in self.rows()]

    def selected(self):
        return self.seen(0)["selected"]

    def pictures(self):
        """Of each row, None where there is none."""
        return [number if number >= 0 else None for number in self.seen()["pictures"]]

    def headings(self):
        return [heading["text"] for heading in self.seen(0)["headings"]]

    def buttons(self):
        """The toolbar's, as they stand; the separators are left out."""
        found = self.driver.ask("toolbar", window=self.window.control(TOOLBAR)["window"])
        return [button for button in found if button["id"]]

    def status(self):
        return self.driver.ask("status_bar", window=self.window.control(STATUS)["window"])

    def wait_for_status(self, *texts):
        eventually(lambda: self.status() == list(texts), what=f"the status {texts}, not {self.status()}")

    def has_focus(self):
        return self.window.focus()["focus"] == self.list

    # -- what is done -------------------------------------------------------------------------
    def select(self, *rows):
        for row in rows or [-1]:
            assert self.driver.ask("select_row", window=self.list, row=row, add=bool(rows) and row != rows[0])
        self.settle()

    def settle(self):
        """What was posted before is answered."""
        self.window.send(0)

    def command(self, number):
        self.window.post(WM_COMMAND, number)

    def press(self, code):
        """A key, posted to the list."""
        self.driver.ask("post", window=self.list, message=WM_KEYDOWN, wparam=code)

    def key(self, name):
        """A key of the keyboard, wherever the focus is."""
        key(self.one.desktop, name)

    def focus(self, window):
        self.window.send(WM_NEXTDLGCTL, window, 1)
        eventually(lambda: self.window.focus()["focus"] == window, what="the focus")

    def place_of(self, row):
        self.driver.ask("send", window=self.list, message=LVM_ENSUREVISIBLE, wparam=row)
        return self.driver.ask("row_place", window=self.list, row=row)

    def click_row(self, row, button=1, times=1):
        place = self.place_of(row)
        at = (place["left"] + 12, (place["top"] + place["bottom"]) // 2)
        mouse(self.one.desktop, "mousemove", *at, "click", "--repeat", times, "--delay", 60, button)

    def click_heading(self, column):
        place = self.driver.ask("heading_place", window=self.list, column=column)
        click_at(self.one.desktop, (place["left"] + place["right"]) // 2, (place["top"] + place["bottom"]) // 2)

    def button(self, number):
        place = next(button for button in self.buttons() if button["id"] == number)["place"]
        click_at(self.one.desktop, place["left"] + 12, (place["top"] + place["bottom"]) // 2)

    # -- boxes and menus ----------------------------------------------------------------------
    def box(self, text):
        return self.one.box(text)

    def answer(self, text, button):
        box = self.box(text)
        box.click(button)
        box.wait_until_gone()

    def nothing_opened(self):
        """Neither a box nor another window over this one."""
        self.settle()
        return [w for w in self.driver.windows(process=self.one.main.process, visible=True)
                if w.title and w.handle != self.window.handle] == []

    def open_menu(self, how):
        how()
        return self.driver.window(kind="#32768", visible=True, process=self.one.main.process)

    def menu(self, how=None):
        """The items of the context menu, which is closed again."""
        menu = self.open_menu(how or (lambda: self.key("shift+F10")))
        items = self.driver.menu_items(menu)
        self.window.post(WM_KEYDOWN, VK_ESCAPE)
        menu.wait_until_gone()
        return items

    def command_of(self, text):
        """The number of an item of the menu by its text without the underlined letter and the key."""
        items = self.menu()
        found = [item["id"] for item in items if plain(item["text"]) == text]
        assert found, f"no {text!r} in {[item['text'] for item in items]}"
        return found[0]

    def close(self):
        self.window.close_box()
        self.window.wait_until_gone()

    def viewer(self):
        return self.driver.dialog(VIEWER_TITLE, process=self.one.main.process)


class Bin(MailList):
    def __init__(self, one, rows=None):
        super().__init__(one, COMMAND_BIN, BIN_TITLE, BIN_LIST, rows)


class Training(MailList):
    def __init__(self, one, rows=None):
        super().__init__(one, COMMAND_TRAINING, TRAINING_TITLE, TRAINING_LIST, rows)


def mouse(desktop, *what):
    subprocess.run([need("xdotool", "xdotool"), *map(str, what)], env=desktop.environment, stdin=subprocess.DEVNULL,
                   check=True, timeout=30)


def plain(text):
    return text.partition("\t")[0].replace("&", "")


def whole_text(window, number):
    return window.driver.ask("whole_text", window=window.control(number)["window"])


def name_file(box, path):
    """Answers a box of the system for opening or saving a file."""
    edit = next(one["window"] for one in box.controls() if one["id"] & 0xFFFF in FILE_NAMES)
    assert box.driver.ask("set_text", window=edit, text="Z:" + path.replace("/", "\\"))
    box.click(IDOK)
    box.wait_until_gone()


def put_help(one):
    """A help program that notes how it is called."""
    shutil.copy(os.path.join(tools(), "empty_program.exe"), one.path("help.exe"))


def help_calls(one):
    """How often the help was called."""
    return len(one.read("help.log").decode("utf-16-le").splitlines())


def use_shared_keys(one, window, second_text):
    """What the keys of both windows do in a list of three mails of which the second has that text."""
    put_help(one)
    eventually(window.has_focus, what="the focus in the list")
    window.key("ctrl+a")
    eventually(lambda: window.selected() == [0, 1, 2], what="all rows selected")
    window.key("F1")
    eventually(lambda: help_calls(one) == 1, what="the help")
    window.key("Delete")
    window.answer(DELETE_SEVERAL, IDNO)
    window.select(1)
    # Without a window manager nobody gives the keyboard back when a box has closed.
    for act in (lambda: window.press(VK_RETURN), lambda: window.click_row(1, times=2)):
        act()
        viewer = window.viewer()
        assert second_text in whole_text(viewer, VIEWED_TEXT)
        viewer.post(WM_KEYDOWN, VK_ESCAPE)
        viewer.wait_until_gone()
    window.button(HELP)
    eventually(lambda: help_calls(one) == 2, what="the help by the toolbar")
