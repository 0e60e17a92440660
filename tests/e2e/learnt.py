# SPDX-License-Identifier: MIT
"""What the filter has learnt and kept, read from the files without the program."""

import collections
import os
import re
import struct
import xml.etree.ElementTree as ElementTree
import zlib

from messages import split_header
from scripted_server import dot_stuffed

DELIMITERS = b" \t\n\r\f@\"`!<>()[]{}-_=/\\.,;:&|?*#%+^~"
INDEX = "training/training.xml"


def list_name(kind):
    return f"training/{kind}.Quillbeaker.wordlist"


def parse_word_list(data):
    """(messages, {word: count}) of the bytes of a word list; fails when they are not a whole one."""
    version, records, messages, reserved = struct.unpack_from("<4I", data)
    assert (version, reserved) == (1, 0)
    words = {}
    at = 16
    for _ in range(records):
        length = data[at]
        word = data[at + 1:at + 1 + length].decode("latin-1")
        assert len(word) == length and word not in words
        words[word], = struct.unpack_from("<I", data, at + 1 + length)
        at += length + 5
    assert at == len(data)
    return messages, words


def word_list(one, kind):
    """The list "good" or "bad" of a program directory; (0, {}) when there is none yet."""
    data = one.read(list_name(kind))
    return parse_word_list(data) if data else (0, {})


def write_word_list(one, kind, messages, words):
    data = struct.pack("<4I", 1, len(words), messages, 0)
    for word, count in words.items():
        word = word.encode("latin-1")
        data += bytes([len(word)]) + word + struct.pack("<I", count)
    one.write(list_name(kind), data)


def words_of(*texts):
    """How often each word is counted: 3 to 20 bytes, a delimiter behind it, not digits alone, lower case."""
    counted = collections.Counter()
    for text in texts:
        pieces = re.split(b"[" + re.escape(DELIMITERS) + b"]", text)
        for piece in pieces[:-1]:
            if 3 <= len(piece) <= 20 and not piece.isdigit():
                counted[piece.lower().decode("latin-1")] += 1
    return dict(counted)


def fetched(data):
    """(fields, text) of a plain single-part message as it is parsed from the wire; the text begins with CR LF."""
    return split_header(dot_stuffed(data)[:-2])


def subject_of(data):
    return dict((name.lower(), value) for name, value in fetched(data)[0]).get(b"subject", b"")


def learnt_words(*messages):
    """What plain single-part messages add to a list once they were learnt from the wire."""
    counted = collections.Counter()
    for data in messages:
        counted.update(words_of(fetched(data)[1], subject_of(data)))
    return dict(counted)


def training_name(text):
    return f"{zlib.crc32(text):x}.eml"


def kept_name(data):
    """The name that a plain single-part message gets in the training area."""
    return training_name(fetched(data)[1])


def training_entries(one):
    """The attributes of every entry of the training index, in order."""
    data = one.read(INDEX)
    if not data:
        return []
    root = ElementTree.fromstring(data)
    assert root.tag == "training", root.tag
    return [dict(e.attrib) for e in root if e.tag == "message"]


def training_subjects(one):
    return sorted(entry.get("subject") for entry in training_entries(one))


def training_files(one):
    """name -> bytes of every kept text."""
    folder = one.path("training")
    if not os.path.isdir(folder):
        return {}
    return {name: one.read(f"training/{name}") for name in sorted(os.listdir(folder)) if name.endswith(".eml")}


def put_training(one, text, date, mark=None, **attributes):
    """Keeps a text in the training area; gives its name."""
    name = training_name(text)
    one.write(f"training/{name}", text)
    data = one.read(INDEX)
    root = ElementTree.fromstring(data) if data else ElementTree.Element("training")
    values = {"filename": name, "sender": "Ann", "mail": "ann@example.org", "subject": "kept", "date": str(date),
              "time": "10:00", "size": str(len(text)), **attributes}
    if mark is not None:
        values["mark"] = str(mark)
    ElementTree.SubElement(root, "message", values)
    one.write(INDEX, b'<?xml version="1.0" encoding="ISO-8859-1"?>\n' + ElementTree.tostring(root))
    return name


def statistics(one):
    """{day: count} as the configuration file holds it; None when the keys are not there."""
    days, mails = one.setting("Days", "STATS"), one.setting("Mails", "STATS")
    if days is None or mails is None:
        return None
    assert days == "" or days.endswith(","), days
    pairs = list(zip(days.split(",")[:-1], mails.split(",")[:-1], strict=True))
    return {int(day): int(count) for day, count in pairs}
