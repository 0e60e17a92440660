# SPDX-License-Identifier: MIT
"""Why a message is judged as it is: the explanation, and that it never says other than `classify`."""

import json
import math

import pytest

from learnt import write_word_list
from messages import message, samples, spam
from program import run_cli


@pytest.fixture
def home(program_directory):
    """A directory with something learnt, spam words and sender lists."""
    one = program_directory()
    configure(one)
    one.spam_words({"zorkmoney": 60, "quiet note": 5}, {"level50": 80})
    one.write("spampoints_user.ini", "[PROBABILITIES]\nOffer=30\n")
    write_word_list(one, "good", 10, {"garden": 10, "house": 10})
    write_word_list(one, "bad", 20, {"lottery": 20, "house": 20, "winner": 5})
    return one


def configure(home, **settings):
    home.configure(settings, senders={"*@friends.example": "Fred,2", "bad@example.org": ",1"})


def explain(home, text, *arguments):
    path = home.write("mail.eml", text)
    done = run_cli("explain", "--directory", home.directory, *arguments, path)
    assert done.returncode == 0, done.stderr
    return done.stdout


def explained(home, text):
    return json.loads(explain(home, text, "--json"))


def classified(home, text):
    path = home.write("mail.eml", text)
    return json.loads(run_cli("classify", "--directory", home.directory, "--json", path).stdout)


def test_everything_is_in_the_json(home):
    mail = message("an offer", body="garden lottery lottery house winner <b>zorkmoney</b> OFFER\r\n")
    told = explained(home, mail)
    assert told == {**classified(home, mail), "size": len(mail), "size_limit": 65536, "spam_without_limit": None,
                    "sender": {"address": "ann@example.org", "name": "Ann Example"}, "entry": None,
                    "learnt_words": told["learnt_words"], "spam_words": told["spam_words"]}
    learnt = told["learnt_words"]
    words = {word.pop("word"): word for word in learnt["words"]}
    # garden 10 of 10 good; lottery 20 of 20 spam; house in all of both; winner 5 times, which is too seldom.
    assert words == {"garden": {"good": 10, "spam": 0, "probability": 0.01},
                     "lottery": {"good": 0, "spam": 20, "probability": 0.99},
                     "winner": {"good": 0, "spam": 5, "probability": 0.4},
                     "zorkmoney": {"good": 0, "spam": 0, "probability": 0.4},
                     "offer": {"good": 0, "spam": 0, "probability": 0.4},
                     "house": {"good": 10, "spam": 20, "probability": 0.5}}
    distances = [abs(word["probability"] - 0.5) for word in learnt["words"]]
    assert distances == sorted(distances, reverse=True)
    p = math.prod(word["probability"] for word in words.values())
    q = math.prod(1 - word["probability"] for word in words.values())
    assert (learnt["on"], learnt["good_messages"], learnt["spam_messages"]) == (True, 10, 20)
    assert math.isclose(learnt["p"], p) and math.isclose(learnt["q"], q)
    assert math.isclose(learnt["probability"], p / (p + q))
    assert told["spam_words"] == {
        "on": True, "sum": 120, "threshold": 80, "threshold_file": "spampoints.ini",
        "words": [{"word": "Offer", "percent": 30, "predefined": False, "in_subject": True, "in_text": True},
                  {"word": "zorkmoney", "percent": 60, "predefined": True, "in_subject": False, "in_text": True}]}
    assert told["spam"] is True and told["reason"] == "spam words"


def test_people_get_it_in_words(home):
    told = explain(home, message("an offer", body="garden house zorkmoney\r\n")).decode()
    lines = told.splitlines()
    assert lines[0].startswith("spam  0.9000  ") and lines[0].endswith(
        "(spam words against the threshold of 80 percent at level 50: Offer, zorkmoney)")
    assert lines[1:] == [
        "Sender: ann@example.org (Ann Example), on neither list",
        "Learnt words, the most telling first (from 10 good and 20 spam messages):",
        "  probability      good      spam  word",
        "       0.0100        10         0  garden",
        "       0.4000         0         0  zorkmoney",
        "       0.5000        10        20  house",
        "  P = 0.002, Q = 0.297, P / (P + Q) = 0.006689",
        "  Between 3e-07 and 0.9: the spam words decide.",
        "Spam words:",
        "  percent  subject  text  word",
        "       30        x        Offer",
        "       60              x  zorkmoney",
        "  Sum: 90 percent; threshold of level 50: 80 percent (spampoints.ini)"]


@pytest.mark.parametrize("sender, list_name, entry", [
    ("Eve <eve@FRIENDS.example>", "Friend List", "*@friends.example"),
    ("bad@example.org", "Blocked Senders List", "bad@example.org")])
def test_a_listed_sender_decides_and_is_named(home, sender, list_name, entry):
    told = explain(home, message(sender=sender, body="zorkmoney\r\n")).decode()
    reason = f"sender on the {list_name}"
    assert f", on the {list_name} by the entry {entry}\n" in told
    assert told.count(f"  These words were not asked: {reason}.\n") == 2
    assert "       60              x  zorkmoney\n" in told


def test_a_message_without_sender(home):
    assert "Sender: none\n" in explain(home, b"Subject: x\r\n\r\nhello\r\n").decode()


def test_nothing_learnt_and_nothing_found(program_directory):
    told = explain(program_directory(), message()).decode().splitlines()[2:]
    assert told == ["Learnt words: there are none that could tell anything. Result 0.4",
                    "  Between 3e-07 and 0.9: the spam words decide.",
                    "Spam words: none found",
                    "  Sum: 0 percent; threshold of level 50: 100 percent (set in no file)"]


def test_what_is_switched_off_is_told(home):
    configure(home, FilterLearningEnable=0)
    told = explain(home, message(body="lottery\r\n")).decode()
    assert "  These words were not asked: the learning filter is switched off.\n" in told
    configure(home, FilterWordEnable=0)
    told = explain(home, message(body="house and garden and lottery\r\n")).decode()
    assert "  These words were not asked: the word filter is switched off;" in told
    configure(home, Enable=0)
    told = explain(home, message(body="house\r\n")).decode()
    assert told.count("  These words were not asked: the filter is switched off.\n") == 2


def test_a_large_message_is_explained(home):
    mail = message("offer", body="zorkmoney\r\n" + "filler line\r\n" * 6000)
    told = explained(home, mail)
    assert (told["spam"], told["reason"], told["spam_without_limit"]) == (False, "too large", True)
    assert told["spam_words"]["sum"] == 90
    text = explain(home, mail).decode()
    assert (f"Size: {len(mail)} bytes. From 65536 on the mail check passes mail on without judging it; otherwise "
            "this would be: spam (spam words against") in text
    # What follows is the judgement that it would be, of which the size is no part.
    assert "the spam words decide." in text and "not asked" not in text


def test_settled_by_learnt_words(home):
    told = explain(home, message(body="lottery lottery\r\n")).decode()
    assert "  At least 0.9: spam, whatever the spam words say.\n" in told
    assert told.endswith("  These words were not asked: learnt words.\n")


def test_a_file_that_can_not_be_read(home):
    done = run_cli("explain", "--directory", home.directory, home.path("missing"))
    assert done.returncode == 1 and done.stdout.endswith(b"The file can not be read. No such file or directory\n")
    done = run_cli("explain", "--json", "--directory", home.directory, home.path("missing"))
    assert done.returncode == 1 and list(json.loads(done.stdout)) == ["file", "error"]


def test_the_verdict_is_that_of_classify(home):
    mails = [*samples().values(), spam(), message("offer", body="zorkmoney garden\r\n"),
             message(sender="x@friends.example", body="lottery\r\n"), message(sender="bad@example.org"),
             message(body="lottery winner\r\n"), message("offer", body="zorkmoney " * 9000)]
    verdicts = set()
    for settings in [{}, {"Aggressiveness": 0}, {"Aggressiveness": 100}, {"FilterWordEnable": 0},
                     {"FilterLearningEnable": 0}, {"Enable": 0}, {"FilterMaxMessageSize": 300}]:
        configure(home, **settings)
        for mail in mails:
            judgement, told = classified(home, mail), explained(home, mail)
            assert {key: told[key] for key in judgement} == judgement
            verdicts.add((judgement["reason"], judgement["spam"]))
    assert len(verdicts) >= 7
