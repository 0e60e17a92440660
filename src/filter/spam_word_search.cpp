// SPDX-License-Identifier: MIT
#include "filter/spam_word_search.h"

#include <algorithm>

#include "config/ascii.h"

namespace quillbeaker {

namespace {

// Flag beside a state's number, so that the walk over a text looks at nothing else.
constexpr std::uint32_t kReports = 0x80000000U;

// The same in a row's cell. Cells are small because rows that the caches hold are what counts: a state too
// high for one is looked for among the children.
constexpr std::uint16_t kCellReports = 0x8000;
constexpr std::uint16_t kNoCell = 0xFFFF;
constexpr std::uint32_t kStatesInCells = 0x7FFF;

// Cells of all rows (4 MB). Whatever the size of the user's word list, the states beyond, which are the
// deepest and the least visited, cost their own size only.
constexpr std::size_t kMostCells = std::size_t{1} << 21;

constexpr std::size_t kPieces = 8;  // of a text, walked in turn

unsigned char Folded(char c) {
  return static_cast<unsigned char>(ToUpperAscii(c));
}

}  // namespace

SpamWordSearch::SpamWordSearch(const std::vector<SpamWord>& words) {
  MakeClasses(words);
  std::vector<std::string> classes;  // the words, byte by byte as classes
  classes.reserve(words.size());
  for (const SpamWord& word : words) {
    std::string& folded = classes.emplace_back(word.word);
    for (char& c : folded) c = static_cast<char>(class_of_[static_cast<unsigned char>(c)]);
    const std::uint32_t index = static_cast<std::uint32_t>(classes.size() - 1);
    longest_word_ = std::max(longest_word_, folded.size());
    (folded.empty() ? empty_words_ : order_).push_back(index);
  }
  std::stable_sort(order_.begin(), order_.end(),
                   [&classes](std::uint32_t a, std::uint32_t b) { return classes[a] < classes[b]; });
  MakeStates(classes);
  Connect();
  reported_.assign(states_.size(), 0);
}

// Upper case leaves 230 byte values at most, so that a class fits a byte. The classes that rows have cells
// for come first: ASCII, and of the other bytes the most frequent, up to what leaves no more than every 50th
// byte of the words out. Else a few foreign words would make all rows three times as long.
void SpamWordSearch::MakeClasses(const std::vector<SpamWord>& words) {
  std::array<std::size_t, 256> occurrences{};
  std::size_t uncovered = 0;
  for (const SpamWord& word : words) {
    for (const char c : word.word) ++occurrences[Folded(c)];
    uncovered += word.word.size();
  }
  std::vector<std::size_t> bytes;
  for (std::size_t byte = 0; byte < 256; ++byte) {
    if (occurrences[byte] != 0) bytes.push_back(byte);
  }
  std::stable_sort(bytes.begin(), bytes.end(), [&occurrences](std::size_t a, std::size_t b) {
    const bool a_is_ascii = a < 0x80;
    const bool b_is_ascii = b < 0x80;
    return a_is_ascii != b_is_ascii ? a_is_ascii : occurrences[a] > occurrences[b];
  });
  const std::size_t may_stay_uncovered = uncovered / 50;
  std::array<std::uint8_t, 256> class_of_folded{};
  for (const std::size_t byte : bytes) {
    if (byte < 0x80 || uncovered > may_stay_uncovered) row_length_ = class_count_ + 1;
    uncovered -= occurrences[byte];
    class_of_folded[byte] = static_cast<std::uint8_t>(class_count_++);
  }
  for (std::size_t i = 0; i < 256; ++i) {
    class_of_[i] = class_of_folded[Folded(static_cast<char>(static_cast<unsigned char>(i)))];
  }
}

// In the sorted words those with a common prefix stand together, the ones that are the prefix itself first: a
// state is such a range, and cutting it by the next byte gives its children.
void SpamWordSearch::MakeStates(const std::vector<std::string>& classes) {
  struct Range {
    std::size_t begin;
    std::size_t end;
    std::size_t depth;
  };
  std::vector<Range> ranges{{0, order_.size(), 0}};
  states_.emplace_back();
  for (std::size_t i = 0; i < ranges.size(); ++i) {
    const Range range = ranges[i];
    std::size_t next = range.begin;
    while (next < range.end && classes[order_[next]].size() == range.depth) ++next;
    states_[i].first_word = static_cast<std::uint32_t>(range.begin);
    states_[i].word_count = static_cast<std::uint32_t>(next - range.begin);
    states_[i].first_child = static_cast<std::uint32_t>(states_.size());
    while (next < range.end) {
      const std::size_t begin = next;
      const char label = classes[order_[begin]][range.depth];
      while (next < range.end && classes[order_[next]][range.depth] == label) ++next;
      ranges.push_back({begin, next, range.depth + 1});
      states_.emplace_back().label = static_cast<std::uint8_t>(label);
    }
  }
  State& end = states_.emplace_back();
  end.first_child = static_cast<std::uint32_t>(states_.size() - 1);
}

// In breadth-first order everything that a state falls back to is complete before it is needed.
void SpamWordSearch::Connect() {
  const std::size_t state_count = states_.size() - 1;
  row_count_ = static_cast<std::uint32_t>(std::min(state_count, kMostCells / row_length_));
  rows_.resize(row_count_ * row_length_);
  root_row_.resize(class_count_);
  for (std::uint32_t i = 0; i < state_count; ++i) {
    for (std::uint32_t child = states_[i].first_child; child < states_[i + 1].first_child; ++child) {
      State& state = states_[child];
      // The fallback's own targets are final already; the root's children fall back to the root.
      state.fallback = i == 0 ? 0 : Step(states_[i].fallback, state.label) & ~kReports;
      state.report = state.word_count != 0 ? child : states_[state.fallback].report;
      if (i == 0) root_row_[state.label] = Reporting(child);
    }
    if (i < row_count_) FillRow(i);
  }
}

void SpamWordSearch::FillRow(std::uint32_t state) {
  const auto row = rows_.begin() + static_cast<std::ptrdiff_t>(state * row_length_);
  if (state != 0) {
    const auto fallback = rows_.begin() + static_cast<std::ptrdiff_t>(states_[state].fallback * row_length_);
    std::copy_n(fallback, row_length_, row);
  }
  for (std::uint32_t child = states_[state].first_child; child < states_[state + 1].first_child; ++child) {
    if (states_[child].label >= row_length_) continue;
    const bool reports = states_[child].report != 0;
    row[states_[child].label] =
        child >= kStatesInCells ? kNoCell : static_cast<std::uint16_t>(child | (reports ? kCellReports : 0));
  }
}

std::uint32_t SpamWordSearch::Reporting(std::uint32_t state) const {
  return states_[state].report != 0 ? state | kReports : state;
}

inline std::uint32_t SpamWordSearch::Step(std::uint32_t state, std::uint8_t label) const {
  if (state < row_count_ && label < row_length_) [[likely]] {
    const std::uint16_t cell = rows_[state * row_length_ + label];
    if (cell != kNoCell) [[likely]]
      return static_cast<std::uint32_t>(cell & ~kCellReports) | (cell & kCellReports ? kReports : 0);
  }
  return StepByChildren(state, label);
}

std::uint32_t SpamWordSearch::StepByChildren(std::uint32_t state, std::uint8_t label) const {
  for (; state != 0; state = states_[state].fallback) {
    for (std::uint32_t child = states_[state].first_child; child < states_[state + 1].first_child; ++child) {
      if (states_[child].label == label) return Reporting(child);
    }
  }
  return root_row_[label];
}

// Whoever reported a state has reported everything down its chain too, so that one search does each state
// once.
void SpamWordSearch::Report(std::uint32_t state, std::vector<std::uint32_t>& found) const {
  for (state = states_[state].report; state != 0; state = states_[states_[state].fallback].report) {
    if (reported_[state] == search_number_) return;
    reported_[state] = search_number_;
    const auto first = order_.begin() + static_cast<std::ptrdiff_t>(states_[state].first_word);
    found.insert(found.end(), first, first + static_cast<std::ptrdiff_t>(states_[state].word_count));
  }
}

inline std::uint32_t SpamWordSearch::Walk(std::uint32_t state, char c,
                                          std::vector<std::uint32_t>& found) const {
  const std::uint32_t next = Step(state, class_of_[static_cast<unsigned char>(c)]);
  state = next & ~kReports;
  if (next != state) [[unlikely]]
    Report(state, found);
  return state;
}

void SpamWordSearch::FindAll(std::string_view text, std::vector<std::uint32_t>& found) const {
  found.assign(empty_words_.begin(), empty_words_.end());
  if (order_.empty()) return;
  if (++search_number_ == 0) {
    std::fill(reported_.begin(), reported_.end(), 0);
    search_number_ = 1;
  }
  // Each piece reaches back over the end of the one before it by what a word across the cut needs.
  const std::size_t overlap = longest_word_ - 1;
  const std::size_t piece = (text.size() + (kPieces - 1) * overlap + kPieces - 1) / kPieces;
  if (piece > 4 * overlap + kPieces) {
    FindInPieces(text, piece, found);
  } else {
    std::uint32_t state = 0;
    for (const char c : text) state = Walk(state, c, found);
  }
  std::sort(found.begin(), found.end());
}

// Every step waits for the memory that the step before it named. Walking several pieces of the text in turn
// lets the processor wait for all of them at once.
void SpamWordSearch::FindInPieces(std::string_view text, std::size_t piece,
                                  std::vector<std::uint32_t>& found) const {
  const std::size_t stride = piece - (longest_word_ - 1);
  std::array<const char*, kPieces> start;
  for (std::size_t i = 0; i < kPieces; ++i)
    start[i] = text.data() + std::min(i * stride, text.size() - piece);
  std::array<std::uint32_t, kPieces> state{};
  for (std::size_t at = 0; at < piece; ++at) {
    for (std::size_t i = 0; i < kPieces; ++i) state[i] = Walk(state[i], start[i][at], found);
  }
}

}  // namespace quillbeaker
