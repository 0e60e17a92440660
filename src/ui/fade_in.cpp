// SPDX-License-Identifier: MIT
#include "ui/fade_in.h"

#include <algorithm>

namespace quillbeaker {
namespace {

constexpr UINT_PTR kFadeTimer = 0xFADE;
constexpr UINT kStepMilliseconds = 15;
constexpr DWORD kFadeMilliseconds = 200;
constexpr wchar_t kStartProperty[] = L"QuillbeakerFadeStart";

void CALLBACK FadeStep(HWND window, UINT, UINT_PTR, DWORD now) {
  if (!IsWindowVisible(window)) {
    return;
  }
  // The clock starts with the first step that can be seen. Never 0, which is what a missing property reads
  // as.
  auto start = static_cast<DWORD>(reinterpret_cast<UINT_PTR>(GetPropW(window, kStartProperty)));
  if (start == 0) {
    start = std::max<DWORD>(now, 1);
    SetPropW(window, kStartProperty, reinterpret_cast<HANDLE>(static_cast<UINT_PTR>(start)));
  }
  const DWORD elapsed = std::min(now - start, kFadeMilliseconds);
  SetLayeredWindowAttributes(window, 0, static_cast<BYTE>(255 * elapsed / kFadeMilliseconds), LWA_ALPHA);
  if (elapsed == kFadeMilliseconds) {
    KillTimer(window, kFadeTimer);
    RemovePropW(window, kStartProperty);
    SetWindowLongPtrW(window, GWL_EXSTYLE, GetWindowLongPtrW(window, GWL_EXSTYLE) & ~WS_EX_LAYERED);
    RedrawWindow(window, nullptr, nullptr, RDW_INVALIDATE | RDW_ERASE | RDW_FRAME | RDW_ALLCHILDREN);
  }
}

}  // namespace

void FadeIn(HWND window, const Program& program) {
  BOOL is_animated = TRUE;
  SystemParametersInfoW(SPI_GETCLIENTAREAANIMATION, 0, &is_animated, 0);
  if (!is_animated || program.Read(keys::kAlphaBlending) == 0) {
    return;
  }
  RemovePropW(window, kStartProperty);  // of a fade that was not over when the window was hidden
  SetWindowLongPtrW(window, GWL_EXSTYLE, GetWindowLongPtrW(window, GWL_EXSTYLE) | WS_EX_LAYERED);
  SetLayeredWindowAttributes(window, 0, 0, LWA_ALPHA);
  SetTimer(window, kFadeTimer, kStepMilliseconds, FadeStep);
}

}  // namespace quillbeaker
