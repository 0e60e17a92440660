// SPDX-License-Identifier: MIT
// Any bytes as what a POP3 server sends, cut into pieces anywhere. The first bytes of the input say where.

#include <string>

#include "fuzz_support.h"
#include "pop3/upstream/reply_parser.h"

namespace quillbeaker {
namespace {

struct Outcome {
  std::size_t taken = 0;
  ReplyParser::State state = ReplyParser::State::kReading;
  bool ended = false;
  std::string line;
  std::string body;

  bool operator==(const Outcome&) const = default;
};

// Hands the stream over in pieces whose lengths come from `lengths`, again and again; whole without lengths.
// From the piece of number `discard_at` on nothing is kept.
Outcome Parse(std::string_view stream, ReplyKind kind, std::string_view lengths, std::size_t discard_at) {
  ReplyParser parser(kind);
  Outcome outcome;
  for (std::size_t turn = 0; outcome.taken < stream.size() && !parser.ended(); ++turn) {
    if (turn == discard_at) parser.Discard();
    std::size_t piece = stream.size();
    if (!lengths.empty())
      piece = std::size_t{1} + static_cast<unsigned char>(lengths[turn % lengths.size()]) % 16;
    outcome.taken += parser.Take(stream.substr(outcome.taken, piece));
  }
  outcome.state = parser.state();
  outcome.ended = parser.ended();
  outcome.line = parser.status_line();
  outcome.body = parser.TakeBody();
  return outcome;
}

void CheckReply(std::string_view stream, std::string_view lengths, ReplyKind kind) {
  constexpr std::size_t kNever = SIZE_MAX;
  const Outcome whole = Parse(stream, kind, {}, kNever);
  const Outcome pieces = Parse(stream, kind, lengths, kNever);
  Check(whole == pieces, "where a reply is cut does not matter");
  if (whole.state == ReplyParser::State::kComplete) {
    std::string again = whole.line + "\r\n";
    if (kind != ReplyKind::kStatus) again += whole.body + (whole.body.empty() ? ".\r\n" : "\r\n.\r\n");
    const bool empty_line = kind != ReplyKind::kStatus && whole.body.empty();
    Check(stream.substr(0, whole.taken) == again ||
              (empty_line && stream.substr(0, whole.taken) == whole.line + "\r\n\r\n.\r\n"),
          "what was read is what was sent");
  }
  for (std::size_t discard_at = 0; discard_at < 4; ++discard_at) {
    const Outcome discarded = Parse(stream, kind, lengths, discard_at);
    Check(discarded.taken == whole.taken && discarded.ended == whole.ended,
          "what is not wanted ends at the same byte");
  }
}

}  // namespace
}  // namespace quillbeaker

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kLengths = 4;
  if (size <= kLengths) return 0;
  const std::string_view text = quillbeaker::TextOf(data, size);
  for (const auto kind : {quillbeaker::ReplyKind::kStatus, quillbeaker::ReplyKind::kListing,
                          quillbeaker::ReplyKind::kMessage}) {
    quillbeaker::CheckReply(text.substr(kLengths), text.substr(0, kLengths), kind);
  }
  return 0;
}
