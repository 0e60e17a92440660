// SPDX-License-Identifier: MIT
#pragma once

// What the last lesson added to the learnt word lists, kept in training/ so that it can be taken back, and
// beside it what the caller wants to have back then: bytes of its own, which are not looked at here. The
// files' places, and what a file of a damaged or doctored record may do: nothing.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "filter/word_count_table.h"

namespace quillbeaker {

// In the program directory. A lesson changes files one after the other, and the name of its record says how
// far it has come: prepared before the lists are replaced, open while learnt mail has still to leave the
// training area, then the last lesson, which can be undone, and at last undone while that mail has still to
// be put back.
inline constexpr std::string_view kLessonPrepared = "training/last-lesson.new";
inline constexpr std::string_view kLessonOpen = "training/last-lesson.open";
inline constexpr std::string_view kLastLesson = "training/last-lesson";
inline constexpr std::string_view kLessonUndone = "training/last-lesson.undone";
// Held while one of these is changed, over a whole lesson. Taken before any store's lock and that of the
// lists.
inline constexpr std::string_view kLessonLock = "training/lesson.lock";

// A larger record is not kept, and the lesson cannot be undone: it must fit into memory.
inline constexpr std::size_t kMostLessonBytes = std::size_t{1} << 28;

// What was added to one list, or is to be subtracted from it.
struct LearntWords {
  std::uint32_t messages = 0;
  std::vector<WordEntry> words;
};

struct LessonRecord {
  LearntWords good;
  LearntWords bad;
  std::string mails;  // the caller's bytes
};

std::string SerialiseLesson(const LearntWords& good, const LearntWords& bad, std::string_view mails);

// Nothing for bytes that are torn, damaged or of another version.
std::optional<LessonRecord> ParseLesson(std::string_view bytes);

}  // namespace quillbeaker
