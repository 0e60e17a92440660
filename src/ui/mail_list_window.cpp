// SPDX-License-Identifier: MIT
#include "ui/mail_list_window.h"

#include <commctrl.h>

#include <algorithm>
#include <vector>

#include "ui/message_box.h"
#include "ui/optional_message_box.h"
#include "ui/resource.h"
#include "ui/small_dialog_window.h"
#include "ui/translation.h"
#include "ui/wide_text.h"

namespace quillbeaker {
namespace {

constexpr int kStatePart = 0;
constexpr int kCountsPart = 1;
// Pixels of a screen of 96 dpi.
constexpr int kToolPicture = 32;
constexpr int kToolbarMargin = 3;
constexpr int kStatusMargin = 24;

int Scaled(int pixels, int dpi) {
  return MulDiv(pixels, dpi, USER_DEFAULT_SCREEN_DPI);
}

int WidthOf(HWND control, const std::wstring& text) {
  const WindowContext context(control);
  const Selected font(context.get(), reinterpret_cast<HFONT>(SendMessageW(control, WM_GETFONT, 0, 0)));
  SIZE size{};
  GetTextExtentPoint32W(context.get(), text.c_str(), static_cast<int>(text.size()), &size);
  return size.cx;
}

bool IsPressed(int key) {
  return GetKeyState(key) < 0;
}

}  // namespace

MailListWindow::MailListWindow(int template_id, const MailListLook& look, WindowSurroundings& surroundings)
    : TableWindow(template_id), look_(look), surroundings_(surroundings) {}

bool MailListWindow::OnInit() {
  work_.emplace(surroundings_.post);
  MakeToolbar();
  list_.emplace(Control(look_.list), Mails());
  const auto dpi = static_cast<int>(GetDpiForWindow(window()));
  ListView_SetImageList(Control(look_.list), RowPictures(dpi).release(), LVSIL_SMALL);
  ShowState(quillbeaker::TextOf(Text::kStatusReady));
  Mails().Open();
  return true;
}

// The template gives the toolbar a height that may do; what its pictures and texts need is known here.
void MailListWindow::MakeToolbar() {
  const HWND toolbar = Control(look_.toolbar);
  SendMessageW(toolbar, TB_BUTTONSTRUCTSIZE, sizeof(TBBUTTON), 0);
  SendMessageW(toolbar, TB_SETEXTENDEDSTYLE, 0, TBSTYLE_EX_DRAWDDARROWS);
  const auto dpi = static_cast<int>(GetDpiForWindow(window()));
  ShowPictures(dpi);
  for (std::size_t i = 0; i < look_.buttons.size(); ++i) {
    const std::wstring text = WideText(look_.buttons[i].text);
    TBBUTTON button{};
    button.iBitmap = static_cast<int>(i);
    button.idCommand = look_.buttons[i].command;
    button.fsState = TBSTATE_ENABLED;
    button.fsStyle = BTNS_AUTOSIZE;
    if (look_.buttons[i].arrow_menu != 0) button.fsStyle |= BTNS_DROPDOWN;
    button.iString = reinterpret_cast<INT_PTR>(text.c_str());
    SendMessageW(toolbar, TB_ADDBUTTONSW, 1, reinterpret_cast<LPARAM>(&button));
  }
  RECT client{};
  GetClientRect(window(), &client);
  const auto button = static_cast<DWORD>(SendMessageW(toolbar, TB_GETBUTTONSIZE, 0, 0));
  const int height = HIWORD(button) + 2 * Scaled(kToolbarMargin, dpi);
  SetWindowPos(toolbar, nullptr, 0, 0, client.right, height, SWP_NOZORDER | SWP_NOACTIVATE);
  RECT list{};
  GetWindowRect(Control(look_.list), &list);
  MapWindowPoints(nullptr, window(), reinterpret_cast<POINT*>(&list), 2);
  SetWindowPos(Control(look_.list), nullptr, list.left, height, list.right - list.left, list.bottom - height,
               SWP_NOZORDER | SWP_NOACTIVATE);
}

void MailListWindow::ShowPictures(int dpi) {
  const HWND toolbar = Control(look_.toolbar);
  UniqueImageList pictures = LoadPictures(look_.tool_bitmap, dpi);
  int width = Scaled(kToolPicture, dpi);
  int height = width;
  if (pictures != nullptr) ImageList_GetIconSize(pictures.get(), &width, &height);
  SendMessageW(toolbar, TB_SETBITMAPSIZE, 0, MAKELPARAM(width, height));
  SendMessageW(toolbar, TB_SETIMAGELIST, 0, reinterpret_cast<LPARAM>(pictures.get()));
  tool_pictures_ = std::move(pictures);
  pictures = LoadDisabledPictures(look_.tool_bitmap, dpi);
  SendMessageW(toolbar, TB_SETDISABLEDIMAGELIST, 0, reinterpret_cast<LPARAM>(pictures.get()));
  disabled_tool_pictures_ = std::move(pictures);
}

void MailListWindow::OnDpiChanged(int dpi) {
  ShowPictures(dpi);
  SendMessageW(Control(look_.toolbar), TB_AUTOSIZE, 0, 0);
  const UniqueImageList former(
      ListView_SetImageList(Control(look_.list), RowPictures(dpi).release(), LVSIL_SMALL));
  PlaceStatusParts();
}

void MailListWindow::OnDestroyed() {
  work_.reset();
  TableWindow::OnDestroyed();
}

void MailListWindow::OnSize(int /*width*/, int /*height*/) {
  PlaceStatusParts();
}

void MailListWindow::PlaceStatusParts() {
  const HWND status = Control(look_.status);
  RECT client{};
  if (status == nullptr || !GetClientRect(status, &client)) return;
  const auto dpi = static_cast<int>(GetDpiForWindow(window()));
  const int counts = WidthOf(status, counts_) + Scaled(kStatusMargin, dpi);
  const int ends[] = {std::max(0, static_cast<int>(client.right) - counts), -1};
  SendMessageW(status, SB_SETPARTS, 2, reinterpret_cast<LPARAM>(ends));
}

void MailListWindow::ShowStatusPart(int part, const std::wstring& text) {
  SendMessageW(Control(look_.status), SB_SETTEXTW, static_cast<WPARAM>(part),
               reinterpret_cast<LPARAM>(text.c_str()));
}

bool MailListWindow::OnCommand(int id, int notification) {
  if (id == look_.search && id != 0) {
    if (notification == EN_CHANGE) {
      std::wstring typed(static_cast<std::size_t>(GetWindowTextLengthW(Control(id))) + 1, L'\0');
      typed.resize(static_cast<std::size_t>(
          GetWindowTextW(Control(id), typed.data(), static_cast<int>(typed.size()))));
      Mails().Search(Utf8(typed));
    }
    return true;
  }
  if (notification > 1) return false;  // no button, menu item or key
  if (id == IDCANCEL) {
    End(IDCANCEL);
    return true;
  }
  // Enter where the list does not have the focus; there is no button that it could press.
  if (id == IDOK) return true;
  if (id == COMMAND_TOOLBAR_HELP) return OnHelp();
  return Mails().Run(id);
}

bool MailListWindow::OnNotify(const NMHDR& notice, LRESULT& result) {
  if (notice.hwndFrom == Control(look_.toolbar) && notice.code == TBN_DROPDOWN) {
    const int command = reinterpret_cast<const NMTOOLBARW*>(&notice)->iItem;
    RECT button{};
    SendMessageW(notice.hwndFrom, TB_GETRECT, static_cast<WPARAM>(command),
                 reinterpret_cast<LPARAM>(&button));
    MapWindowPoints(notice.hwndFrom, nullptr, reinterpret_cast<POINT*>(&button), 2);
    const auto found = std::find_if(look_.buttons.begin(), look_.buttons.end(),
                                    [command](const ToolButton& one) { return one.command == command; });
    if (found == look_.buttons.end()) return false;
    TPMPARAMS beside{sizeof beside, button};
    ShowMenu(found->arrow_menu, &beside, {button.left, button.bottom});
    result = TBDDRET_DEFAULT;
    return true;
  }
  if (!list_) return false;
  if (list_->Handle(notice, result)) return true;
  if (notice.hwndFrom == Control(look_.list) && notice.code == NM_DBLCLK &&
      reinterpret_cast<const NMITEMACTIVATE*>(&notice)->iItem >= 0) {
    PostCommand(COMMAND_VIEW_MAIL);
    return true;
  }
  return false;
}

bool MailListWindow::OnKey(const MSG& message) {
  if (message.message != WM_KEYDOWN || IsPressed(VK_MENU)) return false;
  const auto key = static_cast<WORD>(message.wParam);
  if (look_.search != 0 && message.hwnd == Control(look_.search) && GetWindowTextLengthW(message.hwnd) > 0 &&
      key == VK_ESCAPE) {
    SetWindowTextW(message.hwnd, L"");
    return true;
  }
  if (message.hwnd != Control(look_.list)) return false;
  const auto found = std::find_if(look_.keys.begin(), look_.keys.end(), [key](const ListKey& one) {
    return one.key == key && one.with_control == IsPressed(VK_CONTROL);
  });
  if (found == look_.keys.end()) return false;
  PostCommand(found->command);
  return true;
}

void MailListWindow::PostCommand(int command) {
  constexpr WORD kByKey = 1;
  PostMessageW(window(), WM_COMMAND, MAKEWPARAM(command, kByKey), 0);
}

bool MailListWindow::OnMessage(UINT message, WPARAM, LPARAM, LRESULT&) {
  if (message != MESSAGE_SELECTION_CHANGED || !list_) return false;
  list_->TellSelection();
  return true;
}

bool MailListWindow::OnContextMenu(HWND control, POINT place) {
  if (control != Control(look_.list)) return false;
  if (place.x == -1 && place.y == -1) {
    place = PlaceOfFocusedRow();
  } else {
    SelectUnder(place);
  }
  ShowMenu(look_.menu, nullptr, place);
  return true;
}

void MailListWindow::SelectUnder(POINT place) {
  const HWND list = Control(look_.list);
  LVHITTESTINFO hit{};
  hit.pt = place;
  ScreenToClient(list, &hit.pt);
  const int row = ListView_SubItemHitTest(list, &hit);
  if (row < 0 || ListView_GetItemState(list, row, LVIS_SELECTED) != 0) return;
  ListView_SetItemState(list, -1, 0, LVIS_SELECTED);
  ListView_SetItemState(list, row, LVIS_SELECTED | LVIS_FOCUSED, LVIS_SELECTED | LVIS_FOCUSED);
}

// Of the screen; the list's corner while the row is not to be seen.
POINT MailListWindow::PlaceOfFocusedRow() const {
  const HWND list = Control(look_.list);
  RECT client{};
  GetClientRect(list, &client);
  RECT row{};
  const int focused = ListView_GetNextItem(list, -1, LVNI_FOCUSED);
  POINT place{client.left, client.top};
  if (focused >= 0 && ListView_GetItemRect(list, focused, &row, LVIR_LABEL) && row.bottom > client.top &&
      row.top < client.bottom) {
    place = {std::max(row.left, client.left), std::min(row.bottom, client.bottom)};
  }
  ClientToScreen(list, &place);
  return place;
}

void MailListWindow::ShowMenu(int menu, const TPMPARAMS* beside, POINT place) {
  const UniqueMenu bar(LoadMenuW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(menu)));
  const HMENU popup = bar == nullptr ? nullptr : GetSubMenu(bar.get(), 0);
  if (popup == nullptr) return;
  CurrentLanguage().TranslateMenu(bar.get(), menu);
  for (int i = 0; i < GetMenuItemCount(popup); ++i) {
    const UINT command = GetMenuItemID(popup, i);
    const bool can_run = Mails().CanRun(static_cast<int>(command));
    if (command != 0) EnableMenuItem(popup, command, can_run ? MF_ENABLED : MF_GRAYED);
  }
  TrackPopupMenuEx(popup, TPM_LEFTALIGN | TPM_RIGHTBUTTON | TPM_VERTICAL, place.x, place.y, window(),
                   const_cast<TPMPARAMS*>(beside));
}

void MailListWindow::ShowRows(std::size_t count, const ListPlace& place) {
  if (list_ && window() != nullptr) list_->ShowRows(count, place);
}

ListPlace MailListWindow::Place() const {
  // A list whose window is gone would answer with 0, which is a row.
  return list_ && window() != nullptr ? list_->Place() : ListPlace();
}

std::size_t MailListWindow::SelectedCount() const {
  return window() == nullptr ? 0 : ListView_GetSelectedCount(Control(look_.list));
}

void MailListWindow::ShowRow(std::size_t row) {
  if (list_ && window() != nullptr) list_->SelectRows({row});
}

void MailListWindow::CommandsChanged() {
  for (const ToolButton& button : look_.buttons) {
    if (button.command == COMMAND_TOOLBAR_HELP) continue;
    SendMessageW(Control(look_.toolbar), TB_ENABLEBUTTON, static_cast<WPARAM>(button.command),
                 MAKELPARAM(Mails().CanRun(button.command) ? TRUE : FALSE, 0));
  }
}

void MailListWindow::ShowState(std::string_view text) {
  ShowStatusPart(kStatePart, Wide(text));
}

void MailListWindow::ShowCounts(std::string_view text) {
  counts_ = Wide(text);
  PlaceStatusParts();
  ShowStatusPart(kCountsPart, counts_);
}

bool MailListWindow::AskOptional(Text question, std::string_view key) {
  return window() != nullptr && ShowOptionalBox(surroundings_.program, window(), question,
                                                MB_YESNO | MB_ICONQUESTION, key, IDYES) == IDYES;
}

void MailListWindow::TellOptional(Text notice, std::string_view key) {
  if (window() == nullptr) return;
  ShowOptionalBox(surroundings_.program, window(), notice, MB_OK | MB_ICONINFORMATION, key, IDOK);
}

bool MailListWindow::Ask(std::string_view question) {
  return window() != nullptr && ShowMessageBox(window(), Wide(question), MB_YESNO | MB_ICONQUESTION) == IDYES;
}

void MailListWindow::Tell(std::string_view text) {
  if (window() != nullptr) ShowMessageBox(window(), Wide(text), MB_OK | MB_ICONEXCLAMATION);
}

bool MailListWindow::RunDialog(int template_id, SmallDialog& dialog) {
  return window() != nullptr &&
         SmallDialogWindow(template_id, dialog, surroundings_.program).RunModal(window()) == IDOK;
}

void MailListWindow::RunBehind(std::function<Afterwards()> work) {
  if (work_ && window() != nullptr) work_->Run(std::move(work));
}

}  // namespace quillbeaker
