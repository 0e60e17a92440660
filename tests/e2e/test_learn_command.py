# SPDX-License-Identifier: MIT
"""Bulk learning from the terminal: where mail is found, what is asked before it is saved, what is told."""

import json
import os
import resource
import signal
import subprocess
import sys

import pytest

from learnt import word_list
from messages import message
from program import end_with_the_tests, executable, run_cli
from terminal import run_on_terminal

NOT_CONFIRMED = b"Nothing was learnt. With --yes it will be learnt all the same.\n"
FROM_LINE = b"From someone@example.org Sat Nov 21 15:06:00 2026\n"


@pytest.fixture
def home(program_directory):
    return program_directory()


def mail(number, word, line_end=b"\n"):
    text = message(f"about {word} {number}", body=f"{word} and again {word}\r\nits number is {number}x\r\n")
    return text.replace(b"\r\n", line_end)


def mbox(mails):
    return b"".join(FROM_LINE + one + b"\n" for one in mails)


def put_boxes(home, good, spam):
    """Two mboxes with so many mails."""
    home.write("mail/good.mbox", mbox(mail(n, "garden") for n in range(good)))
    home.write("mail/spam.mbox", mbox(mail(n, "lottery") for n in range(spam)))
    return "--good", home.path("mail/good.mbox"), "--spam", home.path("mail/spam.mbox")


def learn(home, *arguments):
    return run_cli("learn", "--directory", home.directory, *arguments)


def report(home, *arguments):
    done = learn(home, "--json", *arguments)
    assert done.returncode == 0, done.stderr
    return json.loads(done.stdout)


def messages_of(home):
    return word_list(home, "good")[0], word_list(home, "bad")[0]


# -- where mail is found ------------------------------------------------------------------------
def test_files_folders_maildirs_and_mboxes_are_learnt(home):
    home.write("mail/one.eml", mail(1, "garden"))
    home.write("mail/folder/two.eml", mail(2, "garden", b"\r\n"))
    home.write("mail/folder/cmds", b"mv one two\n")
    home.write("mail/Maildir/cur/3.host:2,S", mail(3, "garden"))
    home.write("mail/Maildir/new/4.host", mail(4, "garden"))
    home.write("mail/Maildir/tmp/5.host", mail(5, "garden"))
    home.write("mail/box", mbox([mail(6, "lottery"), mail(7, "lottery")]))
    told = report(home, "--yes", "--plain", "--good", home.path("mail/one.eml"), home.path("mail/folder"),
                  home.path("mail/Maildir"), "--spam", home.path("mail/box"))
    assert (told["good_learnt"], told["spam_learnt"], told["no_mail"]) == (4, 2, 1)
    good, bad = word_list(home, "good"), word_list(home, "bad")
    assert (good[0], bad[0]) == (4, 2) == (told["good_messages"], told["spam_messages"])
    assert good[1]["garden"] == 3 * 4 and bad[1]["lottery"] == 3 * 2  # twice in the text, once in the subject
    assert len(good[1]) == told["good_words"] and len(bad[1]) == told["spam_words"]


def test_learning_twice_adds_up(home):
    home.write("one.eml", mail(1, "garden"))
    for _ in range(2):
        report(home, "--yes", "--plain", "--good", home.path("one.eml"))
    assert word_list(home, "good")[0] == 2


def test_equal_mails_count_once(home):
    home.write("mail/a.eml", mail(1, "garden"))
    home.write("mail/b.eml", mail(1, "garden", b"\r\n"))
    home.write("mail/c.mbox", mbox([mail(1, "garden")]))
    told = report(home, "--yes", "--plain", "--good", home.path("mail"), "--spam", home.path("mail/a.eml"))
    assert (told["good_learnt"], told["spam_learnt"], told["repeated"], told["both_kinds"]) == (1, 0, 2, 1)
    assert messages_of(home) == (1, 0)


def test_a_path_that_names_nothing_stops_all(home):
    home.write("one.eml", mail(1, "garden"))
    done = learn(home, "--yes", "--good", home.path("one.eml"), "--spam", home.path("missing"))
    assert done.returncode == 1 and done.stdout == b""
    assert home.path("missing").encode() in done.stderr
    assert not os.path.exists(home.path("training"))


def test_without_mail_nothing_is_learnt(home):
    os.makedirs(home.path("empty"))
    done = learn(home, "--yes", "--good", home.path("empty"))
    assert done.returncode == 1
    assert done.stderr == b"There is no mail to learn from. Nothing was learnt.\n"


def test_what_can_not_be_read_is_told(home):
    home.write("mail/one.eml", mail(1, "garden"))
    os.mkfifo(home.path("mail/pipe"))
    os.symlink("..", home.path("mail/circle"))
    done = learn(home, "--yes", "--good", home.path("mail"))
    assert done.returncode == 0
    assert b"2 names stand for no files" in done.stdout and home.path("mail/circle").encode() in done.stdout


@pytest.mark.parametrize("arguments", [[], ["--yes"], ["--good"], ["--keen", "--plain", "--good", "x"]])
def test_wrong_usage(arguments):
    assert run_cli("learn", *arguments).returncode == 2


# -- what is asked ------------------------------------------------------------------------------
@pytest.mark.parametrize("good, spam, warned", [(199, 60, b"199 good messages are too few"),
                                                (200, 49, b"49 spam messages beside 200 good ones"),
                                                (200, 50, None)])
def test_too_little_mail_is_not_learnt_without_a_word(home, good, spam, warned):
    paths = put_boxes(home, good, spam)
    done = learn(home, *paths)
    if warned is None:
        assert done.returncode == 0 and done.stderr == b"" and messages_of(home) == (3 * 200, 50)
        return
    assert done.returncode == 1 and done.stdout == b""
    assert warned in done.stderr and done.stderr.endswith(NOT_CONFIRMED)
    assert not os.path.exists(home.path("training"))
    done = learn(home, "--yes", *paths)
    assert done.returncode == 0 and warned in done.stderr
    assert messages_of(home) == (3 * good, spam)


@pytest.mark.parametrize("answer, learnt", [(b"y\n", True), (b"\n", False), (b"n\n", False), (b"\x04", False)])
def test_on_a_terminal_it_is_asked(home, answer, learnt):
    paths = put_boxes(home, 3, 3)
    code, shown = run_on_terminal("learn", "--directory", home.directory, "--plain", *paths,
                                  replies=[(b"Learn all the same? [y/N] ", answer)])
    assert b"Warning: 3 good messages are too few" in shown
    if learnt:
        assert code == 0 and b"Learnt 3 good messages and 3 spam messages." in shown
        assert messages_of(home) == (3, 3)
    else:
        assert code == 1 and shown.endswith(b"Nothing was learnt.\r\n")
        assert not os.path.exists(home.path("training"))


# -- what is told -------------------------------------------------------------------------------
def test_people_are_told_what_was_done_and_why(home):
    paths = put_boxes(home, 300, 100)
    told = learn(home, *paths).stdout.decode()
    words = len(word_list(home, "good")[1]), len(word_list(home, "bad")[1])
    assert told == (
        "Learnt 300 good messages and 100 spam messages.\n"
        "Each good message was counted 3 times, because there are fewer than 400 of them, or fewer than 2 for each spam "
        "message: so their words count from their first occurrence on.\n"
        f"The filter now knows 900 good messages with {words[0]} different words, and 100 spam messages with "
        f"{words[1]}.\n")


def test_keen_says_when_it_can_not_be(home):
    paths = put_boxes(home, 400, 200)
    done = learn(home, "--keen", *paths)
    assert done.returncode == 0
    assert b"There must be at least 2000 good messages for --keen, and there are 400." in done.stdout


def test_full_lists_are_told_with_the_way_out(home):
    home.configure({"TrainingAreaMaxMemory": 1})
    paths = put_boxes(home, 300, 100)
    done = learn(home, *paths)
    assert done.returncode == 0
    assert b"words were not learnt, because the lists are full. Set TrainingAreaMaxMemory" in done.stdout
    assert b"to more than 1 kilobytes" in done.stdout


def test_the_bar_is_for_terminals(home):
    paths = put_boxes(home, 400, 200)
    code, shown = run_on_terminal("learn", "--directory", home.directory, *paths)
    assert code == 0 and b"[##############] 600 of 600, " in shown and b" per second" in shown
    assert shown.rindex(b"\r\x1b[K") < shown.index(b"Learnt 400 good messages")
    assert b"per second" not in learn(home, *paths).stdout


def test_lists_that_can_not_be_saved_are_an_error(home):
    paths = put_boxes(home, 400, 200)
    home.write("training", b"a file where the folder should be")
    done = learn(home, *paths)
    assert done.returncode == 1 and done.stdout == b""
    assert done.stderr == b"The word lists could not be saved. Nothing was learnt.\n"


# -- a long run ---------------------------------------------------------------------------------
def test_ctrl_c_saves_what_was_learnt(home):
    home.configure({"TrainingAreaMaxMemory": 0})
    count = 40000
    paths = put_boxes(home, count, count)
    code, shown = run_on_terminal("learn", "--directory", home.directory, "--plain", *paths,
                                  replies=[(b"per second", signal.SIGINT)])
    assert code == 0, shown
    assert b"It was ended early" in shown
    good, bad = messages_of(home)
    assert 0 < good + bad < 2 * count
    assert f"Learnt {good} good messages and {bad} spam messages.".encode() in shown
    assert word_list(home, "good")[1]["garden"] == 3 * good
    if bad == 0:
        assert b"Warning: 0 spam messages" in shown


def peak_kilobytes(*arguments):
    """Exit code and peak memory of one run."""
    code = ("import resource, subprocess, sys; done = subprocess.run(sys.argv[1:], stdout=subprocess.DEVNULL); "
            "print(done.returncode, resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss)")
    # The address sanitizer would keep what was given back.
    done = subprocess.run([sys.executable, "-c", code, executable(), *arguments], stdout=subprocess.PIPE,
                          env={**os.environ, "ASAN_OPTIONS": "quarantine_size_mb=1"},
                          preexec_fn=end_with_the_tests, timeout=120, check=True)
    return tuple(map(int, done.stdout.split()))


def test_memory_does_not_grow_with_the_mailbox(home):
    def run(name, copies):
        body = b"garden and house\n" * 60
        with open(home.path(name), "wb") as file:
            for number in range(copies):
                file.write(FROM_LINE + b"Subject: %d\n\n" % number + body + b"\n")
        size = os.path.getsize(home.path(name))
        code, peak = peak_kilobytes("learn", "--directory", home.directory, "--yes", "--good", home.path(name))
        assert code == 0
        return size // 1024, peak

    small_size, small = run("small", 1000)
    large_size, large = run("large", 60000)
    assert large - small < (large_size - small_size) / 4


def test_a_file_size_limit_is_a_failure_and_not_the_end(home):
    boxes = put_boxes(home, 20, 10)
    assert learn(home, "--yes", *boxes).returncode == 0
    before = messages_of(home)

    def limit():
        resource.setrlimit(resource.RLIMIT_FSIZE, (64, 64))

    done = run_cli("learn", "--directory", home.directory, "--yes", *boxes, preexec_fn=limit)
    assert done.returncode == 1, done
    assert done.stderr.endswith(b"The word lists could not be saved. Nothing was learnt.\n")
    assert messages_of(home) == before


# -- taking it back ------------------------------------------------------------------------------
def lists(home):
    return word_list(home, "good"), word_list(home, "bad")


def learn_one_each(home):
    home.write("good.eml", mail(1, "garden"))
    home.write("spam.eml", mail(2, "lottery"))
    report(home, "--yes", "--good", home.path("good.eml"), "--spam", home.path("spam.eml"))


def test_the_last_learning_is_taken_back_once(home):
    home.write("before.eml", mail(3, "lottery"))
    report(home, "--yes", "--plain", "--spam", home.path("before.eml"))
    before = lists(home)
    learn_one_each(home)
    assert lists(home) != before
    assert report(home, "--undo", "--yes") == {"good_undone": 3, "spam_undone": 1, "mails_back": 0}
    assert lists(home) == before
    again = learn(home, "--undo", "--yes")
    assert (again.returncode, again.stdout) == (1, b"")
    assert again.stderr == b"There is no learning that could be taken back.\n"
    assert lists(home) == before


def test_without_a_terminal_nothing_is_taken_back_unasked(home):
    learn_one_each(home)
    learnt = lists(home)
    done = learn(home, "--undo")
    assert (done.returncode, done.stdout) == (1, b"")
    assert done.stderr == b"Nothing was taken back. With --yes it is done without a question.\n"
    assert lists(home) == learnt


@pytest.mark.parametrize("answer, undone", [(b"y\n", True), (b"n\n", False), (b"\n", False)])
def test_on_a_terminal_it_is_asked_before_an_undo(home, answer, undone):
    learn_one_each(home)
    learnt = lists(home)
    code, shown = run_on_terminal("learn", "--directory", home.directory, "--undo",
                                  replies=[(b"[y/N] ", answer)])
    assert b"Take the last learning back? It counted 1 messages as spam and 3 as wanted mail. [y/N] " in shown
    assert code == (0 if undone else 1)
    assert (b"Taken back: 1 messages as spam, 3 as wanted mail." in shown) == undone
    assert (lists(home) != learnt) == undone


def test_a_damaged_record_is_refused(home):
    learn_one_each(home)
    learnt = lists(home)
    record = home.read("training/last-lesson")
    home.write("training/last-lesson", record[:-1] + bytes([record[-1] ^ 1]))
    done = learn(home, "--undo", "--yes")
    assert done.returncode == 1
    assert done.stderr == b"The record of the last learning is damaged. It can not be taken back.\n"
    assert lists(home) == learnt


def test_undo_stands_alone(home):
    done = learn(home, "--undo", "--good", home.directory)
    assert done.returncode == 2
