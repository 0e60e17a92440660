# SPDX-License-Identifier: MIT
"""The window of the recycle bin: what it shows, what its commands do to the bin, and that it follows the mail checks
while it is open."""

import os
import re
import threading
import time

import pytest

from driver import IDCANCEL, IDNO, IDOK, IDYES, VK_ESCAPE, WM_COMMAND, WM_KEYDOWN
from icons import click_at
from mail_lists import (ALREADY_LISTED, APART, BEFRIEND, BLOCK, DELETE, DELETE_ONE, DELETE_SEVERAL, EMPTY_BIN,
                        HELP, NEXT_MAIL, PREVIOUS_MAIL, RESET_ACCOUNT, RESTORE, RESTORE_AND_TRUST,
                        SENDER_ADDRESS, SENDER_NAME, VIEW, VIEWED_TEXT, VK_DELETE, WHY, Bin, name_file, plain,
                        use_shared_keys, whole_text)
from messages import ham, message, spam
from program import day_number, eventually

SENDER, SUBJECT, DATE, WORDS, PROBABILITY, ACCOUNT, SIZE = range(7)
COLUMNS = ["Sender", "Subject", "Date", "Spam Words", "Probability of Spam", "Mail account", "Size"]
MENU = [(VIEW, "&View message\tEnter"), (BLOCK, "&Add sender to blocked senders list"),
        (BEFRIEND, "Add sender to my &friends"), (RESTORE, "&Restore"), (DELETE, "&Delete\tDel"),
        (RESET_ACCOUNT, "&Reset account information"), (EMPTY_BIN, "&Empty bin")]
RESTORE_ONE = "Do you really want to restore this message?"
RESTORE_SEVERAL = "Do you really want to restore these messages?"
RESTORED_ONE = ("The message has been restored.\n"
                "It will be sent to your Email client the next time you check for mails.")
RESTORED_SEVERAL = ("The messages have been restored.\n"
                    "They will be sent to your Email client the next time you check for mails.")
EMPTY_QUESTION = "Do you really want to empty the recycle bin?\nAll messages will be deleted irreversibly."
INDEX = "recycle/recyclebin.xml"


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


def check(client, server, one, *messages, prefix=b"c"):
    upstream = server(*messages, uid_prefix=prefix)
    raw = client(one).login(upstream.port)
    offered = raw.stat()[0]
    raw.quit()
    raw.close()
    eventually(lambda: not one.has_bubble(), what="the end of the session")
    return offered


def status_of(count, kilobytes):
    return f"{count} messages - {kilobytes:.2f} KB"


def save_counter(one):
    """How often the index was replaced: call what it gives to end the watch."""
    path = one.path(INDEX)
    first = os.stat(path).st_ino
    seen = [first]
    over = threading.Event()

    def watch():
        while not over.is_set():
            try:
                now = os.stat(path).st_ino
            except FileNotFoundError:
                continue
            if now != seen[-1]:
                seen.append(now)
            time.sleep(0.0005)

    watching = threading.Thread(target=watch)
    watching.start()

    def end():
        over.set()
        watching.join()
        return len(seen) - 1

    return end


# -- what it shows --------------------------------------------------------------------------------------------

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


def test_keys_act_in_the_list_alone(bin_of):
    one, window = bin_of(3)
    use_shared_keys(one, window, "buy zorkmoney today, number 2")
    # The search field comes last in the order of Tab, and the keys of the list do nothing there.
    window.focus(window.list)
    order = []
    while not order or order[-1] != window.list:
        assert len(order) < 12
        before = window.window.focus()["focus"]
        window.driver.ask("post", window=before, message=WM_KEYDOWN, wparam=0x09)
        eventually(lambda b=before: window.window.focus()["focus"] != b, what="another focus")
        order.append(window.window.focus()["focus"])
    search = next(c for c in window.window.controls() if c["class"] == "Edit")
    assert order[-2] == search["window"]
    window.focus(search["window"])
    window.select(1)
    window.focus(search["window"])
    for name in ("Delete", "Return", "ctrl+a"):
        window.key(name)
    time.sleep(0.3)
    assert window.nothing_opened() and window.selected() == [1] and window.count() == 3
    # With nothing selected the commands do nothing.
    window.select()
    for command in (RESTORE, DELETE, BLOCK, BEFRIEND, RESET_ACCOUNT):
        window.command(command)
    assert window.nothing_opened()
    assert subjects(one) == ["offer 1", "offer 2", "offer 3"]


def test_sorting_by_value(program):
    one = program()
    for number, (date, size, probability) in enumerate(
            [("2460000", "900", "0.2000"), ("2459999", "10000", "1.1000"), ("2460001", "1500", "0.9000")], 1):
        put(one, number, date=date, size=size, probability=probability)
    window = Bin(one, 3)
    assert window.column(SUBJECT) == ["offer 1", "offer 2", "offer 3"]
    window.select(0)
    for column, order in ((SIZE, [1, 3, 2]), (DATE, [2, 1, 3]), (PROBABILITY, [1, 3, 2])):
        window.click_heading(column)
        eventually(lambda o=order: window.column(SUBJECT) == [f"offer {n}" for n in o], what=f"order {order}")
        assert window.selected() == [order.index(1)]  # the same mail still
    heading = window.seen(0)["headings"][PROBABILITY]
    assert heading["up"] and not heading["down"]
    time.sleep(APART)
    window.click_heading(PROBABILITY)
    eventually(lambda: window.column(SUBJECT) == ["offer 2", "offer 3", "offer 1"], what="the other way round")
    assert window.selected() == [2]
    window.close()
    window = Bin(one, 3)
    assert window.column(SUBJECT) == ["offer 2", "offer 3", "offer 1"]
    assert window.seen(0)["headings"][PROBABILITY]["down"]


# -- commands ------------------------------------------------------------------------------------------------

def test_restoring(bin_of, server, client):
    one, window = bin_of(3)
    window.select(1)
    window.button(RESTORE)
    window.answer(RESTORE_ONE, IDNO)
    assert "restored" not in one.bin_entries()[1]
    window.command(RESTORE)
    window.answer(RESTORE_ONE, IDYES)
    notice = window.box(RESTORED_ONE)
    assert [entry.get("restored") for entry in one.bin_entries()] == [None, "1", None]
    notice.click(IDOK)
    notice.wait_until_gone()
    assert window.pictures() == [None, 0, None] and window.selected() == [1]
    window.select(0, 1)
    window.command(RESTORE)
    window.answer(RESTORE_SEVERAL, IDYES)
    window.answer(RESTORED_SEVERAL, IDOK)
    assert window.pictures() == [0, 0, None] and window.selected() == [0, 1]
    # The mail client is offered them, and what it takes leaves the window.
    upstream = server(ham(9))
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 3
    for number in (1, 2, 3):
        raw.retr(number)
    raw.quit()
    raw.close()
    eventually(lambda: window.column(SUBJECT) == ["offer 3"], what="the window without what was delivered")
    eventually(lambda: not one.has_bubble(), what="the end of the session")
    # Without the questions and notices, as the person has told them to.
    window.close()


def test_without_questions(program):
    keys = ("RecycleBinRestoreQuestion", "RecycleBinRestoredInformation", "RecycleBinDeleteQuestion",
            "RecycleBinEmptyQuestion")
    one = program(OPTIONALMESSAGEBOXES={key: 1 for key in keys})
    for number in (1, 2, 3):
        put(one, number)
    window = Bin(one, 3)
    window.select(0)
    window.command(RESTORE)
    eventually(lambda: one.bin_entries()[0].get("restored") == "1", what="the mark in the index")
    window.command(DELETE)
    eventually(lambda: window.column(SUBJECT) == ["offer 2", "offer 3"], what="the list without it")
    window.command(EMPTY_BIN)
    eventually(lambda: window.count() == 0 and one.bin_files() == [], what="an empty bin")
    assert window.nothing_opened()


def test_deleting(bin_of):
    one, window = bin_of(6)
    files = one.bin_files()
    window.select(1)
    window.press(VK_DELETE)
    window.answer(DELETE_ONE, IDNO)
    assert window.count() == 6
    window.button(DELETE)
    window.answer(DELETE_ONE, IDYES)
    eventually(lambda: window.count() == 5, what="the list without one")
    assert subjects(one) == ["offer 1", "offer 3", "offer 4", "offer 5", "offer 6"]
    assert one.bin_files() == [name for name in files if name != name_of(2)]
    eventually(lambda: window.status()[1] == status_of(5, 5), what="the new count")
    os.remove(one.path("recycle", name_of(3)))  # a file that is gone does not keep its entry
    window.select(1, 2)
    window.command(DELETE)
    question = window.box(DELETE_SEVERAL)
    # While the question stands the purge takes one of the two.
    index = one.read(INDEX)
    one.write(INDEX, re.sub(rb'<recyclefile name="%s"[^>]*>' % name_of(3).encode(), b"", index))
    assert len(one.bin_entries()) == 4
    question.click(IDYES)
    question.wait_until_gone()
    eventually(lambda: window.column(SUBJECT) == ["offer 1", "offer 5", "offer 6"], what="the list without two")
    assert subjects(one) == ["offer 1", "offer 5", "offer 6"]
    assert window.nothing_opened()
    assert one.bin_files() == [name_of(1), name_of(5), name_of(6)]
    eventually(lambda: window.status()[1] == status_of(3, 3), what="the new count")
    # The close box of the question is an answer as well: the one that the person gave for good before.
    window.select(0)
    window.command(DELETE)
    question = window.box(DELETE_ONE)
    question.close_box()
    question.wait_until_gone()
    eventually(lambda: window.count() == 2, what="the list without it")


def test_resetting_the_account(bin_of):
    one, window = bin_of(3, account="ann @ mailserver")
    window.select(0, 2)
    window.command(RESET_ACCOUNT)
    eventually(lambda: window.column(ACCOUNT) == ["", "ann @ mailserver", ""], what="the empty accounts")
    assert [entry.get("account") for entry in one.bin_entries()] == ["", "ann @ mailserver", ""]
    assert window.selected() == [0, 2] and window.nothing_opened()


def test_adding_senders(bin_of):
    one, window = bin_of(3, senders={"seller3@spam.example": "Known,1"})
    window.select(0)
    window.command(BLOCK)
    small = one.driver.dialog("Add new sender", process=one.main.process)
    assert (small.text(SENDER_NAME), small.text(SENDER_ADDRESS)) == ("Seller", "seller1@spam.example")
    small.click(IDOK)
    small.wait_until_gone()
    eventually(lambda: one.setting("seller1@spam.example", "SENDERS") == "Seller,1", what="the blocked sender")
    # Each of several gets a dialog; one can be left out.
    window.select(0, 1, 2)
    window.command(BEFRIEND)
    for number, button in ((1, IDCANCEL), (2, IDOK)):
        small = one.driver.dialog("Add new sender", containing=f"seller{number}@", process=one.main.process)
        small.click(button)
        small.wait_until_gone()
    small = one.driver.dialog("Add new sender", containing="seller3@", process=one.main.process)
    small.click(IDOK)
    notice = one.driver.dialog("Add new sender", containing=ALREADY_LISTED, process=one.main.process)
    notice.click(IDOK)
    notice.wait_until_gone()
    small.click(IDCANCEL)
    small.wait_until_gone()
    assert one.setting("seller1@spam.example", "SENDERS") == "Seller,1"
    eventually(lambda: one.setting("seller2@spam.example", "SENDERS") == "Seller,2", what="the friend")
    assert one.setting("seller3@spam.example", "SENDERS") == "Known,1"
    # A row tells that its sender is blocked now.
    window.close()
    assert Bin(one, 3).column(WORDS) == ["(Blocked Sender)", "(LF:)", "(Blocked Sender)"]


def test_emptying_lifts_the_filter(bin_of):
    one, window = bin_of(4)
    search = next(c for c in window.window.controls() if c["class"] == "Edit")["window"]
    assert window.driver.ask("set_text", window=search, text="OFFER 3")
    eventually(lambda: window.column(SUBJECT) == ["offer 3"], what="the rows that match")
    assert window.driver.ask("set_text", window=search, text="seller 2")
    eventually(lambda: window.column(SUBJECT) == ["offer 2"], what="the rows of that sender")
    window.button(EMPTY_BIN)
    question = window.box(EMPTY_QUESTION)
    assert window.count() == 4 and window.driver.ask("title", window=search) == ""
    question.click(IDNO)
    question.wait_until_gone()
    assert window.count() == 4 and len(one.bin_files()) == 4
    one.write("recycle/unlisted.recycle", spam(9))
    window.command(EMPTY_BIN)
    window.answer(EMPTY_QUESTION, IDYES)
    eventually(lambda: window.count() == 0, what="an empty list")
    assert one.bin_entries() == [] and one.bin_files() in ([], ["unlisted.recycle"])
    eventually(lambda: window.status()[1] == status_of(0, 0), what="the new count")


# -- the viewer ----------------------------------------------------------------------------------------------

def view(window, row=None):
    """Of that row, or of the one that has the focus."""
    if row is not None:
        window.select(row)
    window.command(VIEW)
    return window.viewer()


def shut(viewer):
    viewer.post(WM_KEYDOWN, VK_ESCAPE)
    viewer.wait_until_gone()


def raw_mail(body, fields=(), sender=b"Ann <ann@example.org>", subject=b"x"):
    head = [b"From: " + sender, b"Subject: " + subject, *fields]
    return b"\r\n".join(head) + b"\r\n\r\n" + body


def test_what_the_viewer_shows(program, picture):
    one = program()
    line = b"a line of twenty-two\r\n"
    html = b"<html><head><style>p {color: red}</style></head><body><p>Buy <b>now</b></p></body></html>\r\n"
    utf8 = [b"Content-Type: text/plain; charset=utf-8"]
    mails = [
        raw_mail(line * 14000),
        raw_mail(html, [b"Content-Type: text/html"]),
        raw_mail("Grüße\r\n".encode(), utf8),
        raw_mail("Grüße\r\n".encode()),
        raw_mail(b"Gr\xfc\xdfe \x80\r\n"),
        raw_mail("привет\r\n".encode("koi8-r"), [b"Content-Type: text/plain; charset=koi8-r"]),
        raw_mail("a\u202eb\u2066c\x07d\te\r\nf\r\n".encode(), utf8),
        raw_mail(b"x" + "é".encode() * 60000 + b"\r\n", utf8),
    ]
    for number, mail in enumerate(mails, 1):
        one.bin_entry(name_of(number), mail, sender="Ann", address="ann@example.org", subject=f"view {number}")
    window = Bin(one, len(mails))
    texts = []
    for row in range(len(mails)):
        viewer = view(window, row)
        texts.append(whole_text(viewer, VIEWED_TEXT))
        said = [c["text"] for c in viewer.controls()]
        assert any("This is the content of the selected message:" in text for text in said)
        assert any("limited to 100kb of plain/text." in text for text in said)
        assert any("ann@example.org" in text for text in said)
        edit = viewer.control(VIEWED_TEXT)
        assert edit["style"] & 0x800  # ES_READONLY
        if row in (1, 2):
            picture(f"viewer-{row}", viewer.place)
        shut(viewer)
    assert len(texts[0]) == 102400 and set(re.split("\r\n", texts[0].strip())[:-1]) == {"a line of twenty-two"}
    assert "Buy now" in " ".join(texts[1].split()) and "<" not in texts[1]
    assert [text.strip() for text in texts[2:6]] == ["Grüße", "Grüße", "Grüße €", "привет"]
    shown = texts[6].strip()
    assert re.fullmatch(r"a.b.c.d\te\r\nf", shown) and not set(shown) & {"\u202e", "\u2066", "\x07"}
    # The cut falls into the middle of a character: that one goes, the others stay what they are.
    assert set(texts[7].strip()) == {"x", "é"}
    assert 102400 - 2 <= len(texts[7].encode()) <= 102400


def test_viewing_what_is_not_there(bin_of):
    one, window = bin_of(3)
    os.remove(one.path("recycle", name_of(2)))
    window.select(0, 1)  # the focused row is viewed, not the first selected one
    viewer = view(window)
    assert any("no longer there" in c["text"] for c in viewer.controls()) and whole_text(viewer, VIEWED_TEXT) == ""
    shut(viewer)
    viewer = view(window, 2)
    os.remove(one.path("recycle", name_of(3)))
    assert "number 3" in whole_text(viewer, VIEWED_TEXT)
    shut(viewer)
    assert window.count() == 3


def test_from_one_mail_to_the_next(bin_of):
    _, window = bin_of(3)
    viewer = view(window, 0)
    for command, number in ((NEXT_MAIL, 2), (NEXT_MAIL, 3), (PREVIOUS_MAIL, 2)):
        viewer.post(WM_COMMAND, command)
        eventually(lambda n=number: f"number {n}" in whole_text(viewer, VIEWED_TEXT), what=f"mail {number}")
    before = viewer.control(VIEWED_TEXT)["place"]
    assert viewer.driver.ask("whole_text", window=viewer.handle) == "View message"
    # The list stays usable; another row is shown in the same window.
    window.select(2)
    window.command(VIEW)
    eventually(lambda: "number 3" in whole_text(viewer, VIEWED_TEXT), what="mail 3")
    assert len(viewer.driver.windows(title="View message", visible=True)) == 1
    assert viewer.control(VIEWED_TEXT)["place"] == before
    window.close()  # and the viewer with it
    viewer.wait_until_gone()


# -- while mail is checked -----------------------------------------------------------------------------------

def test_it_follows_a_mail_check(bin_of, client, server, picture):
    one, window = bin_of(3)
    window.select(1)
    check(client, server, one, spam(21), ham(22), spam(23), prefix=b"a")
    eventually(lambda: window.count() == 5, what="the rows of the new spam")
    assert window.column(SUBJECT) == ["offer 1", "offer 2", "offer 3", *subjects(one)[3:]]
    assert sorted(subjects(one)[3:]) == ["offer 21", "offer 23"]
    assert window.selected() == [1] and window.seen(0)["top"] == 0
    new = window.rows()[3]
    assert new[SENDER] == "Seller" and "zorkmoney" in new[WORDS] and new[PROBABILITY] == "120.00 %"
    assert new[ACCOUNT] == "jane @ 127.0.0.1"
    sizes = [int(entry["size"]) for entry in one.bin_entries()]
    eventually(lambda: window.status()[1] == status_of(5, sum(sizes) / 1024), what="the new count")
    # What a mail check files while a question stands is not undone by the answer.
    window.command(DELETE)
    question = window.box(DELETE_ONE)
    upstream = server(spam(24), uid_prefix=b"b")
    raw = client(one).login(upstream.port)
    raw.stat()
    raw.quit()
    raw.close()
    eventually(lambda: "offer 24" in subjects(one), what="the spam filed under the question")
    question.click(IDYES)
    question.wait_until_gone()
    eventually(lambda: "offer 24" in window.column(SUBJECT) and window.count() == 5, what="the row filed meanwhile")
    assert "offer 2" not in subjects(one) and "offer 24" in subjects(one)
    picture("recycle-bin-after-check", window.window.place)


def test_the_purge_takes_its_rows(program, client, server):
    one = program({"RecycleBinMaxDays": 30})
    for number, age in ((1, 29), (2, 30), (3, 0)):
        put(one, number, date=str(day_number() - age))
    window = Bin(one, 3)
    window.select(2)
    check(client, server, one, ham(1))
    eventually(lambda: window.column(SUBJECT) == ["offer 1", "offer 3"], what="the list without what was old")
    assert window.selected() == [1]
    eventually(lambda: window.status()[1] == status_of(2, 2), what="the new count")


# -- many entries and bad ones -------------------------------------------------------------------------------

def index_of(count, files=False, one=None):
    rows = []
    for number in range(count):
        name = f"2452676_231507_{number:x}.recycle"
        rows.append(f'<recyclefile name="{name}" date="2452676" time="22:15" subject="offer {number}" '
                    f'spamwords="cheap" probability="0.9871" account="ann @ mailserver" sender="Seller" '
                    f'address="seller@spam.example" size="1024"/>')
        if files:
            one.write(f"recycle/{name}", spam(number))
    return '<?xml version="1.0" encoding="ISO-8859-1"?>\n<recyclebin>' + "".join(rows) + "</recyclebin>\n"


def test_fifty_thousand(program):
    one = program()
    one.write(INDEX, index_of(50_000))
    began = time.monotonic()
    window = Bin(one)
    shown = time.monotonic() - began
    eventually(lambda: window.count() == 50_000, what="all rows")
    assert shown < 3
    eventually(lambda: window.status() == ["Ready", status_of(50_000, 50_000)], what="the count")
    window.focus(window.list)
    window.key("End")
    eventually(lambda: window.seen(0)["top"] > 49_000, what="the end of the list")
    window.select(0)
    began = time.monotonic()
    window.click_heading(SUBJECT)
    eventually(lambda: window.seen(2)["rows"][1][SUBJECT] == "offer 1", what="the rows sorted")
    assert time.monotonic() - began < 5
    window.close()


def test_one_save_for_many(program):
    one = program(OPTIONALMESSAGEBOXES={"RecycleBinRestoreQuestion": 1, "RecycleBinRestoredInformation": 1,
                                        "RecycleBinDeleteQuestion": 1})
    one.write(INDEX, index_of(2_000, True, one))
    window = Bin(one, 2_000)
    window.focus(window.list)
    for command, done in ((RESTORE, lambda: one.read(INDEX).count(b'restored="1"') == 2_000),
                          (DELETE, lambda: window.count() == 0)):
        window.key("ctrl+a")
        eventually(lambda: len(window.selected()) == 2_000, what="all selected")
        saves = save_counter(one)
        window.command(command)
        eventually(done, 60, "the end of the command")
        assert saves() == 1
    assert one.bin_entries() == []
    eventually(lambda: one.bin_files() == [], 60, "the end of the files")


def test_hostile_entries(program):
    """Doubled names, names that lead elsewhere, absurd dates and texts: all shown, none believed."""
    one = program()
    one.write("outside.recycle", b"wanted")
    put(one, 1)
    put(one, 1, subject="double")
    one.bin_entry("..\\outside.recycle", subject="outside")
    one.bin_entry("../Quillbeaker.ini", subject="settings")
    put(one, 2, date="25657560", time="99:99", subject="late")
    put(one, 3, date="4294967295", time="aa:bb", size="99999999999999999999", probability="nan", subject="numbers")
    put(one, 4, date="-5", size="-1", probability="-3", subject="negative")
    put(one, 5, subject="long " + "x" * 9_000_000)
    window = Bin(one)
    eventually(lambda: window.count() == 8, what="the rows")
    assert [text[:8] for text in window.column(SUBJECT)] == ["offer 1", "double", "outside", "settings", "late",
                                                             "numbers", "negative", "long xxx"]
    for column in range(7):
        window.click_heading(column)
    window.settle()
    rows = {row[SUBJECT][:8]: place for place, row in enumerate(window.rows())}
    for subject in ("outside", "settings"):
        window.select(rows[subject])
        viewer = view(window)
        assert any("no longer there" in c["text"] for c in viewer.controls())
        shut(viewer)
    window.select(*(rows[subject] for subject in ("outside", "settings", "late")))
    window.command(DELETE)
    window.answer(DELETE_SEVERAL, IDYES)
    eventually(lambda: window.count() == 5, what="the list without them")
    assert one.read("outside.recycle") == b"wanted" and b"[SERVER]" in one.read("Quillbeaker.ini")
    assert {"double", "numbers", "negative"} <= set(subjects(one))


def test_an_unreadable_index(program):
    """A root of another name: an empty list, and the file stays as it is."""
    one = program()
    one.write(INDEX, b"<other><recyclefile name='a.recycle'/></other>")
    window = Bin(one, 0)
    assert window.status()[1] == status_of(0, 0)
    window.command(EMPTY_BIN)
    window.settle()
    assert window.nothing_opened()
    window.close()
    assert one.read(INDEX) == b"<other><recyclefile name='a.recycle'/></other>"


# -- beyond the list -----------------------------------------------------------------------------------------

def test_all_of_a_sender_and_lost_messages(bin_of):
    one, window = bin_of(2)
    window.close()
    put(one, 8, sender="Seller 1", address="seller1@spam.example", subject="offer 1 again")
    window = Bin(one, 3)
    window.select(0)
    window.command(window.command_of("Select all of this sender"))
    eventually(lambda: window.selected() == [0, 2], what="both of that sender")
    one.write("recycle/2452676_231507_ff.recycle", spam(77))
    window.command(window.command_of("Look for lost messages"))
    eventually(lambda: "offer 77" in window.column(SUBJECT), what="the lost message")
    assert "offer 77" in subjects(one)


def test_saving_a_mail(bin_of, tmp_path):
    """As it came, without the dots that stand before dots in the bin."""
    one, window = bin_of(1)
    one.bin_entry(name_of(2), raw_mail(b"..a dot\r\nand the end\r\n"), subject="dots")
    window.close()
    window = Bin(one, 2)
    window.select(1)
    window.command(window.command_of("Save as..."))
    box = eventually(lambda: next((w for w in one.driver.windows(kind="#32770", visible=True,
                                                                 process=one.main.process)
                                   if w.handle != window.window.handle), None), what="the box for a file name")
    path = str(tmp_path / "saved.eml")
    name_file(box, path)
    eventually(lambda: os.path.exists(path) and os.path.getsize(path) > 20, what="the file")
    with open(path, "rb") as file:
        saved = file.read()
    assert saved.rstrip() == raw_mail(b".a dot\r\nand the end").rstrip()
    assert window.nothing_opened()


def test_filter_by_account(program):
    one = program()
    for number, account in enumerate(["ann @ one", "bob @ two", "ann @ one", ""], 1):
        put(one, number, account=account)
    window = Bin(one, 4)
    box = next(c for c in window.window.controls() if c["class"] == "ComboBox")
    texts = window.driver.ask("choices", window=box["window"])["texts"]
    assert {"ann @ one", "bob @ two"} <= set(texts)
    window.driver.ask("send", window=box["window"], message=0x14E, wparam=texts.index("ann @ one"))  # CB_SETCURSEL
    window.driver.ask("send", window=window.window.handle, message=WM_COMMAND, wparam=1 << 16 | box["id"],
                      lparam=box["window"])  # CBN_SELCHANGE
    eventually(lambda: window.column(SUBJECT) == ["offer 1", "offer 3"], what="the rows of that account")
    window.focus(window.list)
    window.key("ctrl+a")
    eventually(lambda: window.selected() == [0, 1], what="those selected")
    window.key("Delete")
    window.answer(DELETE_SEVERAL, IDYES)
    eventually(lambda: subjects(one) == ["offer 2", "offer 4"], what="the bin without those, and no others")


def test_why(program, picture):
    """With today's lists, and it says when they have another verdict than the one that is kept."""
    one = program(senders={"seller3@spam.example": "Seller,2"})
    put(one, 1, spamwords="zorkmoney", probability="1.2000")
    one.bin_entry(name_of(2), ham(2), subject="ham 2", sender="Ann Example", address="ann@example.org",
                  spamwords="quiet", probability="0.9000")
    put(one, 3, spamwords="zorkmoney", probability="1.2000")
    window = Bin(one, 3)
    texts = []
    for row in range(3):
        window.select(row)
        if row == 0:
            window.focus(window.list)
            window.key("ctrl+i")
        else:
            window.command(WHY)
        why = one.driver.dialog("Why was this taken?", process=one.main.process)
        texts.append("\n".join(c["text"] for c in why.controls()))
        picture(f"why-{row}", why.place)
        why.post(WM_COMMAND, IDCANCEL)
        why.wait_until_gone()
    assert "zorkmoney" in texts[0] and "120" in texts[0]
    assert "this message is good" in texts[1] and "have changed since" in texts[1]
    assert "seller3@spam.example" in texts[2]


def test_restore_and_trust(bin_of, picture):
    one, window = bin_of(2, senders={"seller1@spam.example": "Seller,1"})
    window.select(0)
    window.command(RESTORE_AND_TRUST)
    box = eventually(lambda: next((w for w in one.driver.windows(kind="#32770", visible=True,
                                                                 process=one.main.process)
                                   if w.handle != window.window.handle), None), what="the dialog")
    picture("restore-and-trust", box.place)
    box.click(IDOK)
    box.wait_until_gone()
    eventually(lambda: one.bin_entries()[0].get("restored") == "1", what="the mark in the index")
    eventually(lambda: window.status()[0] not in ("", "Ready"), what="a line that says what was done")
    assert one.setting("seller1@spam.example", "SENDERS") == "Seller,2"
    assert window.pictures() == [0, None] and window.nothing_opened()
