// SPDX-License-Identifier: MIT
#include "platform/charset.h"

#include <algorithm>

#include "platform/charset_table.h"

namespace quillbeaker {
namespace {

// A closed table: the name in a mail is a stranger's, and iconv takes names that load modules and change how
// it converts. UTF-7 and UTF-16 are left out, since the text of a mail in them is not what any filter saw.
// Deliberate: ISO-8859-1 is Windows-1252, as in browsers and mail programs, whose mail says the one and means
// the other.
constexpr Charset kCharsets[] = {
    // clang-format off
    {"iso-8859-1", 1252, "WINDOWS-1252"},
    {"iso8859-1", 1252, "WINDOWS-1252"},
    {"latin1", 1252, "WINDOWS-1252"},
    {"windows-1252", 1252, "WINDOWS-1252"},
    {"cp1252", 1252, "WINDOWS-1252"},
    {"iso-8859-2", 28592, "ISO-8859-2"},
    {"iso8859-2", 28592, "ISO-8859-2"},
    {"latin2", 28592, "ISO-8859-2"},
    {"iso-8859-3", 28593, "ISO-8859-3"},
    {"iso-8859-4", 28594, "ISO-8859-4"},
    {"iso-8859-5", 28595, "ISO-8859-5"},
    {"iso-8859-6", 28596, "ISO-8859-6"},
    {"iso-8859-7", 28597, "ISO-8859-7"},
    {"iso-8859-8", 28598, "ISO-8859-8"},
    {"iso-8859-8-i", 28598, "ISO-8859-8"},
    {"iso-8859-9", 28599, "ISO-8859-9"},
    {"latin5", 28599, "ISO-8859-9"},
    {"iso-8859-13", 28603, "ISO-8859-13"},
    {"iso-8859-15", 28605, "ISO-8859-15"},
    {"iso8859-15", 28605, "ISO-8859-15"},
    {"latin9", 28605, "ISO-8859-15"},
    {"windows-874", 874, "CP874"},
    {"tis-620", 874, "CP874"},
    {"windows-1250", 1250, "WINDOWS-1250"},
    {"cp1250", 1250, "WINDOWS-1250"},
    {"windows-1251", 1251, "WINDOWS-1251"},
    {"cp1251", 1251, "WINDOWS-1251"},
    {"windows-1253", 1253, "WINDOWS-1253"},
    {"cp1253", 1253, "WINDOWS-1253"},
    {"windows-1254", 1254, "WINDOWS-1254"},
    {"cp1254", 1254, "WINDOWS-1254"},
    {"windows-1255", 1255, "CP1255"},
    {"cp1255", 1255, "CP1255"},
    {"windows-1256", 1256, "WINDOWS-1256"},
    {"cp1256", 1256, "WINDOWS-1256"},
    {"windows-1257", 1257, "WINDOWS-1257"},
    {"cp1257", 1257, "WINDOWS-1257"},
    {"windows-1258", 1258, "CP1258"},
    {"cp1258", 1258, "CP1258"},
    {"ibm437", 437, "CP437"},
    {"cp437", 437, "CP437"},
    {"ibm850", 850, "CP850"},
    {"cp850", 850, "CP850"},
    {"ibm852", 852, "CP852"},
    {"cp852", 852, "CP852"},
    {"ibm866", 866, "CP866"},
    {"cp866", 866, "CP866"},
    {"koi8-r", 20866, "KOI8-R"},
    {"koi8-u", 21866, "KOI8-U"},
    {"macintosh", 10000, "MACINTOSH"},
    {"gb2312", 936, "GBK"},
    {"gbk", 936, "GBK"},
    {"cp936", 936, "GBK"},
    {"gb18030", 54936, "GB18030"},
    {"big5", 950, "BIG5"},
    {"shift_jis", 932, "CP932"},
    {"shift-jis", 932, "CP932"},
    {"x-sjis", 932, "CP932"},
    {"cp932", 932, "CP932"},
    {"euc-jp", 20932, "EUC-JP"},
    {"iso-2022-jp", 50220, "ISO-2022-JP"},
    {"euc-kr", 949, "CP949"},
    {"ks_c_5601-1987", 949, "CP949"},
    {"iso-2022-kr", 50225, "ISO-2022-KR"},
    // clang-format on
};

constexpr std::size_t kLongestName = 24;

char ToLower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool IsAscii(std::string_view bytes) {
  return std::all_of(bytes.begin(), bytes.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

}  // namespace

std::optional<std::string> Utf8FromCharset(std::string_view bytes, std::string_view charset) {
  if (charset.size() > kLongestName) return std::nullopt;
  std::string name(charset);
  std::transform(name.begin(), name.end(), name.begin(), ToLower);
  if (name == "us-ascii" || name == "ascii") {
    return IsAscii(bytes) ? std::optional(std::string(bytes)) : std::nullopt;
  }
  const auto row = std::find_if(std::begin(kCharsets), std::end(kCharsets),
                                [&name](const Charset& one) { return one.name == name; });
  if (row == std::end(kCharsets)) return std::nullopt;
  if (bytes.empty()) return std::string();
  return ConvertToUtf8(bytes, *row);
}

}  // namespace quillbeaker
