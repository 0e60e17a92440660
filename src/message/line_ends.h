// SPDX-License-Identifier: MIT
#pragma once

// Line ends of mail that did not come over the wire: RFC 5322 wants CR LF, files often have LF alone.

#include <string>
#include <string_view>

namespace quillbeaker {

// Every LF that no CR precedes becomes CR LF.
std::string WithCrLf(std::string_view text);
// The same into `converted`, whose memory is reused; it must not be `text` itself.
void WithCrLf(std::string_view text, std::string& converted);

}  // namespace quillbeaker
