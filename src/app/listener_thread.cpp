// SPDX-License-Identifier: MIT
#include "app/listener_thread.h"

#include "app/crash_recorder.h"
#include "extras/port_notice.h"
#include "ui/message_box.h"
#include "ui/wide_text.h"

namespace quillbeaker {
namespace {

constexpr DWORD kMillisecondsToEndByItself = 1000;
constexpr DWORD kMillisecondsAfterTermination = 5000;

// Before all other windows: nobody else would say why no mail comes.
void TellPortInUse(HWND main_window, std::int32_t port) {
  std::wstring text = WideText(Text::kPortInUse);
  if (const std::string reason = DescribePortOutOfRange(port); !reason.empty()) {
    text += L"\n\n" + Wide(reason);
  }
  ShowMessageBox(main_window, text, MB_ICONEXCLAMATION | MB_SETFOREGROUND | MB_TOPMOST);
}

BOOL CALLBACK CloseWindowOfThread(HWND window, LPARAM) {
  PostMessageW(window, WM_CLOSE, 0, 0);
  return TRUE;
}

}  // namespace

ListenerThread::ListenerThread(Program& program, SessionObserver& observer, PortRetry retry)
    : program_(program),
      observer_(observer),
      retry_(retry),
      proxy_(program, observer),
      stop_(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}

bool ListenerThread::Start(HWND main_window) {
  main_window_ = main_window;
  thread_.reset(CreateThread(nullptr, 0, Procedure, this, 0, &thread_id_));
  return thread_ != nullptr;
}

DWORD WINAPI ListenerThread::Procedure(void* self) {
  NameThisThread("listener");
  static_cast<ListenerThread*>(self)->Serve();
  return 0;
}

void ListenerThread::Serve() {
  if (!TakePort()) {
    return;
  }
  observer_.ServingBegins();
  if (!proxy_.Serve()) {
    observer_.ServingEnds();
  }
  // Deliberate: sent, not posted, so that it has no effect beyond being seen: a listener that ends does not
  // end the program, whose settings must stay in reach.
  SendMessageW(main_window_, WM_QUIT, 0, 0);
}

bool ListenerThread::TakePort() {
  const std::int32_t port = program_.Read(keys::kPort);
  if (proxy_.Listen(port)) {
    return true;
  }
  TellPortInUse(main_window_, port);
  if (!IsPort(port)) {
    return false;
  }
  auto wait = retry_.after_the_box;
  while (WaitForSingleObject(stop_.get(), static_cast<DWORD>(wait.count())) == WAIT_TIMEOUT) {
    if (proxy_.Listen(port)) {
      return true;
    }
    wait = retry_.then;
  }
  return false;
}

void ListenerThread::CloseSockets() {
  SetEvent(stop_.get());
  proxy_.Stop();
}

bool ListenerThread::Wait(DWORD milliseconds) {
  if (thread_ == nullptr) {
    return true;
  }
  // A message box of the thread would stand for ever.
  EnumThreadWindows(thread_id_, CloseWindowOfThread, 0);
  const ULONGLONG end = GetTickCount64() + milliseconds;
  for (;;) {
    const ULONGLONG now = GetTickCount64();
    const HANDLE thread = thread_.get();
    const DWORD woken = MsgWaitForMultipleObjects(
        1, &thread, FALSE, now < end ? static_cast<DWORD>(end - now) : 0, QS_SENDMESSAGE);
    if (woken == WAIT_OBJECT_0) {
      return true;
    }
    if (woken != WAIT_OBJECT_0 + 1) {
      return false;
    }
    MSG message;
    PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE);  // handles what was sent, and only that
  }
}

void ListenerThread::Terminate() {
  EndThread();
  proxy_.GiveUpPort();
}

void ListenerThread::EndThread() {
  if (thread_ == nullptr || GetCurrentThreadId() == thread_id_) {
    return;
  }
  if (WaitForSingleObject(thread_.get(), kMillisecondsToEndByItself) == WAIT_OBJECT_0) {
    return;
  }
  TerminateThread(thread_.get(), 0);
  WaitForSingleObject(thread_.get(), kMillisecondsAfterTermination);
}

}  // namespace quillbeaker
