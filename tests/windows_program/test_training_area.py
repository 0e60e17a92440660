# SPDX-License-Identifier: MIT
"""The window of the training area: marks, learning, its cancelling and undoing, the question when it is closed."""

import os
import re
import time

import pytest

from driver import IDCANCEL, IDNO, IDOK, IDYES, VK_ESCAPE, WM_COMMAND, WM_KEYDOWN
from learnt import INDEX, put_training, training_entries, training_files, training_name, word_list, words_of
from mail_lists import (APART, BEFRIEND, BLOCK, DELETE, DELETE_ONE, HELP, LEARN, MARK_GOOD, MARK_SPAM,
                        SENDER_ADDRESS, SENDER_NAME, VIEW, VK_DELETE, Training, plain, use_shared_keys)
from messages import ham, message
from program import day_number, eventually
from test_menu import items
from windows_program import COMMAND_EXIT, LEFT_DOUBLE

MARK, SENDER, SUBJECT, DATE, SIZE = range(5)
MENU = [(VIEW, "&View message\tEnter"), (BLOCK, "&Add sender to blocked senders list"),
        (BEFRIEND, "Add sender to my &friends"), (MARK_SPAM, "Mark as &Spam\tS"),
        (MARK_GOOD, "Mark as &Non-Spam\tN"), (LEARN, "&Learn"), (DELETE, "&Delete\tDel")]
LEARN_QUESTION = "Do you want Quillbeaker to learn from selected messages?"
LEARNED = ("Quillbeaker has learned from marked messages.\n"
           "These mails have been removed from the Training Area.")
LEARNING = "Learning..."
LEARNING_TEXT = "Please wait...\\Quillbeaker is learning from marked messages..."
LEARNING_DIALOG_TEXT, LEARNING_BAR = 1117, 1036
UNDO = "Undo last learning"
NO_DATE = 25657560


def text_of(number, words=20):
    return b"\r\n" + b" ".join(b"word%da%d" % (number, n) for n in range(words)) + b" \r\n"


def put(one, number, mark=None, words=20, **attributes):
    return put_training(one, text_of(number, words), day_number(), mark, **{
        "subject": f"mail {number}", "sender": f"Ann {number}", "mail": f"ann{number}@example.org", **attributes})


@pytest.fixture
def area_of(program):
    """area_of(mark, ...): a running program and its window with one text of today for each mark."""

    def make(*marks, senders=None, settings=None):
        one = program(settings, senders=senders)
        for number, mark in enumerate(marks, 1):
            put(one, number, mark)
        return one, Training(one, len(marks))

    return make


def marks(one):
    """1 spam, 0 good, None without a mark."""
    found = [entry.get("mark") for entry in training_entries(one)]
    return [int(mark) if mark in ("0", "1") else None for mark in found]


def close_without_learning(window):
    window.window.close_box()
    window.answer(LEARN_QUESTION, IDNO)
    window.window.wait_until_gone()


# -- what it shows -------------------------------------------------------------------------------------------

def test_what_it_shows(program, picture):
    one = program()
    put_training(one, text_of(1), 2452676, sender="Müller", mail="m@example.org", subject="first", time="09:41")
    put_training(one, text_of(2), NO_DATE, 1, subject="second", time="00:00", size="0")
    put_training(one, text_of(3), 2451545, 0, subject="third", size="1536")
    window = Training(one, 3)
    size = f"{len(text_of(1)) / 1024:.2f} KB"
    assert window.headings()[1:] == ["Sender", "Subject", "Date", "Size"]
    assert [row[1:] for row in window.rows()] == [["Müller", "first", "05.02.2003, 09:41", size],
                                                  ["Ann", "second", "", "0.00 KB"],
                                                  ["Ann", "third", "01.01.2000, 10:00", "1.50 KB"]]
    first, spam_picture, good_picture = window.pictures()
    assert first is None and None not in (spam_picture, good_picture) and spam_picture != good_picture
    assert window.seen(0)["headings"][MARK]["width"] <= 30 and window.headings()[MARK] == ""
    assert [button["text"] for button in window.buttons()] == ["View message", "Delete", "Non-Spam", "Spam", "Learn!",
                                                              "Help"]
    assert [button["id"] for button in window.buttons()] == [VIEW, DELETE, MARK_GOOD, MARK_SPAM, LEARN, HELP]
    assert window.status() == ["Ready", f"3 messages - {(len(text_of(1)) + 1536) / 1024:.2f} KB"]
    assert window.has_focus() and window.selected() == []
    items = [(item["id"], item["text"]) for item in window.menu(lambda: window.click_row(1, 3))]
    assert window.selected() == [1]
    assert [item for item in items if item[0]][:7] == MENU
    behind = items[items.index(MENU[-1]) + 1:]
    assert behind[0][0] == 0 and UNDO in [plain(text).rstrip(".") for _, text in behind]
    letters = [re.search("&(.)", text)[1].lower() for _, text in behind if "&" in text]
    assert len(set(letters)) == len(letters) and not set(letters) & set("vafsnld")
    picture("training-area", window.window.place)
    # How much the filter knows stands in the window.
    said = " ".join(c["text"] for c in window.window.controls() if c["class"] == "Static")
    assert re.search(r"\b0\b.*\b0\b", said)
    close_without_learning(window)
    # A missing index is made by being shown.
    os.remove(one.path(INDEX))
    window = Training(one, 0)
    assert training_entries(one) == [] and b"<training" in one.read(INDEX)
    assert window.status() == ["Ready", "0 messages - 0.00 KB"]
    window.close()


def test_marks(area_of, desktop):
    one, window = area_of(None, None, None)
    plain_row = window.pictures()[0]
    window.command(MARK_SPAM)  # nothing is selected
    window.settle()
    assert marks(one) == [None, None, None]
    eventually(window.has_focus, what="the focus in the list")
    window.select(0, 2)
    window.key("s")
    eventually(lambda: marks(one) == [1, None, 1], what="the marks in the index")
    spam = window.pictures()[0]
    assert window.selected() == [0, 2] and window.pictures() == [spam, plain_row, spam] and spam is not None
    window.key("ctrl+a")
    eventually(lambda: window.selected() == [0, 1, 2], what="all rows selected")
    window.button(MARK_SPAM)
    eventually(lambda: marks(one) == [1, 1, 1], what="all marked")
    window.command(MARK_SPAM)
    eventually(lambda: marks(one) == [None, None, None], what="none marked")
    assert window.pictures() == [plain_row] * 3 and window.selected() == [0, 1, 2]
    window.key("n")
    eventually(lambda: marks(one) == [0, 0, 0], what="all marked as good")
    good = window.pictures()[0]
    assert good not in (spam, None)
    window.select(1)
    window.command(MARK_SPAM)
    eventually(lambda: marks(one) == [0, 1, 0], what="the other mark")
    # They stay when the window is closed without learning.
    close_without_learning(window)
    window = Training(one, 3)
    assert window.pictures() == [good, spam, good] and marks(one) == [0, 1, 0]
    # The end of the program asks nothing and learns nothing.
    one.command(COMMAND_EXIT)
    one.box("Do you really want to quit").click(IDYES)
    code, _ = one.wait_for_end()
    assert code == 0 and marks(one) == [0, 1, 0] and word_list(one, "good") == (0, {})


def test_the_keys(area_of):
    one, window = area_of(None, None, None)
    use_shared_keys(one, window, text_of(2).decode().strip())
    window.select(1)
    window.press(VK_DELETE)
    window.answer(DELETE_ONE, IDYES)
    eventually(lambda: window.column(SUBJECT) == ["mail 1", "mail 3"], what="the list without it")
    assert [entry["subject"] for entry in training_entries(one)] == ["mail 1", "mail 3"]
    assert sorted(training_files(one)) == sorted(training_name(text_of(n)) for n in (1, 3))
    size = len(text_of(1)) + len(text_of(3))
    eventually(lambda: window.status()[1] == f"2 messages - {size / 1024:.2f} KB", what="the new count")


def test_adding_senders(area_of):
    one, window = area_of(None, None)
    window.select(0)
    window.command(BLOCK)
    small = one.driver.dialog("Add new sender", process=one.main.process)
    assert (small.text(SENDER_NAME), small.text(SENDER_ADDRESS)) == ("Ann 1", "ann1@example.org")
    small.click(IDOK)
    small.wait_until_gone()
    eventually(lambda: one.setting("ann1@example.org", "SENDERS") == "Ann 1,1", what="the blocked sender")
    window.select(1)
    window.command(BEFRIEND)
    small = one.driver.dialog("Add new sender", containing="ann2@", process=one.main.process)
    small.click(IDCANCEL)
    small.wait_until_gone()
    assert one.setting("ann2@example.org", "SENDERS") is None
    assert len(training_entries(one)) == 2


def test_sorting(program):
    one = program()
    for number, (date, size) in enumerate([(2460000, "900"), (NO_DATE, "10000"), (2459999, "1500")], 1):
        put_training(one, text_of(number), date, subject=f"mail {number}", size=size)
    window = Training(one, 3)
    window.select(0)
    for column, order in ((SIZE, [1, 3, 2]), (DATE, [3, 1, 2])):
        window.click_heading(column)
        eventually(lambda o=order: window.column(SUBJECT) == [f"mail {n}" for n in o], what=f"order {order}")
        assert window.selected() == [order.index(1)]
    time.sleep(APART)
    window.click_heading(DATE)
    eventually(lambda: window.column(SUBJECT)[-1] == "mail 3", what="the other way round")
    window.close()
    assert Training(one, 3).column(SUBJECT)[-1] == "mail 3"


# -- learning ------------------------------------------------------------------------------------------------

def test_learning(area_of, picture):
    one, window = area_of(1, 0, None, 1)
    os.remove(one.path("training", training_name(text_of(4))))  # learnt from or not, its entry goes
    window.button(LEARN)
    notice = window.box(LEARNED)
    picture("learned", notice.place)
    notice.click(IDOK)
    notice.wait_until_gone()
    assert window.column(SUBJECT) == ["mail 3"]
    assert [entry["subject"] for entry in training_entries(one)] == ["mail 3"]
    assert list(training_files(one)) == [training_name(text_of(3))]
    assert word_list(one, "bad") == (1, words_of(text_of(1), b"mail 1"))
    assert word_list(one, "good") == (1, words_of(text_of(2), b"mail 2"))
    eventually(lambda: window.status() == ["Ready", f"1 messages - {len(text_of(3)) / 1024:.2f} KB"],
               what="the new count")
    said = " ".join(c["text"] for c in window.window.controls() if c["class"] == "Static")
    assert re.search(r"\b1\b.*\b1\b", said)
    # Nothing is marked any more: nothing happens, and closing asks nothing.
    window.command(LEARN)
    assert window.nothing_opened()
    # Once more, and back again: lists, files, entries and marks.
    before = {kind: word_list(one, kind) for kind in ("good", "bad")}
    window.select(0)
    window.command(MARK_SPAM)
    eventually(lambda: marks(one) == [1], what="the mark")
    entries, files = training_entries(one), training_files(one)
    window.command(LEARN)
    window.answer(LEARNED, IDOK)
    assert training_entries(one) == [] and word_list(one, "bad")[0] == 2
    items = {plain(item["text"]).rstrip("."): item["id"] for item in window.menu()}
    window.command(items[UNDO])
    question = one.driver.dialog("Quillbeaker", process=one.main.process)
    question.click(IDYES)
    question.wait_until_gone()
    eventually(lambda: training_entries(one) == entries, what="the entry with its mark")
    eventually(lambda: window.column(SUBJECT) == ["mail 3"], what="the row")
    assert training_files(one) == files
    assert {kind: word_list(one, kind) for kind in ("good", "bad")} == before


def test_closing_with_marks(area_of):
    one, window = area_of(1, 0, None)
    window.window.close_box()
    window.answer(LEARN_QUESTION, IDYES)
    window.answer(LEARNED, IDOK)
    window.window.wait_until_gone()
    assert window.nothing_opened()
    assert [entry["subject"] for entry in training_entries(one)] == ["mail 3"]
    assert word_list(one, "bad")[0] == 1 and word_list(one, "good")[0] == 1
    # Without a mark no question.
    window = Training(one, 1)
    window.close()
    assert one.no_box()


def test_cancelling(program, picture):
    """What was read until then is learnt, the rest stays with its marks; the window waits meanwhile."""
    one = program()
    count = 1500
    lines = []
    for number in range(count):
        text = text_of(number, 400)
        one.write(f"training/{training_name(text)}", text)
        lines.append(f'<message filename="{training_name(text)}" sender="Ann" mail="a@example.org" subject="m" '
                     f'date="{day_number()}" time="10:00" size="{len(text)}" mark="{number % 2}"/>')
    one.write(INDEX, '<?xml version="1.0" encoding="ISO-8859-1"?>\n<training>' + "\n".join(lines) + "</training>\n")
    window = Training(one, count)
    window.command(LEARN)
    progress = one.driver.dialog(LEARNING, process=one.main.process)
    assert progress.text(LEARNING_DIALOG_TEXT) == LEARNING_TEXT
    now = next(w for w in one.driver.windows() if w.handle == window.window.handle)
    assert not now.enabled
    bar = progress.control(LEARNING_BAR)["window"]
    assert window.driver.ask("send", window=bar, message=0x407, wparam=0) == count  # PBM_GETRANGE, its upper end
    assert window.status()[0] == LEARNING
    picture("learning", progress.place)
    eventually(lambda: window.driver.ask("send", window=bar, message=0x408) > 0, what="the first step")  # PBM_GETPOS
    progress.click(IDCANCEL)
    progress.wait_until_gone()
    window.answer(LEARNED, IDOK)
    left = training_entries(one)
    learnt = word_list(one, "good")[0] + word_list(one, "bad")[0]
    assert 0 < learnt < count and len(left) == count - learnt and window.count() == len(left)
    assert len(training_files(one)) == len(left) and all(mark is not None for mark in marks(one))
    now = next(w for w in one.driver.windows() if w.handle == window.window.handle)
    assert now.enabled and window.status()[0] == "Ready"


# -- mail from elsewhere ------------------------------------------------------------------------------------

def mbox(count):
    return b"".join(b"From somebody Thu Jan  1 00:00:00 2026\n" + message(
        subject=f"kept {n}", body=f"letter number {n} of many\r\n").replace(b"\r\n", b"\n") + b"\n"
                    for n in range(count))


def drop(window, drag):
    """Onto the rows; the list is not under the window that the mail comes from."""
    window.driver.ask("move", window=window.window.handle, left=420, top=300)
    return drag.drag(window.window.control(window.number)["place"])


def test_dropped_mail(area_of, source):
    one, window = area_of(None)
    assert drop(window, source("files", message(subject="dropped", body="some words\r\n"))).startswith("dropped 1")
    eventually(lambda: window.column(SUBJECT) == ["mail 1", "dropped"], what="the row of the dropped mail")
    assert [entry["subject"] for entry in training_entries(one)] == ["mail 1", "dropped"]
    drop(window, source("wide-stream", message(subject="streamed", body="other words\r\n")))
    eventually(lambda: "streamed" in window.column(SUBJECT), what="the row of the mail from a mail client")
    drop(window, source("files", ("letters.mbox", mbox(3))))
    eventually(lambda: window.count() == 6, what="the rows of the mailbox")
    assert window.column(SUBJECT)[3:] == ["kept 0", "kept 1", "kept 2"]
    # Many only after a question.
    before = training_entries(one)
    drop(window, source("files", ("many.mbox", mbox(51))))
    question = one.driver.dialog("Quillbeaker", process=one.main.process)
    assert "51" in " ".join(c["text"] for c in question.controls())
    question.click(IDNO)
    question.wait_until_gone()
    window.settle()
    assert training_entries(one) == before and window.nothing_opened()


# -- its place in the program --------------------------------------------------------------------------------

def test_opened_by_a_double_click_though_greyed(program):
    """The menu greys it where nothing is learnt; that concerns the menu alone."""
    one = program({"TrayDblClk": 40014, "FilterLearningEnable": 1, "Enable": 1, "Aggressiveness": 50})
    put(one, 1)
    assert not items(one)[40014]["greyed"]
    usual = one.read("Quillbeaker.ini")
    for before, after in ((b"Enable=1\nAgg", b"Enable=0\nAgg"), (b"Aggressiveness=50", b"Aggressiveness=0"),
                          (b"Aggressiveness=50", b"Aggressiveness=100"),
                          (b"FilterLearningEnable=1", b"FilterLearningEnable=0")):
        assert before in usual
        one.write("Quillbeaker.ini", usual.replace(before, after))
        assert items(one)[40014]["greyed"], after
    one.tray(LEFT_DOUBLE)
    window = Training(one, 1)
    assert len(one.driver.windows(title=window.title, visible=True)) == 1
    window.close()


def test_it_follows_a_mail_check(area_of, server, client):
    one, window = area_of(None, None)
    window.select(1)
    upstream = server(ham(31))
    raw = client(one).login(upstream.port)
    raw.stat()
    raw.quit()
    raw.close()
    eventually(lambda: not one.has_bubble(), what="the end of the session")
    eventually(lambda: window.column(SUBJECT) == ["mail 1", "mail 2", "ham 31"], what="the row of the new mail")
    assert window.selected() == [1]


def test_hostile_entries(program):
    one = program()
    one.write("outside.eml", b"wanted")
    put(one, 1)
    data = one.read(INDEX).decode("latin-1")
    rows = "".join(f'<message filename="{name}" sender="s" mail="m" subject="{subject}" date="{date}" time="{time_}" '
                   f'size="{size}" mark="{mark}"/>' for name, subject, date, time_, size, mark in [
                       ("../outside.eml", "outside", "2452676", "10:00", "10", "1"),
                       ("gone.eml", "gone", "4294967295", "99:99", "-1", "7"),
                       (training_name(text_of(1)), "double", "2452676", "1:1", "99999999999999999999", "x")])
    one.write(INDEX, data.replace("</training>", rows + "</training>"))
    window = Training(one)
    eventually(lambda: window.count() == 4, what="the rows")
    assert window.column(SUBJECT) == ["mail 1", "outside", "gone", "double"]
    window.select(1)
    window.command(VIEW)
    viewer = window.viewer()
    assert any("no longer there" in c["text"] for c in viewer.controls())
    viewer.post(WM_KEYDOWN, VK_ESCAPE)
    viewer.wait_until_gone()
    window.command(DELETE)
    window.answer(DELETE_ONE, IDYES)
    eventually(lambda: window.column(SUBJECT) == ["mail 1", "gone", "double"], what="the list without it")
    assert one.read("outside.eml") == b"wanted"
    window.window.post(WM_COMMAND, IDCANCEL)
    window.window.wait_until_gone()
