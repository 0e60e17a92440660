// SPDX-License-Identifier: MIT
#pragma once

// 50,000 rows, "row 49999 | 49999", that count what they are asked for.

#include <string>
#include <vector>

#include "ui/virtual_list.h"

namespace quillbeaker::test {

class MadeUpRows : public ListRows {
 public:
  static constexpr std::size_t kRows = 50'000;

  std::vector<std::string> Columns() const override { return {"Name", "Number"}; }
  std::size_t RowCount() const override { return kRows; }
  std::string RowText(std::size_t row, std::size_t column) const override {
    ++asked;
    const std::size_t number = order.is_descending ? kRows - 1 - row : row;
    return (column == 0 ? "row " : "") + std::to_string(number);
  }
  SortOrder Order() const override { return order; }
  void SortBy(std::size_t column) override {
    order = {column, order.column == column && !order.is_descending};
    list->RowsChanged(kRows);
  }
  void SelectionChanged() override { ++told; }

  SortOrder order;
  VirtualList* list = nullptr;
  mutable int asked = 0;
  int told = 0;
};

}  // namespace quillbeaker::test
