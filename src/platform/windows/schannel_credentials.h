// SPDX-License-Identifier: MIT
#pragma once

// Credentials as Schannel wants them of every connection: what we allow, and no certificate of ours. For the
// sources of this folder only.

#include "platform/windows/schannel.h"

namespace quillbeaker {

class SchannelCredentials {
 public:
  SchannelCredentials() = default;
  SchannelCredentials(const SchannelCredentials&) = delete;
  SchannelCredentials& operator=(const SchannelCredentials&) = delete;
  ~SchannelCredentials();

  // With TLS 1.3 where the system has it, which is only asked for in the newer way.
  [[nodiscard]] bool Acquire();
  CredHandle* handle() { return &handle_; }

 private:
  bool AcquireWith(void* data);

  CredHandle handle_{};
  bool acquired_ = false;
};

}  // namespace quillbeaker
