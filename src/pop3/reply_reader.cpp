// SPDX-License-Identifier: MIT
#include "pop3/reply_reader.h"

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

// By at least a half, so that copying stays linear in the reply's length.
void Grow(std::string& buffer, const ReplyFormat& format) {
  const std::size_t step = std::max(format.chunk_size, buffer.size() / 2);
  buffer.resize(std::min(buffer.size() + step, format.limit));
}

// The bytes at the end of `text` with which a terminator may have begun.
std::string Tail(std::string_view text, std::string_view terminator) {
  return std::string(text.substr(text.size() - std::min(text.size(), terminator.size() - 1)));
}

}  // namespace

Reply ReadReply(const ReplySource& source, const ReplyFormat& format, const ReplyProgress& progress) {
  if (format.terminator.empty() || format.initial_capacity == 0 || format.chunk_size == 0) {
    return {ReplyStatus::kUnusable, {}};
  }
  std::string buffer(std::min(format.initial_capacity, format.limit), '\0');
  std::size_t filled = 0;
  const auto finish = [&](ReplyStatus status) {
    buffer.resize(filled);
    return Reply{status, std::move(buffer)};
  };
  while (true) {
    const std::size_t room = std::min(buffer.size() - filled, format.chunk_size);
    const std::ptrdiff_t received = source(buffer.data() + filled, room);
    if (received <= 0) {
      return finish(ReplyStatus::kLost);
    }
    const std::size_t searched = filled;
    filled += static_cast<std::size_t>(received);
    if (progress && !progress(static_cast<std::size_t>(received))) {
      return finish(ReplyStatus::kCancelled);
    }
    const std::string_view text(buffer.data(), filled);
    if (StartsWithIgnoringCase(text, kRefusal)) {
      return finish(ReplyStatus::kRefused);
    }
    if (text.find(format.terminator, ResumeAt(searched, format.terminator)) != std::string_view::npos) {
      return finish(ReplyStatus::kComplete);
    }
    if (filled == buffer.size()) {
      if (filled >= format.limit) {
        return finish(ReplyStatus::kLost);
      }
      Grow(buffer, format);
    }
  }
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
