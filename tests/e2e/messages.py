# SPDX-License-Identifier: MIT
"""Made-up messages, and what can be said of a message that has come through the proxy.

The proxy delivers every field and every body byte, but folds header lines anew: at the last blank at
an index of at most 69 while more than 70 characters are left, continued with a tab. `refolded` says
that once more, independently of the program."""

import base64
import binascii
import email.utils
import re
import time

from scripted_server import dot_stuffed

# Any message that holds this word is spam to a proxy that was given SPAM_WORDS.
SPAM_WORD = "zorkmoney"
SPAM_WORDS = {SPAM_WORD: 120}


# One moment for all, so that a message that is made twice is the same message.
NOW = time.time()


def date(days_ago=0):
    return email.utils.formatdate(NOW - 86400 * days_ago, localtime=False)


def message(subject="hello", sender="Ann Example <ann@example.org>", body="a line\r\n", fields=(), when=None):
    """A single-part message with CR LF line ends."""
    head = [f"From: {sender}", "To: jane@example.net", f"Subject: {subject}", f"Date: {when or date()}",
            *(f"{name}: {value}" for name, value in fields)]
    text = "\r\n".join(head) + "\r\n\r\n"
    return text.encode("latin-1") + (body.encode("latin-1") if isinstance(body, str) else body)


def ham(number=1, **options):
    return message(subject=f"ham {number}", body=f"a quiet note with number {number}\r\nand its end\r\n", **options)


def spam(number=1, **options):
    return message(subject=f"offer {number}", body=f"buy {SPAM_WORD} today, number {number}\r\n",
                   **{"sender": f"Seller <seller{number}@spam.example>", **options})


# -- what delivery does to a header -------------------------------------------------------------
def fold(value):
    out = b""
    while len(value) > 70:
        at = value.rfind(b" ", 0, 70)
        if at <= 1:
            break
        out += value[:at] + b"\r\n\t"
        value = value[at + 1:]
    return out + value


def split_header(text):
    """(list of (name, unfolded value), body) of a message text; the body begins with the empty line.

    A continuation loses its first blank or tab and is joined with one blank; lines without a colon
    are left out, names and values are trimmed of blanks and tabs."""
    fields = []
    lines = []
    body = b""
    rest = text
    while rest:
        if rest.startswith(b"\r\n"):
            body = rest
            break
        line, found, rest = rest.partition(b"\r\n")
        if line[:1] in (b" ", b"\t") and lines:
            lines[-1] += b" " + line[1:]
        else:
            lines.append(line)
        if not found:
            break
    for line in lines:
        name, colon, value = line.partition(b":")
        if colon:
            fields.append((name.strip(b" \t"), value.strip(b" \t")))
    return fields, body


def refolded(stuffed_text):
    """A single-part text as the proxy delivers it (without the closing dot line)."""
    fields, body = split_header(stuffed_text)
    return b"".join(name + b": " + fold(value) + b"\r\n" for name, value in fields) + body


def parsed_size(data):
    """The size that STAT, LIST and "+OK n" give of a message of the server once it is fetched: the
    stuffed text without the CR LF before the closing dot."""
    return len(dot_stuffed(data)) - 2


def on_the_wire(data):
    """What RETR must send between status line and closing dot for this single-part message."""
    return refolded(dot_stuffed(data)[:-2]) + b"\r\n"


# -- equality for mail that a real client has stored --------------------------------------------
def with_crlf(data):
    return re.sub(rb"\r?\n", b"\r\n", data)


def _boundary(fields):
    for name, value in fields:
        if name.lower() == b"content-type" and b"multipart" in value.lower():
            match = re.search(rb'(?i)boundary\s*=\s*(?:"([^"]*)"|([^;\s]*))', value)
            if match:
                return match[1] if match[1] is not None else match[2]
    return None


def parts(data):
    """The tree of a message as nested tuples: (fields, body before the first part, parts).

    The parts of a multipart entity are the texts between its delimiter lines; what follows the closing
    delimiter is nobody's. A multipart that is not the first part of its parent is one text, as the
    parser keeps it: its body is compared byte by byte, delimiter lines and all."""
    return _parts(data, True)


def _parts(data, divide):
    fields, body = split_header(data)
    boundary = _boundary(fields) if divide else None
    if boundary is None:
        return (fields, body, ())
    delimiter = re.compile(rb"(?:^|\r\n)--" + re.escape(boundary) + rb"(--)?[ \t]*(?=\r\n|$)")
    found = list(delimiter.finditer(body))
    if not found:
        return (fields, body, ())
    preamble = body[:found[0].start()]
    children = []
    for index, match in enumerate(found):
        if match[1]:
            break
        end = found[index + 1].start() if index + 1 < len(found) else len(body)
        children.append(_parts(body[match.end() + 2:end], index == 0))
    return (fields, preamble, tuple(children))


def assert_same_mail(sent, delivered, ignored=()):
    """Every field's name and unfolded value, and every body byte of the parts, are equal.

    `ignored` names fields that the client itself adds on the way into its store."""
    sent = with_crlf(sent)
    if not sent.endswith(b"\r\n"):
        sent += b"\r\n"  # POP3 carries whole lines: an unfinished last line gets its end on the way
    sent_fields, sent_body, sent_parts = parts(sent)
    got_fields, got_body, got_parts = parts(with_crlf(delivered))
    got_fields = [f for f in got_fields if f[0].lower() not in ignored]
    assert got_fields == sent_fields
    assert got_body == sent_body
    assert got_parts == sent_parts


# -- a sample mailbox ---------------------------------------------------------------------------
def _wrapped_base64(data):
    text = base64.b64encode(data)
    return b"\r\n".join(text[i:i + 76] for i in range(0, len(text), 76)) + b"\r\n"


def _multipart(kind, boundary, entities, head="", preamble=b"", epilogue=b""):
    out = (f"MIME-Version: 1.0\r\nContent-Type: multipart/{kind};\r\n\tboundary=\"{boundary}\"\r\n{head}\r\n"
           .encode("latin-1") + preamble)
    for entity in entities:
        out += b"--" + boundary.encode() + b"\r\n" + entity
    return out + b"--" + boundary.encode() + b"--\r\n" + epilogue


def _head(subject, sender):
    return (f"Received: from mx.example.org by mail.example.net with ESMTP; {date()}\r\n"
            f"From: {sender}\r\nTo: jane@example.net\r\nSubject: {subject}\r\nDate: {date()}\r\n"
            f"Message-ID: <{binascii.crc32(subject.encode()):08x}@example.org>\r\n").encode("latin-1")


def _text(kind, text, encoding=None, charset="iso-8859-1"):
    head = f"Content-Type: text/{kind}; charset={charset}\r\n"
    if encoding:
        head += f"Content-Transfer-Encoding: {encoding}\r\n"
    return head.encode() + b"\r\n" + text


ATTACHMENT = (b"Content-Type: application/pdf; name=\"paper.pdf\"\r\nContent-Transfer-Encoding: base64\r\n"
              b"Content-Disposition: attachment; filename=\"paper.pdf\"\r\n\r\n"
              + _wrapped_base64(bytes(range(256)) * 9))


def samples():
    """Name -> message: one of each kind that a mailbox holds, the word of SPAM_WORDS in none of them."""
    plain = _text("plain", b"Hello,\r\n\r\nthis is the plain text.\r\n")
    html = _text("html", b"<html><body><p>Hello,<br>this is the <b>marked</b> text.</p></body></html>\r\n")
    quoted = _text("plain", b"Gr=FC=DFe aus M=FCnchen, a long line that goes =\r\non here = and ends\r\n",
                   "quoted-printable")
    alternative = _multipart("alternative", "inner-1", [plain, html])
    long_list = ", ".join(f"Person Number {n} <person{n}@example.org>" for n in range(60))
    references = " ".join(f"<{n:08d}.reference@mail.example.org>" for n in range(40))
    out = {
        "plain": message("a plain note", body="one\r\ntwo\r\n\r\nthree\r\n"),
        "eight-bit": message("caf\xe9", "J\xf6rg <joerg@example.org>", "na\xefve caf\xe9 \xa4 \xff\r\n",
                             [("Content-Type", "text/plain; charset=iso-8859-1"),
                              ("Content-Transfer-Encoding", "8bit")]),
        "utf-8": message("=?utf-8?Q?Gr=C3=BC=C3=9Fe?=", body="Gr\xfc\xdfe, \u20ac\r\n".encode("utf-8"),
                         fields=[("Content-Type", "text/plain; charset=utf-8")]),
        "quoted-printable": _head("quoted", "Q <q@example.org>") + quoted,
        "base64 text": _head("encoded", "B <b@example.org>") + _text(
            "plain", _wrapped_base64(b"The quick brown fox jumps over the lazy dog.\r\n" * 8), "base64"),
        "html": _head("marked up", "H <h@example.org>") + html,
        "dots": message("dots", body=".\r\n..\r\n...\r\n.hidden\r\nnot. this\r\n.\r\n"),
        "empty body": message("nothing inside", body=""),
        "no final newline": message("no end", body="the last line has no end"),
        "blank lines": message("blank lines", body="\r\n\r\n\r\nfour above, three below\r\n\r\n\r\n"),
        "from line": message("quoting", body="\r\nFrom here on it goes down.\r\n>From there too.\r\n"),
        "long header": message("long header", fields=[
            ("Cc", long_list), ("References", references), ("X-Solid", "x" * 2500),
            ("X-Blanks", "a  b   c " + "word  " * 30 + "end")]),
        "folded header": b"From: Ann\r\n\t<ann@example.org>\r\nTO: jane@example.net\r\nSubject: A\r\n\tB\r\n  C\r\n"
                         b"Date: " + date().encode() + b"\r\nX-Empty:\r\nx-odd : spaced \r\n\r\nbody\r\n",
        "no subject": b"From: ann@example.org\r\nTo: jane@example.net\r\nDate: " + date().encode()
                      + b"\r\n\r\nno subject here\r\n",
        "no date": b"From: ann@example.org\r\nSubject: timeless\r\n\r\nno date here\r\n",
        "alternative": _head("two ways", "A <a@example.org>") + alternative,
        "attachment": _head("with paper", "P <p@example.org>") + _multipart(
            "mixed", "outer=_1", [plain, ATTACHMENT], preamble=b"\r\nThis is a message in parts.\r\n"),
        "nested first": _head("nested", "N <n@example.org>") + _multipart(
            "mixed", "outer-2", [_multipart("alternative", "deep-2", [plain, html]), ATTACHMENT]),
        "nested second": _head("nested behind", "N <n@example.org>") + _multipart(
            "mixed", "outer-3", [plain, _multipart("alternative", "deep-3", [plain, html]) + b"\r\n"]),
        "digest": _head("a letter inside", "D <d@example.org>") + _multipart(
            "mixed", "outer-4", [plain, b"Content-Type: message/rfc822\r\n\r\n" + message("inner", body="x\r\n")]),
        "long lines": message("long lines", body="x" * 5000 + "\r\n" + "y " * 3000 + "\r\n"),
        "large": message("large", body="".join(f"line {n} of a large message\r\n" for n in range(1500))),
    }
    return out
