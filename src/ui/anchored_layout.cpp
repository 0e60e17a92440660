// SPDX-License-Identifier: MIT
#include "ui/anchored_layout.h"

#include "ui/dialog_template.h"

namespace quillbeaker {
namespace {

ScreenSize InsideOf(HWND window) {
  RECT client{};
  GetClientRect(window, &client);
  return {static_cast<int>(client.right), static_cast<int>(client.bottom)};
}

ScreenArea AreaIn(HWND window, HWND control) {
  RECT place{};
  GetWindowRect(control, &place);
  const int height = static_cast<int>(HeightToSet(control, place));
  MapWindowPoints(nullptr, window, reinterpret_cast<POINT*>(&place), 2);
  return {{static_cast<int>(place.left), static_cast<int>(place.top)},
          {static_cast<int>(place.right - place.left), height}};
}

}  // namespace

void AnchoredLayout::Begin(HWND window, std::span<const Anchor> anchors) {
  if ((GetWindowLongPtrW(window, GWL_STYLE) & WS_THICKFRAME) == 0) return;
  window_ = window;
  inside_ = InsideOf(window);
  RECT place{};
  GetWindowRect(window, &place);
  least_ = {place.right - place.left, place.bottom - place.top};
  for (const Anchor& anchor : anchors) {
    const HWND control = GetDlgItem(window, anchor.control);
    if (control != nullptr) rows_.push_back({control, anchor.edges, AreaIn(window, control)});
  }
}

void AnchoredLayout::Follow() const {
  if (rows_.empty() || IsIconic(window_)) return;
  const ScreenSize now = InsideOf(window_);
  HDWP moves = BeginDeferWindowPos(static_cast<int>(rows_.size()));
  for (const Row& row : rows_) {
    if (moves == nullptr) return;
    const auto [corner, size] = Anchored(row.made, inside_, now, row.edges);
    moves = DeferWindowPos(moves, row.control, nullptr, corner.x, corner.y, size.width, size.height,
                           SWP_NOZORDER | SWP_NOACTIVATE);
  }
  if (moves != nullptr) EndDeferWindowPos(moves);
}

void AnchoredLayout::Rescale(int from_dpi, int to_dpi) {
  const auto scaled = [&](int length) { return MulDiv(length, to_dpi, from_dpi); };
  const auto scale = [&](ScreenSize& size) { size = {scaled(size.width), scaled(size.height)}; };
  scale(inside_);
  least_ = {scaled(least_.cx), scaled(least_.cy)};
  for (Row& row : rows_) {
    row.made.corner = {scaled(row.made.corner.x), scaled(row.made.corner.y)};
    scale(row.made.size);
  }
}

void AnchoredLayout::Limit(MINMAXINFO& limits) const {
  if (window_ != nullptr) limits.ptMinTrackSize = {least_.cx, least_.cy};
}

}  // namespace quillbeaker
