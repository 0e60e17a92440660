// SPDX-License-Identifier: MIT
#include "pop3/local/client_session.h"

#include <functional>
#include <new>
#include <utility>

#include "config/texts.h"
#include "pop3/local/client_commands.h"

namespace quillbeaker {
namespace {

// 0 and less mean for ever, which is a year here.
std::chrono::milliseconds ConfiguredIdleLimit(const Program& program) {
  const std::int32_t seconds = program.Read(keys::kClientTimeout);
  return seconds > 0 ? std::chrono::seconds(seconds) : std::chrono::hours(24 * 365);
}

// False when the memory did not suffice; the program goes on.
bool HasMemoryFor(const std::function<void()>& step) {
  try {
    step();
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

}  // namespace

ClientSession::ClientSession(Program& program, CheckObserver& observer, ProxyMemory& memory,
                             const SessionSettings& settings, std::unique_ptr<Connection> client)
    : program_(program),
      observer_(observer),
      memory_(memory),
      client_(std::move(client)),
      watch_(observer, [this] { return client_->PeerHasGone(); }),
      wire_(program, watch_, *client_, settings.client_idle_limit.value_or(ConfiguredIdleLimit(program))),
      check_(program, watch_, memory.kept_mail, settings.own_port, memory.tls_sessions) {
  watch_.OnLook([this] { wire_.KeepWaiting(); });
  watch_.BeforeWaiting([this] { FlushLogs(); });
  wire_.Meanwhile([this] { check_.KeepAlive(); });
}

void ClientSession::Run() {
  wire_.OpenLog();
  observer_.SessionBegins();
  // What was filed or deleted before the memory ran out stands; everything else is met again at the next
  // check.
  const bool served = HasMemoryFor([this] {
    check_.Begin();
    wire_.SendOk("Ready");
    wire_.Flush();
    ServeCommands();
  });
  if (!served) {
    check_.DropMail();
    HasMemoryFor([this] {
      observer_.ShowStatus(TextOf(Text::kOutOfMemory));
      wire_.LogMarker("(out of memory, the session ends)");
    });
  }
  HasMemoryFor([this] {
    check_.End();
    FlushLogs();
  });
  observer_.SessionEnds(check_.summary());
}

void ClientSession::FlushLogs() {
  wire_.FlushLog();
  check_.FlushLog();
}

void ClientSession::Stop() {
  check_.Abort();
  client_->Abort({});
}

void ClientSession::ServeCommands() {
  while (const auto command = wire_.ReceiveCommand()) {
    if (!HandleCommand(*command)) return;
  }
}

void ClientSession::BeginSlowAnswer() {
  wire_.BeginSlowAnswer(std::chrono::seconds(program_.Read(keys::kKeepWaitingSeconds)));
}

bool ClientSession::HandleCommand(std::string_view command) {
  const CommandResult result = Dispatch(*this, command);
  if (result == CommandResult::kUnknown) {
    wire_.SendErr("Unknown command");
  }
  check_.FlushLog();
  wire_.Flush();
  if (result == CommandResult::kGoOn && !check_.view_answered() && !wire_.is_lost() &&
      watch_.Look() != Stop::kClientGone) {
    check_.ViewAnswered();
  }
  return result != CommandResult::kEndSession && !wire_.is_lost();
}

}  // namespace quillbeaker
