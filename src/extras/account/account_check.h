// SPDX-License-Identifier: MIT
#pragma once

// Tries an account out as a mail check would log in to it: name, connection, TLS, certificate, USER, PASS.
// Then the mailbox is listed and the session ended. Nothing is fetched or deleted, and nothing but server.log
// and a certificate that the person trusts is written.

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>

#include "config/program.h"
#include "extras/account/providers.h"
#include "pop3/login_problem.h"
#include "pop3/upstream/login.h"

namespace quillbeaker {

enum class AccountOutcome {
  kWorks,
  kNotListed,    // logged in, but LIST was refused
  kInUse,        // name and password are right; another session has the mailbox (RFC 2449, section 8.1.1)
  kLoginDelay,   // too soon after the last login (RFC 2449, section 8.1.2)
  kFailed,       // `problem` says why
  kNoSuchEntry,  // what no mail program could pass on: nothing was sent
  kCancelled,
};

struct AccountResult {
  AccountOutcome outcome = AccountOutcome::kFailed;
  std::uint32_t messages = 0;  // of kWorks
  std::int32_t port = 0;       // that was connected to; 0 when none was
  LoginProblem problem;
  std::string words;    // of kNotListed: the server's, UTF-8, one line
  std::string unsaved;  // the file that could not take a certificate that the person trusts; UTF-8
};

// For the person, UTF-8 in the chosen language: what came out and, in a second line, what to do about it.
std::string DescribeResult(const AccountResult& result);

// What the table of providers knows of a server that refused the login: for the person, UTF-8, one line for
// each. Empty for any other result.
std::string NeedsAfterRefusal(const ProviderTable& providers, const std::string& server,
                              const std::string& user, const AccountResult& result);

class AccountCheck {
 public:
  // Whether to trust the problem's certificate from now on. Called on the thread of Run.
  using AskToTrust = std::function<bool(const LoginProblem& problem)>;

  // `program` must outlive the check.
  explicit AccountCheck(Program& program) : program_(program) {}

  // Waits for the server, a time-out of the configuration (Timeout) at each step: never on the thread of
  // windows. The password is overwritten before it returns.
  AccountResult Run(Account account, const AskToTrust& ask);
  // Any thread: Run returns within a moment.
  void Cancel() { cancelled_ = true; }

 private:
  AccountResult LogInAndList(const Account& account);
  bool Trust(AccountResult& result, const AskToTrust& ask);

  Program& program_;
  std::atomic<bool> cancelled_ = false;
};

// Whether mail checks connect to the server at that port so already.
bool MailChecksUse(const Program& program, const std::string& server, std::int32_t port, Security security);
// Keeps how the server at that port is to be connected to (section SECURITY), for the mail checks to come.
// False when it could not be saved.
bool KeepSecurity(Program& program, const std::string& server, std::int32_t port, Security security);

}  // namespace quillbeaker
