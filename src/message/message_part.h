// SPDX-License-Identifier: MIT
#pragma once

// What a parsed mail is made of: header fields (RFC 5322) and the tree of MIME parts (RFC 2046), as plain
// records whose views point into the text of the message that owns them, and the look-ups on them. Reading a
// text into such records is mail_message.h's.

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <span>
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

// One unfolded header field. Deliberate: look-ups and the classifier see name and value cut to the limits
// above; what is written back is the full text, so that delivered mail is never damaged.
struct HeaderField {
  std::string_view name;
  std::string_view value;
  std::string_view full_name;
  std::string_view full_value;
  HeaderKind kind = kHeaderOther;
};

// Splits an unfolded header line at its first colon; nothing without one. The views point into `line`.
std::optional<HeaderField> ParseHeaderLine(std::string_view line);

// The header fields of one part, in the order of the text. Only their lines are kept, and a field is read
// from its line at every look: a hostile mail is made of millions of them, each a few bytes long.
class HeaderFields {
 public:
  class Iterator {
   public:
    using iterator_category = std::input_iterator_tag;
    using value_type = HeaderField;
    using difference_type = std::ptrdiff_t;
    using pointer = const HeaderField*;
    using reference = HeaderField;

    explicit Iterator(const std::string_view* line) : line_(line) {}
    HeaderField operator*() const { return ParseHeaderLine(*line_).value_or(HeaderField{}); }
    Iterator& operator++() {
      ++line_;
      return *this;
    }
    bool operator==(const Iterator& other) const = default;

   private:
    const std::string_view* line_;
  };

  // Appends the field of an unfolded line, which is not copied. No-op without a colon in it.
  void Add(std::string_view line);
  // Gives memory back that was reserved for more fields than there are.
  void ShrinkToFit();

  bool empty() const { return lines_.empty(); }
  std::size_t size() const { return lines_.size(); }
  HeaderField operator[](std::size_t index) const { return *Iterator(lines_.data() + index); }
  HeaderField back() const { return (*this)[size() - 1]; }
  Iterator begin() const { return Iterator(lines_.data()); }
  Iterator end() const { return Iterator(lines_.data() + lines_.size()); }
  // The lines that the fields are read from, for a look-up that needs the names alone.
  std::span<const std::string_view> lines() const { return lines_; }

 private:
  std::vector<std::string_view> lines_;  // each with a colon in it
};

// A node of the part tree. Parts are owned by their MailMessage; the pointers never own.
struct MessagePart {
  HeaderFields fields;
  std::string_view body;      // begins with the empty line's CR LF; empty when the part has none
  std::string_view boundary;  // the delimiter that this part declares
  bool has_boundary = false;  // an empty boundary is one too
  MessagePart* parent = nullptr;
  MessagePart* first_child = nullptr;
  MessagePart* last_child = nullptr;
  MessagePart* next = nullptr;  // next sibling
};

// The part's first field whose kind contains all bits of `mask`; nothing when there is none.
std::optional<HeaderField> FirstField(const MessagePart& part, HeaderKind mask);

// Value of the part's first field of that kind, or of that name without regard to case; nothing when there is
// none.
std::optional<std::string_view> FindPartField(const MessagePart& part, HeaderKind mask);
std::optional<std::string_view> FindPartField(const MessagePart& part, std::string_view name);

// The part that follows in a walk over the whole tree, parents before children, children in text order; null
// at the end.
const MessagePart* NextPart(const MessagePart* part);

}  // namespace quillbeaker
