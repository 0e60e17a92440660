// SPDX-License-Identifier: MIT
#pragma once

// What the message viewer shows: one mail of a list after the other, as text. Knows no window.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "ui/presenter/page_view.h"
#include "ui/presenter/viewed_mails.h"

namespace quillbeaker {

// All of it UTF-8.
struct ViewedMessage {
  std::string trouble = {};  // why there is nothing to show; empty when there is
  std::string sender = {};
  std::string address = {};
  std::string subject = {};
  std::string text = {};
  std::string links = {};  // one to a line
};

// Larger files are read behind the window.
inline constexpr std::uint64_t kMostReadAtOnce = 1024 * 1024;

// Reads, parses and decodes. Any thread. Nothing once `is_cancelled`, which is asked again and again, says
// so. Takes at most twice the file's size in memory, and gives it back.
std::optional<ViewedMessage> ReadViewedMessage(const MailToView& mail,
                                               const std::function<bool()>& is_cancelled);

// One thread.
class ViewedMessagePresenter {
 public:
  struct Surroundings {
    ViewedMails& mails;
    // Begins reading that mail behind the window: Read is called with the result, unless another call of this
    // comes first or cancel_reading. False when it could not begin.
    std::function<bool(const MailToView& mail)> begin_reading;
    std::function<void()> cancel_reading;
  };

  ViewedMessagePresenter(Surroundings surroundings, PageView& view);

  void Show(std::string_view name);
  // The next mail of the list (1) or the one before (-1); nothing happens where there is none.
  void Step(int step);
  void RowsChanged();
  void Read(const ViewedMessage& message);

 private:
  void Fill(const ViewedMessage& message, const std::string& label);

  const Surroundings surroundings_;
  PageView& view_;
  std::string name_;   // of the mail that is shown
  std::string label_;  // above the text, in the person's language
};

}  // namespace quillbeaker
