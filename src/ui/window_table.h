// SPDX-License-Identifier: MIT
#pragma once

// The windows that a command of the main window opens: one row for each, and at most one window of a row at a
// time. The tray menu greys by it and the shutdown closes by it.

#include <windows.h>

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "config/program.h"
#include "ui/dialog.h"
#include "ui/place_keeper.h"
#include "ui/presenter/settings_page.h"
#include "ui/store_changes.h"

namespace quillbeaker {

// What the windows share. It outlives all of them.
struct WindowSurroundings {
  Program& program;
  SettingsSurroundings settings;
  std::function<void(std::string_view page)> open_help;
  std::function<void()> rearm_update_check;
  // Any thread: the task runs on the thread of the windows.
  std::function<void(std::function<void()> task)> post = {};
  // Once a window is gone: memory that is not needed now can be given back.
  std::function<void()> window_closed;
  int last_settings_page = 0;  // 0: none yet
  StoreChanges store_changes = {};
};

class TableWindow;
class VirtualList;

struct WindowRow {
  int command;  // of the main window
  int template_id;
  // `argument` is the window's own to understand (a page of the settings); 0: none.
  std::unique_ptr<TableWindow> (*make)(WindowSurroundings& surroundings, int argument);
  // What F1 opens; empty for a window that answers OnHelp itself.
  std::string_view help_page = {};
  // The name under which its place is remembered; empty for a window that opens where the system puts it.
  std::string_view place = {};
  // A modal window disables its owner, and the command that opened it returns when it has closed.
  bool is_modal = false;
};

// A window of the table.
class TableWindow : public Dialog {
 public:
  using Dialog::Dialog;
  // Before the window is made. All of them outlive this object; `gone` is called once, when the window is
  // gone.
  void Prepare(const WindowRow& row, WindowSurroundings& surroundings, IniFile& places,
               std::function<void()> gone);

 protected:
  // The list whose columns and order are remembered with the window's place; null without one.
  virtual VirtualList* RememberedList() { return nullptr; }
  // The window is about to be taken down; its controls are still there.
  virtual void OnClosing() {}
  bool OnHelp() override;
  // One that overrides it calls this one last.
  void OnDestroyed() override;

 private:
  void OnMade() final;
  void OnDestroying() final;

  const WindowRow* row_ = nullptr;
  WindowSurroundings* surroundings_ = nullptr;
  std::optional<PlaceKeeper> place_;
  std::function<void()> gone_;
};

std::span<const WindowRow> WindowTable();

// The windows of the table that are open. UI thread.
class OpenWindows {
 public:
  explicit OpenWindows(WindowSurroundings& surroundings);
  ~OpenWindows();
  OpenWindows(const OpenWindows&) = delete;
  OpenWindows& operator=(const OpenWindows&) = delete;

  // Opens the window of that row, owned by `owner`; one that is open already comes to the front and ignores
  // the argument. Returns at once, but for a modal window.
  void Open(const WindowRow& row, HWND owner, int argument = 0);
  // By the row's command; false when no row has it.
  bool OpenCommand(int command, HWND owner, int argument = 0);
  void CloseAll();
  // The window of the row with that command; null while it is not open.
  HWND WindowOf(int command) const;

 private:
  void Remove(int command);

  WindowSurroundings& surroundings_;
  IniFile places_;
  std::map<int, std::unique_ptr<TableWindow>> windows_;  // by command
};

}  // namespace quillbeaker
