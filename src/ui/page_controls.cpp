// SPDX-License-Identifier: MIT
#include "ui/page_controls.h"

#include <commctrl.h>

#include "ui/message_box.h"
#include "ui/pictures.h"
#include "ui/small_dialog_window.h"
#include "ui/wide_text.h"

namespace quillbeaker {
namespace {

bool IsOfClass(HWND control, const wchar_t* name) {
  wchar_t own[64]{};
  GetClassNameW(control, own, 64);
  return lstrcmpiW(own, name) == 0;
}

bool IsListView(HWND control) {
  return IsOfClass(control, WC_LISTVIEWW);
}

// A plain list and a drop-down list understand the same under different numbers.
struct ChoiceMessages {
  UINT clear, add, choose, chosen;
};

ChoiceMessages MessagesOf(HWND control) {
  return IsOfClass(control, WC_LISTBOXW)
             ? ChoiceMessages{LB_RESETCONTENT, LB_ADDSTRING, LB_SETCURSEL, LB_GETCURSEL}
             : ChoiceMessages{CB_RESETCONTENT, CB_ADDSTRING, CB_SETCURSEL, CB_GETCURSEL};
}

void FillListView(HWND list, const std::vector<std::string>& texts) {
  ListView_DeleteAllItems(list);
  if (Header_GetItemCount(ListView_GetHeader(list)) == 0) {
    RECT client{};
    GetClientRect(list, &client);
    LVCOLUMNW column{};
    column.mask = LVCF_WIDTH;
    column.cx = client.right;
    SendMessageW(list, LVM_INSERTCOLUMNW, 0, reinterpret_cast<LPARAM>(&column));
    ListView_SetExtendedListViewStyle(list, LVS_EX_FULLROWSELECT);
  }
  for (std::size_t i = 0; i < texts.size(); ++i) {
    std::wstring text = Wide(texts[i]);
    LVITEMW item{};
    item.mask = LVIF_TEXT | LVIF_IMAGE;
    item.iItem = static_cast<int>(i);
    item.iImage = static_cast<int>(i);
    item.pszText = text.data();
    SendMessageW(list, LVM_INSERTITEMW, 0, reinterpret_cast<LPARAM>(&item));
  }
}

}  // namespace

void PageControls::SetText(int control, std::string_view text) {
  SetWindowTextW(dialog_.Control(control), Wide(text).c_str());
}

std::string PageControls::TextIn(int control) const {
  const HWND window = dialog_.Control(control);
  std::wstring text(static_cast<std::size_t>(GetWindowTextLengthW(window)) + 1, L'\0');
  text.resize(static_cast<std::size_t>(GetWindowTextW(window, text.data(), static_cast<int>(text.size()))));
  return Utf8(text);
}

void PageControls::LimitText(int control, std::size_t characters, bool digits) {
  const HWND edit = dialog_.Control(control);
  SendMessageW(edit, EM_SETLIMITTEXT, characters, 0);
  const LONG_PTR style = GetWindowLongPtrW(edit, GWL_STYLE);
  SetWindowLongPtrW(edit, GWL_STYLE, digits ? style | ES_NUMBER : style & ~ES_NUMBER);
}

void PageControls::SetChecked(int control, bool checked) {
  SendMessageW(dialog_.Control(control), BM_SETCHECK, checked ? BST_CHECKED : BST_UNCHECKED, 0);
}

bool PageControls::IsChecked(int control) const {
  return SendMessageW(dialog_.Control(control), BM_GETCHECK, 0, 0) == BST_CHECKED;
}

void PageControls::SetChoices(int control, const std::vector<std::string>& texts) {
  const HWND window = dialog_.Control(control);
  if (IsListView(window)) {
    FillListView(window, texts);
    return;
  }
  const ChoiceMessages messages = MessagesOf(window);
  SendMessageW(window, messages.clear, 0, 0);
  for (const std::string& text : texts) {
    SendMessageW(window, messages.add, 0, reinterpret_cast<LPARAM>(Wide(text).c_str()));
  }
}

void PageControls::SetChoiceValue(int control, int place, std::int32_t value) {
  SendMessageW(dialog_.Control(control), CB_SETITEMDATA, static_cast<WPARAM>(place), value);
}

void PageControls::SetPictures(int control, int bitmap) {
  pictures_[control] = bitmap;
  const HWND list = dialog_.Control(control);
  const int dpi = static_cast<int>(GetDpiForWindow(list));
  // The list view destroys its pictures with itself.
  ListView_SetImageList(list, LoadPictures(bitmap, dpi).release(), LVSIL_SMALL);
}

void PageControls::OnDpiChanged(int dpi) {
  for (const auto& [control, bitmap] : pictures_) {
    const HWND list = dialog_.Control(control);
    const UniqueImageList former(
        ListView_SetImageList(list, LoadPictures(bitmap, dpi).release(), LVSIL_SMALL));
  }
}

void PageControls::Choose(int control, int place) {
  const HWND window = dialog_.Control(control);
  if (!IsListView(window)) {
    SendMessageW(window, MessagesOf(window).choose, static_cast<WPARAM>(place), 0);
    return;
  }
  const UINT chosen = LVIS_SELECTED | LVIS_FOCUSED;
  ListView_SetItemState(window, -1, 0, chosen);
  if (place < 0) return;
  ListView_SetItemState(window, place, chosen, chosen);
  ListView_EnsureVisible(window, place, FALSE);
}

int PageControls::ChosenIn(int control) const {
  const HWND window = dialog_.Control(control);
  if (window == nullptr) return -1;
  return IsListView(window) ? ListView_GetNextItem(window, -1, LVNI_SELECTED)
                            : static_cast<int>(SendMessageW(window, MessagesOf(window).chosen, 0, 0));
}

void PageControls::Enable(int control, bool enabled) {
  const HWND window = dialog_.Control(control);
  // A disabled control that keeps the focus swallows Tab and Esc.
  if (!enabled && window != nullptr && GetFocus() == window) {
    SendMessageW(BoxOwner(), WM_NEXTDLGCTL, 0, FALSE);
  }
  EnableWindow(window, enabled);
}

void PageControls::Show(int control, bool shown) {
  ShowWindow(dialog_.Control(control), shown ? SW_SHOW : SW_HIDE);
}

void PageControls::DisablePage() {
  for (HWND child = GetWindow(dialog_.window(), GW_CHILD); child != nullptr;
       child = GetWindow(child, GW_HWNDNEXT)) {
    EnableWindow(child, FALSE);
  }
  EnableWindow(dialog_.window(), FALSE);
}

void PageControls::Focus(int control) {
  const HWND window = dialog_.Control(control);
  if (window == nullptr) return;
  SendMessageW(BoxOwner(), WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(window), TRUE);
  if (IsOfClass(window, WC_EDITW)) SendMessageW(window, EM_SETSEL, 0, -1);
}

bool PageControls::HasFocus(int control) const {
  const HWND window = dialog_.Control(control);
  return window != nullptr && GetFocus() == window;
}

void PageControls::Warn(std::string_view text) {
  ShowMessageBoxOf(BoxOwner(), Wide(text), MB_OK | MB_ICONEXCLAMATION);
}

void PageControls::Tell(std::string_view text) {
  ShowMessageBox(BoxOwner(), Wide(text), MB_OK | MB_ICONEXCLAMATION);
}

bool PageControls::Ask(std::string_view question) {
  return ShowMessageBox(BoxOwner(), Wide(question), MB_YESNO | MB_ICONQUESTION) == IDYES;
}

void PageControls::RowsChanged(std::size_t count) {
  if (HasList()) list_->RowsChanged(count);
}

void PageControls::SelectRows(const std::vector<std::size_t>& rows) {
  if (HasList()) list_->SelectRows(rows);
}

std::vector<std::size_t> PageControls::SelectedRows() const {
  return HasList() ? list_->SelectedRows() : std::vector<std::size_t>();
}

bool PageControls::Run(int template_id, SmallDialog& dialog) {
  return dialog_.window() != nullptr &&
         SmallDialogWindow(template_id, dialog, program_).RunModal(BoxOwner()) == IDOK;
}

}  // namespace quillbeaker
