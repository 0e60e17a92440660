# SPDX-License-Identifier: MIT
"""The training area from the terminal, also beside a running proxy."""

import json
import os
import re
import struct
import subprocess
import xml.etree.ElementTree as ElementTree
import zlib

import pytest

from messages import ham
from program import day_number, executable, run_cli
from terminal import run_on_terminal

HAS_LEARNED = ("Quillbeaker has learned from marked messages.\n"
               "These mails have been removed from the Training Area.\n")
NO_DATE = 25657560


@pytest.fixture
def training(program_directory):
    """training(word, ...) runs `training` in one directory, which is its attribute `home`."""

    def run(command, *arguments):
        return run_cli("training", command, "--directory", run.home.directory, *arguments)

    run.home = program_directory()
    return run


def index(home):
    """The attributes of every entry of training.xml, in order."""
    data = home.read("training/training.xml")
    return [dict(entry.attrib) for entry in ElementTree.fromstring(data)] if data else []


def files(home):
    return sorted(name for name in os.listdir(home.path("training")) if name.endswith(".eml"))


def keep(home, text, mark=None, **attributes):
    """Puts a text into the training area and gives its name."""
    text = text.encode("latin-1")
    name = attributes.pop("filename", f"{zlib.crc32(text):x}.eml")
    home.write(f"training/{name}", text)
    data = home.read("training/training.xml")
    root = ElementTree.fromstring(data) if data else ElementTree.Element("training")
    values = {"filename": name, "sender": "Ann Smith", "mail": "ann@example.org", "subject": "Meeting",
              "date": str(day_number()), "time": "09:41", "size": str(len(text)), **attributes}
    if mark is not None:
        values["mark"] = str(mark)
    ElementTree.SubElement(root, "message", {key: value for key, value in values.items() if value is not None})
    home.write("training/training.xml", ElementTree.tostring(root, encoding="ISO-8859-1"))
    return name


def words(home, kind):
    """(messages, {word: count}) of a learnt word list."""
    data = home.read(f"training/{kind}.Quillbeaker.wordlist")
    if not data:
        return 0, {}
    _, records, messages, _ = struct.unpack_from("<4I", data)
    counts, at = {}, 16
    for _ in range(records):
        length = data[at]
        counts[data[at + 1:at + 1 + length].decode("latin-1")] = struct.unpack_from("<I", data, at + 1 + length)[0]
        at += 5 + length
    return messages, counts


def listed(training):
    done = training("list", "--json")
    assert done.returncode == 0, done.stderr
    return json.loads(done.stdout)


def marks(training):
    return {one["name"]: one["mark"] for one in listed(training)}


# -- listing and viewing --------------------------------------------------------------------------
def test_listing(training):
    first = keep(training.home, "hello", mark=1, sender="M\xfcller", mail="m@shop.example", subject="Gr\xfcn", date="2452675",
                 time="22:15", size="1536")
    second = keep(training.home, "other", mark=0)
    assert listed(training)[0] == {"name": first, "mark": "spam", "date": 2452675, "time": "22:15", "subject": "Gr\xfcn",
                                   "sender": "M\xfcller", "address": "m@shop.example", "size": 1536}
    assert marks(training) == {first: "spam", second: "good"}
    lines = training("list").stdout.decode().splitlines()
    assert lines[:3] == [f"spam {first}  1.50 KB", "     04.02.2003, 22:15  M\xfcller <m@shop.example>", "     Gr\xfcn"]
    assert lines[3].startswith("good ") and len(lines) == 6


def test_area_without_an_index_is_empty_and_gets_one(training):
    done = training("list")
    assert (done.returncode, done.stdout, done.stderr) == (0, b"", b"")
    assert listed(training) == []
    assert ElementTree.fromstring(training.home.read("training/training.xml")).tag == "training"


def test_index_that_cannot_be_read_is_said(training):
    os.makedirs(training.home.path("training/training.xml"))
    for arguments in (["list"], ["list", "--json"], ["view", "1.eml"], ["mark", "--spam", "1.eml"], ["delete", "1.eml"],
                      ["learn"]):
        done = training(*arguments)
        assert (done.returncode, done.stdout) == (1, b"")
        assert done.stderr.decode() == ("The index of the training area can not be read. "
                                        f"{training.home.path('training/training.xml')}: Is a directory\n")


@pytest.mark.parametrize("command", [["list"], ["list", "--json"], ["mark", "--spam", "1.eml"], ["learn"]])
def test_a_file_in_the_place_of_the_directory_is_no_empty_area(training, command):
    training.home.write("training", b"")
    done = training(*command)
    assert (done.returncode, done.stdout) == (1, b"")
    assert done.stderr.decode() == ("The index of the training area can not be read. "
                                    f"{training.home.path('training')}: Not a directory\n")


def test_mail_without_a_date_and_sender_shows_none(training):
    name = keep(training.home, "no date", sender="", mail="", subject=None, date=str(NO_DATE), time="00:00")
    assert listed(training) == [{"name": name, "mark": "none", "date": None, "time": None, "subject": None,
                                 "sender": "", "address": "", "size": 7}]
    assert training("list").stdout.decode() == f"-    {name}  0.01 KB\n\n\n"
    assert training("view", name).stdout == b"\nno date\n"
    # The sender stands where it stands below a date.
    named = keep(training.home, "undated", date=str(NO_DATE), time="00:00")
    line = training("list").stdout.decode().splitlines()[4]
    assert line.index("Ann") == len("     21.11.2026, 09:41  ") and not line[:24].strip(), named


def test_listing_keeps_its_lines_and_the_terminal(training):
    keep(training.home, "x", sender="S\nT\x85", mail="a@b.example\t", subject="a\nb\x9b31m \xe2\x80\xae")
    told = training("list").stdout.decode()
    assert len(told.splitlines()) == 3
    assert not re.search("[\x00-\x09\x0b-\x1f\x7f-\x9f\u202e]", told)


def test_view_prints_the_stored_text(training):
    name = keep(training.home, "\r\nhello \x1b[31mthere\r\n", subject="Gr\xfcn", date="2452675")
    other = keep(training.home, "second text")
    done = training("view", name, other)
    assert done.returncode == 0
    assert done.stdout.decode().startswith(
        "Sender: Ann Smith <ann@example.org>\nSubject: Gr\xfcn\nDate: 04.02.2003, 09:41\n\r\nhello \ufffd[31mthere\r\n")
    assert "\n\nsecond text\n" in done.stdout.decode()
    assert training("view", "nope.eml").returncode == 1
    os.remove(training.home.path(f"training/{name}"))
    done = training("view", name)
    assert done.returncode == 1 and name.encode() in done.stderr


def test_names_lead_nowhere_else(training):
    outside = training.home.write("outside.eml", "secret")
    for name in ("../outside.eml", outside, "training.xml"):
        keep(training.home, "text", filename="1.eml")
        data = training.home.read("training/training.xml").replace(b"1.eml", name.encode())
        training.home.write("training/training.xml", data)
        done = training("view", name)
        assert done.returncode == 1 and b"secret" not in done.stdout
        training("delete", name)
        training("mark", "--good", name)
        training("learn")
        assert training.home.read("outside.eml") == b"secret"
        assert os.path.exists(training.home.path("training/training.xml"))


# -- marking and deleting -------------------------------------------------------------------------
def test_marks_are_set_changed_and_taken_back(training):
    names = [keep(training.home, f"text {n}") for n in range(4)]
    before = index(training.home)
    assert training("mark", "--spam", *names[:3]).returncode == 0
    assert training("mark", names[1], "--good").returncode == 0
    assert list(marks(training).values()) == ["spam", "good", "spam", "none"]
    assert [entry.get("mark") for entry in index(training.home)] == ["1", "0", "1", None]
    assert training("mark", "--none", *names).returncode == 0
    assert index(training.home) == before
    assert training("mark", "--none", *names).returncode == 0  # as they are already


def test_marking_what_is_marked_already_is_no_toggle(training):
    name = keep(training.home, "text", mark=1)
    done = training("mark", "--spam", name)
    assert (done.returncode, done.stdout, done.stderr) == (0, b"", b"")
    assert marks(training) == {name: "spam"}


@pytest.mark.parametrize("arguments", [["mark", "--spam"], ["mark", "1.eml"], ["mark", "--spam", "--good", "1.eml"],
                                       ["mark", "--none", "--good", "1.eml"], ["delete"], ["view"], ["learn", "1.eml"],
                                       ["list", "1.eml"]])
def test_wrong_usage_changes_nothing(training, arguments):
    keep(training.home, "text", filename="1.eml")
    before = training.home.read("training/training.xml")
    assert training(*arguments).returncode == 2
    assert training.home.read("training/training.xml") == before


@pytest.mark.parametrize("arguments", [["mark", "--spam"], ["mark", "--good"], ["delete"]])
def test_one_unknown_name_and_nothing_is_done(training, arguments):
    names = [keep(training.home, f"text {n}") for n in range(2)]
    training("list")
    before = training.home.read("training/training.xml")
    done = training(*arguments, names[0], "n\x1bope.eml", names[1])
    assert done.returncode == 1
    assert done.stderr.decode() == 'There is no message "n ope.eml" in the training area.\n'
    assert training.home.read("training/training.xml") == before
    assert files(training.home) == sorted(names)


def test_delete_takes_entries_and_files_and_learns_nothing(training):
    names = [keep(training.home, f"text {n}", mark=1) for n in range(3)]
    assert training("delete", names[0], names[2]).returncode == 0
    assert [entry["filename"] for entry in index(training.home)] == [names[1]]
    assert files(training.home) == [names[1]]
    assert words(training.home, "bad") == (0, {})


def test_change_that_cannot_be_saved_is_said(training):
    name = keep(training.home, "text")
    training("list")
    before = training.home.read("training/training.xml")
    os.chmod(training.home.path("training/training.xml"), 0o400)
    for arguments in (["mark", "--spam", name], ["delete", name]):
        done = training(*arguments)
        assert done.returncode == 1
        assert done.stderr.decode() == ("The change could not be saved. "
                                        f"{training.home.path('training/training.xml')}: Permission denied\n")
    assert training.home.read("training/training.xml") == before and files(training.home) == [name]


# -- learning -------------------------------------------------------------------------------------
def test_marked_messages_are_learned_and_leave(training):
    keep(training.home, "cheap cheap cheap pills\r\n", mark=1, subject="An offer!")
    keep(training.home, "other pills here\r\n", mark=1, subject=None)
    keep(training.home, "lunch on friday\r\n", mark=0, subject="Meeting: today")
    stays = keep(training.home, "unmarked words\r\n")
    done = training("learn")
    assert done.returncode == 0 and done.stderr == b""
    assert done.stdout.decode() == "Learned: 2 as spam, 1 as wanted mail.\n" + HAS_LEARNED
    assert words(training.home, "bad") == (2, {"cheap": 3, "pills": 2, "offer": 1, "other": 1, "here": 1})
    assert words(training.home, "good") == (1, {"lunch": 1, "friday": 1, "meeting": 1})
    assert files(training.home) == [stays]
    assert [entry["filename"] for entry in index(training.home)] == [stays]


def test_nothing_marked_is_nothing_learned(training):
    name = keep(training.home, "text here")
    for _ in range(2):
        done = training("learn")
        assert done.returncode == 0 and done.stderr == b""
        assert b"No message of the training area is marked" in done.stdout and b"has learned" not in done.stdout
    assert files(training.home) == [name]
    assert not any(name.endswith("wordlist") for name in os.listdir(training.home.path("training")))


def test_marked_message_without_a_file_leaves_unlearned(training):
    gone = keep(training.home, "gone words", mark=1)
    keep(training.home, "these words\r\n", mark=0, subject=None)
    os.remove(training.home.path(f"training/{gone}"))
    done = training("learn")
    assert done.returncode == 0
    assert done.stdout.decode() == ("Learned: 0 as spam, 1 as wanted mail.\n"
                                    "Marked messages without a text, removed and not learned: 1.\n" + HAS_LEARNED)
    assert words(training.home, "bad")[0] == 0 and words(training.home, "good") == (1, {"these": 1, "words": 1})
    assert index(training.home) == [] and files(training.home) == []


def test_word_lists_that_cannot_be_saved_keep_the_messages(training):
    name = keep(training.home, "these words", mark=1)
    for kind in ("good", "bad"):
        os.makedirs(training.home.path(f"training/{kind}.Quillbeaker.wordlist/x"))
    done = training("learn")
    assert done.returncode == 1 and done.stdout == b"" and b"could not be saved" in done.stderr
    assert marks(training) == {name: "spam"} and files(training.home) == [name]


def test_learning_shows_a_bar_on_a_terminal_only(training):
    for number in range(20):
        keep(training.home, f"words of {number}", mark=number % 2)
    code, told = run_on_terminal("training", "learn", "--directory", training.home.directory, columns=40)
    assert code == 0
    text = told.decode().replace("\r\n", "\n")
    assert "\r\x1b[K[" in text and "Learning..." in text
    assert text.endswith("\r\x1b[KLearned: 10 as spam, 10 as wanted mail.\n" + HAS_LEARNED)
    keep(training.home, "again", mark=1)
    assert b"\x1b" not in training("learn").stdout


# -- beside a running proxy -----------------------------------------------------------------------
def test_received_mail_is_marked_and_learned(proxy, client, server):
    one = proxy()
    upstream = server(*(ham(n) for n in range(4)))
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 4
    raw.quit()
    upstream.wait_for_end()
    home = ["--directory", one.directory]
    entries = json.loads(run_cli("training", "list", "--json", *home).stdout)
    assert sorted(entry["subject"] for entry in entries) == [f"ham {n}" for n in range(4)]
    assert {entry["mark"] for entry in entries} == {"none"}
    assert run_cli("training", "mark", "--good", *(entry["name"] for entry in entries), *home).returncode == 0
    assert run_cli("training", "learn", *home).returncode == 0
    assert words(one, "good")[0] == 4 and words(one, "good")[1]["quiet"] == 4
    assert json.loads(run_cli("training", "list", "--json", *home).stdout) == []


def test_terminal_and_proxy_lose_nothing_of_each_other(proxy, client, server):
    """Entries are marked, deleted and learned from while mail checks add others and learn friends' mail."""
    one = proxy(senders={"friend@example.org": "F,2"})
    old = [keep(one, f"old words number {n}") for n in range(12)]
    home = ["--directory", one.directory]
    for turn in range(4):
        mine = old[3 * turn:3 * turn + 3]
        assert run_cli("training", "mark", "--spam", mine[0], *home).returncode == 0
        upstream = server(*(ham(100 * turn + n) for n in range(5)),
                          *(ham(n, sender="friend@example.org") for n in range(6)), uid_prefix=b"%d" % turn)
        raw = client(one).login(upstream.port)
        assert raw.stat()[0] == 11
        running = [subprocess.Popen([executable(), "training", *words_, *home], stdin=subprocess.DEVNULL,
                                    stdout=subprocess.DEVNULL)
                   for words_ in (["learn"], ["delete", mine[1]], ["mark", "--none", mine[2]], ["list"])]
        raw.quit()
        upstream.wait_for_end()
        assert [process.wait(60) for process in running] == [0] * 4
    entries = index(one)
    new = [entry["filename"] for entry in entries if entry["subject"].startswith("ham")]
    assert len(new) == 4 * 5 and [entry["filename"] for entry in entries if entry["filename"] in old] == old[2::3]
    assert sorted(entry["filename"] for entry in entries) == files(one)
    assert words(one, "bad")[0] == 4 and words(one, "good")[0] == 4 * 6
    assert words(one, "bad")[1]["old"] == 4 and words(one, "good")[1]["quiet"] == 4 * 6


def test_learning_is_taken_back_with_entries_texts_and_marks(training):
    home = training.home
    spam = keep(home, "\r\ncheap pills cheap\r\n", mark=1)
    keep(home, "\r\nnothing said of it\r\n")
    keep(home, "\r\nlunch at noon\r\n", mark=0, subject=None)
    before = index(home), files(home), home.read(f"training/{spam}")
    assert training("learn").returncode == 0
    assert len(index(home)) == 1 and files(home) != before[1]
    done = run_cli("learn", "--undo", "--yes", "--directory", home.directory)
    assert done.returncode == 0
    assert done.stdout == (b"Taken back: 1 messages as spam, 1 as wanted mail.\n"
                           b"Messages that are in the training area again, with their marks: 2.\n")
    assert (index(home), files(home), home.read(f"training/{spam}")) == before
    assert words(home, "bad")[0] == words(home, "good")[0] == 0
