// SPDX-License-Identifier: MIT
#pragma once

// The settings dialog: which pages there are, which one is shown, what OK does. Knows no window.
//
// The dialog's window makes a page's window when ShowPage asks for it, and on OK sends every page's window
// MESSAGE_APPLY_SETTINGS with ApplyAddress(), which calls ApplyPage with what came. Any program of the user
// can send that message: an address that is not this dialog's own is ignored, and never read.

#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "config/texts.h"
#include "ui/presenter/list_page.h"
#include "ui/presenter/settings_page.h"

namespace quillbeaker {

struct SettingsPageRow {
  int id;      // of the page's template
  int parent;  // 0: none
  Text label;  // in the tree
  std::string_view help_page;
  // One of the two, by whether the page has a list; neither while it has nothing to decide.
  std::unique_ptr<SettingsPage> (*make)(const SettingsSurroundings&, PageView&);
  std::unique_ptr<ListPage> (*make_list)(const SettingsSurroundings&, ListPageView&) = nullptr;
};

// In the order of the tree, parents before their children.
std::span<const SettingsPageRow> SettingsPages();
// Null for a number that is no page's.
const SettingsPageRow* FindSettingsPage(int id);

class SettingsDialogView {
 public:
  virtual ~SettingsDialogView() = default;
  // Hides the page that is shown and shows this one, made at its first time.
  virtual void ShowPage(const SettingsPageRow& page) = 0;
  // Sends every page that was made the message to apply; each answers with ApplyPage.
  virtual void SendApply(const bool* address) = 0;
  // A box with an icon for information.
  virtual void Inform(std::string_view text) = 0;
  virtual void Warn(std::string_view text) = 0;
  // After OK: the time of the next check for updates is another one.
  virtual void RearmUpdateCheck() = 0;
  virtual void Close() = 0;
};

class SettingsDialogPresenter {
 public:
  // `last_page` outlives the dialog: the page shown last, 0 before the first time. `wanted` is the page to
  // open, 0 for that one.
  SettingsDialogPresenter(const SettingsSurroundings& surroundings, SettingsDialogView& view, int& last_page,
                          int wanted);

  // The page to select in the tree when the dialog opens.
  int selected() const { return last_page_; }
  // A page was selected in the tree.
  void Select(int id);
  // What Help and F1 open.
  std::string_view HelpPage() const;
  void Ok();

  const bool* ApplyAddress() const { return &applied_.restart_needed; }
  // False, and nothing is done, when the address is not this dialog's or no OK is under way.
  bool ApplyPage(SettingsPage& page, const void* address);

 private:
  const SettingsSurroundings& surroundings_;
  SettingsDialogView& view_;
  int& last_page_;
  AppliedSettings applied_;
  bool is_applying_ = false;
};

}  // namespace quillbeaker
