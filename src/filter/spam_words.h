// SPDX-License-Identifier: MIT
#pragma once

// The spam words with their percents: read from the predefined and the user's file, edited in the user's, and
// converted once from the older points format.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "config/program.h"

namespace quillbeaker {

inline constexpr std::size_t kMaxSpamWord = 255;  // bytes

struct SpamWord {
  std::string word;              // as written in the file; matching ignores case
  std::int32_t probability = 0;  // percent; any value
  bool predefined = false;
};

// The user's words first, in reverse file order, then the predefined ones likewise. A word in both stands
// twice and counts twice.
std::vector<SpamWord> ReadSpamWords(const Program& program);

// Writes or removes a word of the user's file; the predefined file is never written. Set refuses (false, file
// unchanged) a word that the file cannot hold: empty, with "=", a leading ";" or "[", outer blanks. For the
// settings pages.
bool SetSpamWord(Program& program, std::string_view word, std::int32_t probability);
bool RemoveSpamWord(Program& program, std::string_view word);

// Moves every line of [POINTS] in both files to [PROBABILITIES] as points * 1.5, truncated, at most 100. True
// when either file had such a line. Runs at every start.
bool ConvertSpamPoints(Program& program);

}  // namespace quillbeaker
