// SPDX-License-Identifier: MIT
#include "ui/presenter/optional_box.h"

#include <algorithm>

namespace quillbeaker {
namespace {

// One line without breaks of its own, appended to `wrapped`.
void WrapLine(std::wstring_view line, int widest, const std::function<int(std::wstring_view)>& width_of,
              std::wstring& wrapped) {
  while (!line.empty() && width_of(line) > widest) {
    std::size_t fits = 1;  // one character always stands on a line, however narrow that is
    while (fits < line.size() && width_of(line.substr(0, fits + 1)) <= widest) {
      ++fits;
    }
    // The blank that follows the last character that fits may be the place to break, too.
    const std::size_t blank = line.substr(0, fits + 1).rfind(L' ');
    const bool at_blank = blank != std::wstring_view::npos && blank > 0;
    wrapped += line.substr(0, at_blank ? blank : fits);
    line.remove_prefix(at_blank ? blank + 1 : fits);
    if (!line.empty()) {
      wrapped += L'\n';
    }
  }
  wrapped += line;
}

}  // namespace

bool IsSilenced(const Program& program, std::string_view key) {
  return program.configuration.ReadInteger(sections::kOptionalMessageBoxes, key, 0) != 0;
}

bool KeepSilence(Program& program, std::string_view key, bool ticked) {
  return !ticked || program.configuration.WriteString(sections::kOptionalMessageBoxes, key, "1");
}

std::wstring WrapLines(std::wstring_view text, int widest,
                       const std::function<int(std::wstring_view)>& width_of) {
  std::wstring wrapped;
  for (;;) {
    const std::size_t end = text.find(L'\n');
    WrapLine(text.substr(0, end), widest, width_of, wrapped);
    if (end == std::wstring_view::npos) {
      return wrapped;
    }
    wrapped += L'\n';
    text.remove_prefix(end + 1);
  }
}

OptionalBoxLayout LayOut(const OptionalBoxSizes& sizes, BoxButtons buttons) {
  const int margin = sizes.margin;
  const int text_left = margin + (sizes.icon > 0 ? sizes.icon + margin : 0);
  const int row_of_buttons =
      buttons == BoxButtons::kOk ? sizes.button_width : 2 * (sizes.button_width + sizes.half_gap);
  const int width =
      std::max({text_left + sizes.text_width, margin + sizes.check_width, margin + row_of_buttons}) + margin;
  const int text_row = std::max(sizes.icon, sizes.text_height);

  OptionalBoxLayout layout;
  layout.icon = {margin, margin, sizes.icon, sizes.icon};
  // A text lower than the icon stands beside its middle.
  layout.text = {text_left, margin + (text_row - sizes.text_height) / 2, sizes.text_width, sizes.text_height};
  layout.check = {margin, margin + text_row + margin, sizes.check_width, sizes.check_height};
  const int button_top = layout.check.bottom() + margin;
  const int centre = width / 2;
  if (buttons == BoxButtons::kOk) {
    layout.first_button = {centre - sizes.button_width / 2, button_top, sizes.button_width,
                           sizes.button_height};
  } else {
    layout.first_button = {centre - sizes.half_gap - sizes.button_width, button_top, sizes.button_width,
                           sizes.button_height};
    layout.second_button = {centre + sizes.half_gap, button_top, sizes.button_width, sizes.button_height};
  }
  layout.client = {0, 0, width, button_top + sizes.button_height + margin};
  return layout;
}

}  // namespace quillbeaker
