// SPDX-License-Identifier: MIT
#pragma once

// What the list of mails asks of its window. Everything may be called after the window is gone as well: a box
// may have outlived it. Texts are UTF-8. Knows no window.

#include <cstddef>
#include <functional>
#include <string_view>

#include "config/texts.h"
#include "ui/presenter/list_page.h"

namespace quillbeaker {

class MailListView {
 public:
  virtual ~MailListView() = default;

  // There are so many rows now, and their texts may be others.
  virtual void ShowRows(std::size_t count, const ListPlace& place) = 0;
  virtual ListPlace Place() const = 0;
  virtual std::size_t SelectedCount() const = 0;
  // Selects that row alone, focused and scrolled into view.
  virtual void ShowRow(std::size_t row) = 0;
  // The selection or what may be done with it has changed: buttons are greyed anew.
  virtual void CommandsChanged() = 0;

  // The two parts of the status line: what goes on, and what the list holds.
  virtual void ShowState(std::string_view text) = 0;
  virtual void ShowCounts(std::string_view text) = 0;

  // A question with "Don't show this message again", kept under `key`. True for Yes, and when it is silenced.
  // False also when the program ended over it.
  virtual bool AskOptional(Text question, std::string_view key) = 0;
  virtual void TellOptional(Text notice, std::string_view key) = 0;
  // A question that is always asked.
  virtual bool Ask(std::string_view question) = 0;
  // Something went wrong.
  virtual void Tell(std::string_view text) = 0;
  // Runs the dialog of that template; true when its Ok closed it.
  virtual bool RunDialog(int template_id, SmallDialog& dialog) = 0;

  // Runs `work` on a thread of its own, and what it returns on this one afterwards, unless the window is gone
  // by then. The window waits for its threads at its end, so `work` has to end soon, and it has to own what
  // it uses, since the presenter may be gone before it ends. Without a thread to be had it runs at once.
  using Afterwards = std::function<void()>;
  virtual void RunBehind(std::function<Afterwards()> work) = 0;
};

}  // namespace quillbeaker
