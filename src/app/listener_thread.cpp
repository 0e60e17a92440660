// SPDX-License-Identifier: MIT
#include "app/listener_thread.h"

#include "app/crash_recorder.h"

namespace quillbeaker {
namespace {

constexpr DWORD kMillisecondsToEndByItself = 1000;
constexpr DWORD kMillisecondsAfterTermination = 5000;
// Kept free so that the crash question can still be asked after a stack overflow.
constexpr ULONG kReservedStack = 64 * 1024;  // bytes

BOOL CALLBACK CloseWindowOfThread(HWND window, LPARAM) {
  PostMessageW(window, WM_CLOSE, 0, 0);
  return TRUE;
}

}  // namespace

ListenerThread::ListenerThread(Program& program, SessionObserver& observer)
    : program_(program), proxy_(program, observer) {}

bool ListenerThread::Start(HWND main_window) {
  main_window_ = main_window;
  thread_.reset(CreateThread(nullptr, 0, Procedure, this, 0, &thread_id_));
  return thread_ != nullptr;
}

DWORD WINAPI ListenerThread::Procedure(void* self) {
  ULONG reserved = kReservedStack;
  SetThreadStackGuarantee(&reserved);
  NameThisThread("listener");
  static_cast<ListenerThread*>(self)->Serve();
  return 0;
}

void ListenerThread::Serve() {
  if (!proxy_.Listen(program_.Read(keys::kPort))) {
    return;
  }
  proxy_.Serve();
  // Deliberate: sent, not posted, so that it has no effect beyond being seen: a listener that ends does not
  // end the program, whose settings must stay in reach.
  SendMessageW(main_window_, WM_QUIT, 0, 0);
}

void ListenerThread::CloseSockets() {
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
