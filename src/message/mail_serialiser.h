// SPDX-License-Identifier: MIT
#pragma once

// Writes a parsed mail back: every field with its full value folded anew, bodies as they are, delimiter lines
// re-emitted. This is the form in which mail is delivered and kept.

#include <string>

#include "message/message_part.h"

namespace quillbeaker {

// Appends the whole tree under `root`.
void AppendSerialised(const MessagePart& root, std::string& out);

}  // namespace quillbeaker
