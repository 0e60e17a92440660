// SPDX-License-Identifier: MIT
#pragma once

// Dot-stuffing (RFC 1939, section 3) for messages that did not come from a server and may lack it, or that go
// where there is none.

#include <string>

namespace quillbeaker {

// A line that begins with exactly one "." gets a second. Text that is stuffed already has no such line and
// stays as it is.
std::string StuffDots(std::string text);
// The reverse, for a message that leaves as a file. Text that is not stuffed stays as it is.
std::string UnstuffDots(std::string text);

}  // namespace quillbeaker
