// SPDX-License-Identifier: MIT
#pragma once

// A bar and a text on the last line of the terminal, drawn over and over. Where no terminal is, nothing at
// all. One thread at a time.

#include <chrono>
#include <cstdint>
#include <string_view>

namespace quillbeaker {

class ProgressLine {
 public:
  ProgressLine();

  // Whether anything should be drawn now: on a terminal, and not again within a moment, unless `at_once`.
  bool IsDue(bool at_once) const;
  // `text` is UTF-8 that is fit for a terminal; what does not fit the line is left out. A range of 0 gives an
  // empty bar.
  void Draw(std::uint64_t position, std::uint64_t range, std::string_view text);
  // Takes the line away again; before anything else is printed, and at the end.
  void Clear();

 private:
  const bool on_terminal_;
  bool shown_ = false;
  std::chrono::steady_clock::time_point last_drawn_{};
};

}  // namespace quillbeaker
