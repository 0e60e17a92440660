// SPDX-License-Identifier: MIT
#pragma once

// The message viewer: shows one mail of a list after the other, as text alone. It opens beside the list,
// which stays usable.

#include <windows.h>

#include <memory>
#include <string_view>

#include "ui/presenter/viewed_mails.h"
#include "ui/window_table.h"

namespace quillbeaker {

class ViewMessageWindow;

// What a window with a list has one of. UI thread.
class MessageViewer {
 public:
  // Both must outlive this object.
  MessageViewer(WindowSurroundings& surroundings, ViewedMails& mails);
  // Closes the viewer.
  ~MessageViewer();
  MessageViewer(const MessageViewer&) = delete;
  MessageViewer& operator=(const MessageViewer&) = delete;

  // Shows that mail, in the viewer that is open already or in a new one, which closes with `owner`.
  void Show(HWND owner, std::string_view name);
  // The list has other rows or another order: the mail that is shown may have no next one now.
  void RowsChanged();
  // Null while it is not open.
  HWND window() const;

 private:
  WindowSurroundings& surroundings_;
  ViewedMails& mails_;
  std::unique_ptr<ViewMessageWindow> window_;  // null while none is open
};

}  // namespace quillbeaker
