// SPDX-License-Identifier: MIT
#pragma once

// A list control that asks for the texts of its rows when it shows them (LVS_OWNERDATA): however many rows
// there are, only those on the screen cost anything.

#include <windows.h>

#include <commctrl.h>

#include <cstddef>
#include <vector>

#include "ui/presenter/list_rows.h"

namespace quillbeaker {

class VirtualList {
 public:
  // Makes the columns. `rows` must outlive this object. The list's dialog hands over the list's notices
  // (Handle) and MESSAGE_SELECTION_CHANGED (TellSelection).
  VirtualList(HWND list, ListRows& rows);

  // As ListPageView says.
  void RowsChanged(std::size_t count);
  void SelectRows(const std::vector<std::size_t>& rows);
  std::vector<std::size_t> SelectedRows() const;
  // Both at once, and the list scrolled to where it says.
  void ShowRows(std::size_t count, const ListPlace& place);
  ListPlace Place() const;

  ListRows& rows() const { return rows_; }
  std::vector<int> ColumnWidths() const;
  // One for each column; other numbers of them change nothing.
  void SetColumnWidths(const std::vector<int>& widths);

  // True when `result` is the answer to this notice of the list.
  bool Handle(const NMHDR& notice, LRESULT& result);
  // A person has changed the selection. The notices of single rows only post this message: a range of rows
  // sends one for each of them.
  void TellSelection();

 private:
  void SelectNone();
  void Select(std::size_t row);
  void ScrollTo(std::size_t row);
  void MakeColumns();
  void ShowOrder();
  void Give(NMLVDISPINFOW& wanted) const;
  void GiveText(LVITEMW& item) const;
  LRESULT Find(const NMLVFINDITEMW& wanted) const;
  void SelectionMayHaveChanged();

  HWND list_;
  ListRows& rows_;
  bool is_changing_ = false;  // the selection, by this object
  bool is_told_ = false;      // the message is on its way
};

}  // namespace quillbeaker
