// SPDX-License-Identifier: MIT
#include "app/tray_icon.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/test_program.h"
#include "ui/resource.h"

namespace quillbeaker {
namespace {

// A shell that answers as the test likes, and the window that owns the icon.
class Taskbar {
 public:
  Taskbar() { one_.Configure(""); }
  ~Taskbar() { DestroyWindow(window); }

  bool HasTimer(UINT_PTR timer) { return KillTimer(window, timer) != FALSE; }
  const std::wstring& tip() const { return tip_; }

  // A shell that is there: it takes an icon once, changes one that stands, and says no to all else.
  bool is_there = true;
  bool stands = false;
  int adds = 0;
  HWND window = CreateWindowExW(0, L"STATIC", L"", 0, 0, 0, 0, 0, nullptr, nullptr, nullptr, nullptr);

 private:
  bool Answer(DWORD what, const NOTIFYICONDATAW& data) {
    if (!is_there) return false;
    const bool stood = stands;
    if (what == NIM_ADD) {
      adds += !stood;
      stands = true;
      if (!stood) tip_ = data.szTip;
      return !stood;
    }
    if (what == NIM_MODIFY && stood && (data.uFlags & NIF_TIP) != 0) tip_ = data.szTip;
    if (what == NIM_DELETE) stands = false;
    return stood;
  }

  test::TestProgram one_;
  std::wstring tip_;

 public:
  TrayIcon icon{one_.program(), [this](DWORD what, NOTIFYICONDATAW& data) { return Answer(what, data); }};
};

TEST(TrayIcon, IsAddedAtOnceWhenThereIsAShell) {
  Taskbar taskbar;
  taskbar.icon.PrepareImage();
  taskbar.icon.AddTrayIcon(taskbar.window);
  EXPECT_TRUE(taskbar.stands);
  EXPECT_EQ(taskbar.tip(), L"Quillbeaker 1.7.1");
  EXPECT_FALSE(taskbar.HasTimer(TIMER_ADD_ICON));
}

TEST(TrayIcon, IsAddedLaterWhenTheShellWasNotReady) {
  Taskbar taskbar;
  taskbar.is_there = false;
  taskbar.icon.PrepareImage();
  taskbar.icon.AddTrayIcon(taskbar.window);
  taskbar.icon.AddOrTryLater();
  EXPECT_FALSE(taskbar.stands);
  ASSERT_TRUE(taskbar.HasTimer(TIMER_ADD_ICON));
  taskbar.is_there = true;
  taskbar.icon.AddOrTryLater();
  EXPECT_TRUE(taskbar.stands);
  EXPECT_FALSE(taskbar.HasTimer(TIMER_ADD_ICON));
}

TEST(TrayIcon, IsTakenAsAddedWhenItStandsAlready) {
  Taskbar taskbar;
  taskbar.icon.PrepareImage();
  taskbar.icon.AddTrayIcon(taskbar.window);
  taskbar.icon.AddAgain();  // the resolution of the screen has changed
  EXPECT_EQ(taskbar.adds, 1);
  EXPECT_FALSE(taskbar.HasTimer(TIMER_ADD_ICON));
}

TEST(TrayIcon, IsAddedAgainToANewShell) {
  Taskbar taskbar;
  taskbar.icon.PrepareImage();
  taskbar.icon.AddTrayIcon(taskbar.window);
  taskbar.stands = false;
  taskbar.icon.AddAgain();
  EXPECT_EQ(taskbar.adds, 2);
  // And by a change, when the shell has not told that it is a new one.
  taskbar.stands = false;
  taskbar.icon.SetTooltip(L"Connecting");
  EXPECT_EQ(taskbar.adds, 3);
  EXPECT_EQ(taskbar.tip(), L"Connecting");
}

TEST(TrayIcon, ARemovedIconDoesNotComeBack) {
  Taskbar taskbar;
  taskbar.is_there = false;
  taskbar.icon.PrepareImage();
  taskbar.icon.AddTrayIcon(taskbar.window);
  taskbar.icon.RemoveTrayIcon();
  EXPECT_FALSE(taskbar.HasTimer(TIMER_ADD_ICON));
  taskbar.is_there = true;
  taskbar.icon.SetTooltip(L"Connecting");
  EXPECT_FALSE(taskbar.stands);
}

TEST(TrayIcon, SaysWhetherANotificationIsShown) {
  Taskbar taskbar;
  taskbar.icon.PrepareImage();
  EXPECT_FALSE(taskbar.icon.Notify(L"hello")) << "before there is an icon";
  taskbar.is_there = false;
  taskbar.icon.AddTrayIcon(taskbar.window);
  EXPECT_FALSE(taskbar.icon.Notify(L"hello")) << "while there is no shell";
  taskbar.is_there = true;
  taskbar.icon.AddOrTryLater();
  EXPECT_TRUE(taskbar.icon.Notify(L"hello", NIIF_INFO));
}

TEST(TrayIcon, ItsTooltipSaysThatNothingIsServed) {
  Taskbar taskbar;
  taskbar.icon.PrepareImage();
  taskbar.icon.AddTrayIcon(taskbar.window);
  taskbar.icon.ShowServing(false);
  EXPECT_EQ(taskbar.tip(), L"Quillbeaker 1.7.1 - mail programs are not served");
  taskbar.icon.ShowServing(true);
  EXPECT_EQ(taskbar.tip(), L"Quillbeaker 1.7.1");
}

}  // namespace
}  // namespace quillbeaker
