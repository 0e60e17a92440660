// SPDX-License-Identifier: MIT
#include "ui/timeout_question.h"

#include <windows.h>

#include <algorithm>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

#include "message/display_text.h"
#include "ui/dialog.h"
#include "ui/handles.h"
#include "ui/resource.h"
#include "ui/wide_text.h"

namespace quillbeaker {

// Everything in both is guarded by the mutex.
struct TimeoutQuestion::Question {
  std::uint32_t session = 0;
  AskedServer server;
  std::function<void()> abort;
  HWND window = nullptr;  // while it is shown
  bool replaced = false;  // a later question has closed it
};

struct TimeoutQuestion::Standing {
  std::mutex mutex;
  std::shared_ptr<Question> question;  // null when none stands
};

namespace {

class TimeoutDialog : public Dialog {
 public:
  // `shown` is called with the window before it can be seen; false ends it at once.
  TimeoutDialog(std::wstring whose, std::function<bool(HWND)> shown)
      : Dialog(DIALOG_TIMEOUT), whose_(std::move(whose)), shown_(std::move(shown)) {}

 private:
  bool OnInit() override {
    SetDlgItemTextW(window(), TIMEOUT_TEXT, WideText(Text::kTimeoutQuestion).c_str());
    SetDlgItemTextW(window(), TIMEOUT_SERVER, whose_.c_str());
    SetDlgItemTextW(window(), IDOK, WideText(Text::kTimeoutAbort).c_str());
    SetDlgItemTextW(window(), IDCANCEL, WideText(Text::kTimeoutWait).c_str());
    MakeRoomForNames();
    if (!shown_(window())) {
      End(IDCANCEL);
      return false;
    }
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

  // Server and user may be as long as a mail program likes; the template has room for usual ones.
  void MakeRoomForNames() {
    const HWND names = Control(TIMEOUT_SERVER);
    RECT room{};
    GetClientRect(names, &room);
    RECT needed = room;
    const WindowContext context(names);
    const Selected font(context.get(), reinterpret_cast<HFONT>(SendMessageW(names, WM_GETFONT, 0, 0)));
    DrawTextW(context.get(), whose_.c_str(), -1, &needed,
              DT_CALCRECT | DT_WORDBREAK | DT_EDITCONTROL | DT_NOPREFIX);
    const int missing = static_cast<int>(needed.bottom - room.bottom);
    if (missing <= 0) return;
    SetWindowPos(names, nullptr, 0, 0, room.right, needed.bottom, SWP_NOMOVE | SWP_NOZORDER);
    for (const int id : {IDOK, IDCANCEL}) {
      RECT place{};
      GetWindowRect(Control(id), &place);
      POINT corner{place.left, place.top + missing};
      ScreenToClient(window(), &corner);
      SetWindowPos(Control(id), nullptr, corner.x, corner.y, 0, 0, SWP_NOSIZE | SWP_NOZORDER);
    }
    RECT frame{};
    GetWindowRect(window(), &frame);
    SetWindowPos(window(), nullptr, frame.left, std::max<int>(0, frame.top - missing / 2),
                 frame.right - frame.left, frame.bottom - frame.top + missing, SWP_NOZORDER);
  }

  const std::wstring whose_;
  const std::function<bool(HWND)> shown_;
};

}  // namespace

TimeoutQuestion::TimeoutQuestion() : standing_(std::make_shared<Standing>()) {}

void TimeoutQuestion::Ask(const AskedServer& server, std::function<void()> abort) {
  auto question = std::make_shared<Question>();
  {
    const std::lock_guard lock(standing_->mutex);
    if (const auto& former = standing_->question; former != nullptr) {
      if (former->session == session_ && former->server == server) {
        former->abort = std::move(abort);
        return;
      }
      former->replaced = true;
      if (former->window != nullptr) PostMessageW(former->window, WM_CLOSE, 0, 0);
    }
    question->session = session_;
    question->server = server;
    question->abort = std::move(abort);
    standing_->question = question;
  }
  const auto show =
      [question, standing = standing_,
       whose = WideFormat(Text::kTimeoutServer, {DisplayLine(server.address), DisplayLine(server.account)})] {
        const INT_PTR answer = TimeoutDialog(whose, [&](HWND window) {
                                 const std::lock_guard lock(standing->mutex);
                                 question->window = window;
                                 return !question->replaced;
                               }).RunModal(nullptr);
        std::function<void()> chosen;
        {
          const std::lock_guard lock(standing->mutex);
          question->window = nullptr;
          if (standing->question == question) standing->question = nullptr;
          if (answer == IDOK && !question->replaced) chosen = question->abort;
        }
        if (chosen) chosen();
      };
  try {
    std::thread(show).detach();
  } catch (const std::system_error&) {
    // No thread to ask on: the next period may have one.
    const std::lock_guard lock(standing_->mutex);
    standing_->question = nullptr;
  }
}

}  // namespace quillbeaker
