#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""demo.py [--console] [--stay]: the main job on real mail, told in plain words.

Starts an ordinary user's Dovecot with a sample mailbox on loopback, starts Quillbeaker before it, lets
a mail client check the mail through it, and says what happened. What it says is counted where it
happened (server, mail client's folder, recycle bin); when the counts do not agree it ends with 1.
Quillbeaker is the Windows program under Wine, or with --console the program for the terminal.
With --stay it then goes on until Ctrl+C. Nothing else that is started here outlives it.
"""
import datetime
import email.header
import os
import re
import shlex
import shutil
import signal
import socket
import sys
import time
import xml.etree.ElementTree as ElementTree
from pathlib import Path

TOP = Path(__file__).resolve().parents[2]
sys.dont_write_bytecode = True
sys.path[:0] = [str(TOP / "tests" / "e2e"), str(Path(__file__).resolve().parent)]

import sample_mailbox  # noqa: E402
from dovecot import PASSWORD, Dovecot  # noqa: E402
from mail_clients import Mpop  # noqa: E402
from faces import ConsoleFace, WindowsFace  # noqa: E402
from program import Quillbeaker, executable, free_port  # noqa: E402

ACCOUNT = "sample"
DIRECTORY = TOP / "build" / "demo"
SETTINGS = Path(__file__).resolve().parent
SHIPPED_WORDS = TOP / "resources" / "spampoints.ini"
USUAL_PORT = 11110  # the same at each run, so that a mail client's account stays right
SUBJECT_WIDTH = 46


def line(text=""):
    print(text, flush=True)


def port_for_clients():
    """The demonstration's usual port, or another one when something listens there."""
    with socket.socket() as probe:
        probe.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        try:
            probe.bind(("127.0.0.1", USUAL_PORT))
            return USUAL_PORT
        except OSError:
            return free_port()


def prepare_directory():
    """A new program directory with the demonstration's settings.

    Deliberate: a directory whose recycle bin holds mail of another account than the sample's is moved
    aside, never removed: with --stay a person's own mail may have been filed there."""
    try:
        accounts = {entry.get("account", "") for entry in Quillbeaker(str(DIRECTORY)).bin_entries()}
    except ElementTree.ParseError:
        accounts = {"unreadable"}
    if accounts - {f"{ACCOUNT} @ 127.0.0.1"}:
        kept = DIRECTORY.with_name(f"demo-kept-{time.strftime('%Y%m%d-%H%M%S')}")
        DIRECTORY.rename(kept)
        line(f"The recycle bin of an earlier run may hold mail of your own; it is kept in {kept}.")
    shutil.rmtree(DIRECTORY, ignore_errors=True)
    DIRECTORY.mkdir(parents=True)
    for source in (SETTINGS / "Quillbeaker.ini", SHIPPED_WORDS):
        shutil.copy(source, DIRECTORY / source.name)


def threshold():
    """Percent from which the shipped table calls a mail spam at the demonstration's level."""
    return re.search(r"(?m)^level50=(\d+)", SHIPPED_WORDS.read_text("latin-1")).group(1)


def printable(text, width):
    """Text of a mail for a terminal: decoded, without control characters, cut to the width."""
    try:
        text = str(email.header.make_header(email.header.decode_header(text)))
    except (LookupError, ValueError):
        pass
    text = "".join(c if c.isprintable() else " " for c in text).split()
    text = " ".join(text)
    return text if len(text) <= width else text[:width - 3] + "..."


def describe_mailbox(samples):
    kinds = {}
    for sample in samples:
        kinds[sample.kind] = kinds.get(sample.kind, 0) + 1
    spam = sum(sample.is_spam for sample in samples)
    size = sum(len(sample.data) for sample in samples) // 1024
    line(f"The server holds {len(samples)} real messages ({size} KB) of 2002: {len(samples) - spam} good, {spam} spam.")
    line("  Their Date fields are set to days of the last month: the statistic counts by them.")
    line("  By kind: " + ", ".join(f"{count} {kind}" for kind, count in kinds.items()) + ".")


def report_spam(entries):
    line(f"Judged spam, hidden from the mail client and deleted on the server: {len(entries)}.")
    for entry in sorted(entries, key=lambda e: -float(e.get("probability", 0))):
        words = entry.get("spamwords", "")
        chance = entry.get("probability")
        why = f"{float(chance) * 100:4.0f} %  {printable(words, 60)}" if chance and words else "     -  sender is blocked"
        line(f"  {printable(entry.get('subject', '(no subject)'), SUBJECT_WIDTH):<{SUBJECT_WIDTH}} {why}")
    line("  (Percent: the weights of the spam words found, added up; from " + threshold() + " on it is spam.)")


def subjects_of(messages):
    """The unfolded subject of each message as it arrived."""
    found = []
    for data in messages:
        head = data.replace(b"\r\n", b"\n").split(b"\n\n", 1)[0].replace(b"\n\t", b" ").replace(b"\n ", b" ")
        for field in head.split(b"\n"):
            if field[:8].lower() == b"subject:":
                found.append(b" ".join(field[8:].split()))
                break
        else:
            found.append(b"")
    return found


def report_mistakes(samples, delivered):
    """How the verdicts compare with what people said of these messages."""
    arrived = subjects_of(delivered)
    missed = caught_good = 0
    for sample, subject in zip(samples, subjects_of([sample.data for sample in samples])):
        here = subject in arrived
        if here:
            arrived.remove(subject)
        missed += sample.is_spam and here
        caught_good += not sample.is_spam and not here
    line(f"  Of the {sum(s.is_spam for s in samples)} spam messages {missed} got through; "
         f"good ones taken for spam: {caught_good}.")
    line("  (The filter has learnt nothing yet: these are the words it comes with, and the senders of the demonstration's lists.)")


def check_mail(proxy, server, samples):
    """One mail check by mpop through the proxy. True when all counts agree."""
    began = time.monotonic()
    client = Mpop()
    try:
        with proxy.watched_check():
            fetched = client.fetch(proxy.port, f"127.0.0.1&{ACCOUNT}&{server.port}", PASSWORD, keep=False)
    finally:
        client.close()
    seconds = time.monotonic() - began
    if fetched.code:
        line(f"The mail client failed with exit code {fetched.code}:")
        line(printable(fetched.output.decode('latin-1'), 2000))
        return False
    entries = proxy.bin_entries()
    left = server.left(ACCOUNT)
    line(f"A mail client (mpop) checked the mail through Quillbeaker in {seconds:.1f} seconds.")
    line()
    report_spam(entries)
    line()
    line(f"Delivered to the mail client: {len(fetched.messages)}.")
    report_mistakes(samples, fetched.messages)
    line(f"Left on the server: {left}.")
    line()
    agree = (len(fetched.messages) + len(entries) == len(samples) and len(proxy.bin_files()) == len(entries)
             and left == 0 and len(entries) > 0)
    if not agree:
        line(f"These counts do not agree: {len(samples)} on the server, {len(fetched.messages)} delivered, "
             f"{len(entries)} in the recycle bin's index, {len(proxy.bin_files())} files there, {left} left.")
    return agree


def explain(port, stay):
    program = shlex.quote(os.path.relpath(executable(), os.getcwd()))
    directory = shlex.quote(os.path.relpath(DIRECTORY, os.getcwd()))
    line(f"The recycle bin with the spam: {DIRECTORY / 'recycle'}")
    line(f"  List it:           {program} bin list --directory {directory}")
    line(f"  Get a mail back:   {program} bin restore --directory {directory} NAME    (the next mail check delivers it)")
    line(f"  Why spam or not:   {program} classify --directory {directory} FILE")
    line("Your own mail client: set its POP3 account to")
    line(f"  server 127.0.0.1, port {port}, no encryption, your password as always, and the user name")
    line("  SERVER&USER&PORT   for example pop.example.org&ann&110")
    if not stay:
        line("while Quillbeaker runs:  ./run --stay")


def stay(proxy, server, samples):
    """Serves the person's own mail client until Ctrl+C, and the sample mailbox, filled again, beside it."""
    server.mailbox(ACCOUNT, [sample.data for sample in samples])
    line(f"The sample mailbox is filled again: user name 127.0.0.1&{ACCOUNT}&{server.port}, password {PASSWORD}.")
    line("Quillbeaker stays until Ctrl+C.")
    line()
    proxy.stay()


class Interrupted(Exception):
    """Ctrl+C or a signal that asks to end."""


def interrupted(*_):
    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, signal.SIG_IGN)  # once is enough: the clean-up is not to be interrupted
    raise Interrupted


def run(in_console, staying):
    samples = sample_mailbox.with_recent_dates(sample_mailbox.choose(TOP / "build" / "deps" / "corpus"),
                                               datetime.datetime.now(datetime.timezone.utc))
    prepare_directory()
    server = Dovecot(free_port())
    proxy = None
    try:
        proxy = ConsoleFace(str(DIRECTORY)) if in_console else WindowsFace(str(DIRECTORY), TOP / "build" / "screenshots")
        server.mailbox(ACCOUNT, [sample.data for sample in samples])
        line()
        line(f"A POP3 server (Dovecot) runs on 127.0.0.1, port {server.port}, as an ordinary user.")
        describe_mailbox(samples)
        proxy.start(port_for_clients())
        line(f"{proxy.description} runs on 127.0.0.1, port {proxy.port}.")
        agree = check_mail(proxy, server, samples)
        proxy.show_windows()
        for what, path in proxy.pictures():
            line(f"Picture of {what}: {path}")
        explain(proxy.port, staying)
        if staying and agree:
            line()
            stay(proxy, server, samples)
        proxy.stop()
        return 0 if agree else 1
    finally:
        try:
            if proxy is not None:
                proxy.end()
        finally:
            server.stop()


def main(arguments):
    in_console, staying = "--console" in arguments, "--stay" in arguments
    if set(arguments) - {"--console", "--stay"}:
        line(__doc__.splitlines()[0])
        return 2
    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, interrupted)
    try:
        return run(in_console, staying)
    except Interrupted:
        return 0 if staying else 130
    except AssertionError as failure:  # what the helpers of the end-to-end tests say when something is wrong
        line(str(failure))
        return 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
