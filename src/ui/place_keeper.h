// SPDX-License-Identifier: MIT
#pragma once

// Opens a window where and how it was left, and remembers when it closes what the person changed: place,
// size, and the columns and the order of its list. UI thread.

#include <windows.h>

#include <string>
#include <string_view>

#include "ui/presenter/window_place.h"

namespace quillbeaker {

class VirtualList;

class PlaceKeeper {
 public:
  // `file` must outlive this object.
  PlaceKeeper(IniFile& file, std::string_view name) : file_(file), name_(name) {}

  // Before the window is shown. `list` may be null and must outlive this object; `least` is the window's
  // smallest size now.
  void Restore(HWND window, VirtualList* list, SIZE least);
  // While the window and its controls are still there. A file that cannot be written stays as it is: where a
  // window was is not worth a box.
  void Remember() const;

 private:
  WindowPlace Current() const;

  IniFile& file_;
  const std::string name_;
  HWND window_ = nullptr;
  VirtualList* list_ = nullptr;
  WindowPlace opened_;  // what it was like before the person did anything
};

}  // namespace quillbeaker
