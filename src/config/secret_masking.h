// SPDX-License-Identifier: MIT
#pragma once

// Keeps passwords out of the logs and out of what a person is shown: those that a mail client sends, in
// whatever command and however cut into pieces, and the one that a server repeats in its answer. Nothing here
// looks at mail.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace quillbeaker {

// What a mail client sends, receive by receive, as it may be logged. Masked is
//  - what follows PASS, AUTH, APOP or LOGIN at the start of a line, in any case, also without a blank behind
//    the word and with bytes before it that are no printable ASCII (blank, tab, NUL, a byte order mark);
//  - what follows LOGIN or AUTHENTICATE behind a tag, as IMAP has it (RFC 9051), but for USER and the like;
//  - every line after an AUTH until one begins with a command's word: the credentials of a client that sends
//    them without waiting for the refusal, or in spite of it.
class SecretMask {
 public:
  // The next bytes as they were received. Each receive is looked at as the beginning of a line and as what
  // continues the line before, since it is carried out as the first and may be meant as the second.
  std::string Next(std::string_view received);

 private:
  // Both take what they return, or mask, off `received`.
  std::string TakeLine(std::string_view& received, bool starts_command);
  std::string HideToLineEnd(std::string_view& received);
  // Where the secret begins in what the line is continued with.
  std::optional<std::size_t> SecretBegin(std::string_view line, bool starts_command) const;

  std::string line_;     // the beginning of the line that has not ended yet, from its first printable byte
  bool secret_ = false;  // what follows in that line is masked
  bool after_auth_ = false;  // no command's word has come since AUTH
};

// A server's answer to PASS, receive by receive: every occurrence of the password, in any case, becomes
// "********", and so does an end that may be the beginning of one. A password under four bytes would be
// found, or given away, everywhere: then all of the answer is masked.
class PasswordMask {
 public:
  explicit PasswordMask(std::string_view password);
  PasswordMask(const PasswordMask&) = default;
  PasswordMask& operator=(const PasswordMask&) = default;
  ~PasswordMask();
  std::string Next(std::string_view received);

 private:
  std::string password_;  // lower case
  std::string before_;    // what came last, lower case, one byte less than the password at most
};

// Overwrites the text with zeros, also where the compiler knows that nobody reads it again, and leaves it
// empty. What the text was copied to, or left behind when it grew, is not reached.
void WipeSecret(std::string& secret);

// PasswordMask over one answer, which is best handed over with its line end: without that, an end that looks
// like the beginning of the password is taken for a part of it.
std::string MaskPassword(std::string_view answer, std::string_view password);

}  // namespace quillbeaker
