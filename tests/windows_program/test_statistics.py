# SPDX-License-Identifier: MIT
"""The window with the spam of the last 30 days: its texts, and its chart pixel by pixel."""

import datetime
import os
import re

import pytest

from driver import IDCANCEL, VK_ESCAPE, WM_COMMAND, WM_KEYDOWN
from mail_lists import help_calls, mouse, name_file, put_help
from icons import key
from messages import message
from program import day_number, eventually
from windows_program import LEFT_DOUBLE

COMMAND_STATISTICS = 40007
TITLE = "Spam Mail Statistic"
CHART, MAXIMUM, AVERAGE, NOTE = 1039, 1040, 1041, 1113
WHITE, LIGHT_GREY = (255, 255, 255), (192, 192, 192)
GRID, BAR_EDGE, BAR = (224, 224, 224), (50, 200, 255), (170, 220, 255)
MARGIN = 20  # left of the plot


def today():
    return datetime.datetime.now(datetime.timezone.utc).date()


def in_words(date):
    return date.strftime("%d.%m.%Y")


def stored(counts):
    """The section of the configuration for {days ago: count}."""
    newest = day_number(today())
    return {"Days": "".join(f"{newest - age}," for age in sorted(counts)),
            "Mails": "".join(f"{counts[age]}," for age in sorted(counts))}


class Statistic:
    def __init__(self, one):
        self.one = one
        self.driver = one.driver
        one.command(COMMAND_STATISTICS)
        self.window = one.driver.dialog(TITLE, process=one.main.process)

    def lines(self):
        return self.window.text(MAXIMUM), self.window.text(AVERAGE)

    def leave_mouse(self):
        mouse(self.one.desktop, "mousemove", 5, 5)

    def chart(self):
        """The picture of the chart, once it is drawn, without a frame round it: rows of (red, green, blue)."""
        self.window.send(0)
        place = self.window.control(CHART)["client"]
        width, height = place["right"] - place["left"], place["bottom"] - place["top"]
        pixels = bytes.fromhex(self.driver.ask("grab", left=place["left"], top=place["top"], width=width,
                                               height=height))
        return [[(pixels[at + 2], pixels[at + 1], pixels[at]) for at in range(4 * width * y, 4 * width * (y + 1), 4)]
                for y in range(height)]

    def wait_for(self, drawn, what):
        def look():
            picture = self.chart()
            return picture if drawn(picture) else None

        return eventually(look, what=what)

    def plot(self):
        """The chart with its bars drawn."""
        return self.wait_for(lambda picture: any(BAR in row for row in picture), "a chart with bars")

    def close(self):
        self.window.close_box()
        self.window.wait_until_gone()


def runs(wanted):
    """(first, last) of the places next to each other at which something is true."""
    found = []
    for at, there in enumerate(wanted):
        if there and (not found or found[-1][1] != at - 1):
            found.append([at, at])
        elif there:
            found[-1][1] = at
    return [tuple(run) for run in found]


def bars(picture):
    """(left, right, top, bottom) of each bar with its edge, from the left."""
    width = len(picture[0])
    columns = runs(any(row[x] == BAR for row in picture) for x in range(width))
    found = []
    for left, right in columns:
        middle = (left + right) // 2
        inside = [y for y, row in enumerate(picture) if row[middle] in (BAR, BAR_EDGE)]
        found.append((left - 1, right + 1, inside[0], inside[-1]))
    return found


def day_column(picture, slot):
    """Where a day's part of the plot begins and ends; slot 0 is today, the last one."""
    day = (len(picture[0]) - MARGIN) / 30
    return MARGIN + (29 - slot) * day, MARGIN + (30 - slot) * day


def grid_lines(picture, slot, bottom):
    """The heights of the horizontal lines above the plot's bottom, seen in the middle of a day without a bar."""
    left, right = day_column(picture, slot)
    middle = round((left + right) / 2)
    return [first for first, _ in runs(row[middle] == GRID for row in picture) if first < bottom - 1]


def ink(picture, left, right, top, bottom):
    """Pixels that are dark, as letters are."""
    return [(x, y) for y in range(max(top, 0), min(bottom, len(picture))) for x in range(left, right)
            if sum(picture[y][x]) < 380]


# -- texts ---------------------------------------------------------------------------------------------------

def test_without_spam(program, picture):
    one = program()
    before = one.read("Quillbeaker.ini")
    statistic = Statistic(one)
    assert statistic.lines() == (f"Maximum: 0 spam mails ({in_words(today())})", "Average: 0.00 spam mails/day")
    assert statistic.window.text(NOTE) == "This statistic shows the amount of spam mails within the last 30 days."
    chart = statistic.wait_for(lambda drawn: {p for row in drawn for p in row} == {LIGHT_GREY}, "a plain grey area")
    assert len(chart) > 100 and len(chart[0]) > 200
    picture("statistic-empty", statistic.window.place)
    statistic.close()
    assert one.read("Quillbeaker.ini") == before


def test_one_day(program, desktop, picture):
    """Five spams today: the rightmost bar, five lines, the colours, the date turned under the bar."""
    one = program(STATS=stored({0: 5}))
    before = one.read("Quillbeaker.ini")
    changed = os.stat(one.path("Quillbeaker.ini")).st_mtime_ns
    statistic = Statistic(one)
    statistic.leave_mouse()
    assert statistic.lines() == (f"Maximum: 5 spam mails ({in_words(today())})", "Average: 0.17 spam mails/day")
    chart = statistic.plot()
    picture("statistic-one-day", statistic.window.place)
    (left, right, top, bottom), = bars(chart)
    begin, end = day_column(chart, 0)
    assert abs(left - begin) <= 1.5 and abs(right - end) <= 1.5
    width, height = len(chart[0]), len(chart)
    assert width - right <= 3
    # The edge in its own colour round the whole bar.
    middle = (left + right) // 2
    assert chart[top][middle] == BAR_EDGE and chart[(top + bottom) // 2][left] == BAR_EDGE
    assert chart[top + 2][middle] == BAR
    assert top >= 18  # room for the number beside the highest line
    lines = grid_lines(chart, 15, bottom)
    assert len(lines) == 5 and abs(lines[0] - top) <= 1
    steps = [low - high for high, low in zip(lines, [*lines[1:], bottom], strict=True)]
    assert max(steps) - min(steps) <= 2
    # Beside each line its number, a little above it, left of the plot.
    for line in lines:
        assert ink(chart, 4, 14, line - 10, line + 7), f"no number at {line}"
    # A line at the left edge of each day, from the top to the bottom.
    row = (lines[0] + lines[1]) // 2
    edges = [x for x, pixel in enumerate(chart[row]) if pixel in (GRID, BAR_EDGE)]
    for slot in range(30):
        assert any(abs(x - day_column(chart, slot)[0]) <= 1 for x in edges), f"no line left of day {slot}"
    # The date is written upwards: higher than it is wide, and in the day's own column.
    letters = ink(chart, int(begin) - 2, width, bottom + 2, height)
    tall = max(y for _, y in letters) - min(y for _, y in letters)
    wide = max(x for x, _ in letters) - min(x for x, _ in letters)
    assert tall > 3 * wide and tall > 25
    assert min(y for _, y in letters) - bottom < 20
    assert not ink(chart, MARGIN + 2, int(begin) - 6, bottom + 2, height)  # days without spam have no date
    # A repaint changes nothing on the disk, and nothing in the picture.
    for _ in range(3):
        statistic.driver.ask("move", window=statistic.window.handle, left=60, top=40)
        statistic.driver.ask("move", window=statistic.window.handle, left=200, top=140)
    statistic.wait_for(lambda drawn: drawn == chart, "the same chart at another place")
    key(desktop, "Escape")
    statistic.window.wait_until_gone()
    assert one.read("Quillbeaker.ini") == before
    assert os.stat(one.path("Quillbeaker.ini")).st_mtime_ns == changed


@pytest.mark.parametrize("counts, lines", [({3: 3, 8: 3, 29: 1}, 3), ({1: 250, 20: 125}, 10), ({4: 11, 0: 1}, 10),
                                           ({7: 10, 2: 1}, 10)])
def test_the_scale(program, picture, counts, lines):
    one = program(STATS=stored(counts))
    statistic = Statistic(one)
    statistic.leave_mouse()
    highest = max(counts.values())
    newest = min(age for age, count in counts.items() if count == highest)
    average = sum(counts.values()) / 30
    assert statistic.lines() == (
        f"Maximum: {highest} spam mails ({in_words(today() - datetime.timedelta(newest))})",
        f"Average: {average:.2f} spam mails/day")
    chart = statistic.plot()
    picture(f"statistic-{highest}", statistic.window.place)
    found = bars(chart)
    assert len(found) == len(counts)
    bottom = found[0][3]
    assert len(grid_lines(chart, 15, bottom)) == lines
    full = bottom - min(top for _, _, top, _ in found)
    for (left, right, top, low), age in zip(found, sorted(counts, reverse=True), strict=True):
        begin, end = day_column(chart, age)
        assert abs(left - begin) <= 1.5 and abs(right - end) <= 1.5 and low == bottom
        assert abs((bottom - top) - full * counts[age] / highest) <= 1.5
    statistic.close()


# -- its place in the program --------------------------------------------------------------------------------

def test_keys_help_and_what_is_new(program, server, client, desktop, driver):
    """One window, by the menu or a double click; what a mail check adds is seen at the next paint."""
    one = program({"TrayDblClk": COMMAND_STATISTICS}, STATS=stored({2: 4}))
    put_help(one)
    one.tray(LEFT_DOUBLE)
    statistic = Statistic(one)
    one.command(COMMAND_STATISTICS)
    one.main.send(0)
    assert len(driver.windows(title=TITLE, visible=True, process=one.main.process)) == 1
    close = next(c for c in statistic.window.controls() if c["text"].replace("&", "") == "Close")
    assert statistic.window.focus()["focus"] == close["window"]
    assert statistic.window.default_button() == close["id"] & 0xFFFF
    assert statistic.window.control(CHART)["class"] == "Static"
    key(desktop, "F1")
    eventually(lambda: help_calls(one) == 1, what="the help")
    statistic.leave_mouse()
    assert len(bars(statistic.plot())) == 1
    text = "buy zorkmoney today\r\n"
    upstream = server(*(message(subject=f"offer {n}", body=text) for n in range(3)))
    raw = client(one).login(upstream.port)
    raw.stat()
    raw.quit()
    raw.close()
    eventually(lambda: one.setting("Mails", "STATS") == "3,4,", what="the new counts")
    eventually(lambda: not one.has_bubble(), what="the end of the session")
    driver.ask("move", window=statistic.window.handle, left=-60, top=60)
    driver.ask("move", window=statistic.window.handle, left=160, top=60)
    statistic.wait_for(lambda drawn: len(bars(drawn)) == 2, "the bar of today")
    # Esc closes it; so does the button.
    statistic.window.post(WM_KEYDOWN, VK_ESCAPE)
    statistic.window.wait_until_gone()
    statistic = Statistic(one)
    assert statistic.lines()[0].startswith("Maximum: 4 spam mails")
    statistic.window.post(WM_COMMAND, IDCANCEL)
    statistic.window.wait_until_gone()


def test_beyond_the_picture(program, driver, desktop, tmp_path, picture):
    """The day under the mouse and under the arrow keys, the numbers in the clipboard and in a file."""
    one = program(STATS=stored({0: 5, 3: 2}))
    statistic = Statistic(one)
    statistic.leave_mouse()
    chart = statistic.plot()
    labels = {c["text"].replace("&", ""): c for c in statistic.window.controls() if c["class"] == "Button"}
    assert list(labels)[0] == "Close" and {"Copy", "Save..."} <= set(labels)
    left, right, top, bottom = bars(chart)[0]
    place = statistic.window.control(CHART)["client"]
    mouse(desktop, "mousemove", place["left"] + (left + right) // 2, place["top"] + (top + bottom) // 2)
    mouse(desktop, "mousemove", place["left"] + (left + right) // 2 + 1, place["top"] + (top + bottom) // 2)
    day = in_words(today() - datetime.timedelta(3))

    def told():
        texts = [driver.ask("title", window=w.handle) for w in driver.windows(kind="tooltips_class32", visible=True)]
        texts += [c["text"] for c in statistic.window.controls()]
        return [text for text in texts if day in text and "2" in text.replace(day, "")]

    eventually(told, what="the day and its count")
    picture("statistic-hover", statistic.window.place)
    statistic.leave_mouse()
    statistic.window.click(labels["Copy"]["id"])
    copied = eventually(lambda: driver.ask("clipboard"), what="the numbers in the clipboard")
    assert len([line for line in copied.splitlines() if re.search(r"\d\d\.\d\d\.\d{4}|\d{4}-\d\d-\d\d", line)]) >= 30
    statistic.window.click(labels["Save..."]["id"])
    box = eventually(lambda: next((w for w in driver.windows(kind="#32770", visible=True, process=one.main.process)
                                   if w.handle != statistic.window.handle), None), what="the box for a file name")
    path = str(tmp_path / "spam.csv")
    name_file(box, path)
    eventually(lambda: os.path.exists(path) and os.path.getsize(path) > 0, what="the file")
    with open(path, encoding="utf-8-sig") as file:
        rows = [line for line in file.read().splitlines() if re.search(r"\d", line)]
    assert len(rows) == 30
    counts = [int(re.search(r"(\d+)\D*$", row)[1]) for row in rows]
    assert sorted(counts) == [0] * 28 + [2, 5]
    statistic.close()
