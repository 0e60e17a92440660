# SPDX-License-Identifier: MIT
"""The road from received mail to a taught filter: marks, lessons and bulk learning beside running checks."""

import os
import signal
import subprocess
import threading
import time

import pytest

from learnt import (INDEX, kept_name, learnt_words, put_training, training_entries, training_files,
                    training_subjects, word_list, words_of, write_word_list)
from messages import ham, message, spam
from program import day_number, executable, run_cli

FRIEND = {"ann@friends.example": "Ann,2"}


def friendly(number):
    return message(f"greetings {number} to you", "Ann <ann@friends.example>", f"quiet words, number{number}\r\nend\r\n")


def run(one, *arguments, code=0):
    command, *rest = arguments
    done = run_cli(*command.split(" "), "--directory", one.directory, *rest)
    assert done.returncode == code, (done.stdout, done.stderr)
    return done


@pytest.fixture
def received(proxy, client, server):
    """received(messages) is a proxy that has just taken these in."""

    def take(*messages, one=None, **options):
        upstream = server(*messages, uid_prefix=os.urandom(4).hex().encode())
        one = one or proxy(**options)
        raw = client(one).login(upstream.port)
        raw.stat()
        raw.quit()
        upstream.wait_for_end()
        return one

    return take


# -- the training area ----------------------------------------------------------------------------
def test_two_spams_and_one_good_mail(received):
    """Each is counted once, leaves the area for good, and what bears no mark stays."""
    one = received(ham(1), spam(1), ham(2), spam(2))
    run(one, "training mark", "--spam", kept_name(spam(1)), kept_name(spam(2)))
    run(one, "training mark", "--good", kept_name(ham(1)))
    run(one, "training learn")
    assert word_list(one, "bad") == (2, learnt_words(spam(1), spam(2)))
    assert word_list(one, "good") == (1, learnt_words(ham(1)))
    assert training_subjects(one) == ["ham 2"]
    assert list(training_files(one)) == [kept_name(ham(2))]
    before = one.read(INDEX), word_list(one, "bad"), word_list(one, "good")
    run(one, "training learn")
    assert (one.read(INDEX), word_list(one, "bad"), word_list(one, "good")) == before


def test_word_that_stands_three_times_counts_three(received):
    data = message("x", "a@b.example", "pills for Pills and PILLS\r\nend\r\n")
    one = received(data)
    run(one, "training mark", "--spam", kept_name(data))
    run(one, "training learn")
    assert word_list(one, "bad") == (1, {"pills": 3, "for": 1, "and": 1})


def test_first_line_of_a_decoded_text_is_learnt(received):
    """Decoding took the empty line away: what looks like a field is the text's first line."""
    data = message("encoded", body="UHJpY2U6IDUgZXVybyANCg==\r\n", fields=[("Content-Transfer-Encoding", "base64")])
    one = received(data)
    (entry,) = training_entries(one)
    assert one.read("training/" + entry["filename"]) == b"Price: 5 euro \r\n"
    run(one, "training mark", "--spam", entry["filename"])
    run(one, "training learn")
    assert word_list(one, "bad") == (1, {"price": 1, "euro": 1})


def test_decoded_subject_is_learnt(received):
    data = message("=?iso-8859-1?Q?Gr=FC=DFe_for_you?= lost", body="body\r\nend\r\n")
    one = received(data)
    run(one, "training mark", "--good", kept_name(data))
    run(one, "training learn")
    assert word_list(one, "good") == (1, words_of(b"body\r\nend", b"Gr\xfc\xdfe for you"))
    assert "gr\xfc\xdfe" in word_list(one, "good")[1]


def test_missing_file_leaves_without_a_count(received):
    one = received(ham(1), ham(2))
    run(one, "training mark", "--spam", kept_name(ham(1)), kept_name(ham(2)))
    os.remove(one.path("training", kept_name(ham(1))))
    run(one, "training learn")
    assert training_entries(one) == []
    assert word_list(one, "bad") == (1, learnt_words(ham(2)))


def test_marks_outlive_checks_and_the_purge_takes_them_with_it(received, client, server):
    one = received(ham(1))
    run(one, "training mark", "--spam", kept_name(ham(1)))
    received(ham(2), one=one)
    marks = {entry["subject"]: entry.get("mark") for entry in training_entries(one)}
    assert marks == {"ham 1": "1", "ham 2": None}
    assert list(training_entries(one)[0]) == ["filename", "sender", "mail", "subject", "date", "time", "size", "mark"]
    old = put_training(one, b"\r\nold\r\n", day_number() - 10, mark=0)
    one.stop()
    one.write("Quillbeaker.ini", one.read("Quillbeaker.ini").replace(
        b"TrainingAreaDeleteOldMessagesLast=%d" % day_number(), b"TrainingAreaDeleteOldMessagesLast=1"))
    one.start()
    client(one).login(server().port).quit()
    assert old not in training_files(one)
    assert training_subjects(one) == ["ham 1", "ham 2"]


def test_learnt_text_may_come_again(received):
    one = received(ham(1))
    run(one, "training mark", "--good", kept_name(ham(1)))
    run(one, "training learn")
    received(ham(1), one=one)
    assert training_subjects(one) == ["ham 1"]
    assert "mark" not in training_entries(one)[0]


@pytest.mark.parametrize("delay", [0, 0.004, 0.008, 0.012, 0.02, 0.03, 0.05])
def test_killed_lesson_loses_no_message(program_directory, delay):
    one = program_directory()
    texts = [b"\r\nword%d common \r\n" % number for number in range(1000, 1400)]
    names = [f"{number}.eml" for number in range(1000, 1400)]
    one.write(INDEX, "<training>" + "".join(
        f'<message filename="{name}" sender="" mail="" date="{day_number()}" time="10:00" size="19" mark="1"/>'
        for name in names) + "</training>")
    for name, text in zip(names, texts):
        one.write(f"training/{name}", text)
    process = subprocess.Popen([executable(), "training", "learn", "--directory", one.directory],
                               stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    time.sleep(delay)
    process.send_signal(signal.SIGKILL)
    process.wait()
    bad = word_list(one, "bad")
    assert bad in ((0, {}), (400, words_of(*texts)))
    left = [entry["filename"] for entry in training_entries(one)]
    assert left in ([], names)
    assert left or bad[0] == 400
    run(one, "training learn")
    assert training_entries(one) == []
    assert word_list(one, "bad")[0] in (400, 800) and word_list(one, "bad")[0] == bad[0] + len(left)


# -- beside a check -------------------------------------------------------------------------------
def test_lessons_and_bulk_learning_beside_checks_lose_no_count(received):
    """A proxy learns from friends while other processes learn from the area and from files."""
    one = received(ham(0), senders=FRIEND)
    for number in range(20):
        one.write(f"mail/{number}.eml", message(f"s {number} x", "x@y.example", f"bulk mail{number}x \r\n"))
    errors = []

    def lessons():
        try:
            for number in range(8):
                name = take_one_in(number)
                run(one, "training mark", "--spam", name)
                run(one, "training learn")
        except BaseException as error:  # told in the main thread
            errors.append(error)

    def take_one_in(number):
        # Through a check, as all mail comes: two processes write the index then, not the test.
        data = message(f"area {number} x", "u@v.example", f"lesson area{number}x\r\nend\r\n")
        with checking:
            received(data, one=one)
        return kept_name(data)

    def bulk():
        try:
            for _ in range(5):
                run(one, "learn", "--plain", "--yes", "--spam", one.path("mail"))
        except BaseException as error:
            errors.append(error)

    checking = threading.Lock()
    threads = [threading.Thread(target=work) for work in (lessons, bulk)]
    for thread in threads:
        thread.start()
    for number in range(8):
        with checking:
            received(friendly(number), one=one)
    for thread in threads:
        thread.join(120)
    assert errors == []
    assert word_list(one, "good") == (8, learnt_words(*map(friendly, range(8))))
    messages, words = word_list(one, "bad")
    assert messages == 8 + 5 * 20
    assert words["lesson"] == 8 and words["bulk"] == 100 and words["mail7x"] == 5 and words["area7x"] == 1
    assert training_subjects(one) == ["ham 0"]


@pytest.mark.parametrize("delay", [0.01, 0.05, 0.1, 0.2])
def test_killed_bulk_learning_leaves_whole_lists(program_directory, delay):
    one = program_directory()
    write_word_list(one, "bad", 3, {"old": 3})
    for number in range(300):
        one.write(f"mail/{number}.eml", message(f"s {number} x", "x@y.example", f"bulk mail{number}x \r\n"))
    process = subprocess.Popen([executable(), "learn", "--plain", "--yes", "--spam", one.path("mail"),
                                "--directory", one.directory], stdin=subprocess.DEVNULL,
                               stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    time.sleep(delay)
    process.send_signal(signal.SIGKILL)
    process.wait()
    messages, words = word_list(one, "bad")
    assert messages in (3, 303) and words["old"] == 3
    run(one, "learn", "--plain", "--yes", "--spam", one.path("mail"))
    assert word_list(one, "bad")[0] == messages + 300


# -- bulk learning --------------------------------------------------------------------------------
def test_bare_line_feeds_are_line_ends(program_directory):
    one = program_directory()
    one.write("unix.eml", b"Subject: some words here\nContent-Type: text/html\n\n<b>bold</b> text\n")
    run(one, "learn", "--plain", "--yes", "--spam", one.path("unix.eml"))
    assert word_list(one, "bad") == (1, {"some": 1, "words": 1, "bold": 1, "text": 1})


def test_scarce_good_mail_is_counted_three_times(program_directory):
    one = program_directory()
    for number in range(3):
        one.write(f"good/{number}.eml", b"X: y\r\n\r\nword w%dx \r\n" % number)
    one.write("spam/1.eml", b"X: y\r\n\r\npills \r\n")
    arguments = ("learn", "--good", one.path("good"), "--spam", one.path("spam"))
    # Too little: nothing without a word of the person.
    run(one, *arguments, code=1)
    assert word_list(one, "good") == word_list(one, "bad") == (0, {})
    run(one, *arguments, "--yes")
    assert word_list(one, "good") == (9, {"word": 9, "w0x": 3, "w1x": 3, "w2x": 3})
    assert word_list(one, "bad") == (1, {"pills": 1})
    run(one, *arguments, "--yes", "--plain")
    assert word_list(one, "good")[0] == 12 and word_list(one, "bad")[0] == 2


def test_bulk_learning_knows_no_size_limit(program_directory):
    one = program_directory()
    one.configure({"FilterMaxMessageSize": 100})
    one.write("large.eml", b"X: y\r\n\r\n" + b"large " * 50000 + b"\r\n")
    run(one, "learn", "--plain", "--yes", "--spam", one.path("large.eml"))
    assert word_list(one, "bad") == (1, {"large": 50000})


def test_taught_filter_judges_the_next_check(proxy, client, server):
    one = proxy()
    for number in range(10):
        one.write(f"good/{number}.eml", message(f"g {number}", body=f"minutes of our meeting g{number}x \r\n"))
        one.write(f"spam/{number}.eml", message(f"s {number}", body=f"cheap pills without recipe s{number}x \r\n"))
    run(one, "learn", "--plain", "--yes", "--good", one.path("good"), "--spam", one.path("spam"))
    upstream = server(message("a", body="cheap pills without recipe, hurry\r\n"),
                      message("b", body="minutes of our meeting are here\r\n"))
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 1
    raw.quit()
    (entry,) = one.bin_entries()
    assert entry["subject"] == "a" and entry["spamwords"].startswith("(LF:) ")
    assert training_subjects(one) == ["a", "b"]
