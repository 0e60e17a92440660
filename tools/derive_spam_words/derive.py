#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""derive.py TABLE --corpus FOLDER [--mail FOLDER]... [--newsletters FOLDER]...

Derives the shipped table of spam words and writes it to TABLE. CORPUS is the public corpus as tools/fetch-corpus.sh
unpacks it, of which only the training half is read; each --mail and --newsletters folder holds ham/*.eml or
spam/*.eml or both and is a source of its own. Installs and builds what it lacks; takes a few minutes. Equal mail gives
an equal table. docs/QUALITY.md tells what it does and why.
"""

import argparse
import os
import subprocess
import sys
import tempfile
from pathlib import Path

TOP = Path(__file__).resolve().parents[2]
SYSTEM_PYTHON = "/usr/bin/python3"  # the one that Debian's packages are for

# Percent at level 75: the least that a shipped threshold may be. The others follow from it.
LOWEST_THRESHOLD = 90
SMALLEST_WEIGHT = 3  # percent; what weighs less is noise, and a longer list
# One in so many good mails may be lost: of the public corpus, of other ordinary mail, of newsletters.
BOUNDS = {25: (1400, 4000, 100), 50: (600, 1000, 60), 75: (200, 500, 20)}


def prepare():
    """Packages, the reader of mail, and an interpreter that has the packages."""
    subprocess.run(["bash", "-c", ". tools/packages.sh; . tools/build.sh; ensure_packages build derive >&2 && "
                    "build native mail-texts >&2"], cwd=TOP, check=True)
    if os.path.realpath(sys.executable) != os.path.realpath(SYSTEM_PYTHON):
        os.execv(SYSTEM_PYTHON, [SYSTEM_PYTHON, "-B"] + sys.argv)


def report(mails, name, scores):
    """Prints what left-out mail was judged like; gives back the bounds' scores by level."""
    import numpy
    corpus = ~mails.spam & (mails.source == "corpus")
    letters = mails.letters & ~corpus
    classes = [numpy.sort(scores[mask])[::-1] for mask in (corpus, ~mails.spam & ~corpus & ~letters, letters)]
    print(f"{name}:")
    needed = {}
    for level, allowed in BOUNDS.items():
        bound = max(own[len(own) // one_in] for own, one_in in zip(classes, allowed)) + 1e-6
        needed[level] = bound
        caught = {source: 100 * (scores[mask] >= bound).mean() for source, _, mask in mails.classes(mails.spam)}
        lost = [f"{(own >= bound).sum()} of {len(own)}" for own in classes]
        print(f"  level {level}: score {bound:.2f}, lost {lost[0]} of the corpus, {lost[1]} other, {lost[2]} newsletters; caught "
              f"{numpy.mean(list(caught.values())):.1f} % ("
              + ", ".join(f"{source} {share:.1f}" for source, share in caught.items()) + ")", flush=True)
    return needed


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("table")
    parser.add_argument("--corpus", required=True)
    parser.add_argument("--mail", action="append", default=[])
    parser.add_argument("--newsletters", action="append", default=[])
    arguments = parser.parse_args()
    prepare()

    import fitting
    import mail_sets
    import phrases as phrase_rules
    import table

    mails = mail_sets.collect(arguments.corpus, arguments.mail, arguments.newsletters)
    texts = mail_sets.texts(mails.files)
    candidates = phrase_rules.mine(mails, texts, phrase_rules.Vocabulary())
    with tempfile.TemporaryDirectory() as work:
        matrix = mail_sets.hits(mails.files, candidates.phrases, work)
        print(f"{len(mails.files)} mails, {len(candidates.phrases)} candidates", flush=True)
        settings = fitting.Settings()
        common = (candidates, settings)
        needed = []
        for name, parts in (("four parts at random", fitting.parts_at_random(mails)),
                            ("a spam source left out", fitting.parts_by_spam_source(mails)),
                            ("a source left out", fitting.parts_by_source(mails))):
            needed.append(report(mails, name, fitting.left_out_scores(matrix, mails, parts, *common)))
        weights = fitting.fit(matrix, mails, mails.spam | ~mails.spam, *common)
        thresholds = table.thresholds(needed)
        written = table.write(arguments.table, candidates.phrases, weights, thresholds, LOWEST_THRESHOLD, SMALLEST_WEIGHT,
                              lambda expressions: mail_sets.hits(
                                  [file for file, spam in zip(mails.files, mails.spam) if not spam], expressions, work))
    print(f"{written} expressions written to {arguments.table}")


if __name__ == "__main__":
    main()
