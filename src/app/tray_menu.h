// SPDX-License-Identifier: MIT
#pragma once

// The menu of the tray icon.

#include <windows.h>

#include "app/command_table.h"
#include "config/program.h"

namespace quillbeaker {

// Whether "Training Area..." can be chosen: nothing is kept there while nothing is learnt.
bool TrainingAreaIsInUse(const Program& program);

// Shows the menu at the mouse; what is chosen arrives at `main_window` as a command.
void ShowTrayMenu(HWND main_window, const Program& program, const CommandTable& commands);

}  // namespace quillbeaker
