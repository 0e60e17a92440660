// SPDX-License-Identifier: MIT
#pragma once

// Where the controls of a window go when the window is sized: each keeps its distance to the edges that its
// row names. Knows no window.

#include "ui/presenter/screen_area.h"

namespace quillbeaker {

// Edges of the window, to be added up.
inline constexpr unsigned kLeftEdge = 1;
inline constexpr unsigned kTopEdge = 2;
inline constexpr unsigned kRightEdge = 4;
inline constexpr unsigned kBottomEdge = 8;
inline constexpr unsigned kAllEdges = kLeftEdge | kTopEdge | kRightEdge | kBottomEdge;

// A control without a row keeps its place, as one that names the left and the upper edge does.
struct Anchor {
  int control;
  unsigned edges;
};

// Where a control is in a window whose inside is `now`, when it was made at `made` inside of `inside`. One
// that names two opposite edges is stretched, but never below nothing.
ScreenArea Anchored(const ScreenArea& made, ScreenSize inside, ScreenSize now, unsigned edges);

}  // namespace quillbeaker
