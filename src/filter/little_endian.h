// SPDX-License-Identifier: MIT
#pragma once

// Numbers of 32 bits as the files of the learnt words hold them: the least significant byte first.

#include <cstddef>
#include <cstdint>
#include <optional>
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

// Takes numbers and blocks off the front of bytes that anybody may have written. Each gives nothing, and
// leaves the bytes as they are, when it would read beyond their end.
class LittleEndianReader {
 public:
  explicit LittleEndianReader(std::string_view bytes) : rest_(bytes) {}

  std::string_view rest() const { return rest_; }

  std::optional<std::uint32_t> Number() {
    if (rest_.size() < 4) return std::nullopt;
    const std::uint32_t number = LittleEndian32(rest_);
    rest_.remove_prefix(4);
    return number;
  }

  std::optional<std::string_view> Bytes(std::size_t size) {
    if (rest_.size() < size) return std::nullopt;
    const std::string_view bytes = rest_.substr(0, size);
    rest_.remove_prefix(size);
    return bytes;
  }

 private:
  std::string_view rest_;
};

}  // namespace quillbeaker
