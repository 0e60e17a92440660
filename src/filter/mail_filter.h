// SPDX-License-Identifier: MIT
#pragma once

// The whole judgement of one mail: size limit, filter switched off, sender lists, aggressiveness level,
// classifier, in their fixed order. The mail check and the console's `classify` both ask here, and so does
// `explain` (explanation.h).

#include <cstdint>
#include <string>

#include "config/program.h"
#include "filter/classifier.h"
#include "filter/filter_settings.h"
#include "filter/sender_lists.h"
#include "filter/word_tables.h"
#include "message/mail_message.h"

namespace quillbeaker {

enum class JudgementReason {
  kTooLarge,  // not judged: at or above FilterMaxMessageSize
  kFilterOff,
  kLevel,  // level 0 or 100 decided without the classifier
  kBlockedSender,
  kFriend,
  kMarkedDeleted,  // the client deleted it before it was judged
  kLearntWords,
  // The spam-word score (or, with the word filter off, the learnt probability) against the threshold.
  kSpamWords,
};

struct Judgement {
  bool spam = false;
  JudgementReason reason = JudgementReason::kSpamWords;
  std::int32_t sender_kind = kSenderNone;
  std::int32_t level = 50;
  std::int32_t threshold = 100;  // percent, of the level
  bool classifier_asked = false;
  bool classifier_spam = false;
  double probability = 0;  // 0 when the classifier was not asked
  std::string words;       // empty likewise
};

struct Explanation;

class MailFilter {
 public:
  // Loads sender lists and word tables; nothing is loaded again for the messages of one pass.
  explicit MailFilter(Program& program);

  // `marked_deleted`: the client has already deleted the message.
  Judgement Judge(const MailMessage& message, bool marked_deleted);
  // The same with settings that were read before, so that what a person was shown of them is what is used.
  Judgement Judge(const FilterSettings& settings, const MailMessage& message, bool marked_deleted);

  // What Judge says of the message and everything that it goes by.
  Explanation Explain(const MailMessage& message);

 private:
  Program& program_;
  SenderLists senders_;
  WordTables tables_;
  Classifier classifier_;
};

}  // namespace quillbeaker
