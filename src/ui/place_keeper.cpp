// SPDX-License-Identifier: MIT
#include "ui/place_keeper.h"

#include <shellscalingapi.h>

#include <vector>

#include "ui/virtual_list.h"

namespace quillbeaker {
namespace {

ScreenArea AreaOf(const RECT& place) {
  return {{static_cast<int>(place.left), static_cast<int>(place.top)},
          {static_cast<int>(place.right - place.left), static_cast<int>(place.bottom - place.top)}};
}

BOOL CALLBACK AddScreen(HMONITOR monitor, HDC, LPRECT, LPARAM result) {
  auto& screens = *reinterpret_cast<std::vector<Screen>*>(result);
  MONITORINFO facts{};
  facts.cbSize = sizeof facts;
  UINT dpi = 0;
  UINT same = 0;
  if (!GetMonitorInfoW(monitor, &facts)) return TRUE;
  if (GetDpiForMonitor(monitor, MDT_EFFECTIVE_DPI, &dpi, &same) != S_OK || dpi == 0) dpi = GetDpiForSystem();
  const bool is_first = (facts.dwFlags & MONITORINFOF_PRIMARY) != 0;
  screens.insert(is_first ? screens.begin() : screens.end(), {AreaOf(facts.rcWork), static_cast<int>(dpi)});
  return TRUE;
}

std::vector<Screen> Screens() {
  std::vector<Screen> screens;
  EnumDisplayMonitors(nullptr, nullptr, AddScreen, reinterpret_cast<LPARAM>(&screens));
  return screens;
}

bool IsSizable(HWND window) {
  return (GetWindowLongPtrW(window, GWL_STYLE) & WS_THICKFRAME) != 0;
}

// Also of a window that is minimised or maximised now.
RECT NormalPlace(HWND window) {
  RECT place{};
  GetWindowRect(window, &place);
  WINDOWPLACEMENT placement{};
  placement.length = sizeof placement;
  if ((!IsIconic(window) && !IsZoomed(window)) || !GetWindowPlacement(window, &placement)) return place;
  // Counted from the work area's corner, not from the screen's.
  MONITORINFO facts{};
  facts.cbSize = sizeof facts;
  place = placement.rcNormalPosition;
  if (GetMonitorInfoW(MonitorFromRect(&place, MONITOR_DEFAULTTONEAREST), &facts)) {
    OffsetRect(&place, facts.rcWork.left - facts.rcMonitor.left, facts.rcWork.top - facts.rcMonitor.top);
  }
  return place;
}

void Move(HWND window, const ScreenArea& area) {
  SetWindowPos(window, nullptr, area.corner.x, area.corner.y, area.size.width, area.size.height,
               SWP_NOZORDER | SWP_NOACTIVATE);
}

}  // namespace

WindowPlace PlaceKeeper::Current() const {
  const ScreenArea area = AreaOf(NormalPlace(window_));
  WindowPlace place;
  place.corner = area.corner;
  if (IsSizable(window_)) place.size = area.size;
  if (list_ != nullptr) {
    place.columns = list_->ColumnWidths();
    const SortOrder order = list_->rows().Order();
    if (order.column < place.columns.size()) place.order = order;
  }
  place.dpi = static_cast<int>(GetDpiForWindow(window_));
  return place;
}

void PlaceKeeper::Restore(HWND window, VirtualList* list, SIZE least) {
  window_ = window;
  list_ = list;
  WindowPlace place = ReadWindowPlace(file_, name_);
  if (!IsSizable(window)) place.size.reset();
  const auto dpi = static_cast<int>(GetDpiForWindow(window));
  const auto area = PlaceOnScreens(place, AreaOf(NormalPlace(window)).size,
                                   {static_cast<int>(least.cx), static_cast<int>(least.cy)}, dpi, Screens());
  if (area) Move(window, *area);
  const auto dpi_there = static_cast<int>(GetDpiForWindow(window));
  // On a screen of another resolution the window was scaled to a size of its own.
  if (area && dpi_there != dpi) Move(window, *area);
  if (list != nullptr) {
    list->SetColumnWidths(ColumnsFor(place, list->rows().Columns().size(), dpi_there));
    if (place.order) SortAs(list->rows(), *place.order);
  }
  opened_ = Current();
}

void PlaceKeeper::Remember() const {
  if (window_ == nullptr) return;
  const WindowPlace now = Current();
  if (now != opened_) (void)WriteWindowPlace(file_, name_, now);
}

}  // namespace quillbeaker
