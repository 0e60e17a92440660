// SPDX-License-Identifier: MIT
#pragma once

// Decides whether one mail is spam from its words: the learnt lists first, then the spam words against the
// level's threshold. Sender lists and levels 0 and 100 are mail_filter.h's.

#include <cstdint>
#include <string>
#include <vector>

#include "config/program.h"
#include "filter/spam_word_search.h"
#include "filter/word_tables.h"
#include "message/mail_message.h"

namespace quillbeaker {

class Classifier {
 public:
  // Both must outlive the classifier. The automaton over the spam words is built here, once.
  Classifier(const Program& program, const WordTables& tables);

  // True for spam. `probability` and `words` get the last value computed and the words that led to it; both
  // stay untouched when the filter is switched off. Keys and thresholds are read anew at every call. One
  // thread.
  bool Decide(const MailMessage& message, double& probability, std::string& words);
  // Whether the last Decide was settled by the learnt words alone, one way or the other, without any
  // threshold.
  bool LearntWordsDecided() const { return learnt_words_decided_; }

  // Probability in [0, 1] from the 15 most telling words of the message; 0.4 when the lists cannot say.
  // `words` (up to 99 bytes) names those above 0.4.
  double LearntProbability(const MailMessage& message, std::string& words);
  // The same from the words of one message, cut already (tokeniser.h); their probabilities are written.
  double LearntProbability(WordCountTable& tokens, std::string& words) const;

  // Sum of the percents of the spam words found in Subject and text, times 0.01; may leave [0, 1]. `words` up
  // to 254 bytes. 0 when the decoded text is empty, whatever the Subject.
  double SpamWordScore(const MailMessage& message, std::string& words);

  // Percent that the spam-word score must reach at this level: the user's file, then the shipped one, then
  // 100.
  static std::int32_t Threshold(const Program& program, std::int32_t level);

 private:
  // The message's text, decoded at most once for each way while one message is judged.
  const std::string& DecodedOnce(const MailMessage& message, bool strip_html);
  void ForgetTexts();

  double ProbabilityOfLearntWords(const MailMessage& message, std::string& words);
  double ScoreOfSpamWords(const MailMessage& message, bool strip_html, std::string& words);

  const Program& program_;
  const WordTables& tables_;
  SpamWordSearch search_;
  bool learnt_words_decided_ = false;

  // Kept from message to message for their memory.
  WordCountTable tokens_;
  std::string texts_[2];  // by strip_html
  bool decoded_[2] = {false, false};
  std::vector<std::uint32_t> in_subject_;
  std::vector<std::uint32_t> in_text_;
};

}  // namespace quillbeaker
