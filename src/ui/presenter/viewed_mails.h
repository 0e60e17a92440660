// SPDX-License-Identifier: MIT
#pragma once

// Where the viewer gets its mails from: the list that it was opened from. Knows no window.

#include <optional>
#include <string>
#include <string_view>

namespace quillbeaker {

// One mail of a list. Texts are bytes as the store has them; the viewer makes them fit for a screen.
struct MailToView {
  std::string path = {};  // of its file
  // A text that the training area stored, shown as it is; else a whole mail, which is parsed.
  bool is_stored_text = false;
  // Of the row: shown where the file does not say itself.
  std::string sender = {};
  std::string address = {};
  std::string subject = {};
  std::string date = {};  // as the row shows it
};

// A list of mails, each known by a name that stays the same while rows come and go. UI thread.
class ViewedMails {
 public:
  virtual ~ViewedMails() = default;
  // Nothing when the list has no such mail any more.
  virtual std::optional<MailToView> MailOf(std::string_view name) const = 0;
  // The name of the row below (1) or above (-1) that one, in the order that is shown now. Empty where there
  // is none, or no such mail any more.
  virtual std::string NextTo(std::string_view name, int step) const = 0;
  // The viewer shows that mail now: its row is the one to select.
  virtual void WasShown(std::string_view name) = 0;
};

}  // namespace quillbeaker
