// SPDX-License-Identifier: MIT
#include <windows.h>

#include <climits>

#include "platform/charset_table.h"
#include "platform/windows/wide.h"

namespace quillbeaker {

std::optional<std::string> ConvertToUtf8(std::string_view bytes, const Charset& charset) {
  if (bytes.size() > INT_MAX) return std::nullopt;
  // The ISO-2022 pages refuse every flag.
  const DWORD flags = charset.code_page >= 50220 && charset.code_page <= 50229 ? 0 : MB_ERR_INVALID_CHARS;
  const int size = static_cast<int>(bytes.size());
  const int length = MultiByteToWideChar(charset.code_page, flags, bytes.data(), size, nullptr, 0);
  if (length <= 0) return std::nullopt;
  std::wstring wide(static_cast<std::size_t>(length), L'\0');
  if (MultiByteToWideChar(charset.code_page, flags, bytes.data(), size, wide.data(), length) != length) {
    return std::nullopt;
  }
  return Utf8FromWide(wide);
}

}  // namespace quillbeaker
