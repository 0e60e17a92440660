// SPDX-License-Identifier: MIT
#include "ui/optional_message_box.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>

#include "support/test_program.h"
#include "support/window_script.h"
#include "ui/resource.h"

namespace quillbeaker {
namespace {

using test::ShowAndWork;
using test::Shown;

constexpr UINT kQuestion = MB_YESNO | MB_ICONQUESTION;

class OptionalMessageBox : public ::testing::Test {
 protected:
  OptionalMessageBox() { one.Configure("AlphaBlending=0"); }

  Shown Show(UINT style, int suppressed, const std::function<void(HWND)>& script,
             const std::wstring& text = L"Shall it be done?") {
    return ShowAndWork(
        [&] { return ShowOptionalBox(one.program(), nullptr, text, style, "Box", suppressed); }, script);
  }
  // What is kept for the box; -1 for nothing.
  int Kept() { return one.program().configuration.ReadInteger("OPTIONALMESSAGEBOXES", "Box", -1); }

  const DWORD thread = GetCurrentThreadId();
  test::TestProgram one;
};

TEST_F(OptionalMessageBox, ASilencedBoxIsAnsweredAtOnce) {
  one.program().configuration.WriteString("OPTIONALMESSAGEBOXES", "Box", "1");
  for (const int suppressed : {IDYES, IDOK}) {
    const Shown shown = Show(suppressed == IDYES ? kQuestion : MB_OK, suppressed, [](HWND) {});
    EXPECT_FALSE(shown.appeared);
    EXPECT_EQ(shown.answer, suppressed);
  }
}

TEST_F(OptionalMessageBox, ZeroMeansShow) {
  one.program().configuration.WriteString("OPTIONALMESSAGEBOXES", "Box", "0");
  const Shown shown = Show(kQuestion, IDYES, [](HWND box) { test::Press(box, IDNO); });
  EXPECT_TRUE(shown.appeared && shown.ended);
  EXPECT_EQ(shown.answer, IDNO);
  EXPECT_EQ(Kept(), 0);
}

struct Pressed {
  UINT style;
  int button;
};

class OptionalMessageBoxButtons : public OptionalMessageBox, public ::testing::WithParamInterface<Pressed> {};

TEST_P(OptionalMessageBoxButtons, GivesTheButtonAndKeepsTheTick) {
  const auto [style, button] = GetParam();
  for (const bool tick : {false, true}) {
    const Shown shown = Show(style, style == MB_YESNO ? IDYES : IDOK, [&, pressed = button](HWND box) {
      if (tick) SendDlgItemMessageW(box, OPTIONAL_DO_NOT_SHOW, BM_CLICK, 0, 0);
      test::Press(box, pressed);
    });
    EXPECT_TRUE(shown.appeared && shown.ended);
    EXPECT_EQ(shown.answer, button);
    EXPECT_EQ(Kept(), tick ? 1 : -1);
  }
}

INSTANTIATE_TEST_SUITE_P(All, OptionalMessageBoxButtons,
                         ::testing::Values(Pressed{MB_YESNO, IDYES}, Pressed{MB_YESNO, IDNO},
                                           Pressed{MB_OK, IDOK}, Pressed{MB_OKCANCEL, IDOK},
                                           Pressed{MB_OKCANCEL, IDCANCEL}));

TEST_F(OptionalMessageBox, TickAndNoSilenceWithYes) {
  EXPECT_EQ(Show(kQuestion, IDYES,
                 [](HWND box) {
                   SendDlgItemMessageW(box, OPTIONAL_DO_NOT_SHOW, BM_CLICK, 0, 0);
                   test::Press(box, IDNO);
                 })
                .answer,
            IDNO);
  const Shown again = Show(kQuestion, IDYES, [](HWND) {});
  EXPECT_FALSE(again.appeared);
  EXPECT_EQ(again.answer, IDYES);
}

TEST_F(OptionalMessageBox, TheCloseBoxGivesTheSuppressedAnswerAndKeepsNothing) {
  struct Case {
    UINT style;
    int suppressed;
  };
  for (const auto& [style, suppressed] : {Case{kQuestion, IDYES}, Case{kQuestion, IDNO}, Case{MB_OK, IDOK},
                                          Case{MB_OKCANCEL, IDOK}, Case{MB_OKCANCEL, IDCANCEL}}) {
    const Shown shown = Show(style, suppressed, [](HWND box) {
      SendDlgItemMessageW(box, OPTIONAL_DO_NOT_SHOW, BM_CLICK, 0, 0);
      PostMessageW(box, WM_SYSCOMMAND, SC_CLOSE, 0);
    });
    EXPECT_TRUE(shown.appeared && shown.ended);
    EXPECT_EQ(shown.answer, suppressed);
    EXPECT_EQ(Kept(), -1);
  }
}

TEST_F(OptionalMessageBox, EscapeDoesNothingToAQuestion) {
  bool stood = false;
  const Shown shown = Show(kQuestion, IDYES, [&](HWND box) {
    test::PressKey(thread, VK_ESCAPE);
    SendMessageW(box, WM_NULL, 0, 0);
    Sleep(100);  // it would close now
    stood = IsWindow(box);
    test::Press(box, IDNO);
  });
  EXPECT_TRUE(stood);
  EXPECT_EQ(shown.answer, IDNO);
}

TEST_F(OptionalMessageBox, EscapeClosesANotice) {
  const Shown shown = Show(MB_OK, IDOK, [&](HWND box) {
    SendDlgItemMessageW(box, OPTIONAL_DO_NOT_SHOW, BM_CLICK, 0, 0);
    test::PressKey(thread, VK_ESCAPE);
  });
  EXPECT_TRUE(shown.ended);
  EXPECT_EQ(shown.answer, IDOK);
  EXPECT_EQ(Kept(), -1);  // as by the close box
}

TEST_F(OptionalMessageBox, EscapeIsTheCancelButton) {
  const Shown shown = Show(MB_OKCANCEL, IDOK, [&](HWND box) {
    SendDlgItemMessageW(box, OPTIONAL_DO_NOT_SHOW, BM_CLICK, 0, 0);
    test::PressKey(thread, VK_ESCAPE);
  });
  EXPECT_EQ(shown.answer, IDCANCEL);
  EXPECT_EQ(Kept(), 1);
}

TEST_F(OptionalMessageBox, TheSuppressedAnswerIsTheDefaultAndEnterPressesIt) {
  for (const int suppressed : {IDYES, IDNO}) {
    int focus = 0;
    int default_button = 0;
    const Shown shown = Show(kQuestion, suppressed, [&](HWND box) {
      test::WaitFor([&] { return test::FocusOf(thread) != nullptr; });
      focus = GetDlgCtrlID(test::FocusOf(thread));
      default_button = LOWORD(SendMessageW(box, DM_GETDEFID, 0, 0));
      test::PressKey(thread, VK_RETURN);
    });
    EXPECT_EQ(focus, suppressed);
    EXPECT_EQ(default_button, suppressed);
    EXPECT_EQ(shown.answer, suppressed);
  }
}

// The script has the dialog, which may go now.
std::atomic<bool> is_seen = false;

// As the end of the program does it.
void CALLBACK DestroyDialog(HWND, UINT, UINT_PTR timer, DWORD) {
  if (const HWND dialog = test::DialogOfThread(GetCurrentThreadId()); is_seen && dialog != nullptr) {
    KillTimer(nullptr, timer);
    DestroyWindow(dialog);
    PostQuitMessage(0);
  }
}

TEST_F(OptionalMessageBox, TheEndOfTheProgramIsNoAnswer) {
  SetTimer(nullptr, 0, 20, DestroyDialog);
  is_seen = false;
  const Shown shown = Show(kQuestion, IDYES, [](HWND) { is_seen = true; });
  EXPECT_TRUE(shown.appeared && shown.ended);
  EXPECT_EQ(shown.answer, 0);
  EXPECT_EQ(Kept(), -1);
  MSG message{};
  EXPECT_TRUE(PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE));
}

TEST_F(OptionalMessageBox, TabGoesRound) {
  std::vector<int> visited;
  Show(kQuestion, IDYES, [&](HWND box) {
    test::WaitFor([&] { return test::FocusOf(thread) != nullptr; });
    for (int i = 0; i < 3; ++i) {
      const HWND before = test::FocusOf(thread);
      visited.push_back(GetDlgCtrlID(before));
      test::PressKey(thread, VK_TAB);
      test::WaitFor([&] { return test::FocusOf(thread) != before; });
    }
    test::Press(box, IDNO);
  });
  EXPECT_EQ(visited, (std::vector<int>{IDYES, IDNO, OPTIONAL_DO_NOT_SHOW}));
}

TEST_F(OptionalMessageBox, PairsStandFourPixelsFromTheCentre) {
  RECT client{}, yes{}, no{}, text{}, check{};
  bool hidden = false;
  Show(kQuestion, IDYES, [&](HWND box) {
    GetClientRect(box, &client);
    yes = test::PlaceOfControl(box, IDYES);
    no = test::PlaceOfControl(box, IDNO);
    text = test::PlaceOfControl(box, OPTIONAL_TEXT);
    check = test::PlaceOfControl(box, OPTIONAL_DO_NOT_SHOW);
    hidden = !IsWindowVisible(GetDlgItem(box, IDOK)) && !IsWindowVisible(GetDlgItem(box, IDCANCEL));
    test::Press(box, IDNO);
  });
  EXPECT_EQ(yes.right, client.right / 2 - 4);
  EXPECT_EQ(no.left, client.right / 2 + 4);
  EXPECT_TRUE(hidden);
  EXPECT_LE(text.bottom, check.top);
  EXPECT_LE(check.bottom, yes.top);
  EXPECT_LT(yes.bottom, client.bottom);
}

TEST_F(OptionalMessageBox, ALongLineIsWrapped) {
  std::wstring line;
  while (line.size() < 300) line += L"wonderful words ";
  line.resize(300, L'w');
  RECT place{}, client{}, window{};
  std::wstring shown_text;
  Show(
      kQuestion, IDYES,
      [&](HWND box) {
        place = test::PlaceOfControl(box, OPTIONAL_TEXT);
        GetClientRect(box, &client);
        GetWindowRect(box, &window);
        shown_text = test::TextOfControl(box, OPTIONAL_TEXT);
        test::Press(box, IDNO);
      },
      line);
  const int half = GetSystemMetrics(SM_CXSCREEN) / 2;
  EXPECT_LE(place.right - place.left, half);
  EXPECT_GT(place.right - place.left, half / 2);
  EXPECT_LE(place.right, client.right);
  EXPECT_NE(shown_text.find(L'\n'), std::wstring::npos);
  std::erase(shown_text, L'\n');
  std::wstring letters = line;
  std::erase(letters, L' ');
  std::erase(shown_text, L' ');
  EXPECT_EQ(shown_text, letters);
  EXPECT_NEAR(window.left, GetSystemMetrics(SM_CXSCREEN) - window.right, 2);
  EXPECT_NEAR(window.top, GetSystemMetrics(SM_CYSCREEN) - window.bottom, 2);
}

TEST_F(OptionalMessageBox, ShowsTheIconOfItsStyle) {
  struct Case {
    UINT style;
    LPCWSTR icon;
  };
  for (const auto& [style, icon] :
       {Case{MB_ICONINFORMATION, IDI_ASTERISK}, Case{MB_ICONEXCLAMATION, IDI_EXCLAMATION},
        Case{MB_ICONQUESTION, IDI_QUESTION}, Case{MB_ICONSTOP, IDI_HAND}}) {
    HICON seen = nullptr;
    Show(MB_OK | style, IDOK, [&](HWND box) {
      seen = reinterpret_cast<HICON>(SendDlgItemMessageW(box, OPTIONAL_ICON, STM_GETICON, 0, 0));
      test::Press(box, IDOK);
    });
    EXPECT_EQ(seen, LoadIconW(nullptr, icon));
  }
  LONG text_left = 0;
  Show(MB_OK, IDOK, [&](HWND box) {
    text_left = test::PlaceOfControl(box, OPTIONAL_TEXT).left;
    test::Press(box, IDOK);
  });
  EXPECT_LT(text_left, GetSystemMetrics(SM_CXICON));  // no room is left for an icon that is not there
}

TEST_F(OptionalMessageBox, FadesInWhenThatIsWanted) {
  ASSERT_TRUE(one.Configure("AlphaBlending=1"));
  int first = 255;
  bool grew = false;
  bool done = false;
  Show(MB_OK, IDOK, [&](HWND box) {
    int last = -1;
    done = test::WaitFor([&] {
      BYTE alpha = 255;
      const bool layered = GetLayeredWindowAttributes(box, nullptr, &alpha, nullptr);
      if (layered && last < 0) first = alpha;
      grew = grew || (layered && last >= 0 && alpha > last);
      if (layered) last = alpha;
      return (GetWindowLongPtrW(box, GWL_EXSTYLE) & WS_EX_LAYERED) == 0;
    });
    test::Press(box, IDOK);
  });
  EXPECT_LT(first, 255);
  EXPECT_TRUE(grew);
  EXPECT_TRUE(done);
}

TEST_F(OptionalMessageBox, StandsAtOnceWhenFadingIsOff) {
  bool layered = true;
  Show(MB_OK, IDOK, [&](HWND box) {
    layered = (GetWindowLongPtrW(box, GWL_EXSTYLE) & WS_EX_LAYERED) != 0;
    test::Press(box, IDOK);
  });
  EXPECT_FALSE(layered);
}

TEST_F(OptionalMessageBox, ATextWithAmpersandsIsShownAsItIs) {
  std::wstring shown_text;
  LONG_PTR style = 0;
  Show(
      MB_OK, IDOK,
      [&](HWND box) {
        shown_text = test::TextOfControl(box, OPTIONAL_TEXT);
        style = GetWindowLongPtrW(GetDlgItem(box, OPTIONAL_TEXT), GWL_STYLE);
        test::Press(box, IDOK);
      },
      L"pop&user&110 100%");
  EXPECT_EQ(shown_text, L"pop&user&110 100%");
  EXPECT_NE(style & SS_NOPREFIX, 0);
}

}  // namespace
}  // namespace quillbeaker
