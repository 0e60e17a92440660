// SPDX-License-Identifier: MIT
#pragma once

// Reads the header block of a mail or of one of its MIME parts (RFC 5322, section 2.2). Folded lines are
// unfolded inside the text itself, which can only get shorter, so that reading a header copies nothing.

#include <cstddef>

#include "message/message_part.h"

namespace quillbeaker {

// The first CR LF in [from, end), or `end` when there is none.
const char* FindLineEnd(const char* from, const char* end);

// Appends the fields of the header block that begins at `position`. Returns where the body begins, which is
// at the empty line's CR LF, at the first line that would make more than `most_fields`, or `end` when the
// text ends inside the header block. One pass over the block.
char* ReadHeaderBlock(char* position, char* end, std::size_t most_fields, HeaderFields& fields);

}  // namespace quillbeaker
