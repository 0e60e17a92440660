// SPDX-License-Identifier: MIT
#include "pop3/local/client_session.h"

#include <array>
#include <utility>

#include "pop3/local/client_commands.h"

namespace quillbeaker {
namespace {

constexpr std::size_t kReceiveSize = 1024;  // bytes
// What would make the gathered reply longer than this is sent as it stands, without another copy of it.
constexpr std::size_t kOutgoingLimit = std::size_t{256} * 1024;

// 0 and less mean for ever, which is a year here.
std::chrono::milliseconds ConfiguredIdleLimit(const Program& program) {
  const std::int32_t seconds = program.Read(keys::kClientTimeout);
  return seconds > 0 ? std::chrono::seconds(seconds) : std::chrono::hours(24 * 365);
}

}  // namespace

ClientSession::ClientSession(Program& program, CheckObserver& observer, TickSequence& ticks,
                             const SessionSettings& settings, std::unique_ptr<Connection> client)
    : program_(program),
      observer_(observer),
      ticks_(ticks),
      idle_limit_(settings.client_idle_limit.value_or(ConfiguredIdleLimit(program))),
      own_port_(settings.own_port),
      client_(std::move(client)),
      upstream_(program, observer) {}

void ClientSession::Run() {
  OpenLog();
  observer_.SessionBegins();
  SendOk("Ready");
  Flush();
  ServeCommands();
  observer_.SessionEnds(summary);
}

void ClientSession::Stop() {
  upstream_.Abort();
  client_->Abort({});
}

void ClientSession::OpenLog() {
  const std::string path =
      LogPath(program_.environment.program_directory, program_.Read(keys::kLogFileClientFileName));
  if (!path.empty() && client_log_.Open(path, program_.Read(keys::kLogFileClientMaxSize))) {
    client_log_.WriteLine(BannerLine("Client", program_.environment.local_time()));
  }
}

void ClientSession::ServeCommands() {
  std::array<char, kReceiveSize> buffer;
  while (!client_lost_) {
    client_log_.Flush();
    const IoResult received = client_->Receive(buffer.data(), buffer.size(), idle_limit_);
    if (received.status != IoStatus::kOk) {
      return;
    }
    // Deliberate: what one receive gives is one command, with no assembling of lines.
    if (!HandleCommand({buffer.data(), received.bytes})) {
      return;
    }
  }
}

bool ClientSession::HandleCommand(std::string_view command) {
  LogCommand(command);
  const CommandResult result = Dispatch(*this, command);
  if (result == CommandResult::kUnknown) {
    SendErr("Unknown command");
  }
  Flush();
  return result != CommandResult::kEndSession;
}

void ClientSession::LogCommand(std::string_view command) {
  if (client_log_.IsWriting()) {
    client_log_.WriteLine(TimedLine(program_.environment.local_time(), 'C', secret_mask_.Next(command)));
    client_log_.Flush();
  }
}

void ClientSession::SendOk(std::string_view text) {
  SendRaw("+OK " + std::string(text) + "\r\n");
}

void ClientSession::SendErr(std::string_view text) {
  SendRaw("-ERR " + std::string(text) + "\r\n");
}

void ClientSession::SendRaw(std::string_view line) {
  if (!line.empty() && client_log_.IsWriting()) {
    client_log_.WriteLine(TimedLine(program_.environment.local_time(), 'S', line));
  }
  SendUnlogged(line);
}

void ClientSession::SendUnlogged(std::string_view bytes) {
  if (outgoing_.size() + bytes.size() <= kOutgoingLimit) {
    outgoing_ += bytes;
    return;
  }
  Flush();
  SendNow(bytes);
}

void ClientSession::LogMarker(std::string_view text) {
  client_log_.WriteLine(MarkerLine('S', text));
}

void ClientSession::Flush() {
  SendNow(outgoing_);
  outgoing_.clear();
}

void ClientSession::SendNow(std::string_view bytes) {
  client_log_.Flush();
  if (!bytes.empty() && !client_lost_) {
    client_lost_ = client_->Send(bytes, idle_limit_).status != IoStatus::kOk;
  }
}

bool ClientSession::ClientHasGone() {
  return client_->PeerHasGone();
}

}  // namespace quillbeaker
