// SPDX-License-Identifier: MIT
#pragma once

// A window of the table with nothing but a list of made-up rows, as small as a window with a list can be.

#include <memory>
#include <optional>

#include "ui/bare_list_ids.h"
#include "ui/made_up_rows.h"
#include "ui/resource.h"
#include "ui/window_table.h"

namespace quillbeaker::test {

class BareListWindow : public TableWindow {
 public:
  BareListWindow() : TableWindow(BARE_LIST_DIALOG) { last = this; }
  ~BareListWindow() override { last = nullptr; }
  static inline BareListWindow* last = nullptr;

  HWND control() const { return Control(BARE_LIST_ROWS); }
  MadeUpRows rows;
  std::optional<VirtualList> list;

 private:
  bool OnInit() override {
    rows.list = &list.emplace(control(), rows);
    list->RowsChanged(MadeUpRows::kRows);
    return true;
  }
  bool OnCommand(int id, int) override {
    if (id == IDCANCEL) End(IDCANCEL);
    return id == IDCANCEL;
  }
  bool OnNotify(const NMHDR& notice, LRESULT& result) override {
    return list && list->Handle(notice, result);
  }
  std::span<const Anchor> Anchors() const override {
    static constexpr Anchor kAnchors[] = {{BARE_LIST_ROWS, kAllEdges},
                                          {BARE_LIST_COUNT, kLeftEdge | kBottomEdge},
                                          {IDCANCEL, kRightEdge | kBottomEdge}};
    return kAnchors;
  }
  VirtualList* RememberedList() override { return list ? &*list : nullptr; }
};

inline std::unique_ptr<TableWindow> MakeBareListWindow(WindowSurroundings&, int) {
  return std::make_unique<BareListWindow>();
}

inline constexpr WindowRow kBareListRow{.command = 50010,
                                        .template_id = BARE_LIST_DIALOG,
                                        .make = MakeBareListWindow,
                                        .help_page = "made-up.htm",
                                        .place = "BareList"};

}  // namespace quillbeaker::test
