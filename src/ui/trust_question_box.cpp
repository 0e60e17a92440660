// SPDX-License-Identifier: MIT
#include "ui/trust_question_box.h"

#include <string>
#include <system_error>
#include <thread>

#include "config/trusted_certificates.h"
#include "ui/message_box.h"
#include "ui/wide_text.h"

namespace quillbeaker {

bool AskToTrust(HWND owner, const LoginProblem& problem) {
  return ShowMessageBox(owner, Wide(TrustQuestion(problem)),
                        MB_YESNO | MB_ICONEXCLAMATION | MB_DEFBUTTON2 | MB_SETFOREGROUND) == IDYES;
}

void TrustQuestionBox::AskOnce(Program& program, const LoginProblem& problem) {
  if (!problem.certificate || !questions_->Begin(problem.server)) {
    return;
  }
  const auto ask = [&program, questions = questions_, problem] {
    if (!AskToTrust(nullptr, problem)) {
      return;
    }
    if (TrustCertificate(program, problem.server, problem.certificate->fingerprint)) {
      questions->Forget(problem.server);
    } else {
      ShowNotSaved(nullptr, program);
    }
  };
  try {
    std::thread(ask).detach();
  } catch (const std::system_error&) {
    // Without a thread to ask on the certificate stays refused.
  }
}

}  // namespace quillbeaker
