// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

namespace quillbeaker {

// A stored mail whose verdict is to be explained.
struct MailToExplain {
  std::string path = {};  // of its file
  // The Subject of a text that the training area stored without one: the row's, in the store's bytes, empty
  // where it has none. Nothing for a whole mail.
  std::optional<std::string> stored_subject = {};
  // The address of such a text's sender: the row's, empty where it has none. It may be on a list.
  std::string stored_sender = {};
  // What the mail check decided; nothing where that is not known. True for whatever is in the recycle bin.
  std::optional<bool> was_spam = {};
};

}  // namespace quillbeaker
