// SPDX-License-Identifier: MIT
#pragma once

// A parsed mail (RFC 5322, RFC 2045): its header fields and its tree of MIME parts, over one buffer of raw bytes.
// Parsing never fails and never recurses; a byte of any value, NUL included, is an ordinary byte. Not for decoding bodies
// (decoded_text.h), dates (mail_date.h) or senders (mail_sender.h).

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quillbeaker {

// One bit per kind, so that a look-up can ask for a mask.
enum HeaderKind : std::uint16_t {
  kHeaderOther = 1,
  kHeaderTo = 2,
  kHeaderFrom = 4,
  kHeaderContentType = 8,
  kHeaderBcc = 16,
  kHeaderCc = 32,
  kHeaderSubject = 64,
  kHeaderDate = 128,
};

inline constexpr std::size_t kMaxHeaderName = 254;    // bytes
inline constexpr std::size_t kMaxHeaderValue = 1023;  // bytes

// One unfolded header field; the views point into the message that owns it. Look-ups and the classifier see name and
// value cut to the limits above; what is written back is the full text, so that delivered mail is never damaged.
struct HeaderField {
  std::string_view name;
  std::string_view value;
  std::string_view full_name;
  std::string_view full_value;
  HeaderKind kind = kHeaderOther;
};

// A node of the part tree. Parts are owned by their MailMessage; the pointers never own.
struct MessagePart {
  std::vector<HeaderField> fields;  // in the order of the text
  std::string_view body;            // begins with the empty line's CR LF; empty when the part has none
  std::string_view boundary;        // the delimiter that this part declares
  bool has_boundary = false;        // an empty boundary is one too
  MessagePart* parent = nullptr;
  MessagePart* first_child = nullptr;
  MessagePart* last_child = nullptr;
  MessagePart* next = nullptr;  // next sibling
};

class MailMessage {
 public:
  MailMessage() = default;
  MailMessage(const MailMessage&) = delete;
  MailMessage& operator=(const MailMessage&) = delete;

  // Result codes differ from call to call and are part of the contract.
  enum LoadResult { kLoaded = 0, kLoadFailed = 1 };
  enum ParseResult { kParsed = 1 };
  enum SaveResult { kSaved = 0, kSaveFailed = -1 };

  void Clear();
  // On failure the record is empty.
  LoadResult LoadFromFile(const std::string& path);
  // Takes the text over without copying it. size() is its length, also when it is empty.
  ParseResult ParseText(std::string text);
  // The whole text is the root's body: no header block is read, delimiter lines are honoured all the same.
  ParseResult ParseBodyOnly(std::string text);

  // The message written back from its fields and parts: header lines re-folded at 70 characters, boundary lines
  // re-emitted. Nothing for an empty record.
  std::optional<std::string> Serialise() const;
  // Writes the serialised text, flushed to the disk when asked. kSaveFailed for an empty record (no file is made) or when
  // the file cannot be written whole.
  SaveResult SaveToFile(const std::string& path, bool flush = false) const;

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
  std::unique_ptr<char[]> buffer_;     // the raw text; header lines are unfolded inside it
  std::deque<MessagePart> parts_;      // all parts, the root first; a deque keeps their addresses
  std::deque<std::string> added_text_; // lines given to AddField
  std::uint32_t size_ = 0;
};

// Splits a header line at its first colon; nothing without one. The views point into `line`.
std::optional<HeaderField> ParseHeaderLine(std::string_view line);

// Value of the part's first field of that kind or name, or nothing.
std::optional<std::string_view> FindPartField(const MessagePart& part, HeaderKind mask);
std::optional<std::string_view> FindPartField(const MessagePart& part, std::string_view name);

// The part that follows in a walk over the whole tree, parents before children, children in text order; null at the end.
const MessagePart* NextPart(const MessagePart* part);

}  // namespace quillbeaker
