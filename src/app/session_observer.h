// SPDX-License-Identifier: MIT
#pragma once

// What the mail check tells the windows: on the listener's thread in, through the UI queue out to the
// MailCheckView. Only a session's begin and end are messages to the main window, which carry nothing.

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <string_view>

#include "app/mail_check_view.h"
#include "pop3/check_observer.h"
#include "ui/presenter/session_progress.h"
#include "ui/timeout_question.h"
#include "ui/ui_queue.h"

namespace quillbeaker {

class SessionObserver : public CheckObserver {
 public:
  // All must outlive the listener's thread.
  SessionObserver(UiQueue& queue, MailCheckView& view);

  // The window that is told of a session's begin and end; set before the listener starts.
  void SetMainWindow(HWND main_window) { main_window_ = main_window; }
  // UI thread: shows what was held back because it came too soon after what was shown last.
  void ShowPending() { view_.ShowProgress(progress_.Take()); }
  // Set by the bubble's cancel button, cleared when a session begins.
  std::atomic<bool>& cancelled() { return cancelled_; }

  // The listener's thread: whether mail programs are served now.
  void ServingBegins();
  void ServingEnds();

  void PortInUse() override { ServingEnds(); }
  void SessionBegins() override;
  void SessionEnds(const CheckSummary& summary) override;
  void WrongUserName() override;
  void ShowTooltip(std::string_view text) override { progress_.SetActivity(text); }
  void ShowStatus(std::string_view text) override { progress_.SetStatus(text); }
  void ShowSpamCount(std::uint32_t count) override { progress_.SetSpamCount(count); }
  void SetRange(std::uint64_t range) override { progress_.SetRange(range); }
  void SetPosition(std::uint64_t position) override { progress_.SetPosition(position); }
  void Advance(std::uint64_t amount) override { progress_.Advance(amount); }
  bool IsCancelled() override { return cancelled_; }
  void AskToAbort(const AskedServer& server, std::function<void()> abort) override;
  void AddDeleted(std::uint32_t count) override;
  void StoreChanged(const StoreChange& change) override;
  void MessageRefused(std::string_view account, std::uint32_t number, std::string_view words) override;
  void ServerGone(std::string_view account) override;
  void DeletionsUnconfirmed(std::string_view account, std::uint32_t count, std::string_view words) override;
  void MailNotKept(std::string_view account, std::uint32_t count, std::string_view why) override;
  void RestoredMailStays(std::string_view account, std::uint32_t count) override;
  void ClientGaveUp(std::string_view account, std::uint32_t ready, std::uint32_t total) override;

 private:
  void Tell(MailTrouble trouble);

  UiQueue& queue_;
  MailCheckView& view_;  // of the UI thread: only tasks of the queue call it
  SessionProgress progress_;
  HWND main_window_ = nullptr;
  std::atomic<bool> cancelled_ = false;
  TimeoutQuestion timeout_question_;
};

}  // namespace quillbeaker
