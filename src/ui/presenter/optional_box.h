// SPDX-License-Identifier: MIT
#pragma once

// What a message box with "Don't show this message again" decides: whether it is shown, how its text is
// broken into lines, where its parts lie. Knows no window.

#include <functional>
#include <string>
#include <string_view>

#include "config/program.h"

namespace quillbeaker {

// A box that was silenced for good is not shown again; its caller gets the fixed answer.
bool IsSilenced(const Program& program, std::string_view key);
// What a button press leaves behind: the box is silenced when its check box was ticked. False when that could
// not be saved.
[[nodiscard]] bool KeepSilence(Program& program, std::string_view key, bool ticked);

// The text with line breaks put in, so that no line is wider than `widest` (in the unit of `width_of`): at
// the last blank of the line, which goes, or inside a word that is wider by itself. Breaks that the text has
// stay.
std::wstring WrapLines(std::wstring_view text, int widest,
                       const std::function<int(std::wstring_view line)>& width_of);

enum class BoxButtons { kOk, kOkCancel, kYesNo };

struct Box {
  int left = 0;
  int top = 0;
  int width = 0;
  int height = 0;
  int right() const { return left + width; }
  int bottom() const { return top + height; }
};

// Pixels at the box's resolution.
struct OptionalBoxSizes {
  int text_width = 0;
  int text_height = 0;
  int icon = 0;  // 0: the box has none
  int check_width = 0;
  int check_height = 0;
  int button_width = 0;
  int button_height = 0;
  int margin = 0;    // around everything, and between its parts
  int half_gap = 4;  // from the centre line to either button of a pair
};

struct OptionalBoxLayout {
  Box client;  // left and top are 0
  Box icon;
  Box text;
  Box check;
  Box first_button;   // OK or Yes
  Box second_button;  // Cancel or No; of no size with OK alone
};

OptionalBoxLayout LayOut(const OptionalBoxSizes& sizes, BoxButtons buttons);

}  // namespace quillbeaker
