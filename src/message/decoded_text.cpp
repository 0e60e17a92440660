// SPDX-License-Identifier: MIT
#include "message/decoded_text.h"

#include <algorithm>
#include <cstddef>

#include "config/ascii.h"

namespace quillbeaker {

namespace {

bool Contains(std::string_view text, std::string_view word) {
  return FindIgnoringCase(text, word) != std::string_view::npos;
}

// Appends at most `capacity` bytes of the part's body before they are decoded, which only makes them fewer.
void AppendDecodedBody(const MessagePart& part, bool strip_html, std::size_t capacity, std::string& out) {
  const auto content_type = FindPartField(part, kHeaderContentType);
  // Attachments, images and the preambles of multiparts are not text. Deliberate: a part without Content-Type
  // is text, as RFC 2045 (section 5.2) has it, also where it is nothing that a reader would see.
  if (content_type && !Contains(*content_type, "text/")) return;
  const std::size_t start = out.size();
  out.append(part.body.substr(0, capacity));
  if (const auto encoding = FindPartField(part, "Content-Transfer-Encoding")) {
    if (EqualsIgnoringCase(*encoding, "quoted-printable")) {
      DecodeQuotedPrintable(out, start);
    } else if (EqualsIgnoringCase(*encoding, "base64")) {
      DecodeBase64(out, start);
    }
  }
  if (strip_html && content_type && Contains(*content_type, "text/html")) RemoveHtml(out, start);
}

}  // namespace

bool DecodeText(const MailMessage& message, bool strip_html, std::string& out) {
  if (message.empty() || message.size() == 0) return false;
  out.clear();
  // Deliberate: one byte short of the message's size, so a text without any header loses its last byte.
  const std::size_t limit = message.size() - 1;
  for (const MessagePart* part = message.root(); part != nullptr; part = NextPart(part)) {
    AppendDecodedBody(*part, strip_html, limit - out.size(), out);
  }
  return true;
}

}  // namespace quillbeaker
