// SPDX-License-Identifier: MIT
#pragma once

// UTF-8, the program's own form of every text and path, to and from the UTF-16 that the system takes. For the
// sources of this folder and for the windows of the program.

#include <string>
#include <string_view>

namespace quillbeaker {

// What is no UTF-8 becomes U+FFFD.
std::wstring WideFromUtf8(std::string_view utf8);
std::string Utf8FromWide(std::wstring_view wide);

// A path as the file functions take it: backslashes, and in the form without a length limit when it is long.
std::wstring WidePath(std::string_view utf8);

}  // namespace quillbeaker
