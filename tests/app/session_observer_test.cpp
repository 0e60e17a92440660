// SPDX-License-Identifier: MIT
#include "app/session_observer.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "ui/resource.h"

namespace quillbeaker {
namespace {

// The main window's part: it is told by messages, on the thread that it was made on.
class Receiver {
 public:
  Receiver() {
    WNDCLASSW window_class{};
    window_class.lpfnWndProc = Procedure;
    window_class.hInstance = GetModuleHandleW(nullptr);
    window_class.lpszClassName = L"SessionObserverTest";
    RegisterClassW(&window_class);
    window = CreateWindowExW(0, L"SessionObserverTest", L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                             window_class.hInstance, nullptr);
    SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
    observer.SetMainWindow(window, [this] { return shown_count; });
  }
  ~Receiver() { DestroyWindow(window); }

  // Runs the listener's part on a thread of its own while this one handles messages.
  template <typename Work>
  void Listen(Work work) {
    std::thread listener([&] {
      work();
      PostMessageW(window, WM_QUIT, 0, 0);
    });
    MSG message;
    while (GetMessageW(&message, nullptr, 0, 0) > 0) DispatchMessageW(&message);
    listener.join();
  }

  SessionObserver observer;
  std::uint32_t shown_count = 0;
  HWND window = nullptr;
  std::vector<UINT> messages;
  std::vector<BubbleCall> calls;
  std::vector<std::uint64_t> positions;
  std::vector<WPARAM> deleted;
  std::vector<std::wstring> texts;

 private:
  static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
    auto* const self = reinterpret_cast<Receiver*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (self != nullptr && message >= WM_USER) self->Take(message, wparam, lparam);
    return DefWindowProcW(window, message, wparam, lparam);
  }
  void Take(UINT message, WPARAM wparam, LPARAM lparam) {
    messages.push_back(message);
    if (message == MESSAGE_SET_DELETED) deleted.push_back(wparam);
    if (message == MESSAGE_SET_TOOLTIP) texts.emplace_back(reinterpret_cast<const wchar_t*>(lparam));
    if (message != MESSAGE_BUBBLE) return;
    const auto call = static_cast<BubbleCall>(wparam);
    calls.push_back(call);
    if (call == BubbleCall::kPosition) positions.push_back(static_cast<std::uint64_t>(lparam));
    if (call == BubbleCall::kStatus || call == BubbleCall::kActivity) {
      texts.emplace_back(reinterpret_cast<const wchar_t*>(lparam));
    }
  }
};

TEST(SessionObserver, BeginAndEndAreTold) {
  Receiver receiver;
  receiver.Listen([&] {
    receiver.observer.SessionBegins();
    receiver.observer.AddDeleted(3);
    receiver.observer.SessionEnds({});
  });
  EXPECT_EQ(receiver.messages, (std::vector<UINT>{MESSAGE_SESSION_BEGINS, MESSAGE_SET_DELETED,
                                                  MESSAGE_SESSION_ENDS, MESSAGE_LOGIN_RESULT}));
}

TEST(SessionObserver, DeletedMessagesAreAddedToTheNumberThatIsShown) {
  Receiver receiver;
  receiver.shown_count = 2;
  receiver.Listen([&] {
    receiver.observer.AddDeleted(3);
    receiver.shown_count = 0;  // its time is over
    receiver.observer.AddDeleted(4);
  });
  EXPECT_EQ(receiver.deleted, (std::vector<WPARAM>{5, 4}));
}

TEST(SessionObserver, ABurstIsToldAFewTimesAndItsEndIsNotLost) {
  Receiver receiver;
  constexpr int kSteps = 200000;
  DWORD milliseconds = 0;
  receiver.Listen([&] {
    receiver.observer.SetRange(kSteps);
    const ULONGLONG start = GetTickCount64();
    for (int i = 0; i < kSteps; ++i) receiver.observer.Advance(1);
    milliseconds = static_cast<DWORD>(GetTickCount64() - start);
  });
  EXPECT_LE(receiver.positions.size(), milliseconds / 50 + 2);
  receiver.observer.SendPending();
  ASSERT_FALSE(receiver.positions.empty());
  EXPECT_EQ(receiver.positions.back(), static_cast<std::uint64_t>(kSteps));
  EXPECT_TRUE(std::is_sorted(receiver.positions.begin(), receiver.positions.end()));
  const std::size_t told = receiver.positions.size();
  receiver.observer.SendPending();  // nothing is told twice
  EXPECT_EQ(receiver.positions.size(), told);
}

TEST(SessionObserver, AStatusThatStaysIsToldOnceASession) {
  Receiver receiver;
  receiver.Listen([&] {
    receiver.observer.SessionBegins();
    for (int i = 0; i < 100; ++i) receiver.observer.ShowStatus("off");
    receiver.observer.ShowStatus("");
    receiver.observer.ShowStatus("off");
    receiver.observer.SessionEnds({});
    receiver.observer.SessionBegins();  // with a new bubble
    receiver.observer.ShowStatus("off");
  });
  EXPECT_EQ(receiver.texts, (std::vector<std::wstring>{L"off", L"", L"off", L"off"}));
}

TEST(SessionObserver, TextsArriveAsTheyAreInAnyScript) {
  Receiver receiver;
  receiver.Listen([&] {
    receiver.observer.ShowStatus(
        "Gr\xC3\xBC\xC3\x9F"
        "e \xE4\xB8\xAD");
  });
  receiver.observer.SendPending();
  ASSERT_FALSE(receiver.texts.empty());
  EXPECT_EQ(receiver.texts.back(), L"Gr\u00FC\u00DFe \u4E2D");
}

TEST(SessionObserver, TheTooltipIsTheActivity) {
  Receiver receiver;
  receiver.Listen([&] { receiver.observer.ShowTooltip("Receiving"); });
  receiver.observer.SendPending();
  EXPECT_EQ(receiver.texts,
            (std::vector<std::wstring>{L"Receiving", L"Receiving"}));  // of the icon and in the bubble
}

TEST(SessionObserver, WhatIsHeldBackAtTheEndIsForgotten) {
  Receiver receiver;
  receiver.Listen([&] {
    receiver.observer.SetRange(10);
    receiver.observer.Advance(1);
    receiver.observer.Advance(1);
    receiver.observer.SessionEnds({});
  });
  const std::size_t told = receiver.calls.size();
  receiver.observer.SendPending();
  EXPECT_EQ(receiver.calls.size(), told);
}

TEST(SessionObserver, ACancelIsForgottenAtTheNextBegin) {
  Receiver receiver;
  receiver.observer.cancelled() = true;
  EXPECT_TRUE(receiver.observer.IsCancelled());
  receiver.Listen([&] { receiver.observer.SessionBegins(); });
  EXPECT_FALSE(receiver.observer.IsCancelled());
}

}  // namespace
}  // namespace quillbeaker
