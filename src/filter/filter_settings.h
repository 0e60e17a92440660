// SPDX-License-Identifier: MIT
#pragma once

// The keys that every judgement reads, taken from one look at the configuration file: a judgement is made for
// every mail, and each key by itself would ask the system for the file's state.

#include <cstdint>

#include "config/program.h"

namespace quillbeaker {

struct FilterSettings {
  bool enabled = true;          // Enable
  bool word_filter = true;      // FilterWordEnable
  bool learning_filter = true;  // FilterLearningEnable
  bool strip_html = true;       // FilterWordHTML is exactly 1
  std::int32_t level = 50;      // Aggressiveness
  std::int32_t size_limit = 0;  // FilterMaxMessageSize, bytes; 0 or less: none

  // True when anything may judge mail at all.
  bool FilterIsOn() const { return enabled && (word_filter || learning_filter); }
};

FilterSettings ReadFilterSettings(const Program& program);

}  // namespace quillbeaker
