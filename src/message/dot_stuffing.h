// SPDX-License-Identifier: MIT
#pragma once

// Dot-stuffing (RFC 1939, section 3) for messages that did not come from a server and may lack it.

#include <string>

namespace quillbeaker {

// A line that begins with exactly one "." gets a second. Text that is stuffed already has no such line and
// stays as it is.
std::string StuffDots(std::string text);

}  // namespace quillbeaker
