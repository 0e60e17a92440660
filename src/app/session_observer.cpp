// SPDX-License-Identifier: MIT
#include "app/session_observer.h"

#include <utility>

#include "ui/message_box.h"
#include "ui/resource.h"

namespace quillbeaker {

SessionObserver::SessionObserver(UiQueue& queue, MailCheckView& view)
    : queue_(queue), view_(view), progress_([this] { queue_.Post([this] { ShowPending(); }); }) {}

void SessionObserver::ServingBegins() {
  queue_.Post([this] { view_.ShowServing(true); });
}

void SessionObserver::ServingEnds() {
  queue_.Post([this] { view_.ShowServing(false); });
}

void SessionObserver::SessionBegins() {
  cancelled_ = false;
  progress_.Reset();
  timeout_question_.BeginSession();
  SendMessageW(main_window_, MESSAGE_SESSION_BEGINS, 0, 0);
}

void SessionObserver::SessionEnds(const CheckSummary& summary) {
  progress_.Reset();
  SendMessageW(main_window_, MESSAGE_SESSION_ENDS, 0, 0);
  queue_.Post([this, problem = summary.login_problem] { view_.ShowLoginResult(problem); });
}

void SessionObserver::WrongUserName() {
  // In front of the mail client, which waits for an answer that only comes when this is closed.
  ShowMessageBox(nullptr, Text::kWrongUserName, MB_ICONEXCLAMATION | MB_SETFOREGROUND);
}

void SessionObserver::AskToAbort(const AskedServer& server, std::function<void()> abort) {
  timeout_question_.Ask(server, std::move(abort));
}

void SessionObserver::AddDeleted(std::uint32_t count) {
  queue_.Post([this, count] { view_.AddDeleted(count); });
}

}  // namespace quillbeaker
