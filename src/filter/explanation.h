// SPDX-License-Identifier: MIT
#pragma once

// Why a mail is judged as it is, for a person who wonders: the judgement itself and everything that it goes
// by, whether or not it came to that. Made by MailFilter::Explain from what the judge itself finds; nothing
// is computed a second way.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "filter/classifier.h"
#include "filter/mail_filter.h"
#include "filter/sender_lists.h"

namespace quillbeaker {

struct TellingWord {
  std::string word;
  std::uint32_t good = 0;  // how often the lists counted it
  std::uint32_t spam = 0;
  double probability = 0;
};

struct ExplainedSpamWord {
  std::string word;
  std::int32_t percent = 0;
  bool predefined = false;
  bool in_subject = false;
  bool in_text = false;
};

struct Explanation {
  Judgement judgement;  // of the mail check
  std::uint32_t size = 0;
  std::int32_t size_limit = 0;             // from this size on mail is not judged; 0 or less: none
  std::optional<Judgement> without_limit;  // when it is too large: what it would be otherwise
  std::optional<SenderRecord> sender;      // of the message; none without a From field
  SenderRecord entry;                      // of the lists; kind kSenderNone when none matches
  LevelThreshold threshold;

  bool learnt_words_on = true;      // FilterLearningEnable
  std::uint32_t good_messages = 0;  // that the lists were learnt from
  std::uint32_t spam_messages = 0;
  std::vector<TellingWord> telling_words;  // the most telling first
  double spam_product = 1;                 // of their probabilities
  double good_product = 1;                 // of what they lack to 1
  double learnt_probability = 0;
  bool learnt_words_say_something = false;

  bool spam_words_on = true;  // FilterWordEnable
  std::vector<ExplainedSpamWord> spam_words;
  std::int64_t percent = 0;  // their sum; a word in both places counts twice
};

}  // namespace quillbeaker
