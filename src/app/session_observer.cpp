// SPDX-License-Identifier: MIT
#include "app/session_observer.h"

#include <utility>

#include "ui/message_box.h"
#include "ui/resource.h"
#include "ui/wide_text.h"

namespace quillbeaker {
namespace {

constexpr std::chrono::milliseconds kBetweenUpdates{50};

}  // namespace

void SessionObserver::PortInUse() {
  ShowMessageBox(main_window_, Text::kPortInUse, MB_ICONEXCLAMATION);
}

void SessionObserver::SessionBegins() {
  cancelled_ = false;
  status_.clear();
  SendMessageW(main_window_, MESSAGE_SESSION_BEGINS, 0, 0);
}

void SessionObserver::SessionEnds(const CheckSummary& summary) {
  {
    const std::lock_guard lock(mutex_);
    changes_ = {};  // what was held back is of no interest any more
  }
  SendMessageW(main_window_, MESSAGE_SESSION_ENDS, 0, 0);
  SendMessageW(main_window_, MESSAGE_LOGIN_RESULT, 0, reinterpret_cast<LPARAM>(&summary.login_problem));
}

void SessionObserver::WrongUserName() {
  // In front of the mail client, which waits for an answer that only comes when this is closed.
  ShowMessageBox(nullptr, Text::kWrongUserName, MB_ICONEXCLAMATION | MB_SETFOREGROUND);
}

void SessionObserver::ShowTooltip(std::string_view text) {
  Change([text](Changes& changes) { changes.activity = text; }, false);
}

void SessionObserver::ShowStatus(std::string_view text) {
  if (text == status_) {
    return;  // told again with every message, as when the filter is off
  }
  status_ = text;
  Change([text](Changes& changes) { changes.status = text; }, true);
}

void SessionObserver::ShowSpamCount(std::uint32_t count) {
  Change([count](Changes& changes) { changes.spam_count = count; }, false);
}

void SessionObserver::SetRange(std::uint64_t range) {
  position_ = 0;
  Change(
      [range](Changes& changes) {
        changes.range = range;
        changes.position.reset();
      },
      true);
}

void SessionObserver::SetPosition(std::uint64_t position) {
  position_ = position;
  Change([position](Changes& changes) { changes.position = position; }, false);
}

void SessionObserver::Advance(std::uint64_t amount) {
  SetPosition(position_ + amount);
}

void SessionObserver::AskToAbort(const AskedServer&, std::function<void()> abort) {
  timeout_question_.Ask(std::move(abort));
}

void SessionObserver::AddDeleted(std::uint32_t count) {
  SendMessageW(main_window_, MESSAGE_SET_DELETED, deleted_count_() + count, 0);
}

void SessionObserver::Change(const std::function<void(Changes&)>& change, bool at_once) {
  {
    const std::lock_guard lock(mutex_);
    change(changes_);
  }
  const auto now = std::chrono::steady_clock::now();
  if (!at_once && now - last_sent_ < kBetweenUpdates) {
    return;
  }
  last_sent_ = now;
  const std::lock_guard sending(sending_);
  Changes taken;
  {
    const std::lock_guard lock(mutex_);
    taken = std::exchange(changes_, {});
  }
  Send(taken);
}

void SessionObserver::SendPending() {
  const std::unique_lock sending(sending_, std::try_to_lock);
  if (!sending) {
    return;
  }
  Changes taken;
  {
    const std::lock_guard lock(mutex_);
    taken = std::exchange(changes_, {});
  }
  Send(taken);
}

void SessionObserver::Send(const Changes& changes) {
  if (changes.range) SendBubble(BubbleCall::kRange, static_cast<LPARAM>(*changes.range));
  if (changes.position) SendBubble(BubbleCall::kPosition, static_cast<LPARAM>(*changes.position));
  if (changes.status) SendBubble(BubbleCall::kStatus, Wide(*changes.status));
  if (changes.spam_count) SendBubble(BubbleCall::kSpamCount, static_cast<LPARAM>(*changes.spam_count));
  if (changes.activity) {
    const std::wstring text = Wide(*changes.activity);
    SendMessageW(main_window_, MESSAGE_SET_TOOLTIP, 0, reinterpret_cast<LPARAM>(text.c_str()));
    SendBubble(BubbleCall::kActivity, text);
  }
}

void SessionObserver::SendBubble(BubbleCall call, LPARAM value) {
  SendMessageW(main_window_, MESSAGE_BUBBLE, static_cast<WPARAM>(call), value);
}

void SessionObserver::SendBubble(BubbleCall call, const std::wstring& text) {
  SendBubble(call, reinterpret_cast<LPARAM>(text.c_str()));
}

}  // namespace quillbeaker
