# SPDX-License-Identifier: MIT
"""Which runs of words can be expressions of the table, and which of them speak for spam."""

import collections
import re
from dataclasses import dataclass
from pathlib import Path

import numpy

HERE = Path(__file__).resolve().parent
DICTIONARY = Path("/usr/share/dict/american-english")

LONGEST = 5  # words
SAME_NEIGHBOUR = 0.95  # share of a phrase's places
STYLE_RULES = re.compile(r"/\*.*?\*/|\{[^{}]*\}", re.DOTALL)
_WORD = r"(?:[a-z]+(?:['-][a-z]+)*|\d{1,3}%?(?![\d,.:/%-])|us\$|\$\$+|!!!+)"
# Words with one blank between them, as a phrase is found: byte by byte, never across the end of a line.
RUN = re.compile(r"(?<![a-z0-9.,:/@&=%-])" + _WORD + r"(?: " + _WORD + r")*")
SINGLE = re.compile(r"[a-z]+(?:['-][a-z]+)*|\d{1,3}%?|us\$|\$\$+|!!!+")
NUMBER = re.compile(r"\d{1,3}%?$")
OTHER, EVERYDAY, SCARCE = range(3)
SIGNS = {"us$", "$$", "$$$", "!!!", "!!!!"}


def _word_list(name):
    lines = (HERE / name).read_text(encoding="ascii").splitlines()
    return {word for line in lines if not line.startswith("#") for word in line.split()}


@dataclass
class Candidates:
    """Phrases that may stand in the table; the arrays run beside them."""
    phrases: list
    chance: numpy.ndarray  # share of ordinary good mail that would hold it by chance
    chance_in_letters: numpy.ndarray  # the same for newsletters
    kind: numpy.ndarray  # OTHER, EVERYDAY, SCARCE


class Vocabulary:
    """What a person can read: words of the dictionary that are no names, without those the lists beside rule out."""

    def __init__(self):
        # In lower case it holds no names of people, places and firms.
        self.words = {line for line in DICTIONARY.read_text(encoding="utf-8").split("\n") if line[:1].islower()}
        self.words |= _word_list("further_words.txt")
        self.unwanted = _word_list("unwanted_words.txt")
        self.everyday_words = _word_list("everyday_words.txt")
        self.scarce_words = _word_list("scarce_words.txt")
        self.function_words = _word_list("function_words.txt")
        self.open_ends = _word_list("open_ends.txt")
        self.open_beginnings = _word_list("open_beginnings.txt")
        phrases = (HERE / "unwanted_phrases.txt").read_text(encoding="ascii").splitlines()
        self.unwanted_phrases = {line for line in phrases if line and not line.startswith("#")}

    def kind(self, phrase):
        """Whether honest people write such where we have little mail of theirs: EVERYDAY, SCARCE or OTHER."""
        words = set(phrase.rstrip("!?").split())
        return SCARCE if words & self.scarce_words else EVERYDAY if words & self.everyday_words else OTHER

    def accepts(self, phrase):
        words = phrase.rstrip("!?").split() or [phrase]
        plain = [word for word in words if not NUMBER.match(word) and word not in SIGNS]
        if not plain:
            return phrase in ("$$$", "!!!")
        if any(word in self.unwanted for word in words) or phrase in self.unwanted_phrases:
            return False
        if any(part not in self.words and word not in self.words for word in plain for part in word.split("-")):
            return False
        if len(words) == 1:
            return len(words[0]) >= 6 or words[0] in ("pills", "loans")  # short ones stand inside other words
        # Something that can be read by itself: whole at both ends, with at least one word that says something.
        return (len(phrase) >= 8 and (len(words[0]) >= 2 or words[0] == "i") and not NUMBER.match(words[-1])
                and words[-1] not in self.open_ends and words[0] not in self.open_beginnings
                and any(len(word) >= 4 and word not in self.function_words for word in plain))


def _runs_in_place(text):
    """Every run of up to LONGEST words of a text in lower case with the words before and behind it; style rules left out.
    "!" and "?" may end one."""
    text = STYLE_RULES.sub("\n", text.lower())
    for match in RUN.finditer(text):
        words = match.group().split(" ")
        mark = text[match.end():match.end() + 1]
        for first in range(len(words)):
            run = ""
            for last in range(first, min(first + LONGEST, len(words))):
                if len(words[last]) > 24:
                    break
                run = run + " " + words[last] if run else words[last]
                previous = words[first - 1] if first else ""
                following = words[last + 1] if last + 1 < len(words) else ""
                yield run, previous, following
                if not following and mark and mark in "!?":
                    yield run + mark, previous, ""


def runs_of(text):
    return {run for run, _, _ in _runs_in_place(text)}


def _word_shares(texts_of_classes):
    """How often each single word stands among the words of good mail, each class alike; a mail counts one 20 times."""
    shares = collections.Counter()
    for texts in texts_of_classes:
        counts = collections.Counter()
        for text in texts:
            for word, count in collections.Counter(SINGLE.findall(STYLE_RULES.sub("\n", text.lower()))).items():
                counts[word] += min(count, 20)
        total = sum(counts.values())
        for word, count in counts.items():
            shares[word] += count / total / len(texts_of_classes)
    return shares


def mine(mails, texts, vocabulary):
    """Candidates: readable runs in at least two mails of two spam sources, or in 1 of 100 mails of one.

    Also what chance alone would make of each in good mail: the product of its words' shares, in ordinary mail of 600
    words and in newsletters of 1,000. A phrase of common words that no good mail at hand happens to hold is no sign."""
    everything = numpy.ones(len(mails.files), bool)
    sources, good_texts, letter_texts = collections.Counter(), [], []
    frequent = set()
    for _, spam, mask in mails.classes(everything):
        own = [texts[i] for i in numpy.flatnonzero(mask)]
        if not spam:
            good_texts.append(own)
            if mails.letters[mask].all():
                letter_texts.append(own)
            continue
        counts = collections.Counter()
        for text in own:
            counts.update(runs_of(text))
        for run, count in counts.items():
            if count >= 2:
                sources[run] += 1
            if count >= len(own) / 100:
                frequent.add(run)
    candidates = {run for run in sources if (sources[run] >= 2 or run in frequent) and vocabulary.accepts(run)}
    spam_texts = [texts[i] for i in numpy.flatnonzero(mails.spam)]
    candidates = sorted(candidates - _pieces(candidates, spam_texts))
    return Candidates(candidates, _by_chance(candidates, _word_shares(good_texts), 600, 2e-6),
                      _by_chance(candidates, _word_shares(letter_texts), 1000, 3e-6),
                      numpy.array([vocabulary.kind(run) for run in candidates]))


def _pieces(candidates, texts):
    """Those which nearly always go on with the same word, or follow on the same: pieces of a longer phrase that somebody
    sends over and over. They read badly, and tell one sender's mail from another's rather than spam from mail."""
    counts = collections.Counter()
    before = collections.defaultdict(collections.Counter)
    behind = collections.defaultdict(collections.Counter)
    for text in texts:
        for run, previous, following in set(_runs_in_place(text)):
            if run in candidates:
                counts[run] += 1
                if previous:
                    before[run][previous] += 1
                if following:
                    behind[run][following] += 1
    return {run for run, count in counts.items()
            if any(most > SAME_NEIGHBOUR * count
                   for side in (before, behind) for _, most in side[run].most_common(1))}


def _by_chance(candidates, shares, length, smallest):
    expected = numpy.zeros(len(candidates))
    for i, run in enumerate(candidates):
        words = run.rstrip("!?").split()
        if len(words) > 1:
            expected[i] = length * numpy.prod([max(shares.get(word, 0), smallest) for word in words])
    return expected
