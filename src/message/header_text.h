// SPDX-License-Identifier: MIT
#pragma once

// A header value as a viewer shows it. For display only: what is stored and judged is DecodeEncodedWord's.

#include <string>
#include <string_view>

namespace quillbeaker {

// All encoded words (RFC 2047) decoded and read in their character sets where those are known, in UTF-8 on
// one line and without harmful characters. Bad ones stay as they are written.
std::string HeaderToShow(std::string_view value);

}  // namespace quillbeaker
