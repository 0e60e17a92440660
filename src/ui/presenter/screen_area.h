// SPDX-License-Identifier: MIT
#pragma once

// Places and sizes in pixels, free of the system's types.

namespace quillbeaker {

// Of the desktop, on which screens can lie left of and above the first one: negative places exist.
struct ScreenPoint {
  int x = 0;
  int y = 0;
  bool operator==(const ScreenPoint&) const = default;
};
struct ScreenSize {
  int width = 0;
  int height = 0;
  bool operator==(const ScreenSize&) const = default;
};
struct ScreenArea {
  ScreenPoint corner;
  ScreenSize size;
  bool operator==(const ScreenArea&) const = default;
};

}  // namespace quillbeaker
