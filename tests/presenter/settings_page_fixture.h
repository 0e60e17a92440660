// SPDX-License-Identifier: MIT
#pragma once

// What the tests of the settings dialog's pages share: a program directory, a system that records, and a page
// in a view.

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "presenter/recording_page_view.h"
#include "support/test_program.h"
#include "ui/presenter/settings_page.h"

namespace quillbeaker::test {

class SettingsPageTest : public testing::Test {
 protected:
  Program& program() { return one.program(); }

  template <typename Page>
  Page& Open() {
    auto page = std::make_unique<Page>(surroundings, view);
    Page& opened = *page;
    view.page = &opened;
    page_ = std::move(page);
    opened.Open(program(), view);
    return opened;
  }
  // Presses OK; true when everything could be saved.
  bool Ok() {
    applied = {};
    if (view.page->is_open()) view.page->Apply(applied);
    return applied.changes.Save(program()).empty();
  }
  std::string Configuration() const { return one.directory.Get("Quillbeaker.ini").value_or("(missing)"); }
  // The value of a key, "(missing)" without one.
  std::string Value(std::string_view section, std::string_view key) {
    return std::string(program().configuration.Read()->Find(section, key).value_or("(missing)"));
  }
  std::string Main(std::string_view key) { return Value("QUILLBEAKER", key); }

  TestProgram one;
  bool starts_with_system = false;
  bool system_takes_it = true;
  std::vector<PortUse> ports;
  std::vector<int> runnable;
  std::vector<int> run;
  SettingsSurroundings surroundings{
      .program = one.program(),
      .starts_with_system = [this] { return starts_with_system; },
      .set_starts_with_system =
          [this](bool starts) {
            if (system_takes_it) starts_with_system = starts;
            return system_takes_it;
          },
      .ports_in_use = [this] { return ports; },
      .can_run = [this](int command) { return std::count(runnable.begin(), runnable.end(), command) > 0; },
      .run = [this](int command) { run.push_back(command); }};
  RecordingPageView view;
  AppliedSettings applied;

 private:
  std::unique_ptr<SettingsPage> page_;
};

}  // namespace quillbeaker::test
