// SPDX-License-Identifier: MIT
#pragma once

// Why a login to a server failed: for the server log, for the console's status line and for a notification of
// the Windows program. The mail client is told nothing of it.

#include <optional>
#include <string>

#include "platform/tls.h"

namespace quillbeaker {

enum class LoginFailure {
  kNone,
  kSecurityUnclear,  // the configuration does not say how to connect
  kOwnAddress,       // the server is this very program
  kNameNotFound,
  kNoSuchPort,   // the mail client's user name ends in a number that is none
  kNotReached,   // refused, unreachable
  kTimedOut,     // no answer, and nobody wanted to wait
  kTls,          // no TLS with this server
  kCertificate,  // it does not check out
  kGreeting,
  kStartTlsRefused,
  kUserRefused,
  kPasswordRefused,
  kConnectionLost,
};

struct LoginProblem {
  LoginFailure failure = LoginFailure::kNone;
  std::string server;   // "host:port"
  std::string account;  // "user @ server", the bytes that the client sent
  std::string detail;   // UTF-8, one line: the server's own words, or what TLS says; may be empty
  std::optional<CertificateInfo> certificate;  // of kCertificate
  bool certificate_changed = false;            // another one is trusted for this server
};

// One sentence for the person, in the chosen language.
std::string DescribeProblem(const LoginProblem& problem);
// One line for the server log, in English, with all that the certificate says of itself.
std::string ProblemMarker(const LoginProblem& problem);
// The question whether to trust the certificate from now on, in the chosen language, several lines.
std::string TrustQuestion(const LoginProblem& problem);

}  // namespace quillbeaker
