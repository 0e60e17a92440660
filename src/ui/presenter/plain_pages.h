// SPDX-License-Identifier: MIT
#pragma once

// The pages of the settings dialog that show settings and little else: "General settings", "Tray Area",
// "Connection", "Filter properties", "Training Area". Each is a list of bindings (plain_pages.cpp); what
// cannot be one is in its class. Knows no window.

#include <memory>
#include <string>
#include <vector>

#include "ui/presenter/bindings_page.h"

namespace quillbeaker {

class TrayPage : public BindingsPage {
 public:
  TrayPage(const SettingsSurroundings& surroundings, PageView& view);
};

class TrainingAreaPage : public BindingsPage {
 public:
  TrainingAreaPage(const SettingsSurroundings& surroundings, PageView& view);
};

// With the start at log-on, which the system keeps, and the language, whose choices are files.
class GeneralPage : public BindingsPage {
 public:
  GeneralPage(const SettingsSurroundings& surroundings, PageView& view);
  void Load() override;
  void Pressed(int control) override;
  void Chosen(int control) override;
  void Apply(AppliedSettings& applied) override;

 private:
  std::vector<std::string> languages_;  // what the entries of the list stand for
  bool language_changed_ = false;
};

// With the warning of a connection without encryption, and the note of who has the port.
class ConnectionPage : public BindingsPage {
 public:
  ConnectionPage(const SettingsSurroundings& surroundings, PageView& view);
  void Load() override;
  void Pressed(int control) override;
  void Edited(int control) override;
  void Chosen(int control) override;

 private:
  void ShowWarning();
  void ShowPortNote();

  std::vector<PortUse> ports_in_use_;
};

// With the size limit of filtered mail, where 0 means none.
class FilterPage : public BindingsPage {
 public:
  FilterPage(const SettingsSurroundings& surroundings, PageView& view);
  void Load() override;
  void Pressed(int control) override;
  void Edited(int control) override;
  void Left(int control) override;
  void Apply(AppliedSettings& applied) override;

 private:
  void EnableSize();
  void RestoreEmptiedSize();

  std::string last_size_;
  bool size_changed_ = false;
  bool is_off_ = false;  // the filter, and with it this page
};

// The text beside the field for the port: for one that another program has whose it is and the next that is
// free, for a number that is no port which ones are; else empty.
std::string PortNote(const std::vector<PortUse>& in_use, std::string_view typed);

}  // namespace quillbeaker
