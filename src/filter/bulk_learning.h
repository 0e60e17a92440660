// SPDX-License-Identifier: MIT
#pragma once

// Learning many mails at once: which of them are learnt, and how often. How one message is learnt and judged
// is fixed elsewhere (learning.h, classifier.h); the choice made here decides how good the filter becomes
// (docs/QUALITY.md has the figures). Knows no files: mails come from a source that can be read twice.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "config/program.h"
#include "filter/learning.h"

namespace quillbeaker {

enum class LearningManner {
  kCareful,  // long good mail left out, scarce good mail weighted
  kKeen,     // more spam is caught, a few wanted mails more are lost
  kPlain,    // everything once, as it comes
};

// The mails of one run: numbered from 0, the good ones first or not, each readable any number of times.
class MailSource {
 public:
  virtual ~MailSource() = default;
  virtual std::size_t size() const = 0;
  virtual LearnKind KindOf(std::size_t index) const = 0;
  // The raw mail with CR LF line ends, in the place of what `text` holds. False when it cannot be read any
  // more: it is then left out and counted as unreadable.
  virtual bool Read(std::size_t index, std::string& text) = 0;
};

// What a run did, for the person.
struct BulkReport {
  std::uint64_t good_at_start = 0;  // messages of the lists before the run
  std::uint64_t spam_at_start = 0;
  std::uint64_t good_learnt = 0;  // mails of this run that were counted, each once
  std::uint64_t spam_learnt = 0;
  std::uint64_t long_good_left_out = 0;  // more than kLongMail words
  std::uint64_t sure_good_left_out = 0;  // keen: the lists knew them as good already
  std::uint64_t unreadable = 0;
  std::uint32_t good_weight = 1;  // how often each good mail was counted
  std::uint32_t spam_weight = 1;
  bool keen_refused = false;  // keen was asked for, but there is too little good mail for it
  bool interrupted = false;
  std::uint64_t refused_good_words = 0;  // occurrences of new words that found the list full
  std::uint64_t refused_spam_words = 0;
  std::uint64_t good_messages = 0;  // of the lists after the run, and their different words
  std::uint64_t spam_messages = 0;
  std::uint64_t good_words = 0;
  std::uint64_t spam_words = 0;
};

inline constexpr std::uint64_t kLongMail = 2000;            // words, each as often as it stands there
inline constexpr std::uint64_t kLeaveLongOutFrom = 1000;    // good messages
inline constexpr std::uint64_t kWeightGoodBelow = 400;      // good messages
inline constexpr std::uint64_t kGoodPerSpamUnweighted = 2;  // good messages for each spam
inline constexpr std::uint64_t kTooFewGood = 200;           // good messages: wanted mail will be lost
inline constexpr std::uint64_t kTooLittleSpamShare = 4;     // spam below a quarter of the good mail
inline constexpr std::uint64_t kKeenFrom = 2000;            // good messages
inline constexpr double kKeenSurelyGood = 1e-16;  // learnt probability up to which good mail is left out
inline constexpr std::uint32_t kWeight = 3;

// Sizes that the rules go by: the lists' message counts plus the run's messages, each counted once.
struct LearningSizes {
  std::uint64_t good = 0;
  std::uint64_t spam = 0;
};

// What must be told, and asked, before anything of the run is saved.
struct LearningWarnings {
  bool too_few_good = false;
  bool too_little_spam = false;
  bool any() const { return too_few_good || too_little_spam; }
};
// Whatever the manner: no weighting makes up for mail that is not there.
LearningWarnings WarningsFor(const LearningSizes& sizes);

class BulkLearning {
 public:
  using Progress = std::function<bool(std::uint64_t done, std::uint64_t of)>;

  // `source` and `program` must outlive the run. Which rules and weights hold is settled here, by the sizes,
  // and stands in the report from now on.
  BulkLearning(Program& program, MailSource& source, LearningManner manner);

  LearningSizes sizes() const { return sizes_; }
  // Counts the mails into a batch that nobody else sees; nothing is saved. Once per object. `progress` is
  // called after each mail with how many of how many steps are done (keen reads good mail twice) and ends the
  // run when it gives false: what was counted stays.
  void Run(const Progress& progress);
  // Saves what was counted, as the last lesson, which can be undone. False when the lists could not be
  // written; it may be called again. Only under the lock of lessons (kLessonLock).
  bool Save();
  const BulkReport& report() const { return report_; }

 private:
  bool IsSpam(std::size_t index) const;
  bool ReadWords(std::size_t index);
  void CountWords(LearnKind kind);
  bool Step();
  void RunInOrder();
  void RunKeen();
  void TellTotals();

  MailSource& source_;
  LearningManner manner_;
  LearningBatch batch_;
  LearningSizes sizes_;
  BulkReport report_;
  Progress progress_;
  std::uint64_t done_ = 0;
  std::uint64_t steps_ = 0;

  // Kept from mail to mail for their memory.
  std::string text_;
  std::string decoded_;
  WordCountTable words_;
};

}  // namespace quillbeaker
