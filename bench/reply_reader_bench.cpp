// SPDX-License-Identifier: MIT
// Reading replies to their terminators from a socket, in the pieces in which a network delivers them: the
// cost per byte must not grow with the reply. Every run reads and keeps 64 MB, as a session keeps its
// messages, so that fresh memory costs all sizes the same.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "platform/connection.h"
#include "pop3/upstream/reply_reader.h"

namespace quillbeaker {
namespace {

constexpr int kPort = 45871;
constexpr std::size_t kPiece = 1460;  // bytes of mail in one TCP segment on an Ethernet
constexpr std::size_t kTotal = 64;    // megabytes
constexpr std::chrono::milliseconds kWait{10'000};

std::string LinesOf(std::size_t size) {
  std::string text;
  text.reserve(size);
  while (text.size() < size) {
    text.append(76, 'x').append("\r\n");
  }
  return text;
}

// Sends the same reply, in pieces, for each byte that it receives.
void ServeReplies(Listener& listener, const std::string& text) {
  const std::unique_ptr<Connection> client = listener.Accept();
  char asked = 0;
  while (client != nullptr && client->Receive(&asked, 1, kWait).status == IoStatus::kOk) {
    for (std::size_t at = 0; at < text.size(); at += kPiece) {
      client->Send(std::string_view(text).substr(at, kPiece), kWait);
    }
    client->Send(kMultilineEnd, kWait);
  }
}

void ReadReplyOfMegabytes(benchmark::State& state) {
  const auto size = static_cast<std::size_t>(state.range(0)) * 1024 * 1024;
  const std::string text = LinesOf(size);
  const auto listener = ListenOnLoopback(kPort, 1);
  if (listener == nullptr) {
    state.SkipWithError("the port is taken");
    return;
  }
  std::thread server([&] { ServeReplies(*listener, text); });
  auto connection = ConnectTo("127.0.0.1", kPort, kWait, [] { return false; }).connection;
  // At most a piece at a time, however many have come.
  const auto source = [&connection](char* buffer, std::size_t capacity) -> std::ptrdiff_t {
    const IoResult received = connection->Receive(buffer, std::min(capacity, kPiece), kWait);
    return received.status == IoStatus::kOk ? static_cast<std::ptrdiff_t>(received.bytes) : -1;
  };
  const std::size_t replies = kTotal / static_cast<std::size_t>(state.range(0));
  for (auto _ : state) {
    std::vector<Reply> kept;
    for (std::size_t i = 0; i < replies; ++i) {
      connection->Send("?", kWait);
      kept.push_back(ReadReply(
          source,
          {.terminator = kMultilineEnd, .expected_size = size, .chunk_size = 51'200, .limit = kMaxMessage},
          {}));
      if (kept.back().status != ReplyStatus::kComplete) {
        state.SkipWithError("the reply was not read");
      }
    }
    benchmark::DoNotOptimize(kept.data());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(size * replies) *
                          static_cast<std::int64_t>(state.iterations()));
  connection->FinishSending();
  connection.reset();
  server.join();
}

BENCHMARK(ReadReplyOfMegabytes)->Arg(1)->Arg(64)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace quillbeaker
