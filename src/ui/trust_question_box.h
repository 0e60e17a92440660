// SPDX-License-Identifier: MIT
#pragma once

// Whether a certificate that does not check out shall be trusted: a message box on a thread of its own, so
// that mail goes on meanwhile.

#include <windows.h>

#include <memory>

#include "config/program.h"
#include "extras/trust_questions.h"
#include "pop3/login_problem.h"

namespace quillbeaker {

// Asks whether to trust that problem's certificate, and waits for the answer.
bool AskToTrust(HWND owner, const LoginProblem& problem);

class TrustQuestionBox {
 public:
  // Asks when the problem is a certificate and its server was not asked about before, and returns at once.
  // Yes is kept in the configuration; `program` must outlive the process's windows.
  void AskOnce(Program& program, const LoginProblem& problem);

 private:
  // The threads of standing questions hold it, too.
  std::shared_ptr<TrustQuestions> questions_ = std::make_shared<TrustQuestions>();
};

}  // namespace quillbeaker
