# SPDX-License-Identifier: MIT
"""The settings pages with lists: aggressiveness, spam words, blocked senders and friends."""

import subprocess

import pytest

from desktop import need
from driver import IDCANCEL, IDNO, IDOK, IDYES, VK_ESCAPE, WM_KEYDOWN
from icons import click_at
from program import eventually
from settings import BLOCKED, FRIENDS, LEVELS, WORDS, Settings

LEVEL_LIST, DESCRIPTION, THRESHOLD = 1059, 1060, 1078
DELETE, ADD, EDIT, WORD_LIST, SENDER_LIST, PREDEFINED = 1012, 1013, 1017, 1038, 1014, 1064
SEARCH, COUNT = 1150, 1152
EXPRESSION, PROBABILITY = 1062, 1063
NAME, ADDRESS, WHOLE_DOMAIN, MATCH_NOTE = 1013, 1009, 1150, 1151
VK_TAB, VK_INSERT, VK_DELETE, VK_F2 = 0x09, 0x2D, 0x2E, 0x71
WM_CHAR, WM_NEXTDLGCTL = 0x102, 0x28


def type_in(window, number, text):
    assert window.driver.ask("set_text", window=window.control(number)["window"], text=text)


class Lists(Settings):
    """The dialog on a page with a list."""

    def __init__(self, one, number, control):
        super().__init__(one)
        self.list = control
        self.current = self.page(number)

    def rows(self):
        return self.current.rows(self.list)["rows"]

    def selected(self):
        return self.current.rows(self.list)["selected"]

    def select(self, *rows):
        for row in rows:
            self.current.select_row(self.list, row, add=row != rows[0])
        self.settle()

    def settle(self):
        """What a selection changes comes by a message of its own."""
        self.driver.ask("send", window=self.current.handle, message=0)

    def enabled(self):
        self.settle()
        return [self.current.control(number)["enabled"] for number in (ADD, EDIT, DELETE)]

    def press(self, number):
        self.current.click(number)

    def key(self, code):
        self.driver.ask("post", window=self.current.control(self.list)["window"], message=WM_KEYDOWN, wparam=code)

    def small(self, title):
        return self.driver.dialog(title, process=self.one.main.process)

    def answer(self, containing, button, title="Settings"):
        box = self.box(containing, title)
        box.click(button)
        box.wait_until_gone()


# -- Aggressiveness ---------------------------------------------------------------------------------------

@pytest.fixture
def levels(program):
    def make(settings=None):
        one = program(settings, thresholds={"level25": 90, "level50": 70, "level75": 60})
        return Lists(one, LEVELS, LEVEL_LIST)

    return make


def test_the_levels(levels):
    dialog = levels()
    assert [row[0] for row in dialog.rows()] == ["VERY LOW", "LOW", "NORMAL (recommended)", "HIGH", "VERY HIGH"]
    assert dialog.selected() == [2] and dialog.current.text(THRESHOLD) == "70"
    for row, title, threshold in ((0, "VERY LOW", ""), (1, "LOW", "90"), (3, "HIGH", "60"), (4, "VERY HIGH", "")):
        dialog.select(row)
        assert dialog.current.text(DESCRIPTION).startswith(title + "\n")
        assert dialog.current.text(THRESHOLD) == threshold
        assert dialog.current.control(THRESHOLD)["enabled"] == (threshold != "")


def test_the_threshold_of_a_level(levels):
    dialog = levels()
    one = dialog.one
    dialog.select(1)
    dialog.current.type(THRESHOLD, "88")
    dialog.select(0)
    dialog.select(1)
    assert dialog.current.text(THRESHOLD) == "88"
    dialog.ok()
    assert one.setting("Aggressiveness") == "25"
    user = one.read("spampoints_user.ini").decode()
    assert "level25=88" in user and "level50" not in user and "level0" not in user and "level100" not in user
    # The predefined one again: then the user's file has none.
    dialog = Lists(one, LEVELS, LEVEL_LIST)
    assert dialog.selected() == [1] and dialog.current.text(THRESHOLD) == "88"
    dialog.current.type(THRESHOLD, "90")
    dialog.ok()
    assert "level25" not in one.read("spampoints_user.ini").decode()


# -- Spam words -------------------------------------------------------------------------------------------

@pytest.fixture
def words(program):
    def make(count=0):
        one = program(spam_words={"free": 90, "money": 80, **{f"word{i:05}": i % 101 for i in range(count)}})
        one.write("spampoints_user.ini", "[PROBABILITIES]\r\nmine=33\r\n")
        return Lists(one, WORDS, WORD_LIST)

    return make


def user_words(one):
    text = one.read("spampoints_user.ini").decode("latin-1")
    return dict(line.split("=") for line in text.splitlines() if "=" in line)


def test_the_words(words, picture):
    dialog = words()
    assert dialog.rows() == [["free", "90 %"], ["mine", "33 %"], ["money", "80 %"]]
    assert [heading["text"] for heading in dialog.current.rows(WORD_LIST)["headings"]] == ["Expression",
                                                                                          "Probability of Spam"]
    assert dialog.current.text(COUNT) == "Entries: 3"
    assert dialog.enabled() == [True, False, False]
    dialog.select(0)
    assert dialog.enabled() == [True, True, True]
    dialog.select(0, 1)
    assert dialog.enabled() == [True, False, True]
    picture("settings-words", dialog.window.place)
    dialog.current.check(PREDEFINED, False)
    assert dialog.rows() == [["mine", "33 %"]] and dialog.selected() == [0]
    dialog.ok()
    assert dialog.one.setting("ShowPredefinedWords") == "0"


def test_a_word_is_added(words, picture):
    dialog = words()
    dialog.press(ADD)
    small = dialog.small("Add new expression")
    assert small.focus()["focus_id"] == EXPRESSION and small.default_button() == IDOK
    picture("expression", small.place)
    small.click(IDOK)
    dialog.answer("Enter a value!", IDOK, "Add new expression")
    eventually(lambda: small.focus()["focus_id"] == EXPRESSION, what="the focus in the empty field")
    type_in(small, EXPRESSION, "FREE")
    type_in(small, PROBABILITY, "101")
    small.click(IDOK)
    dialog.answer("Please enter a value between 0 and 100.", IDOK, "Add new expression")
    eventually(lambda: small.focus()["focus_id"] == PROBABILITY, what="the focus in the faulty field")
    type_in(small, PROBABILITY, "100")
    small.click(IDOK)
    dialog.answer("This expression has already been added to the list.", IDOK, "Add new expression")
    type_in(small, EXPRESSION, "a=b")
    small.click(IDOK)
    dialog.answer("Expressions can not contain", IDOK, "Add new expression")
    type_in(small, EXPRESSION, "  zork sale ")
    small.click(IDOK)
    small.wait_until_gone()
    assert dialog.rows()[-1] == ["zork sale", "100 %"] and dialog.selected() == [3]
    assert "zork" not in dialog.one.read("spampoints_user.ini").decode()  # until OK
    dialog.ok()
    assert user_words(dialog.one) == {"mine": "33", "zork sale": "100"}


def test_a_predefined_word_is_edited(words, picture):
    """The user's word beside the predefined one; the file of these is not touched."""
    dialog = words()
    dialog.select(0)
    dialog.press(EDIT)
    small = dialog.small("Edit expression")
    assert small.text(EXPRESSION) == "free" and not small.control(EXPRESSION)["enabled"]
    assert small.focus()["focus_id"] == PROBABILITY
    picture("expression-edit", small.place)
    type_in(small, PROBABILITY, "10")
    small.click(IDOK)
    small.wait_until_gone()
    assert dialog.rows()[:2] == [["free", "10 %"], ["free", "90 %"]] and dialog.selected() == [0]
    dialog.ok()
    assert user_words(dialog.one) == {"mine": "33", "free": "10"}


def test_words_are_deleted(words, picture):
    dialog = words()
    dialog.select(0)
    dialog.press(DELETE)
    dialog.answer("This is a predefined expression", IDOK)
    dialog.select(1)
    dialog.press(DELETE)
    question = dialog.box('Do you really want to delete "mine" from the list?', "Quillbeaker")
    picture("settings-delete-word", question.place)
    question.click(IDNO)
    question.wait_until_gone()
    assert len(dialog.rows()) == 3
    dialog.key(VK_DELETE)
    dialog.answer('Do you really want to delete "mine"', IDYES, "Quillbeaker")
    assert dialog.rows() == [["free", "90 %"], ["money", "80 %"]] and dialog.selected() == [1]
    dialog.ok()
    assert user_words(dialog.one) == {}


def test_the_keys_of_the_list(words, desktop):
    dialog = words()
    dialog.select(1)
    dialog.key(VK_INSERT)
    dialog.small("Add new expression").click(IDCANCEL)
    eventually(lambda: dialog.window.controls() and dialog.enabled() == [True, True, True], what="the page again")
    dialog.key(VK_F2)
    small = dialog.small("Edit expression")
    small.click(IDCANCEL)
    small.wait_until_gone()
    place = dialog.driver.ask("row_place", window=dialog.current.control(WORD_LIST)["window"], row=1)
    subprocess.run([need("xdotool", "xdotool"), "mousemove", str(place["left"] + 10), str(place["top"] + 5), "click",
                    "--repeat", "2", "--delay", "60", "1"], env=desktop.environment, check=True, timeout=30)
    dialog.small("Edit expression").click(IDCANCEL)


def test_finding_a_word(words, picture):
    dialog = words(20_000)
    assert dialog.current.rows(WORD_LIST, 1)["count"] == 20_003
    dialog.current.type(SEARCH, "WORD1234")
    assert dialog.selected() == [2 + 12340 + 1]
    dialog.current.type(SEARCH, "19999")  # nothing begins with it
    assert dialog.selected() == [20_002]
    top = dialog.current.rows(WORD_LIST, 0)["top"]
    assert top > 19_900
    picture("settings-words-search", dialog.window.place)
    # Esc clears the search first, and closes the dialog when there is none.
    search = dialog.current.control(SEARCH)["window"]
    dialog.driver.ask("send", window=dialog.current.handle, message=WM_NEXTDLGCTL, wparam=search, lparam=1)
    dialog.driver.ask("post", window=search, message=WM_KEYDOWN, wparam=VK_ESCAPE)
    eventually(lambda: dialog.current.text(SEARCH) == "", what="an empty search")
    assert dialog.window.stands() and dialog.selected() == [20_002]
    dialog.driver.ask("post", window=search, message=WM_KEYDOWN, wparam=VK_ESCAPE)
    dialog.window.wait_until_gone()


def test_typing_in_the_list(words):
    """The list finds a row by the letters that are typed in it."""
    dialog = words(50)
    the_list = dialog.current.control(WORD_LIST)["window"]
    for letter in "word00030":
        dialog.driver.ask("send", window=the_list, message=WM_CHAR, wparam=ord(letter), lparam=1)
    assert dialog.selected() == [2 + 30 + 1]


def test_tab_in_a_page_with_a_list(words):
    dialog = words()
    dialog.select(1)
    eventually(lambda: dialog.window.focus()["focus_id"] == 1001, what="the focus in the tree")
    order = []
    for _ in range(9):
        before = dialog.window.focus()["focus"]
        dialog.driver.ask("post", window=before, message=WM_KEYDOWN, wparam=VK_TAB)
        eventually(lambda b=before: dialog.window.focus()["focus"] != b, what="another focus")
        order.append(dialog.window.focus()["focus_id"])
    assert order == [WORD_LIST, PREDEFINED, ADD, EDIT, DELETE, SEARCH, IDOK, IDCANCEL, 9]


# -- Senders ----------------------------------------------------------------------------------------------

@pytest.fixture
def senders(program):
    def make(number=FRIENDS):
        one = program(senders={"ann@example.org": "Ann,2", "bob@example.org": "Bob,2", "x@spam.example": "Spammer,1"})
        return Lists(one, number, SENDER_LIST)

    return make


def test_the_senders(senders, picture):
    dialog = senders()
    assert dialog.rows() == [["Ann", "ann@example.org"], ["Bob", "bob@example.org"]]
    assert dialog.current.text(COUNT) == "Entries: 2"
    picture("settings-friends", dialog.window.place)
    dialog.current = dialog.page(BLOCKED)
    assert dialog.rows() == [["Spammer", "x@spam.example"]]


def test_a_sender_is_added_at_once(senders, picture):
    dialog = senders()
    dialog.press(ADD)
    small = dialog.small("Add new sender")
    assert small.focus()["focus_id"] == NAME and small.default_button() == IDOK
    small.click(IDOK)
    dialog.answer("Enter a value!", IDOK, "Add new sender")
    eventually(lambda: small.focus()["focus_id"] == NAME, what="the focus in the empty field")
    type_in(small, NAME, "Carl")
    type_in(small, ADDRESS, "X@spam.example")
    small.click(IDOK)
    dialog.answer("This sender has already been added to this/another list.", IDOK, "Add new sender")
    type_in(small, ADDRESS, "*@*.*")
    eventually(lambda: "every sender" in small.text(MATCH_NOTE), what="the note")
    picture("sender", small.place)
    type_in(small, ADDRESS, "carl@example.net")
    small.click(WHOLE_DOMAIN)
    eventually(lambda: small.text(ADDRESS) == "*@example.net", what="the whole domain")
    small.click(IDOK)
    small.wait_until_gone()
    assert dialog.rows()[-1] == ["Carl", "*@example.net"] and dialog.selected() == [2]
    dialog.cancel()  # takes nothing back
    assert dialog.one.setting("*@example.net", "SENDERS") == "Carl,2"


def test_a_senders_name_alone_can_be_changed(senders):
    dialog = senders()
    dialog.select(1)
    dialog.press(EDIT)
    small = dialog.small("Edit sender")
    assert (small.text(NAME), small.text(ADDRESS)) == ("Bob", "bob@example.org")
    type_in(small, NAME, "Robert")
    small.click(IDOK)
    small.wait_until_gone()
    assert dialog.rows() == [["Ann", "ann@example.org"], ["Robert", "bob@example.org"]]
    assert dialog.one.setting("bob@example.org", "SENDERS") == "Robert,2"


def test_several_senders_are_deleted(senders):
    dialog = senders()
    dialog.select(0, 1)
    dialog.key(VK_DELETE)
    dialog.answer("Do you really want to delete 2 entries from the list?", IDYES, "Quillbeaker")
    eventually(lambda: not dialog.rows(), what="an empty list")
    dialog.cancel()
    assert dialog.one.setting("ann@example.org", "SENDERS") is None
    assert dialog.one.setting("x@spam.example", "SENDERS") == "Spammer,1"


def test_sorting(senders, desktop):
    dialog = senders()
    the_list = dialog.current.control(SENDER_LIST)["window"]
    dialog.select(0)

    def click(column):
        place = dialog.driver.ask("heading_place", window=the_list, column=column)
        click_at(desktop, (place["left"] + place["right"]) // 2, (place["top"] + place["bottom"]) // 2)

    click(0)
    eventually(lambda: dialog.rows()[0][0] == "Bob", what="the other order")
    assert dialog.selected() == [1]  # Ann still
    headings = dialog.current.rows(SENDER_LIST)["headings"]
    assert (headings[0]["down"], headings[0]["up"], headings[1]["up"]) == (True, False, False)
    click(1)
    eventually(lambda: dialog.rows()[0][0] == "Ann", what="the order of the addresses")
    assert dialog.current.rows(SENDER_LIST)["headings"][1]["up"]


def test_quitting_under_a_question_of_a_page(senders):
    dialog = senders()
    dialog.select(0)
    dialog.press(DELETE)
    dialog.box("Do you really want to delete", "Quillbeaker")
    dialog.one.log_off()
    code, seconds = dialog.one.wait_for_end()
    assert code == 0 and seconds < 7
    assert dialog.one.setting("ann@example.org", "SENDERS") == "Ann,2"


@pytest.mark.parametrize("title", ["Add new sender", "Edit sender"])
def test_closing_the_dialog_under_a_small_one(senders, title):
    dialog = senders()
    dialog.select(0)
    dialog.press(ADD if title == "Add new sender" else EDIT)
    small = dialog.small(title)
    dialog.window.post(0x10)
    small.wait_until_gone()
    dialog.window.wait_until_gone()
    assert Settings(dialog.one).shown() == FRIENDS
