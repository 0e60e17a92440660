// SPDX-License-Identifier: MIT
#pragma once

// Reads one reply of a POP3 server (RFC 1939) up to its terminator, in time linear in its length however it
// is cut into pieces, and bounded against servers that never end. It knows no socket: a source hands it the
// pieces.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace quillbeaker {

inline constexpr std::string_view kLineEnd = "\r\n";
inline constexpr std::string_view kMultilineEnd = "\r\n.\r\n";

// What a lying server could cost at most; beyond it the read fails and the server is not listened to any
// more.
inline constexpr std::size_t kMaxStatusLine = std::size_t{64} * 1024;
inline constexpr std::size_t kMaxListing = std::size_t{64} * 1024 * 1024;
inline constexpr std::size_t kMaxMessage = std::size_t{1024} * 1024 * 1024;
// No more than this is reserved on a server's word alone.
inline constexpr std::size_t kMaxReserved = std::size_t{1024} * 1024;

struct ReplyFormat {
  std::string_view terminator;
  std::size_t expected_size = 10240;   // bytes; a hint
  std::size_t chunk_size = 10240;      // bytes asked for at most at once
  std::size_t limit = kMaxStatusLine;  // bytes
};

enum class ReplyStatus {
  kComplete,   // the terminator has come; more bytes may stand behind it
  kRefused,    // the reply begins with "-ERR" in any case; its rest may not have come yet
  kCancelled,  // the person asked to stop; the rest of the reply may still be to come
  kLost,       // time-out, socket error, the server closed, or more bytes than the limit: nothing can follow
  kUnusable,   // a format without terminator, expected size or chunk size
};

struct Reply {
  ReplyStatus status = ReplyStatus::kLost;
  std::string text;  // what has come, also on failure
};

// True when the reply's status is "+OK", in capitals.
inline bool IsPositive(std::string_view reply) {
  return reply.starts_with("+OK");
}

// Gives the number of bytes put into the buffer, 0 or less when the connection is over.
using ReplySource = std::function<std::ptrdiff_t(char* buffer, std::size_t capacity)>;
// Told of each piece's length in bytes; false means that the person cancelled.
using ReplyProgress = std::function<bool(std::size_t bytes)>;

// `progress` may be empty.
Reply ReadReply(const ReplySource& source, const ReplyFormat& format, const ReplyProgress& progress);

// Reads and drops bytes until `terminator`, of which a beginning may stand at the end of `already`. False
// when the connection is over, or after `limit` bytes.
bool SkipReply(const ReplySource& source, std::string_view already, std::string_view terminator,
               std::size_t limit);

}  // namespace quillbeaker
