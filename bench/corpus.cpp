// SPDX-License-Identifier: MIT
#include "corpus.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "platform/files.h"

namespace quillbeaker::bench {

namespace {

constexpr std::pair<std::string_view, LearnKind> kGroups[] = {
    {"easy-ham-1", LearnKind::kGood}, {"easy-ham-2", LearnKind::kGood}, {"hard-ham-1", LearnKind::kGood},
    {"spam-1", LearnKind::kSpam},     {"spam-2", LearnKind::kSpam},
};

}  // namespace

std::vector<CorpusMail> ReadCorpus(const std::string& directory, int half) {
  std::vector<CorpusMail> mails;
  for (const auto& [group, kind] : kGroups) {
    const std::string folder = directory + "/" + std::string(group);
    const std::vector<std::string> names = ListFiles(folder, ".txt");
    for (std::size_t i = 0; i < names.size(); ++i) {
      if (half >= 0 && i % 2 != static_cast<std::size_t>(half)) continue;
      const std::optional<std::string> text = ReadWholeFile(folder + "/" + names[i]);
      if (text) mails.push_back({WithMailLineEnds(*text), kind});
    }
  }
  return mails;
}

std::string WithMailLineEnds(std::string_view text) {
  if (text.starts_with("From ")) text.remove_prefix(std::min(text.find('\n'), text.size() - 1) + 1);
  std::string out;
  out.reserve(text.size() + text.size() / 16);
  char last = 0;
  for (const char c : text) {
    if (c == '\n' && last != '\r') out += '\r';
    out += c;
    last = c;
  }
  return out;
}

std::vector<CountedWord> ByFrequency(const WordCountTable& table) {
  std::vector<CountedWord> words;
  words.reserve(table.entries().size());
  for (const WordEntry& entry : table.entries()) words.push_back({std::string(entry.word()), entry.count});
  std::sort(words.begin(), words.end(), [](const CountedWord& a, const CountedWord& b) {
    return a.count != b.count ? a.count > b.count : a.word < b.word;
  });
  return words;
}

WordCountTable MostFrequent(const WordCountTable& table, std::size_t words) {
  WordCountTable picked;
  picked.messages = table.messages;
  std::vector<CountedWord> counted = ByFrequency(table);
  counted.resize(std::min(words, counted.size()));
  for (const CountedWord& word : counted) {
    for (std::uint32_t i = 0; i < word.count; ++i) picked.Add(word.word);
  }
  return picked;
}

std::vector<SpamWord> PickSpamWords(const WordTables& learnt, std::size_t count) {
  std::vector<SpamWord> words;
  for (const CountedWord& word : ByFrequency(learnt.bad)) {
    if (words.size() == count) break;
    if (word.word.size() >= 4 && word.count > 4 * learnt.good.Count(word.word))
      words.push_back({word.word, 15, true});
  }
  return words;
}

}  // namespace quillbeaker::bench
