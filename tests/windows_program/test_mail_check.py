# SPDX-License-Identifier: MIT
"""A mail check as a person sees it: the icon that moves, the bubble, the number of deleted messages."""

import select
import threading
import time

import pytest

import mail_clients
from desktop import SCREEN, TRAY_HEIGHT
from dovecot import PASSWORD
from driver import (IDCANCEL, PBM_GETPOS, VK_ESCAPE, WM_CLOSE, WM_COMMAND, WM_INITDIALOG, WM_KEYDOWN, WM_USER,
                    WS_EX_TOPMOST)
from icons import ANIMATION, PLAIN, Tray, click_at
from messages import ham, message, spam
from program import day_number, eventually
from windows_program import COMMAND_SWITCH_FILTER, LEFT_UP

STATUS, ACTIVITY, BAR, SPAM_COUNT, CANCEL = 1033, 1034, 1036, 1037, 1042
IDLE = "Quillbeaker 1.7.1"


class Held:
    """A server that answers honestly, but its answer to a command only when it is let go."""

    def __init__(self, upstream, command, after=0):
        self.upstream = upstream
        self.command = command
        self.after = after
        self.free = threading.Event()
        upstream.when(command, self._answer)

    def _answer(self, session, line):
        if self.upstream.count(self.command) > self.after:
            while not self.free.is_set():
                session.pause(0.01)
        session.default(line)

    def wait(self):
        self.upstream.wait_for_command(self.command, self.after + 1)
        return self

    def go(self):
        self.free.set()


@pytest.fixture
def session(client, server):
    """session(program, messages, hold=command): a mail check that stands still at a command of the server."""
    held = []

    def begin(one, *messages, hold="RETR", after=0):
        upstream = server(*messages, uid_prefix=b"s%d" % len(held))
        held.append(Held(upstream, hold, after))
        raw = client(one).login(upstream.port)
        raw.send(b"STAT\r\n")
        return raw, held[-1].wait()

    yield begin
    for one in held:
        one.go()


def check(client, server, one, *messages, prefix=b"c"):
    """A whole mail check without a stop."""
    upstream = server(*messages, uid_prefix=prefix)
    raw = client(one).login(upstream.port)
    raw.stat()
    raw.quit()
    raw.close()
    eventually(lambda: not one.has_bubble(), what="the end of the session")


# -- with a real server and a real client -------------------------------------------------------
def test_a_real_mail_check(program, dovecot, picture):
    one = program()
    tray = Tray(one)
    wanted, unwanted = [ham(n) for n in range(1, 41)], [spam(n) for n in range(1, 4)]
    dovecot.mailbox("wine", [m for pair in zip(wanted, unwanted) for m in pair] + wanted[3:])
    mpop = mail_clients.Mpop()
    got = []

    def fetch():
        got.append(mpop.fetch(one.port, f"127.0.0.1&wine&{dovecot.port}", PASSWORD))

    fetching = threading.Thread(target=fetch)
    try:
        fetching.start()
        bubble = one.bubble()
        seen = set()
        while fetching.is_alive():
            seen.update(c["text"].split(" ")[0] for c in bubble.controls() if c["id"] == ACTIVITY)
    finally:
        fetching.join(60)
        mpop.close()
    assert got[0].code == 0, got[0].output
    assert len(got[0].messages) == 40
    assert seen & {"Connecting", "Receiving", "Closing"}
    bubble.wait_until_gone()
    eventually(lambda: dovecot.left("wine") == 40, what="the end of the spam on the server")
    assert len(one.bin_files()) == 3
    assert tray.tooltip() == IDLE + " - 3 messages deleted"
    assert tray.shown(upper_half=True) == PLAIN and tray.shown() is None
    picture("icon-with-count", tray.place, margin=4)


# -- the bubble ---------------------------------------------------------------------------------
def test_the_bubble(program, session, other_window, picture):
    one = program()
    other = other_window()
    raw, held = session(one, ham(1), ham(2), spam(3), spam(4), after=3)  # the last is asked for first
    bubble = one.bubble()
    eventually(lambda: bubble.control(SPAM_COUNT)["text"] == "Spam messages: 2", what="the spam count")
    eventually(lambda: bubble.control(ACTIVITY)["text"] == "Receiving message 4 (0 kb) of 4...", what="the last text")
    assert bubble.title == "Quillbeaker"
    assert bubble.ex_style & WS_EX_TOPMOST
    work = one.driver.work_area()
    assert work["bottom"] == SCREEN[1] - TRAY_HEIGHT  # so that the corner is not the screen's
    assert bubble.place == {"left": work["right"] - 250, "top": work["bottom"] - 200,
                            "right": work["right"] + 1, "bottom": work["bottom"] + 1}
    shape = one.driver.ask("shape", window=bubble.handle, points=[[0, 0], [250, 0], [125, 0], [0, 100], [1, 1]])
    assert shape["inside"] == [False, False, True, True, False]
    assert other.focus()["foreground"] == other.handle
    picture("bubble", bubble.place)
    texts = {c["id"]: c["text"] for c in bubble.controls()}
    assert texts[STATUS] == "" and texts[CANCEL] == "Cancel"
    bar = one.driver.ask("send", window=bubble.control(BAR)["window"], message=PBM_GETPOS)
    assert 700 < bar < 1000  # three of four messages, of a thousand steps
    held.go()
    assert raw.line().startswith(b"+OK 2 ")
    raw.quit()
    bubble.wait_until_gone()


def test_the_parts_of_the_bubble_stand_apart(program, session, picture):
    one = program()
    raw, held = session(one, *[message(body=b"x" * 70 + b"\r\n") * 1500] * 12, after=11)
    bubble = one.bubble()
    places = [bubble.control(number)["place"] for number in (STATUS, ACTIVITY, BAR, SPAM_COUNT, CANCEL)]
    for upper, lower in zip(places, places[1:]):
        assert upper["bottom"] <= lower["top"]
    for place in places:
        assert bubble.client["left"] < place["left"] and place["right"] < bubble.client["right"]
    assert places[-1]["bottom"] < bubble.client["bottom"]
    eventually(lambda: bubble.control(ACTIVITY)["text"].startswith("Receiving message 12 ("), what="the last text")
    picture("bubble-large-messages", bubble.place)
    held.go()
    raw.line()


def test_the_bubble_connects(program, client, server, picture):
    one = program()
    upstream = server(ham(1))
    held = Held(upstream, "USER")
    raw = client(one)
    assert raw.user(upstream.port) == b"+OK Username accepted"
    raw.send(b"PASS secret\r\n")
    held.wait()
    bubble = one.bubble()
    eventually(lambda: bubble.control(ACTIVITY)["text"] == 'Connecting to "127.0.0.1"...', what="the first text")
    picture("bubble-connecting", bubble.place)
    held.go()
    assert raw.line() == b"+OK Password accepted"


@pytest.mark.parametrize("way", ["click", "escape", "close"])
def test_hiding_the_bubble(program, session, desktop, way):
    """Only its cancel button cancels; a click on the icon brings it back."""
    one = program()
    tray = Tray(one)
    raw, held = session(one, ham(1), ham(2), after=1)
    bubble = one.bubble()
    if way == "click":
        click_at(desktop, bubble.place["left"] + 200, bubble.place["top"] + 15)
    elif way == "escape":
        bubble.post(WM_KEYDOWN, VK_ESCAPE)
    else:
        bubble.post(WM_CLOSE)
    bubble.wait_until_gone()
    tray.click(1)
    assert one.bubble().handle == bubble.handle
    held.go()
    assert raw.line() == b"+OK 2 %d" % int(raw_size(raw))
    raw.quit()


def raw_size(raw):
    return raw.ask("STAT").split()[2]


def test_cancelling(program, session, picture):
    """The command that is being carried out is answered, then the session ends; nothing of it is deleted."""
    one = program()
    raw, held = session(one, spam(1), ham(2), spam(3), after=1)
    bubble = one.bubble()
    bubble.click(CANCEL)
    eventually(lambda: not bubble.control(CANCEL)["enabled"], what="the button's effect")
    picture("bubble-cancelled", bubble.place)
    held.go()
    assert raw.line().startswith(b"+OK")
    raw.ended()
    bubble.wait_until_gone()
    assert held.upstream.numbers() == [1, 2, 3]


def test_what_came_before_a_cancel_is_not_fetched_again(program, client, session):
    one = program()
    raw, held = session(one, ham(1), ham(2), ham(3), after=1)  # the last is asked for first
    bubble = one.bubble()
    bubble.click(CANCEL)
    eventually(lambda: not bubble.control(CANCEL)["enabled"], what="the button's effect")
    held.go()
    assert raw.line().startswith(b"+OK")
    raw.ended()
    raw = client(one).login(held.upstream.port)
    assert raw.stat()[0] == 3
    raw.quit()
    assert held.upstream.count("RETR 3") == 1
    assert b"(message kept from an earlier session)" in one.server_log()


def test_the_keyboard_in_the_bubble(program, session, desktop, other_window):
    """It comes by a click on the button, never by itself, and goes back with Esc."""
    one = program()
    other = other_window()
    raw, held = session(one, ham(1), ham(2), after=1)
    bubble = one.bubble()
    assert other.focus()["foreground"] == other.handle
    place = bubble.control(CANCEL)["place"]
    click_at(desktop, (place["left"] + place["right"]) // 2, (place["top"] + place["bottom"]) // 2)
    eventually(lambda: not bubble.control(CANCEL)["enabled"], what="the button's effect")
    eventually(lambda: bubble.focus()["foreground"] == bubble.handle, what="the bubble in front")
    assert bubble.stands()
    # Not with the button, which is disabled now and would swallow keys.
    assert bubble.focus()["focus"] == bubble.handle
    bubble.post(WM_KEYDOWN, VK_ESCAPE)
    bubble.wait_until_gone()
    eventually(lambda: other.focus()["foreground"] == other.handle, what="the other window in front again")
    held.go()
    raw.line()


def test_a_click_that_hides_the_bubble_leaves_the_keyboard(program, session, desktop, other_window):
    one = program()
    other = other_window()
    raw, held = session(one, ham(1), ham(2), after=1)
    bubble = one.bubble()
    click_at(desktop, bubble.place["left"] + 200, bubble.place["top"] + 15)
    bubble.wait_until_gone()
    assert other.focus()["foreground"] == other.handle
    held.go()
    raw.line()


def test_without_a_bubble(program, session):
    one = program({"ShowBubble": 0})
    raw, held = session(one, ham(1))
    one.main.send(0)
    assert not one.has_bubble()
    one.tray(LEFT_UP)
    bubble = one.bubble()
    held.go()
    raw.line()
    raw.quit()
    bubble.wait_until_gone()
    one.tray(LEFT_UP)
    one.main.send(0)
    assert not one.has_bubble()


# -- the icon -----------------------------------------------------------------------------------
def test_the_icon_moves(program, session):
    """A new picture every tenth of a second, in the order of the animation."""
    one = program()
    tray = Tray(one)
    raw, held = session(one, ham(1))
    seen = tray.watch(1700)
    # None: while it was being drawn, after which the same one may be seen again.
    drawn = [number for _, number in seen if number is not None]
    shown = [number for before, number in zip([None, *drawn], drawn) if number != before]
    assert set(shown) == set(ANIMATION), seen
    steps = list(zip(shown, shown[1:]))
    following = dict(zip(ANIMATION, ANIMATION[1:] + ANIMATION[:1]))
    # A busy machine may lose one.
    assert sum(following[a] == b for a, b in steps) >= len(steps) * 0.7, seen
    assert 8 <= len(shown) <= 18, seen
    held.go()
    raw.line()
    raw.quit()
    eventually(lambda: tray.shown() == PLAIN, what="the plain icon")


def test_deleted_messages_are_counted(program, client, server, picture):
    one = program({"TrayNumSeconds": 60})
    tray = Tray(one)
    eventually(lambda: tray.shown() == PLAIN, what="the plain icon")
    assert tray.tooltip() == IDLE
    check(client, server, one, spam(1), ham(2), spam(3), prefix=b"a")
    assert tray.tooltip() == IDLE + " - 2 messages deleted"
    red, white = tray.badge()
    assert red > 20 and white > 5
    check(client, server, one, spam(4), spam(5), spam(6), prefix=b"b")
    assert tray.tooltip() == IDLE + " - 5 messages deleted"
    picture("icon-5", tray.place, margin=4)
    # A check that deletes nothing leaves the number.
    check(client, server, one, ham(7), prefix=b"c")
    assert tray.shown() is None and tray.badge()[0] > 20
    one.write("Quillbeaker.ini", one.read("Quillbeaker.ini") + b"[OPTIONALMESSAGEBOXES]\nFilterDisableWarning=1\n")
    one.command(COMMAND_SWITCH_FILTER)
    eventually(lambda: tray.shown() == PLAIN, what="the plain icon")


def test_no_to_the_question_clears_the_number_too(program, client, server):
    one = program({"TrayNumSeconds": 60})
    tray = Tray(one)
    check(client, server, one, spam(1))
    eventually(lambda: tray.badge()[0] > 20, what="the number")
    one.command(COMMAND_SWITCH_FILTER)
    one.box("disable the spam filter").click(7)
    eventually(lambda: tray.shown() == PLAIN, what="the plain icon")


@pytest.mark.parametrize("seconds", [1, 0, -5])
def test_the_number_goes_after_its_time(program, client, server, seconds):
    """Less than a second counts as one."""
    one = program({"TrayNumSeconds": seconds})
    tray = Tray(one)
    check(client, server, one, spam(1))
    began = time.monotonic()
    eventually(lambda: tray.badge()[0] > 20, what="the number")
    eventually(lambda: tray.shown() == PLAIN, what="the plain icon")
    assert 0.5 < time.monotonic() - began < 3


def test_a_very_long_time_is_no_short_one(program, client, server):
    one = program({"TrayNumSeconds": 4294968})  # 704 milliseconds, if it were cut to 32 bits
    tray = Tray(one)
    check(client, server, one, spam(1))
    eventually(lambda: tray.badge()[0] > 20, what="the number")
    began = time.monotonic()
    while time.monotonic() - began < 1.5:
        assert tray.badge()[0] > 20
        time.sleep(0.1)


def made_up_messages(one):
    """Everything around the program's own messages, as another program of the user might send it."""
    windows = [one.main, *one.driver.message_only("QuillbeakerQueue", one.main.process)]
    assert len(windows) == 3  # its main window, and the queues of the mail check and of the windows
    for window in windows:
        for number in range(150, 171):
            for parameters in ((0, 1), (1, 1), (0, 0), (3, 0x10000)):
                assert window.send(WM_USER + number, *parameters) == 0
                window.post(WM_USER + number, *parameters)


def test_made_up_messages_do_no_harm(program, client, server, session):
    """Before, during and after a mail check: the program lives on, and serves mail."""
    one = program()
    tray = Tray(one)
    made_up_messages(one)
    eventually(lambda: not one.has_bubble(), what="the end of the session that there was none")
    raw, held = session(one, ham(1), spam(2))
    for parameter in (0, 1):
        assert one.bubble().send(WM_INITDIALOG, 0, parameter) == 0
    made_up_messages(one)
    held.go()
    assert raw.line().startswith(b"+OK 1 ")
    raw.quit()
    raw.close()
    eventually(lambda: len(one.bin_files()) == 1, what="the spam in the bin")
    made_up_messages(one)
    assert not one.driver.windows(title="Fatal error")
    check(client, server, one, spam(3), ham(4), spam(5), prefix=b"d")
    # No number that a message carried was believed.
    assert tray.tooltip() == IDLE + " - 3 messages deleted"


def test_every_end_of_a_session_starts_the_time_anew(program, client, server):
    one = program({"TrayNumSeconds": 4})
    tray = Tray(one)
    check(client, server, one, spam(1), prefix=b"a")
    first = time.monotonic()
    while time.monotonic() - first < 1.5:
        time.sleep(0.1)
    check(client, server, one, ham(1), prefix=b"b")
    assert tray.badge()[0] > 20
    eventually(lambda: tray.shown() == PLAIN, what="the plain icon")
    assert time.monotonic() - first > 5


# -- what every session begins with -------------------------------------------------------------
def test_old_messages_go_once_a_day(program, client, server):
    one = program({"RecycleBinMaxDays": 10, "TrainingAreaMaxDays": 3})

    def add_old(name):
        one.bin_entry(name, b"Subject: old\r\n\r\nold\r\n", "jane @ 127.0.0.1", date=str(day_number() - 20))

    add_old("old1.recycle")
    assert one.bin_files() == ["old1.recycle"]  # the start of the program removes nothing
    check(client, server, one, ham(1), prefix=b"a")
    assert one.bin_files() == [] and one.bin_entries() == []
    assert one.setting("RecycleOldMessagesLast") == str(day_number())
    assert one.setting("TrainingAreaDeleteOldMessagesLast") == str(day_number())
    add_old("old2.recycle")
    check(client, server, one, ham(2), prefix=b"b")
    assert one.bin_files() == ["old2.recycle"]


def test_the_bubble_tells_of_the_purge(directory, client):
    """While it lasts: the listener's thread does it, and the windows' thread is free."""
    one = directory()
    one.configure({"RecycleBinMaxDays": 10})
    names = [f"{number}.recycle" for number in range(3000)]
    for name in names:
        one.write("recycle/" + name, b"Subject: old\r\n\r\nold\r\n")
    one.write("recycle/recyclebin.xml", '<?xml version="1.0" encoding="ISO-8859-1"?>\n<recyclebin>' + "".join(
        f'<recyclefile name="{name}" date="{day_number() - 20}" time="10:00" subject="old" sender="" address="" '
        'size="19"/>' for name in names) + "</recyclebin>")
    one.start()
    raw = client(one, greeting=False)
    bubble = one.bubble()
    seen = set()
    while not select.select([raw.sock], [], [], 0)[0]:
        seen.add(bubble.control(STATUS)["text"])
    assert "Deleting old messages from recycle bin..." in seen
    assert raw.line().startswith(b"+OK")
    eventually(lambda: bubble.control(STATUS)["text"] == "", what="an empty status")
    assert one.bin_files() == []


def test_greeting_waits_for_the_purge(program, client):
    """The client is greeted when the session has begun on the screen, not before."""
    one = program()
    client(one)
    assert one.has_bubble()
    assert one.main.send(WM_COMMAND, IDCANCEL) == 0
