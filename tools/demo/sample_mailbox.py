# SPDX-License-Identifier: MIT
"""Chooses the demonstration's mailbox from the public corpus: always the same messages, of every kind."""

import datetime
import email.utils
import itertools
import re
from dataclasses import dataclass, replace
from pathlib import Path

# How many messages of each kind go in; the kinds are tried in this order, so a message counts once.
GOOD = {"attachment": 2, "multipart": 6, "HTML": 6, "8-bit": 4, "plain": 12}
SPAM = {"attachment": 3, "multipart": 6, "HTML": 9, "8-bit": 4, "plain": 8}
GOOD_GROUPS = ("easy-ham-1", "easy-ham-2", "hard-ham-1")
SPAM_GROUPS = ("spam-1", "spam-2")
# How many days ago they came, one after the other: some days bring more than others.
AGES = (0, 8, 2, 15, 5, 1, 22, 0, 9, 12, 3, 15, 8, 26, 2, 19, 5, 0, 13, 8, 28, 15, 1, 22, 16, 2, 6, 12, 20)


@dataclass
class Sample:
    """One message: its bytes as a server would store them, what it is and what a person would call it."""
    path: Path
    data: bytes
    kind: str
    is_spam: bool


def kind_of(data):
    """attachment, multipart, HTML, 8-bit or plain: the first that holds."""
    lower = data.lower()
    if b"content-disposition: attachment" in lower:
        return "attachment"
    if re.search(rb"^content-type:\s*multipart/", lower, re.MULTILINE):
        return "multipart"
    if re.search(rb"^content-type:\s*text/html", lower, re.MULTILINE):
        return "HTML"
    return "8-bit" if any(byte > 127 for byte in data) else "plain"


def stored(data):
    """The message without the mailbox line that the corpus keeps before the header."""
    if data.startswith(b"From "):
        data = data[data.index(b"\n") + 1:]
    return data


def is_mail(data):
    """A few files of the corpus are no messages: they lack a header or a From field."""
    head = data.split(b"\n\n", 1)[0]
    return b"\n\n" in data and re.search(rb"^From:", head, re.MULTILINE | re.IGNORECASE) is not None


def _choose(files, wanted, is_spam):
    left = dict(wanted)
    chosen = []
    for path in files:
        if not any(left.values()):
            break
        data = stored(path.read_bytes())
        kind = kind_of(data)
        if left.get(kind) and is_mail(data):
            left[kind] -= 1
            chosen.append(Sample(path, data, kind, is_spam))
    return chosen


def choose(corpus):
    """The samples in the order in which they lie in the mailbox, good and spam mixed."""

    def files(groups):
        # The names end in the checksum of the content: an order without any pattern, the same everywhere.
        return sorted((path for group in groups for path in (corpus / group).glob("*.txt")),
                      key=lambda path: path.name.split(".")[1])

    samples = _choose(files(GOOD_GROUPS), GOOD, False) + _choose(files(SPAM_GROUPS), SPAM, True)
    return sorted(samples, key=lambda sample: sample.path.name.split(".")[1])


def with_recent_dates(samples, now):
    """The same messages as if they had been sent within the last month: the program's statistic counts by the date of a
    message, and passes over what is older than 30 days."""

    def dated(sample, age):
        date = email.utils.format_datetime(now - datetime.timedelta(days=age)).encode()
        head, blank, body = sample.data.partition(b"\n\n")
        head, found = re.subn(rb"(?mi)^Date:.*(?:\n[ \t].*)*", b"Date: " + date, head, count=1)
        if not found:
            head += b"\nDate: " + date
        return replace(sample, data=head + blank + body)

    return [dated(sample, age) for sample, age in zip(samples, itertools.cycle(AGES))]
