// SPDX-License-Identifier: MIT
#include "filter/spam_words.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <utility>

#include "config/ascii.h"
#include "config/leading_integer.h"

namespace quillbeaker {

namespace {

// The words of one file in file order.
std::vector<SpamWord> ReadSection(const IniFile& file, bool predefined) {
  const std::shared_ptr<const IniDocument> document = file.Read();
  std::vector<SpamWord> words;
  for (const IniEntry& entry : document->Section(sections::kProbabilities)) {
    if (entry.has_value) {
      words.push_back({std::string(entry.key.substr(0, kMaxSpamWord)),
                       LeadingInteger<std::int32_t>(entry.value), predefined});
    } else if (!words.empty()) {
      // Deliberate: a line without "=" repeats the word above it with 0 percent.
      words.push_back({words.back().word, 0, predefined});
    }
  }
  return words;
}

// points * 1.5, truncated toward zero, at most 100; there is no lower limit but that of the number's width.
std::int32_t ProbabilityOfPoints(std::int32_t points) {
  const std::int64_t probability = std::int64_t{points} * 3 / 2;
  return static_cast<std::int32_t>(
      std::clamp<std::int64_t>(probability, std::numeric_limits<std::int32_t>::min(), 100));
}

bool ConvertFile(IniFile& file) {
  std::vector<std::pair<std::string, std::int32_t>> old_words;
  const std::shared_ptr<const IniDocument> document = file.Read();
  for (const IniEntry& entry : document->Section(sections::kPoints)) {
    // A line without "=" holds no points and cannot be taken out by its key: it would come back at every
    // start.
    if (entry.has_value) old_words.emplace_back(entry.key, LeadingInteger<std::int32_t>(entry.value));
  }
  if (old_words.empty()) return false;
  file.Update([&old_words](IniDocument& changed) {
    for (const auto& [word, points] : old_words) {
      // Another process may have converted the line since it was read.
      if (!changed.Remove(sections::kPoints, word)) continue;
      changed.Set(sections::kProbabilities, word, std::to_string(ProbabilityOfPoints(points)));
    }
  });
  return true;
}

}  // namespace

std::vector<SpamWord> ReadSpamWords(const Program& program) {
  std::vector<SpamWord> words = ReadSection(program.user_spam_words, /*predefined=*/false);
  std::reverse(words.begin(), words.end());
  std::vector<SpamWord> predefined = ReadSection(program.spam_words, /*predefined=*/true);
  words.insert(words.end(), std::make_move_iterator(predefined.rbegin()),
               std::make_move_iterator(predefined.rend()));
  return words;
}

bool SetSpamWord(Program& program, std::string_view word, std::int32_t probability) {
  const std::string key = WithoutControlBytes(word);
  if (key.empty() || key.size() > kMaxSpamWord || key.find('=') != std::string::npos || key.front() == ';' ||
      key.front() == '[' || TrimBlanks(key) != key) {
    return false;
  }
  return program.user_spam_words.WriteInteger(sections::kProbabilities, key, probability);
}

bool RemoveSpamWord(Program& program, std::string_view word) {
  return program.user_spam_words.RemoveKey(sections::kProbabilities, word);
}

bool ConvertSpamPoints(Program& program) {
  const bool predefined = ConvertFile(program.spam_words);
  const bool user = ConvertFile(program.user_spam_words);
  return predefined || user;
}

}  // namespace quillbeaker
