// SPDX-License-Identifier: MIT
#pragma once

// Finds which of many spam words occur in a text, in one pass over it whatever their number (Aho and
// Corasick's automaton), without regard to ASCII case. The result equals a substring search for each word by
// itself.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "filter/spam_words.h"

namespace quillbeaker {

class SpamWordSearch {
 public:
  SpamWordSearch() = default;
  explicit SpamWordSearch(const std::vector<SpamWord>& words);

  // Indices into the list given at construction of all words that occur in `text`, ascending, each once. An
  // empty word occurs in every text. `found` is replaced. Not for two threads at once on the same object.
  void FindAll(std::string_view text, std::vector<std::uint32_t>& found) const;

 private:
  // A prefix of words. States are numbered in breadth-first order, the root being 0: the children of a state
  // stand side by side, right before those of the next state, and the state to fall back to has always a
  // smaller number.
  struct State {
    std::uint32_t first_child = 0;  // the first child of the next state is the end
    std::uint32_t fallback = 0;     // longest proper suffix that is a prefix of words too
    std::uint32_t report = 0;  // this state or the next one down its fallbacks at which words end; 0: none
    std::uint32_t first_word = 0;  // into order_: the words that end here
    std::uint32_t word_count = 0;
    std::uint8_t label = 0;  // class of the last byte
  };

  void MakeClasses(const std::vector<SpamWord>& words);
  void MakeStates(const std::vector<std::string>& classes);
  void Connect();
  void FillRow(std::uint32_t state);
  // The state after one more byte of class `label`, with kReports when words end there.
  std::uint32_t Step(std::uint32_t state, std::uint8_t label) const;
  // The same where no cell has the answer: by the children, here or where the state falls back to.
  std::uint32_t StepByChildren(std::uint32_t state, std::uint8_t label) const;
  std::uint32_t Reporting(std::uint32_t state) const;
  // Takes one byte of a text: the next state, its words reported.
  std::uint32_t Walk(std::uint32_t state, char c, std::vector<std::uint32_t>& found) const;
  void FindInPieces(std::string_view text, std::size_t piece, std::vector<std::uint32_t>& found) const;
  void Report(std::uint32_t state, std::vector<std::uint32_t>& found) const;

  std::array<std::uint8_t, 256> class_of_{};  // byte, both cases alike -> class; 0: occurs in no word
  std::size_t class_count_ = 1;
  std::size_t row_length_ = 1;  // the classes that rows have cells for
  std::size_t longest_word_ = 0;
  std::vector<State> states_;            // and one for the end of the last one's children
  std::vector<std::uint16_t> rows_;      // next states by class, for the first states
  std::vector<std::uint32_t> root_row_;  // the root's, for all classes
  std::uint32_t row_count_ = 0;
  std::vector<std::uint32_t> order_;  // indices of the words that are not empty, sorted by their classes
  std::vector<std::uint32_t> empty_words_;       // indices
  mutable std::vector<std::uint32_t> reported_;  // by state: the search that has reported it
  mutable std::uint32_t search_number_ = 0;
};

}  // namespace quillbeaker
