// SPDX-License-Identifier: MIT
#pragma once

// The character sets that mail is shown in, and how the two systems call them. For platform/ alone.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace quillbeaker {

struct Charset {
  std::string_view name;  // in a mail, in lower case
  std::uint32_t code_page;
  const char* iconv_name;
};

// Each system's own. Only for bytes that are neither ASCII nor UTF-8 by their charset.
std::optional<std::string> ConvertToUtf8(std::string_view bytes, const Charset& charset);

}  // namespace quillbeaker
