# SPDX-License-Identifier: MIT
"""What a mail check learns, keeps for training and counts, told from the files that it leaves."""

import datetime
import email.utils
import os
import signal
import threading
import time

import pytest

from learnt import (INDEX, kept_name, learnt_words, list_name, put_training, statistics,
                    training_entries, training_files, training_subjects, word_list, write_word_list)
from messages import SPAM_WORD, date, ham, message, parsed_size, spam
from program import day_number
from scripted_server import reply, then_silence

FRIEND = {"ann@friends.example": "Ann,2"}
BLOCKED = {"bad@blocked.example": "Bad,1"}
SENDERS = {**FRIEND, **BLOCKED}
NOTHING = (0, {})


def from_friend(number=1, **options):
    return message(f"greetings number {number} to you", "Ann <ann@friends.example>",
                   f"quiet words of friendship, number{number} quiet\r\nthe end\r\n", **options)


def from_blocked(number=1, **options):
    return message(f"offers number {number} for you", "Bad <bad@blocked.example>",
                   f"cheap pills cheap pills cheap, number{number}\r\nthe end\r\n", **options)


@pytest.fixture
def check(proxy, client, server):
    """check(messages, ...) runs one whole mail check and gives the proxy's directory.

    `act` is called with the raw client after STAT; `delete` names the client's numbers to delete."""
    calls = []

    def run(messages, one=None, upstream=None, retrieve=True, delete=(), act=None, **options):
        calls.append(messages)
        upstream = upstream or server(*messages, uid_prefix=b"uid%d" % len(calls))
        options.setdefault("senders", SENDERS)
        one = one or proxy(**options)
        connection = upstream.connections + 1
        raw = client(one).login(upstream.port)
        count = raw.stat()[0]
        if act:
            act(raw)
        if retrieve:
            for number in range(1, count + 1):
                raw.retr(number)
        for number in delete:
            assert raw.ask(f"DELE {number}") == b"+OK Message deleted"
        raw.quit()
        upstream.wait_for_end(connection)
        return one

    return run


def lists(one):
    return word_list(one, "good"), word_list(one, "bad")


def assert_untouched(one):
    """Neither learnt nor kept."""
    assert lists(one) == (NOTHING, NOTHING)
    assert training_entries(one) == [] and training_files(one) == {}


# -- who is learnt, who is kept -----------------------------------------------------------------
def test_friends_are_learnt_as_good(check):
    one = check([from_friend(1), from_friend(2)])
    assert word_list(one, "good") == (2, learnt_words(from_friend(1), from_friend(2)))
    assert word_list(one, "good")[1]["quiet"] == 4
    assert word_list(one, "bad") == NOTHING
    assert training_entries(one) == [] and training_files(one) == {}


def test_blocked_senders_are_learnt_as_spam(check):
    one = check([from_blocked(1), from_blocked(2)])
    assert word_list(one, "bad") == (2, learnt_words(from_blocked(1), from_blocked(2)))
    assert word_list(one, "bad")[1]["cheap"] == 6
    assert word_list(one, "good") == NOTHING
    assert training_entries(one) == []
    assert len(one.bin_entries()) == 2


def test_others_are_kept_for_training(check):
    one = check([ham(1), from_friend(1), spam(1), from_blocked(1)])
    # In the order in which the check goes through the mailbox: the last message first.
    entries = training_entries(one)[::-1]
    assert [entry["subject"] for entry in entries] == ["ham 1", "offer 1"]
    assert training_files(one) == {kept_name(ham(1)): b"\r\na quiet note with number 1\r\nand its end",
                                   kept_name(spam(1)): b"\r\nbuy zorkmoney today, number 1"}
    moment = email.utils.parsedate_to_datetime(date())
    assert entries[0] == {"filename": kept_name(ham(1)), "sender": "Ann Example", "mail": "ann@example.org",
                          "subject": "ham 1", "date": str(day_number(moment.date())),
                          "time": moment.strftime("%H:%M"), "size": "41"}
    assert [m for m, _ in lists(one)] == [1, 1]
    # The hidden one is in the recycle bin all the same.
    assert sorted(e["subject"] for e in one.bin_entries()) == ["offer 1", "offers number 1 for you"]


def test_index_is_written_as_others_read_it(check):
    one = check([message("a=\xe9 <b>", "J\xf6rg \"&\" <j@b.example>", "text\r\n",
                         when="Tue, 4 Feb 03 23:30:00 -0200")])
    assert one.read(INDEX) == (
        b'<?xml version="1.0" encoding="ISO-8859-1"?>\n<training>\n  <message filename="%s" sender="J\xf6rg &quot;'
        b'&amp;" mail="j@b.example" subject="a=\xe9 &lt;b&gt;" date="2452676" time="01:30" size="6"/>\n'
        b'</training>\n' % kept_name(b"X: y\r\n\r\ntext\r\n").encode())


def test_learning_goes_on_from_what_was_learnt(check, program_directory):
    one = program_directory()
    one.configure({}, senders=SENDERS)
    write_word_list(one, "good", 10, {"quiet": 7, "old": 1})
    write_word_list(one, "bad", 20, {"pills": 5})
    one.start()
    check([from_friend(1), from_blocked(1)], one=one)
    assert word_list(one, "good")[0] == 11 and word_list(one, "bad")[0] == 21
    assert word_list(one, "good")[1]["quiet"] == 9 and word_list(one, "good")[1]["old"] == 1
    assert word_list(one, "bad")[1]["pills"] == 7


def test_mail_without_from_is_kept_for_training(check):
    data = b"Subject: nobody\r\nDate: " + date().encode() + b"\r\n\r\nfrom nobody at all\r\n"
    one = check([data])
    (entry,) = training_entries(one)
    assert entry["sender"] == "" and entry["mail"] == "" and entry["subject"] == "nobody"
    assert list(training_files(one)) == [kept_name(data)]
    assert lists(one) == (NOTHING, NOTHING)


def test_mail_without_date_and_subject_is_kept_for_training(check):
    data = b"From: a@b.example\r\n\r\ntimeless\r\n"
    (entry,) = training_entries(check([data]))
    assert entry == {"filename": kept_name(data), "sender": "a@b.example", "mail": "a@b.example",
                     "date": "25657560", "time": "00:00", "size": "10"}


def test_decoded_text_is_kept(check):
    quoted = message("=?iso-8859-1?Q?Gr=FC=DFe?= =?x?Q?y?= z", body="na=EFve caf=E9_=\r\nover\r\n",
                     fields=[("Content-Transfer-Encoding", "quoted-printable")])
    encoded = message("encoded", body="UHJpY2U6IDUgZXVybyANCg==\r\n",
                      fields=[("Content-Transfer-Encoding", "base64")])
    tagged = message("tagged", body="<p>Hi<br>you&nbsp;there</p>\r\n", fields=[("Content-Type", "text/html")])
    picture = message("picture", body="GIF89a\r\n", fields=[("Content-Type", "image/gif")])
    one = check([quoted, encoded, tagged, picture], settings={"FilterWordHTML": 0})
    assert sorted(training_files(one).values()) == sorted([
        b"\r\nna\xefve caf\xe9 over", b"Price: 5 euro \r\n", b"\r\nHi\r\nyou there", b""])
    assert training_subjects(one) == ["Gr\xfc\xdfe", "encoded", "picture", "tagged"]
    assert training_files(one)["0.eml"] == b""


def test_same_text_twice_is_kept_once(check):
    one = check([message("other subject", body="a quiet note with number 1\r\nand its end\r\n"), ham(1), ham(1)])
    assert training_subjects(one) == ["ham 1"]
    assert list(training_files(one)) == [kept_name(ham(1))]
    before = one.read(INDEX)
    check([ham(1)], one=one)
    assert one.read(INDEX) == before


def test_same_friendly_mail_twice_is_learnt_twice(check):
    one = check([from_friend(1), from_friend(1)])
    assert word_list(one, "good") == (2, learnt_words(from_friend(1), from_friend(1)))


def test_kept_text_whose_entry_is_gone_gets_it_back(check):
    one = check([ham(1), ham(2)])
    one.write(INDEX, b'<?xml version="1.0" encoding="ISO-8859-1"?>\n<training/>\n')
    check([ham(1)], one=one)
    assert training_subjects(one) == ["ham 1"]
    assert len(training_files(one)) == 2


# -- switches -----------------------------------------------------------------------------------
@pytest.mark.parametrize("level", [0, 100])
def test_nothing_is_learnt_at_the_end_levels(check, level):
    one = check([ham(1), from_friend(1), spam(1), from_blocked(1)], settings={"Aggressiveness": level})
    assert_untouched(one)


@pytest.mark.parametrize("level", [25, 50, 75])
def test_learning_goes_on_at_the_levels_between(check, level):
    one = check([ham(1), from_friend(1), from_blocked(1)], settings={"Aggressiveness": level})
    assert [m for m, _ in lists(one)] == [1, 1]
    assert training_subjects(one) == ["ham 1"]


@pytest.mark.parametrize("off", ["FilterLearningEnable", "Enable"])
def test_nothing_is_learnt_while_learning_is_off(check, off):
    assert_untouched(check([ham(1), from_friend(1), spam(1), from_blocked(1)], settings={off: 0}))


def test_learning_does_not_need_the_spam_words(check):
    one = check([ham(1), from_friend(1), from_blocked(1)], settings={"FilterWordEnable": 0})
    assert [m for m, _ in lists(one)] == [1, 1]
    assert training_subjects(one) == ["ham 1"]


def test_friends_are_neither_learnt_nor_kept_when_switched_off(check):
    one = check([ham(1), from_friend(1), from_blocked(1)], settings={"FilterLearningAutoFriends": 0})
    assert word_list(one, "good") == NOTHING and word_list(one, "bad")[0] == 1
    assert training_subjects(one) == ["ham 1"]


def test_blocked_senders_are_neither_learnt_nor_kept_when_switched_off(check):
    one = check([ham(1), from_friend(1), from_blocked(1)], settings={"FilterLearningAutoBlocked": 0})
    assert word_list(one, "bad") == NOTHING and word_list(one, "good")[0] == 1
    assert training_subjects(one) == ["ham 1"]


def test_lists_and_switches_are_asked_at_quit(check, proxy):
    one = proxy(senders={})
    check([from_friend(1), from_blocked(1)], one=one,
          act=lambda raw: one.configure({}, senders={**SENDERS, **FRIEND}))
    assert [m for m, _ in lists(one)] == [1, 1]
    assert training_entries(one) == []
    two = proxy(senders=SENDERS)
    check([from_friend(1)], one=two, act=lambda raw: two.configure({"FilterLearningEnable": 0}, senders=SENDERS))
    assert_untouched(two)


# -- which messages -----------------------------------------------------------------------------
def test_mail_that_the_client_deletes_is_learnt_and_kept(check):
    one = check([ham(1), from_friend(1)], delete=[1, 2])
    assert word_list(one, "good") == (1, learnt_words(from_friend(1)))
    assert training_subjects(one) == ["ham 1"]
    assert one.known_ids() == []


def test_mail_that_the_client_does_not_retrieve_is_learnt_and_kept(check):
    one = check([ham(1), from_friend(1)], retrieve=False)
    assert word_list(one, "good")[0] == 1
    assert training_subjects(one) == ["ham 1"]


def test_known_mail_is_not_learnt_again(check, server):
    upstream = server(ham(1), from_friend(1))
    one = check([], upstream=upstream)
    training = one.read(INDEX)
    os.remove(one.path("training", kept_name(ham(1))))
    one.write(INDEX, b'<?xml version="1.0" encoding="ISO-8859-1"?>\n<training/>\n')
    # Not even when the client reads it again, or deletes it.
    check([], one=one, upstream=upstream)
    check([], one=one, upstream=upstream, delete=[1, 2])
    assert upstream.count("RETR") == 6
    assert word_list(one, "good")[0] == 1
    assert training_entries(one) == [] and training_files(one) == {}
    assert b"ham 1" in training


def test_everything_is_new_and_learnt_again_without_ids(check, server):
    upstream = server(ham(1), from_friend(1))
    one = check([], upstream=upstream, settings={"UIDChecking": 0})
    check([], one=one, upstream=upstream)
    assert word_list(one, "good")[0] == 2
    assert training_subjects(one) == ["ham 1"]


def test_restored_mail_is_never_learnt(check, proxy, server):
    one = proxy(senders=SENDERS)
    one.restored_entry("2452676_231507_1.recycle", from_friend(1), "jane @ 127.0.0.1")
    one.restored_entry("2452676_231507_2.recycle", ham(1), "jane @ 127.0.0.1")
    one.restored_entry("2452676_231507_3.recycle", from_blocked(1), "jane @ 127.0.0.1")
    check([ham(9)], one=one)
    assert one.bin_entries() == []
    assert lists(one) == (NOTHING, NOTHING)
    assert training_subjects(one) == ["ham 9"]


def test_message_that_could_not_be_had_is_not_learnt(proxy, client, server):
    upstream = server(ham(3), from_friend(1), ham(1))
    upstream.when("RETR 2", reply(b"-ERR gone\r\n"))
    one = proxy(senders=SENDERS)
    raw = client(one).login(upstream.port)
    raw.stat()
    raw.quit()
    upstream.wait_for_end()
    assert training_subjects(one) == ["ham 1"]
    assert lists(one) == (NOTHING, NOTHING)


def test_spam_that_could_not_be_filed_is_neither_learnt_nor_counted(check, proxy, server):
    """It stays on the server and is judged again: then it is learnt, once."""
    upstream = server(from_blocked(1), spam(1), ham(1), from_friend(1))
    one = proxy(senders=SENDERS)

    def take_the_bin_away(raw):
        os.rename(one.path("recycle"), one.path("away"))
        one.write("recycle", b"in its place")

    check([], one=one, upstream=upstream, act=take_the_bin_away)
    assert upstream.numbers() == [1, 2, 3, 4]
    assert word_list(one, "bad") == NOTHING and word_list(one, "good")[0] == 1
    assert training_subjects(one) == ["ham 1"]
    assert statistics(one) == {}
    os.remove(one.path("recycle"))
    os.rename(one.path("away"), one.path("recycle"))
    check([], one=one, upstream=upstream)
    assert upstream.numbers() == [3, 4]
    assert [m for m, _ in lists(one)] == [1, 1]
    assert training_subjects(one) == ["ham 1", "offer 1"]
    assert statistics(one) == {day_of(date()): 2}


def test_session_without_a_view_learns_nothing(proxy, client, server):
    upstream = server(ham(1), from_friend(1))
    one = proxy(senders=SENDERS)
    client(one).login(upstream.port).quit()
    upstream.wait_for_end()
    assert_untouched(one)


def test_session_without_quit_learns_and_counts_nothing(proxy, client, server):
    upstream = server(ham(1), from_friend(1), from_blocked(1))
    one = proxy(senders=SENDERS)
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 2
    raw.close()
    upstream.wait_for_end()
    assert_untouched(one)
    assert not statistics(one)


def sized(data, size):
    """The message made so long that it has this size once it is fetched."""
    return data[:-2] + b"." * (size - parsed_size(data)) + b"\r\n"


@pytest.mark.parametrize("setting, limit", [({}, 65536), ({"FilterMaxMessageSize": 3000}, 3000)])
def test_large_mail_is_neither_learnt_nor_kept(check, setting, limit):
    small, large = sized(from_friend(1), limit - 1), sized(from_friend(2), limit)
    assert parsed_size(small) == limit - 1 and parsed_size(large) == limit
    one = check([small, large, sized(ham(1), limit - 1), sized(ham(2), limit)], settings=setting)
    good = word_list(one, "good")
    assert good == (1, learnt_words(small))
    assert training_subjects(one) == ["ham 1"]


def test_no_size_is_too_large_without_a_limit(check):
    one = check([sized(from_friend(1), 300000), sized(ham(1), 300000)], settings={"FilterMaxMessageSize": 0})
    assert word_list(one, "good")[0] == 1
    assert training_subjects(one) == ["ham 1"]


def test_word_budget_bounds_the_lists(check):
    many = message("many", "Ann <ann@friends.example>", " ".join(f"word{n}" for n in range(1000, 2000)) + "\r\n")
    one = check([many, from_friend(1)], settings={"TrainingAreaMaxMemory": 1})
    messages, words = word_list(one, "good")
    assert messages == 2
    assert 500 <= sum(len(word) + 5 for word in words) <= 512


def test_what_was_learnt_judges_the_next_mail(check):
    """Five spams and five good mails: a mail of the spams' words is spam without any spam word."""
    one = check([from_blocked(n) for n in range(5)] + [from_friend(n) for n in range(5)])
    stranger = message("hello", "Who <who@else.example>", "cheap pills cheap pills, buy them now\r\n")
    check([stranger, message("fine", "Who <who@else.example>", "quiet words of friendship are here\r\n")], one=one)
    assert [e["subject"] for e in one.bin_entries()][5:] == ["hello"]
    assert one.bin_entries()[5]["spamwords"].startswith("(LF:) ")


# -- statistics ---------------------------------------------------------------------------------
def day_of(when):
    return day_number(email.utils.parsedate_to_datetime(when).date())


def test_spam_is_counted_by_the_day_of_its_date(check):
    one = check([spam(1), spam(2, when=date(2)), spam(3, when=date(2)), from_blocked(4, when=date(28)), ham(5)])
    assert statistics(one) == {day_of(date()): 1, day_of(date(2)): 2, day_of(date(28)): 1}
    assert one.setting("Days", "STATS") == f"{day_of(date())},{day_of(date(2))},{day_of(date(28))},"
    assert one.setting("Mails", "STATS") == "1,2,1,"
    check([spam(6), spam(7, when=date(2))], one=one)
    assert statistics(one) == {day_of(date()): 2, day_of(date(2)): 3, day_of(date(28)): 1}


def test_days_are_those_of_utc(check):
    today = datetime.datetime.now(datetime.timezone.utc).replace(hour=1, minute=30)
    when = (today - datetime.timedelta(days=5)).strftime("%a, %d %b %Y %H:%M:00")
    one = check([spam(1, when=when + " +0200"), spam(2, when=when + " +0000")])
    assert statistics(one) == {day_number(today.date()) - 5: 1, day_number(today.date()) - 6: 1}


@pytest.mark.parametrize("when", ["Wed, 5 Feb 2003 10:00:00 +0000", "Fri, 1 Jan 2100 10:00:00 +0000", "nonsense"])
def test_spam_of_days_outside_the_month_is_not_counted(check, when):
    one = check([spam(1, when=when)])
    assert len(one.bin_entries()) == 1
    assert statistics(one) == {}


def test_spam_without_a_date_is_not_counted(check):
    one = check([b"From: a@b.example\r\nSubject: x\r\n\r\n" + SPAM_WORD.encode() + b" here\r\n", spam(1)])
    assert len(one.bin_entries()) == 2
    assert statistics(one) == {day_of(date()): 1}


def test_mail_that_the_client_deletes_is_no_spam(check):
    one = check([ham(1), ham(2)], delete=[1, 2])
    assert statistics(one) == {}
    assert one.setting("Days", "STATS") == "" and one.setting("Mails", "STATS") == ""


@pytest.mark.parametrize("level, count", [(0, 1), (100, 3)])
def test_spam_is_counted_where_nothing_is_learnt(check, level, count):
    one = check([ham(1), spam(1), from_blocked(1), from_friend(1)], settings={"Aggressiveness": level})
    assert statistics(one) == {day_of(date()): count}


def test_counts_of_other_days_stay_and_old_ones_go(check):
    today = day_number(datetime.datetime.now(datetime.timezone.utc).date())
    one = check([spam(1)], STATS={"Days": f"{today},{today - 3},{today - 40},", "Mails": "4,5,6,", "Other": "x"})
    assert statistics(one) == {today: 5, today - 3: 5}
    assert one.setting("Other", "STATS") == "x"


# -- the daily purge ----------------------------------------------------------------------------
def put_ages(one, *ages):
    """Texts of so many days ago: {age: name}."""
    return {age: put_training(one, b"\r\ntext of %d\r\n" % age, day_number() - age) for age in ages}


def test_old_texts_go_once_a_day(proxy, client, server):
    upstream = server()
    one = proxy()
    names = put_ages(one, 0, 2, 3, 4)
    client(one).login(upstream.port).quit()
    assert set(training_files(one)) == {names[0], names[2]}
    assert [e["filename"] for e in training_entries(one)] == [names[0], names[2]]
    assert one.setting("TrainingAreaDeleteOldMessagesLast") == str(day_number())
    old = put_ages(one, 5)
    client(one).login(upstream.port).quit()
    assert old[5] in training_files(one)


def test_days_of_the_purge_are_a_setting(proxy, client, server):
    upstream = server()
    one = proxy({"TrainingAreaMaxDays": 10, "TrainingAreaDeleteOldMessagesLast": day_number() - 1})
    names = put_ages(one, 4, 9, 10)
    timeless = put_training(one, b"\r\ntimeless\r\n", 25657560)
    client(one).login(upstream.port).quit()
    assert set(training_files(one)) == {names[4], names[9], timeless}


def test_purge_that_was_done_today_is_not_done_again(proxy, client, server):
    one = proxy({"TrainingAreaDeleteOldMessagesLast": day_number()})
    put_ages(one, 4)
    client(one).login(server().port).quit()
    assert len(training_files(one)) == 1


# -- cost ---------------------------------------------------------------------------------------
def test_quit_reads_and_writes_the_lists_once(proxy, client, server):
    """A reader beside the check sees no list but the old and the new one."""
    mails = [from_friend(n) for n in range(200)]
    upstream = server(*mails)
    one = proxy(senders=SENDERS)
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 200
    seen = set()
    done = threading.Event()

    def watch():
        while not done.is_set():
            seen.add(word_list(one, "good")[0])

    watcher = threading.Thread(target=watch)
    watcher.start()
    try:
        raw.quit()
    finally:
        done.set()
        watcher.join()
    assert word_list(one, "good") == (200, learnt_words(*mails))
    assert seen <= {0, 200}


def test_what_was_learnt_is_saved_before_the_client_is_told(proxy, client, server):
    mails = [from_friend(n) for n in range(20)] + [from_blocked(n) for n in range(20)] + [ham(n) for n in range(20)]
    upstream = server(*mails)
    one = proxy(senders=SENDERS)
    raw = client(one).login(upstream.port)
    raw.stat()
    assert raw.ask("QUIT") == b"+OK Everything done."
    one.process.kill()
    one.process.wait()
    one.process = None
    assert [m for m, _ in lists(one)] == [20, 20]
    assert len(training_entries(one)) == 20 and len(training_files(one)) == 20


@pytest.mark.parametrize("delay", [0, 0.005, 0.01, 0.02, 0.04, 0.08])
def test_killed_proxy_leaves_whole_files(proxy, client, server, delay):
    mails = [from_friend(n) for n in range(60)] + [from_blocked(n) for n in range(60)] + [ham(n) for n in range(60)]
    upstream = server(*mails)
    one = proxy(senders=SENDERS)
    write_word_list(one, "good", 5, {"quiet": 5})
    put_training(one, b"\r\nold text\r\n", day_number())
    raw = client(one).login(upstream.port)
    raw.stat()
    raw.send(b"QUIT\r\n")
    time.sleep(delay)
    one.process.send_signal(signal.SIGKILL)
    one.process.wait()
    one.process = None
    good, bad = lists(one)
    # Killed between the two lists, which are one step: the next load brings the other one up to date.
    between = os.path.exists(one.path("training/wordlist.journal"))
    assert good in ((5, {"quiet": 5}),
                    (65, {**learnt_words(*mails[:60]), "quiet": 125}))
    assert bad in (NOTHING, (60, learnt_words(*mails[60:120])))
    entries = training_entries(one)
    assert len(entries) in (1, 61)
    files = training_files(one)
    assert all(entry["filename"] in files for entry in entries)
    # The next check is not in the way of anything: it keeps and learns the rest.
    two = type(one)(one.directory)
    two.start()
    try:
        other = server(*mails, uid_prefix=b"again")
        raw = client(two).login(other.port)
        raw.stat()
        raw.quit()
        other.wait_for_end()
        for name, before in (("good", good), ("bad", bad)):
            assert word_list(two, name)[0] in ((before[0] + 60, before[0] + 120) if between else (before[0] + 60,)), name
        assert len(training_entries(two)) == len(training_files(two)) == 61
    finally:
        two.stop()


# -- two at once --------------------------------------------------------------------------------
def test_two_proxies_lose_none_of_each_others_counts(program_directory, client, server):
    """Both over one directory, as two users of one installation would have it."""
    first = program_directory()
    first.configure({}, senders=SENDERS)
    first.start()
    second = type(first)(first.directory)
    second.start()
    try:
        errors = []

        def checks(one, start):
            try:
                for number in range(start, start + 6):
                    upstream = server(from_friend(number), from_blocked(number), ham(number),
                                      uid_prefix=b"n%d" % number)
                    raw = client(one).login(upstream.port)
                    raw.stat()
                    raw.quit()
                    upstream.wait_for_end()
            except Exception as error:  # told in the main thread
                errors.append(error)

        threads = [threading.Thread(target=checks, args=args) for args in ((first, 0), (second, 100))]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join(120)
        assert errors == []
        numbers = [*range(6), *range(100, 106)]
        assert word_list(first, "good") == (12, learnt_words(*map(from_friend, numbers)))
        assert word_list(first, "bad") == (12, learnt_words(*map(from_blocked, numbers)))
        assert len(training_entries(first)) == len(training_files(first)) == 12
    finally:
        second.stop()


# -- hostile files ------------------------------------------------------------------------------
def test_damaged_index_is_kept_aside(check, proxy):
    for text in (b"<training><message", b"<recyclebin><recyclefile name='1'/></recyclebin>\n",
                 b"<!DOCTYPE training [<!ENTITY a 'b'>]><training/>"):
        one = proxy(senders=SENDERS)
        one.write(INDEX, text)
        check([ham(1)], one=one)
        assert training_subjects(one) == ["ham 1"]
        assert one.read(INDEX + ".bad") == text


def test_doctored_index_reaches_no_file_outside(proxy, client, server):
    one = proxy()
    one.write("precious.eml", b"precious")
    one.write("training/good.Quillbeaker.wordlist", b"precious")
    elements = "".join(f'<message filename="{name}" date="1"/>' for name in (
        "../precious.eml", "..\\precious.eml", one.path("precious.eml"), "good.Quillbeaker.wordlist",
        "../../x", "../Quillbeaker.ini", "training.xml"))
    one.write(INDEX, f"<training>{elements}</training>")
    client(one).login(server().port).quit()
    assert training_entries(one) == []
    assert one.read("precious.eml") == b"precious"
    assert one.read("training/good.Quillbeaker.wordlist") == b"precious"
    assert one.read("Quillbeaker.ini") != b""


def test_damaged_word_lists_do_not_stop_a_check(check, proxy):
    one = proxy(senders=SENDERS)
    one.write(list_name("good"), b"\x01\0\0\0\xff\xff\xff\xff\x05\0\0\0\0\0\0\0\x05quiet\x02\0\0\0\xff")
    one.write(list_name("bad"), b"short")
    check([from_friend(1), from_blocked(1)], one=one)
    assert word_list(one, "good")[0] == 6
    assert word_list(one, "good")[1]["quiet"] == 4
    assert word_list(one, "bad") == (1, learnt_words(from_blocked(1)))


# -- with a real server -------------------------------------------------------------------------
def test_a_whole_check_against_dovecot(proxy, client, dovecot):
    dovecot.mailbox("learner", [from_friend(1), from_blocked(1), ham(1), spam(1), from_friend(2)])
    one = proxy(senders=SENDERS)
    for _ in range(2):
        raw = client(one).login(dovecot.port, name="learner")
        assert raw.stat()[0] == 3
        for number in (1, 2, 3):
            raw.retr(number)
        raw.quit()
    assert dovecot.left("learner") == 3
    assert word_list(one, "good") == (2, learnt_words(from_friend(1), from_friend(2)))
    assert word_list(one, "bad") == (1, learnt_words(from_blocked(1)))
    assert training_subjects(one) == ["ham 1", "offer 1"]
    assert statistics(one) == {day_of(date()): 2}


# -- order --------------------------------------------------------------------------------------
def test_learning_comes_before_anything_is_deleted_or_remembered(proxy, client, server):
    """Killed while a deletion is asked of the server, a message is learnt twice at worst and never lost."""
    mails = [from_friend(1), from_blocked(2), ham(3)]
    upstream = server(*mails)
    upstream.when(r"DELE \d+", then_silence())
    one = proxy(senders=SENDERS)
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 2
    raw.send(b"QUIT\r\n")
    upstream.wait_for_command("DELE")
    assert lists(one) == ((1, learnt_words(mails[0])), (1, learnt_words(mails[1])))
    assert [entry["filename"] for entry in training_entries(one)] == [kept_name(mails[2])]
    one.process.kill()
    one.process.wait()
    one.process = None
    assert one.known_ids() == []
    two = type(one)(one.directory)
    two.start()
    try:
        again = server(*mails)
        raw = client(two).login(again.port)
        assert raw.stat()[0] == 2
        raw.quit()
        again.wait_for_end()
        assert [messages for messages, _ in lists(two)] == [2, 2]
        assert len(training_entries(two)) == 1
        assert len(two.known_ids()) == 2
    finally:
        two.stop()
