// SPDX-License-Identifier: MIT
#include "app/tray_icon.h"

#include <algorithm>
#include <string>
#include <utility>

#include "ui/presenter/trouble_notices.h"
#include "ui/presenter/unbroken_text.h"
#include "ui/resource.h"
#include "ui/wide_text.h"

namespace quillbeaker {
namespace {

constexpr UINT kFrameMilliseconds = 100;
constexpr UINT kAddMilliseconds = 5000;
constexpr std::size_t kMaxTooltip = 63;           // characters
constexpr std::int32_t kLongestPeriod = 2147483;  // seconds, of a timer that counts milliseconds

// How long the icon tells of what is over, in milliseconds.
UINT ShownFor(const Program& program) {
  return static_cast<UINT>(std::clamp(program.Read(keys::kTrayNumSeconds), 1, kLongestPeriod)) * 1000;
}

}  // namespace

TrayIcon::TrayIcon(const Program& program)
    : TrayIcon(program,
               [](DWORD what, NOTIFYICONDATAW& data) { return Shell_NotifyIconW(what, &data) != FALSE; }) {}

TrayIcon::TrayIcon(const Program& program, Shell shell) : program_(program), shell_(std::move(shell)) {
  data_.cbSize = sizeof data_;
  data_.uID = 1;
  data_.uFlags = NIF_MESSAGE | NIF_ICON | NIF_TIP;
  data_.uCallbackMessage = MESSAGE_TRAY;
}

void TrayIcon::PrepareImage() {
  image_ = MakeImage();
  data_.hIcon = image_.get();
  ShowIdleTooltip();
}

void TrayIcon::LoadAnimation() {
  constexpr int kFrames[] = {ICON_SESSION_0, ICON_SESSION_1, ICON_SESSION_2, ICON_SESSION_3};
  for (std::size_t i = 0; i < animation_.size(); ++i) {
    animation_[i] = LoadTrayIcon(kFrames[i]);
  }
}

void TrayIcon::AddTrayIcon(HWND main_window) {
  data_.hWnd = main_window;
  wanted_ = true;
  AddOrTryLater();
}

void TrayIcon::AddOrTryLater() {
  // An icon that stands already is not added a second time, but takes the new picture.
  if (shell_(NIM_ADD, data_) || shell_(NIM_MODIFY, data_)) {
    KillTimer(data_.hWnd, TIMER_ADD_ICON);
  } else {
    SetTimer(data_.hWnd, TIMER_ADD_ICON, kAddMilliseconds, nullptr);
  }
}

void TrayIcon::AddAgain() {
  LoadAnimation();
  const UniqueIcon former = std::exchange(image_, MakeImage());
  data_.hIcon = image_.get();
  AddTrayIcon(data_.hWnd);
}

void TrayIcon::RemoveTrayIcon() {
  if (wanted_) {
    wanted_ = false;
    KillTimer(data_.hWnd, TIMER_ADD_ICON);
    shell_(NIM_DELETE, data_);
  }
  for (UniqueIcon& frame : animation_) {
    frame.reset();
  }
  image_.reset();
}

void TrayIcon::SetTooltip(std::wstring_view text) {
  std::size_t length = std::min(text.size(), kMaxTooltip);
  if (length < text.size() && IS_HIGH_SURROGATE(text[length - 1])) {
    --length;  // never half of a character
  }
  std::copy_n(text.data(), length, data_.szTip);
  data_.szTip[length] = L'\0';
  Update();
}

bool TrayIcon::Notify(const std::wstring& text, DWORD icon) {
  if (!wanted_) {
    return false;
  }
  NOTIFYICONDATAW notification = data_;
  notification.uFlags = NIF_INFO;
  notification.dwInfoFlags = icon;
  lstrcpynW(notification.szInfoTitle, WideText(Text::kTitle).c_str(), ARRAYSIZE(notification.szInfoTitle));
  const std::wstring fitting = FitNotice(Unbroken(text), ARRAYSIZE(notification.szInfo) - 1);
  lstrcpynW(notification.szInfo, fitting.c_str(), ARRAYSIZE(notification.szInfo));
  return shell_(NIM_MODIFY, notification);
}

void TrayIcon::ShowIdleTooltip() {
  std::wstring text = WideText(Text::kTitle) + L" " + WideText(Text::kVersion);
  if (!serving_) {
    text += L" " + WideText(Text::kNotServing);
  } else if (deleted_count_ > 0) {
    text += L" " + WideFormat(Text::kMessagesDeleted, {std::to_string(deleted_count_)});
  }
  SetTooltip(text);
}

void TrayIcon::SetDeletedCount(unsigned count) {
  deleted_count_ = count;
  ShowImage();
  KillTimer(data_.hWnd, TIMER_DELETED_COUNT);
  if (count >= 1) {
    SetTimer(data_.hWnd, TIMER_DELETED_COUNT, ShownFor(program_), nullptr);
  }
}

void TrayIcon::ShowServing(bool serving) {
  if (serving == serving_) {
    return;
  }
  serving_ = serving;
  ShowImage();
  ShowIdleTooltip();
}

void TrayIcon::SetFilterState(bool on) {
  if (on == filter_on_) {
    return;
  }
  filter_on_ = on;
  if (!on) {
    SetTimer(data_.hWnd, TIMER_DISABLED_FILTER, ShownFor(program_), nullptr);
    return;
  }
  KillTimer(data_.hWnd, TIMER_DISABLED_FILTER);
  filter_marked_ = false;
  ShowImage();
}

void TrayIcon::MarkDisabledFilter() {
  KillTimer(data_.hWnd, TIMER_DISABLED_FILTER);
  filter_marked_ = true;
  ShowImage();
}

UniqueIcon TrayIcon::MakeImage() const {
  const TrayMark of_filter = filter_marked_ ? TrayMark::kFilterOff : TrayMark::kNone;
  return MakeTrayImage(deleted_count_, serving_ ? of_filter : TrayMark::kNotServing);
}

void TrayIcon::StartAnimation() {
  next_frame_ = 0;
  animated_ = true;
  SetTimer(data_.hWnd, TIMER_ANIMATION, kFrameMilliseconds, nullptr);
}

void TrayIcon::ShowNextFrame() {
  Show(animation_[next_frame_].get());
  next_frame_ = (next_frame_ + 1) % animation_.size();
}

void TrayIcon::StopAnimation() {
  KillTimer(data_.hWnd, TIMER_ANIMATION);
  animated_ = false;
}

void TrayIcon::ShowImage() {
  // The shell may still draw the former picture: it is kept until the new one is shown.
  const UniqueIcon former = std::exchange(image_, MakeImage());
  if (!animated_) {
    Show(image_.get());
  }
}

void TrayIcon::Show(HICON icon) {
  data_.hIcon = icon;
  Update();
}

void TrayIcon::Update() {
  if (wanted_ && !shell_(NIM_MODIFY, data_)) {
    AddOrTryLater();
  }
}

}  // namespace quillbeaker
