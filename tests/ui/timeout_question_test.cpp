// SPDX-License-Identifier: MIT
#include "ui/timeout_question.h"

#include <gtest/gtest.h>

#include <atomic>

#include "support/window_script.h"
#include "ui/resource.h"

namespace quillbeaker {
namespace {

HWND Question() {
  const HWND window = FindWindowW(L"#32770", L"Timeout");
  return window != nullptr && IsWindowVisible(window) ? window : nullptr;
}

class TimeoutQuestionTest : public ::testing::Test {
 protected:
  ~TimeoutQuestionTest() override {
    if (Question() != nullptr) PostMessageW(Question(), WM_CLOSE, 0, 0);
    test::WaitFor([] { return Question() == nullptr; });
  }
  void Ask() {
    question.Ask([this] { ++aborted; });
  }
  HWND Shown() {
    test::WaitFor([] { return Question() != nullptr; });
    return Question();
  }
  bool Gone() {
    return test::WaitFor([] { return Question() == nullptr; });
  }

  std::atomic<int> aborted = 0;
  TimeoutQuestion question;
};

TEST_F(TimeoutQuestionTest, AbortAborts) {
  Ask();
  ASSERT_NE(Shown(), nullptr);
  EXPECT_EQ(aborted, 0);
  test::Press(Question(), IDOK);
  EXPECT_TRUE(test::WaitFor([this] { return aborted == 1; }));
}

TEST_F(TimeoutQuestionTest, EveryOtherWayWaits) {
  for (int way = 0; way < 3; ++way) {
    // The window goes a moment before another question may be asked.
    test::WaitFor([this] {
      Ask();
      return Question() != nullptr;
    });
    const HWND window = Shown();
    ASSERT_NE(window, nullptr);
    if (way == 0) test::Press(window, IDCANCEL);
    if (way == 1) PostMessageW(window, WM_SYSCOMMAND, SC_CLOSE, 0);
    if (way == 2) PostMessageW(window, WM_KEYDOWN, VK_ESCAPE, 0);
    EXPECT_TRUE(Gone()) << way;
  }
  EXPECT_EQ(aborted, 0);
}

TEST_F(TimeoutQuestionTest, OneAtATime) {
  Ask();
  const HWND window = Shown();
  ASSERT_NE(window, nullptr);
  const DWORD thread = GetWindowThreadProcessId(window, nullptr);
  EXPECT_NE(thread, GetCurrentThreadId());
  Ask();
  Ask();
  EXPECT_EQ(FindWindowExW(nullptr, window, L"#32770", L"Timeout"), nullptr);
  EXPECT_EQ(FindWindowW(L"#32770", L"Timeout"), window);
  test::Press(window, IDOK);
  EXPECT_TRUE(Gone());
  EXPECT_TRUE(test::WaitFor([this] { return aborted == 1; }));
  // And it can be asked anew.
  Ask();
  ASSERT_NE(Shown(), nullptr);
  test::Press(Question(), IDCANCEL);
  EXPECT_TRUE(Gone());
  EXPECT_EQ(aborted, 1);
}

TEST_F(TimeoutQuestionTest, TheQuestionMayOutliveWhoAsked) {
  std::atomic<int> calls = 0;
  {
    TimeoutQuestion short_lived;
    short_lived.Ask([&calls] { ++calls; });
    ASSERT_NE(Shown(), nullptr);
  }
  test::Press(Question(), IDOK);
  EXPECT_TRUE(test::WaitFor([&calls] { return calls == 1; }));
}

}  // namespace
}  // namespace quillbeaker
