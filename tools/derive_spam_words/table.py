# SPDX-License-Identifier: MIT
"""Writes the table in the format of spampoints.ini: percents and thresholds as whole numbers, CR LF."""

from pathlib import Path

import numpy

HERE = Path(__file__).resolve().parent
HEAD = ("Quillbeaker's own spam words: percents that add up when the expression stands in the Subject or the text.",
        "Derived from sample mail by tools/derive_spam_words; changes belong into spampoints_user.ini.")


def thresholds(needed):
    """Score by level from what the ways of leaving mail out ask for, each of which rests on a handful of good mails: the
    highest for the careful level, their mean for the usual, the lowest for the strict."""
    by_level = {level: sorted(bounds[level] for bounds in needed) for level in needed[0]}
    return {25: by_level[25][-1], 50: float(numpy.mean(by_level[50])), 75: by_level[75][0]}


def foreign_phrases():
    """The phrases of other languages with their percents, in each spelling of their bytes (as ISO-8859-1 text)."""
    for line in (HERE / "foreign_phrases.txt").read_text(encoding="utf-8").splitlines():
        if line and not line.startswith("#"):
            percent, phrase = line.split(None, 1)
            for spelling in sorted({phrase, phrase.encode("utf-8").decode("latin-1")}):
                yield spelling, int(percent)


def write(path, phrases, weights, scores, lowest, smallest, hits_in_good_mail):
    """Writes the file and returns the number of expressions. A foreign phrase that hits good mail is left out."""
    scale = lowest / scores[75]
    percents = {phrase: int(round(weight * scale)) for phrase, weight in zip(phrases, weights)}
    percents = {phrase: min(percent, 100) for phrase, percent in percents.items() if percent >= smallest}
    foreign = list(foreign_phrases())
    hit = numpy.asarray(hits_in_good_mail([phrase for phrase, _ in foreign]).sum(0)).ravel()
    for (phrase, percent), count in zip(foreign, hit):
        if count:
            print(f"left out, stands in good mail: {phrase.encode('ascii', 'backslashreplace').decode()}")
        else:
            percents[phrase] = percent
    lines = [f"; {line}" for line in HEAD] + ["[PROBABILITIES]"]
    lines += [f"{phrase}={percents[phrase]}" for phrase in sorted(percents)]
    lines += ["[THRESHOLD]"] + [f"level{level}={int(numpy.ceil(scores[level] * scale - 1e-9))}" for level in sorted(scores)]
    Path(path).write_bytes("".join(line + "\r\n" for line in lines).encode("latin-1"))
    return len(percents)
