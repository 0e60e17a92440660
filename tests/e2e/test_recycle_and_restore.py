# SPDX-License-Identifier: MIT
"""Restored mail is handed to the client; dropped files are taken in; a lost index is rebuilt."""

import os
import re
import time

import pytest

from messages import ham, message, on_the_wire, parsed_size, spam
from program import day_number

ACCOUNT = "jane @ 127.0.0.1"
NAME = "2452676_231507_1a2b3c4.recycle"


def kept(subject, body=b"kept text\r\n"):
    return f"From: kept@example.org\r\nSubject: {subject}\r\n\r\n".encode() + body


@pytest.fixture
def session(client):
    def log_in(one, upstream):
        return client(one).login(upstream.port)

    return log_in


def test_restored_message_comes_first_and_goes_after_retrieval(proxy, session, server):
    upstream = server(ham(1))
    one = proxy()
    one.restored_entry(NAME, kept("back"), ACCOUNT)
    raw = session(one, upstream)
    assert raw.stat() == (2, len(kept("back")) + parsed_size(ham(1)))
    assert raw.list()[0] == (1, len(kept("back")))
    assert raw.retr(1) == (b"+OK %d" % len(kept("back")), kept("back") + b"\r\n")
    assert raw.retr(2)[1] == on_the_wire(ham(1))
    raw.quit()
    upstream.wait_for_end()
    assert one.bin_entries() == [] and one.bin_files() == []
    assert upstream.count("DELE") == 0
    assert [uid for uid, _ in one.known_ids()] == ["uid-1-0"]
    assert b"         C: (message completely restored from recycle bin)\r\n" in one.server_log()
    raw = session(one, upstream)
    assert raw.stat()[0] == 1


def test_restored_message_that_was_not_retrieved_stays(proxy, session, server):
    upstream = server(ham(1))
    one = proxy()
    one.restored_entry(NAME, kept("back"), ACCOUNT)
    raw = session(one, upstream)
    assert raw.stat()[0] == 2
    raw.retr(2)
    raw.quit()
    assert [e["name"] for e in one.bin_entries()] == [NAME]
    assert one.bin_files() == [NAME]
    assert one.read(f"recycle/{NAME}") == kept("back")
    raw = session(one, upstream)
    assert raw.stat()[0] == 2


def test_restored_message_that_cannot_be_read_is_not_an_empty_one(proxy, session, server):
    """Readable when the mailbox was listed, and away for a moment when the view is built."""
    upstream = server(ham(1))
    one = proxy()
    one.restored_entry(NAME, kept("back"), ACCOUNT)
    raw = session(one, upstream)
    assert len(raw.uidl()) == 2
    os.rename(one.path("recycle", NAME), one.path("elsewhere"))
    os.mkdir(one.path("recycle", NAME))
    assert raw.stat()[0] == 1
    assert raw.retr(1)[1] == on_the_wire(ham(1))
    raw.quit()
    upstream.wait_for_end()
    os.rmdir(one.path("recycle", NAME))
    os.rename(one.path("elsewhere"), one.path("recycle", NAME))
    raw = session(one, upstream)
    assert raw.stat()[0] == 2
    assert raw.retr(1)[1] == kept("back") + b"\r\n"


def test_restored_message_stays_when_the_client_leaves_without_quit(proxy, session, server):
    upstream = server()
    one = proxy()
    one.restored_entry(NAME, kept("back"), ACCOUNT)
    raw = session(one, upstream)
    raw.stat()
    raw.retr(1)
    raw.close()
    upstream.wait_for_end()
    assert one.bin_files() == [NAME] and len(one.bin_entries()) == 1


def test_restored_message_deleted_by_the_client_goes(proxy, session, server):
    upstream = server(ham(1))
    one = proxy()
    one.restored_entry(NAME, kept("back"), ACCOUNT)
    raw = session(one, upstream)
    raw.stat()
    assert raw.ask("DELE 1") == b"+OK Message deleted"
    raw.quit()
    upstream.wait_for_end()
    assert one.bin_files() == [] and one.bin_entries() == []
    assert upstream.count("DELE") == 0
    assert upstream.numbers() == [1]


def test_restored_message_is_not_judged(proxy, session, server):
    upstream = server()
    one = proxy({"Aggressiveness": 100})
    one.restored_entry(NAME, spam(1), ACCOUNT)
    assert session(one, upstream).stat()[0] == 1


def test_last_restored_message_comes_first(proxy, session, server):
    upstream = server(ham(1))
    one = proxy()
    for number in (1, 2, 3):
        one.restored_entry(f"1_00000{number}_1.recycle", kept(f"back {number}"), ACCOUNT)
    raw = session(one, upstream)
    assert raw.stat()[0] == 4
    subjects = [re.search(rb"Subject: (.*)\r", raw.retr(n)[1])[1] for n in (1, 2, 3, 4)]
    assert subjects == [b"back 3", b"back 2", b"back 1", b"ham 1"]


def test_restored_messages_have_numbers_beyond_the_servers(proxy, session, server):
    upstream = server(ham(1))
    one = proxy()
    one.restored_entry(NAME, kept("back"), ACCOUNT)
    raw = session(one, upstream)
    ids = raw.uidl()
    assert [number for number, _ in ids] == [65537, 1]
    assert re.fullmatch(rb"Quillbeaker[0-9a-f]+", ids[0][1])
    assert raw.retr(65537)[1] == kept("back") + b"\r\n"


@pytest.mark.parametrize("account, offered", [
    (ACCOUNT, True), ("", True), (None, True), ("jane @ other.example", False), ("jane @ 127.0.0.1 ", False),
    ("JANE @ 127.0.0.1", False),
])
def test_account_decides_who_is_offered_it(proxy, session, server, account, offered):
    upstream = server()
    one = proxy()
    one.restored_entry(NAME, kept("back"), account)
    one.bin_entry("2452676_231507_2.recycle", kept("not restored"), ACCOUNT)
    one.bin_entry("2452676_231507_3.recycle", kept("taken back"), ACCOUNT, restored="0")
    assert session(one, upstream).stat()[0] == (1 if offered else 0)


def test_file_that_cannot_be_read_is_not_offered(proxy, client, server):
    """A pipe in the file's place: file and entry wait for another time, and the client gets no empty message."""
    upstream = server()
    one = proxy()
    one.restored_entry("1_000000_1.recycle", b"")
    os.remove(one.path("recycle", "1_000000_1.recycle"))
    os.mkfifo(one.path("recycle", "1_000000_1.recycle"))
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 0
    raw.quit()
    assert os.path.exists(one.path("recycle", "1_000000_1.recycle"))
    assert [entry["name"] for entry in one.bin_entries()] == ["1_000000_1.recycle"]


def test_file_that_was_away_while_its_message_was_delivered_is_not_deleted(proxy, session, server):
    upstream = server()
    one = proxy()
    one.restored_entry(NAME, None, ACCOUNT)
    raw = session(one, upstream)
    assert raw.stat()[0] == 1
    raw.send(b"RETR 1\r\n")
    assert raw.until(b".\r\n") == b"+OK 0\r\n\r\n.\r\n"
    one.write(f"recycle/{NAME}", kept("back again"))
    raw.quit()
    assert one.bin_entries() == []
    assert one.read(f"recycle/{NAME}") == kept("back again")


@pytest.mark.parametrize("ask", ["retrieved", "deleted"])
def test_delivered_message_that_cannot_leave_the_index_comes_again_whole(proxy, session, server, ask):
    """An index that cannot be written, as on a full disk: its message file stays too."""
    upstream = server()
    one = proxy()
    one.restored_entry(NAME, kept("back"), ACCOUNT)
    os.chmod(one.path("recycle/recyclebin.xml"), 0o444)
    for _ in range(2):
        raw = session(one, upstream)
        assert raw.stat() == (1, len(kept("back")))
        if ask == "retrieved":
            assert raw.retr(1)[1] == kept("back") + b"\r\n"
        else:
            assert raw.ask("DELE 1") == b"+OK Message deleted"
        raw.quit()
        assert one.bin_files() == [NAME] and len(one.bin_entries()) == 1
    os.chmod(one.path("recycle/recyclebin.xml"), 0o644)
    raw = session(one, upstream)
    assert raw.stat()[0] == 1
    assert raw.retr(1)[1] == kept("back") + b"\r\n"
    raw.quit()
    assert one.bin_files() == [] and one.bin_entries() == []


def test_spam_stays_on_the_server_while_the_index_cannot_be_read(proxy, session, server):
    upstream = server(spam(1), ham(1), spam(2), ham(2))
    one = proxy()
    index = one.path("recycle/recyclebin.xml")
    os.rename(index, index + ".away")
    os.mkdir(index)
    raw = session(one, upstream)
    assert raw.stat()[0] == 2
    assert raw.ask("DELE 1") == b"+OK Message deleted"
    raw.quit()
    upstream.wait_for_end()
    assert upstream.numbers() == [1, 2, 3]
    assert one.bin_files() == []
    os.rmdir(index)
    os.rename(index + ".away", index)
    raw = session(one, upstream)
    raw.stat()
    raw.quit()
    upstream.wait_for_end(2)
    assert len(one.bin_entries()) == 2 and len(one.bin_files()) == 2


def test_damaged_index_is_made_anew_when_spam_is_filed(proxy, session, server):
    upstream = server(spam(1), spam(2))
    one = proxy()
    one.restored_entry(NAME, kept("back"), ACCOUNT, spamwords="zork")
    damaged = one.read("recycle/recyclebin.xml")[:-10]
    one.write("recycle/recyclebin.xml", damaged)
    raw = session(one, upstream)
    assert raw.stat()[0] == 0
    raw.quit()
    upstream.wait_for_end()
    assert upstream.numbers() == []
    entries = one.bin_entries()
    assert [entry["name"] for entry in entries] == one.bin_files() and len(entries) == 3
    assert (entries[0]["account"], entries[0]["restored"], entries[0]["spamwords"]) == (ACCOUNT, "1", "zork")
    assert one.read("recycle/recyclebin.xml.bad") == damaged
    raw = session(one, upstream)
    assert raw.stat()[0] == 1
    assert raw.retr(1)[1] == kept("back") + b"\r\n"


def test_lost_file_blocks_nothing(proxy, session, server):
    upstream = server(ham(1))
    one = proxy()
    one.restored_entry(NAME, None, ACCOUNT)
    raw = session(one, upstream)
    assert raw.stat() == (2, parsed_size(ham(1)))
    raw.send(b"RETR 1\r\n")
    assert raw.until(b".\r\n") == b"+OK 0\r\n\r\n.\r\n"
    raw.quit()
    assert one.bin_entries() == []


def test_restored_file_is_made_fit_to_send(proxy, session, server):
    """A dropped file is not stuffed and may use bare line feeds; a filed one is sent as it stands."""
    upstream = server()
    one = proxy()
    dropped = b"Subject: dropped\n\nline\n.\n.dot\n..two\nend\n"
    filed = b"Subject: filed\r\n\r\n..\r\n..dot\r\nend"
    one.restored_entry("1_000001_1.recycle", dropped, ACCOUNT)
    one.restored_entry("1_000002_1.recycle", filed, ACCOUNT)
    raw = session(one, upstream)
    converted = dropped.replace(b"\n", b"\r\n")
    assert raw.stat() == (2, len(filed) + len(converted))
    assert raw.retr(1) == (b"+OK %d" % len(filed), filed + b"\r\n")
    assert raw.retr(2) == (b"+OK %d" % len(converted),
                           b"Subject: dropped\r\n\r\nline\r\n..\r\n..dot\r\n..two\r\nend\r\n\r\n")
    raw.nothing(0.1)


@pytest.mark.parametrize("body, sent", [
    (b".\r\n.\r\n.\r\n", b"..\r\n..\r\n..\r\n"), (b"x\r\n.", b"x\r\n.."), (b".", b".."), (b"..", b".."),
    (b"...", b"..."), (b".a\r\n.b\r\n..c\r\n...d\r\n.", b"..a\r\n..b\r\n..c\r\n...d\r\n.."),
    (b"a.\r\nb.c\r\n\r\n.\r\n\r\n.", b"a.\r\nb.c\r\n\r\n..\r\n\r\n.."),
    (b"x\n.\ny\r\n.z\n.\r\n", b"x\n.\ny\r\n..z\n.\r\n"), (b".\0\r\n.\xff", b"..\0\r\n..\xff"),
], ids=repr)
def test_restored_lines_that_begin_with_one_dot_get_a_second(proxy, session, server, body, sent):
    one = proxy()
    one.restored_entry(NAME, b"Subject: dots\r\n\r\n" + body, ACCOUNT)
    raw = session(one, server())
    assert raw.stat()[0] == 1
    raw.send(b"RETR 1\r\n")
    expected = b"+OK %d\r\nSubject: dots\r\n\r\n" % (len(body) + 17) + sent + b"\r\n.\r\n"
    raw.peek(len(expected))
    assert raw.buffer == expected


def test_as_many_restored_names_as_fit_are_offered(proxy, session, server):
    """The names of one session share 2000 bytes with the name of the directory."""
    upstream = server()
    one = proxy()
    root = []
    for number in range(70):
        name = f"2452676_2315{number:02d}_1a2b3c4.recycle"
        one.write(f"recycle/{name}", kept(f"back {number}"))
        root.append(f'<recyclefile name="{name}" date="{day_number()}" time="10:00" account="{ACCOUNT}" sender=""'
                    ' address="" size="1" restored="1"/>')
    one.write("recycle/recyclebin.xml",
              '<?xml version="1.0" encoding="ISO-8859-1"?>\n<recyclebin>' + "".join(root) + "</recyclebin>\n")
    fitting = (2000 - (len(one.path("recycle") + "/") + 1)) // (len("2452676_231500_1a2b3c4.recycle") + 1)
    assert 50 < fitting < 70
    raw = session(one, upstream)
    assert raw.stat()[0] == fitting
    first = {raw.retr(n)[1] for n in range(1, fitting + 1)}
    raw.quit()
    raw = session(one, upstream)
    assert raw.stat()[0] == 70 - fitting
    second = {raw.retr(n)[1] for n in range(1, 70 - fitting + 1)}
    assert len(first | second) == 70
    raw.quit()
    assert one.bin_entries() == [] and one.bin_files() == []


@pytest.mark.parametrize("name", ["../outside.recycle", "..\\outside.recycle", "/etc/passwd", "passwd", "",
                                  "x:y.recycle", "sub/x.recycle"])
def test_doctored_name_reaches_nothing_outside(proxy, session, server, name):
    upstream = server()
    one = proxy()
    outside = one.write("outside.recycle", b"Subject: outside\r\n\r\nx\r\n")
    os.makedirs(one.path("recycle/sub"))
    inner = one.write("recycle/sub/x.recycle", b"Subject: inner\r\n\r\nx\r\n")
    one.restored_entry(name, None, ACCOUNT)
    raw = session(one, upstream)
    for number in range(1, raw.stat()[0] + 1):
        assert b"outside" not in raw.retr(number)[1] and b"inner" not in raw.retr(number)[1]
        assert raw.ask(f"DELE {number}") == b"+OK Message deleted"
    raw.quit()
    assert os.path.exists(outside) and os.path.exists(inner) and os.path.exists("/etc/passwd")


def test_purge_follows_no_doctored_name(proxy, client):
    one = proxy()
    outside = one.write("outside.recycle", b"x")
    one.bin_entry("../outside.recycle", None, date="1")
    one.bin_entry("..\\outside.recycle", None, date="1")
    client(one).quit()
    assert one.bin_entries() == []
    assert os.path.exists(outside)


def test_entities_of_an_index_are_not_followed(proxy, client, server):
    """A document with a DTD counts as unparsable: nothing is read through it, and it is left alone."""
    upstream = server()
    one = proxy()
    text = ('<?xml version="1.0"?>\n<!DOCTYPE recyclebin [<!ENTITY a "' + "x" * 1000 + '">'
            + "".join(f'<!ENTITY {b} "{f"&{a};" * 10}">' for a, b in zip("abcdefg", "bcdefgh"))
            + f']>\n<recyclebin><recyclefile name="{NAME}" date="{day_number()}" restored="1" subject="&h;"/>'
            + "</recyclebin>")
    one.write("recycle/recyclebin.xml", text)
    raw = client(one).login(upstream.port)
    begun = time.monotonic()
    assert raw.ask("STAT") == b"+OK 0 0"
    assert time.monotonic() - begun < 3
    raw.quit()
    assert one.read("recycle/recyclebin.xml") == text.encode()
    assert one.peak_memory() < 200 << 20


# -- start --------------------------------------------------------------------------------------
def test_dropped_file_is_taken_in_and_listed_after_a_rebuild(program_directory):
    one = program_directory()
    one.start()
    one.stop()
    assert one.read("recycle/recyclebin.xml") != b""
    path = one.write("recycle/x.eml", kept("dropped"))
    moment = time.mktime((2024, 2, 29, 23, 15, 7, 0, 0, -1))
    os.utime(path, (moment, moment))
    one.start()
    one.stop()
    (name,) = one.bin_files()
    assert re.fullmatch(r"2460370_231507_[0-9a-f]+\.recycle", name)
    assert not os.path.exists(path)
    assert one.bin_entries() == []
    assert one.read(f"recycle/{name}") == kept("dropped")
    os.remove(one.path("recycle/recyclebin.xml"))
    one.start()
    (entry,) = one.bin_entries()
    assert (entry["name"], entry["subject"], entry["address"]) == (name, "dropped", "kept@example.org")
    assert b"\n  <recyclefile " in one.read("recycle/recyclebin.xml")  # indented when it is rebuilt


def test_equal_write_times_lose_no_dropped_file(program_directory):
    one = program_directory()
    moment = time.time() - 1000
    for number in range(20):
        path = one.write(f"recycle/{number}.eml", kept(f"dropped {number}"))
        os.utime(path, (moment, moment))
    one.start()
    assert len(one.bin_files()) == 20
    assert sorted(e["subject"] for e in one.bin_entries()) == sorted(f"dropped {n}" for n in range(20))


def test_what_only_looks_like_a_dropped_file_is_left(program_directory):
    one = program_directory()
    os.makedirs(one.path("recycle/directory.eml"))
    one.write("recycle/longer.emlx", kept("no"))
    os.symlink("/nonexistent", one.path("recycle/link.eml"))
    one.start()
    assert one.bin_files() == []
    assert os.path.isdir(one.path("recycle/directory.eml")) and os.path.exists(one.path("recycle/longer.emlx"))


def test_entry_is_written_without_indentation(proxy, client, server):
    upstream = server(spam(1), spam(2))
    one = proxy()
    raw = client(one).login(upstream.port)
    raw.stat()
    raw.quit()
    data = one.read("recycle/recyclebin.xml")
    assert data.startswith(b'<?xml version="1.0" encoding="ISO-8859-1"?>\n<recyclebin><recyclefile name="')
    assert data.count(b"/><recyclefile ") == 1


def test_filed_spam_restored_by_hand_comes_back_as_it_was(proxy, client, server):
    data = message("offer", body="zorkmoney\r\n.dot\r\n.\r\nend\r\n", fields=[("X-Long", "word " * 40 + "end")])
    upstream = server(data)
    one = proxy()
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 0
    raw.quit()
    upstream.wait_for_end()
    index = one.read("recycle/recyclebin.xml")
    one.write("recycle/recyclebin.xml", index.replace(b"/></recyclebin>", b' restored="1"/></recyclebin>'))
    assert one.bin_entries()[0]["restored"] == "1"
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 1
    assert raw.retr(1)[1] == on_the_wire(data)
    raw.quit()
    assert one.bin_entries() == [] and one.bin_files() == []
