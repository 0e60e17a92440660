// SPDX-License-Identifier: MIT
#pragma once

// A parsed mail (RFC 5322, RFC 2045): its header fields and its tree of MIME parts, over one buffer of raw
// bytes. Parsing never fails and never recurses. Deliberate: a byte of any value, NUL included, is an
// ordinary byte, or the rest of such a mail would be lost on its way. Not for decoding bodies
// (decoded_text.h), dates (mail_date.h) or senders (mail_sender.h).

#include <cstdint>
#include <forward_list>
#include <list>
#include <optional>
#include <string>
#include <string_view>

#include "message/message_part.h"

namespace quillbeaker {

class MailMessage {
 public:
  MailMessage() = default;
  MailMessage(const MailMessage&) = delete;
  MailMessage& operator=(const MailMessage&) = delete;

  // Result codes differ from call to call and are part of the contract.
  enum LoadResult { kLoaded = 0, kLoadFailed = 1 };
  enum ParseResult { kParsed = 1 };

  void Clear();
  // On failure the record is empty.
  LoadResult LoadFromFile(const std::string& path);
  // Takes the text over; it is copied only when its memory is much larger than it is. size() is its length,
  // also when it is empty.
  ParseResult ParseText(std::string text);
  // The whole text is the root's body: no header block is read, and with it no boundary.
  ParseResult ParseBodyOnly(std::string text);

  // The message written back from its fields and parts: header lines re-folded at 70 characters, boundary
  // lines re-emitted. Nothing for an empty record.
  std::optional<std::string> Serialise() const;

  // Value of the root's first field of that name (without regard to case), or nothing.
  std::optional<std::string_view> FindField(std::string_view name) const;
  // Value of the root's first field whose kind contains all bits of `mask`, or nothing.
  std::optional<std::string_view> FindField(HeaderKind mask) const;
  // Appends "name: value" to the root's fields as if it had been a header line. No-op on an empty record.
  void AddField(std::string_view name, std::string_view value);

  bool empty() const { return parts_.empty(); }
  const MessagePart* root() const { return parts_.empty() ? nullptr : &parts_.front(); }
  // Bytes of the text as it was read or given, before parsing.
  std::uint32_t size() const { return size_; }

 private:
  void TakeText(std::string text);

  // The raw text; header lines are unfolded inside it and everything else points into it, which is why a
  // message can neither be copied nor moved.
  std::string text_;
  std::list<MessagePart> parts_;                // all parts, the root first
  std::forward_list<std::string> added_lines_;  // given to AddField
  std::uint32_t size_ = 0;
};

}  // namespace quillbeaker
