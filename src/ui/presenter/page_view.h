// SPDX-License-Identifier: MIT
#pragma once

// What a page of the settings dialog, or a small dialog that opens from one, is to a presenter: controls by
// the numbers of ui/resource.h. A window implements all of it by moving data; it decides nothing. Knows no
// window.
//
// What a window calls in return stands in settings_page.h. It may do so from inside any of these calls, as
// the system does when a text is set: presenters expect it.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace quillbeaker {

// Texts are UTF-8.
class PageView {
 public:
  virtual ~PageView() = default;

  // An edit field or a static text.
  virtual void SetText(int control, std::string_view text) = 0;
  virtual std::string TextIn(int control) const = 0;
  // Characters that an edit field takes, and whether they must be digits.
  virtual void LimitText(int control, std::size_t characters, bool digits) = 0;
  virtual void SetChecked(int control, bool checked) = 0;
  virtual bool IsChecked(int control) const = 0;
  // The entries of a list, a drop-down list or a list of pictures; the chosen one by its place, -1 for none.
  virtual void SetChoices(int control, const std::vector<std::string>& texts) = 0;
  // The pictures before the entries of such a list: a bitmap that holds them side by side.
  virtual void SetPictures(int control, int bitmap) = 0;
  // The number that an entry of a drop-down list stands for, for whoever asks the list.
  virtual void SetChoiceValue(int control, int place, std::int32_t value) = 0;
  virtual void Choose(int control, int place) = 0;
  virtual int ChosenIn(int control) const = 0;

  virtual void Enable(int control, bool enabled) = 0;
  virtual void Show(int control, bool shown) = 0;
  // The page's window and every control of it.
  virtual void DisablePage() = 0;
  // The focus, and in an edit field everything selected.
  virtual void Focus(int control) = 0;
  virtual bool HasFocus(int control) const = 0;

  // A box with an exclamation icon and the title of the page's dialog, and OK.
  virtual void Warn(std::string_view text) = 0;
  // The same with the application's title: for what no other entry of the person's would mend.
  virtual void Tell(std::string_view text) = 0;
  // A question with the application's title, Yes and No; true for Yes.
  virtual bool Ask(std::string_view question) = 0;
};

}  // namespace quillbeaker
