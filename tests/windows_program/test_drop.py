# SPDX-License-Identifier: MIT
"""Mail dragged from another program onto the pages of blocked senders and friends, with the mouse."""

import time

import pytest

from driver import IDCANCEL, IDOK
from program import eventually
from settings import BLOCKED, FRIENDS, WORDS, Settings

NAME, ADDRESS, SENDER_LIST = 1013, 1009, 1014
COPY, NONE = 1, 0
MESSAGE_MAIL_DROPPED = 0x400 + 1003
ANN = b"Received: by somebody\r\nFrom: =?iso-8859-1?Q?Ann_M=FCller?= <ann@example.org>\r\nSubject: x\r\n\r\nText\r\n"
BOB = b"From: Bob <bob@example.org>\r\n\r\nText\r\n"
NOBODY = b"Subject: no sender\r\n\r\nText\r\n"


class Page:
    def __init__(self, one, number=FRIENDS):
        self.one = one
        self.settings = Settings(one)
        self.page = self.settings.page(number)

    def place(self, control=SENDER_LIST):
        return self.page.control(control)["place"]

    def dialog(self):
        return self.one.driver.dialog("Add new sender", process=self.one.main.process)

    def expect(self, name, address, button=IDOK):
        box = self.dialog()
        eventually(lambda: (box.text(NAME), box.text(ADDRESS)) == (name, address), what="the sender in the dialog")
        box.click(button)
        box.wait_until_gone()

    def nothing_opens(self):
        time.sleep(0.5)
        return not self.one.driver.windows(title="Add new sender", visible=True)


@pytest.mark.parametrize("form", ["wide-stream", "wide-memory", "bytes-stream", "bytes-memory", "files"])
def test_each_format(program, source, picture, form):
    one = program(senders={})
    page = Page(one)
    drag = source(form, ANN)
    assert drag.drag(page.place()) == f"dropped {COPY} over {COPY}"
    picture(f"drop-{form}", page.dialog().place)
    page.expect("Ann M\xfcller", "ann@example.org")
    eventually(lambda: one.setting("ann@example.org", "SENDERS") == "Ann M\xfcller,2", what="the sender in the file")
    assert page.page.rows(SENDER_LIST)["rows"] == [["Ann M\xfcller", "ann@example.org"]]


def test_several_mails_one_after_the_other(program, source):
    one = program(senders={})
    page = Page(one, BLOCKED)
    assert source("wide-stream", ANN, NOBODY, BOB).drag(page.place()) == f"dropped {COPY} over {COPY}"
    page.expect("Ann M\xfcller", "ann@example.org", IDCANCEL)
    page.expect("Bob", "bob@example.org")
    eventually(lambda: one.setting("bob@example.org", "SENDERS") == "Bob,1", what="the sender in the file")
    assert one.setting("ann@example.org", "SENDERS") is None and page.nothing_opens()


@pytest.mark.parametrize("form, mail", [("text", BOB), ("files", ("mail.txt", BOB))])
def test_other_formats_show_that_they_cannot_be_dropped(program, source, form, mail):
    page = Page(program(senders={}))
    assert source(form, mail).drag(page.place()) == f"dropped {NONE} over {NONE}"
    assert page.nothing_opens()


@pytest.mark.parametrize("form, mail", [("wide-stream", NOBODY), ("wide-memory", b""), ("bytes-memory", b"\0\xff" * 999),
                                        ("count-lie", BOB), ("size-lie", BOB), ("files", NOBODY)])
def test_mail_without_a_sender_and_lies(program, source, form, mail):
    page = Page(program(senders={}))
    assert source(form, mail).drag(page.place()) == f"dropped {NONE} over {COPY}"
    assert page.nothing_opens()
    # The page takes the next one.
    source("wide-memory", BOB).drag(page.place())
    page.expect("Bob", "bob@example.org", IDCANCEL)


def test_storage_is_refused(program, source):
    page = Page(program(senders={}))
    assert f" {NONE} over " in source("wide-storage", BOB).drag(page.place())
    assert page.nothing_opens()


def test_nothing_is_taken_under_a_box_or_by_other_pages(program, source):
    one = program(senders={})
    page = Page(one)
    place = page.place()
    drag = source("wide-stream", BOB)
    page.page.click(1013)
    box = page.dialog()
    outside = {**place, "left": place["right"] - 20, "top": place["bottom"] - 20}
    assert f" {NONE} over " in drag.drag(outside)
    box.click(IDCANCEL)
    box.wait_until_gone()
    page.settings.page(WORDS)
    assert f" {NONE} over " in source("wide-stream", BOB).drag(place)
    assert page.nothing_opens()


def test_no_dialog_opens_over_another_one(program, source):
    """The page's message that mail was dropped comes again while its dialog stands; any program may send it."""
    one = program(senders={})
    page = Page(one)
    source("wide-stream", ANN, BOB).drag(page.place())
    first = page.dialog()
    for shown in page.settings.pages():
        one.driver.ask("post", window=shown["window"], message=MESSAGE_MAIL_DROPPED, wparam=0, lparam=0)
    time.sleep(0.5)
    assert len(one.driver.windows(title="Add new sender", visible=True)) == 1 and first.stands()
    page.expect("Ann M\xfcller", "ann@example.org", IDCANCEL)
    page.expect("Bob", "bob@example.org")
    eventually(lambda: one.setting("bob@example.org", "SENDERS") == "Bob,2", what="the sender in the file")
    assert page.nothing_opens()


def test_the_dialog_closes_with_mail_waiting(program, source):
    one = program(senders={})
    page = Page(one)
    source("wide-stream", ANN, BOB).drag(page.place())
    box = page.dialog()
    page.settings.window.post(0x10)
    box.wait_until_gone()
    page.settings.window.wait_until_gone()
    assert page.nothing_opens()
    again = Page(one)
    source("wide-stream", BOB).drag(again.place())
    again.expect("Bob", "bob@example.org")
