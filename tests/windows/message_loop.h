// SPDX-License-Identifier: MIT
#pragma once

// What stands in for the program's own message loop where a program of the tests opens its windows.

#include <windows.h>

#include "ui/dialog.h"

namespace quillbeaker::test {

// Handles what is there, paint messages included, and returns.
inline void HandleMessages() {
  MSG message;
  while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
    if (Dialog::TakeMessage(message)) continue;
    TranslateMessage(&message);
    DispatchMessageW(&message);
  }
}

}  // namespace quillbeaker::test
