// SPDX-License-Identifier: MIT
#pragma once

// Machine-readable output: JSON in UTF-8, keys in the order in which they were set. Texts in it are the
// English ones (EnglishText), whatever the language: programs compare them.

#include <nlohmann/json.hpp>

#include <string>
#include <string_view>

#include "message/display_text.h"

namespace quillbeaker {

using Json = nlohmann::ordered_json;

// Bytes of mail as code points of the same numbers.
inline Json JsonBytes(std::string_view latin1) {
  return Latin1ToUtf8(latin1);
}

// A file's name as given. One that is no UTF-8 is taken for bytes, so that different names stay different.
inline Json JsonFileName(std::string_view name) {
  return IsUtf8(name) ? std::string(name) : Latin1ToUtf8(name);
}

// One line with its end.
inline std::string JsonLine(const Json& value) {
  return value.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace quillbeaker
