// SPDX-License-Identifier: MIT
#include "message/shown_text.h"

#include <algorithm>
#include <optional>

#include "message/decoded_text.h"
#include "message/display_text.h"
#include "platform/charset.h"

namespace quillbeaker {
namespace {

constexpr std::size_t kLongestCharacter = 4;  // bytes, in every character set

// Bytes to show of `bytes`, which go on after them: `size`, or a little less where a UTF-8 character would be
// cut in two there.
std::size_t WholeUtf8(std::string_view bytes, std::size_t size) {
  for (std::size_t begin = size; begin > 0 && size - begin < kLongestCharacter; --begin) {
    const auto lead = static_cast<unsigned char>(bytes[begin - 1]);
    if ((lead & 0xC0) == 0x80) continue;
    if (lead < 0xC2 || lead > 0xF4) return size;
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    const bool is_cut = begin - 1 + length > size;
    return is_cut && IsUtf8(bytes.substr(begin - 1, length)) ? begin - 1 : size;
  }
  return size;
}

std::optional<std::string> InItsCharset(std::string_view bytes, std::size_t size, std::string_view charset) {
  if (charset.empty()) return std::nullopt;
  std::optional<std::string> text = Utf8FromCharset(bytes.substr(0, size), charset);
  const bool may_be_cut = size < bytes.size();
  for (std::size_t less = 1; !text && may_be_cut && less < kLongestCharacter && less <= size; ++less) {
    text = Utf8FromCharset(bytes.substr(0, size - less), charset);
  }
  return text;
}

// The first `size` of `bytes`.
std::string Show(std::string_view bytes, std::size_t size, std::string_view charset) {
  if (const auto text = InItsCharset(bytes, size, charset)) return DisplayText(*text);
  return DisplayText(bytes.substr(0, WholeUtf8(bytes, size)));
}

}  // namespace

ShownText TextToShow(const MailMessage& message) {
  ShownText shown;
  const auto add_links = [&shown](std::string_view html, std::string_view charset) {
    // Of a long one only the beginning was decoded, which may end within a character.
    const std::size_t size = html.size() > kMostShownBytes ? html.size() - kLongestCharacter : html.size();
    AddHtmlLinks(Show(html, size, charset), shown.links);
  };
  // A little more than is shown, to see whether a character ends there.
  const std::vector<DecodedPart> parts = DecodeParts(message, kMostShownBytes + kLongestCharacter, add_links);
  std::size_t room = kMostShownBytes;
  for (const DecodedPart& part : parts) {
    const std::size_t size = std::min(room, part.text.size());
    const std::string text = Show(part.text, size, part.charset);
    if (!part.is_html) AddTextLinks(text, shown.links);
    shown.text += text;
    room -= size;
  }
  return shown;
}

ShownText TextToShow(std::string_view stored) {
  ShownText shown;
  shown.text = Show(stored.substr(0, kMostShownBytes + kLongestCharacter),
                    std::min(stored.size(), kMostShownBytes), {});
  AddTextLinks(shown.text, shown.links);
  return shown;
}

}  // namespace quillbeaker
