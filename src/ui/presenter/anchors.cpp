// SPDX-License-Identifier: MIT
#include "ui/presenter/anchors.h"

#include <algorithm>

namespace quillbeaker {
namespace {

// One direction of it: `near` and `far` are whether the control keeps its distance to those edges.
void Follow(int& from, int& length, int growth, bool near, bool far) {
  if (!far) return;
  if (near) {
    length = std::max(0, length + growth);
  } else {
    from += growth;
  }
}

}  // namespace

ScreenArea Anchored(const ScreenArea& made, ScreenSize inside, ScreenSize now, unsigned edges) {
  ScreenArea area = made;
  const auto names = [edges](unsigned edge) { return (edges & edge) != 0; };
  Follow(area.corner.x, area.size.width, now.width - inside.width, names(kLeftEdge), names(kRightEdge));
  Follow(area.corner.y, area.size.height, now.height - inside.height, names(kTopEdge), names(kBottomEdge));
  return area;
}

}  // namespace quillbeaker
