// SPDX-License-Identifier: MIT
#include "ui/virtual_list.h"

#include <algorithm>
#include <string>
#include <utility>

#include "ui/resource.h"
#include "ui/wide_text.h"

namespace quillbeaker {
namespace {

int Index(std::size_t row) {
  return static_cast<int>(row);
}

}  // namespace

VirtualList::VirtualList(HWND list, ListRows& rows) : list_(list), rows_(rows) {
  ListView_SetExtendedListViewStyle(list_, LVS_EX_FULLROWSELECT | LVS_EX_LABELTIP | LVS_EX_DOUBLEBUFFER);
  MakeColumns();
}

// Unless the rows say it, the first column gets its part of the room, and the others share the rest.
void VirtualList::MakeColumns() {
  RECT client{};
  GetClientRect(list_, &client);
  const int room = client.right - GetSystemMetricsForDpi(SM_CXVSCROLL, GetDpiForWindow(list_));
  const std::vector<std::string> headings = rows_.Columns();
  const int first = headings.size() < 2 ? room : room * rows_.FirstColumnPercent() / 100;
  const std::vector<ColumnLook> looks = rows_.ColumnLooks();
  const auto dpi = static_cast<int>(GetDpiForWindow(list_));
  for (std::size_t i = 0; i < headings.size(); ++i) {
    std::wstring heading = Wide(headings[i]);
    LVCOLUMNW column{};
    column.mask = LVCF_TEXT | LVCF_WIDTH | LVCF_SUBITEM | LVCF_FMT;
    column.pszText = heading.data();
    column.cx = i == 0 ? first : (room - first) / Index(headings.size() - 1);
    column.iSubItem = Index(i);
    if (i < looks.size()) {
      column.cx = MulDiv(looks[i].width, dpi, USER_DEFAULT_SCREEN_DPI);
      if (looks[i].is_number) column.fmt = LVCFMT_RIGHT;
    }
    SendMessageW(list_, LVM_INSERTCOLUMNW, i, reinterpret_cast<LPARAM>(&column));
  }
}

std::vector<int> VirtualList::ColumnWidths() const {
  std::vector<int> widths;
  const int columns = Header_GetItemCount(ListView_GetHeader(list_));
  for (int i = 0; i < columns; ++i) widths.push_back(ListView_GetColumnWidth(list_, i));
  return widths;
}

void VirtualList::SetColumnWidths(const std::vector<int>& widths) {
  if (Index(widths.size()) != Header_GetItemCount(ListView_GetHeader(list_))) return;
  for (std::size_t i = 0; i < widths.size(); ++i) ListView_SetColumnWidth(list_, Index(i), widths[i]);
}

void VirtualList::ShowOrder() {
  const HWND header = ListView_GetHeader(list_);
  const SortOrder order = rows_.Order();
  for (int i = 0; i < Header_GetItemCount(header); ++i) {
    HDITEMW item{};
    item.mask = HDI_FORMAT;
    SendMessageW(header, HDM_GETITEMW, static_cast<WPARAM>(i), reinterpret_cast<LPARAM>(&item));
    item.fmt &= ~(HDF_SORTUP | HDF_SORTDOWN);
    if (static_cast<std::size_t>(i) == order.column)
      item.fmt |= order.is_descending ? HDF_SORTDOWN : HDF_SORTUP;
    SendMessageW(header, HDM_SETITEMW, static_cast<WPARAM>(i), reinterpret_cast<LPARAM>(&item));
  }
}

void VirtualList::RowsChanged(std::size_t count) {
  const bool former = std::exchange(is_changing_, true);
  ListView_SetItemState(list_, -1, 0, LVIS_SELECTED | LVIS_FOCUSED);
  ListView_SetItemCountEx(list_, count, LVSICF_NOSCROLL);
  InvalidateRect(list_, nullptr, TRUE);
  ShowOrder();
  is_changing_ = former;
}

void VirtualList::SelectRows(const std::vector<std::size_t>& rows) {
  const bool former = std::exchange(is_changing_, true);
  const bool all = !rows.empty() && rows.size() == rows_.RowCount();
  if (all) {
    ListView_SetItemState(list_, -1, LVIS_SELECTED, LVIS_SELECTED);
  } else {
    SelectNone();
  }
  for (const std::size_t row : rows) {
    if (all) break;
    Select(row);
  }
  if (!rows.empty()) {
    const int first = Index(rows.front());
    ListView_SetItemState(list_, first, LVIS_FOCUSED, LVIS_FOCUSED);
    ListView_SetSelectionMark(list_, first);
    ListView_EnsureVisible(list_, first, FALSE);
  }
  is_changing_ = former;
}

void VirtualList::Select(std::size_t row) {
  ListView_SetItemState(list_, Index(row), LVIS_SELECTED, LVIS_SELECTED);
}

// The list knows only how to make a row visible: from below it comes up to the upper edge.
void VirtualList::ScrollTo(std::size_t row) {
  const int last = ListView_GetItemCount(list_) - 1;
  if (last < 0 || ListView_GetTopIndex(list_) == Index(row)) return;
  ListView_EnsureVisible(list_, std::min(last, Index(row) + ListView_GetCountPerPage(list_) - 1), FALSE);
  ListView_EnsureVisible(list_, std::min(last, Index(row)), FALSE);
}

void VirtualList::ShowRows(std::size_t count, const ListPlace& place) {
  const bool former = std::exchange(is_changing_, true);
  RowsChanged(count);
  if (!place.selected.empty() && place.selected.size() == count) {
    ListView_SetItemState(list_, -1, LVIS_SELECTED, LVIS_SELECTED);
  } else {
    for (const std::size_t row : place.selected) Select(row);
  }
  if (place.focused) {
    ListView_SetItemState(list_, Index(*place.focused), LVIS_FOCUSED, LVIS_FOCUSED);
    ListView_SetSelectionMark(list_, Index(*place.focused));
  }
  ScrollTo(place.top);
  is_changing_ = former;
}

ListPlace VirtualList::Place() const {
  ListPlace place;
  place.selected = SelectedRows();
  const int focused = ListView_GetNextItem(list_, -1, LVNI_FOCUSED);
  if (focused >= 0) place.focused = static_cast<std::size_t>(focused);
  place.top = static_cast<std::size_t>(ListView_GetTopIndex(list_));
  return place;
}

// One by one where they are few: asked for all rows at once the list walks through every row that it has.
void VirtualList::SelectNone() {
  constexpr UINT kFew = 100;
  if (ListView_GetSelectedCount(list_) > kFew) {
    ListView_SetItemState(list_, -1, 0, LVIS_SELECTED | LVIS_FOCUSED);
    return;
  }
  for (const std::size_t row : SelectedRows()) ListView_SetItemState(list_, Index(row), 0, LVIS_SELECTED);
  const int focused = ListView_GetNextItem(list_, -1, LVNI_FOCUSED);
  if (focused >= 0) ListView_SetItemState(list_, focused, 0, LVIS_FOCUSED);
}

std::vector<std::size_t> VirtualList::SelectedRows() const {
  std::vector<std::size_t> rows;
  for (int row = -1; (row = ListView_GetNextItem(list_, row, LVNI_SELECTED)) >= 0;) {
    rows.push_back(static_cast<std::size_t>(row));
  }
  return rows;
}

void VirtualList::Give(NMLVDISPINFOW& wanted) const {
  LVITEMW& item = wanted.item;
  if (item.iItem < 0 || item.iSubItem < 0) return;
  if ((item.mask & LVIF_IMAGE) != 0) {
    const int picture = item.iSubItem == 0 ? rows_.RowPicture(static_cast<std::size_t>(item.iItem)) : -1;
    item.iImage = picture < 0 ? I_IMAGENONE : picture;
  }
  if ((item.mask & LVIF_TEXT) != 0 && item.cchTextMax > 0) GiveText(item);
}

void VirtualList::GiveText(LVITEMW& item) const {
  const std::wstring text =
      Wide(rows_.RowText(static_cast<std::size_t>(item.iItem), static_cast<std::size_t>(item.iSubItem)));
  const std::size_t length = std::min(text.size(), static_cast<std::size_t>(item.cchTextMax) - 1);
  std::copy_n(text.begin(), length, item.pszText);
  item.pszText[length] = L'\0';
}

LRESULT VirtualList::Find(const NMLVFINDITEMW& wanted) const {
  const UINT flags = wanted.lvfi.flags;
  if ((flags & (LVFI_STRING | LVFI_PARTIAL)) == 0 || wanted.lvfi.psz == nullptr) return -1;
  const auto found = FindRow(rows_, Utf8(wanted.lvfi.psz), (flags & LVFI_PARTIAL) != 0,
                             static_cast<std::size_t>(std::max(wanted.iStart, 0)), (flags & LVFI_WRAP) != 0);
  return found ? Index(*found) : -1;
}

void VirtualList::SelectionMayHaveChanged() {
  if (is_changing_ || is_told_) return;
  is_told_ = PostMessageW(GetParent(list_), MESSAGE_SELECTION_CHANGED, 0, 0) != FALSE;
}

void VirtualList::TellSelection() {
  is_told_ = false;
  rows_.SelectionChanged();
}

bool VirtualList::Handle(const NMHDR& notice, LRESULT& result) {
  if (notice.hwndFrom != list_) return false;
  const auto* const bytes = reinterpret_cast<const char*>(&notice);
  switch (notice.code) {
    case LVN_GETDISPINFOW:
      Give(*reinterpret_cast<NMLVDISPINFOW*>(const_cast<char*>(bytes)));
      return true;
    case LVN_ODFINDITEMW:
      result = Find(*reinterpret_cast<const NMLVFINDITEMW*>(bytes));
      return true;
    case LVN_COLUMNCLICK:
      rows_.SortBy(static_cast<std::size_t>(reinterpret_cast<const NMLISTVIEW*>(bytes)->iSubItem));
      return true;
    case LVN_ITEMCHANGED:
    case LVN_ODSTATECHANGED:
      SelectionMayHaveChanged();
      return true;
    case LVN_KEYDOWN: {
      const auto& key = *reinterpret_cast<const NMLVKEYDOWN*>(bytes);
      if (key.wVKey != 'A' || GetKeyState(VK_CONTROL) >= 0 || GetKeyState(VK_MENU) < 0) return false;
      ListView_SetItemState(list_, -1, LVIS_SELECTED, LVIS_SELECTED);
      return true;
    }
    default:
      return false;
  }
}

}  // namespace quillbeaker
