// SPDX-License-Identifier: MIT
// Encoded words of header values (RFC 2047).
#include <cstddef>

#include "message/decoded_text.h"

namespace quillbeaker {

// "=?charset?Q?text?=": the charset is skipped over, since bytes stay in the mail's own. What does not go on
// like this ends the search, also when a valid word follows.
std::string DecodeEncodedWord(std::string_view value) {
  constexpr auto kNone = std::string_view::npos;
  const std::size_t start = value.find("=?");
  if (start == kNone) return std::string(value);
  const std::size_t mark = value.find('?', start + 2);
  if (mark == kNone || value.size() - mark < 3 || value[mark + 2] != '?') return std::string(value);
  const char encoding = value[mark + 1];
  const bool is_quoted = encoding == 'Q' || encoding == 'q';
  if (!is_quoted && encoding != 'B' && encoding != 'b') return std::string(value);

  std::string_view encoded = value.substr(mark + 3);
  encoded = encoded.substr(0, encoded.find("?="));
  std::string decoded(value.substr(0, start));
  decoded.append(encoded);
  if (is_quoted) {
    DecodeQuotedPrintable(decoded, start);
  } else {
    DecodeBase64(decoded, start);
  }
  return decoded;
}

}  // namespace quillbeaker
