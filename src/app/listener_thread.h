// SPDX-License-Identifier: MIT
#pragma once

// The thread that serves mail clients, from start-up to the end of the program.

#include <windows.h>

#include <chrono>

#include "app/session_observer.h"
#include "config/program.h"
#include "pop3/local/mail_proxy.h"
#include "ui/handles.h"

namespace quillbeaker {

// When a port that another program has is tried again.
struct PortRetry {
  std::chrono::milliseconds after_the_box = std::chrono::minutes(1);  // since the person closed it
  std::chrono::milliseconds then = std::chrono::seconds(30);
};

class ListenerThread {
 public:
  // Both must outlive the thread.
  ListenerThread(Program& program, SessionObserver& observer, PortRetry retry = {});

  // False when the system gives no thread. `main_window` is told when the thread ends. While another program
  // has the port the thread tries again, without end; the person is told once.
  bool Start(HWND main_window);
  // Any thread: closes the listening socket and breaks a session in progress, so that the thread ends.
  void CloseSockets();
  // Waits until the thread has ended, handling what it sends to this thread meanwhile. False when it had not
  // ended after `milliseconds`.
  bool Wait(DWORD milliseconds);
  // Last resort of the crash handler, after CloseSockets; the thread itself goes on when it is the one that
  // calls. The port is free for another instance then.
  void Terminate();

 private:
  static DWORD WINAPI Procedure(void* self);
  void Serve();
  bool TakePort();
  void EndThread();

  Program& program_;
  SessionObserver& observer_;
  const PortRetry retry_;
  MailProxy proxy_;
  UniqueKernelHandle stop_;  // an event: no further try
  HWND main_window_ = nullptr;
  UniqueKernelHandle thread_;
  DWORD thread_id_ = 0;
};

}  // namespace quillbeaker
