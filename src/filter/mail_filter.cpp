// SPDX-License-Identifier: MIT
#include "filter/mail_filter.h"

#include <optional>

#include "filter/filter_settings.h"

namespace quillbeaker {

namespace {

struct WordlessJudgement {
  bool spam = false;
  JudgementReason reason = JudgementReason::kSpamWords;
};

// What settles a mail before its words are asked, in the order in which it does; nothing when they must be.
std::optional<WordlessJudgement> JudgeWithoutWords(const FilterSettings& settings, std::int32_t sender_kind,
                                                   bool marked_deleted) {
  if (!settings.FilterIsOn()) return WordlessJudgement{false, JudgementReason::kFilterOff};
  if (settings.level == kLevelOnlyBlocked && sender_kind != kSenderBlocked) {
    return WordlessJudgement{false, JudgementReason::kLevel};
  }
  if (settings.level == kLevelOnlyFriends && sender_kind != kSenderFriend) {
    return WordlessJudgement{true, JudgementReason::kLevel};
  }
  if (sender_kind == kSenderBlocked) return WordlessJudgement{true, JudgementReason::kBlockedSender};
  if (sender_kind == kSenderFriend) return WordlessJudgement{false, JudgementReason::kFriend};
  if (marked_deleted) return WordlessJudgement{true, JudgementReason::kMarkedDeleted};
  return std::nullopt;
}

WordTables LoadTables(const Program& program) {
  WordTables tables;
  tables.Load(program, /*load_spam_words=*/true);
  return tables;
}

}  // namespace

MailFilter::MailFilter(Program& program)
    : program_(program), senders_(program), tables_(LoadTables(program)), classifier_(tables_) {}

Judgement MailFilter::Judge(const MailMessage& message, bool marked_deleted) {
  return Judge(ReadFilterSettings(program_), message, marked_deleted);
}

Judgement MailFilter::Judge(const FilterSettings& settings, const MailMessage& message, bool marked_deleted) {
  Judgement judgement;
  judgement.level = settings.level;
  judgement.threshold = settings.threshold.percent;
  // Deliberate: the entry that matches is not written back to the lists. Reading cuts a name at its first
  // comma, so that a write would damage "Smith, Bob,2", and it would bring back an entry that was removed
  // since the pass began.
  judgement.sender_kind = senders_.KindOf(message, settings.source);
  if (settings.IsTooLarge(message.size())) {
    judgement.reason = JudgementReason::kTooLarge;
    return judgement;
  }
  if (const auto judged = JudgeWithoutWords(settings, judgement.sender_kind, marked_deleted)) {
    judgement.spam = judged->spam;
    judgement.reason = judged->reason;
    return judgement;
  }
  judgement.classifier_asked = true;
  judgement.classifier_spam = classifier_.Decide(settings, message, judgement.probability, judgement.words);
  judgement.spam = judgement.classifier_spam;
  judgement.reason =
      classifier_.LearntWordsDecided() ? JudgementReason::kLearntWords : JudgementReason::kSpamWords;
  return judgement;
}

}  // namespace quillbeaker
