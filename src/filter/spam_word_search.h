// SPDX-License-Identifier: MIT
#pragma once

// Finds which of many spam words occur in a text, in one pass over it whatever their number (Aho and Corasick's automaton), without
// regard to ASCII case. The result equals a substring search for each word by itself.

#include <cstdint>
#include <string_view>
#include <vector>

#include "filter/spam_words.h"

namespace quillbeaker {

class SpamWordSearch {
 public:
  SpamWordSearch() = default;
  explicit SpamWordSearch(const std::vector<SpamWord>& words);

  // Indices into the list given at construction of all words that occur in `text`, ascending, each once. An empty word
  // occurs in every text. `found` is replaced. Not for two threads at once on the same object.
  void FindAll(std::string_view text, std::vector<std::uint32_t>& found) const;

 private:
  // Representation is the implementer's choice.
};

// The search that the automaton must equal: position of the first occurrence, or npos.
std::size_t FindText(std::string_view text, std::string_view pattern, bool case_sensitive);

}  // namespace quillbeaker
