// SPDX-License-Identifier: MIT
#pragma once

// Makes a Static (SS_OWNERDRAW | SS_NOTIFY | WS_TABSTOP) the chart of the statistic: paints it from the
// numbers as they are at that moment, says day and count of the bar under the mouse, and lets the arrow keys
// walk from bar to bar. Its window text is what a screen reader says of it.

#include <windows.h>

#include <functional>
#include <optional>

#include "config/program.h"
#include "ui/chart_drawing.h"
#include "ui/drawn_picture.h"
#include "ui/presenter/statistics_chart.h"

namespace quillbeaker {

class ChartControl {
 public:
  // `changed` is called when a paint has met other numbers. `program` must outlive the control's window.
  ChartControl(Program& program, std::function<void()> changed);
  ~ChartControl();
  ChartControl(const ChartControl&) = delete;
  ChartControl& operator=(const ChartControl&) = delete;

  // The window of the control, made and not shown yet.
  void Begin(HWND control);
  // The window is on a screen of another resolution now.
  void OnDpiChanged();
  // The system's colours or the counts may be others now.
  void Redraw();

  // As the last paint, or Begin, met them.
  const StatisticNumbers& numbers() const { return numbers_; }
  // The chart as large as it is shown, in its own colours and without marks.
  void DrawInto(DrawnPicture& picture) const;
  ScreenSize Size() const;

 private:
  static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam, UINT_PTR id,
                                    DWORD_PTR object);
  // True when `result` is the answer.
  bool Handle(UINT message, WPARAM wparam, LPARAM lparam, LRESULT& result);
  void Load();
  void Paint(HDC target);
  bool OnKey(WPARAM key);
  void OnMouse(ScreenPoint place);
  // The place of the chosen day among the bars of the last layout.
  std::optional<std::size_t> ChosenBar() const;
  void Choose(std::optional<std::size_t> day);
  void SayName();
  // At a place of the chart.
  void ShowTip(std::size_t bar, ScreenPoint beside);
  void HideTip();

  Program& program_;
  const std::function<void()> changed_;
  HWND window_ = nullptr;
  HWND tip_ = nullptr;  // owned by the control's dialog, and gone with it
  int dpi_ = 96;
  std::optional<ChartFonts> fonts_;
  StatisticNumbers numbers_;
  ChartLayout layout_;
  std::optional<std::size_t> chosen_;       // day, by the keyboard
  std::optional<std::size_t> under_mouse_;  // bar
  bool has_focus_ = false;
};

}  // namespace quillbeaker
