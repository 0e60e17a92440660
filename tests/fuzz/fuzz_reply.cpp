// SPDX-License-Identifier: MIT
// Any bytes as what a POP3 server sends, cut into pieces anywhere. The first bytes of the input say where.

#include <algorithm>
#include <cstring>
#include <string>

#include "fuzz_support.h"
#include "pop3/upstream/reply_reader.h"

namespace quillbeaker {
namespace {

// Hands out `stream` in pieces whose lengths come from `lengths`, again and again; whole without lengths.
ReplySource SourceOf(std::string_view stream, std::string_view lengths) {
  return [stream, lengths, turn = std::size_t{0}](char* buffer, std::size_t capacity) mutable {
    std::size_t piece = std::min(stream.size(), capacity);
    if (!lengths.empty()) {
      const auto wanted = static_cast<unsigned char>(lengths[turn++ % lengths.size()]);
      piece = std::min<std::size_t>(piece, std::size_t{1} + wanted % 16);
    }
    std::memcpy(buffer, stream.data(), piece);
    stream.remove_prefix(piece);
    return static_cast<std::ptrdiff_t>(piece);
  };
}

void CheckReply(std::string_view stream, std::string_view lengths, std::string_view terminator) {
  const ReplyFormat format{.terminator = terminator};
  const Reply whole = ReadReply(SourceOf(stream, {}), format, {});
  const Reply pieces = ReadReply(SourceOf(stream, lengths), format, {});
  Check(whole.status == pieces.status, "where a reply is cut does not matter");
  Check(stream.starts_with(whole.text) && stream.starts_with(pieces.text), "what was read is what was sent");
  if (whole.status != ReplyStatus::kComplete) return;
  Check(pieces.text.find(terminator) == stream.find(terminator),
        "a reply is read until its first terminator");

  // Of a refused reply the rest is read away; here all of it, from every place where reading may have
  // stopped.
  const std::size_t end = stream.find(terminator) + terminator.size();
  const std::string_view already = stream.substr(0, end / 2);
  Check(SkipReply(SourceOf(stream.substr(end / 2), lengths), already, terminator, stream.size() + 1),
        "the rest of a complete reply can be skipped");
}

}  // namespace
}  // namespace quillbeaker

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kLengths = 4;
  if (size <= kLengths) return 0;
  const std::string_view text = quillbeaker::TextOf(data, size);
  quillbeaker::CheckReply(text.substr(kLengths), text.substr(0, kLengths), quillbeaker::kLineEnd);
  quillbeaker::CheckReply(text.substr(kLengths), text.substr(0, kLengths), quillbeaker::kMultilineEnd);
  return 0;
}
