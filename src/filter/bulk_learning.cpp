// SPDX-License-Identifier: MIT
#include "filter/bulk_learning.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "filter/classifier.h"
#include "filter/tokeniser.h"
#include "message/decoded_text.h"
#include "message/mail_message.h"

namespace quillbeaker {

namespace {

// With repetition: what the message adds to the counts of its list.
std::uint64_t NumberOfWords(const WordCountTable& words) {
  std::uint64_t number = 0;
  for (const WordEntry& entry : words.entries()) number += entry.count;
  return number;
}

}  // namespace

LearningWarnings WarningsFor(const LearningSizes& sizes) {
  LearningWarnings warnings;
  warnings.too_few_good = sizes.good < kTooFewGood;
  warnings.too_little_spam = sizes.spam * kTooLittleSpamShare < sizes.good;
  return warnings;
}

BulkLearning::BulkLearning(Program& program, MailSource& source, LearningManner manner)
    : source_(source), manner_(manner), batch_(program) {
  report_.good_at_start = sizes_.good = batch_.tables().good.messages;
  report_.spam_at_start = sizes_.spam = batch_.tables().bad.messages;
  for (std::size_t i = 0; i < source_.size(); ++i) ++(IsSpam(i) ? sizes_.spam : sizes_.good);

  if (manner_ == LearningManner::kKeen && sizes_.good < kKeenFrom) {
    report_.keen_refused = true;
    manner_ = LearningManner::kCareful;
  }
  switch (manner_) {
    case LearningManner::kCareful:
      if (sizes_.good < kWeightGoodBelow || sizes_.good < sizes_.spam * kGoodPerSpamUnweighted) {
        report_.good_weight = kWeight;
      }
      break;
    case LearningManner::kKeen:
      report_.spam_weight = kWeight;
      break;
    case LearningManner::kPlain:
      break;
  }
  TellTotals();
}

bool BulkLearning::IsSpam(std::size_t index) const {
  return source_.KindOf(index) == LearnKind::kSpam;
}

// Puts the words of the mail into words_. False, and counted so, when it cannot be read.
bool BulkLearning::ReadWords(std::size_t index) {
  if (!source_.Read(index, text_)) {
    ++report_.unreadable;
    return false;
  }
  MailMessage message;
  message.ParseText(std::move(text_));
  if (!DecodeText(message, /*strip_html=*/true, decoded_)) decoded_.clear();
  words_.Clear();
  CountMessage(message, decoded_, words_);
  return true;
}

void BulkLearning::CountWords(LearnKind kind) {
  const bool spam = kind == LearnKind::kSpam;
  batch_.Count(words_, kind, spam ? report_.spam_weight : report_.good_weight);
  ++(spam ? report_.spam_learnt : report_.good_learnt);
}

// One mail is dealt with. False when the run shall end here.
bool BulkLearning::Step() {
  ++done_;
  if (!progress_ || progress_(done_, steps_) || done_ == steps_) return true;
  report_.interrupted = true;
  return false;
}

void BulkLearning::Run(const Progress& progress) {
  progress_ = progress;
  if (manner_ == LearningManner::kKeen) {
    RunKeen();
  } else {
    RunInOrder();
  }
  TellTotals();
}

void BulkLearning::RunInOrder() {
  const bool leave_long_out = manner_ == LearningManner::kCareful && sizes_.good >= kLeaveLongOutFrom;
  steps_ = source_.size();
  for (std::size_t i = 0; i < source_.size(); ++i) {
    if (ReadWords(i)) {
      const LearnKind kind = source_.KindOf(i);
      if (kind == LearnKind::kGood && leave_long_out && NumberOfWords(words_) > kLongMail) {
        ++report_.long_good_left_out;
      } else {
        CountWords(kind);
      }
    }
    if (!Step()) return;
  }
}

// The good mail is measured before anything is counted: a run that ends in the middle of that leaves no spam
// without good mail behind.
void BulkLearning::RunKeen() {
  struct Good {
    std::uint64_t words = 0;
    std::size_t index = 0;
  };
  std::vector<Good> good;
  std::size_t number_of_spam = 0;
  for (std::size_t i = 0; i < source_.size(); ++i) number_of_spam += IsSpam(i);
  steps_ = source_.size() + (source_.size() - number_of_spam);

  for (std::size_t i = 0; i < source_.size(); ++i) {
    if (IsSpam(i)) continue;
    if (ReadWords(i)) {
      good.push_back({NumberOfWords(words_), i});
    } else {
      ++done_;  // there will be no second step for it
    }
    if (!Step()) return;
  }
  for (std::size_t i = 0; i < source_.size(); ++i) {
    if (!IsSpam(i)) continue;
    if (ReadWords(i)) CountWords(LearnKind::kSpam);
    if (!Step()) return;
  }
  std::stable_sort(good.begin(), good.end(), [](const Good& a, const Good& b) { return a.words < b.words; });
  const Classifier judge(batch_.tables());
  std::string telling_words;
  for (const Good& mail : good) {
    if (ReadWords(mail.index)) {
      if (judge.LearntProbability(words_, telling_words) > kKeenSurelyGood) {
        CountWords(LearnKind::kGood);
      } else {
        ++report_.sure_good_left_out;
      }
    }
    if (!Step()) return;
  }
}

bool BulkLearning::Save() {
  const bool saved = batch_.SaveAsLesson();
  TellTotals();
  return saved;
}

void BulkLearning::TellTotals() {
  const WordTables& tables = batch_.tables();
  report_.refused_good_words = batch_.refused(LearnKind::kGood);
  report_.refused_spam_words = batch_.refused(LearnKind::kSpam);
  report_.good_messages = tables.good.messages;
  report_.spam_messages = tables.bad.messages;
  report_.good_words = tables.good.entries().size();
  report_.spam_words = tables.bad.entries().size();
}

}  // namespace quillbeaker
