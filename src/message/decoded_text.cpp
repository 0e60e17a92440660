// SPDX-License-Identifier: MIT
#include "message/decoded_text.h"

#include <algorithm>
#include <cstddef>
#include <optional>

#include "config/ascii.h"

namespace quillbeaker {

namespace {

// Of one part, when its links are looked for.
constexpr std::size_t kMostHtmlForLinks = 1024 * 1024;

bool Contains(std::string_view text, std::string_view word) {
  return FindIgnoringCase(text, word) != std::string_view::npos;
}

// Attachments, images and the preambles of multiparts are not text. Deliberate: a part without Content-Type
// is text, as RFC 2045 (section 5.2) has it, also where it is nothing that a reader would see.
bool IsText(const std::optional<std::string_view>& content_type) {
  return !content_type || Contains(*content_type, "text/");
}

void UndoTransferEncoding(const MessagePart& part, std::string& out, std::size_t start) {
  const auto encoding = FindPartField(part, "Content-Transfer-Encoding");
  if (!encoding) return;
  if (EqualsIgnoringCase(*encoding, "quoted-printable")) {
    DecodeQuotedPrintable(out, start);
  } else if (EqualsIgnoringCase(*encoding, "base64")) {
    DecodeBase64(out, start);
  }
}

// Appends at most `capacity` bytes of the part's body before they are decoded, which only makes them fewer.
void AppendDecodedBody(const MessagePart& part, bool strip_html, std::size_t capacity, std::string& out) {
  const auto content_type = FindPartField(part, kHeaderContentType);
  if (!IsText(content_type)) return;
  const std::size_t start = out.size();
  out.append(part.body.substr(0, capacity));
  UndoTransferEncoding(part, out, start);
  if (strip_html && content_type && Contains(*content_type, "text/html")) RemoveHtml(out, start);
}

void DropLast(std::string& text, std::size_t count) {
  text.resize(text.size() - std::min(count, text.size()));
}

// Where the last tag begins that is not closed yet.
std::size_t StartOfOpenTag(std::string_view html) {
  const std::size_t closed = html.rfind('>');
  return std::min(html.find('<', closed == std::string_view::npos ? 0 : closed), html.size());
}

// The first `wanted` bytes of what AppendDecodedBody would append. More and more of the body is decoded until
// they are there and nothing that follows could still change them.
void DecodeFront(const MessagePart& part, std::string_view body, std::size_t wanted,
                 const std::function<void(std::string_view, std::string_view)>& on_html,
                 DecodedPart& decoded) {
  // Longer than anything of the encodings and of "&nbsp;" that can be cut in two.
  constexpr std::size_t kUnsettled = 8;
  constexpr std::size_t kMoreEachTime = 8;
  std::string& text = decoded.text;
  for (std::size_t taken = 2 * wanted + 1024;; taken *= kMoreEachTime) {
    const bool is_all = taken >= body.size();
    text.assign(body.substr(0, taken));
    UndoTransferEncoding(part, text, 0);
    if (!is_all) DropLast(text, kUnsettled);
    if (decoded.is_html) {
      if (!is_all) text.resize(StartOfOpenTag(text));
      const std::string html = on_html ? text.substr(0, kMostHtmlForLinks) : std::string();
      RemoveHtml(text);
      if (!is_all) DropLast(text, kUnsettled);
      if ((is_all || text.size() >= wanted) && on_html) on_html(html, decoded.charset);
    }
    if (is_all || text.size() >= wanted) break;
  }
  text.resize(std::min(text.size(), wanted));
}

// The value of the parameter (RFC 2045, section 5.1), or nothing.
std::string_view ParameterOf(std::string_view field, std::string_view name) {
  for (std::size_t at = FindIgnoringCase(field, name); at != std::string_view::npos;
       at = FindIgnoringCase(field, name, at + 1)) {
    const bool begins = at == 0 || std::string_view("; \t").find(field[at - 1]) != std::string_view::npos;
    std::string_view rest = TrimBlanks(field.substr(at + name.size()));
    if (!begins || rest.empty() || rest.front() != '=') continue;
    rest = TrimBlanks(rest.substr(1));
    if (!rest.empty() && rest.front() == '"') {
      rest.remove_prefix(1);
      return rest.substr(0, rest.find('"'));
    }
    return rest.substr(0, rest.find_first_of("; \t"));
  }
  return {};
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

std::vector<DecodedPart> DecodeParts(
    const MailMessage& message, std::size_t most,
    const std::function<void(std::string_view html, std::string_view charset)>& on_html) {
  std::vector<DecodedPart> parts;
  if (message.empty() || message.size() == 0) return parts;
  std::size_t so_far = 0;
  for (const MessagePart* part = message.root(); part != nullptr && so_far < most; part = NextPart(part)) {
    const auto content_type = FindPartField(*part, kHeaderContentType);
    if (!IsText(content_type)) continue;
    DecodedPart& decoded = parts.emplace_back();
    decoded.is_html = content_type && Contains(*content_type, "text/html");
    if (content_type) decoded.charset = ParameterOf(*content_type, "charset");
    DecodeFront(*part, part->body.substr(0, message.size() - 1 - so_far), most - so_far, on_html, decoded);
    so_far += decoded.text.size();
  }
  return parts;
}

}  // namespace quillbeaker
