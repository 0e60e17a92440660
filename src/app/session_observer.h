// SPDX-License-Identifier: MIT
#pragma once

// What the mail check tells the windows: on the listener's thread in, by messages to the main window out.
// What changes with every message of a mailbox is sent at most 20 times a second; the latest state is never
// lost, because the main window fetches it with its animation timer.

#include <windows.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "pop3/check_observer.h"
#include "ui/timeout_question.h"

namespace quillbeaker {

// wParam of MESSAGE_BUBBLE; lParam is the value, or a wide text that ends in zero.
enum class BubbleCall : WPARAM { kRange, kPosition, kStatus, kActivity, kSpamCount };

class SessionObserver : public CheckObserver {
 public:
  // The window that gets the messages; set before the listener starts. `deleted_count` gives the number that
  // the icon shows now, on any thread.
  void SetMainWindow(HWND main_window, std::function<std::uint32_t()> deleted_count) {
    main_window_ = main_window;
    deleted_count_ = std::move(deleted_count);
  }

  // UI thread: sends what was held back. Returns at once when the listener is sending right now.
  void SendPending();
  // Set by the bubble's cancel button, cleared when a session begins.
  std::atomic<bool>& cancelled() { return cancelled_; }

  void PortInUse() override;
  void SessionBegins() override;
  void SessionEnds(const CheckSummary& summary) override;
  void WrongUserName() override;
  void ShowTooltip(std::string_view text) override;
  void ShowStatus(std::string_view text) override;
  void ShowSpamCount(std::uint32_t count) override;
  void SetRange(std::uint64_t range) override;
  void SetPosition(std::uint64_t position) override;
  void Advance(std::uint64_t amount) override;
  bool IsCancelled() override { return cancelled_; }
  void AskToAbort(const AskedServer& server, std::function<void()> abort) override;
  void AddDeleted(std::uint32_t count) override;
  void MessageRefused(std::string_view, std::uint32_t, std::string_view) override {}
  void ServerGone(std::string_view) override {}
  void DeletionsUnconfirmed(std::string_view, std::uint32_t, std::string_view) override {}
  void MailNotKept(std::string_view, std::uint32_t, std::string_view) override {}
  void ClientGaveUp(std::string_view, std::uint32_t, std::uint32_t) override {}

 private:
  // What has not been sent yet; empty parts have not changed.
  struct Changes {
    std::optional<std::uint64_t> range;
    std::optional<std::uint64_t> position;
    std::optional<std::string> activity;
    std::optional<std::string> status;
    std::optional<std::uint32_t> spam_count;
  };
  void Change(const std::function<void(Changes&)>& change, bool at_once);
  void Send(const Changes& changes);
  void SendBubble(BubbleCall call, LPARAM value);
  void SendBubble(BubbleCall call, const std::wstring& text);

  HWND main_window_ = nullptr;
  std::function<std::uint32_t()> deleted_count_;
  std::atomic<bool> cancelled_ = false;
  std::uint64_t position_ = 0;  // of the listener's thread, as the next two
  std::string status_;
  std::chrono::steady_clock::time_point last_sent_{};
  std::mutex sending_;  // held while changes are on their way, so that older ones never overtake newer ones
  std::mutex mutex_;    // guards changes_; never held while anything is sent
  Changes changes_;
  TimeoutQuestion timeout_question_;
};

}  // namespace quillbeaker
