// SPDX-License-Identifier: MIT
#pragma once

// Everything that one judgement goes by beside the words themselves, read once for each mail: what is shown
// of a judgement is then what was used, also when somebody changes a setting in between, and no file is asked
// for its state twice.

#include <cstdint>
#include <memory>

#include "config/program.h"

namespace quillbeaker {

inline constexpr std::int32_t kLevelOnlyBlocked = 0;    // only blocked senders' mail is spam
inline constexpr std::int32_t kLevelOnlyFriends = 100;  // only friends' mail is not

// A level's threshold and who set it.
struct LevelThreshold {
  enum class Source { kUserFile, kShippedFile, kDefault };
  std::int32_t percent = 100;  // that the spam-word score must reach
  Source source = Source::kDefault;
};

struct FilterSettings {
  bool enabled = true;          // Enable
  bool word_filter = true;      // FilterWordEnable
  bool learning_filter = true;  // FilterLearningEnable
  bool strip_html = true;       // FilterWordHTML is exactly 1
  std::int32_t level = 50;      // Aggressiveness
  std::int32_t size_limit = 0;  // FilterMaxMessageSize, bytes; 0 or less: none
  LevelThreshold threshold;     // of the level
  // What they were read from, so that the sender lists beside them need no look of their own.
  std::shared_ptr<const IniDocument> source;

  // True when anything may judge mail at all.
  bool FilterIsOn() const { return enabled && (word_filter || learning_filter); }
  // True when the filter learns from mail checks and the training area is in use: not at the end levels,
  // which leave the judgement to the sender lists.
  bool LearningIsOn() const {
    return enabled && learning_filter && level != kLevelOnlyBlocked && level != kLevelOnlyFriends;
  }
  // Mail of this size is neither judged nor learnt by itself.
  bool IsTooLarge(std::uint32_t size) const {
    return size_limit > 0 && size >= static_cast<std::uint32_t>(size_limit);
  }
};

FilterSettings ReadFilterSettings(const Program& program);

// The threshold of one level: the user's file decides, then the shipped one, then 100.
LevelThreshold ReadThreshold(const Program& program, std::int32_t level);

}  // namespace quillbeaker
