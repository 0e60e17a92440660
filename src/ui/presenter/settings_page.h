// SPDX-License-Identifier: MIT
#pragma once

// One page of the settings dialog: what its window calls.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "config/settings.h"
#include "ui/presenter/page_view.h"

namespace quillbeaker {

// A port that a program of this computer listens on.
struct PortUse {
  int port = 0;
  std::string program;  // its name, UTF-8; empty where the system does not tell
  bool is_own = false;  // this very process
};

// What the pages ask of the system, and of the rest of the program.
struct SettingsSurroundings {
  Program& program;
  std::function<bool()> starts_with_system;
  std::function<bool(bool starts)> set_starts_with_system;  // false when that failed
  bool can_fade = true;
  std::function<std::vector<PortUse>()> ports_in_use;
  // Commands of the main window by their numbers; one that nobody can run yet is greyed.
  std::function<bool(int command)> can_run;
  std::function<void(int command)> run;
  // Imports senders into the list of that kind, and returns when that is over; empty while nothing can.
  std::function<void(std::int32_t kind)> import_senders = {};
  // The spam word that the page of them selects the next time it opens, in the bytes of its file; empty:
  // none. Whoever opens the page at a word leaves it here.
  std::shared_ptr<std::string> word_to_show = std::make_shared<std::string>();
};

// What one press of OK gathers from the pages that were shown.
struct AppliedSettings {
  SettingChanges changes;
  bool restart_needed = false;
  std::optional<bool> starts_with_system;  // written when the files are saved
};

// One thread.
class SettingsPage {
 public:
  virtual ~SettingsPage() = default;

  // Once, when the controls are there: Load, where the settings can be read. Else the page stays disabled and
  // applies nothing: what it showed would be the defaults, which OK would then write over what is stored.
  void Open(const Program& program, PageView& view);
  bool is_open() const { return is_open_; }

  virtual void Load() = 0;
  // A button or check box was pressed.
  virtual void Pressed(int /*control*/) {}
  // The text of an edit field is another one.
  virtual void Edited(int /*control*/) {}
  // The focus left an edit field.
  virtual void Left(int /*control*/) {}
  // Another entry of a list was chosen.
  virtual void Chosen(int /*control*/) {}
  // Adds what OK writes.
  virtual void Apply(AppliedSettings& applied) = 0;

 private:
  bool is_open_ = false;
};

}  // namespace quillbeaker
