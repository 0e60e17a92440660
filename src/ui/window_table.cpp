// SPDX-License-Identifier: MIT
#include "ui/window_table.h"

#include <algorithm>
#include <utility>

#include "ui/account_window.h"
#include "ui/fade_in.h"
#include "ui/recycle_bin_window.h"
#include "ui/resource.h"
#include "ui/settings_window.h"
#include "ui/statistics_window.h"
#include "ui/training_window.h"

namespace quillbeaker {
namespace {

template <typename Window>
std::unique_ptr<TableWindow> Make(WindowSurroundings& surroundings, int argument) {
  return std::make_unique<Window>(surroundings, argument);
}

constexpr WindowRow kWindows[] = {
    {.command = COMMAND_SETTINGS,
     .template_id = DIALOG_SETTINGS,
     .make = Make<SettingsWindow>,
     .place = "Settings"},
    {.command = COMMAND_ACCOUNT,
     .template_id = DIALOG_ACCOUNT,
     .make = Make<AccountWindow>,
     .help_page = "account.htm",
     .place = "Account"},
    {.command = COMMAND_STATISTICS,
     .template_id = DIALOG_STATISTICS,
     .make = Make<StatisticsWindow>,
     .help_page = "stat.htm",
     .place = "Statistics"},
    {.command = COMMAND_RECYCLE_BIN,
     .template_id = DIALOG_RECYCLE_BIN,
     .make = Make<RecycleBinWindow>,
     .help_page = "recycle.htm",
     .place = "RecycleBin"},
    {.command = COMMAND_TRAINING_AREA,
     .template_id = DIALOG_TRAINING_AREA,
     .make = Make<TrainingWindow>,
     .help_page = "trainingarea.htm",
     .place = "TrainingArea"},
};

void BringToFront(HWND window) {
  if (IsIconic(window)) ShowWindow(window, SW_RESTORE);
  // A box of its own disables the window: then that box is what a person has to see.
  SetForegroundWindow(GetLastActivePopup(window));
}

}  // namespace

std::span<const WindowRow> WindowTable() {
  return kWindows;
}

void TableWindow::Prepare(const WindowRow& row, WindowSurroundings& surroundings, IniFile& places,
                          std::function<void()> gone) {
  if (!row.place.empty()) place_.emplace(places, row.place);
  row_ = &row;
  surroundings_ = &surroundings;
  gone_ = std::move(gone);
}

bool TableWindow::OnHelp() {
  if (row_ == nullptr || row_->help_page.empty()) return false;
  if (surroundings_->open_help) surroundings_->open_help(row_->help_page);
  return true;
}

void TableWindow::OnMade() {
  if (place_) place_->Restore(window(), RememberedList(), LeastSize());
}

void TableWindow::OnDestroying() {
  if (place_) place_->Remember();
  OnClosing();
}

void TableWindow::OnDestroyed() {
  if (gone_) gone_();
}

OpenWindows::OpenWindows(WindowSurroundings& surroundings)
    : surroundings_(surroundings), places_(surroundings.program.PathOf(kWindowPlacesFile)) {}

OpenWindows::~OpenWindows() {
  CloseAll();
}

void OpenWindows::Open(const WindowRow& row, HWND owner, int argument) {
  if (const auto open = windows_.find(row.command); open != windows_.end()) {
    BringToFront(open->second->window());
    return;
  }
  std::unique_ptr<TableWindow> made = row.make(surroundings_, argument);
  TableWindow& window = *made;
  windows_[row.command] = std::move(made);
  window.Prepare(row, surroundings_, places_, [this, command = row.command] { Remove(command); });
  if (row.is_modal) {
    // Gone from windows_ when this returns, unless it could not be made.
    if (window.RunModal(owner) == -1) windows_.erase(row.command);
    return;
  }
  if (!window.CreateModeless(owner)) {
    windows_.erase(row.command);
    return;
  }
  FadeIn(window.window(), surroundings_.program);
  ShowWindow(window.window(), SW_SHOW);
  SetForegroundWindow(window.window());
}

bool OpenWindows::OpenCommand(int command, HWND owner, int argument) {
  const auto row = std::find_if(std::begin(kWindows), std::end(kWindows),
                                [command](const WindowRow& one) { return one.command == command; });
  if (row == std::end(kWindows)) return false;
  Open(*row, owner, argument);
  return true;
}

void OpenWindows::CloseAll() {
  while (!windows_.empty()) windows_.begin()->second->Destroy();
}

HWND OpenWindows::WindowOf(int command) const {
  const auto found = windows_.find(command);
  return found == windows_.end() ? nullptr : found->second->window();
}

void OpenWindows::Remove(int command) {
  const auto found = windows_.find(command);
  if (found == windows_.end()) return;
  Dialog::DeleteLater(std::move(found->second));
  windows_.erase(found);
  if (surroundings_.window_closed) surroundings_.window_closed();
}

}  // namespace quillbeaker
