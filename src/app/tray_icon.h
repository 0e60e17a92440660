// SPDX-License-Identifier: MIT
#pragma once

// The icon in the notification area: its picture, its animation while a mail client is served, its tooltip
// and the number of deleted messages. UI thread only.

#include <windows.h>

#include <shellapi.h>

#include <array>
#include <functional>
#include <string>
#include <string_view>

#include "app/tray_image.h"
#include "config/program.h"
#include "ui/handles.h"

namespace quillbeaker {

class TrayIcon {
 public:
  // Shell_NotifyIcon's way to answer.
  using Shell = std::function<bool(DWORD, NOTIFYICONDATAW&)>;

  explicit TrayIcon(const Program& program);
  TrayIcon(const Program& program, Shell shell);

  // Prepares the plain picture; no window is needed yet.
  void PrepareImage();
  void LoadAnimation();

  // A shell that does not take the icon, as when the user logs on, is asked again with TIMER_ADD_ICON.
  void AddTrayIcon(HWND main_window);
  // On TIMER_ADD_ICON.
  void AddOrTryLater();
  // The shell has started anew and lost the icon, or the taskbar's resolution has changed.
  void AddAgain();
  // Pictures included.
  void RemoveTrayIcon();

  // Cut at 63 characters, which is what every shell takes.
  void SetTooltip(std::wstring_view text);
  // A notification at the icon, shown by the shell for as long as it likes. False when there is no shell to
  // show it. `icon` is NIIF_WARNING or another of its kind.
  bool Notify(const std::wstring& text, DWORD icon = NIIF_WARNING);
  // Title and version; with it that nothing is served, or the deleted count when there is one.
  void ShowIdleTooltip();

  // Rebuilds the picture with the number and starts the time after which it goes; 0 gives the plain picture.
  void SetDeletedCount(unsigned count);
  unsigned deleted_count() const { return deleted_count_; }

  // Nothing served has a picture and a tooltip of its own, for as long as it lasts.
  void ShowServing(bool serving);
  // A disabled filter has a picture of its own, from the moment on at which a deleted count would go: the
  // picture stays the plain one that long after the filter was switched off, or the program started with it.
  // Saying again what is known changes nothing.
  void SetFilterState(bool on);
  void MarkDisabledFilter();

  void StartAnimation();
  void ShowNextFrame();
  void StopAnimation();

 private:
  void ShowImage();
  void Show(HICON icon);
  void Update();
  UniqueIcon MakeImage() const;

  const Program& program_;
  const Shell shell_;
  NOTIFYICONDATAW data_{};
  std::array<UniqueIcon, 4> animation_;
  std::size_t next_frame_ = 0;
  unsigned deleted_count_ = 0;
  bool serving_ = true;
  bool animated_ = false;
  bool filter_on_ = true;
  bool filter_marked_ = false;
  UniqueIcon image_;
  bool wanted_ = false;  // from AddTrayIcon to RemoveTrayIcon
};

}  // namespace quillbeaker
