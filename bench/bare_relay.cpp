// SPDX-License-Identifier: MIT

// The least that can stand between a mail client and its server: what the proxy's mail check is measured
// against.
//
//   bare-relay SERVER_PORT
//
// Commands and replies (RFC 1939) pass through as they come, one client at a time; nothing is kept, judged or
// written down. All that it does of its own accord is to ask for the next message as soon as one has come, so
// that server and client work at the same time. As the proxy, which learns from USER which server is meant,
// it connects there when USER comes.

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "loopback.h"

namespace quillbeaker::bench {
namespace {

constexpr std::size_t kPiece = std::size_t{64} * 1024;
constexpr std::string_view kEndOfLongReply = "\r\n.\r\n";

class Relay {
 public:
  Relay(int client, std::uint16_t server_port) : client_(client), server_port_(server_port) {}
  Relay(const Relay&) = delete;
  Relay& operator=(const Relay&) = delete;
  ~Relay() {
    if (server_ >= 0) close(server_);
  }

  void Run() {
    bool goes_on = SendAll(client_, "+OK\r\n");
    while (goes_on && NextCommand()) goes_on = server_ < 0 ? AnswerUnconnected() : Answer();
  }

 private:
  bool AnswerUnconnected() {
    if (!command_.starts_with("USER ")) return SendAll(client_, "-ERR\r\n");
    server_ = Connect(server_port_);
    return server_ >= 0 && ReadReply(false, [](std::string_view, bool) { return true; }) && Answer();
  }

  // Takes one line from the client. False at its end.
  bool NextCommand() {
    std::size_t end;
    while ((end = input_.find('\n')) == std::string::npos) {
      const ssize_t got = recv(client_, piece_.data(), piece_.size(), 0);
      if (got <= 0) return false;
      input_.append(piece_.data(), static_cast<std::size_t>(got));
    }
    command_ = input_.substr(0, end + 1);
    input_.erase(0, end + 1);
    return true;
  }

  bool Answer() {
    const std::string_view word = std::string_view(command_).substr(0, 4);
    if (word == "RETR") return AnswerRetr();
    if (!DropAhead() || !SendAll(server_, command_)) return false;
    const bool has_argument = command_.find(' ') != std::string::npos;
    if (word == "LIST" && !has_argument) return PassListing();
    return PassReply(word == "CAPA" || word == "TOP " || (word == "UIDL" && !has_argument));
  }

  bool AnswerRetr() {
    std::uint32_t number = 0;
    std::from_chars(command_.data() + 5, command_.data() + command_.size(), number);
    if (ahead_ != number && !(DropAhead() && SendAll(server_, command_))) return false;
    ahead_ = 0;
    return ReadReply(true, [&](std::string_view bytes, bool is_end) {
      return (!is_end || AskAhead(number + 1)) && SendAll(client_, bytes);
    });
  }

  bool AskAhead(std::uint32_t number) {
    if (number > message_count_) return true;
    ahead_ = number;
    return SendAll(server_, "RETR " + std::to_string(number) + "\r\n");
  }

  // Reads away a message that was asked for and is not wanted.
  bool DropAhead() {
    if (ahead_ == 0) return true;
    ahead_ = 0;
    return ReadReply(true, [](std::string_view, bool) { return true; });
  }

  bool PassReply(bool is_long) {
    return ReadReply(is_long, [&](std::string_view bytes, bool) { return SendAll(client_, bytes); });
  }

  bool PassListing() {
    std::ptrdiff_t lines = 0;
    const bool passed = ReadReply(true, [&](std::string_view bytes, bool) {
      lines += std::count(bytes.begin(), bytes.end(), '\n');
      return SendAll(client_, bytes);
    });
    message_count_ =
        static_cast<std::uint32_t>(std::max<std::ptrdiff_t>(lines - 2, 0));  // less status and "."
    return passed;
  }

  // Hands one reply, piece by piece, to `take`. No other is under way meanwhile, so that it ends where the
  // bytes do; in a long one nothing but its end is a "." alone on a line.
  bool ReadReply(bool is_long, const auto& take) {
    std::string last;  // bytes of the reply
    for (;;) {
      const ssize_t got = recv(server_, piece_.data(), piece_.size(), 0);
      if (got <= 0) return false;
      const std::string_view bytes(piece_.data(), static_cast<std::size_t>(got));
      if (last.empty() && bytes.front() == '-') is_long = false;
      last += bytes.substr(bytes.size() - std::min(bytes.size(), kEndOfLongReply.size()));
      const bool is_end = last.ends_with(is_long ? kEndOfLongReply : "\r\n");
      if (!take(bytes, is_end)) return false;
      if (is_end) return true;
    }
  }

  const int client_;
  const std::uint16_t server_port_;
  int server_ = -1;
  std::array<char, kPiece> piece_;
  std::string input_;  // of the client, not answered yet
  std::string command_;
  std::uint32_t ahead_ = 0;  // number of the message that is under way unasked, 0: none
  std::uint32_t message_count_ = 0;
};

void Serve(int listener, std::uint16_t server_port) {
  for (int client; (client = Accept(listener)) >= 0; close(client)) {
    Relay(client, server_port).Run();
  }
}

}  // namespace
}  // namespace quillbeaker::bench

int main(int argc, char** argv) {
  using namespace quillbeaker::bench;
  if (argc != 2) {
    std::fprintf(stderr, "usage: bare-relay SERVER_PORT\n");
    return 2;
  }
  const std::uint16_t server_port = PortArgument(argv[1]);
  Serve(ListenOnLoopback(), server_port);
  return 1;
}
