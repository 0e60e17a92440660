# SPDX-License-Identifier: MIT
"""The statistic of the last 30 days from the terminal, also beside a running proxy."""

import datetime
import json
import re

import pytest

from messages import date, ham, message, spam
from program import day_number, eventually, run_cli
from terminal import run_on_terminal

BLOCKS = "▁▂▃▄▅▆▇█"


@pytest.fixture(autouse=True)
def the_day_does_not_end_in_between():
    """Counts go by UTC days: a test that asks twice must not do so on two of them."""
    now = datetime.datetime.now(datetime.timezone.utc)
    if (now.hour, now.minute) == (23, 59):
        pytest.skip("within a minute of midnight UTC")


def today():
    return day_number(datetime.datetime.now(datetime.timezone.utc).date())


def written(day):
    return (datetime.date(2000, 1, 1) + datetime.timedelta(day - 2451545)).strftime("%d.%m.%Y")


@pytest.fixture
def home(program_directory):
    return program_directory()


def keep(home, counts):
    """Counts by days back."""
    home.configure(stats={"Days": "".join(f"{today() - back}," for back in counts),
                          "Mails": "".join(f"{count}," for count in counts.values())})


def stats(home):
    done = run_cli("stats", "--json", "--directory", home.directory)
    assert done.returncode == 0 and done.stderr == b""
    return json.loads(done.stdout)


def shown(home):
    done = run_cli("stats", "--directory", home.directory)
    assert done.returncode == 0 and done.stderr == b""
    return done.stdout.decode()


def test_thirty_days_are_told_oldest_first(home):
    keep(home, {0: 3, 2: 12, 29: 1})
    told = stats(home)
    assert list(told) == ["days", "highest", "average"]
    assert [one["date"] for one in told["days"]] == list(range(today() - 29, today() + 1))
    assert {today() - one["date"]: one["count"] for one in told["days"] if one["count"]} == {0: 3, 2: 12, 29: 1}
    assert told["highest"] == {"date": today() - 2, "count": 12}
    assert told["average"] == "0.53"


def test_days_outside_the_window_and_repeated_ones(home):
    keep(home, {-1: 50, 30: 60, 5: 4})
    home.write("Quillbeaker.ini", home.read("Quillbeaker.ini").replace(
        b"[stats]", b"[STATS]").replace(f"{today() - 5},".encode(), f"{today() - 5},{today() - 5},".encode()).replace(
            b"60,4,", b"60,4,7,"))
    assert {one["date"]: one["count"] for one in stats(home)["days"] if one["count"]} == {today() - 5: 7}


def test_newest_of_the_highest_days_is_named(home):
    keep(home, {8: 5, 3: 5, 1: 2})
    assert stats(home)["highest"] == {"date": today() - 3, "count": 5}
    assert f"Maximum: 5 spam mails ({written(today() - 3)})" in shown(home)


def test_chart_is_drawn_in_blocks_when_nobody_watches_too(home):
    keep(home, {0: 250, 1: 125, 29: 1})
    text = shown(home)
    rows = [line for line in text.splitlines() if "┤" in line]
    assert [int(row.partition("┤")[0]) for row in rows] == [250, 225, 200, 175, 150, 125, 100, 75, 50, 25]
    bars = [row.partition("┤")[2].ljust(59) for row in rows]
    assert [bar[58] for bar in bars] == ["█"] * 10  # today, on the right
    assert [bar[56] for bar in bars] == [" "] * 5 + ["█"] * 5
    assert [bar[0] for bar in bars] == [" "] * 9 + ["▁"]  # one spam shows beside 250
    assert f"Maximum: 250 spam mails ({written(today())})" in text
    assert "Average: 12.53 spam mails/day" in text
    assert text.startswith("This statistic shows the amount of spam mails within the last 30 days.\n")
    assert max(map(len, text.splitlines())) < 80 and "\x1b" not in text


def test_three_spams_are_three_rows(home):
    keep(home, {4: 3, 9: 1})
    assert [line.split()[0] for line in shown(home).splitlines() if "┤" in line] == ["3", "2", "1"]


@pytest.mark.parametrize("columns, day_width", [(36, 1), (80, 2), (132, 4), (250, 8)])
def test_chart_takes_the_width_of_the_terminal(home, columns, day_width):
    keep(home, {0: 2, 29: 1})
    code, told = run_on_terminal("stats", "--directory", home.directory, columns=columns)
    assert code == 0
    lines = told.decode().replace("\r\n", "\n").splitlines()
    chart = [line for line in lines if re.match(r" *\d* ?[┤└]", line)] + [line for line in lines if "." in line[-1:]]
    assert len([line for line in chart if "┤" in line]) == 2
    assert max(map(len, chart[:3])) < columns
    lowest = [line for line in chart if "┤" in line][-1].partition("┤")[2]
    assert len(lowest) == 29 * day_width + max(1, day_width - 1)
    assert lowest[0] == lowest[-1] == "█"


def test_no_spam_is_no_chart(home):
    text = shown(home)
    assert f"Maximum: 0 spam mails ({written(today())})" in text and "Average: 0.00 spam mails/day" in text
    assert not re.search(f"[┤└{BLOCKS}]", text)
    told = stats(home)
    assert len(told["days"]) == 30 and told["average"] == "0.00"
    assert told["highest"] == {"date": today(), "count": 0}


def test_looking_writes_nothing(home):
    assert shown(home) and stats(home)
    assert home.read("Quillbeaker.ini") == b""
    keep(home, {0: 1, 40: 9})
    before = home.read("Quillbeaker.ini")
    assert shown(home) and stats(home)
    assert home.read("Quillbeaker.ini") == before


def test_unreadable_lists_count_nothing(home):
    home.configure(stats={"Days": "x,,-1,99999999999,", "Mails": "5,6,7,8,"})
    assert sum(one["count"] for one in stats(home)["days"]) == 0


def test_json_is_the_same_on_a_terminal(home):
    keep(home, {0: 1})
    code, told = run_on_terminal("stats", "--json", "--directory", home.directory)
    assert code == 0 and json.loads(told)["highest"]["count"] == 1


def test_spam_of_a_mail_check_is_counted_by_the_day_of_its_date(proxy, client, server):
    undated = message("offer").replace(b"Date:", b"X-Date:").replace(b"a line", b"zorkmoney")
    upstream = server(spam(1), spam(2, when=date(3)), spam(3, when=date(3)), spam(4, when=date(35)), undated, ham(1))
    one = proxy()
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 1
    raw.quit()
    upstream.wait_for_end()
    assert {today() - day["date"]: day["count"] for day in stats(one)["days"] if day["count"]} == {0: 1, 3: 2}


def test_looking_during_a_check_does_not_undo_its_counts(proxy, client, server):
    """Whoever loaded the counts before a check must not write them back after it."""
    one = proxy()
    for number in range(5):
        upstream = server(*(spam(10 * number + n) for n in range(4)))
        raw = client(one).login(upstream.port)
        raw.stat()
        assert sum(day["count"] for day in stats(one)["days"]) == 4 * number
        raw.quit()
        assert shown(one)
        upstream.wait_for_end()
    assert eventually(lambda: stats(one)["highest"]["count"] == 20)
