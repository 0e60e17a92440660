// SPDX-License-Identifier: MIT
#pragma once

// The public corpus of real mail that the benchmarks judge and learn from, as tools/fetch-corpus.sh unpacks
// it: CORPUS/GROUP/*.txt, groups of spam and of good mail, lines ended by LF.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "filter/word_tables.h"

namespace quillbeaker::bench {

struct CorpusMail {
  std::string text;  // lines end in CR LF, no mbox line before the header
  LearnKind kind = LearnKind::kGood;
};

// Every second file of each group, beginning with the first (`half` 0) or the second (1); both without `half`
// (-1). Empty when the corpus is not there.
std::vector<CorpusMail> ReadCorpus(const std::string& directory, int half);

// The text with bare LF made CR LF and without an mbox "From " line.
std::string WithMailLineEnds(std::string_view text);

// A word and how often it stands in a list, the most frequent first, equals in byte order.
struct CountedWord {
  std::string word;
  std::uint32_t count = 0;
};
std::vector<CountedWord> ByFrequency(const WordCountTable& table);

// The first `words` of the list counted into an empty table, as often as they were.
WordCountTable MostFrequent(const WordCountTable& table, std::size_t words);

// `count` spam words that real spam holds: those counted much oftener as spam than as good, the most frequent
// first.
std::vector<SpamWord> PickSpamWords(const WordTables& learnt, std::size_t count);

}  // namespace quillbeaker::bench
