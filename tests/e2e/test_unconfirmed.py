# SPDX-License-Identifier: MIT
"""Deletions that the server does not carry out: what was done for a mail is done once, however often it is met."""

import os
import re

import pytest

from learnt import training_entries
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


def test_an_id_that_the_server_leaves_out_once_is_not_taken_for_gone(proxy, client, server):
    upstream = server(spam(1), ham(2))
    upstream.when("DELE", reply(b"-ERR not now\r\n"))
    one = proxy()
    check(client, one, upstream)
    assert rows(one) == 1 and len(one.bin_files()) == 1
    upstream.uidl_lines = [b"2 " + upstream.mailbox[1].uid]
    check(client, one, upstream)
    assert rows(one) == 1 and len(one.bin_files()) == 2  # without its id it cannot be known for the same
    upstream.uidl_lines = None
    check(client, one, upstream)
    assert rows(one) == 1 and len(one.bin_files()) == 2


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


def drop_entry(one):
    data = one.read("recycle/recyclebin.xml")
    one.write("recycle/recyclebin.xml", re.sub(rb"<recyclefile [^>]*/>", b"", data, count=1))


@pytest.mark.parametrize("lose, listed", [
    (drop_entry, 1),
    (lambda one: os.remove(one.path("recycle/recyclebin.xml")), 0),
    (lambda one: one.write("recycle/recyclebin.xml", b"<other/>"), 0),
])
def test_a_file_that_no_index_lists_does_not_count(proxy, client, server, lose, listed):
    """Deliberate: nobody could find it, so the mail is filed as new; it is neither counted nor learnt again. Its file
    is the old one where the index can be read: a repair would list both."""
    upstream = server(spam(1))
    upstream.when("DELE", reply(b"-ERR no\r\n"))
    one = proxy()
    check(client, one, upstream)
    lose(one)
    for more in (1, 2):
        check(client, one, upstream)
        assert len(one.bin_files()) == (1 if listed else 1 + more)
        assert one.read("recycle/recyclebin.xml").count(b"<recyclefile ") == listed
    assert counted(one) == 1 and len(training_entries(one)) == 1
    upstream.when("DELE", lambda session, line: session.default(line))
    check(client, one, upstream)
    assert upstream.numbers() == []


def test_a_rebuilt_index_ends_it(proxy, program_directory, client, server):
    upstream = server(spam(1))
    upstream.when("DELE", reply(b"-ERR no\r\n"))
    one = proxy()
    check(client, one, upstream)
    os.remove(one.path("recycle/recyclebin.xml"))
    check(client, one, upstream)
    one.stop()
    again = program_directory(one.directory).start()
    assert len(again.bin_entries()) == 2
    for _ in range(2):
        check(client, again, upstream)
        assert len(again.bin_entries()) == len(again.bin_files()) == 2


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


def kill(one):
    one.process.kill()
    one.process.wait()
    one.process = None


def test_a_kill_after_the_count_counts_nothing_twice(proxy, program_directory, client, server):
    upstream = server(spam(1), spam(2), ham(3))
    one = proxy()

    def die(session, line):
        kill(one)
        session.close()

    upstream.when("QUIT", die, times=1)
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 1
    raw.send(b"QUIT\r\n")
    upstream.wait_for_end(1)
    assert counted(one) == 2 and upstream.numbers() == [1, 2, 3]
    again = program_directory(one.directory).start()
    check(client, again, upstream)
    assert upstream.numbers() == [3]
    assert counted(again) == 2 and len(again.bin_entries()) == len(again.bin_files()) == 2


def test_nothing_is_counted_that_is_not_noted_before(proxy, client, server):
    """A kill between the two would count it again; so what cannot be noted is counted the next time."""
    upstream = server(spam(1), ham(2))
    one = proxy()

    def refuse(session, line):
        one.write("recycle/unconfirmed.xml.new/inside", b"x")  # the next content has no place
        session.send(b"-ERR not now\r\n")

    upstream.when("DELE", refuse, times=1)
    check(client, one, upstream)
    assert counted(one) == 0 and b"counted" not in one.read("recycle/unconfirmed.xml")
    os.remove(one.path("recycle/unconfirmed.xml.new/inside"))
    os.rmdir(one.path("recycle/unconfirmed.xml.new"))
    check(client, one, upstream)
    assert counted(one) == 1 and len(one.bin_files()) == 1 and upstream.numbers() == [2]


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


def test_other_mail_is_put_before_the_user_once(proxy, client, server):
    upstream = server(ham(1))
    upstream.when("DELE", reply(b"-ERR no\r\n"))
    one = proxy()
    for _ in range(2):
        raw = client(one).login(upstream.port)
        assert raw.stat()[0] == 1
        assert raw.ask("DELE 1") == b"+OK Message deleted"
        raw.quit()
        # What the user has dealt with does not come back.
        one.write("training/training.xml", re.sub(rb"<message [^>]*/>", b"", one.read("training/training.xml")))
        assert training_entries(one) == []
        assert rows(one) == 1


def test_spam_is_in_one_number_of_deleted_mails_alone(proxy, client, server):
    upstream = server(spam(1), spam(2))
    upstream.when("DELE", reply(b"-ERR no\r\n"))
    one = proxy()
    check(client, one, upstream)
    one.wait_for_output("2 spam, 2 deleted")
    check(client, one, upstream)
    one.wait_for_output("2 spam, 0 deleted")


@pytest.mark.parametrize("command", ["DELE 1", "QUIT"])
def test_a_server_that_goes_leaves_what_was_filed_for_the_next_check(proxy, client, server, command):
    upstream = server(spam(1), spam(2), ham(3))
    upstream.when(command, then_close(), times=1)
    one = proxy()
    check(client, one, upstream)
    assert rows(one) == 2 and len(one.bin_files()) == 2
    if command != "QUIT":  # a server that carries out the QUIT may as well close at once
        one.wait_for_output("did not confirm the deletion of 2 messages")
    assert one.read("recycle/unconfirmed.xml").count(b'due="1"') == 2
    check(client, one, upstream)
    assert upstream.numbers() == [3] and counted(one) == 2
    assert len(one.bin_entries()) == len(one.bin_files()) == 2 and rows(one) == 0


def test_mail_without_an_id_needs_no_row(proxy, client, server):
    upstream = server(spam(1))
    upstream.has_uidl = False
    one = proxy()
    one.write("recycle/unconfirmed.xml/inside", b"x")  # no row can be read or written
    check(client, one, upstream)
    assert len(one.bin_entries()) == len(one.bin_files()) == 1 and upstream.numbers() == []
    # Beside mail whose row cannot be written it is filed as ever, and that stays.
    second = server()
    second.put(spam(1), uid=b"same")
    second.put(spam(2), uid=b"same")
    second.put(spam(3), uid=b"its own")
    check(client, one, second)
    assert len(one.bin_entries()) == len(one.bin_files()) == 3 and second.numbers() == [3]


def test_the_person_is_told_of_deletions_that_failed(proxy, client, server):
    upstream = server(spam(1), ham(2))
    upstream.when("QUIT", reply(b"-ERR could not update\r\n"))
    one = proxy()
    check(client, one, upstream)
    assert b"         S: -ERR could not update\r\n" in one.server_log()
    assert rows(one) == 1


def test_nothing_is_filed_or_deleted_when_the_row_cannot_be_written(proxy, client, server):
    upstream = server(spam(1), ham(2))
    one = proxy()
    # A folder of the row file's name: nothing can be put in its place.
    one.write("recycle/unconfirmed.xml/inside", b"x")
    assert check(client, one, upstream) == 1
    assert one.bin_entries() == [] and one.bin_files() == []
    assert upstream.numbers() == [1, 2] and upstream.count("DELE") == 0
