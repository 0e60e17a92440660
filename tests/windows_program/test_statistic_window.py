# SPDX-License-Identifier: MIT
"""The statistics window in the running program: how it opens, what a mail check changes in it, and what it saves."""

import datetime
import os

from driver import IDCANCEL, IDOK, IDYES, VK_RETURN, WM_KEYDOWN
from icons import Tray
from messages import ham, spam
from program import eventually
from windows_program import LEFT_DOUBLE

COMMAND, CAPTION = 40007, "Spam Mail Statistic"
CHART, MAXIMUM, AVERAGE, COPY, SAVE = 1039, 1040, 1041, 1150, 1151
FILE_NAMES, FILE_KINDS = (0x480, 0x47C), 0x470
CB_SETCURSEL = 0x14E
PNG = b"\x89PNG\r\n\x1a\n"


def today():
    return datetime.datetime.now(datetime.timezone.utc).date()


def day_number(date):
    return date.toordinal() + 1721425


def counts(**by_age):
    ages = {int(name[1:]): count for name, count in by_age.items()}
    return {"Days": "".join(f"{day_number(today()) - age}," for age in ages),
            "Mails": "".join(f"{count}," for count in ages.values())}


def opened(one):
    one.command(COMMAND)
    return one.box(title=CAPTION)


def save_as(one, path, kind=None):
    window = one.driver.dialog(CAPTION, process=one.main.process)
    window.click(SAVE)
    box = one.driver.dialog("Save As", process=one.main.process)
    if kind is not None:
        box_of_kinds = box.control(FILE_KINDS)["window"]
        one.driver.ask("send", window=box_of_kinds, message=CB_SETCURSEL, wparam=kind)
        box.post(0x111, FILE_KINDS | 1 << 16, box_of_kinds)  # CBN_SELCHANGE
    edit = next(each["window"] for each in box.controls() if each["id"] & 0xFFFF in FILE_NAMES)
    assert one.driver.ask("set_text", window=edit, text="Z:" + path.replace("/", "\\"))
    box.click(IDOK)
    return box


def test_a_double_click_on_the_icon_opens_it(program):
    one = program({"TrayDblClk": COMMAND}, stats=counts(_1=5))
    Tray(one).click(1, "--repeat", "2", "--delay", "60")
    window = one.box(title=CAPTION)
    yesterday = today() - datetime.timedelta(days=1)
    assert window.text(MAXIMUM) == f"Maximum: 5 spam mails ({yesterday:%d.%m.%Y})"
    assert window.text(AVERAGE) == "Average: 0.17 spam mails/day"
    assert window.focus()["focus_id"] == IDCANCEL and window.default_button() == IDCANCEL
    one.tray(LEFT_DOUBLE)  # it comes to the front and opens no second time
    one.main.send(0)
    assert len(one.driver.windows(title=CAPTION, visible=True)) == 1
    window.post(WM_KEYDOWN, VK_RETURN)
    one.driver.ask("post", window=window.focus()["focus"], message=WM_KEYDOWN, wparam=VK_RETURN, lparam=0)
    window.wait_until_gone()


def test_a_mail_check_is_seen_while_it_is_open(program, server, client):
    one = program(stats=counts(_1=2))
    window = opened(one)
    assert window.text(MAXIMUM).startswith("Maximum: 2 ")
    raw = client(one).login(server(spam(1), spam(2), ham(1), spam(3)).port)
    raw.stat()
    raw.quit()
    eventually(lambda: window.text(MAXIMUM) == f"Maximum: 3 spam mails ({today():%d.%m.%Y})", what="the new maximum")
    assert window.text(AVERAGE) == "Average: 0.17 spam mails/day"
    assert one.setting("Mails", "STATS") == "3,2,"


def test_the_numbers_are_saved(program):
    one = program(stats=counts(_0=7, _29=3))
    window = opened(one)
    path = one.path("numbers.csv")
    save_as(one, path).wait_until_gone()
    eventually(lambda: os.path.exists(path), what="the file")
    with open(path, "rb") as file:
        rows = file.read().decode().split("\r\n")
    assert rows[0] == "date,count" and rows[-1] == ""
    assert rows[1] == f"{today() - datetime.timedelta(days=29)},3" and rows[30] == f"{today()},7"
    assert all(row.endswith(",0") for row in rows[2:30]) and len(rows) == 32
    assert window.stands()


def test_the_picture_is_saved(program):
    one = program(stats=counts(_0=7))
    window = opened(one)
    path = one.path("chart.png")
    save_as(one, path).wait_until_gone()
    eventually(lambda: os.path.exists(path), what="the file")
    with open(path, "rb") as file:
        head = file.read(24)
    place = window.control(CHART)["client"]
    assert head[:8] == PNG
    assert int.from_bytes(head[16:20], "big") == place["right"] - place["left"]
    assert int.from_bytes(head[20:24], "big") == place["bottom"] - place["top"]


def test_a_file_that_cannot_be_written_is_told_of(program):
    one = program(stats=counts(_0=7))
    window = opened(one)
    path = one.path("locked.csv")
    with open(path, "w", encoding="ascii") as file:
        file.write("mine")
    os.chmod(path, 0o444)
    # The system asks whether to replace it, or refuses by itself; either way its content stays.
    save_as(one, path)
    question = eventually(lambda: [each for each in one.driver.windows(kind="#32770", visible=True)
                                   if each.title not in (CAPTION, "Save As")
                                   or any(path.rsplit("/", 1)[1] in c["text"] and c["class"] == "Static"
                                          for c in each.controls())], what="a question")[0]
    question.click(IDYES)
    told = one.box("The statistic could not be saved in")
    told.click(IDOK)
    told.wait_until_gone()
    with open(path, encoding="ascii") as file:
        assert file.read() == "mine"
    assert window.stands()


def test_a_picture_of_it(program, picture):
    by_age = {f"_{age}": (age * 37 + 11) % 23 for age in range(30) if age % 7 != 3}
    window = opened(program(stats=counts(**by_age)))
    eventually(lambda: window.control(CHART)["text"] == CAPTION, what="the chart")
    picture("statistic", window.place, margin=0)
    window.click(COPY)
    assert window.stands()
