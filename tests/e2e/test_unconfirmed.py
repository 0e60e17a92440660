# SPDX-License-Identifier: MIT
"""Deletions that the server does not carry out: what was done for a mail is done once, however often it is met."""

from messages import ham, message, spam
from program import eventually
from scripted_server import reply, then_close

FRIEND = {"ann@friends.example": "Ann,2"}


def check(client, one, upstream, retrieve=False):
    """One mail check to its QUIT; gives the number of visible messages."""
    connection = upstream.connections + 1
    raw = client(one).login(upstream.port)
    count = raw.stat()[0]
    if retrieve:
        for number in range(1, count + 1):
            raw.retr(number)
    raw.quit()
    upstream.wait_for_end(connection)
    return count


def rows(one):
    """The rows of unconfirmed.xml; 0 without the file."""
    return one.read("recycle/unconfirmed.xml").count(b"<mail ")


def counted(one):
    return sum(int(n) for n in (one.setting("Mails", "STATS") or "").split(",") if n)


def test_a_refused_deletion_is_filed_and_counted_once(proxy, client, server):
    upstream = server(*(spam(n) for n in range(1, 5)), ham(9))
    upstream.when("DELE", reply(b"-ERR not now\r\n"))
    one = proxy()
    for _ in range(4):
        assert check(client, one, upstream) == 1
        assert len(one.bin_entries()) == len(one.bin_files()) == 4
        assert counted(one) == 4
        assert rows(one) == 4
    assert upstream.numbers() == [1, 2, 3, 4, 5]


def test_a_confirmed_deletion_is_forgotten(proxy, client, server):
    upstream = server(spam(1))
    one = proxy()
    check(client, one, upstream)
    eventually(lambda: one.read("recycle/unconfirmed.xml") == b"", what="the rows to go")
    # The same id again is another mail as far as anybody can tell.
    upstream.renumber()
    upstream.put(spam(1), uid=b"uid-1-0")
    check(client, one, upstream)
    assert len(one.bin_entries()) == 2 and counted(one) == 2


def test_a_quit_without_an_answer_confirms_nothing_but_the_next_listing_does(proxy, client, server):
    upstream = server(spam(1), ham(2))
    upstream.when("QUIT", then_close(), times=1)
    one = proxy()
    check(client, one, upstream)
    assert rows(one) == 1
    # This time it was deleted all the same: the listing lacks it.
    upstream.mailbox[0].deleted = True
    check(client, one, upstream)
    eventually(lambda: one.read("recycle/unconfirmed.xml") == b"", what="the row to go")
    assert len(one.bin_entries()) == 1


def test_a_row_stays_while_the_listing_is_not_whole(proxy, client, server):
    upstream = server(spam(1), ham(2))
    upstream.when("DELE", reply(b"-ERR no\r\n"))
    one = proxy()
    check(client, one, upstream)
    upstream.uidl_lines = [b"7 strange", b"2 uid-2-1"]
    check(client, one, upstream)
    assert rows(one) == 1


def test_what_left_the_bin_meanwhile_is_filed_anew(proxy, client, server):
    upstream = server(spam(1))
    upstream.when("DELE", reply(b"-ERR no\r\n"))
    one = proxy()
    check(client, one, upstream)
    (name,) = [entry["name"] for entry in one.bin_entries()]
    one.write(f"recycle/{name}", b"something else\r\n")
    check(client, one, upstream)
    assert len(one.bin_entries()) == 2
    assert counted(one) == 1


def test_what_is_no_spam_any_more_is_delivered_and_its_entry_stays(proxy, client, server):
    upstream = server(spam(1))
    upstream.when("DELE", reply(b"-ERR no\r\n"))
    one = proxy()
    check(client, one, upstream)
    one.spam_words({"another": 100})
    assert check(client, one, upstream) == 1
    assert len(one.bin_entries()) == 1
    eventually(lambda: one.read("recycle/unconfirmed.xml") == b"", what="the row to go with the stored id")


def test_two_mails_of_one_id_have_no_row(proxy, client, server):
    upstream = server()
    upstream.put(spam(1), uid=b"same")
    upstream.put(spam(2), uid=b"same")
    upstream.when("DELE", reply(b"-ERR no\r\n"))
    one = proxy()
    check(client, one, upstream)
    check(client, one, upstream)
    assert rows(one) == 0
    assert len(one.bin_entries()) == 4


def test_friends_mail_is_learnt_once(proxy, client, server):
    upstream = server(message("friendly", "Ann <ann@friends.example>", "wordfromafriend here\r\n"))
    one = proxy(senders=FRIEND)
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 1
    assert raw.ask("DELE 1") == b"+OK Message deleted"
    upstream.when("DELE", reply(b"-ERR no\r\n"))
    raw.quit()
    upstream.wait_for_end(1)
    learnt = one.read("training/good.Quillbeaker.wordlist")
    assert b"wordfromafriend" in learnt
    assert check(client, one, upstream) == 1
    assert one.read("training/good.Quillbeaker.wordlist") == learnt


def test_the_person_is_told_of_deletions_that_failed(proxy, client, server):
    upstream = server(spam(1), ham(2))
    upstream.when("QUIT", reply(b"-ERR could not update\r\n"))
    one = proxy()
    check(client, one, upstream)
    assert b"         S: -ERR could not update" in one.server_log()
    assert rows(one) == 1


def test_nothing_is_filed_or_deleted_when_the_row_cannot_be_written(proxy, client, server):
    upstream = server(spam(1), ham(2))
    one = proxy()
    # A folder of the row file's name: nothing can be put in its place.
    one.write("recycle/unconfirmed.xml/inside", b"x")
    assert check(client, one, upstream) == 1
    assert one.bin_entries() == [] and one.bin_files() == []
    assert upstream.numbers() == [1, 2] and upstream.count("DELE") == 0
