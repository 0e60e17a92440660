// SPDX-License-Identifier: MIT
#include "app/listener_thread.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/connection.h"
#include "support/test_program.h"
#include "support/window_script.h"
#include "ui/ui_queue.h"
#include "ui/wide_text.h"

namespace quillbeaker {
namespace {

using std::chrono::milliseconds;

constexpr int kTextOfBox = 0xFFFF;

// A box of this process, whichever thread shows it.
HWND FindBox() {
  HWND box = nullptr;
  while ((box = FindWindowExW(nullptr, box, L"#32770", WideText(Text::kTitle).c_str())) != nullptr) {
    DWORD process = 0;
    GetWindowThreadProcessId(box, &process);
    if (process == GetCurrentProcessId() && IsWindowVisible(box)) break;
  }
  return box;
}

// A program whose port another one has, from the start on.
class BusyPort : private MailCheckView {
 public:
  BusyPort() {
    StartNetworking();
    other = ListenOnLoopback(0, 1);
    Configure(other->port());
    EXPECT_TRUE(queue_.Open());
  }
  ~BusyPort() override {
    thread.CloseSockets();
    EXPECT_TRUE(thread.Wait(5000));
  }

  // What was said of serving so far, as '+' and '-'.
  const std::string& Serving() {
    queue_.Drain();
    return serving_;
  }
  bool WaitForServing(const std::string& expected) {
    return test::WaitFor([&] { return Serving() == expected; });
  }
  void Configure(int port) { one_.Configure("", "[SERVER]\r\nPort=" + std::to_string(port) + "\r\n"); }

  std::unique_ptr<Listener> other;

 private:
  void ShowServing(bool serving) override { serving_ += serving ? '+' : '-'; }
  void ShowProgress(const ProgressChanges&) override {}
  void AddDeleted(std::uint32_t) override {}
  void ShowStoreChange(const StoreChange&) override {}
  void ShowLoginResult(const LoginProblem&) override {}
  void ShowTrouble(const MailTrouble&) override {}

  test::TestProgram one_;
  UiQueue queue_;
  SessionObserver observer_{queue_, *this};
  std::string serving_;

 public:
  ListenerThread thread{one_.program(), observer_, {milliseconds(400), milliseconds(150)}};
};

bool CloseBox() {
  HWND box = nullptr;
  if (!test::WaitFor([&box] { return (box = FindBox()) != nullptr; })) return false;
  SendMessageW(box, WM_COMMAND, IDOK, 0);
  return test::WaitFor([box] { return !IsWindow(box); });
}

TEST(ListenerThread, TriesAMinuteAfterTheBoxWasClosedAndThenEveryThirtySeconds) {
  EXPECT_EQ(PortRetry{}.after_the_box, std::chrono::minutes(1));
  EXPECT_EQ(PortRetry{}.then, std::chrono::seconds(30));
}

TEST(ListenerThread, ServesOnceThePortIsFree) {
  BusyPort busy;
  ASSERT_TRUE(busy.thread.Start(nullptr));
  ASSERT_TRUE(busy.WaitForServing("-"));
  HWND box = nullptr;
  ASSERT_TRUE(test::WaitFor([&box] { return (box = FindBox()) != nullptr; }));
  EXPECT_EQ(test::TextOfControl(box, kTextOfBox), WideText(Text::kPortInUse));
  // The time begins when the box is closed.
  Sleep(1000);
  EXPECT_EQ(busy.Serving(), "-");
  ASSERT_TRUE(CloseBox());
  const ULONGLONG closed = GetTickCount64();
  ASSERT_TRUE(busy.WaitForServing("--"));
  const ULONGLONG first = GetTickCount64() - closed;
  ASSERT_TRUE(busy.WaitForServing("---"));
  const ULONGLONG second = GetTickCount64() - closed - first;
  ASSERT_TRUE(busy.WaitForServing("----"));
  EXPECT_GE(first, 300U);
  EXPECT_GE(second, 100U);
  EXPECT_LT(second, first);
  EXPECT_EQ(FindBox(), nullptr);  // told once
  busy.other = nullptr;
  ASSERT_TRUE(test::WaitFor([&] { return busy.Serving().ends_with('+'); }));
}

TEST(ListenerThread, TriesThePortThatWasReadAtTheStart) {
  BusyPort busy;
  const int port = busy.other->port();
  ASSERT_TRUE(busy.thread.Start(nullptr));
  ASSERT_TRUE(CloseBox());
  busy.Configure(port == 65535 ? port - 1 : port + 1);
  ASSERT_TRUE(test::WaitFor([&] { return busy.Serving().size() >= 3; }));
  EXPECT_EQ(busy.Serving().find('+'), std::string::npos);
  busy.other = nullptr;
  ASSERT_TRUE(test::WaitFor([&] { return busy.Serving().ends_with('+'); }));
  EXPECT_EQ(ListenOnLoopback(port, 1), nullptr);
}

TEST(ListenerThread, APortOutOfRangeHasAParagraphAndIsNotTriedAgain) {
  BusyPort busy;
  busy.Configure(70000);
  ASSERT_TRUE(busy.thread.Start(nullptr));
  HWND box = nullptr;
  ASSERT_TRUE(test::WaitFor([&box] { return (box = FindBox()) != nullptr; }));
  EXPECT_EQ(test::TextOfControl(box, kTextOfBox),
            WideText(Text::kPortInUse) +
                L"\n\nThe value of Port in the configuration file is 70000, but a port is a number from 1 to "
                L"65535.");
  ASSERT_TRUE(CloseBox());
  EXPECT_TRUE(busy.thread.Wait(5000));
  EXPECT_EQ(busy.Serving(), "-");
}

TEST(ListenerThread, EndsWhileTheBoxStandsAndWhileItWaits) {
  {
    BusyPort busy;
    ASSERT_TRUE(busy.thread.Start(nullptr));
    ASSERT_TRUE(test::WaitFor([] { return FindBox() != nullptr; }));
  }
  EXPECT_EQ(FindBox(), nullptr);
  BusyPort busy;
  ASSERT_TRUE(busy.thread.Start(nullptr));
  ASSERT_TRUE(CloseBox());
}

}  // namespace
}  // namespace quillbeaker
