// SPDX-License-Identifier: MIT
#pragma once

// Numbers of 32 bits as the files of the learnt words hold them: the least significant byte first.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace quillbeaker {

// Of the first four bytes, which must be there.
inline std::uint32_t LittleEndian32(std::string_view bytes) {
  std::uint32_t value = 0;
  for (std::size_t i = 4; i-- > 0;) value = (value << 8) | static_cast<unsigned char>(bytes[i]);
  return value;
}

inline void AppendLittleEndian32(std::string& out, std::uint32_t value) {
  for (int i = 0; i < 4; ++i, value >>= 8) out += static_cast<char>(value & 0xFF);
}

}  // namespace quillbeaker
