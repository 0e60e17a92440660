// SPDX-License-Identifier: MIT
#pragma once

// The window of the statistic: the chart of the last 30 days, its maximum and average, and taking them
// elsewhere, as a picture or as numbers.

#include <windows.h>

#include <string>

#include "ui/chart_control.h"
#include "ui/window_table.h"

namespace quillbeaker {

class StatisticsWindow : public TableWindow {
 public:
  StatisticsWindow(WindowSurroundings& surroundings, int argument);

 private:
  bool OnInit() override;
  bool OnCommand(int id, int notification) override;
  void OnClosing() override;
  void OnSize(int width, int height) override;
  void OnDpiChanged(int dpi) override;
  void OnSystemColours() override;
  std::span<const Anchor> Anchors() const override;
  std::span<const ACCEL> Accelerators() const override;

  void FillLines();
  void Copy();
  void Save();
  // Nothing when there was no memory for it, or the system's codec refused.
  std::optional<std::string> Png() const;

  WindowSurroundings& surroundings_;
  ChartControl chart_;
  StoreChanges::Subscription counted_;  // tells when a mail check has counted spam
  // What the lines are filled from: the texts that their controls had when the window was made.
  std::string maximum_format_;
  std::string average_format_;
};

}  // namespace quillbeaker
