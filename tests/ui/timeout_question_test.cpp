// SPDX-License-Identifier: MIT
#include "ui/timeout_question.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>

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
    question.Ask(server, [this] { ++aborted; });
  }
  HWND Shown() {
    test::WaitFor([] { return Question() != nullptr; });
    return Question();
  }
  bool Gone() {
    return test::WaitFor([] { return Question() == nullptr; });
  }

  AskedServer server{"pop.example.org:995", "ann @ pop.example.org"};
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
  // An earlier question's window goes a moment after its answer; a second one would stay.
  EXPECT_TRUE(
      test::WaitFor([window] { return FindWindowExW(nullptr, window, L"#32770", L"Timeout") == nullptr; }));
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
    short_lived.Ask(server, [&calls] { ++calls; });
    ASSERT_NE(Shown(), nullptr);
  }
  test::Press(Question(), IDOK);
  EXPECT_TRUE(test::WaitFor([&calls] { return calls == 1; }));
}

TEST_F(TimeoutQuestionTest, NamesServerAndAccount) {
  Ask();
  const HWND window = Shown();
  ASSERT_NE(window, nullptr);
  EXPECT_EQ(test::TextOfControl(window, TIMEOUT_SERVER),
            L"Server: pop.example.org:995\nAccount: ann @ pop.example.org");
  test::Press(window, IDCANCEL);
}

TEST_F(TimeoutQuestionTest, LongNamesMakeItHigherAndBytesAreMadeFitToBeShown) {
  Ask();
  const HWND usual = Shown();
  ASSERT_NE(usual, nullptr);
  const RECT button = test::PlaceOfControl(usual, IDOK);
  test::Press(usual, IDCANCEL);
  ASSERT_TRUE(Gone());

  server.address = std::string(79, 'W') + ":995";
  server.account = std::string(78, 'M') + "\xE4 @ " + std::string(79, 'W');
  question.BeginSession();
  Ask();
  const HWND window = Shown();
  ASSERT_NE(window, nullptr);
  const std::wstring text = test::TextOfControl(window, TIMEOUT_SERVER);
  EXPECT_NE(text.find(L"M\u00E4 @ W"), text.npos);
  const RECT names = test::PlaceOfControl(window, TIMEOUT_SERVER);
  const HDC context = GetDC(GetDlgItem(window, TIMEOUT_SERVER));
  SelectObject(context,
               reinterpret_cast<HFONT>(SendDlgItemMessageW(window, TIMEOUT_SERVER, WM_GETFONT, 0, 0)));
  RECT needed{0, 0, names.right - names.left, 0};
  DrawTextW(context, text.c_str(), -1, &needed, DT_CALCRECT | DT_WORDBREAK | DT_EDITCONTROL | DT_NOPREFIX);
  ReleaseDC(GetDlgItem(window, TIMEOUT_SERVER), context);
  EXPECT_GE(names.bottom - names.top, needed.bottom);
  RECT client{};
  GetClientRect(window, &client);
  for (const int id : {IDOK, IDCANCEL}) {
    const RECT place = test::PlaceOfControl(window, id);
    EXPECT_GE(place.top, names.bottom) << id;
    EXPECT_LT(place.bottom, client.bottom) << id;
  }
  EXPECT_GT(test::PlaceOfControl(window, IDOK).top, button.top);
  test::Press(window, IDCANCEL);
}

TEST_F(TimeoutQuestionTest, AQuestionOfTheNextSessionTakesThePlaceOfAnOldOne) {
  std::atomic<int> old_aborted = 0;
  question.Ask(server, [&old_aborted] { ++old_aborted; });
  const HWND old = Shown();
  ASSERT_NE(old, nullptr);
  question.BeginSession();
  Sleep(100);
  EXPECT_EQ(Question(), old);  // until the session has something to ask
  Ask();
  EXPECT_TRUE(test::WaitFor([old] { return !IsWindow(old); }));
  ASSERT_NE(Shown(), nullptr);
  EXPECT_NE(Question(), old);
  EXPECT_EQ(old_aborted, 0);
  test::Press(Question(), IDOK);
  EXPECT_TRUE(test::WaitFor([this] { return aborted == 1; }));
  EXPECT_EQ(old_aborted, 0);
}

TEST_F(TimeoutQuestionTest, AQuestionAboutAnotherServerTakesThePlaceOfAnOldOneToo) {
  Ask();
  const HWND old = Shown();
  ASSERT_NE(old, nullptr);
  server.address = "pop.example.com:110";
  Ask();
  EXPECT_TRUE(test::WaitFor([old] { return !IsWindow(old); }));
  ASSERT_NE(Shown(), nullptr);
  EXPECT_NE(test::TextOfControl(Question(), TIMEOUT_SERVER).find(L"pop.example.com:110"), std::wstring::npos);
  test::Press(Question(), IDCANCEL);
}

TEST_F(TimeoutQuestionTest, AbortIsForTheConnectionThatAskedLast) {
  std::atomic<int> first = 0;
  question.Ask(server, [&first] { ++first; });
  ASSERT_NE(Shown(), nullptr);
  Ask();
  test::Press(Question(), IDOK);
  EXPECT_TRUE(test::WaitFor([this] { return aborted == 1; }));
  EXPECT_EQ(first, 0);
}

TEST_F(TimeoutQuestionTest, ManySessionsLeaveOneQuestion) {
  for (int session = 0; session < 20; ++session) {
    question.BeginSession();
    Ask();
  }
  EXPECT_TRUE(test::WaitFor([] {
    const HWND one = Question();
    return one != nullptr && FindWindowExW(nullptr, one, L"#32770", L"Timeout") == nullptr;
  }));
  // The last one may be about to come while an earlier one is about to go.
  test::WaitFor([this] {
    if (Question() != nullptr) test::Press(Question(), IDOK);
    return aborted == 1;
  });
  EXPECT_EQ(aborted, 1);
  EXPECT_TRUE(Gone());
}

}  // namespace
}  // namespace quillbeaker
