// SPDX-License-Identifier: MIT
#pragma once

// Certificates that the user trusts although they do not check out: "host:port" = fingerprint in the
// configuration; and which servers the user was asked about already.

#include <mutex>
#include <set>
#include <string>

#include "config/program.h"

namespace quillbeaker {

// Fingerprint (64 lower-case hexadecimal digits) of the certificate trusted for that "host:port"; empty when
// there is none. What is no fingerprint counts as none.
std::string TrustedFingerprint(const Program& program, const std::string& server);
// False when it could not be saved.
bool TrustCertificate(Program& program, const std::string& server, const std::string& fingerprint);

// A server is asked about once; the answer No holds until the program ends. Any thread.
class TrustQuestions {
 public:
  // True the first time for a server: the caller asks.
  bool Begin(const std::string& server);
  // The answer was Yes, and is kept: should the server come with another certificate, that is asked about
  // again.
  void Forget(const std::string& server);

 private:
  std::mutex mutex_;
  std::set<std::string> asked_;
};

}  // namespace quillbeaker
