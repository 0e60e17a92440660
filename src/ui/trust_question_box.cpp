// SPDX-License-Identifier: MIT
#include "ui/trust_question_box.h"

#include <string>
#include <system_error>
#include <thread>

#include "config/trusted_certificates.h"
#include "ui/message_box.h"
#include "ui/wide_text.h"

namespace quillbeaker {

void TrustQuestionBox::AskOnce(Program& program, const LoginProblem& problem) {
  if (!problem.certificate || !questions_->Begin(problem.server)) {
    return;
  }
  const auto ask = [&program, questions = questions_, text = Wide(TrustQuestion(problem)),
                    server = problem.server, fingerprint = problem.certificate->fingerprint] {
    const int answer =
        ShowMessageBox(nullptr, text, MB_YESNO | MB_ICONEXCLAMATION | MB_DEFBUTTON2 | MB_SETFOREGROUND);
    if (answer != IDYES) {
      return;
    }
    if (TrustCertificate(program, server, fingerprint)) {
      questions->Forget(server);
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
