// SPDX-License-Identifier: MIT
#include "app/session_observer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "ui/resource.h"

namespace quillbeaker {
namespace {

// The main window's part: what it is told, in words, on the thread that it was made on.
class Receiver : private MailCheckView {
 public:
  Receiver() {
    WNDCLASSW window_class{};
    window_class.lpfnWndProc = Procedure;
    window_class.hInstance = GetModuleHandleW(nullptr);
    window_class.lpszClassName = L"SessionObserverTest";
    RegisterClassW(&window_class);
    window_ = CreateWindowExW(0, L"SessionObserverTest", L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                              window_class.hInstance, nullptr);
    SetWindowLongPtrW(window_, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
    opened = queue_.Open();
    observer.SetMainWindow(window_);
  }
  ~Receiver() override { DestroyWindow(window_); }

  // Runs the listener's part on a thread of its own while this one handles messages.
  template <typename Work>
  void Listen(Work work) {
    bool over = false;
    std::thread listener([&] {
      work();
      queue_.Post([&over] { over = true; });
    });
    MSG message;
    while (!over && GetMessageW(&message, nullptr, 0, 0) > 0) DispatchMessageW(&message);
    listener.join();
  }

 private:
  UiQueue queue_;

 public:
  SessionObserver observer{queue_, *this};
  bool opened = false;
  std::vector<std::string> told;
  std::vector<WPARAM> parameters;  // of the messages
  std::atomic<int> progress_calls = 0;

 private:
  void ShowProgress(const ProgressChanges& changes) override {
    ++progress_calls;
    if (changes.range) told.push_back("range " + std::to_string(*changes.range));
    if (changes.position) told.push_back("position " + std::to_string(*changes.position));
    if (changes.status) told.push_back("status " + *changes.status);
    if (changes.spam_count) told.push_back("spam " + std::to_string(*changes.spam_count));
    if (changes.activity) told.push_back("activity " + *changes.activity);
  }
  void ShowServing(bool serving) override { told.push_back(serving ? "serving" : "not serving"); }
  void AddDeleted(std::uint32_t count) override { told.push_back("deleted " + std::to_string(count)); }
  void ShowStoreChange(const StoreChange& change) override {
    std::string names;
    for (const std::string& name : change.added) names += " +" + name;
    for (const std::string& name : change.removed) names += " -" + name;
    told.push_back("store" + names);
  }
  void ShowLoginResult(const LoginProblem& problem) override { told.push_back("login " + problem.server); }
  void ShowTrouble(const MailTrouble& trouble) override { told.push_back(DescribeTrouble(trouble)); }

  static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
    auto* const self = reinterpret_cast<Receiver*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (self != nullptr && message >= WM_USER) {
      self->parameters.insert(self->parameters.end(), {wparam, static_cast<WPARAM>(lparam)});
      // As the main window does.
      self->queue_.Drain();
      self->told.push_back(message == MESSAGE_SESSION_BEGINS ? "begin"
                           : message == MESSAGE_SESSION_ENDS ? "end"
                                                             : "another message");
    }
    return DefWindowProcW(window, message, wparam, lparam);
  }

  HWND window_ = nullptr;
};

using Told = std::vector<std::string>;

TEST(SessionObserver, TellsEverythingInTheOrderInWhichItHappened) {
  Receiver receiver;
  ASSERT_TRUE(receiver.opened);
  CheckSummary summary;
  summary.login_problem.server = "pop.example.org:110";
  receiver.Listen([&] {
    receiver.observer.SessionBegins();
    receiver.observer.AddDeleted(3);
    receiver.observer.StoreChanged({.store = Store::kRecycleBin, .added = {"a"}, .removed = {"b"}});
    receiver.observer.AddDeleted(4);
    receiver.observer.SessionEnds(summary);
  });
  EXPECT_EQ(receiver.told,
            (Told{"begin", "deleted 3", "store +a -b", "deleted 4", "end", "login pop.example.org:110"}));
  // Nothing travels in a message.
  EXPECT_EQ(receiver.parameters, (std::vector<WPARAM>{0, 0, 0, 0}));
}

TEST(SessionObserver, TellsWhetherMailProgramsAreServed) {
  Receiver receiver;
  receiver.Listen([&] {
    receiver.observer.PortInUse();
    receiver.observer.ServingBegins();
    receiver.observer.ServingEnds();
  });
  EXPECT_EQ(receiver.told, (Told{"not serving", "serving", "not serving"}));
}

TEST(SessionObserver, TellsOfTrouble) {
  Receiver receiver;
  ASSERT_TRUE(receiver.opened);
  receiver.Listen([&] {
    // What it is told lives no longer than the call.
    receiver.observer.MessageRefused(std::string("ann @ pop"), 3, std::string("-ERR no"));
    receiver.observer.ServerGone("ann @ pop");
    receiver.observer.DeletionsUnconfirmed("ann @ pop", 4, "-ERR locked");
    receiver.observer.MailNotKept("ann @ pop", 5, "recycle: full");
    receiver.observer.RestoredMailStays("ann @ pop", 6);
    receiver.observer.ClientGaveUp("ann @ pop", 310, 1000);
  });
  EXPECT_EQ(receiver.told,
            (Told{"ann @ pop: message 3 could not be received (-ERR no)",
                  "ann @ pop: the connection to the server was lost",
                  "ann @ pop: the server did not confirm the deletion of 4 messages (-ERR locked)",
                  "ann @ pop: 5 spam messages could not be kept in the recycle bin and stay on the server "
                  "(recycle: full)",
                  "ann @ pop: 6 restored messages could not be taken out of the recycle bin and will be "
                  "delivered again",
                  "ann @ pop: the mail program gave up; 310 of 1000 are ready for its next try"}));
}

TEST(SessionObserver, ASessionHasBegunWhenTheCallReturns) {
  Receiver receiver;
  Told at_return;
  receiver.Listen([&] {
    receiver.observer.SessionBegins();
    at_return = receiver.told;
  });
  EXPECT_EQ(at_return, (Told{"begin"}));
}

TEST(SessionObserver, AStatusIsShownWhileTheListenerWorks) {
  Receiver receiver;
  Told seen;
  receiver.Listen([&] {
    receiver.observer.SessionBegins();
    receiver.observer.ShowStatus("Deleting old messages...");
    // What is done under that text takes its time.
    const ULONGLONG end = GetTickCount64() + 5000;
    while (receiver.progress_calls == 0 && GetTickCount64() < end) Sleep(1);
    receiver.observer.ShowStatus({});
  });
  EXPECT_EQ(receiver.told, (Told{"begin", "status Deleting old messages...", "status "}));
}

TEST(SessionObserver, WhatIsHeldBackIsShownWhenItIsAskedFor) {
  Receiver receiver;
  receiver.Listen([&] {
    receiver.observer.SetRange(10);
    for (int i = 0; i < 10; ++i) receiver.observer.Advance(1);
    receiver.observer.ShowTooltip("Receiving");
    receiver.observer.ShowSpamCount(2);
  });
  receiver.observer.ShowPending();
  const int calls = receiver.progress_calls;
  const Told& told = receiver.told;
  EXPECT_EQ(told.front(), "range 10");
  for (const char* latest : {"position 10", "activity Receiving", "spam 2"}) {
    EXPECT_NE(std::find(told.begin(), told.end(), latest), told.end()) << latest;
  }
  const std::size_t told_until_now = told.size();
  receiver.observer.ShowPending();  // nothing is told twice
  EXPECT_EQ(told.size(), told_until_now);
  EXPECT_LE(calls, 4);
}

TEST(SessionObserver, WhatIsHeldBackAtTheEndIsForgotten) {
  Receiver receiver;
  receiver.Listen([&] {
    receiver.observer.SetRange(10);
    receiver.observer.Advance(1);
    receiver.observer.Advance(1);
    receiver.observer.SessionEnds({});
  });
  const std::size_t told = receiver.told.size();
  receiver.observer.ShowPending();
  EXPECT_EQ(receiver.told.size(), told);
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
