// SPDX-License-Identifier: MIT
#include "pop3/upstream/message_listing.h"

#include <algorithm>

#include "config/ascii.h"
#include "config/leading_integer.h"
#include "pop3/upstream/reply_parser.h"

namespace quillbeaker {
namespace {

// The decimal number at the very start of the text, held at the top of 32 bits; 0 without one.
std::uint32_t NumberAtStart(std::string_view text) {
  const bool has_number = !text.empty() && text.front() >= '0' && text.front() <= '9';
  return has_number ? LeadingInteger<std::uint32_t>(text) : 0;
}

bool IsServerNumber(std::uint32_t number) {
  return number >= 1 && number <= kMaxServerNumber;
}

// The byte before a size: the first blank, or if there is none the first tab.
std::size_t SizeSeparator(std::string_view line) {
  const std::size_t blank = line.find(' ');
  return blank != std::string_view::npos ? blank : line.find('\t');
}

// Calls `visit` with each line. False when there are too many.
template <typename Visit>
bool ForEachLine(std::string_view body, const Visit& visit) {
  std::size_t count = 0;
  while (!body.empty()) {
    if (++count > kMaxListedMessages) {
      return false;
    }
    const std::string_view line = body.substr(0, body.find(kLineEnd));
    visit(line);
    body.remove_prefix(std::min(line.size() + kLineEnd.size(), body.size()));
  }
  return true;
}

}  // namespace

std::optional<std::vector<ListedMessage>> ParseListReply(std::string_view body) {
  std::vector<ListedMessage> messages;
  const bool whole = ForEachLine(body, [&messages](std::string_view line) {
    ListedMessage message{NumberAtStart(line), 0};
    const std::size_t separator = SizeSeparator(line);
    if (separator != std::string_view::npos) {
      message.size = NumberAtStart(line.substr(separator + 1));
    }
    if (IsServerNumber(message.number)) {
      messages.push_back(message);
    }
  });
  return whole ? std::optional(std::move(messages)) : std::nullopt;
}

std::optional<std::vector<ListedUniqueId>> ParseUidlReply(std::string_view body) {
  std::vector<ListedUniqueId> ids;
  const bool whole = ForEachLine(body, [&ids](std::string_view line) {
    const std::size_t separator = line.find_first_of(" \t");
    if (separator == std::string_view::npos) {
      return;
    }
    ids.push_back({NumberAtStart(line.substr(0, separator)), line.substr(separator + 1, kMaxUniqueId)});
  });
  return whole ? std::optional(std::move(ids)) : std::nullopt;
}

bool HasCapability(std::string_view body, std::string_view name) {
  bool found = false;
  const bool whole = ForEachLine(body, [&](std::string_view line) {
    found = found || EqualsIgnoringCase(line.substr(0, line.find(' ')), name);
  });
  return whole && found;
}

}  // namespace quillbeaker
