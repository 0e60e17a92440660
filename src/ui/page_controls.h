// SPDX-License-Identifier: MIT
#pragma once

// The controls of a dialog as its presenter sees them. Moves data, decides nothing.

#include <windows.h>

#include <map>
#include <string>
#include <vector>

#include "config/program.h"
#include "ui/dialog.h"
#include "ui/presenter/list_page.h"
#include "ui/virtual_list.h"

namespace quillbeaker {

// Everything may be called after the window is gone as well: a presenter's box may have outlived it.
class PageControls : public ListPageView {
 public:
  // Both must outlive this object.
  PageControls(const Dialog& dialog, const Program& program) : dialog_(dialog), program_(program) {}

  // The list that RowsChanged and so on are about. Null before there is one, and for a dialog without.
  void UseList(VirtualList* list) { list_ = list; }

  void SetText(int control, std::string_view text) override;
  std::string TextIn(int control) const override;
  void LimitText(int control, std::size_t characters, bool digits) override;
  void SetChecked(int control, bool checked) override;
  bool IsChecked(int control) const override;
  void SetChoices(int control, const std::vector<std::string>& texts) override;
  void SetChoiceValue(int control, int place, std::int32_t value) override;
  void SetPictures(int control, int bitmap) override;
  void Choose(int control, int place) override;
  int ChosenIn(int control) const override;
  void Enable(int control, bool enabled) override;
  void Show(int control, bool shown) override;
  void DisablePage() override;
  void Focus(int control) override;
  bool HasFocus(int control) const override;
  void Warn(std::string_view text) override;
  void Tell(std::string_view text) override;
  bool Ask(std::string_view question) override;

  void RowsChanged(std::size_t count) override;
  void SelectRows(const std::vector<std::size_t>& rows) override;
  std::vector<std::size_t> SelectedRows() const override;
  bool Run(int template_id, SmallDialog& dialog) override;

  // The window is on a screen of that resolution now.
  void OnDpiChanged(int dpi);

 private:
  // What owns a box: the dialog itself, or the one it is a page of.
  HWND BoxOwner() const { return GetAncestor(dialog_.window(), GA_ROOT); }

  // A list whose window is gone would answer with 0, which is a row.
  bool HasList() const { return list_ != nullptr && dialog_.window() != nullptr; }

  const Dialog& dialog_;
  const Program& program_;
  VirtualList* list_ = nullptr;
  std::map<int, int> pictures_;  // bitmaps by the control that shows them
};

}  // namespace quillbeaker
