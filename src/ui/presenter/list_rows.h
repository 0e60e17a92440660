// SPDX-License-Identifier: MIT
#pragma once

// The rows of a list as its window asks for them: by number, when they are to be shown. Knows no window.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quillbeaker {

struct SortOrder {
  std::size_t column = 0;
  bool is_descending = false;
  bool operator==(const SortOrder&) const = default;
};

// How a column is made.
struct ColumnLook {
  int width = 0;           // in pixels of a screen of 96 dpi
  bool is_number = false;  // its texts end at its right edge
};

// What a person has done with the rows of a list: which are selected, and where it stands. By row.
struct ListPlace {
  std::vector<std::size_t> selected;  // ascending
  std::optional<std::size_t> focused;
  std::size_t top = 0;  // the first one that is shown
  bool operator==(const ListPlace&) const = default;
};

// Texts are UTF-8.
class ListRows {
 public:
  virtual ~ListRows() = default;
  // The headings of the columns.
  virtual std::vector<std::string> Columns() const = 0;
  // Of the room, where the window shares it out.
  virtual int FirstColumnPercent() const { return 60; }
  // One for each column; none leaves them to the window.
  virtual std::vector<ColumnLook> ColumnLooks() const { return {}; }
  virtual std::size_t RowCount() const = 0;
  virtual std::string RowText(std::size_t row, std::size_t column) const = 0;
  // Of the pictures that the window has for the rows, which stand at the first column; -1: none.
  virtual int RowPicture(std::size_t /*row*/) const { return -1; }
  // A column that there is not, when the rows are not sorted by any.
  virtual SortOrder Order() const = 0;
  // A heading was clicked: sorts by that column, the second time in a row the other way round.
  virtual void SortBy(std::size_t column) = 0;
  virtual void SelectionChanged() = 0;
};

// The first row from `start` on whose first column is `text`, or begins with it, without regard to the case
// of ASCII letters; after the last row it goes on with the first where `wraps` says so.
std::optional<std::size_t> FindRow(const ListRows& rows, std::string_view text, bool begins,
                                   std::size_t start, bool wraps);

}  // namespace quillbeaker
