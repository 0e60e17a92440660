// SPDX-License-Identifier: MIT
#pragma once

// The icon in the notification area: its picture, its animation while a mail client is served, its tooltip
// and the number of deleted messages. UI thread only.

#include <windows.h>

#include <shellapi.h>

#include <array>
#include <string>
#include <string_view>

#include "config/program.h"
#include "ui/handles.h"

namespace quillbeaker {

class TrayIcon {
 public:
  explicit TrayIcon(const Program& program);

  // Prepares the plain picture; no window is needed yet.
  void PrepareImage();
  void LoadAnimation();

  void AddTrayIcon(HWND main_window);
  // The shell has started anew and lost the icon, or the taskbar's resolution has changed.
  void AddAgain();
  // Pictures included.
  void RemoveTrayIcon();

  // Cut at 63 characters, which is what every shell takes.
  void SetTooltip(std::wstring_view text);
  // A notification at the icon, shown by the shell for as long as it likes.
  void Notify(const std::wstring& text);
  // Title and version, with the deleted count when there is one.
  void ShowIdleTooltip();

  // Rebuilds the picture with the number and starts the time after which it goes; 0 gives the plain picture.
  void SetDeletedCount(unsigned count);
  unsigned deleted_count() const { return deleted_count_; }

  void StartAnimation();
  void ShowNextFrame();
  void StopAnimation();

 private:
  void Show(HICON icon);
  void Update();

  const Program& program_;
  NOTIFYICONDATAW data_{};
  std::array<UniqueIcon, 4> animation_;
  std::size_t next_frame_ = 0;
  unsigned deleted_count_ = 0;
  UniqueIcon image_;
  bool added_ = false;
};

}  // namespace quillbeaker
