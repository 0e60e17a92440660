// SPDX-License-Identifier: MIT
#include "platform/file_result.h"

#include <algorithm>

namespace quillbeaker {

std::string FileResult::Text() const {
  if (*this) return {};
  std::string text = path + ": " + SystemErrorText(code);
  // A file may be named with line ends or escape sequences, which must not reach a terminal or a log.
  const auto is_control = [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; };
  std::replace_if(text.begin(), text.end(), is_control, '?');
  return text;
}

}  // namespace quillbeaker
