// SPDX-License-Identifier: MIT
#include "ui/settings_window.h"

#include <utility>

#include "ui/fade_in.h"
#include "ui/message_box.h"
#include "ui/resource.h"
#include "ui/wide_text.h"

namespace quillbeaker {

SettingsWindow::SettingsWindow(WindowSurroundings& surroundings, int page)
    : TableWindow(DIALOG_SETTINGS),
      surroundings_(surroundings),
      presenter_(surroundings.settings, *this, surroundings.last_settings_page, page) {}

bool SettingsWindow::OnInit() {
  SetDlgItemTextW(window(), SETTINGS_VERSION,
                  (WideText(Text::kTitle) + L" " + WideText(Text::kVersion)).c_str());
  ShowWindow(Control(SETTINGS_PAGE_PLACE), SW_HIDE);
  FillTree();
  return true;
}

void SettingsWindow::FillTree() {
  const HWND tree = Control(SETTINGS_TREE);
  ShowPictures(static_cast<int>(GetDpiForWindow(window())));
  const int selected = presenter_.selected();
  std::map<int, HTREEITEM> items;
  int picture = 0;
  for (const SettingsPageRow& row : SettingsPages()) {
    std::wstring label = WideText(row.label);
    TVINSERTSTRUCTW item{};
    item.hParent = row.parent == 0 ? TVI_ROOT : items[row.parent];
    item.hInsertAfter = TVI_LAST;
    item.item.mask = TVIF_TEXT | TVIF_PARAM | TVIF_IMAGE | TVIF_SELECTEDIMAGE;
    item.item.pszText = label.data();
    item.item.lParam = row.id;
    item.item.iImage = item.item.iSelectedImage = picture++;
    items[row.id] =
        reinterpret_cast<HTREEITEM>(SendMessageW(tree, TVM_INSERTITEMW, 0, reinterpret_cast<LPARAM>(&item)));
  }
  for (const auto& [id, item] : items) TreeView_Expand(tree, item, TVE_EXPAND);
  TreeView_SelectItem(tree, items[selected]);
}

void SettingsWindow::ShowPictures(int dpi) {
  UniqueImageList pictures = LoadPictures(BITMAP_SETTINGS_TREE, dpi);
  const HWND tree = Control(SETTINGS_TREE);
  TreeView_SetImageList(tree, pictures.get(), TVSIL_NORMAL);
  // Both grow with the pictures but do not shrink with them: the least there is room for.
  TreeView_SetIndent(tree, 0);
  TreeView_SetItemHeight(tree, -1);
  pictures_ = std::move(pictures);  // the former ones only now that the tree has others
}

void SettingsWindow::OnDpiChanged(int dpi) {
  ShowPictures(dpi);
  for (const auto& [id, page] : pages_) page->OnDpiChanged(dpi);
}

bool SettingsWindow::OnCommand(int id, int notification) {
  if (notification != BN_CLICKED) return false;
  switch (id) {
    case IDOK:
      presenter_.Ok();
      return true;
    case IDCANCEL:
      End(IDCANCEL);
      return true;
    case BUTTON_HELP:
      OnHelp();
      return true;
    default:
      return false;
  }
}

bool SettingsWindow::OnNotify(const NMHDR& notice, LRESULT&) {
  if (notice.idFrom != SETTINGS_TREE || notice.code != TVN_SELCHANGEDW || is_closing_) return false;
  presenter_.Select(static_cast<int>(reinterpret_cast<const NMTREEVIEWW*>(&notice)->itemNew.lParam));
  return true;
}

bool SettingsWindow::OnHelp() {
  surroundings_.open_help(presenter_.HelpPage());
  return true;
}

bool SettingsWindow::OnKey(const MSG& message) {
  return shown_ != nullptr && shown_->TakeKey(message);
}

bool SettingsWindow::OnMessage(UINT message, WPARAM wparam, LPARAM, LRESULT&) {
  if (message == WM_ENABLE && wparam != FALSE) {
    for (const auto& [id, page] : pages_) page->OfferWaitingMail();
  }
  return false;
}

SettingsPageWindow* SettingsWindow::MadePage(const SettingsPageRow& row) {
  if (const auto made = pages_.find(row.id); made != pages_.end()) return made->second.get();
  auto page = std::make_unique<SettingsPageWindow>(
      row, surroundings_.settings,
      [this](SettingsPage& one, const void* address) { presenter_.ApplyPage(one, address); });
  if (!page->CreateChild(window())) return nullptr;
  // At the place of the placeholder, in the order of Tab, too.
  RECT place{};
  GetWindowRect(Control(SETTINGS_PAGE_PLACE), &place);
  MapWindowPoints(nullptr, window(), reinterpret_cast<POINT*>(&place), 2);
  SetWindowPos(page->window(), Control(SETTINGS_PAGE_PLACE), place.left, place.top, place.right - place.left,
               place.bottom - place.top, SWP_NOACTIVATE);
  return (pages_[row.id] = std::move(page)).get();
}

void SettingsWindow::ShowPage(const SettingsPageRow& row) {
  SettingsPageWindow* const page = MadePage(row);
  if (page == shown_) return;
  if (shown_ != nullptr) ShowWindow(shown_->window(), SW_HIDE);
  shown_ = page;
  if (page == nullptr) return;
  FadeIn(page->window(), surroundings_.program);
  ShowWindow(page->window(), SW_SHOW);
}

void SettingsWindow::SendApply(const bool* address) {
  for (const auto& [id, page] : pages_) {
    SendMessageW(page->window(), MESSAGE_APPLY_SETTINGS, 0, reinterpret_cast<LPARAM>(address));
  }
}

void SettingsWindow::Inform(std::string_view text) {
  ShowMessageBox(window(), Wide(text), MB_OK | MB_ICONINFORMATION);
}

void SettingsWindow::Warn(std::string_view text) {
  ShowMessageBox(window(), Wide(text), MB_OK | MB_ICONEXCLAMATION);
}

void SettingsWindow::RearmUpdateCheck() {
  if (surroundings_.rearm_update_check) surroundings_.rearm_update_check();
}

}  // namespace quillbeaker
