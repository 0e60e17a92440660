// SPDX-License-Identifier: MIT
// Reading replies to their terminators from a socket, in the pieces in which a network delivers them: the
// cost per byte must not grow with the reply. Every run reads and keeps 64 MB, as a session keeps its
// messages, so that fresh memory costs all sizes the same.
#include <benchmark/benchmark.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "platform/connection.h"
#include "pop3/upstream/reply_parser.h"

namespace quillbeaker {
namespace {

constexpr int kPort = 45871;
constexpr std::size_t kPiece = 1460;  // bytes of mail in one TCP segment on an Ethernet
constexpr std::size_t kTotal = 64;    // megabytes
constexpr std::chrono::milliseconds kWait{10'000};

std::string LinesOf(std::size_t size) {
  std::string text;
  text = "+OK\r\n";
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

// At most a piece at a time, however many have come; empty when the connection ended first.
std::string ReadReply(Connection& connection, std::size_t size) {
  ReplyParser parser(ReplyKind::kMessage, size);
  std::array<char, kPiece> piece;
  while (!parser.ended()) {
    const IoResult received = connection.Receive(piece.data(), piece.size(), kWait);
    if (received.status != IoStatus::kOk) return {};
    parser.Take({piece.data(), received.bytes});
  }
  return parser.TakeBody();
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
  const std::size_t replies = kTotal / static_cast<std::size_t>(state.range(0));
  for (auto _ : state) {
    std::vector<std::string> kept;
    for (std::size_t i = 0; i < replies; ++i) {
      connection->Send("?", kWait);
      kept.push_back(ReadReply(*connection, size));
      if (kept.back().empty()) {
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
