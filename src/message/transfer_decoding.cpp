// SPDX-License-Identifier: MIT
// The transfer encodings of RFC 2045, read as leniently as mail is written.
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "message/decoded_text.h"

namespace quillbeaker {

namespace {

constexpr std::uint8_t kNoDigit = 0xFF;

constexpr std::array<std::uint8_t, 256> MakeHexTable() {
  std::array<std::uint8_t, 256> table{};
  table.fill(kNoDigit);
  for (unsigned digit = 0; digit < 10; ++digit) table['0' + digit] = static_cast<std::uint8_t>(digit);
  for (unsigned digit = 10; digit < 16; ++digit) {
    table['A' + digit - 10] = static_cast<std::uint8_t>(digit);
    table['a' + digit - 10] = static_cast<std::uint8_t>(digit);
  }
  return table;
}

// In the Base64 table, values from 64 on are no digits.
constexpr std::uint8_t kPad = 64;
constexpr std::uint8_t kSkipped = 128;

constexpr std::array<std::uint8_t, 256> MakeBase64Table() {
  constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::array<std::uint8_t, 256> table{};
  table.fill(kSkipped);
  for (unsigned digit = 0; digit < 64; ++digit) {
    table[static_cast<unsigned char>(kAlphabet[digit])] = static_cast<std::uint8_t>(digit);
  }
  table['='] = kPad;
  return table;
}

constexpr auto kHexDigits = MakeHexTable();
constexpr auto kBase64Digits = MakeBase64Table();

std::uint8_t HexDigit(char c) {
  return kHexDigits[static_cast<unsigned char>(c)];
}
std::uint8_t Base64Digit(char c) {
  return kBase64Digits[static_cast<unsigned char>(c)];
}

// The number that two characters stand for, read up to the first that is no hexadecimal digit: "4z" is 4,
// "z4" is 0.
unsigned HexNumber(const char* two) {
  const unsigned high = HexDigit(two[0]);
  const unsigned low = HexDigit(two[1]);
  if (high == kNoDigit) return 0;
  return low == kNoDigit ? high : high * 16 + low;
}

const char* FindOrEnd(const char* from, const char* end, char wanted) {
  if (from == end) return end;
  const void* found = std::memchr(from, wanted, static_cast<std::size_t>(end - from));
  return found == nullptr ? end : static_cast<const char*>(found);
}

// Decodes up to four digits, the missing ones being pads. Returns false when the group holds a pad, which
// ends the text.
bool WriteGroup(const std::uint8_t (&group)[4], char*& out) {
  if (group[0] >= kPad || group[1] >= kPad) return false;
  *out++ = static_cast<char>(group[0] << 2 | group[1] >> 4);
  if (group[2] >= kPad) return false;
  *out++ = static_cast<char>(group[1] << 4 | group[2] >> 2);
  if (group[3] >= kPad) return false;
  *out++ = static_cast<char>(group[2] << 6 | group[3]);
  return true;
}

}  // namespace

// Deliberate: "_" is a blank in bodies too, and a value of 0 writes nothing but moves on, so that the byte
// already standing at that place of the buffer stays. Learnt words depend on both, which is why this decodes
// in place.
void DecodeQuotedPrintable(std::string& text, std::size_t from) {
  if (from >= text.size()) return;
  const char* in = text.data() + from;
  const char* const end = text.data() + text.size();
  char* out = text.data() + from;
  const char* next_equals = FindOrEnd(in, end, '=');
  const char* next_underline = FindOrEnd(in, end, '_');
  while (in < end) {
    const char* const special = next_equals < next_underline ? next_equals : next_underline;
    const auto run = static_cast<std::size_t>(special - in);
    if (out != in) std::memmove(out, in, run);
    out += run;
    in = special;
    if (in == end) break;
    if (*in == '_') {
      *out++ = ' ';
      ++in;
      next_underline = FindOrEnd(in, end, '_');
      continue;
    }
    if (end - in < 3) {
      // Nothing behind it to read: the "=" stands for itself.
      *out++ = *in++;
    } else {
      const bool is_soft_break = in[1] == '\r' && in[2] == '\n';
      const unsigned value = HexNumber(in + 1);
      if (value != 0) *out = static_cast<char>(value);
      if (!is_soft_break) ++out;
      in += 3;
    }
    next_equals = FindOrEnd(in, end, '=');
    // "=_x" has eaten an underline.
    if (next_underline < in) next_underline = FindOrEnd(in, end, '_');
  }
  text.resize(static_cast<std::size_t>(out - text.data()));
}

// Deliberate: ends at the first group with a pad; text behind it is lost. An unfinished group at the end of
// the text is filled up with pads.
void DecodeBase64(std::string& text, std::size_t from) {
  if (from >= text.size()) return;
  const char* in = text.data() + from;
  const char* const end = text.data() + text.size();
  char* out = text.data() + from;
  std::uint8_t group[4];
  std::size_t filled = 0;
  while (in < end) {
    if (filled == 0 && end - in >= 4) {
      const unsigned a = Base64Digit(in[0]);
      const unsigned b = Base64Digit(in[1]);
      const unsigned c = Base64Digit(in[2]);
      const unsigned d = Base64Digit(in[3]);
      if ((a | b | c | d) < kPad) {
        const unsigned bits = a << 18 | b << 12 | c << 6 | d;
        *out++ = static_cast<char>(bits >> 16);
        *out++ = static_cast<char>(bits >> 8 & 0xFF);
        *out++ = static_cast<char>(bits & 0xFF);
        in += 4;
        continue;
      }
    }
    const std::uint8_t digit = Base64Digit(*in++);
    if (digit == kSkipped) continue;
    group[filled++] = digit;
    if (filled < 4) continue;
    filled = 0;
    if (!WriteGroup(group, out)) {
      text.resize(static_cast<std::size_t>(out - text.data()));
      return;
    }
  }
  if (filled > 0) {
    while (filled < 4) group[filled++] = kPad;
    WriteGroup(group, out);
  }
  text.resize(static_cast<std::size_t>(out - text.data()));
}

}  // namespace quillbeaker
