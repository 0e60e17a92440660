// SPDX-License-Identifier: MIT
#include "pop3/local/mail_proxy.h"

#include <utility>

namespace quillbeaker {
namespace {

constexpr int kBacklog = 25;

}  // namespace

MailProxy::MailProxy(Program& program, CheckObserver& observer, SessionSettings settings)
    : program_(program), observer_(observer), settings_(settings), memory_(program.environment) {}

bool MailProxy::Listen(int port) {
  // A configured 0 is a mistake, not the wish for any port.
  return ListenOn(port == 0 ? -1 : port);
}

bool MailProxy::ListenOnAnyPort() {
  return ListenOn(0);
}

bool MailProxy::ListenOn(int port) {
  std::unique_ptr<Listener> listener = ListenOnLoopback(port, kBacklog);
  if (listener == nullptr) {
    observer_.PortInUse();
    return false;
  }
  settings_.own_port = listener->port();
  const std::lock_guard lock(mutex_);
  listener_ = std::move(listener);
  if (stopped_) {
    listener_->Stop();
  }
  return true;
}

bool MailProxy::Serve() {
  while (std::unique_ptr<Connection> client = listener_->Accept()) {
    ServeClient(std::move(client));
  }
  const std::lock_guard lock(mutex_);
  listener_ = nullptr;  // a client that comes now is refused, instead of waiting for nobody
  return stopped_;
}

void MailProxy::ServeClient(std::unique_ptr<Connection> client) {
  ClientSession session(program_, observer_, memory_, settings_, std::move(client));
  {
    const std::lock_guard lock(mutex_);
    if (stopped_) {
      return;
    }
    session_ = &session;
  }
  session.Run();
  const std::lock_guard lock(mutex_);
  session_ = nullptr;
}

void MailProxy::Stop() {
  const std::lock_guard lock(mutex_);
  stopped_ = true;
  if (listener_ != nullptr) {
    listener_->Stop();
  }
  if (session_ != nullptr) {
    session_->Stop();
  }
}

void MailProxy::GiveUpPort() {
  const std::unique_lock lock(mutex_, std::try_to_lock);
  if (lock) {
    listener_ = nullptr;
  }
}

}  // namespace quillbeaker
