# SPDX-License-Identifier: MIT
"""The settings dialog as a person works it."""

from driver import IDCANCEL, IDOK, Window
from program import eventually

COMMAND_SETTINGS = 40004
TREE, PLACE, VERSION, HELP = 1001, 1002, 1003, 9
GENERAL, TRAY, CONNECTION, FILTER, TRAINING = 4008, 4015, 4003, 4010, 4016
LEVELS, WORDS, SENDERS, BLOCKED, FRIENDS = 4009, 4011, 4005, 4001, 4006
# The tree, row by row: page, depth, label.
PAGES = [(GENERAL, 0, "General settings"), (TRAY, 1, "Tray Area"), (CONNECTION, 1, "Connection"),
         (FILTER, 0, "Filter properties"), (TRAINING, 1, "Training Area"), (LEVELS, 1, "Aggressiveness"),
         (WORDS, 1, "Spam Words"), (SENDERS, 0, "Senders"), (BLOCKED, 1, "Blocked Senders"), (FRIENDS, 1, "Friends")]
TVM_SELECTITEM, TVGN_CARET = 0x1100 + 11, 9
CB_SETCURSEL, CBN_SELCHANGE = 0x14E, 1
WM_COMMAND = 0x111


class Page:
    """The page that is shown; its controls are looked up by their numbers."""

    def __init__(self, driver, facts):
        self.driver = driver
        self.facts = facts
        self.handle = facts["window"]

    def controls(self):
        return self.driver.ask("controls", window=self.handle)

    def control(self, number):
        found = [one for one in self.controls() if one["id"] == number]
        assert found, f"the page has no control {number}"
        return found[0]

    def text(self, number):
        return self.control(number)["text"]

    def type(self, number, text):
        assert self.driver.ask("set_text", window=self.control(number)["window"], text=text)

    def click(self, number):
        assert self.driver.ask("click", window=self.handle, id=number)

    def check(self, number, wanted):
        if self.control(number)["checked"] != wanted:
            self.click(number)
            eventually(lambda: self.control(number)["checked"] == wanted, what=f"the tick of {number}")

    def choose(self, number, place):
        box = self.control(number)["window"]
        self.driver.ask("send", window=box, message=CB_SETCURSEL, wparam=place)
        self.driver.ask("send", window=self.handle, message=WM_COMMAND, wparam=CBN_SELCHANGE << 16 | number, lparam=box)

    def choices(self, number):
        return self.driver.ask("choices", window=self.control(number)["window"])

    def rows(self, number, most=100):
        return self.driver.ask("list", window=self.control(number)["window"], most=most)

    def select_row(self, number, row, add=False):
        assert self.driver.ask("select_row", window=self.control(number)["window"], row=row, add=add)


class Settings:
    """Opens the dialog unless it is there."""

    def __init__(self, one, title="Settings", page=None):
        self.one = one
        self.driver = one.driver
        if page is None:
            one.command(COMMAND_SETTINGS)
        self.window = self.driver.dialog(title, process=one.main.process, containing="Quillbeaker 1.7.1")

    def tree(self):
        return self.driver.ask("tree", window=self.window.control(TREE)["window"])

    def shown(self):
        """The number of the page that is shown."""
        selected = [item["data"] for item in self.tree() if item["selected"]]
        assert len(selected) == 1
        return selected[0]

    def pages(self):
        """The windows of all pages that were made."""
        return [one for one in self.window.controls() if one["class"] == "#32770"]

    def page(self, number=None):
        """That page, selected in the tree; without a number the one that is shown."""
        if number is not None:
            item = next(item["item"] for item in self.tree() if item["data"] == number)
            self.window_of_tree().send(TVM_SELECTITEM, TVGN_CARET, item)
            assert self.shown() == number
        visible = [one for one in self.pages() if one["visible"]]
        assert len(visible) == 1, visible
        return Page(self.driver, visible[0])

    def window_of_tree(self):
        return Window(self.driver, self.window.control(TREE))

    def ok(self):
        self.window.click(IDOK)
        self.window.wait_until_gone()

    def cancel(self):
        self.window.click(IDCANCEL)
        self.window.wait_until_gone()

    def box(self, containing, title="Settings"):
        return self.driver.dialog(title, containing=containing, process=self.one.main.process)
