// SPDX-License-Identifier: MIT
#include "pop3/upstream/reply_reader.h"

#include <algorithm>
#include <array>
#include <utility>

#include "config/ascii.h"

namespace quillbeaker {
namespace {

constexpr std::string_view kRefusal = "-ERR";

// Where a search for `terminator` must begin so that one that began in an earlier piece is still found.
std::size_t ResumeAt(std::size_t searched, std::string_view terminator) {
  return searched < terminator.size() ? 0 : searched - (terminator.size() - 1);
}

// Grows by at least a half, so that copying stays linear in the reply's length. A server is believed the more
// the more it has sent: what it announced is reserved up to a multiple of that.
void MakeRoom(std::string& text, std::size_t more, const ReplyFormat& format) {
  constexpr std::size_t kBelieved = 16;
  const std::size_t needed = text.size() + more;
  if (needed > text.capacity()) {
    const std::size_t announced = std::min(format.expected_size, needed * kBelieved);
    text.reserve(std::min(std::max(needed + needed / 2, announced), std::max(needed, format.limit)));
  }
}

// The bytes at the end of `text` with which a terminator may have begun.
std::string Tail(std::string_view text, std::string_view terminator) {
  return std::string(text.substr(text.size() - std::min(text.size(), terminator.size() - 1)));
}

}  // namespace

Reply ReadReply(const ReplySource& source, const ReplyFormat& format, const ReplyProgress& progress) {
  if (format.terminator.empty() || format.expected_size == 0 || format.chunk_size == 0) {
    return {ReplyStatus::kUnusable, {}};
  }
  Reply reply;
  reply.text.reserve(std::min({format.expected_size, kMaxReserved, format.limit}));
  std::string piece(format.chunk_size, '\0');
  bool cancelled = false;
  const auto finish = [&reply](ReplyStatus status) {
    reply.status = status;
    return std::move(reply);
  };
  while (reply.text.size() < format.limit) {
    const std::size_t room = std::min(piece.size(), format.limit - reply.text.size());
    const std::ptrdiff_t received = source(piece.data(), room);
    if (received <= 0) {
      return finish(ReplyStatus::kLost);
    }
    const std::size_t searched = reply.text.size();
    MakeRoom(reply.text, static_cast<std::size_t>(received), format);
    reply.text.append(piece, 0, static_cast<std::size_t>(received));
    cancelled |= progress && !progress(static_cast<std::size_t>(received));
    if (StartsWithIgnoringCase(reply.text, kRefusal)) {
      return finish(ReplyStatus::kRefused);
    }
    // Only where it is known to be no refusal: that ends with its line, and what is left of the reply is read
    // away later.
    if (cancelled && reply.text.size() >= kRefusal.size()) {
      return finish(ReplyStatus::kCancelled);
    }
    if (reply.text.find(format.terminator, ResumeAt(searched, format.terminator)) != std::string::npos) {
      return finish(ReplyStatus::kComplete);
    }
  }
  return finish(ReplyStatus::kLost);
}

bool SkipReply(const ReplySource& source, std::string_view already, std::string_view terminator,
               std::size_t limit) {
  if (already.find(terminator) != std::string_view::npos) {
    return true;
  }
  std::string window = Tail(already, terminator);
  std::array<char, 16384> piece;
  for (std::size_t skipped = 0; skipped <= limit;) {
    const std::ptrdiff_t received = source(piece.data(), piece.size());
    if (received <= 0) {
      return false;
    }
    window.append(piece.data(), static_cast<std::size_t>(received));
    if (window.find(terminator) != std::string::npos) {
      return true;
    }
    window = Tail(window, terminator);
    skipped += static_cast<std::size_t>(received);
  }
  return false;
}

}  // namespace quillbeaker
