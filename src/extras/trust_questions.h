// SPDX-License-Identifier: MIT
#pragma once

// Which servers the user was asked about already, whether to trust their certificates.

#include <mutex>
#include <set>
#include <string>

namespace quillbeaker {

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
