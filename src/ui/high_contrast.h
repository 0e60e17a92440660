// SPDX-License-Identifier: MIT
#pragma once

// Whether the person has asked Windows for colours of high contrast. What is drawn then takes the system's
// colours alone.

namespace quillbeaker {

bool HighContrastIsOn();

}  // namespace quillbeaker
