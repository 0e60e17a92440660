// SPDX-License-Identifier: MIT
#pragma once

// The window that a list of mails stands in: toolbar, list, status line of two parts, context menu and the
// keys of the list. The recycle bin and the training area are two presenters of it. Moves data, decides
// nothing.

#include <windows.h>

#include <optional>
#include <span>
#include <string>

#include "ui/background_work.h"
#include "ui/pictures.h"
#include "ui/presenter/mail_list.h"
#include "ui/virtual_list.h"
#include "ui/window_table.h"

namespace quillbeaker {

// A button's picture is that of its place in the strip.
struct ToolButton {
  int command;
  Text text;
  int arrow_menu = 0;  // the menu of an arrow beside it; 0: none
};

// A key that is a command while the list has the focus.
struct ListKey {
  WORD key;  // virtual
  int command;
  bool with_control = false;
};

// What one such window has that another has not. Controls are those of its template; a search field is
// optional.
struct MailListLook {
  int toolbar;
  int list;
  int status;
  int search = 0;
  int menu;         // its first popup is the context menu
  int tool_bitmap;  // pictures of the toolbar
  std::span<const ToolButton> buttons;
  std::span<const ListKey> keys;
};

class MailListWindow : public TableWindow, protected MailListView {
 public:
  // `look` must outlive this object.
  MailListWindow(int template_id, const MailListLook& look, WindowSurroundings& surroundings);

 protected:
  // The list's presenter, which the derived object owns.
  virtual MailList& Mails() = 0;
  // The pictures beside the rows for a screen of that resolution; may be null.
  virtual UniqueImageList RowPictures(int /*dpi*/) { return nullptr; }

  // Each of these calls that of this class when it is overridden.
  bool OnInit() override;
  bool OnCommand(int id, int notification) override;
  bool OnNotify(const NMHDR& notice, LRESULT& result) override;
  bool OnContextMenu(HWND control, POINT place) override;
  bool OnKey(const MSG& message) override;
  bool OnMessage(UINT message, WPARAM wparam, LPARAM lparam, LRESULT& result) override;
  void OnSize(int width, int height) override;
  void OnDpiChanged(int dpi) override;
  void OnDestroyed() override;
  VirtualList* RememberedList() override { return list_ ? &*list_ : nullptr; }

  // MailListView
  void ShowRows(std::size_t count, const ListPlace& place) override;
  ListPlace Place() const override;
  std::size_t SelectedCount() const override;
  void ShowRow(std::size_t row) override;
  void CommandsChanged() override;
  void ShowState(std::string_view text) override;
  void ShowCounts(std::string_view text) override;
  bool AskOptional(Text question, std::string_view key) override;
  void TellOptional(Text notice, std::string_view key) override;
  bool Ask(std::string_view question) override;
  void Tell(std::string_view text) override;
  bool RunDialog(int template_id, SmallDialog& dialog) override;
  void RunBehind(std::function<Afterwards()> work) override;

  WindowSurroundings& surroundings() const { return surroundings_; }

 private:
  void MakeToolbar();
  void ShowPictures(int dpi);
  void PlaceStatusParts();
  void ShowStatusPart(int part, const std::wstring& text);
  // The command arrives in OnCommand, later, unless a box stands over the window.
  void PostCommand(int command);
  // Of the mouse at a place of the screen: selects the row under it, unless it is selected.
  void SelectUnder(POINT place);
  POINT PlaceOfFocusedRow() const;
  void ShowMenu(int menu, const TPMPARAMS* beside, POINT place);

  const MailListLook& look_;
  WindowSurroundings& surroundings_;
  std::optional<VirtualList> list_;
  UniqueImageList tool_pictures_;
  UniqueImageList disabled_tool_pictures_;
  std::wstring counts_;
  std::optional<BackgroundWork> work_;
};

}  // namespace quillbeaker
