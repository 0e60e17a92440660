// SPDX-License-Identifier: MIT
#include "ui/wide_text.h"

#include "platform/windows/wide.h"

namespace quillbeaker {

std::wstring Wide(std::string_view utf8) {
  return WideFromUtf8(utf8);
}

std::string Utf8(std::wstring_view wide) {
  return Utf8FromWide(wide);
}

std::wstring WideText(Text text) {
  return Wide(TextOf(text));
}

std::wstring WideFormat(Text text, std::initializer_list<std::string> arguments) {
  return Wide(Format(text, arguments));
}

}  // namespace quillbeaker
