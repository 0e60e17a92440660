// SPDX-License-Identifier: MIT
#include "pop3/upstream/reply_parser.h"

#include <algorithm>

#include "config/ascii.h"

namespace quillbeaker {
namespace {

constexpr std::string_view kRefusal = "-ERR";
constexpr std::string_view kClosingLine = ".\r\n";

// Where a search for `terminator` must begin so that one that began in an earlier piece is still found.
std::size_t ResumeAt(std::size_t searched, std::string_view terminator) {
  return searched < terminator.size() ? 0 : searched - (terminator.size() - 1);
}

}  // namespace

ReplyParser::ReplyParser(ReplyKind kind, std::size_t announced) : kind_(kind), announced_(announced) {}

// Of the body.
std::size_t ReplyParser::Limit() const {
  return kind_ == ReplyKind::kMessage ? kMaxMessage : kMaxListing;
}

void ReplyParser::Prepare() {
  if (discarding_) return;
  body_.resize(std::min(announced_, kMaxReserved));
  body_.clear();
}

void ReplyParser::End(State state) {
  state_ = state;
  ended_ = true;
}

// What is left of the body is a tail in which a closing line may have begun; the CR LF of the status line
// stands before it, so that an empty body ends like any other.
void ReplyParser::Discard() {
  if (discarding_) return;
  discarding_ = true;
  if (body_.size() < kMultilineEnd.size()) body_.insert(0, kLineEnd);
  TrimToTail();
  body_.shrink_to_fit();
}

void ReplyParser::TrimToTail() {
  body_.erase(0, body_.size() - std::min(body_.size(), kMultilineEnd.size() - 1));
}

std::size_t ReplyParser::Take(std::string_view bytes) {
  const std::size_t offered = bytes.size();
  while (!ended_ && !bytes.empty()) {
    bytes.remove_prefix(in_body_ ? TakeBodyBytes(bytes) : TakeLineBytes(bytes));
  }
  return offered - bytes.size();
}

std::size_t ReplyParser::TakeLineBytes(std::string_view bytes) {
  const std::size_t room = kMaxStatusLine + kLineEnd.size() - line_.size();
  const std::size_t taken = BytesOfLine(bytes.substr(0, room));
  line_.append(bytes.substr(0, taken));
  if (StartsWithIgnoringCase(line_, kRefusal)) {
    state_ = State::kRefused;
  }
  if (line_.ends_with(kLineEnd)) {
    line_.resize(line_.size() - kLineEnd.size());
    EndLine();
  } else if (line_.size() >= kMaxStatusLine + kLineEnd.size()) {
    End(State::kTooLong);
  }
  taken_ += taken;
  return taken;
}

// Looked for before anything is copied: a whole message may have come with its status line.
std::size_t ReplyParser::BytesOfLine(std::string_view bytes) const {
  if (line_.ends_with('\r') && bytes.starts_with('\n')) return 1;
  const std::size_t end = bytes.find(kLineEnd);
  return end == std::string_view::npos ? bytes.size() : end + kLineEnd.size();
}

void ReplyParser::EndLine() {
  if (state_ == State::kRefused) {
    ended_ = true;
  } else if (kind_ == ReplyKind::kStatus) {
    End(State::kComplete);
  } else {
    in_body_ = true;
  }
}

std::size_t ReplyParser::TakeBodyBytes(std::string_view bytes) {
  MakeRoom(bytes.size());
  const std::size_t searched = body_.size();
  body_.append(bytes);
  taken_ += bytes.size();
  // An empty body leaves the bare closing line, whose CR LF came with the status line.
  const bool empty = !discarding_ && body_.starts_with(kClosingLine);
  const std::size_t end = empty ? 0 : body_.find(kMultilineEnd, ResumeAt(searched, kMultilineEnd));
  if (end == std::string::npos) {
    if (taken_ > Limit()) {
      End(State::kTooLong);
    }
    return bytes.size();
  }
  const std::size_t behind = body_.size() - (end + (empty ? kClosingLine : kMultilineEnd).size());
  body_.resize(end);
  End(State::kComplete);
  return bytes.size() - behind;
}

// Grows by at least a half, so that copying stays linear in the reply's length. A server is believed the more
// the more it has sent: what it announced is reserved up to a multiple of that.
void ReplyParser::MakeRoom(std::size_t more) {
  constexpr std::size_t kBelieved = 16;
  if (discarding_) return TrimToTail();
  const std::size_t needed = body_.size() + more;
  if (needed > body_.capacity()) {
    const std::size_t announced = std::min(announced_, needed * kBelieved);
    body_.reserve(std::max(needed + needed / 2, announced));
  }
}

}  // namespace quillbeaker
