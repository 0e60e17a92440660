# SPDX-License-Identifier: MIT
"""Mail that can be recognised wherever it turns up: every message names itself, and is known byte by byte."""

import base64
import re

import messages

KINDS = ("spam", "good", "friend", "blocked", "old spam")
FRIEND = "friend@example.org"
BLOCKED = "blocked@spam.example"
SENDERS = {FRIEND: "A Friend,2", BLOCKED: ",1"}
TAG = re.compile(rb"torture mail (w[0-9]+m[0-9]+)")


class Mail:
    """One message that was put on the server, and what has become of it."""

    def __init__(self, tag, kind, data, unique_id, user):
        self.tag = tag
        self.kind = kind
        self.data = data
        self.unique_id = unique_id
        self.user = user
        stuffed = messages.dot_stuffed(data)
        self.wire = stuffed  # as the server sends it, without the closing dot
        self.kept = messages.refolded(stuffed[:-2])  # as the recycle bin keeps it and a client gets it
        self.on_server = True
        self.delivered = 0  # how often a client got it whole
        self.settled = False  # delivered from the bin, and the QUIT behind it was answered
        self.removed = ""  # how a person got rid of it: "bin", "purge", "elsewhere"
        self.ever_listed = False  # was in the index of the recycle bin
        self.erase_allowed = False  # its bin file may be left by an erase that was cut off
        self.no_row = False  # without an id that can be relied on: it may be filed more than once

    def __repr__(self):
        return self.tag


def make(tag, kind, random, unique_id, user, size):
    """A message of about `size` bytes."""
    sender = {"friend": FRIEND, "blocked": BLOCKED}.get(kind, f"{tag}@example.net")
    lines = [f"torture mail {tag} begins"]
    if kind in ("spam", "old spam"):
        lines.append(f"buy {messages.SPAM_WORD} today")
    lines.append(random.choice((".", "..dots", ".hidden line", "a quiet line", "")))
    if size > 1_000_000:
        lines += [base64.b64encode(random.randbytes(48)).decode() * 9] * (size // 576)
    else:
        lines += [base64.b64encode(random.randbytes(random.choice((6, 24, 54)))).decode() for _ in range(size // 38)]
    lines.append(f"torture mail {tag} ends")
    fields = [("X-Tag", f"torture mail {tag}")]
    if random.random() < 0.3:
        fields.append(("References", " ".join(f"<{n}.{tag}@mail.example.org>" for n in range(9))))
    data = messages.message(f"subject of {tag}", f"Somebody <{sender}>", "\r\n".join(lines) + "\r\n", fields,
                            messages.date(400 if kind == "old spam" else random.randrange(3)))
    return Mail(tag, kind, data, unique_id, user)
