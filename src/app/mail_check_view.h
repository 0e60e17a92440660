// SPDX-License-Identifier: MIT
#pragma once

// What the windows are told of mail checks, on the UI thread, in the order in which it happened.

#include <cstdint>

#include "extras/mail_trouble.h"
#include "pop3/login_problem.h"
#include "stores/store_change.h"
#include "ui/presenter/session_progress.h"

namespace quillbeaker {

class MailCheckView {
 public:
  virtual ~MailCheckView() = default;

  // Whether mail programs are served. Until the first call nobody knows.
  virtual void ShowServing(bool serving) = 0;
  virtual void ShowProgress(const ProgressChanges& changes) = 0;
  // So many more messages were deleted.
  virtual void AddDeleted(std::uint32_t count) = 0;
  virtual void ShowStoreChange(const StoreChange& change) = 0;
  // How the last session's login ended.
  virtual void ShowLoginResult(const LoginProblem& problem) = 0;
  virtual void ShowTrouble(const MailTrouble& trouble) = 0;
};

}  // namespace quillbeaker
