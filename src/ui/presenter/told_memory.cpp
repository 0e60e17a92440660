// SPDX-License-Identifier: MIT
#include "ui/presenter/told_memory.h"

#include <algorithm>

namespace quillbeaker {

bool ToldMemory::IsNew(const std::string& about, const std::string& what, std::chrono::seconds again_after) {
  const auto now = clock_();
  // What is told again in any case need not be remembered: names come from mail programs, in any number.
  std::erase_if(told_, [now](const auto& entry) { return entry.second.until <= now; });
  const auto [entry, inserted] = told_.try_emplace(about, Told{what, now + again_after});
  if (!inserted && entry->second.what == what) {
    return false;
  }
  entry->second = {what, now + again_after};
  return true;
}

std::string WithoutNumbers(std::string_view text) {
  std::string words;
  while (!text.empty()) {
    const std::string_view word = text.substr(0, text.find(' '));
    text.remove_prefix(std::min(word.size() + 1, text.size()));
    if (word.find_first_of("0123456789") == word.npos) words.append(word).append(" ");
  }
  return words;
}

}  // namespace quillbeaker
