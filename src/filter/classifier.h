// SPDX-License-Identifier: MIT
#pragma once

// Decides whether one mail is spam from its words: the learnt lists first, then the spam words against the
// level's threshold. Sender lists and levels 0 and 100 are mail_filter.h's.

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "filter/filter_settings.h"
#include "filter/spam_word_search.h"
#include "filter/word_tables.h"
#include "message/mail_message.h"

namespace quillbeaker {

// Learnt probabilities that settle a message without the spam words: spam from here on, good up to there.
inline constexpr double kSpamFrom = 0.9;
inline constexpr double kSurelyGood = 3e-7;

// A word of a message, in the message's own table, and how much it speaks for spam.
struct WeighedWord {
  const WordEntry* entry = nullptr;
  double probability = 0;
};

// The learnt words that are asked about a message, and what they say together.
struct LearntEvidence {
  static constexpr std::size_t kMostTelling = 15;

  std::array<WeighedWord, kMostTelling> words{};  // the most telling first
  std::size_t word_count = 0;
  double spam = 1;           // product of the words' probabilities
  double good = 1;           // product of what they lack to 1
  double probability = 0.4;  // spam / (spam + good); as it stands here when nothing can be said
  bool says_something = false;

  std::span<const WeighedWord> telling() const { return {words.data(), word_count}; }
};

struct FoundSpamWord {
  std::uint32_t index = 0;  // into the table's spam words
  bool in_subject = false;
  bool in_text = false;
};

struct SpamWordEvidence {
  std::span<const FoundSpamWord> found;  // in the order of the list
  std::int64_t percent = 0;              // sum; a word in both places counts twice
};

class Classifier {
 public:
  // The tables must outlive the classifier. The automaton over the spam words is built here, once.
  explicit Classifier(const WordTables& tables);

  // True for spam. `probability` and `words` get the last value computed and the words that led to it; both
  // stay untouched when the filter is switched off. One thread.
  bool Decide(const FilterSettings& settings, const MailMessage& message, double& probability,
              std::string& words);
  // Whether the last Decide was settled by the learnt words alone, one way or the other, without any
  // threshold.
  bool LearntWordsDecided() const { return learnt_words_decided_; }

  // Probability in [0, 1] from the 15 most telling words of the message; 0.4 when the lists cannot say.
  // `words` (up to 99 bytes) names those above 0.4.
  double LearntProbability(const MailMessage& message, std::string& words);
  // The same from the words of one message, cut already (tokeniser.h).
  double LearntProbability(const WordCountTable& tokens, std::string& words) const;

  // Sum of the percents of the spam words found in Subject and text, times 0.01; may leave [0, 1]. `words` up
  // to 254 bytes. 0 when the decoded text is empty, whatever the Subject.
  double SpamWordScore(const MailMessage& message, bool strip_html, std::string& words);

  // What Decide goes by, all of it, whatever is switched off and whichever part would have settled it alone.
  // Valid until the next call of anything here.
  struct Evidence {
    LearntEvidence learnt;
    SpamWordEvidence spam_words;
  };
  Evidence Weigh(const MailMessage& message, bool strip_html);

 private:
  // The message's text, decoded at most once for each way while one message is judged.
  const std::string& DecodedOnce(const MailMessage& message, bool strip_html);
  void ForgetTexts();

  LearntEvidence WeighLearntWords(const MailMessage& message);
  LearntEvidence WeighLearntWords(const WordCountTable& tokens) const;
  SpamWordEvidence FindSpamWords(const MailMessage& message, bool strip_html);
  void NameSpamWords(const SpamWordEvidence& evidence, std::string& words) const;

  const WordTables& tables_;
  SpamWordSearch search_;
  bool learnt_words_decided_ = false;

  // Kept from message to message for their memory.
  WordCountTable tokens_;
  std::string texts_[2];  // by strip_html
  bool decoded_[2] = {false, false};
  std::vector<std::uint32_t> in_subject_;
  std::vector<std::uint32_t> in_text_;
  std::vector<FoundSpamWord> found_;
};

}  // namespace quillbeaker
