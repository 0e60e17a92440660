// SPDX-License-Identifier: MIT
#include "ui/window_table.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "support/test_program.h"
#include "ui/resource.h"

namespace quillbeaker {
namespace {

// Does in OnInit what a test wants to happen while it is open.
class MadeUpWindow : public TableWindow {
 public:
  explicit MadeUpWindow(int template_id = DIALOG_TIMEOUT) : TableWindow(template_id) { ++alive; }
  ~MadeUpWindow() override { --alive; }
  static inline int alive = 0;
  static inline int opened = 0;
  static inline HWND last = nullptr;
  static inline std::function<void()> while_open;

 private:
  bool OnInit() override {
    ++opened;
    last = window();
    if (while_open) PostMessageW(window(), WM_APP, 0, 0);
    return true;
  }
  bool OnCommand(int id, int) override {
    if (id == IDCANCEL) End(IDCANCEL);
    return id == IDCANCEL;
  }
  bool OnMessage(UINT message, WPARAM, LPARAM, LRESULT&) override {
    if (message != WM_APP) return false;
    while_open();
    return true;
  }
};

std::unique_ptr<TableWindow> MakeIt(WindowSurroundings&, int) {
  return std::make_unique<MadeUpWindow>();
}

std::unique_ptr<TableWindow> MakeWithoutTemplate(WindowSurroundings&, int) {
  return std::make_unique<MadeUpWindow>(31999);
}

constexpr WindowRow kModeless{
    .command = 50001, .template_id = DIALOG_TIMEOUT, .make = MakeIt, .help_page = "made-up.htm"};
constexpr WindowRow kModal{.command = 50002, .template_id = DIALOG_TIMEOUT, .make = MakeIt, .is_modal = true};
constexpr WindowRow kBroken{
    .command = 50003, .template_id = 31999, .make = MakeWithoutTemplate, .is_modal = true};

class WindowTableTest : public testing::Test {
 protected:
  WindowTableTest() {
    program.Configure("AlphaBlending=0");
    MadeUpWindow::opened = 0;
    MadeUpWindow::while_open = nullptr;
    owner = CreateWindowExW(0, L"STATIC", L"owner", WS_OVERLAPPED, 0, 0, 10, 10, nullptr, nullptr, nullptr,
                            nullptr);
  }
  ~WindowTableTest() override {
    windows.CloseAll();
    DestroyWindow(owner);
    EXPECT_EQ(MadeUpWindow::alive, 0);
  }

  test::TestProgram program;
  std::vector<std::string> helped;
  int closed = 0;
  WindowSurroundings surroundings{.program = program.program(),
                                  .settings = {.program = program.program(),
                                               .starts_with_system = {},
                                               .set_starts_with_system = {},
                                               .ports_in_use = {},
                                               .can_run = {},
                                               .run = {}},
                                  .open_help = [this](std::string_view page) { helped.emplace_back(page); },
                                  .rearm_update_check = {},
                                  .window_closed = [this] { ++closed; }};
  OpenWindows windows{surroundings};
  HWND owner = nullptr;
};

TEST_F(WindowTableTest, EveryRowSaysWhatItsWindowNeeds) {
  for (const WindowRow& row : WindowTable()) {
    EXPECT_NE(row.command, 0);
    EXPECT_NE(row.make, nullptr);
    EXPECT_NE(FindResourceW(nullptr, MAKEINTRESOURCEW(row.template_id), reinterpret_cast<LPCWSTR>(RT_DIALOG)),
              nullptr);
  }
}

TEST_F(WindowTableTest, AModelessWindowLeavesItsOwnerEnabledAndOpensOnce) {
  windows.Open(kModeless, owner);
  windows.Open(kModeless, owner);
  EXPECT_EQ(MadeUpWindow::opened, 1);
  EXPECT_TRUE(IsWindowEnabled(owner));
  SendMessageW(MadeUpWindow::last, WM_COMMAND, IDCANCEL, 0);
  EXPECT_EQ(MadeUpWindow::alive, 0);
  EXPECT_EQ(closed, 1);
}

TEST_F(WindowTableTest, F1OpensTheHelpPageOfTheRow) {
  windows.Open(kModeless, owner);
  HELPINFO help{};
  help.cbSize = sizeof help;
  SendMessageW(MadeUpWindow::last, WM_HELP, 0, reinterpret_cast<LPARAM>(&help));
  EXPECT_EQ(helped, std::vector<std::string>{"made-up.htm"});
}

TEST_F(WindowTableTest, AModalWindowDisablesItsOwnerAndReturnsWhenItHasClosed) {
  bool was_enabled = true;
  MadeUpWindow::while_open = [&] {
    was_enabled = IsWindowEnabled(owner) != FALSE;
    windows.Open(kModal, owner);  // the one that is open comes to the front
    SendMessageW(MadeUpWindow::last, WM_COMMAND, IDCANCEL, 0);
    EXPECT_EQ(MadeUpWindow::alive, 1);  // its call is still on the stack
  };
  windows.Open(kModal, owner);
  EXPECT_EQ(MadeUpWindow::opened, 1);
  EXPECT_FALSE(was_enabled);
  EXPECT_TRUE(IsWindowEnabled(owner));
  EXPECT_EQ(MadeUpWindow::alive, 0);
  EXPECT_EQ(closed, 1);
}

TEST_F(WindowTableTest, TheEndOfTheProgramClosesAModalWindow) {
  MadeUpWindow::while_open = [&] { windows.CloseAll(); };
  windows.Open(kModal, owner);
  EXPECT_EQ(MadeUpWindow::alive, 0);
  EXPECT_FALSE(IsWindow(MadeUpWindow::last));
}

TEST_F(WindowTableTest, AWindowThatCannotBeMadeLeavesNothing) {
  windows.Open(kBroken, owner);
  EXPECT_EQ(MadeUpWindow::alive, 0);
  EXPECT_TRUE(IsWindowEnabled(owner));
}

}  // namespace
}  // namespace quillbeaker
