# SPDX-License-Identifier: MIT
"""curl, mpop and fetchmail fetch mail from Dovecot through the proxy.

What arrives is not byte-equal to what was stored, because header lines are folded anew. Equal must be
every field's name and unfolded value, and every body byte of mail whose parts the parser keeps: that
is what `assert_same_mail` compares, part by part."""

import contextlib
import time

import pytest

from mail_clients import Fetchmail, Mpop, curl
from messages import assert_same_mail, ham, samples, spam
from program import eventually

# fetchmail is told to touch nothing, but it always writes a Received line of its own where it may.
CLIENTS = ["curl", "mpop", "fetchmail"]


def account(user, dovecot):
    return f"127.0.0.1&{user}&{dovecot.port}"


@pytest.fixture
def fetch(request, dovecot):
    """fetch(name, proxy or port, account, ...) -> Fetched; one client of each kind per test."""
    with contextlib.ExitStack() as stack:
        mpop, fetchmail = stack.enter_context(contextlib.closing(Mpop())), stack.enter_context(
            contextlib.closing(Fetchmail()))

        def run(name, target, user, keep=True, **options):
            port = getattr(target, "port", target)
            if name == "curl":
                return curl(port, user, "secret", delete=not keep, **options)
            return {"mpop": mpop, "fetchmail": fetchmail}[name].fetch(port, user, "secret", keep=keep, **options)

        yield run


@pytest.mark.parametrize("name", CLIENTS)
def test_every_kind_of_mail_arrives_whole(proxy, dovecot, fetch, name):
    sent = samples()
    user = f"whole-{name}"
    dovecot.mailbox(user, sent.values())
    fetched = fetch(name, proxy(), account(user, dovecot))
    assert fetched.code == 0, fetched.output
    assert len(fetched.messages) == len(sent), fetched.output
    # The proxy numbers the messages in the reverse of the server's order.
    for (kind, data), delivered in zip(reversed(sent.items()), fetched.messages):
        try:
            assert_same_mail(data, delivered)
        except AssertionError as error:
            raise AssertionError(f"{kind}: {error}") from error
    assert dovecot.left(user) == len(sent)


@pytest.mark.parametrize("name", CLIENTS)
def test_spam_is_taken_away_and_kept(proxy, dovecot, fetch, name):
    user = f"spam-{name}"
    dovecot.mailbox(user, [ham(1), spam(1), ham(2), spam(2), spam(3)])
    one = proxy()
    fetched = fetch(name, one, account(user, dovecot))
    assert fetched.code == 0, fetched.output
    assert len(fetched.messages) == 2
    for sent, delivered in zip((ham(2), ham(1)), fetched.messages):
        assert_same_mail(sent, delivered)
    eventually(lambda: dovecot.left(user) == 2, what="the deletion of the spam on the server")
    assert sorted(e["subject"] for e in one.bin_entries()) == ["offer 1", "offer 2", "offer 3"]
    assert {e["account"] for e in one.bin_entries()} == {f"{user} @ 127.0.0.1"}


@pytest.mark.parametrize("name", CLIENTS)
def test_client_that_deletes_empties_the_mailbox(proxy, dovecot, fetch, name):
    user = f"delete-{name}"
    dovecot.mailbox(user, [ham(1), spam(1), ham(2)])
    one = proxy()
    fetched = fetch(name, one, account(user, dovecot), keep=False)
    assert fetched.code == 0, fetched.output
    assert len(fetched.messages) == 2
    eventually(lambda: dovecot.left(user) == 0, what="the deletion of everything")
    assert [e["subject"] for e in one.bin_entries()] == ["offer 1"]
    if name != "curl":  # which listed once before, in a session of its own, and so left the mail there
        assert one.known_ids() == []


@pytest.mark.parametrize("name", CLIENTS)
def test_empty_mailbox(proxy, dovecot, fetch, name):
    user = f"empty-{name}"
    dovecot.mailbox(user, [])
    fetched = fetch(name, proxy(), account(user, dovecot))
    assert fetched.messages == []
    assert fetched.code == {"curl": 0, "mpop": 0, "fetchmail": 1}[name], fetched.output  # 1: no mail


@pytest.mark.parametrize("name", CLIENTS)
def test_second_check_of_kept_mail(proxy, dovecot, fetch, name):
    """The mail that was left is known: the proxy fetches it only if the client asks for it again."""
    user = f"twice-{name}"
    dovecot.mailbox(user, [ham(1), ham(2)])
    one = proxy()
    first = fetch(name, one, account(user, dovecot))
    assert len(first.messages) == 2, first.output
    eventually(lambda: len({uid for uid, _ in one.known_ids()}) == 2)
    second = fetch(name, one, account(user, dovecot))
    # curl and fetchmail (fetchall) take all again; mpop remembers the ids it has seen.
    assert len(second.messages) == (0 if name == "mpop" else 2), second.output
    assert dovecot.left(user) == 2


@pytest.mark.parametrize("name", CLIENTS)
def test_wrong_password_is_told_to_the_client(proxy, dovecot, fetch, name):
    one = proxy()
    fetched = fetch(name, one, "127.0.0.1&jane")  # port 110, where nothing listens
    assert fetched.code != 0
    assert fetched.messages == []
    assert one.running()


def test_mpop_may_pipeline_if_it_must(proxy, dovecot, fetch):
    """One receive is one command: a client that pipelines cannot be served, but does no harm either."""
    dovecot.mailbox("pipeline", [ham(1), ham(2), ham(3)])
    one = proxy({"AutoAbortOnTimeout": 1}, {"Timeout": 5})
    fetched = fetch("mpop", one, account("pipeline", dovecot), pipelining="auto")
    assert fetched.code == 0, fetched.output  # CAPA is refused, so mpop does not pipeline
    assert len(fetched.messages) == 3


def test_fetchmail_with_uidl_and_without(proxy, dovecot, fetch):
    sent = [ham(n) for n in range(1, 6)]
    for uidl in (True, False):
        user = f"uidl-{int(uidl)}"
        dovecot.mailbox(user, sent)
        fetched = fetch("fetchmail", proxy(), account(user, dovecot), uidl=uidl)
        assert len(fetched.messages) == 5, fetched.output.decode("latin-1")
        for data, delivered in zip(reversed(sent), fetched.messages):
            assert_same_mail(data, delivered)


def test_fetchmail_without_fetchall_stores_no_bodies(proxy, dovecot, fetch):
    """What docs/USERS.md warns of: it asks for messages with TOP, whose answer is the header alone here."""
    dovecot.mailbox("headers", [ham(1), ham(2)])
    fetched = fetch("fetchmail", proxy(), account("headers", dovecot), uidl=True, fetchall=False)
    assert fetched.code == 0, fetched.output
    assert b"POP3> TOP 1 " in fetched.output
    assert [data.replace(b"\r", b"").partition(b"\n\n")[2].strip() for data in fetched.messages] == [b"", b""]
    assert all(b"Subject: " in data for data in fetched.messages)


def test_many_messages_do_not_wait_for_acknowledgements(proxy, dovecot, fetch):
    """40 ms per message would be 12 s for 300; the same client directly at Dovecot needs far less."""
    sent = [ham(n) for n in range(1, 301)]
    dovecot.mailbox("many", sent)
    begun = time.monotonic()
    direct = fetch("curl", dovecot.port, "many", count=300)
    middle = time.monotonic()
    through = fetch("curl", proxy(), account("many", dovecot), count=300)
    end = time.monotonic()
    assert len(direct.messages) == len(through.messages) == 300
    assert end - middle < 3 * (middle - begun) + 3
