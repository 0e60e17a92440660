// SPDX-License-Identifier: MIT
#pragma once

// "Why was this taken?": what the filter says of a mail with today's lists, and what of it led to that.

#include <windows.h>

#include "ui/presenter/mail_to_explain.h"
#include "ui/window_table.h"

namespace quillbeaker {

// Opens the window and returns when it is closed. `owner` must be a window of this thread. UI thread.
void ShowWhy(HWND owner, WindowSurroundings& surroundings, const MailToExplain& mail);

}  // namespace quillbeaker
