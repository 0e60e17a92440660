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

void SessionObserver::StoreChanged(const StoreChange& change) {
  queue_.Post([this, change] { view_.ShowStoreChange(change); });
}

void SessionObserver::MessageRefused(std::string_view account, std::uint32_t number, std::string_view words) {
  Tell({.trouble = Trouble::kMessageRefused,
        .account = std::string(account),
        .number = number,
        .words = std::string(words)});
}

void SessionObserver::ServerGone(std::string_view account) {
  Tell({.trouble = Trouble::kServerGone, .account = std::string(account)});
}

void SessionObserver::DeletionsUnconfirmed(std::string_view account, std::uint32_t count,
                                           std::string_view words) {
  Tell({.trouble = Trouble::kDeletionsUnconfirmed,
        .account = std::string(account),
        .number = count,
        .words = std::string(words)});
}

void SessionObserver::MailNotKept(std::string_view account, std::uint32_t count, std::string_view why) {
  Tell({.trouble = Trouble::kMailNotKept,
        .account = std::string(account),
        .number = count,
        .words = std::string(why)});
}

void SessionObserver::RestoredMailStays(std::string_view account, std::uint32_t count) {
  Tell({.trouble = Trouble::kRestoredMailStays, .account = std::string(account), .number = count});
}

void SessionObserver::ClientGaveUp(std::string_view account, std::uint32_t ready, std::uint32_t total) {
  Tell({.trouble = Trouble::kClientGaveUp, .account = std::string(account), .number = ready, .total = total});
}

void SessionObserver::Tell(MailTrouble trouble) {
  queue_.Post([this, trouble = std::move(trouble)] { view_.ShowTrouble(trouble); });
}

}  // namespace quillbeaker
