// SPDX-License-Identifier: MIT
#pragma once

// Windows fade in over 200 ms when the user likes it (AlphaBlending) and the system animates windows at all.

#include <windows.h>

#include "config/program.h"

namespace quillbeaker {

// Call while the window is still hidden; the fade begins when it is shown and its thread takes messages. The
// window is opaque and no longer layered when it is over.
void FadeIn(HWND window, const Program& program);

}  // namespace quillbeaker
