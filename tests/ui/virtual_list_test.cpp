// SPDX-License-Identifier: MIT
#include "ui/virtual_list.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "ui/dialog.h"
#include "ui/made_up_rows.h"
#include "ui/resource.h"

namespace quillbeaker {
namespace {

using test::MadeUpRows;
constexpr std::size_t kRows = MadeUpRows::kRows;

class Parent : public Dialog {
 public:
  Parent() : Dialog(DIALOG_SETTINGS) {}

 private:
  bool OnCommand(int, int) override { return false; }
};

// A page with a list, without its presenter.
class ListWindow : public Dialog {
 public:
  ListWindow() : Dialog(PAGE_FRIENDS) {}
  MadeUpRows rows;
  std::optional<VirtualList> list;
  HWND control() const { return Control(LISTED_SENDERS); }

 private:
  bool OnInit() override {
    rows.list = &list.emplace(control(), rows);
    return false;
  }
  bool OnCommand(int, int) override { return false; }
  bool OnNotify(const NMHDR& notice, LRESULT& result) override {
    return list && list->Handle(notice, result);
  }
  bool OnMessage(UINT message, WPARAM, LPARAM, LRESULT&) override {
    if (message == MESSAGE_SELECTION_CHANGED) list->TellSelection();
    return message == MESSAGE_SELECTION_CHANGED;
  }
};

class VirtualListTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(parent.CreateModeless(nullptr));
    ASSERT_TRUE(window.CreateChild(parent.window()));
    ShowWindow(parent.window(), SW_SHOW);
    ShowWindow(window.window(), SW_SHOW);
    window.list->RowsChanged(kRows);
  }
  std::wstring TextAt(int row, int column) const {
    wchar_t text[100]{};
    LVITEMW item{};
    item.iSubItem = column;
    item.pszText = text;
    item.cchTextMax = 100;
    SendMessageW(window.control(), LVM_GETITEMTEXTW, static_cast<WPARAM>(row),
                 reinterpret_cast<LPARAM>(&item));
    return text;
  }
  // What typing the first letters of a row does.
  LRESULT Find(const wchar_t* text, int after, UINT flags) const {
    LVFINDINFOW wanted{};
    wanted.flags = flags;
    wanted.psz = text;
    return SendMessageW(window.control(), LVM_FINDITEMW, static_cast<WPARAM>(after),
                        reinterpret_cast<LPARAM>(&wanted));
  }
  void ClickHeading(int column) {
    NMLISTVIEW click{};
    click.hdr = {window.control(), LISTED_SENDERS, static_cast<UINT>(LVN_COLUMNCLICK)};
    click.iSubItem = column;
    SendMessageW(window.window(), WM_NOTIFY, LISTED_SENDERS, reinterpret_cast<LPARAM>(&click));
  }
  int ArrowOf(int column) const {
    HDITEMW item{};
    item.mask = HDI_FORMAT;
    SendMessageW(ListView_GetHeader(window.control()), HDM_GETITEMW, static_cast<WPARAM>(column),
                 reinterpret_cast<LPARAM>(&item));
    return item.fmt & (HDF_SORTUP | HDF_SORTDOWN);
  }
  static void HandleMessages() {
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
  }
  static void Hold(int key, bool down) {
    BYTE keys[256]{};
    GetKeyboardState(keys);
    keys[key] = down ? 0x80 : 0;
    SetKeyboardState(keys);
  }

  Parent parent;
  ListWindow window;
};

TEST_F(VirtualListTest, HasEveryRowButAsksOnlyForThoseItShows) {
  EXPECT_EQ(ListView_GetItemCount(window.control()), static_cast<int>(kRows));
  window.rows.asked = 0;
  RedrawWindow(window.control(), nullptr, nullptr, RDW_INVALIDATE | RDW_UPDATENOW);
  EXPECT_GT(window.rows.asked, 0);
  EXPECT_LT(window.rows.asked, 200);
  EXPECT_EQ(TextAt(49'999, 0), L"row 49999");
  EXPECT_EQ(TextAt(49'999, 1), L"49999");
}

TEST_F(VirtualListTest, ATextIsCutToTheRoomForIt) {
  wchar_t text[6] = L"xxxxx";
  NMLVDISPINFOW wanted{};
  wanted.hdr = {window.control(), LISTED_SENDERS, static_cast<UINT>(LVN_GETDISPINFOW)};
  wanted.item.mask = LVIF_TEXT;
  wanted.item.iItem = 12'345;
  wanted.item.pszText = text;
  wanted.item.cchTextMax = 5;
  SendMessageW(window.window(), WM_NOTIFY, LISTED_SENDERS, reinterpret_cast<LPARAM>(&wanted));
  EXPECT_EQ(std::wstring(text), L"row ");
}

TEST_F(VirtualListTest, FindsByTheFirstLetters) {
  EXPECT_EQ(Find(L"ROW 4999", -1, LVFI_STRING | LVFI_PARTIAL), 4999);
  EXPECT_EQ(Find(L"row 4999", -1, LVFI_STRING), 4999);
  EXPECT_EQ(Find(L"row 4999", 5000, LVFI_STRING | LVFI_PARTIAL), 49'990);
  EXPECT_EQ(Find(L"row 7", 49'999, LVFI_STRING | LVFI_PARTIAL), -1);
  EXPECT_EQ(Find(L"no such", -1, LVFI_STRING | LVFI_PARTIAL), -1);
}

TEST_F(VirtualListTest, AHeadingSortsAndShowsTheOrder) {
  EXPECT_EQ(ArrowOf(0), HDF_SORTUP);
  ClickHeading(0);
  EXPECT_EQ(ArrowOf(0), HDF_SORTDOWN);
  EXPECT_EQ(TextAt(0, 0), L"row 49999");
  ClickHeading(1);
  EXPECT_EQ(ArrowOf(0), 0);
  EXPECT_EQ(ArrowOf(1), HDF_SORTUP);
}

TEST_F(VirtualListTest, SelectsExactlyTheRowsItIsTold) {
  window.list->SelectRows({3, 40'000});
  EXPECT_EQ(window.list->SelectedRows(), (std::vector<std::size_t>{3, 40'000}));
  window.list->SelectRows({40'000});
  EXPECT_EQ(window.list->SelectedRows(), std::vector<std::size_t>{40'000});
  const int top = ListView_GetTopIndex(window.control());
  EXPECT_LE(top, 40'000);
  EXPECT_GT(top + ListView_GetCountPerPage(window.control()), 40'000);
  window.list->RowsChanged(kRows);
  EXPECT_TRUE(window.list->SelectedRows().empty());
  HandleMessages();
  EXPECT_EQ(window.rows.told, 0);  // nothing of this was the person's doing
}

TEST_F(VirtualListTest, AChangedSelectionIsToldOnce) {
  for (int row = 0; row < 50; ++row)
    ListView_SetItemState(window.control(), row, LVIS_SELECTED, LVIS_SELECTED);
  EXPECT_EQ(window.rows.told, 0);
  HandleMessages();
  EXPECT_EQ(window.rows.told, 1);
  ListView_SetItemState(window.control(), 7, 0, LVIS_SELECTED);
  HandleMessages();
  EXPECT_EQ(window.rows.told, 2);
}

TEST_F(VirtualListTest, CtrlASelectsEverything) {
  Hold(VK_CONTROL, true);
  SendMessageW(window.control(), WM_KEYDOWN, 'A', 0);
  Hold(VK_CONTROL, false);
  EXPECT_EQ(window.list->SelectedRows().size(), kRows);
}

}  // namespace
}  // namespace quillbeaker
