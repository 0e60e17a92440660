// SPDX-License-Identifier: MIT
#include "ui/timeout_question.h"

#include <system_error>
#include <thread>
#include <utility>

#include "ui/dialog.h"
#include "ui/resource.h"
#include "ui/wide_text.h"

namespace quillbeaker {
namespace {

class TimeoutDialog : public Dialog {
 public:
  TimeoutDialog() : Dialog(DIALOG_TIMEOUT) {}

 private:
  bool OnInit() override {
    SetDlgItemTextW(window(), TIMEOUT_TEXT, WideText(Text::kTimeoutQuestion).c_str());
    SetDlgItemTextW(window(), IDOK, WideText(Text::kTimeoutAbort).c_str());
    SetDlgItemTextW(window(), IDCANCEL, WideText(Text::kTimeoutWait).c_str());
    // The mail program has the foreground: without this the question would stand behind it, unseen.
    SetForegroundWindow(window());
    // Whoever is typing there must not abort the mail check by a blank that was meant for a letter.
    SetFocus(Control(IDCANCEL));
    MessageBeep(MB_ICONQUESTION);
    return false;  // the focus is set
  }
  bool OnCommand(int id, int) override {
    if (id != IDOK && id != IDCANCEL) return false;
    End(id);
    return true;
  }
};

}  // namespace

void TimeoutQuestion::Ask(std::function<void()> abort) {
  if (stands_->exchange(true)) {
    return;
  }
  try {
    std::thread([abort = std::move(abort), stands = stands_] {
      const INT_PTR answer = TimeoutDialog().RunModal(nullptr);
      *stands = false;
      if (answer == IDOK) {
        abort();
      }
    }).detach();
  } catch (const std::system_error&) {
    *stands_ = false;  // no thread to ask on: the next period may have one
  }
}

}  // namespace quillbeaker
