// SPDX-License-Identifier: MIT
#include "ui/ui_queue.h"

#include <map>
#include <utility>

namespace quillbeaker {
namespace {

constexpr wchar_t kClassName[] = L"QuillbeakerQueue";
constexpr UINT kWake = WM_USER;

// Of this thread. GWLP_USERDATA is no place for the pointer: another process may overwrite it.
thread_local std::map<HWND, UiQueue*> queues;

}  // namespace

UiQueue::~UiQueue() {
  if (window_ != nullptr) {
    queues.erase(window_);
    DestroyWindow(window_);
  }
}

bool UiQueue::Open() {
  WNDCLASSEXW window_class{};
  window_class.cbSize = sizeof window_class;
  window_class.lpfnWndProc = WindowProcedure;
  window_class.hInstance = GetModuleHandleW(nullptr);
  window_class.lpszClassName = kClassName;
  RegisterClassExW(&window_class);  // fails when a queue was opened before, which does no harm
  window_ = CreateWindowExW(0, kClassName, L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, window_class.hInstance,
                            nullptr);
  if (window_ == nullptr) {
    return false;
  }
  queues[window_] = this;
  return true;
}

void UiQueue::Post(std::function<void()> task) {
  {
    const std::lock_guard lock(mutex_);
    tasks_.push_back(std::move(task));
    if (std::exchange(woken_, true)) {
      return;
    }
  }
  // A null window would mean the calling thread's own message queue.
  if (window_ == nullptr || !PostMessageW(window_, kWake, 0, 0)) {
    // The UI thread's message queue is full: the next task tries again.
    const std::lock_guard lock(mutex_);
    woken_ = false;
  }
}

void UiQueue::Drain() {
  // Without a look at the lock once it is closed: the thread that held it may have been torn out of it.
  while (!closed_) {
    const std::function<void()> task = TakeFirst();
    if (task == nullptr) {
      return;
    }
    task();
  }
}

std::function<void()> UiQueue::TakeFirst() {
  const std::lock_guard lock(mutex_);
  woken_ = false;
  if (tasks_.empty()) {
    return nullptr;
  }
  std::function<void()> task = std::move(tasks_.front());
  tasks_.pop_front();
  return task;
}

LRESULT CALLBACK UiQueue::WindowProcedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
  const auto queue = queues.find(window);
  if (message == kWake && queue != queues.end()) {
    queue->second->Drain();
    return 0;
  }
  return DefWindowProcW(window, message, wparam, lparam);
}

}  // namespace quillbeaker
