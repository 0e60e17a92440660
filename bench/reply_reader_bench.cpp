// SPDX-License-Identifier: MIT
// Reading one reply to its terminator in the pieces in which a network delivers it: the cost per byte must not grow with the
// reply.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <string_view>

#include "pop3/reply_reader.h"

namespace quillbeaker {
namespace {

constexpr std::size_t kPiece = 1460;  // bytes of mail in one TCP segment on an Ethernet

// `size` bytes of lines, then the terminator, cut into pieces.
class Lines {
 public:
  explicit Lines(std::size_t size) : left_(size) {
    for (std::size_t i = 0; i < text_.size(); ++i) {
      text_[i] = i % 78 == 76 ? '\r' : i % 78 == 77 ? '\n' : 'x';
    }
  }

  std::ptrdiff_t Give(char* buffer, std::size_t capacity) {
    if (left_ == 0) {
      std::memcpy(buffer, kMultilineEnd.data(), std::min(capacity, kMultilineEnd.size()));
      return static_cast<std::ptrdiff_t>(std::min(capacity, kMultilineEnd.size()));
    }
    const std::size_t count = std::min({capacity, left_, kPiece});
    std::memcpy(buffer, text_.data(), count);
    left_ -= count;
    return static_cast<std::ptrdiff_t>(count);
  }

 private:
  std::array<char, kPiece> text_;
  std::size_t left_;
};

void ReadReplyOfMegabytes(benchmark::State& state) {
  const auto size = static_cast<std::size_t>(state.range(0)) * 1024 * 1024;
  for (auto _ : state) {
    Lines lines(size);
    const auto source = [&lines](char* buffer, std::size_t capacity) { return lines.Give(buffer, capacity); };
    Reply reply = ReadReply(source,
                            {.terminator = kMultilineEnd,
                             .initial_capacity = std::min(size, kMaxReserved) + 128,
                             .chunk_size = 51'200,
                             .limit = kMaxMessage},
                            {});
    if (reply.status != ReplyStatus::kComplete) {
      state.SkipWithError("the reply was not read");
      break;
    }
    benchmark::DoNotOptimize(reply.text.data());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(size) * static_cast<std::int64_t>(state.iterations()));
}

BENCHMARK(ReadReplyOfMegabytes)->Arg(1)->Arg(64)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace quillbeaker
