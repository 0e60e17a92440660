// SPDX-License-Identifier: MIT
#include "config/secret_masking.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include "config/ascii.h"

namespace quillbeaker {
namespace {

constexpr std::string_view kMask = "********";
constexpr std::string_view kPass = "PASS";
constexpr std::string_view kAuth = "AUTH";
constexpr std::size_t kShortestSearched = 4;  // bytes of a password
// A line without the word of a secret among its first bytes has none: an endless line costs no more memory.
constexpr std::size_t kMostLineStart = 1024;

constexpr std::string_view kSecretWords[] = {kPass, kAuth, "APOP", "LOGIN"};
constexpr std::string_view kTaggedSecretWords[] = {"LOGIN", "AUTHENTICATE"};
// RFC 1939, RFC 2449, RFC 2595, RFC 6856; without those that a secret follows.
constexpr std::string_view kCommandWords[] = {"USER", "STAT", "LIST", "RETR", "DELE", "NOOP", "RSET",
                                              "TOP",  "UIDL", "QUIT", "CAPA", "STLS", "UTF8", "LANG"};

bool IsPrintable(char c) {
  return c > ' ' && c < '\x7F';
}

std::string_view WithoutStrayBytes(std::string_view line) {
  return line.substr(
      static_cast<std::size_t>(std::find_if(line.begin(), line.end(), IsPrintable) - line.begin()));
}

bool StartsWithCommand(std::string_view line) {
  line = WithoutStrayBytes(line);
  return std::any_of(std::begin(kCommandWords), std::end(kCommandWords), [&](std::string_view word) {
    return StartsWithIgnoringCase(line, word) &&
           (line.size() == word.size() || !IsPrintable(line[word.size()]));
  });
}

// The word of kSecretWords that the line begins with; empty when it is another.
std::string_view SecretWordOf(std::string_view line) {
  line = WithoutStrayBytes(line);
  for (const std::string_view word : kSecretWords) {
    if (StartsWithIgnoringCase(line, word)) return word;
  }
  return {};
}

// "a LOGIN " and what else a client may say that takes this for another protocol.
std::optional<std::size_t> TaggedSecretBegin(std::string_view line) {
  if (StartsWithCommand(line)) return std::nullopt;
  const std::size_t tag = line.size() - WithoutStrayBytes(line).size();
  const std::size_t tag_end = std::min(line.find_first_of(" \t", tag), line.size());
  const std::size_t begin = std::min(line.find_first_not_of(" \t", tag_end), line.size());
  for (const std::string_view word : kTaggedSecretWords) {
    const std::size_t end = begin + word.size();
    if (StartsWithIgnoringCase(line.substr(begin), word) && end < line.size() && !IsPrintable(line[end])) {
      return end;
    }
  }
  return std::nullopt;
}

// Where the secret begins in a line that is looked at from its start.
std::optional<std::size_t> SecretBeginOf(std::string_view line) {
  const std::string_view word = SecretWordOf(line);
  if (word.empty()) return TaggedSecretBegin(line);
  return line.size() - WithoutStrayBytes(line).size() + word.size();
}

}  // namespace

std::string SecretMask::Next(std::string_view received) {
  const bool goes_on = secret_;
  const bool is_pass = StartsWithIgnoringCase(received, kPass);
  std::string text;
  for (bool starts_command = true; !received.empty(); starts_command = false) {
    text += secret_ ? HideToLineEnd(received) : TakeLine(received, starts_command);
  }
  if (!is_pass) return text;
  // All of it: PASS skips white space, line ends too, before the password.
  return goes_on ? std::string(kMask) : std::string(kPass).append(" ").append(kMask);
}

std::string SecretMask::TakeLine(std::string_view& received, bool starts_command) {
  const std::string_view line = received.substr(0, received.find_first_of("\r\n"));
  const std::string whole = line_ + std::string(line);
  if (const auto begin = SecretBegin(line, starts_command)) {
    const std::string_view word = SecretWordOf(whole);
    after_auth_ = word == kAuth || SecretWordOf(line) == kAuth || (after_auth_ && word.empty());
    secret_ = true;
    received.remove_prefix(*begin);
    return std::string(line.substr(0, *begin)).append(*begin > 0 ? " " : "") + HideToLineEnd(received);
  }
  received.remove_prefix(line.size());
  if (received.empty()) {
    line_ = WithoutStrayBytes(whole).substr(0, kMostLineStart);
    return std::string(line);
  }
  if (StartsWithCommand(whole)) after_auth_ = false;
  line_.clear();
  const char end = received.front();
  received.remove_prefix(1);
  return std::string(line) + end;
}

std::string SecretMask::HideToLineEnd(std::string_view& received) {
  // Up to the LF: a CR alone may be part of the password.
  std::size_t end = std::min(received.find('\n'), received.size());
  if (end < received.size()) {
    if (end > 0 && received[end - 1] == '\r') --end;
    secret_ = false;
    line_.clear();
  }
  received.remove_prefix(end);
  return std::string(kMask);
}

std::optional<std::size_t> SecretMask::SecretBegin(std::string_view line, bool starts_command) const {
  const std::string whole = line_ + std::string(line);
  const bool credentials =
      after_auth_ && !line.empty() && SecretWordOf(whole).empty() && !StartsWithCommand(whole);
  if (credentials) return 0;
  const auto begin = SecretBeginOf(whole);
  // A word that came in pieces is not told from what follows it.
  if (begin) return line_.empty() ? *begin : 0;
  return starts_command ? SecretBeginOf(line) : std::nullopt;
}

void WipeSecret(std::string& secret) {
  secret.resize(secret.capacity());
  // A volatile object's writes stay.
  volatile char* const bytes = secret.data();
  for (std::size_t i = 0; i < secret.size(); ++i) bytes[i] = '\0';
  secret.clear();
}

PasswordMask::~PasswordMask() {
  WipeSecret(password_);
  WipeSecret(before_);
}

PasswordMask::PasswordMask(std::string_view password) : password_(LowerAscii(password)) {}

std::string PasswordMask::Next(std::string_view received) {
  if (password_.size() < kShortestSearched) return received.empty() ? std::string() : std::string(kMask);
  const std::string text = before_ + LowerAscii(received);
  // Occurrences may overlap: "anana" in "ananana".
  std::vector<bool> hidden(text.size());
  const auto hide = [&](std::size_t begin, std::size_t size) {
    std::fill_n(hidden.begin() + static_cast<std::ptrdiff_t>(begin), size, true);
  };
  for (std::size_t at = text.find(password_); at != std::string::npos; at = text.find(password_, at + 1)) {
    hide(at, password_.size());
  }
  std::size_t unfinished = std::min(text.size(), password_.size() - 1);
  while (!text.ends_with(std::string_view(password_).substr(0, unfinished))) --unfinished;
  hide(text.size() - unfinished, unfinished);

  std::string masked;
  for (std::size_t i = before_.size(); i < text.size(); ++i) {
    const bool goes_on = i > before_.size() && hidden[i - 1];
    if (!hidden[i]) {
      masked += received[i - before_.size()];
    } else if (!goes_on) {
      masked += kMask;
    }
  }
  before_ = text.substr(text.size() - std::min(text.size(), password_.size() - 1));
  return masked;
}

std::string MaskPassword(std::string_view answer, std::string_view password) {
  return PasswordMask(password).Next(answer);
}

}  // namespace quillbeaker
