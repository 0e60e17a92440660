// SPDX-License-Identifier: MIT
#pragma once

// Teaching the learnt word lists. A batch works on a copy of both lists; saving adds what it counted to the
// lists as they are on the disk then, in one step under their lock. So a mail check and a long bulk run, also
// in two processes, lose none of each other's counts, and nobody waits for a long run. Whatever ends the
// process, each list is the old or the new one.

#include <cstdint>
#include <string_view>

#include "config/program.h"
#include "filter/word_tables.h"
#include "message/mail_message.h"

namespace quillbeaker {

// In the program directory; held while the lists are loaded, added to and saved.
inline constexpr std::string_view kWordListLock = "training/wordlist.lock";

class LearningBatch {
 public:
  // Loads both lists as they stand. `program` must outlive the batch.
  explicit LearningBatch(Program& program);

  // Counts the message `times` times: its words and the list's messages. O(words of the message).
  void Count(const MailMessage& message, LearnKind kind, std::uint32_t times = 1);

  // The lists as they would be now; for judging with what this batch has learnt so far.
  const WordTables& tables() const { return tables_; }
  // Occurrences of new words that a full list refused in this batch.
  std::uint64_t refused(LearnKind kind) const;
  bool empty() const { return counted_ == 0; }

  // Adds what was counted since the last Save to the lists on the disk. False when they could not be written:
  // the counts are then kept and Save may be called again. With nothing counted no file is touched. Read and
  // write of each list once, whatever the number of messages.
  bool Save();

 private:
  Program& program_;
  WordTables tables_;       // loaded lists plus what was counted
  WordTables loaded_;       // as they were at construction or at the last Save
  std::uint64_t counted_ = 0;
};

// One learning step of its own: reads and writes both lists.
bool LearnMessage(Program& program, const MailMessage& message, LearnKind kind);

}  // namespace quillbeaker
