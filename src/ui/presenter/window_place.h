// SPDX-License-Identifier: MIT
#pragma once

// Where a window was when it closed, how large it was and how its list looked: kept in windows.ini, one
// section for each window, and brought onto the screens that there are when it opens again. Knows no window.

#include <cstddef>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "config/ini_file.h"
#include "ui/presenter/list_rows.h"
#include "ui/presenter/screen_area.h"

namespace quillbeaker {

inline constexpr std::string_view kWindowPlacesFile = "windows.ini";

// What is remembered of a window. What is missing was never remembered, or could not be read.
struct WindowPlace {
  std::optional<ScreenPoint> corner;
  std::optional<ScreenSize> size;  // none for a window whose size is fixed
  std::vector<int> columns;        // widths of its list's, none without one
  std::optional<SortOrder> order;
  int dpi = 96;  // that size and columns are in
  bool operator==(const WindowPlace&) const = default;
};

// The file may hold anything: a value that no window can have had is as if it were missing.
WindowPlace ReadWindowPlace(const IniFile& file, std::string_view window);
// In one replacement of the file; what `place` does not have is removed. False when the file was not written.
[[nodiscard]] bool WriteWindowPlace(IniFile& file, std::string_view window, const WindowPlace& place);

struct Screen {
  ScreenArea work;  // without the taskbar
  int dpi = 96;
};

// Where to open the window: on the screen that it lay on, or on the first one when that is gone, wholly
// inside when it fits, with its upper left corner inside in any case, and never smaller than `least`. `made`
// is its size now, `least` its smallest, both at `made_dpi`. Nothing when no corner is remembered or there is
// no screen.
std::optional<ScreenArea> PlaceOnScreens(const WindowPlace& place, ScreenSize made, ScreenSize least,
                                         int made_dpi, std::span<const Screen> screens);

// The widths for a list with that many columns at that resolution; nothing when others were remembered.
std::vector<int> ColumnsFor(const WindowPlace& place, std::size_t columns, int dpi);

// Brings the rows into that order, which may be one for a column that the list does not have any more.
void SortAs(ListRows& rows, const SortOrder& order);

}  // namespace quillbeaker
