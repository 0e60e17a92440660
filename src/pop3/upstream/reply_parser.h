// SPDX-License-Identifier: MIT
#pragma once

// One reply of a POP3 server (RFC 1939), taken byte by byte as the network delivers it, in time linear in its
// length however it is cut into pieces, and bounded against servers that never end. It knows no socket.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace quillbeaker {

inline constexpr std::string_view kLineEnd = "\r\n";
inline constexpr std::string_view kMultilineEnd = "\r\n.\r\n";

// What a lying server could cost at most; beyond it the server is not listened to any more.
inline constexpr std::size_t kMaxStatusLine = std::size_t{64} * 1024;
inline constexpr std::size_t kMaxListing = std::size_t{64} * 1024 * 1024;
inline constexpr std::size_t kMaxMessage = std::size_t{1024} * 1024 * 1024;
// No more than this is reserved on a server's word alone.
inline constexpr std::size_t kMaxReserved = std::size_t{1024} * 1024;

enum class ReplyKind {
  kStatus,   // one line
  kListing,  // LIST, UIDL, CAPA: lines until the one of a single dot
  kMessage,  // RETR
};

// True when the reply's status is "+OK", in capitals.
inline bool IsPositive(std::string_view reply) {
  return reply.starts_with("+OK");
}

class ReplyParser {
 public:
  enum class State {
    kReading,
    kComplete,
    kRefused,  // begins with "-ERR" in any case; ends with its line, whatever its kind
    kTooLong,  // beyond its kind's limit: nothing that follows can be trusted
  };

  // `announced`: bytes of the body as the server said before, a hint.
  explicit ReplyParser(ReplyKind kind, std::size_t announced = 0);

  // Gets the memory for the body as announced, for the time before the reply comes: the first touch of fresh
  // memory is slow.
  void Prepare();

  // Takes what of `bytes` belongs to the reply and gives how many that are: fewer only when it ends there.
  std::size_t Take(std::string_view bytes);

  State state() const { return state_; }
  // No more bytes of it are to come. A refused reply may still miss the end of its line.
  bool ended() const { return ended_; }
  ReplyKind kind() const { return kind_; }

  // From now on nothing is kept of it, only its end is looked for.
  void Discard();

  // As far as it has come, without its line end.
  const std::string& status_line() const { return line_; }
  // What stands between the status line and the closing line, without the CR LF before that. Dots stay
  // stuffed, so that a message can go to the mail client as it is.
  std::string TakeBody() { return std::move(body_); }

 private:
  std::size_t TakeLineBytes(std::string_view bytes);
  // How many of them belong to the status line and its end.
  std::size_t BytesOfLine(std::string_view bytes) const;
  std::size_t TakeBodyBytes(std::string_view bytes);
  void TrimToTail();
  void EndLine();
  void MakeRoom(std::size_t more);
  std::size_t Limit() const;
  void End(State state);

  ReplyKind kind_;
  std::size_t announced_;
  State state_ = State::kReading;
  bool in_body_ = false;
  bool ended_ = false;
  bool discarding_ = false;
  std::size_t taken_ = 0;  // bytes
  std::string line_;       // with a CR at its end while the LF is not there yet
  std::string body_;
};

}  // namespace quillbeaker
