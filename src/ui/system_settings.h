// SPDX-License-Identifier: MIT
#pragma once

// What the pages of the settings ask of the system.

#include <string>
#include <vector>

#include "ui/presenter/settings_page.h"

namespace quillbeaker {

// The start with Windows: a value below the user's Run key, the program's path between quotation marks.
bool StartsWithWindows();
// False when the system refused.
[[nodiscard]] bool SetStartsWithWindows(bool starts);

// The path of this program.
std::wstring ExecutablePath();

// The TCP ports that are taken for 127.0.0.1, by rising number. `own_port` is the one that this process
// serves, 0 while it serves none: not every system tells who has a port.
std::vector<PortUse> PortsInUse(int own_port);

}  // namespace quillbeaker
