// SPDX-License-Identifier: MIT
#pragma once

// Splits the text of a mail into its tree of MIME parts (RFC 2046): header block, body, and the parts that
// delimiter lines cut out of the body. Iterative and linear in the text, however deep a mail nests.

#include <list>
#include <optional>
#include <string_view>

#include "message/message_part.h"

namespace quillbeaker {

// Appends the parts of [begin, end) to `parts`, the root first; header lines are unfolded inside the text. A
// list, because the parts point at one another.
void ReadParts(char* begin, char* end, std::list<MessagePart>& parts);

// The delimiter that a Content-Type value declares; nothing when it is not a multipart's. A view into
// `content_type`.
std::optional<std::string_view> BoundaryOf(std::string_view content_type);

}  // namespace quillbeaker
