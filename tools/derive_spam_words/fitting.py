# SPDX-License-Identifier: MIT
"""Weights for the candidates: what is chosen, how it is fitted, and how mail that was left out is judged.

Scores are in units of the bound that the fit aims at (1); derive.py turns them into percents."""

from dataclasses import dataclass

import numpy
from scipy.optimize import minimize


@dataclass
class Settings:
    share: float = 1 / 1000  # of the spams of two sources that hold a phrase ...
    share_of_one: float = 1 / 400  # ... or of the spams of one
    ratio: float = 6.0  # a phrase stands so many times oftener in spam than in good mail
    ratio_of_words: float = 16.0  # the same for a single word, which says less
    by_chance: float = 1.0  # times what chance makes of it in ordinary mail
    by_chance_in_letters: float = 30.0  # the same in newsletters, whose phrases we know worst
    nearly_same: float = 0.9  # of phrases that stand in so much of the same mail only one is taken
    good_weight: float = 100.0  # all good mail against all spam
    letter_weight: float = 3.0  # newsletters among the good mail
    highest: float = 0.35  # weight of a phrase
    highest_of_words: float = 0.1  # weight of a single word
    highest_of_everyday: float = 0.25  # weight of what has a word of everyday_words.txt
    highest_of_scarce: float = 0.1  # weight of what has a word of scarce_words.txt
    ridge: float = 1e-3
    lasso: float = 1e-3
    samples: int = 60  # the weights are the mean of so many fits, each of mail drawn at random ...
    features: float = 0.7  # ... and of this share of the phrases


def _rates(matrix, mails, among):
    present = matrix.copy()
    present.data = numpy.ones_like(present.data)
    for source, spam, mask in mails.classes(among):
        count = int(mask.sum())
        yield spam, count, numpy.asarray(present[mask].sum(0)).ravel()


def choose(matrix, mails, among, candidates, settings):
    """Columns of the phrases that speak for spam in the mail of the mask."""
    spam_rates, good_rates, sources, alone = [], [], 0, 0
    for spam, count, found in _rates(matrix, mails, among):
        (spam_rates if spam else good_rates).append(found / count)
        if spam:
            sources = sources + (found >= max(2, count * settings.share))
            alone = alone + (found >= max(3, count * settings.share_of_one))
    spam_rate, good_rate = numpy.mean(spam_rates, 0), numpy.mean(good_rates, 0)
    one_word = numpy.array([" " not in phrase for phrase in candidates.phrases])
    chosen = ((sources >= 2) | (alone >= 1)) \
        & (spam_rate >= numpy.where(one_word, settings.ratio_of_words, settings.ratio) * good_rate) \
        & (spam_rate >= settings.ratio * (good_rate + settings.by_chance * candidates.chance)) \
        & (spam_rate >= settings.ratio * settings.by_chance_in_letters * candidates.chance_in_letters)
    return _without_doubles(matrix, among, numpy.flatnonzero(chosen), candidates.phrases, settings.nearly_same)


def _without_doubles(matrix, among, chosen, phrases, nearly_same):
    """Of phrases that stand in nearly the same mail and share a word only one, so that one sentence does not count three
    times: the longest of those inside each other, which says as much, more exactly; else the first in the alphabet."""
    found = matrix[among][:, chosen].tocsc()
    found.data[:] = 1
    count = numpy.diff(found.indptr)
    together = (found.T @ found).tocsr()
    words = [set(phrases[c].rstrip("!?").split()) for c in chosen]
    order = sorted(range(len(chosen)), key=lambda i: (-len(phrases[chosen[i]].split()), phrases[chosen[i]]))
    kept, dropped = [], set()
    for i in order:
        if i in dropped:
            continue
        kept.append(i)
        row = slice(together.indptr[i], together.indptr[i + 1])
        for j, both in zip(together.indices[row], together.data[row]):
            if j != i and both >= nearly_same * max(count[i], count[j]) and words[i] & words[j]:
                dropped.add(j)
    return chosen[sorted(kept)]


def _mail_weights(mails, among, settings):
    """Each class of each source alike; newsletters more, those of the old corpus half as much as new ones."""
    weights = numpy.zeros(len(mails.files))
    for source, spam, mask in mails.classes(among):
        weights[mask] = 1 / mask.sum()
        if mails.letters[mask].all():
            weights[mask] *= settings.letter_weight * (0.5 if source == "corpus" else 1)
    weights[mails.spam] /= weights[mails.spam].sum()
    weights[~mails.spam] *= settings.good_weight / weights[~mails.spam].sum()
    return weights


def _minimise(loss, start, highest):
    return minimize(loss, start, jac=True, method="L-BFGS-B", bounds=[(0, h) for h in highest],
                    options={"maxiter": 400, "maxfun": 500}).x


def _fit_once(matrix, spam, weights, highest, settings):
    """Non-negative weights: first logistic, then with a loss that grows steeply for good mail near the bound and that
    gives spam up which is far from it: with weights that only add, most spam cannot be caught without losing mail."""
    used = weights > 0
    rows, is_spam, weight = matrix[used], spam[used], weights[used]
    columns = rows.T.tocsr()
    sign = numpy.where(is_spam, -1.0, 1.0)

    def penalty(w):
        return settings.ridge * (w @ w) + settings.lasso * w.sum(), 2 * settings.ridge * w + settings.lasso

    def logistic(w):
        z = 4 * sign * (rows @ w - 1)
        slope = 1 / (1 + numpy.exp(-numpy.clip(z, -50, 50)))
        value, gradient = penalty(w)
        return (weight * numpy.logaddexp(0, z)).sum() / 4 + value, columns @ (weight * slope * sign) + gradient

    def steep(w):
        score = rows @ w
        missed = 1 / (1 + numpy.exp(numpy.clip(3 * (score - 0.7), -50, 50)))
        near = numpy.exp(numpy.clip(4 * (score - 1), -50, 6))
        value, gradient = penalty(w)
        return ((weight * numpy.where(is_spam, missed, near)).sum() + value,
                columns @ (weight * numpy.where(is_spam, -3 * missed * (1 - missed), 4 * near)) + gradient)

    start = _minimise(logistic, numpy.full(matrix.shape[1], 0.02), highest)
    return _minimise(steep, start, highest)


def fit(matrix, mails, among, candidates, settings, seed=0):
    """Weights of all phrases, 0 for those not chosen."""
    chosen = choose(matrix, mails, among, candidates, settings)
    own = matrix[:, chosen].tocsr()
    weights = _mail_weights(mails, among, settings)
    highest = numpy.array([settings.highest if " " in candidates.phrases[c] else settings.highest_of_words
                           for c in chosen])
    of_kind = numpy.array([settings.highest, settings.highest_of_everyday, settings.highest_of_scarce])
    highest = numpy.minimum(highest, of_kind[candidates.kind[chosen]])
    random = numpy.random.RandomState(seed)
    total = numpy.zeros(len(chosen))
    for _ in range(settings.samples):
        part = numpy.flatnonzero(random.rand(len(chosen)) < settings.features)
        drawn = weights * random.poisson(1, len(weights))
        total[part] += _fit_once(own[:, part], mails.spam, drawn, highest[part], settings)
    result = numpy.zeros(len(candidates.phrases))
    result[chosen] = total / settings.samples
    return result


def left_out_scores(matrix, mails, parts, candidates, settings):
    """Score of each mail by weights that were fitted without its part."""
    scores = numpy.zeros(len(mails.files))
    for part in sorted(set(parts)):
        weights = fit(matrix, mails, parts != part, candidates, settings)
        scores[parts == part] = (matrix @ weights)[parts == part]
    return scores


def parts_at_random(mails):
    """Four parts; the issues of one newsletter in the same one."""
    return mails.group % 4


def parts_by_spam_source(mails):
    """A spam source a part, good mail spread over them: strangers' spam, but good mail like that at hand."""
    sources = sorted(set(mails.source[mails.spam]))
    parts = mails.group % len(sources)
    for number, source in enumerate(sources):
        parts[mails.spam & (mails.source == source)] = number
    return parts


def parts_by_source(mails):
    """A source a part with all its mail; sources of good mail alone go with the spam sources, newsletters by sender."""
    sources = sorted(set(mails.source[mails.spam]))
    parts = mails.group % len(sources)
    others = sorted(set(mails.source) - set(sources) - set(mails.source[mails.letters]))
    for number, source in enumerate(sources + others):
        parts[mails.source == source] = number % len(sources)
    return parts
