// SPDX-License-Identifier: MIT
#include "ui/presenter/list_rows.h"

#include <algorithm>

#include "config/ascii.h"

namespace quillbeaker {

std::optional<std::size_t> FindRow(const ListRows& rows, std::string_view text, bool begins,
                                   std::size_t start, bool wraps) {
  const std::size_t count = rows.RowCount();
  const std::size_t first = std::min(start, count);
  const std::size_t end = wraps ? first + count : count;
  for (std::size_t i = first; i < end; ++i) {
    const std::size_t row = i < count ? i : i - count;
    const std::string shown = rows.RowText(row, 0);
    if (begins ? StartsWithIgnoringCase(shown, text) : EqualsIgnoringCase(shown, text)) return row;
  }
  return std::nullopt;
}

}  // namespace quillbeaker
