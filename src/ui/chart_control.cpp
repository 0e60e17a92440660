// SPDX-License-Identifier: MIT
#include "ui/chart_control.h"

#include <commctrl.h>
#include <windowsx.h>

#include <utility>

#include "stores/statistics.h"
#include "ui/high_contrast.h"
#include "ui/wide_text.h"

namespace quillbeaker {
namespace {

constexpr UINT_PTR kSubclass = 1;
constexpr UINT_PTR kTool = 1;
constexpr int kBelowMouse = 20;  // pixels at 96 dpi: the tip must not lie under the pointer

std::optional<ChartStep> StepOf(WPARAM key) {
  switch (key) {
    case VK_LEFT:
      return ChartStep::kOlder;
    case VK_RIGHT:
      return ChartStep::kNewer;
    case VK_HOME:
      return ChartStep::kFirst;
    case VK_END:
      return ChartStep::kLast;
    default:
      return std::nullopt;
  }
}

TTTOOLINFOW ToolOf(HWND control) {
  TTTOOLINFOW tool{};
  tool.cbSize = sizeof tool;
  tool.uFlags = TTF_TRACK | TTF_ABSOLUTE | TTF_TRANSPARENT;
  tool.hwnd = control;
  tool.uId = kTool;
  return tool;
}

}  // namespace

ChartControl::ChartControl(Program& program, std::function<void()> changed)
    : program_(program), changed_(std::move(changed)) {}

ChartControl::~ChartControl() {
  if (window_ != nullptr) RemoveWindowSubclass(window_, Procedure, kSubclass);
}

void ChartControl::Begin(HWND control) {
  window_ = control;
  SetWindowSubclass(control, Procedure, kSubclass, reinterpret_cast<DWORD_PTR>(this));
  tip_ = CreateWindowExW(WS_EX_TOPMOST, TOOLTIPS_CLASSW, nullptr, WS_POPUP | TTS_NOPREFIX | TTS_ALWAYSTIP,
                         CW_USEDEFAULT, CW_USEDEFAULT, CW_USEDEFAULT, CW_USEDEFAULT, GetParent(control),
                         nullptr, nullptr, nullptr);
  std::wstring none;
  TTTOOLINFOW tool = ToolOf(control);
  tool.lpszText = none.data();
  SendMessageW(tip_, TTM_ADDTOOLW, 0, reinterpret_cast<LPARAM>(&tool));
  OnDpiChanged();
  Load();
  SayName();
}

void ChartControl::OnDpiChanged() {
  dpi_ = static_cast<int>(GetDpiForWindow(window_));
  fonts_.emplace(dpi_);
  Redraw();
}

void ChartControl::Redraw() {
  if (window_ == nullptr) return;  // null would mean every window there is
  HideTip();
  InvalidateRect(window_, nullptr, FALSE);
}

ScreenSize ChartControl::Size() const {
  RECT area{};
  GetClientRect(window_, &area);
  return {static_cast<int>(area.right), static_cast<int>(area.bottom)};
}

// Deliberate: a new object each time, and never saved: the counts of a mail check that ran meanwhile are
// shown, and nothing is written over them.
void ChartControl::Load() {
  Statistics statistics(program_);
  statistics.Load();
  numbers_ = NumbersOf(statistics);
  layout_ = LayOutChart(numbers_, Size(), dpi_, fonts_->date_size);
}

void ChartControl::DrawInto(DrawnPicture& picture) const {
  DrawChart(picture.context(), LayOutChart(numbers_, Size(), dpi_, fonts_->date_size), dpi_, *fonts_,
            OwnChartColours(), {});
}

void ChartControl::Paint(HDC target) {
  const StatisticNumbers former = numbers_;
  Load();
  const ChartColours colours = HighContrastIsOn() ? SystemChartColours() : OwnChartColours();
  const ChartFocus focus{has_focus_, ChosenBar()};
  const DrawnPicture picture(layout_.size.width, layout_.size.height);
  if (picture.context() == nullptr) {
    DrawChart(target, layout_, dpi_, *fonts_, colours, focus);
  } else {
    DrawChart(picture.context(), layout_, dpi_, *fonts_, colours, focus);
    BitBlt(target, 0, 0, layout_.size.width, layout_.size.height, picture.context(), 0, 0, SRCCOPY);
  }
  if (numbers_ == former) return;
  SayName();
  if (changed_) changed_();
}

std::optional<std::size_t> ChartControl::ChosenBar() const {
  for (std::size_t i = 0; i < layout_.bars.size(); ++i) {
    if (chosen_ == layout_.bars[i].day) return i;
  }
  return std::nullopt;
}

// A screen reader takes the text of the window for the name of what has the focus. Setting the text tells it
// that the window has another, which not every reader relates to the focus.
void ChartControl::SayName() {
  const bool has_bars = !layout_.is_empty;
  const std::string name =
      has_bars && !chosen_ ? std::string(TextOf(Text::kStatistic)) : DayText(numbers_, chosen_);
  SetWindowTextW(window_, Wide(name).c_str());
  NotifyWinEvent(EVENT_OBJECT_NAMECHANGE, window_, OBJID_CLIENT, CHILDID_SELF);
}

void ChartControl::Choose(std::optional<std::size_t> day) {
  chosen_ = day;
  InvalidateRect(window_, nullptr, FALSE);
  SayName();
  if (const auto bar = ChosenBar()) {
    ShowTip(*bar, layout_.bars[*bar].area.corner);
  } else {
    HideTip();
  }
}

bool ChartControl::OnKey(WPARAM key) {
  const auto step = StepOf(key);
  if (!step) return false;
  Choose(StepTo(numbers_, chosen_, *step));
  return true;
}

void ChartControl::OnMouse(ScreenPoint place) {
  TRACKMOUSEEVENT leave{sizeof leave, TME_LEAVE, window_, 0};
  TrackMouseEvent(&leave);
  const auto bar = BarAt(layout_, place);
  if (bar == under_mouse_) return;
  HideTip();
  under_mouse_ = bar;
  if (bar) ShowTip(*bar, {place.x, place.y + MulDiv(kBelowMouse, dpi_, 96)});
}

void ChartControl::ShowTip(std::size_t bar, ScreenPoint beside) {
  std::wstring text = Wide(DayText(numbers_, layout_.bars[bar].day));
  TTTOOLINFOW tool = ToolOf(window_);
  tool.lpszText = text.data();
  SendMessageW(tip_, TTM_UPDATETIPTEXTW, 0, reinterpret_cast<LPARAM>(&tool));
  POINT place{beside.x, beside.y};
  // Towards the middle of the chart: the system lets it reach over the edge of the screen.
  if (beside.x > layout_.size.width / 2) {
    place.x -= LOWORD(SendMessageW(tip_, TTM_GETBUBBLESIZE, 0, reinterpret_cast<LPARAM>(&tool)));
  }
  ClientToScreen(window_, &place);
  SendMessageW(tip_, TTM_TRACKPOSITION, 0, MAKELPARAM(place.x, place.y));
  SendMessageW(tip_, TTM_TRACKACTIVATE, TRUE, reinterpret_cast<LPARAM>(&tool));
}

void ChartControl::HideTip() {
  under_mouse_.reset();
  TTTOOLINFOW tool = ToolOf(window_);
  SendMessageW(tip_, TTM_TRACKACTIVATE, FALSE, reinterpret_cast<LPARAM>(&tool));
}

bool ChartControl::Handle(UINT message, WPARAM wparam, LPARAM lparam, LRESULT& result) {
  result = 0;
  switch (message) {
    case WM_PAINT: {
      PAINTSTRUCT paint{};
      Paint(BeginPaint(window_, &paint));
      EndPaint(window_, &paint);
      return true;
    }
    case WM_PRINTCLIENT:
      Paint(reinterpret_cast<HDC>(wparam));
      return true;
    case WM_ERASEBKGND:
      result = TRUE;  // Paint fills it all
      return true;
    case WM_SIZE:
      Redraw();
      return false;
    case WM_GETDLGCODE:
      result = DLGC_STATIC | DLGC_WANTARROWS;
      return true;
    case WM_KEYDOWN:
      return OnKey(wparam);
    case WM_SETFOCUS:
    case WM_KILLFOCUS:
      has_focus_ = message == WM_SETFOCUS;
      if (has_focus_) {
        Choose(chosen_ ? chosen_ : StepTo(numbers_, std::nullopt, ChartStep::kLast));
      } else {
        Redraw();
      }
      return true;
    case WM_LBUTTONDOWN:
      SetFocus(window_);
      if (const auto bar = BarAt(layout_, {GET_X_LPARAM(lparam), GET_Y_LPARAM(lparam)})) {
        Choose(layout_.bars[*bar].day);
      }
      return true;
    case WM_MOUSEMOVE:
      OnMouse({GET_X_LPARAM(lparam), GET_Y_LPARAM(lparam)});
      return true;
    case WM_MOUSELEAVE:
      HideTip();
      return true;
    default:
      return false;
  }
}

LRESULT CALLBACK ChartControl::Procedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam, UINT_PTR,
                                         DWORD_PTR object) {
  auto& chart = *reinterpret_cast<ChartControl*>(object);
  LRESULT result = 0;
  if (message == WM_NCDESTROY) {
    RemoveWindowSubclass(window, Procedure, kSubclass);
    chart.window_ = nullptr;
  } else if (chart.Handle(message, wparam, lparam, result)) {
    return result;
  }
  return DefSubclassProc(window, message, wparam, lparam);
}

}  // namespace quillbeaker
