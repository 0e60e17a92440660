// SPDX-License-Identifier: MIT
#pragma once

// The small rounded window at the bottom right that shows a mail check's progress and can stop its download.
// Lives from session begin to session end; a click, Esc or its close command only hide it. UI thread, the
// cancel flag aside.

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>

#include "ui/dialog.h"
#include "ui/handles.h"

namespace quillbeaker {

class ProgressBubble : public Dialog {
 public:
  // `cancelled` is set by the cancel button and must outlive the bubble.
  ProgressBubble(HWND main_window, std::atomic<bool>& cancelled);

  // Makes the window when there is none, puts it in its corner above all others and shows it. The window that
  // has the foreground keeps it.
  void Show();

  // Bytes to download, or messages to carry out.
  void SetRange(std::uint64_t range);
  void SetPosition(std::uint64_t position);
  void Advance(std::uint64_t amount);
  // At most 99 characters of either text are kept; what is longer ends in "...".
  void SetStatus(std::wstring_view text);
  // Empties the status when it is this one.
  void ClearStatus(std::wstring_view text);
  void SetActivity(std::wstring_view text);
  void SetSpamCount(std::uint32_t count);
  bool IsCancelled() const { return cancelled_; }
  // Of title and frame. Show asks the system.
  void UseHighContrast(bool high_contrast);

 private:
  bool OnInit() override;
  bool OnCommand(int id, int notification) override;
  bool OnMessage(UINT message, WPARAM wparam, LPARAM lparam, LRESULT& result) override;
  void OnDpiChanged(int) override { Arrange(); }
  void Arrange();
  void Refresh();
  void ShowPosition();
  bool IsOverCancelButton() const;
  void Paint(HDC context);
  void DrawStatus(const DRAWITEMSTRUCT& item);

  HWND main_window_;
  std::atomic<bool>& cancelled_;
  std::uint64_t range_ = 0;
  std::uint64_t position_ = 0;
  std::wstring status_;
  std::wstring activity_;
  std::uint32_t spam_count_ = 0;
  bool high_contrast_ = false;
  UniqueFont title_font_;
  UniqueFont text_font_;
};

}  // namespace quillbeaker
