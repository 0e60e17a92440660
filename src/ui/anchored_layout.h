// SPDX-License-Identifier: MIT
#pragma once

// The controls of a window that can be sized. One thread.

#include <windows.h>

#include <span>
#include <vector>

#include "ui/presenter/anchors.h"

namespace quillbeaker {

class AnchoredLayout {
 public:
  // The window as it was made, its controls in their first places.
  void Begin(HWND window, std::span<const Anchor> anchors);
  // The inside of the window has another size: the controls follow.
  void Follow() const;
  // The window is laid out for another resolution now; its controls have been scaled already.
  void Rescale(int from_dpi, int to_dpi);
  // A person cannot make the window smaller than it was made.
  void Limit(MINMAXINFO& limits) const;
  // As large as the window was made, frame included, at the resolution it has now.
  SIZE LeastSize() const { return least_; }

 private:
  struct Row {
    HWND control;
    unsigned edges;
    ScreenArea made;
  };

  HWND window_ = nullptr;
  std::vector<Row> rows_;
  ScreenSize inside_;
  SIZE least_{};
};

}  // namespace quillbeaker
