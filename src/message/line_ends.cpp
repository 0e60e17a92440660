// SPDX-License-Identifier: MIT
#include "message/line_ends.h"

namespace quillbeaker {

std::string WithCrLf(std::string_view text) {
  std::string converted;
  WithCrLf(text, converted);
  return converted;
}

void WithCrLf(std::string_view text, std::string& converted) {
  converted.clear();
  converted.reserve(text.size() + text.size() / 16);
  std::size_t copied = 0;
  for (std::size_t lf = text.find('\n'); lf != std::string_view::npos; lf = text.find('\n', lf + 1)) {
    if (lf == 0 || text[lf - 1] != '\r') {
      converted.append(text.substr(copied, lf - copied)).append("\r");
      copied = lf;
    }
  }
  converted.append(text.substr(copied));
}

}  // namespace quillbeaker
