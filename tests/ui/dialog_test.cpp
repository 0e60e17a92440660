// SPDX-License-Identifier: MIT
#include "ui/dialog.h"

#include <commctrl.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "ui/resource.h"

namespace quillbeaker {
namespace {

class Recorder : public Dialog {
 public:
  explicit Recorder(int& commands) : Dialog(DIALOG_TIMEOUT), commands_(commands) {}
  int destroyed = 0;
  int begun = 0;

 private:
  bool OnInit() override {
    ++begun;
    return true;
  }
  bool OnCommand(int, int) override {
    ++commands_;
    return true;
  }
  void OnDestroyed() override { ++destroyed; }

  int& commands_;
};

TEST(Dialog, TheWindowThatGoesIsTold) {
  int commands = 0;
  Recorder dialog(commands);
  ASSERT_TRUE(dialog.CreateModeless(nullptr));
  dialog.Destroy();
  EXPECT_EQ(dialog.window(), nullptr);
  EXPECT_EQ(dialog.destroyed, 1);
}

TEST(Dialog, AMadeUpBeginningChangesNothing) {
  int commands = 0;
  Recorder dialog(commands);
  ASSERT_TRUE(dialog.CreateModeless(nullptr));
  const HWND window = dialog.window();
  SendMessageW(window, WM_INITDIALOG, 0, 1);
  SendMessageW(window, WM_INITDIALOG, 0, 0);
  EXPECT_EQ(dialog.begun, 1);
  EXPECT_EQ(dialog.window(), window);
  SendMessageW(window, WM_COMMAND, IDOK, 0);
  EXPECT_EQ(commands, 1);
}

TEST(Dialog, CarriesTheProgramsIcon) {
  int commands = 0;
  Recorder dialog(commands);
  ASSERT_TRUE(dialog.CreateModeless(nullptr));
  EXPECT_NE(SendMessageW(dialog.window(), WM_GETICON, ICON_SMALL, 0), 0);
  EXPECT_NE(SendMessageW(dialog.window(), WM_GETICON, ICON_BIG, 0), 0);
}

// Tells its dialog of its end, as an edit field that has the focus does.
LRESULT CALLBACK LastWords(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
  if (message == WM_DESTROY) {
    SendMessageW(GetParent(window), WM_COMMAND, IDOK, 0);
  }
  return DefWindowProcW(window, message, wparam, lparam);
}

TEST(Dialog, AnObjectThatGoesHearsNothingMore) {
  int commands = 0;
  HWND window = nullptr;
  {
    std::optional<Recorder> dialog(std::in_place, commands);
    ASSERT_TRUE(dialog->CreateModeless(nullptr));
    window = dialog->window();
    SetWindowLongPtrW(dialog->Control(TIMEOUT_TEXT), GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(LastWords));
  }
  EXPECT_FALSE(IsWindow(window));
  EXPECT_EQ(commands, 0);
  MSG message{};
  EXPECT_FALSE(Dialog::TakeMessage(message));
}

// Records what reaches its handlers, and can hand itself over for deletion.
class Busy : public Dialog {
 public:
  explicit Busy(bool& deleted) : Dialog(DIALOG_TIMEOUT), deleted_(deleted) {}
  ~Busy() override { deleted_ = true; }
  std::unique_ptr<Dialog> itself;
  std::vector<int> commands;
  int keys = 0;
  int helps = 0;
  SIZE size{};

 private:
  bool OnCommand(int id, int) override {
    commands.push_back(id);
    if (itself != nullptr && id == IDOK) {
      bool& deleted = deleted_;
      Dialog::DeleteLater(std::move(itself));
      MessageInside();
      EXPECT_FALSE(deleted);
    }
    return true;
  }
  // As a box that is shown from a handler does: more calls begin and end.
  void MessageInside() { SendMessageW(window(), WM_TIMER, 1, 0); }
  bool OnKey(const MSG&) override {
    ++keys;
    return true;
  }
  bool OnHelp() override {
    ++helps;
    return true;
  }
  void OnSize(int width, int height) override { size = {width, height}; }

  bool& deleted_;
};

TEST(Dialog, IsDeletedWhenNoCallOfItIsLeft) {
  bool deleted = false;
  auto dialog = std::make_unique<Busy>(deleted);
  Busy& busy = *dialog;
  ASSERT_TRUE(busy.CreateModeless(nullptr));
  const HWND window = busy.window();
  busy.itself = std::move(dialog);
  SendMessageW(window, WM_COMMAND, IDOK, 0);
  EXPECT_TRUE(deleted);
  EXPECT_FALSE(IsWindow(window));
}

TEST(Dialog, OutsideOfEveryCallItIsDeletedAtOnce) {
  bool deleted = false;
  Dialog::DeleteLater(std::make_unique<Busy>(deleted));
  EXPECT_TRUE(deleted);
}

TEST(Dialog, NoButtonWorksUnderAModalBox) {
  bool deleted = false;
  Busy dialog(deleted);
  ASSERT_TRUE(dialog.CreateModeless(nullptr));
  EnableWindow(dialog.window(), FALSE);
  SendMessageW(dialog.window(), WM_COMMAND, IDOK, 0);
  SendMessageW(dialog.window(), WM_COMMAND, MAKEWPARAM(TIMEOUT_TEXT, EN_CHANGE), 0);
  SendMessageW(dialog.window(), WM_COMMAND, IDCANCEL, 0);
  EXPECT_EQ(dialog.commands, (std::vector<int>{TIMEOUT_TEXT, IDCANCEL}));
  EnableWindow(dialog.window(), TRUE);
  SendMessageW(dialog.window(), WM_COMMAND, IDOK, 0);
  EXPECT_EQ(dialog.commands.back(), IDOK);
}

TEST(Dialog, GetsItsKeysInTheLoopOfAnotherDialogToo) {
  bool deleted = false;
  Busy dialog(deleted);
  ASSERT_TRUE(dialog.CreateModeless(nullptr));
  const HWND other = CreateDialogParamW(
      GetModuleHandleW(nullptr), MAKEINTRESOURCEW(DIALOG_TIMEOUT), nullptr,
      [](HWND, UINT, WPARAM, LPARAM) -> INT_PTR { return FALSE; }, 0);
  ASSERT_NE(other, nullptr);
  MSG key{};
  key.hwnd = dialog.Control(IDOK);
  key.message = WM_KEYDOWN;
  key.wParam = VK_TAB;
  EXPECT_TRUE(IsDialogMessageW(other, &key));
  EXPECT_EQ(dialog.keys, 1);
  EXPECT_TRUE(Dialog::TakeMessage(key));
  EXPECT_EQ(dialog.keys, 2);
  key.hwnd = GetDlgItem(other, IDOK);
  EXPECT_FALSE(Dialog::TakeMessage(key));
  DestroyWindow(other);
}

class Notified : public Dialog {
 public:
  Notified() : Dialog(DIALOG_TIMEOUT) {}
  int notices = 0;
  int dpi_changes = 0;

 private:
  bool OnCommand(int, int) override { return false; }
  bool OnNotify(const NMHDR&, LRESULT&) override {
    ++notices;
    return false;
  }
  void OnDpiChanged(int) override { ++dpi_changes; }
};

TEST(Dialog, TakesNoticesOfItsOwnControlsOnly) {
  Notified one;
  Notified other;
  ASSERT_TRUE(one.CreateModeless(nullptr));
  ASSERT_TRUE(other.CreateModeless(nullptr));
  NMHDR notice{one.Control(IDOK), IDOK, static_cast<UINT>(NM_CLICK)};
  SendMessageW(one.window(), WM_NOTIFY, IDOK, reinterpret_cast<LPARAM>(&notice));
  EXPECT_EQ(one.notices, 1);
  for (const HWND from : {other.Control(IDOK), HWND{nullptr}, reinterpret_cast<HWND>(0x7FFF1234)}) {
    notice.hwndFrom = from;
    SendMessageW(one.window(), WM_NOTIFY, IDOK, reinterpret_cast<LPARAM>(&notice));
  }
  for (const LPARAM made_up : {LPARAM{0}, LPARAM{16}, LPARAM{-1}}) {
    SendMessageW(one.window(), WM_NOTIFY, IDOK, made_up);
  }
  EXPECT_EQ(one.notices, 1);
}

TEST(Dialog, TakesNoResolutionThatNoScreenHas) {
  Notified dialog;
  ASSERT_TRUE(dialog.CreateModeless(nullptr));
  RECT before{};
  GetWindowRect(dialog.window(), &before);
  const auto send = [&](int dpi, LPARAM place) {
    SendMessageW(dialog.window(), WM_DPICHANGED, MAKEWPARAM(dpi, dpi), place);
  };
  const RECT good{10, 10, 400, 300};
  for (const int dpi : {0, 1, 961, 65'535}) send(dpi, reinterpret_cast<LPARAM>(&good));
  const RECT turned{400, 300, 10, 10};
  const RECT far_away{0, 0, 1 << 30, 1 << 30};
  for (const RECT* place : {&turned, &far_away}) send(144, reinterpret_cast<LPARAM>(place));
  for (const LPARAM made_up : {LPARAM{0}, LPARAM{16}, LPARAM{-1}}) send(144, made_up);
  RECT after{};
  GetWindowRect(dialog.window(), &after);
  EXPECT_TRUE(EqualRect(&before, &after));
  EXPECT_EQ(dialog.dpi_changes, 0);
  send(144, reinterpret_cast<LPARAM>(&good));
  EXPECT_EQ(dialog.dpi_changes, 1);
}

constexpr int kRefresh = 40900;

class WithKeys : public Dialog {
 public:
  WithKeys() : Dialog(DIALOG_TIMEOUT) {}
  std::vector<int> commands;
  void PressF5() const { PostMessageW(Control(IDOK), WM_KEYDOWN, VK_F5, 0); }

 private:
  std::span<const ACCEL> Accelerators() const override {
    static constexpr ACCEL kKeys[] = {{FVIRTKEY, VK_F5, kRefresh}};
    return kKeys;
  }
  bool OnCommand(int id, int) override {
    commands.push_back(id);
    return true;
  }
};

void HandleMessages() {
  MSG message;
  while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
    if (!Dialog::TakeMessage(message)) DispatchMessageW(&message);
  }
}

// Shows a message box owned by that window and closes it after a moment, in which its loop takes messages.
void ShowBoxForAMoment(HWND owner) {
  static HWND owner_of_box;
  owner_of_box = owner;
  const UINT_PTR timer = SetTimer(nullptr, 0, 200, [](HWND, UINT, UINT_PTR, DWORD) {
    PostMessageW(GetLastActivePopup(owner_of_box), WM_COMMAND, IDOK, 0);
  });
  MessageBoxW(owner, L"in between", L"A box", MB_OK);
  KillTimer(nullptr, timer);
}

TEST(Dialog, AKeyOfTheWindowIsACommand) {
  WithKeys one;
  WithKeys other;
  ASSERT_TRUE(one.CreateModeless(nullptr));
  ASSERT_TRUE(other.CreateModeless(nullptr));
  one.PressF5();
  HandleMessages();
  EXPECT_EQ(one.commands, std::vector<int>{kRefresh});
  EXPECT_TRUE(other.commands.empty());
}

TEST(Dialog, AKeyIsACommandWhileABoxOfAnotherWindowStands) {
  WithKeys one;
  WithKeys other;
  ASSERT_TRUE(one.CreateModeless(nullptr));
  ASSERT_TRUE(other.CreateModeless(nullptr));
  ShowWindow(other.window(), SW_SHOW);
  one.PressF5();
  other.PressF5();
  ShowBoxForAMoment(other.window());
  EXPECT_EQ(one.commands, std::vector<int>{kRefresh});
  EXPECT_TRUE(other.commands.empty());  // its own box disables it
  other.PressF5();
  HandleMessages();
  EXPECT_EQ(other.commands, std::vector<int>{kRefresh});
}

TEST(Dialog, ToldOfHelpAndSize) {
  bool deleted = false;
  Busy dialog(deleted);
  ASSERT_TRUE(dialog.CreateModeless(nullptr));
  HELPINFO help{};
  help.cbSize = sizeof help;
  SendMessageW(dialog.window(), WM_HELP, 0, reinterpret_cast<LPARAM>(&help));
  EXPECT_EQ(dialog.helps, 1);
  SetWindowPos(dialog.window(), nullptr, 0, 0, 400, 300, SWP_NOMOVE | SWP_NOZORDER);
  EXPECT_GT(dialog.size.cx, 300);
  EXPECT_GT(dialog.size.cy, 200);
}

}  // namespace
}  // namespace quillbeaker
