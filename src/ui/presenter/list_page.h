// SPDX-License-Identifier: MIT
#pragma once

// A page of the settings dialog with a list and buttons below it, and the small dialog that the buttons open.
// Knows no window.

#include <cstddef>
#include <string>
#include <vector>

#include "config/texts.h"
#include "ui/presenter/list_rows.h"
#include "ui/presenter/page_view.h"
#include "ui/presenter/settings_page.h"

namespace quillbeaker {

// A small modal dialog. Its window calls Load once, then Edited and Pressed, and Ok for OK and Enter.
class SmallDialog {
 public:
  virtual ~SmallDialog() = default;
  // The caption; none leaves that of the template.
  virtual std::string Caption() const { return {}; }
  virtual void Load(PageView& view) = 0;
  virtual void Edited(PageView& /*view*/, int /*control*/) {}
  virtual void Pressed(PageView& /*view*/, int /*control*/) {}
  // Whether the button that Pressed was called with closes the dialog, as OK does.
  virtual bool IsAnswered() const { return false; }
  // True when the dialog is to close; else it has shown why not and set the focus.
  virtual bool Ok(PageView& view) = 0;
};

// The page's list has rows that it asks for by their numbers (ListPage), so that it need not hold them.
class ListPageView : public PageView {
 public:
  // There are so many rows now, and their texts may be others. The selection is gone.
  virtual void RowsChanged(std::size_t count) = 0;
  // These and no others, the first of them scrolled into view.
  virtual void SelectRows(const std::vector<std::size_t>& rows) = 0;
  // Ascending.
  virtual std::vector<std::size_t> SelectedRows() const = 0;
  // Runs the dialog of that template; true when its Ok closed it.
  virtual bool Run(int template_id, SmallDialog& dialog) = 0;
};

// The controls that every page with a list has.
struct ListPageControls {
  int list;
  int search;
  int add;     // Ins in the list
  int edit;    // F2 and a double click there
  int remove;  // Del there
};

class ListPage : public SettingsPage, public ListRows {
 public:
  virtual ListPageControls Controls() const = 0;
  // Esc in the search field: true when it had a text, which is gone then; else the key is the dialog's.
  virtual bool ClearSearch() = 0;

  // Mail may be dropped onto the page.
  virtual bool TakesMail() const { return false; }
  // Some was, by its bytes, perhaps cut off. False when it is of no use. What was taken waits for
  // OfferTakenMail: whoever dropped it waits for the answer.
  virtual bool TakeMail(const std::vector<std::string>& /*mails*/) { return false; }
  virtual void OfferTakenMail() {}
};

}  // namespace quillbeaker
