// SPDX-License-Identifier: MIT
#include "message/mime_parts.h"

#include <algorithm>
#include <cstddef>

#include "config/ascii.h"
#include "message/boundary_tree.h"
#include "message/header_block.h"

namespace quillbeaker {

namespace {

constexpr std::string_view kDelimiterStart = "\r\n--";

// A mail of nothing but header lines or delimiters would take many times its size in memory. No mail has so
// many; what stands behind the last one stays text of the part that it stands in, and is delivered with that.
constexpr std::size_t kMostFields = 2'000'000;  // of all parts together
constexpr std::size_t kMostParts = 500'000;

// One walk over the text of one mail.
class PartReader {
 public:
  PartReader(char* begin, char* end, std::list<MessagePart>& parts)
      : begin_(begin), end_(end), text_(begin, static_cast<std::size_t>(end - begin)), parts_(parts) {}

  void Read() {
    OpenPart(nullptr, 0);
    while (ReadDelimiter()) {
    }
  }

 private:
  void OpenPart(MessagePart* parent, std::size_t start);
  void ReadBoundary(MessagePart& part);
  bool ReadDelimiter();
  void CutCurrent(std::size_t at);
  void ReopenLast();

  char* const begin_;
  char* const end_;
  const std::string_view text_;
  std::list<MessagePart>& parts_;

  // Deliberate: only the boundaries down the chain of first children count, the root's first. A multipart
  // that is not the first part of its parent keeps its inner parts as one undivided text.
  BoundaryTree chain_;
  MessagePart* current_ = nullptr;  // whose body the walk is in; null behind a closing delimiter
  std::size_t position_ = 0;        // offset where the search for delimiters goes on
  std::size_t open_parts_ = 0;      // delimiters that opened a part less those that closed one
  std::size_t field_count_ = 0;     // of all parts so far
};

// Makes the part whose text begins at `start` the current one.
void PartReader::OpenPart(MessagePart* parent, std::size_t start) {
  MessagePart& part = parts_.emplace_back();
  const bool continues_chain = parent == nullptr || parent->first_child == nullptr;
  part.parent = parent;
  if (parent != nullptr) {
    (parent->first_child == nullptr ? parent->first_child : parent->last_child->next) = &part;
    parent->last_child = &part;
  }
  char* const body = ReadHeaderBlock(begin_ + start, end_, kMostFields - field_count_, part.fields);
  part.fields.ShrinkToFit();
  field_count_ += part.fields.size();
  position_ = static_cast<std::size_t>(body - begin_);
  part.body = text_.substr(position_);
  ReadBoundary(part);
  // A part gets children only by its own boundary, so the parent of a first child is the chain's last link.
  if (continues_chain && part.has_boundary) chain_.Add(part);
  current_ = &part;
}

void PartReader::ReadBoundary(MessagePart& part) {
  const std::optional<HeaderField> content_type = FirstField(part, kHeaderContentType);
  if (!content_type) return;
  // From the full value: a boundary behind the look-up limit must still split the mail, or it is delivered
  // damaged.
  if (const auto boundary = BoundaryOf(content_type->full_value)) {
    part.boundary = *boundary;
    part.has_boundary = true;
  }
}

// Goes to the next line that begins with "--" and acts on it. False when the walk has come to its end.
bool PartReader::ReadDelimiter() {
  if (chain_.empty()) return false;
  const std::size_t start = text_.find(kDelimiterStart, position_);
  if (start == std::string_view::npos) return false;
  const std::size_t line = start + kDelimiterStart.size();
  const auto line_end = static_cast<std::size_t>(FindLineEnd(begin_ + line, end_) - begin_);
  const std::string_view content = text_.substr(line, line_end - line);
  position_ = line_end;

  const BoundaryTree::Match match = chain_.Find(content);
  if (match.part == nullptr) return true;
  const bool opens = content.substr(match.length).substr(0, 2) != "--";
  if (opens && parts_.size() >= kMostParts) {
    ++open_parts_;
    ReopenLast();
    return true;
  }
  CutCurrent(start);
  if (opens) {
    ++open_parts_;
    OpenPart(match.part, line_end == text_.size() ? line_end : line_end + 2);
    return true;
  }
  // What follows a closing delimiter belongs to no part until the next delimiter. One more closing than
  // opening delimiters ends the mail.
  current_ = nullptr;
  if (open_parts_ == 0) return false;
  --open_parts_;
  return true;
}

void PartReader::CutCurrent(std::size_t at) {
  if (current_ == nullptr) return;
  const auto body_start = static_cast<std::size_t>(current_->body.data() - begin_);
  current_->body = current_->body.substr(0, at - body_start);
}

// One part more than there may be: its text joins that of the last one, also behind a closing delimiter.
void PartReader::ReopenLast() {
  current_ = &parts_.back();
  current_->body = text_.substr(static_cast<std::size_t>(current_->body.data() - begin_));
}

}  // namespace

void ReadParts(char* begin, char* end, std::list<MessagePart>& parts) {
  PartReader(begin, end, parts).Read();
}

// Deliberate: read this loosely. The value begins behind the next "=" wherever that stands and ends at the
// first ";", also inside quotes; what parses more strictly splits other mails than the one before it did.
std::optional<std::string_view> BoundaryOf(std::string_view content_type) {
  constexpr std::string_view kWord = "boundary";
  if (FindIgnoringCase(content_type, "multipart") == std::string_view::npos) return std::nullopt;
  const std::size_t word = FindIgnoringCase(content_type, kWord);
  if (word == std::string_view::npos) return std::nullopt;
  const std::string_view rest = content_type.substr(word + kWord.size());
  const std::size_t equals = rest.find('=');
  const std::size_t start = equals == std::string_view::npos ? 0 : equals + 1;
  const std::size_t semicolon = std::min(rest.find(';'), rest.size());
  if (semicolon < start) return rest.substr(semicolon, 0);
  std::string_view boundary = TrimBlanks(rest.substr(start, semicolon - start));
  if (boundary.size() >= 2 && boundary.front() == '"' && boundary.back() == '"') {
    boundary = boundary.substr(1, boundary.size() - 2);
  }
  return boundary;
}

}  // namespace quillbeaker
