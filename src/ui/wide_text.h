// SPDX-License-Identifier: MIT
#pragma once

// Texts on their way to a window: UTF-16 made of our UTF-8, once, at the face.

#include <initializer_list>
#include <string>
#include <string_view>

#include "config/texts.h"

namespace quillbeaker {

std::wstring Wide(std::string_view utf8);
std::string Utf8(std::wstring_view wide);

// A text of the table in the user's language, and one with its conversions filled in (arguments are UTF-8).
std::wstring WideText(Text text);
std::wstring WideFormat(Text text, std::initializer_list<std::string> arguments);

}  // namespace quillbeaker
