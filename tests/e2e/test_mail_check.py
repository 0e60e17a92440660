# SPDX-License-Identifier: MIT
"""What a mail check decides, and what QUIT does about it."""

import os
import re
import time

import pytest

from messages import SPAM_WORD, ham, message, on_the_wire, parsed_size, spam
from program import day_number, eventually
from scripted_server import reply

BLOCKED = {"bad@blocked.example": "Bad,1"}
FRIEND = {"ann@friends.example": "Ann,2"}
ACCOUNT = "jane @ 127.0.0.1"


def from_blocked(number=1, **options):
    return ham(number, sender="Bad <bad@blocked.example>", **options)


def from_friend(number=1, text=SPAM_WORD):
    return message(f"friendly {number}", "Ann <ann@friends.example>", f"{text} {number}\r\n")


@pytest.fixture
def check(proxy, client, server):
    """check(messages, ...) runs one whole mail check: (subjects delivered, subjects filed, server, proxy)."""
    calls = []

    def run(messages, one=None, upstream=None, **options):
        # Ids are not tied to a server: each server gives others, or the second mail would be known.
        calls.append(messages)
        upstream = upstream or server(*messages, uid_prefix=b"uid" if len(calls) == 1 else b"uid%d" % len(calls))
        one = one or proxy(**options)
        connection = upstream.connections + 1
        raw = client(one).login(upstream.port)
        count = raw.stat()[0]
        delivered = [re.search(rb"(?m)^Subject: (.*?)\r?$", raw.retr(n)[1])[1].decode("latin-1")
                     for n in range(1, count + 1)]
        raw.quit()
        upstream.wait_for_end(connection)
        return sorted(delivered), sorted(e["subject"] for e in one.bin_entries()), upstream, one

    return run


# -- levels and lists ---------------------------------------------------------------------------
def test_level_0_takes_only_blocked_mail(check):
    delivered, filed, upstream, _ = check([ham(1), spam(1), from_blocked(2), from_friend(1)],
                                          settings={"Aggressiveness": 0}, senders={**BLOCKED, **FRIEND})
    assert delivered == ["friendly 1", "ham 1", "offer 1"]
    assert filed == ["ham 2"]
    assert upstream.numbers() == [1, 2, 4]


def test_level_100_delivers_only_friends(check):
    delivered, filed, upstream, _ = check([ham(1), spam(1), from_blocked(2), from_friend(1)],
                                          settings={"Aggressiveness": 100}, senders={**BLOCKED, **FRIEND})
    assert delivered == ["friendly 1"]
    assert filed == ["ham 1", "ham 2", "offer 1"]
    assert upstream.numbers() == [4]


@pytest.mark.parametrize("level", [25, 50, 75])
def test_middle_levels_ask_lists_first_and_then_the_words(check, level):
    delivered, filed, _, _ = check([ham(1), spam(1), from_blocked(2), from_friend(1)],
                                   settings={"Aggressiveness": level}, senders={**BLOCKED, **FRIEND})
    assert delivered == ["friendly 1", "ham 1"]
    assert filed == ["ham 2", "offer 1"]


@pytest.mark.parametrize("off", [{"Enable": 0}, {"FilterWordEnable": 0, "FilterLearningEnable": 0}])
@pytest.mark.parametrize("level", [0, 50, 100])
def test_filter_that_is_off_keeps_everything(check, off, level):
    delivered, filed, upstream, _ = check([ham(1), spam(1), from_blocked(2)],
                                          settings={**off, "Aggressiveness": level}, senders=BLOCKED)
    assert delivered == ["ham 1", "ham 2", "offer 1"]
    assert filed == []
    assert upstream.numbers() == [1, 2, 3]


@pytest.mark.parametrize("off", [{"FilterWordEnable": 0}, {"FilterLearningEnable": 0}])
def test_filter_is_on_while_one_of_its_halves_is(check, off):
    delivered, filed, _, _ = check([ham(1), from_blocked(2)], settings=off, senders=BLOCKED)
    assert delivered == ["ham 1"]
    assert filed == ["ham 2"]


def test_words_are_not_asked_when_switched_off(check):
    delivered, _, _, _ = check([spam(1)], settings={"FilterWordEnable": 0})
    assert delivered == ["offer 1"]


def test_learnt_probability_is_compared_with_the_level_when_words_are_off(check):
    """Nothing is learnt: 0.4, which reaches a threshold of 40 and not one of 41."""
    for threshold, delivered in ((40, []), (41, ["ham 1"])):
        assert check([ham(1)], settings={"FilterWordEnable": 0}, thresholds={"level50": threshold})[0] == delivered


def test_threshold_of_the_level(check):
    words = {"free": 60, "money": 50}
    both = message("both", body="free money for you\r\n")
    one = message("one", body="free for you\r\n")
    assert check([both, one], spam_words=words)[:2] == (["one"], ["both"])
    assert check([both, one], spam_words=words, thresholds={"level50": 60})[:2] == ([], ["both", "one"])
    assert check([both, one], spam_words=words, thresholds={"level75": 60})[:2] == (["one"], ["both"])
    assert check([both, one], spam_words=words, settings={"Aggressiveness": 75},
                 thresholds={"level75": 120})[:2] == (["both", "one"], [])


def test_words_of_the_user_come_first(check):
    one = check([message("offer", body="free money for you\r\n")], spam_words={"free": 60, "money": 50})[3]
    assert one.bin_entries()[0]["spamwords"] == "money, free"
    one.write("spampoints_user.ini", "[PROBABILITIES]\nfree=5\nyou=7\n")
    check([message("offer", body="free money for you\r\n")], one=one)
    assert one.bin_entries()[1]["spamwords"] == "you, free, money, free"
    assert one.bin_entries()[1]["probability"] == "1.2200"


def test_word_in_subject_and_text_counts_twice(check):
    words = {"free": 50}
    assert check([message("free", body="free for you\r\n")], spam_words=words)[1] == ["free"]
    assert check([message("free", body="nothing\r\n")], spam_words=words)[0] == ["free"]


def test_word_is_found_inside_a_word_in_any_case(check):
    assert check([message("Essex", body="a county\r\n")], spam_words={"sEX": 100})[1] == ["Essex"]


def test_subject_alone_does_not_count_when_the_text_is_empty(check):
    picture = [("Content-Type", "image/gif")]
    assert check([message(SPAM_WORD, body="GIF89a", fields=picture)])[0] == [SPAM_WORD]


def test_words_are_found_behind_the_transfer_encoding(check):
    quoted = message("quoted", body="zork=6Doney\r\n", fields=[("Content-Transfer-Encoding", "quoted-printable")])
    encoded = message("encoded", body="em9ya21vbmV5IGZvciB5b3U=\r\n", fields=[("Content-Transfer-Encoding", "base64")])
    tagged = message("tagged", body="<p>zork<b>mon</b>ey</p>\r\n", fields=[("Content-Type", "text/html")])
    assert check([quoted, encoded, tagged])[1] == ["encoded", "quoted", "tagged"]
    assert check([tagged], settings={"FilterWordHTML": 0})[0] == ["tagged"]


def test_sender_patterns_and_their_precedence(check):
    senders = {"*@blocked.example": "x,1", "good@blocked.example": "y,2", "exact@later.example": "z,1",
               "*@later.example": "w,2", "?x@single.example": "v,1"}
    mail = [message(str(n), f"<{address}>") for n, address in enumerate((
        "any@Blocked.Example", "GOOD@blocked.example", "exact@later.example", "ax@single.example",
        "aax@single.example", "nobody@example.org"), 1)]
    delivered, filed, _, _ = check(mail, senders=senders)
    assert filed == ["1", "4"]
    assert delivered == ["2", "3", "5", "6"]


def test_message_without_from_matches_no_entry(check):
    none = b"Subject: none\r\n\r\ntext\r\n"
    empty = b"From:\r\nSubject: empty\r\n\r\ntext\r\n"
    delivered, filed, _, _ = check([none, empty], senders={"*": "all,1"})
    assert delivered == ["none"]
    assert filed == ["empty"]


def test_judging_leaves_the_sender_entry_as_it_stands(check):
    _, _, _, one = check([from_blocked(1)], senders={"bad@blocked.example": "Smith, Bob,1"})
    assert b"bad@blocked.example=Smith, Bob,1" in one.read("Quillbeaker.ini").splitlines()


@pytest.mark.parametrize("end", [b"\n", b"\r\n"], ids=["LF", "CRLF"])
def test_write_touches_no_other_line(proxy, client, end):
    """Session begin writes two keys; the rest of the file stays as it was, line ends and all."""
    one = proxy()
    text = end.join([b"; first", b"[Server]", b"Timeout = 7 ", b"", b"[QUILLBEAKER]", b"Foreign=\xe4", b"  ; indented",
                     b"RecycleOldMessagesLast=1", b"no equals sign", b"TrainingAreaDeleteOldMessagesLast=2",
                     b"[STATS]", b"Days=", b"Mails=", b"[Other]", b"#key=1", b"a=b"]) + end
    one.write("Quillbeaker.ini", text)
    client(one).quit()
    for line in (b"RecycleOldMessagesLast=1", b"TrainingAreaDeleteOldMessagesLast=2"):
        text = text.replace(line, line[:-1] + b"%d" % day_number())
    assert one.read("Quillbeaker.ini") == text


def test_change_of_a_setting_acts_at_once(check):
    delivered, _, _, one = check([ham(1)])
    assert delivered == ["ham 1"]
    one.configure({"Aggressiveness": 100})
    assert check([ham(2)], one=one)[1] == ["ham 2"]


def test_section_may_be_spelt_in_any_case(check):
    _, _, _, one = check([ham(1)])
    one.write("Quillbeaker.ini", "; a comment\r\n[Quillbeaker]\r\n  AGGRESSIVENESS = \"100\" \r\nAggressiveness=50\r\n")
    assert check([ham(2)], one=one)[1] == ["ham 2"]
    assert b"; a comment\r\n" in one.read("Quillbeaker.ini")


def test_large_message_passes_unless_the_limit_is_lifted(check):
    large = from_blocked(1, fields=[("X-Pad", "x")])[:-2] + b"y" * 70000 + b"\r\n"
    delivered, filed, upstream, one = check([large], senders=BLOCKED)
    assert (delivered, filed, upstream.numbers()) == (["ham 1"], [], [1])
    one.configure({"FilterMaxMessageSize": 0}, senders=BLOCKED)
    delivered, filed, upstream, _ = check([large], one=one)
    assert (delivered, filed, upstream.numbers()) == ([], ["ham 1"], [])


@pytest.mark.parametrize("size, is_spam", [(65535, True), (65536, False)])
def test_limit_compares_the_parsed_size(check, size, is_spam):
    data = from_blocked(1)
    data = data[:-2] + b"y" * (size - parsed_size(data)) + b"\r\n"
    assert parsed_size(data) == size
    assert (check([data], senders=BLOCKED)[1] == ["ham 1"]) == is_spam


# -- known messages -----------------------------------------------------------------------------
def test_known_mail_is_not_fetched_again(check):
    _, _, upstream, one = check([ham(1), ham(2)])
    first = one.known_ids()
    assert first == [("uid-2-1", str(day_number())), ("uid-1-0", str(day_number()))]
    one.spam_words({"ham": 200})
    upstream.put(message("ham 3", body="fresh\r\n"))
    delivered, filed, _, _ = check([], one=one, upstream=upstream)
    assert delivered == ["ham 1", "ham 2"]
    assert filed == ["ham 3"]
    fetched = [c for c in upstream.commands(2) if c.startswith("RETR")]
    assert fetched[0] == "RETR 3"  # the two others were asked for by the client, after the view was built
    assert {uid for uid, _ in one.known_ids()} == {"uid-1-0", "uid-2-1"}


def test_known_mail_is_not_fetched_by_stat(check, client):
    _, _, upstream, one = check([ham(1), ham(2)])
    raw = client(one).login(upstream.port)
    assert raw.stat() == (2, len(ham(1)) + len(ham(2)))
    raw.quit()
    assert upstream.count("RETR", 2) == 0
    assert {uid for uid, _ in one.known_ids()} == {"uid-1-0", "uid-2-1"}


def test_everything_is_judged_anew_without_uid_checking(check):
    _, _, upstream, one = check([message("ham 1", body="fresh\r\n")], settings={"UIDChecking": 0})
    one.spam_words({"ham": 200})
    assert check([], one=one, upstream=upstream)[1] == ["ham 1"]


def test_id_past_its_age_stays_known_while_the_server_has_it(proxy, client, server):
    upstream = server(ham(1), ham(2))
    one = proxy({"RecycleBinMaxDays": 30})
    old = day_number() - 31
    one.write("uniqueid.xml", f'<?xml version="1.0" encoding="ISO-8859-1"?>\n<uniqueid>\n'
                              f'  <mail uid="uid-1-0" date="{old}"/>\n  <mail uid="gone" date="{old}"/>\n'
                              f'  <mail uid="young" date="{old + 1}"/>\n</uniqueid>\n')
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 2
    assert [c for c in upstream.commands() if c.startswith("RETR")] == ["RETR 2"]
    assert dict(one.known_ids()) == {"uid-1-0": str(day_number()), "young": str(old + 1)}
    raw.close()


def test_foreign_root_leaves_the_id_file_alone(proxy, client, server):
    upstream = server(ham(1))
    one = proxy()
    text = b'<?xml version="1.0"?>\n<other><mail uid="uid-1-0" date="1"/></other>\n'
    one.write("uniqueid.xml", text)
    raw = client(one).login(upstream.port)
    raw.stat()
    raw.quit()
    assert upstream.count("RETR") == 1
    assert one.read("uniqueid.xml") == text


def test_damaged_id_file_is_replaced(proxy, client, server):
    upstream = server(ham(1))
    one = proxy()
    one.write("uniqueid.xml", b"<uniqueid><mail uid=")
    raw = client(one).login(upstream.port)
    raw.stat()
    raw.quit()
    assert [uid for uid, _ in one.known_ids()] == ["uid-1-0"]


def test_id_file_with_a_document_type_is_replaced(proxy, client, server):
    """A document that brings entities of its own counts as unparsable."""
    upstream = server(ham(1))
    upstream.uidl_lines = [b"1 x"]
    one = proxy()
    one.write("uniqueid.xml", f'<?xml version="1.0"?>\n<!DOCTYPE uniqueid [<!ENTITY a "x">]>\n'
                              f'<uniqueid><mail uid="&a;" date="{day_number()}"/></uniqueid>\n')
    raw = client(one).login(upstream.port)
    raw.stat()
    raw.quit()
    assert upstream.count("RETR") == 1
    assert b"DOCTYPE" not in one.read("uniqueid.xml")
    assert [uid for uid, _ in one.known_ids()] == ["x"]


def test_ids_of_all_bytes_leave_a_file_that_parses(proxy, client, server):
    upstream = server(ham(1), ham(2), ham(3))
    upstream.uidl_lines = [b"1 a\x01b", b"2 \xe4&<>\"'", b"3 plain"]
    one = proxy()
    for connection in (1, 2):
        raw = client(one).login(upstream.port)
        assert raw.stat()[0] == 3
        raw.quit()
        upstream.wait_for_end(connection)
        assert {uid for uid, _ in one.known_ids()} == {"a b", "\xe4&<>\"'", "plain"}
    assert upstream.count("RETR") == 3
    data = one.read("uniqueid.xml")
    assert data.startswith(b'<?xml version="1.0" encoding="ISO-8859-1"?>\n<uniqueid>\n  <mail uid="')


def test_id_file_stays_bounded(proxy, client, server):
    """200 sessions over 1000 messages that the client leaves on the server."""
    upstream = server()
    for number in range(1, 1001):
        upstream.put(b"Subject: x\r\n\r\nx\r\n", uid=b"kept-%08d" % number)
    one = proxy()
    sizes, times = [], []
    for connection in range(1, 201):
        begun = time.monotonic()
        raw = client(one).login(upstream.port)
        assert raw.stat(60)[0] == 1000
        raw.quit(60)
        raw.close()
        times.append(time.monotonic() - begun)
        sizes.append(os.path.getsize(one.path("uniqueid.xml")))
    assert upstream.count("RETR") == 1000
    ids = [uid for uid, _ in one.known_ids()]
    assert set(ids) == {f"kept-{n:08d}" for n in range(1, 1001)}
    # QUIT adds every id once more, and its purge leaves two of each at most.
    assert len(ids) <= 2000
    assert max(sizes[100:]) <= max(sizes[:5])
    middle = sorted(times[2:20])[9], sorted(times[-20:])[10]
    assert middle[1] < 3 * middle[0] + 0.05


# -- QUIT ---------------------------------------------------------------------------------------
def test_spam_is_filed_before_the_first_delete(proxy, client, server):
    upstream = server(ham(1), spam(1), spam(2), spam(3))
    one = proxy()
    seen = []

    def look(session, line):
        seen.append((one.bin_files(), one.bin_entries()))
        session.default(line)

    upstream.when("DELE", look)
    raw = client(one).login(upstream.port)
    raw.stat()
    raw.quit()
    upstream.wait_for_end()
    assert len(seen) == 3
    files, entries = seen[0]
    assert len(files) == 3
    assert sorted(e["name"] for e in entries) == files
    assert sorted(e["subject"] for e in entries) == ["offer 1", "offer 2", "offer 3"]
    assert [c for c in upstream.commands() if c.startswith("DELE")] == ["DELE 4", "DELE 3", "DELE 2"]


def test_entry_of_a_filed_message(check):
    data = message("=?ISO-8859-1?Q?Gr=FC=DFe?= =?ISO-8859-1?Q?_und?= x", "\"Se ller\" <sell@spam.example>",
                   f"{SPAM_WORD} and cash\r\n.dot\r\n", when="Tue, 4 Feb 03 23:30:00 -0200")
    one = check([data], spam_words={SPAM_WORD: 98, "cash": 3})[3]
    (name,) = one.bin_files()
    match = re.fullmatch(r"(\d+)_(\d{2})(\d{2})(\d{2})_([0-9a-f]+)\.recycle", name)
    assert match and abs(int(match[1]) - day_number()) <= 1
    (entry,) = one.bin_entries()
    assert list(entry.items()) == [
        ("name", name), ("date", "2452676"), ("time", "01:30"), ("subject", "Gr\xfc\xdfe"),
        ("spamwords", f"cash, {SPAM_WORD}"), ("probability", "1.0100"), ("account", ACCOUNT),
        ("sender", "Se ller"), ("address", "sell@spam.example"), ("size", str(parsed_size(data)))]
    assert one.read(f"recycle/{name}") == on_the_wire(data)[:-2]
    assert b"\xfc\xdf" in one.read("recycle/recyclebin.xml")  # ISO-8859-1, as its first line says


def test_entry_of_a_message_without_fields(check, client, server, proxy):
    one = proxy(senders={"*": "all,1"})
    upstream = server(b"From:\r\n\r\nx\r\n")
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 0
    raw.quit()
    (entry,) = one.bin_entries()
    assert entry["date"] == str(day_number()) and re.fullmatch(r"\d\d:\d\d", entry["time"])
    assert entry["sender"] == entry["address"] == ""
    assert not {"subject", "spamwords", "probability", "restored"} & set(entry)


def test_bytes_that_xml_forbids_leave_an_index_that_parses(check):
    data = message("a\x01b\x0bc \xe4", "Name\x02 <\xe4dress@spam.example>", SPAM_WORD + "\r\n")
    _, filed, _, one = check([data])
    assert filed == ["a b c \xe4"]
    (entry,) = one.bin_entries()
    assert entry["address"] == "\xe4dress@spam.example"


def test_thirty_spam_in_one_quit_are_thirty_files(check):
    _, filed, upstream, one = check([spam(n) for n in range(1, 31)])
    assert len(one.bin_files()) == 30
    assert sorted(e["name"] for e in one.bin_entries()) == one.bin_files()
    assert len(set(filed)) == 30
    assert upstream.numbers() == []


def test_message_that_cannot_be_kept_is_not_deleted(proxy, client, server):
    upstream = server(ham(1), spam(1))
    one = proxy()
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 1
    os.rename(one.path("recycle"), one.path("away"))
    one.write("recycle", b"a file stands where the directory should be")
    raw.quit()
    upstream.wait_for_end()
    assert upstream.count("DELE") == 0
    assert [uid for uid, _ in one.known_ids()] == ["uid-1-0"]
    os.remove(one.path("recycle"))
    os.rename(one.path("away"), one.path("recycle"))
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 1  # hidden and judged again
    raw.quit()
    assert upstream.numbers() == [1]
    assert len(one.bin_files()) == 1


def test_spam_is_filed_without_an_index(proxy, client, server):
    """The file stays without an entry until the index is rebuilt; nothing is lost."""
    upstream = server(spam(1))
    one = proxy()
    raw = client(one).login(upstream.port)
    raw.stat()
    os.remove(one.path("recycle/recyclebin.xml"))
    raw.quit()
    upstream.wait_for_end()
    assert upstream.numbers() == []
    assert len(one.bin_files()) == 1
    one.stop()
    one.start()
    assert [e["subject"] for e in one.bin_entries()] == ["offer 1"]
    assert "account" not in one.bin_entries()[0] and "spamwords" not in one.bin_entries()[0]


def test_foreign_root_of_the_index_is_not_rebuilt(proxy, client, server):
    upstream = server(spam(1))
    one = proxy()
    text = b'<?xml version="1.0"?>\n<other/>\n'
    one.write("recycle/recyclebin.xml", text)
    raw = client(one).login(upstream.port)
    raw.stat()
    raw.quit()
    assert one.read("recycle/recyclebin.xml") == text
    assert len(one.bin_files()) == 1
    one.stop()
    one.start()
    assert one.read("recycle/recyclebin.xml") == text


def test_quit_without_a_view_hides_and_remembers_nothing(proxy, client, server):
    upstream = server(ham(1), spam(1))
    one = proxy()
    raw = client(one).login(upstream.port)
    assert len(raw.uidl()) == 2
    raw.quit()
    upstream.wait_for_end()
    assert upstream.numbers() == [1, 2]
    assert one.known_ids() == [] and one.bin_files() == []
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 1


# -- a build that fails -------------------------------------------------------------------------
def test_failing_download_stops_the_walk_and_loses_nothing(proxy, client, server):
    upstream = server(ham(1), spam(2), *[ham(n) for n in range(3, 11)])
    upstream.when("RETR 7", reply(b"-ERR not now\r\n"), times=1)
    one = proxy()
    raw = client(one).login(upstream.port)
    assert [n for n, _ in raw.list()] == [1, 2, 3]
    assert raw.stat()[0] == 3
    assert [n for n, _ in raw.uidl()] == [1, 2, 3]
    assert raw.ask("UIDL 7") == b"-ERR UID not found"
    assert raw.ask("LIST 7") == b"-ERR message does not exist!"
    assert upstream.count("RETR 7") == 1  # the build is not tried again
    raw.quit()
    upstream.wait_for_end()
    assert upstream.count("DELE") == 0
    assert sorted(uid for uid, _ in one.known_ids()) == ["uid-10-9", "uid-8-7", "uid-9-8"]
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 9
    assert [c for c in upstream.commands(2) if c.startswith("RETR")] == [f"RETR {n}" for n in range(7, 0, -1)]
    raw.quit()
    assert upstream.numbers() == [1, 3, 4, 5, 6, 7, 8, 9, 10]


def test_mark_set_before_a_failing_build_is_carried_out(proxy, client, server):
    upstream = server(ham(1), ham(2), ham(3))
    upstream.when("RETR 2", reply(b"-ERR not now\r\n"))
    one = proxy()
    raw = client(one).login(upstream.port)
    assert raw.ask("DELE 1") == b"+OK Message deleted"
    assert raw.stat()[0] == 1
    raw.quit()
    assert upstream.numbers() == [2, 3]


def test_unnumbered_message_can_still_be_fetched_by_its_server_number(proxy, client, server):
    upstream = server(ham(1), ham(2), ham(3), ham(4))
    upstream.when("RETR 3", reply(b"-ERR not now\r\n"))
    raw = client(proxy()).login(upstream.port)
    assert raw.stat()[0] == 1
    assert raw.retr(2)[1] == on_the_wire(ham(2))
    assert raw.stat()[0] == 1


def test_empty_message_does_not_stop_the_walk(proxy, client, server):
    upstream = server(ham(1), b"", ham(3))
    upstream.when("RETR 2", reply(b"+OK 0 octets\r\n.\r\n"))
    one = proxy()
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 3
    assert [size for _, size in raw.list()][1] == 0
    raw.send(b"RETR 2\r\n")
    assert raw.until(b".\r\n") == b"+OK 0\r\n\r\n.\r\n"
    assert raw.retr(3)[1] == on_the_wire(ham(1))


def test_empty_message_judged_spam_is_deleted(proxy, client, server):
    upstream = server(ham(1), b"")
    upstream.when("RETR 2", reply(b"+OK\r\n.\r\n"))
    one = proxy({"Aggressiveness": 100})
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 0
    raw.quit()
    eventually(lambda: upstream.numbers() == [])


def test_view_is_built_once(proxy, client, server):
    upstream = server(ham(1), ham(2))
    raw = client(proxy()).login(upstream.port)
    for _ in range(3):
        assert raw.stat()[0] == 2
        assert len(raw.list()) == 2
    assert upstream.words() == ["USER", "PASS", "LIST", "UIDL", "RETR", "RETR"]
