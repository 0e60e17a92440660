# SPDX-License-Identifier: MIT
"""Every command of the mail client, its replies and what they end."""

import os
import re
import zlib

import pytest

from messages import ham, message, on_the_wire, parsed_size, refolded, samples, spam
from program import WRONG_USER_NAME
from scripted_server import ScriptedServer, dot_stuffed

ACCEPTED = b"+OK Username accepted"
REFUSED = b"-ERR Username isn't correct"
NO_LOGIN = b"-ERR Password isn't correct"


@pytest.fixture
def checked(proxy, client, server):
    """A session whose view is built: checked(messages...) -> (client, scripted server, proxy)."""

    def make(*messages, settings=None, senders=None, **options):
        upstream = server(*messages, **options)
        one = proxy(settings, senders=senders)
        raw = client(one).login(upstream.port)
        raw.stat()
        return raw, upstream, one

    return make


# -- USER and PASS ------------------------------------------------------------------------------
@pytest.mark.parametrize("fields, port", [
    ("&jane", 110), ("&jane&", 110), ("&jane&&", 110), ("&jane&995", 995), ("&jane&995&", 995),
])
def test_port_of_the_user_name(proxy, client, fields, port):
    # Every address of 127.0.0.0/8 is this machine: one of this process's own, for the port is not.
    host = f"127.{os.getpid() >> 8 & 127}.{os.getpid() & 255}.77"
    try:
        upstream = ScriptedServer([ham(1)], host=host, port=port)
    except PermissionError:
        pytest.skip(f"needs the right to listen on port {port}")
    with upstream:
        raw = client(proxy(server={"Security": "plain"}))  # port 995 alone would mean TLS
        assert raw.ask(f"USER {host}{fields}") == ACCEPTED
        assert raw.ask("PASS secret") == b"+OK Password accepted"
        assert raw.stat()[0] == 1
        raw.quit()
        assert upstream.commands()[:2] == ["USER jane", "PASS secret"]


@pytest.mark.parametrize("argument, name", [
    ("127.0.0.1&jo&&hn&{}", "jo&hn"),
    ("127.0.0.1&jane@example.net&{}", "jane@example.net"),
    ("127.0.0.1&" + "u" * 79 + "&{}", "u" * 79),
    ("127.0.0.1&j\xe4ne&{}", "j\xe4ne"),
    ("127.0.0.1&jane&{} and more", "jane"),
], ids=list("abcde"))
def test_user_name_is_split(proxy, client, server, argument, name):
    upstream = server()
    raw = client(proxy())
    assert raw.ask("USER " + argument.format(upstream.port)) == ACCEPTED
    assert raw.ask("PASS secret") == b"+OK Password accepted"
    assert upstream.commands()[0] == "USER " + name


@pytest.mark.parametrize("argument", [
    "a&b&c&d", "popserver", "", "srv&jo&&hn", "s" * 80 + "&jane&110", "srv&" + "u" * 80 + "&110", "a&b&1&2&3",
], ids=lambda value: value[:20])
def test_malformed_user_name_ends_the_session_and_nothing_else(proxy, client, argument):
    one = proxy()
    raw = client(one)
    assert raw.ask(f"USER {argument}") == REFUSED
    raw.ended()
    one.wait_for_output(re.escape(WRONG_USER_NAME))
    assert "[pop3server]&[username]&[port]" in one.output() + one.error_output()
    assert client(one).ask("STAT") == b"+OK 0 0"


@pytest.mark.parametrize("command", ["user", "User", "uSeR"])
def test_arguments_are_read_in_any_case(proxy, client, server, command):
    upstream = server(*[ham(n) for n in range(1, 4)])
    raw = client(proxy())
    assert raw.ask(f"{command} 127.0.0.1&jane&{upstream.port}") == ACCEPTED
    assert raw.ask("pass secret") == b"+OK Password accepted"
    assert raw.stat()[0] == 3
    assert raw.ask("list 3") == b"+OK 3 %d" % parsed_size(ham(1))
    assert raw.ask("uidl 1") == b"+OK 1 uid-3-2"
    assert raw.ask("dele 2") == b"+OK Message deleted"


def test_password_may_be_79_bytes_long_and_no_longer(proxy, client, server):
    one = proxy()
    for length, answer in ((79, b"+OK Password accepted"), (80, NO_LOGIN)):
        upstream = server(password=b"p" * length)
        raw = client(one)
        assert raw.user(upstream.port) == ACCEPTED
        assert raw.ask("PASS " + "p" * length) == answer
        if answer == NO_LOGIN:
            raw.ended()
            assert b"p" * 79 not in upstream.raw()
        raw.close()


def test_argument_ends_at_the_first_blank(proxy, client, server):
    upstream = server(password=b"se")
    raw = client(proxy())
    assert raw.user(upstream.port) == ACCEPTED
    assert raw.ask("PASS se cret") == b"+OK Password accepted"
    assert upstream.commands() == ["USER jane", "PASS se"]


def test_commands_need_no_line_end(proxy, client, server):
    """A receive is a command, whether it ends a line or not."""
    upstream = server(ham(1), ham(2))
    raw = client(proxy())
    for text, answer in ((f"USER 127.0.0.1&jane&{upstream.port}", ACCEPTED), ("PASS secret", b"+OK Password accepted"),
                         ("STAT", None), ("LIST 2\n", b"+OK 2 %d" % parsed_size(ham(1)))):
        raw.send(text)
        line = raw.line()
        assert line == answer if answer else line.startswith(b"+OK 2 ")


def test_no_state_is_enforced_before_the_login(proxy, client):
    raw = client(proxy())
    assert raw.ask("STAT") == b"+OK 0 0"
    assert raw.listing("LIST") == (b"+OK There are no messages", [])
    assert raw.listing("UIDL") == (b"+OK UID list follows", [])
    assert raw.ask("UIDL 1") == b"-ERR UID not found"
    assert raw.ask("RSET") == b"+OK I pretend that everything is now clean"
    raw.quit()


def test_listing_before_the_login_does_not_spoil_the_filter(proxy, client, server):
    upstream = server(ham(1), spam(1))
    raw = client(proxy())
    assert raw.listing("LIST")[1] == []
    assert raw.ask("STAT") == b"+OK 0 0"
    raw.login(upstream.port)
    assert raw.stat()[0] == 1
    raw.quit()
    assert upstream.numbers() == [1]


def test_second_login_begins_anew(proxy, client, server):
    first, second = server(ham(1), ham(2)), server(ham(3), spam(1), ham(4), ham(5))
    raw = client(proxy())
    raw.login(first.port)
    assert raw.stat()[0] == 2
    raw.login(second.port)
    assert raw.stat()[0] == 3
    first.wait_for_end()
    assert first.commands()[-1] == "QUIT"
    raw.quit()
    assert second.numbers() == [1, 3, 4]


# -- STAT and LIST ------------------------------------------------------------------------------
def test_sizes_are_those_of_the_parsed_text(checked):
    dotty = message(body=".a\r\n..b\r\nplain\r\n")
    raw, _, _ = checked(ham(1), dotty)
    assert parsed_size(dotty) == len(dotty)  # two dots more, one CR LF less
    assert raw.stat() == (2, parsed_size(dotty) + parsed_size(ham(1)))
    assert raw.list() == [(1, parsed_size(dotty)), (2, parsed_size(ham(1)))]
    assert raw.retr(1)[0] == b"+OK %d" % parsed_size(dotty)


def test_size_is_not_the_length_of_what_is_sent(checked):
    """Header lines are folded anew on the way out; the size stays that of the text as it came."""
    long = message(fields=[("X-Words", "word " * 60 + "end")])
    raw, _, _ = checked(long)
    status, text = raw.retr(1)
    assert status == b"+OK %d" % (len(long) - 2)
    assert len(text) > len(long)


def test_known_message_keeps_the_listed_size_until_it_is_fetched(checked, client):
    raw, upstream, one = checked(ham(1))
    raw.quit()
    upstream.list_lines = [b"1 77777"]
    raw = client(one).login(upstream.port)
    assert raw.stat() == (1, 77777)
    assert raw.list() == [(1, 77777)]
    assert raw.retr(1)[0] == b"+OK %d" % parsed_size(ham(1))
    assert raw.list() == [(1, parsed_size(ham(1)))]


def test_list_of_one_message(checked):
    raw, _, _ = checked(ham(1), ham(2))
    assert raw.ask("LIST 2") == b"+OK 2 %d" % parsed_size(ham(1))
    assert raw.ask("LIST 99") == b"-ERR message does not exist!"
    assert raw.ask("LIST 3") == b"-ERR message does not exist!"
    assert raw.ask("STAT").startswith(b"+OK 2 ")


def test_list_on_an_empty_mailbox(checked):
    raw, _, _ = checked()
    assert raw.listing("LIST") == (b"+OK There are no messages", [])
    assert raw.listing("LIST 1") == (b"+OK There are no messages", [])
    assert raw.stat() == (0, 0)


def test_numbers_may_be_octal_or_hexadecimal(checked):
    raw, _, _ = checked(*[ham(n) for n in range(1, 18)])
    eight, sixteen = parsed_size(ham(10)), parsed_size(ham(2))
    assert raw.ask("LIST 010") == b"+OK 8 %d" % eight
    assert raw.ask("LIST 0x10") == b"+OK 16 %d" % sixteen
    assert raw.ask("LIST 10") == b"+OK 10 %d" % parsed_size(ham(8))


def test_client_numbers_follow_the_reverse_of_the_listing(checked):
    raw, upstream, _ = checked(*[ham(n) for n in (1, 2, 3)])
    assert [raw.retr(n)[1] for n in (1, 2, 3)] == [on_the_wire(ham(n)) for n in (3, 2, 1)]
    assert upstream.words(1)[:4] == ["USER", "PASS", "LIST", "UIDL"]
    assert [c for c in upstream.commands() if c.startswith("RETR")] == ["RETR 3", "RETR 2", "RETR 1"]


def test_only_the_order_of_the_lines_counts(proxy, client, server):
    upstream = server()
    for number in (5, 9, 2):
        upstream.put(ham(number), number=number)
    raw = client(proxy()).login(upstream.port)
    raw.stat()
    assert [raw.retr(n)[1] for n in (1, 2, 3)] == [on_the_wire(ham(n)) for n in (2, 9, 5)]


def test_word_prefix_is_enough(checked):
    raw, _, _ = checked(ham(1))
    assert raw.ask("STATUS").startswith(b"+OK 1 ")
    assert raw.listing("LISTEN") == (b"+OK Message list follows", [b"1 %d" % parsed_size(ham(1))])
    # Recognised as TOP, but no number follows the word.
    assert raw.ask("TOPX 1 0") == b"-ERR Message could not be received"
    raw.ended()


# -- hidden spam --------------------------------------------------------------------------------
def test_hidden_spam_is_in_no_listing_but_can_be_fetched(checked):
    raw, upstream, _ = checked(ham(1), ham(2), spam(1))
    assert raw.stat() == (2, parsed_size(ham(1)) + parsed_size(ham(2)))
    assert [n for n, _ in raw.list()] == [1, 2]
    assert raw.uidl() == [(1, b"uid-2-1"), (2, b"uid-1-0")]
    assert raw.ask("LIST 3") == b"-ERR message does not exist!"
    status, text = raw.retr(3)
    assert status == b"+OK %d" % parsed_size(spam(1))
    assert text == on_the_wire(spam(1))
    assert upstream.count("RETR 3") == 1
    assert raw.ask("UIDL 3") == b"+OK -1 uid-3-2"
    raw.quit()
    assert upstream.numbers() == [1, 2]


@pytest.mark.parametrize("command, answer", [
    ("DELE", b"-ERR Message could not be deleted\r\n"), ("RETR", b""),
    ("TOP", b"-ERR Message could not be received\r\n"), ("DELE -1", b"-ERR Message could not be deleted\r\n"),
    ("RETR -1", b""), ("TOP -1", b"-ERR Message could not be received\r\n"),
    ("DELE 4294967295", b"-ERR Message could not be deleted\r\n"),
    ("DELE 0", b"-ERR Message could not be deleted\r\n"), ("RETR 0", b""), ("RETR x", b""),
])
def test_number_that_is_none_reaches_no_hidden_message(checked, command, answer):
    raw, upstream, one = checked(spam(1), ham(1), spam(2))
    raw.send(command + "\r\n")
    assert raw.rest() == answer
    upstream.wait_for_end()
    assert upstream.count("DELE") == 0
    assert one.bin_files() == []


# -- RETR ---------------------------------------------------------------------------------------
@pytest.mark.parametrize("name", [n for n in samples() if n not in
                                  ("alternative", "attachment", "nested first", "nested second", "digest")])
def test_retr_delivers_every_byte_with_the_header_folded_anew(checked, name):
    data = samples()[name]
    raw, _, _ = checked(data)
    status, text = raw.retr(1)
    assert status == b"+OK %d" % parsed_size(data)
    assert text == on_the_wire(data)
    raw.nothing(0.05)


def test_retr_of_a_multipart_message(checked):
    data = (b"Subject: parts\r\nContent-Type: multipart/mixed; boundary=XY\r\n\r\npreamble\r\n--XY\r\n"
            b"Content-Type: text/plain\r\n\r\n.first\r\n\r\n--XY\r\nX-Long: " + b"word " * 30 + b"end\r\n\r\nsecond\r\n"
            b"--XY--\r\nepilogue\r\n")
    raw, _, _ = checked(data)
    folded = refolded(b"X-Long: " + b"word " * 30 + b"end\r\n")
    assert raw.retr(1)[1] == (
        b"Subject: parts\r\nContent-Type: multipart/mixed; boundary=XY\r\n\r\npreamble\r\n--XY\r\n"
        b"Content-Type: text/plain\r\n\r\n..first\r\n\r\n--XY\r\n" + folded + b"\r\nsecond\r\n--XY--\r\n\r\n")


def test_attachment_behind_a_nested_part_arrives(checked):
    data = samples()["nested first"]
    raw, _, _ = checked(data)
    text = raw.retr(1)[1]
    assert b"paper.pdf" in text
    assert text.count(b"--outer-2--\r\n") == text.count(b"--deep-2--\r\n") == 1
    assert text.index(b"--deep-2--") < text.index(b"paper.pdf") < text.index(b"--outer-2--")


def test_header_lines_without_colon_are_dropped(checked):
    raw, _, _ = checked(b"Subject: x\r\nno colon here\r\n and its continuation\r\nX-A:1\r\n\r\nbody\r\n")
    assert raw.retr(1)[1] == b"Subject: x\r\nX-A: 1\r\n\r\nbody\r\n"


@pytest.mark.parametrize("data, delivered", [
    (b"A: b\r\n c\r\n", b"A: b c\r\n\r\n"),          # a continuation may end with the text
    (b"Subject: only\r\n", b"Subject: only\r\n\r\n"),  # and so may a header line
    (b"no header at all\r\n", b"\r\n"),
    (b"\r\nbody only\r\n", b"\r\nbody only\r\n"),
    (b"A: 1\r\n\r\n\r\n\r\n", b"A: 1\r\n\r\n\r\n\r\n"),
])
def test_texts_of_unusual_form(checked, data, delivered):
    raw, _, _ = checked(data)
    assert raw.retr(1) == (b"+OK %d" % (len(data) - 2), delivered)


def test_long_values_are_delivered_whole(checked):
    value = "v" * 2000
    name = "N" * 300
    raw, _, _ = checked(message(fields=[("X-Long", value), (name, "short")]))
    text = raw.retr(1)[1]
    assert f"\r\nX-Long: {value}\r\n".encode() in text
    assert f"\r\n{name}: short\r\n".encode() in text


def test_second_retr_is_served_from_memory(checked):
    raw, upstream, _ = checked(message(body=".dot\r\n..\r\nend\r\n"))
    first, second = raw.retr(1), raw.retr(1)
    assert first == second
    assert first[1].endswith(b"\r\n\r\n..dot\r\n...\r\nend\r\n")
    assert upstream.count("RETR") == 1


def test_retr_before_any_listing_uses_server_numbers(proxy, client, server):
    upstream = server(ham(1), spam(1))
    raw = client(proxy()).login(upstream.port)
    assert raw.retr(1)[1] == on_the_wire(ham(1))
    assert raw.retr(2)[1] == on_the_wire(spam(1))
    assert raw.stat()[0] == 1
    assert upstream.count("RETR") == 2


def test_failed_retr_gives_no_reply_and_ends_the_session(checked):
    raw, upstream, _ = checked(ham(1))
    raw.send(b"RETR 7\r\n")
    raw.ended()
    upstream.wait_for_end()
    assert upstream.count("RETR 7") == 0


def test_messages_with_nul_and_all_bytes_pass_whole(checked):
    body = b"before\0after\r\n\0\r\n" + bytes(b for b in range(256) if b not in (10, 13)) + b"\r\nlast\0\r\n"
    data = message(subject="nul \0 inside", body=body)
    raw, _, _ = checked(data)
    assert raw.retr(1) == (b"+OK %d" % parsed_size(data), on_the_wire(data))


# -- DELE, RSET, NOOP ---------------------------------------------------------------------------
def test_dele_waits_for_quit_and_rset_does_not_undo_it(checked):
    raw, upstream, one = checked(ham(1), ham(2), ham(3))
    assert raw.ask("DELE 1") == b"+OK Message deleted"
    assert raw.ask("RSET") == b"+OK I pretend that everything is now clean"
    assert raw.stat()[0] == 3
    assert [n for n, _ in raw.list()] == [1, 2, 3]
    assert [n for n, _ in raw.uidl()] == [1, 2, 3]
    assert upstream.count("DELE") == 0 and upstream.count("RSET") == 0
    raw.quit()
    upstream.wait_for_end()
    assert [c for c in upstream.commands() if c.startswith("DELE")] == ["DELE 3"]
    assert upstream.numbers() == [1, 2]
    assert one.bin_files() == []


def test_dele_of_an_unknown_number_ends_the_session(checked):
    raw, upstream, _ = checked(ham(1))
    assert raw.ask("DELE 1") == b"+OK Message deleted"
    assert raw.ask("DELE 2") == b"-ERR Message could not be deleted"
    raw.ended()
    upstream.wait_for_end()
    assert upstream.numbers() == [1]


def test_dele_before_any_listing_counts_the_message_as_spam(proxy, client, server):
    """Such a message is already marked when it is judged: it is filed before it is deleted."""
    upstream = server(ham(1), ham(2))
    one = proxy()
    raw = client(one).login(upstream.port)
    assert raw.ask("DELE 1") == b"+OK Message deleted"
    assert upstream.words() == ["USER", "PASS", "LIST", "UIDL"]
    assert raw.stat()[0] == 1
    raw.quit()
    assert upstream.numbers() == [2]
    assert [e["subject"] for e in one.bin_entries()] == ["ham 1"]


def test_dele_without_a_view_is_carried_out(proxy, client, server):
    upstream = server(ham(1), ham(2))
    one = proxy()
    raw = client(one).login(upstream.port)
    assert raw.ask("DELE 2") == b"+OK Message deleted"
    raw.quit()
    assert upstream.numbers() == [1]
    assert upstream.count("RETR") == 0
    assert one.bin_files() == [] and one.known_ids() == []


def test_noop_is_passed_on_and_not_answered(checked):
    raw, upstream, _ = checked(ham(1))
    raw.send(b"NOOP\r\n")
    upstream.wait_for_command("NOOP")
    raw.nothing(2)
    assert raw.stat()[0] == 1
    assert raw.retr(1)[1] == on_the_wire(ham(1))


# -- TOP ----------------------------------------------------------------------------------------
def test_top_of_a_new_message_gives_its_fields_in_order(checked):
    long = "word " * 300 + "end"
    data = message(fields=[("X-Long", long), ("X-Folded", "a\r\n\tb\r\n  c"), ("X-Empty", "")], body="body\r\n")
    raw, upstream, _ = checked(data)
    for command in ("TOP 1 0", "TOP 1 5", "TOP 1"):
        assert raw.ask(command) == b"+OK Message header follows"
        text = raw.until(b"\r\n.\r\n")
        fields = dict(re.findall(rb"(?m)^(\S+): (.*)\r$", text))
        assert list(fields) == [b"From", b"To", b"Subject", b"Date", b"X-Long", b"X-Folded", b"X-Empty"]
        assert fields[b"X-Long"] == long.encode() and fields[b"X-Folded"] == b"a b  c"
        assert text.endswith(b"X-Empty: \r\n\r\n.\r\n")
        assert b"body" not in text
    raw.nothing(0.05)
    assert upstream.count("TOP") == 0


def test_top_of_a_known_message_has_no_header(checked, client):
    raw, upstream, one = checked(ham(1))
    raw.quit()
    raw = client(one).login(upstream.port)
    raw.stat()
    raw.send(b"TOP 1 0\r\n")
    assert raw.until(b".\r\n") == b"+OK Message header follows\r\n\r\n.\r\n"
    assert upstream.count("RETR", 2) == 0


def test_top_of_an_unknown_number_ends_the_session(checked):
    raw, _, _ = checked(ham(1))
    assert raw.ask("TOP 5 0") == b"-ERR Message could not be received"
    raw.ended()


# -- UIDL ---------------------------------------------------------------------------------------
def test_uidl_numbers_before_and_after_the_view(proxy, client, server):
    upstream = server(ham(1), ham(2), spam(1))
    raw = client(proxy()).login(upstream.port)
    assert raw.uidl() == [(3, b"uid-3-2"), (2, b"uid-2-1"), (1, b"uid-1-0")]
    assert upstream.count("RETR") == 0
    raw.stat()
    assert raw.uidl() == [(1, b"uid-2-1"), (2, b"uid-1-0")]
    assert raw.ask("UIDL 2") == b"+OK 2 uid-1-0"


def test_uidl_on_an_empty_mailbox(checked):
    raw, _, _ = checked()
    assert raw.listing("UIDL") == (b"+OK UID list follows", [])
    assert raw.ask("UIDL 1") == b"-ERR UID not found"


def test_uidl_ids_of_its_own_change_every_time(checked):
    raw, upstream, _ = checked(*[ham(n) for n in range(1, 9)], settings={"UIDChecking": 0})
    assert upstream.count("UIDL") == 0
    first, second = raw.uidl(), raw.uidl()
    for number, (listed, uid) in enumerate(first, 1):
        assert listed == number
        crc = b"%x" % zlib.crc32(refolded(dot_stuffed(ham(9 - number))[:-2]))
        assert re.fullmatch(rb"Quillbeaker" + crc + rb"[0-9a-f]+", uid), (uid, crc)
    ids = [uid for _, uid in first + second]
    assert len(set(ids)) == len(ids) == 16
    assert raw.ask("UIDL 1") == b"-ERR UID not found"


def test_uidl_ids_of_its_own_differ_before_the_download(proxy, client, server):
    upstream = server(*[ham(n) for n in range(1, 30)])
    upstream.has_uidl = False
    raw = client(proxy()).login(upstream.port)
    ids = [uid for _, uid in raw.uidl() + raw.uidl()]
    assert all(re.fullmatch(rb"Quillbeaker[0-9a-f]+", uid) for uid in ids)
    assert len(set(ids)) == len(ids) == 58
