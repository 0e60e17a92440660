// SPDX-License-Identifier: MIT
#pragma once

// The plain text of a mail: its textual parts with their transfer encoding undone (RFC 2045) and, when asked,
// without HTML tags, joined in tree order. Bytes stay in the mail's own character set.

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "message/mail_message.h"

namespace quillbeaker {

// Appends nothing and returns false when the record is empty or its size is 0; else replaces `out` by the
// text, which is always shorter than the message's size. `out` keeps its memory, so that one string can serve
// many messages.
bool DecodeText(const MailMessage& message, bool strip_html, std::string& out);

// The text of one part, as DecodeText joins them.
struct DecodedPart {
  std::string text;
  std::string_view charset;  // as its Content-Type names it, in the message's memory; empty without
  bool is_html = false;      // was, before its tags were removed
};

// What DecodeText gives without HTML tags, part by part, as far as its first `most` bytes reach. Costs little
// beyond what it takes of each part, however long the part is. `on_html` gets each HTML part, its transfer
// encoding undone, as far as it was decoded for that and before its tags are removed.
std::vector<DecodedPart> DecodeParts(
    const MailMessage& message, std::size_t most,
    const std::function<void(std::string_view html, std::string_view charset)>& on_html);

// The single decoders, each in place on text[from..], cutting the string to its new length. Linear; bad input
// is no failure.
void DecodeQuotedPrintable(std::string& text, std::size_t from = 0);
void DecodeBase64(std::string& text, std::size_t from = 0);
void RemoveHtml(std::string& text, std::size_t from = 0);

// Undoes the first encoded word (RFC 2047) of a header value. Deliberate: everything behind that word is
// dropped.
std::string DecodeEncodedWord(std::string_view value);

}  // namespace quillbeaker
