// SPDX-License-Identifier: MIT
#pragma once

// Both learnt lists saved as one step, by a journal in training/: what is found after a crash are both old
// lists or both new ones. The journal holds the second list's new bytes and tells by checksums which state
// of both files they belong to; it is on the disk before the first list is replaced, which decides. A
// lesson's record changes its name in the same step (filter/lesson_record.h). Only under the lock of the
// lists (kWordListLock). Knows no words.

#include <cstdint>
#include <string>
#include <string_view>

#include "config/program.h"

namespace quillbeaker {

// In the program directory; there only while both lists are saved, and after a crash in that moment.
inline constexpr std::string_view kWordListJournal = "training/wordlist.journal";

bool WordListJournalExists(const Program& program);

// What becomes of a lesson's record when the lists are replaced. The numbers are those of the file.
enum class RecordStep : std::uint32_t {
  kNone = 0,
  kOpen = 1,   // the prepared record becomes the open one
  kClose = 2,  // the prepared record becomes the last lesson
  kUndo = 3,   // the last lesson becomes the undone one
};

// Replaces the good list's file and the bad one's, in one step, and with them the name of the record. A list
// that has these very bytes already is not written. False when nothing has changed; true when the new state
// is on the disk, be it that the next RecoverWordLists has to finish it.
[[nodiscard]] bool SaveBothWordLists(const Program& program, std::string_view good, std::string_view bad,
                                     RecordStep step = RecordStep::kNone);

// Finishes what a crash has interrupted: the journal is carried out when it is whole and the lists are those
// that it speaks of, and removed in any case. False when it could not be carried out now (a full disk): it is
// then still there.
[[nodiscard]] bool RecoverWordLists(const Program& program);

}  // namespace quillbeaker
