// SPDX-License-Identifier: MIT
#include "ui/dialog.h"

#include <gtest/gtest.h>

#include <optional>

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

}  // namespace
}  // namespace quillbeaker
