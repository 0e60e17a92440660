// SPDX-License-Identifier: MIT
#pragma once

// "Learn!": the marked messages of the training area are counted into the word lists and leave the area for
// good, until the lesson is undone (last_lesson.h). The lists are saved before anything is removed, and the
// lesson's record with them: whatever ends the process in between, the next one removes what was learnt. This
// file of the stores and last_lesson know the filter, because they are where the two meet.

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "config/program.h"
#include "filter/learning.h"
#include "stores/training_area.h"

namespace quillbeaker {

struct TrainingLesson {
  std::uint32_t marked = 0;      // entries with a mark and a file name
  std::uint32_t good = 0;        // counted
  std::uint32_t spam = 0;        // counted
  std::uint32_t unreadable = 0;  // without a text, removed all the same
  bool stopped = false;          // it ended early; the entries that were not read keep their marks
  bool lists_saved = true;       // when false nothing was learnt and nothing removed
  bool removed = true;           // when false the index could not be saved: all will be learnt once more
};

// Learns from those of `entries` (as List gave them, in that order) that carry a mark and a file name; with
// none nothing is read or written. `on_entry`, which may be empty, is called for each of them once it has
// left the area, with no lock held: a window removes the row there. `on_counted` is called for each as soon
// as its text was counted or found missing, before anything is saved: a progress bar steps there. No store is
// locked then, but no other lesson can begin: it must not start one. `is_stopped` is asked before each
// message is read; true ends the reading, and what was read until then is learnt.
TrainingLesson LearnFromTrainingArea(Program& program, std::span<const TrainingEntry> entries,
                                     const std::function<void(const TrainingEntry&)>& on_entry,
                                     const std::function<void()>& on_counted = {},
                                     const std::function<bool()>& is_stopped = {});

}  // namespace quillbeaker
