// SPDX-License-Identifier: MIT

// A POP3 server (RFC 1939) that costs next to nothing: every reply stands ready in memory. Where a real
// server takes most of the time it hides what client and proxy take; beside this one it shows.
//
//   plain-server FOLDER
//
// Serves the files of the folder, whose lines end in CR LF, in the order of their names, to one client after
// another. Any name and password will do, and nothing is ever deleted.

#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "loopback.h"
#include "platform/files.h"

namespace quillbeaker::bench {
namespace {

constexpr std::size_t kPiece = std::size_t{64} * 1024;

// The replies of one mailbox.
struct Mailbox {
  std::string stat;
  std::string list = "+OK\r\n";
  std::string ids = "+OK\r\n";
  std::vector<std::string> messages;
};

// RFC 1939, section 3: every line that begins with "." gets another.
std::string WithDotsStuffed(std::string_view text) {
  std::string stuffed;
  for (const char c : text) {
    if (c == '.' && (stuffed.empty() || stuffed.back() == '\n')) stuffed += '.';
    stuffed += c;
  }
  return stuffed;
}

std::optional<Mailbox> ReadMailbox(const std::string& folder) {
  Mailbox mailbox;
  std::size_t total = 0;
  for (const std::string& name : ListFiles(folder, "")) {
    std::optional<std::string> text = ReadWholeFile(folder + "/" + name);
    if (!text) return std::nullopt;
    const std::string number = std::to_string(mailbox.messages.size() + 1);
    const std::string size = std::to_string(text->size());
    total += text->size();
    mailbox.list += number + " " + size + "\r\n";
    mailbox.ids += number + " id" + number + "-" + size + "\r\n";
    const std::string_view end = text->ends_with("\r\n") ? ".\r\n" : "\r\n.\r\n";
    mailbox.messages.push_back("+OK " + size + " octets\r\n" + WithDotsStuffed(*text).append(end));
  }
  mailbox.list += ".\r\n";
  mailbox.ids += ".\r\n";
  mailbox.stat = "+OK " + std::to_string(mailbox.messages.size()) + " " + std::to_string(total) + "\r\n";
  return mailbox;
}

std::string_view ReplyTo(const Mailbox& mailbox, std::string_view command) {
  const std::string_view word = command.substr(0, 4);
  if (word == "RETR") {
    std::size_t number = 0;
    std::from_chars(command.data() + 5, command.data() + command.size(), number);
    if (number - 1 >= mailbox.messages.size()) return "-ERR no such message\r\n";
    return mailbox.messages[number - 1];
  }
  if (word == "STAT") return mailbox.stat;
  if (word == "LIST") return mailbox.list;
  if (word == "UIDL") return mailbox.ids;
  if (word == "CAPA" || word == "AUTH" || word == "STLS") return "-ERR not here\r\n";
  return "+OK\r\n";
}

void ServeClient(int client, const Mailbox& mailbox) {
  std::array<char, kPiece> piece;
  std::string input;
  if (!SendAll(client, "+OK ready\r\n")) return;
  for (ssize_t got; (got = recv(client, piece.data(), piece.size(), 0)) > 0;) {
    input.append(piece.data(), static_cast<std::size_t>(got));
    for (std::size_t end; (end = input.find('\n')) != std::string::npos; input.erase(0, end + 1)) {
      const std::string_view command = std::string_view(input).substr(0, end);
      if (!SendAll(client, ReplyTo(mailbox, command)) || command.starts_with("QUIT")) return;
    }
  }
}

}  // namespace
}  // namespace quillbeaker::bench

int main(int argc, char** argv) {
  using namespace quillbeaker::bench;
  const auto mailbox = argc == 2 ? ReadMailbox(argv[1]) : std::nullopt;
  if (!mailbox) {
    std::fprintf(stderr, "usage: plain-server FOLDER\n");
    return 2;
  }
  const int listener = ListenOnLoopback();
  for (int client; (client = Accept(listener)) >= 0; close(client)) ServeClient(client, *mailbox);
  return 1;
}
