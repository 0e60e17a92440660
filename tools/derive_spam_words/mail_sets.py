# SPDX-License-Identifier: MIT
"""The mail to derive from: which files belong to which source and class, and what the word filter sees of them."""

import re
import subprocess
import zlib
from dataclasses import dataclass, field
from pathlib import Path

import numpy
import scipy.sparse

TOP = Path(__file__).resolve().parents[2]
READER = TOP / "build" / "native" / "mail-texts"

GOOD_GROUPS = ("easy-ham-1", "easy-ham-2", "hard-ham-1")
SPAM_GROUPS = ("spam-1", "spam-2")
# The advertising letters that people had asked for: as near to newsletters as the public corpus comes.
LETTER_GROUP = "hard-ham-1"


def corpus_half(corpus, groups, parity):
    """Every second file of the groups in the order of their paths: 0 for the training half, 1 for the test half."""
    files = sorted(str(path) for group in groups for path in (Path(corpus) / group).glob("*.txt"))
    return files[parity::2]


@dataclass
class Mails:
    """All mails of all sources in one list; the arrays run beside it."""
    files: list = field(default_factory=list)
    source: numpy.ndarray = None
    spam: numpy.ndarray = None
    letters: numpy.ndarray = None  # newsletters and their like
    group: numpy.ndarray = None  # mails of one newsletter's sender are left out together

    def classes(self, among):
        """(source, spam, mask) of every class of every source that has mail in the mask."""
        found = sorted(set(zip(self.source[among], self.spam[among], self.letters[among])))
        for source, spam, letters in found:
            yield source, bool(spam), among & (self.source == source) & (self.spam == spam) & (self.letters == letters)


def collect(corpus, folders, newsletters):
    """The training half of the public corpus, folders with ham/ and spam/ in them, and folders of newsletters."""
    files, source, spam, letters = [], [], [], []

    def add(paths, name, is_spam, is_letters):
        if not paths:
            raise SystemExit(f"no mail of {name} found")
        files.extend(paths)
        source.extend([name] * len(paths))
        spam.extend([is_spam] * len(paths))
        letters.extend([is_letters] * len(paths))

    good = corpus_half(corpus, GOOD_GROUPS, 0)
    in_letters = [path for path in good if f"/{LETTER_GROUP}/" in path]
    add([path for path in good if path not in set(in_letters)], "corpus", False, False)
    add(in_letters, "corpus", False, True)
    add(corpus_half(corpus, SPAM_GROUPS, 0), "corpus", True, False)
    for folder, is_letters in [(f, False) for f in folders] + [(f, True) for f in newsletters]:
        folder = Path(folder)
        for kind in ("ham", "spam"):
            paths = sorted(str(path) for path in (folder / kind).glob("*.eml"))
            if paths:
                add(paths, folder.name, kind == "spam", is_letters)
    mails = Mails(files, numpy.array(source), numpy.array(spam), numpy.array(letters))
    mails.group = numpy.array([zlib.crc32((_domain(path) if letter and name != "corpus" else path).encode())
                               for path, letter, name in zip(files, letters, source)])
    return mails


def _domain(path):
    """Domain of the sender, two labels of it: one newsletter's issues must not stand on both sides of a judgement."""
    head = Path(path).read_bytes()[:20000].decode("latin-1")
    found = re.search(r"^From:[^\n]*(?:\n[ \t][^\n]*)*?@([\w.-]+)", head, re.MULTILINE | re.IGNORECASE)
    return ".".join(found.group(1).lower().split(".")[-2:]) if found else path


def _read(arguments, files):
    return subprocess.run([READER] + arguments, input="\n".join(files).encode() + b"\n", stdout=subprocess.PIPE,
                          check=True).stdout


def texts(files):
    """Subject and decoded text of each file, bytes as ISO-8859-1."""
    data = _read(["texts"], files)
    found, position = [], 0
    for _ in files:
        end = data.index(b"\n", position)
        size = int(data[position:end])
        found.append(data[end + 1:end + 1 + size].decode("latin-1"))
        position = end + 1 + size
    return found


def hits(files, phrases, work):
    """Sparse matrix, a row per file and a column per phrase: how often it counts (0, 1, or 2 for Subject and text)."""
    list_file = Path(work) / "phrases.txt"
    list_file.write_bytes(b"".join(phrase.encode("latin-1") + b"\n" for phrase in phrases))
    columns, starts = [], [0]
    for line in _read(["find", str(list_file)], files).split(b"\n")[:len(files)]:
        columns.extend(int(number) for number in line.split())
        starts.append(len(columns))
    matrix = scipy.sparse.csr_matrix((numpy.ones(len(columns)), columns, starts), shape=(len(files), len(phrases)))
    matrix.sum_duplicates()
    return matrix
