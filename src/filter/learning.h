// SPDX-License-Identifier: MIT
#pragma once

// Teaching the learnt word lists. A batch works on a copy of both lists; saving adds what it counted to the
// lists as they are on the disk then, in one step under their lock. So a mail check and a long bulk run, also
// in two processes, lose none of each other's counts, and nobody waits for a long run. Whatever ends the
// process, both lists are the old or both the new ones. One thread per batch.

#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>
#include <vector>

#include "config/program.h"
#include "filter/lesson_record.h"
#include "filter/word_tables.h"
#include "message/mail_message.h"
#include "platform/files.h"

namespace quillbeaker {

class LearningBatch {
 public:
  // Loads both lists as they stand. `program` must outlive the batch.
  explicit LearningBatch(Program& program);

  // Counts the message `times` times: its words and the list's messages. O(words of the message).
  void Count(const MailMessage& message, LearnKind kind, std::uint32_t times = 1);
  // The same for one message whose words were cut already (tokeniser.h).
  void Count(const WordCountTable& words, LearnKind kind, std::uint32_t times = 1);

  // The lists as they would be now; for judging with what this batch has learnt so far. The object stays the
  // same for the batch's life.
  const WordTables& tables() const { return tables_; }
  // Occurrences of new words that a full list refused in this batch.
  std::uint64_t refused(LearnKind kind) const;
  // Whether nothing was counted since the last Save.
  bool empty() const { return counted_ == 0; }

  // Adds what was counted since the last Save to the lists on the disk: what becomes of them is, to the byte,
  // what loading, counting and saving in one step would make. A list that would get the bytes that it has is
  // not written. Both have reached the disk when it returns. False when they could not be written, or one of
  // them not read: the counts are then kept and Save may be called again. With nothing counted no file is
  // touched. Each list is read and written once, whatever the number of messages; again only where somebody
  // else saved it since it was loaded.
  bool Save();
  // The same for a lesson that a person gave, which can be undone: what it really added to the lists is kept
  // as the last lesson's record in the same step, with `mails`, bytes of the caller. Where there are some the
  // record stays open until the caller has done its part (stores/last_lesson.h). With nothing counted the
  // record is made all the same where there are `mails`. Only under the lock of lessons (kLessonLock).
  bool SaveAsLesson(std::string_view mails = {});

 private:
  // What a list was before this batch counted into it.
  struct Base {
    std::vector<std::uint32_t> counts;  // of its first words; those behind them are new
    std::uint32_t messages = 0;
    FileState file;
    bool certain = false;        // a file in the same state holds the same
    WordCountTable refused;      // words that found the list full, as far as there is room for them
    std::uint64_t refusals = 0;  // occurrences of them, since the batch was made
  };

  // A list as it shall be saved: that of the disk plus what was counted, or the batch's own where the disk
  // has what it was loaded from.
  struct Merged {
    std::optional<WordCountTable> fresh;
    std::vector<std::uint32_t> counts;  // of the words of `fresh` before the batch's were added to them
    std::uint32_t messages = 0;         // the same
    std::uint64_t refusals = 0;
  };

  void Load();
  static void Remember(const WordCountTable& list, Base& base);
  static void CountInto(const WordCountTable& words, std::uint32_t times, WordCountTable& list, Base& base);
  static bool AddToDisk(const WordCountTable& list, const Base& base, Merged& merged);
  static bool Merge(const WordCountTable& list, const Base& base, Merged& merged);
  static void TakeOver(Merged& merged, WordCountTable& list, Base& base);
  static LearntWords Added(const Merged& merged, const WordCountTable& list, const Base& base);
  bool SaveBoth(const Merged& good, const Merged& bad) const;
  bool SaveBothAsLesson(const Merged& good, const Merged& bad, std::string_view mails) const;
  bool SaveWith(const std::function<bool(const Merged& good, const Merged& bad)>& save);

  Program& program_;
  WordTables tables_;  // loaded lists plus what was counted
  Base good_;
  Base bad_;
  WordCountTable words_;  // of one message; kept for its memory
  std::uint64_t counted_ = 0;
};

}  // namespace quillbeaker
