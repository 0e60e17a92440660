// SPDX-License-Identifier: MIT
#include "pop3/local/client_wire.h"

#include <algorithm>
#include <utility>

namespace quillbeaker {
namespace {

using std::chrono::milliseconds;

// What would make the gathered reply longer than this is sent as it stands, without another copy of it.
constexpr std::size_t kOutgoingLimit = std::size_t{256} * 1024;
constexpr std::string_view kWaitingBytes = "+OK ";

}  // namespace

ClientWire::ClientWire(Program& program, Watch& watch, Connection& client, milliseconds idle_limit)
    : program_(program), watch_(watch), client_(client), idle_limit_(idle_limit) {}

void ClientWire::OpenLog() {
  const std::string path =
      LogPath(program_.environment.program_directory, program_.Read(keys::kLogFileClientFileName));
  if (!path.empty() && log_.Open(path, program_.Read(keys::kLogFileClientMaxSize))) {
    log_.WriteLine(BannerLine("Client", program_.environment.local_time()));
  }
}

// Deliberate: what one receive gives is one command, with no assembling of lines.
std::optional<std::string_view> ClientWire::ReceiveCommand() {
  log_.Flush();
  for (milliseconds waited{0}; waited < idle_limit_; waited += Watch::kStep) {
    DoMeanwhile();
    const Stop stopped = watch_.ProgramEnds() ? Stop::kProgramEnds : watch_.CancelStop();
    if (lost_ || stopped != Stop::kNone) {
      return std::nullopt;
    }
    const IoResult received =
        client_.Receive(received_.data(), received_.size(), std::min(Watch::kStep, idle_limit_ - waited));
    if (received.status == IoStatus::kOk) {
      const std::string_view command(received_.data(), received.bytes);
      if (log_.IsWriting()) {
        log_.WriteLine(TimedLine(program_.environment.local_time(), 'C', mask_.Next(command)));
      }
      return command;
    }
    if (received.status != IoStatus::kTimedOut) {
      return std::nullopt;
    }
  }
  return std::nullopt;
}

void ClientWire::DoMeanwhile() {
  const Clock::time_point now = Clock::now();
  if (!meanwhile_ || now - last_meanwhile_ < Watch::kStep) return;
  last_meanwhile_ = now;
  meanwhile_();
}

void ClientWire::SendOk(std::string_view text) {
  SendRaw("+OK " + std::string(text) + "\r\n");
}

void ClientWire::SendErr(std::string_view text) {
  SendRaw("-ERR " + std::string(text) + "\r\n");
}

void ClientWire::SendRaw(std::string_view line) {
  if (!line.empty() && log_.IsWriting()) {
    log_.WriteLine(TimedLine(program_.environment.local_time(), 'S', line));
  }
  SendUnlogged(WithoutWaitingBytes(line));
}

void ClientWire::SendUnlogged(std::string_view bytes) {
  if (outgoing_.size() + bytes.size() <= kOutgoingLimit) {
    outgoing_ += bytes;
    return;
  }
  Flush();
  SendNow(bytes);
}

void ClientWire::LogMarker(std::string_view text) {
  if (log_.IsWriting()) log_.WriteLine(MarkerLine('S', text));
}

void ClientWire::Flush() {
  if (outgoing_.empty()) return;
  log_.Flush();
  SendNow(outgoing_);
  outgoing_.clear();
}

void ClientWire::SendNow(std::string_view bytes) {
  milliseconds waited{0};
  while (!bytes.empty() && !lost_) {
    const IoResult sent = client_.Send(bytes, std::min(Watch::kStep, idle_limit_ - waited));
    bytes.remove_prefix(std::min(sent.bytes, bytes.size()));
    if (sent.status == IoStatus::kOk) {
      last_sent_ = Clock::now();
      return;
    }
    waited = sent.bytes > 0 ? milliseconds{0} : waited + Watch::kStep;
    const bool stopped = watch_.ProgramEnds() || watch_.CancelStop() != Stop::kNone;
    lost_ = sent.status != IoStatus::kTimedOut || waited >= idle_limit_ || stopped;
    if (!lost_) DoMeanwhile();
  }
}

void ClientWire::BeginSlowAnswer(std::chrono::seconds period) {
  waiting_period_ = period;
  waiting_bytes_ = 0;
  last_sent_ = Clock::now();
}

void ClientWire::KeepWaiting() {
  if (waiting_period_ <= std::chrono::seconds{0} || waiting_bytes_ == kWaitingBytes.size() || lost_ ||
      Clock::now() - last_sent_ < waiting_period_) {
    return;
  }
  const IoResult sent = client_.Send(kWaitingBytes.substr(waiting_bytes_, 1), milliseconds{0});
  waiting_bytes_ += sent.bytes;
  last_sent_ = Clock::now();
}

std::string_view ClientWire::WithoutWaitingBytes(std::string_view line) {
  waiting_period_ = std::chrono::seconds{0};
  line.remove_prefix(std::min(std::exchange(waiting_bytes_, 0), line.size()));
  return line;
}

}  // namespace quillbeaker
