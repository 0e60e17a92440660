// SPDX-License-Identifier: MIT
#pragma once

// Decides whether one mail is spam from its words: the learnt lists first, then the spam words against the level's
// threshold. Sender lists and levels 0 and 100 are mail_filter.h's.

#include <cstdint>
#include <string>

#include "config/program.h"
#include "filter/spam_word_search.h"
#include "filter/word_tables.h"
#include "message/mail_message.h"

namespace quillbeaker {

class Classifier {
 public:
  // Both must outlive the classifier. The automaton over the spam words is built here, once.
  Classifier(const Program& program, const WordTables& tables);

  // True for spam. `probability` and `words` get the last value computed and the words that led to it; both stay
  // untouched when the filter is switched off. Keys and thresholds are read anew at every call. One thread.
  bool Decide(const MailMessage& message, double& probability, std::string& words);

  // Probability in [0, 1] from the 15 most telling words of the message; 0.4 when the lists cannot say. `words` (up to 99
  // bytes) names those above 0.4.
  double LearntProbability(const MailMessage& message, std::string& words);

  // Sum of the percents of the spam words found in Subject and text, times 0.01; may leave [0, 1]. `words` up to 254
  // bytes. 0 when the decoded text is empty, whatever the Subject.
  double SpamWordScore(const MailMessage& message, std::string& words);

  // Percent that the spam-word score must reach at this level: the user's file, then the shipped one, then 100.
  static std::int32_t Threshold(const Program& program, std::int32_t level);

 private:
  const Program& program_;
  const WordTables& tables_;
  SpamWordSearch search_;
  WordCountTable tokens_;  // of the message at hand; kept for its memory
};

}  // namespace quillbeaker
