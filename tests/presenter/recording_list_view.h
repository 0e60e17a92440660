// SPDX-License-Identifier: MIT
#pragma once

// A page with a list, without a window.

#include <functional>
#include <string>
#include <vector>

#include "presenter/recording_page_view.h"
#include "ui/presenter/list_page.h"

namespace quillbeaker::test {

class RecordingListView : public ListPageView {
 public:
  // The controls but the list.
  RecordingPageView controls;

  void SetText(int control, std::string_view text) override { controls.SetText(control, text); }
  std::string TextIn(int control) const override { return controls.TextIn(control); }
  void LimitText(int control, std::size_t characters, bool digits) override {
    controls.LimitText(control, characters, digits);
  }
  void SetChecked(int control, bool checked) override { controls.SetChecked(control, checked); }
  bool IsChecked(int control) const override { return controls.IsChecked(control); }
  void SetChoices(int control, const std::vector<std::string>& texts) override {
    controls.SetChoices(control, texts);
  }
  void SetChoiceValue(int control, int place, std::int32_t value) override {
    controls.SetChoiceValue(control, place, value);
  }
  void SetPictures(int control, int bitmap) override { controls.SetPictures(control, bitmap); }
  void Choose(int control, int place) override { controls.Choose(control, place); }
  int ChosenIn(int control) const override { return controls.ChosenIn(control); }
  void Enable(int control, bool enabled) override { controls.Enable(control, enabled); }
  void Show(int control, bool shown) override { controls.Show(control, shown); }
  void DisablePage() override { controls.DisablePage(); }
  void Focus(int control) override { controls.Focus(control); }
  bool HasFocus(int control) const override { return controls.HasFocus(control); }
  void Warn(std::string_view text) override { controls.Warn(text); }
  void Tell(std::string_view text) override { controls.Tell(text); }
  bool Ask(std::string_view question) override { return controls.Ask(question); }

  void RowsChanged(std::size_t row_count) override {
    count = row_count;
    selected.clear();
  }
  void SelectRows(const std::vector<std::size_t>& rows) override { selected = rows; }
  std::vector<std::size_t> SelectedRows() const override { return selected; }
  bool Run(int template_id, SmallDialog& dialog) override {
    opened.push_back(template_id);
    return person ? person(dialog) : false;
  }

  // What a person does.
  void Select(const std::vector<std::size_t>& rows) {
    selected = rows;
    page->SelectionChanged();
  }
  std::vector<std::string> Rows() const {
    std::vector<std::string> texts;
    for (std::size_t row = 0; row < page->RowCount(); ++row) {
      texts.push_back(page->RowText(row, 0) + " | " + page->RowText(row, 1));
    }
    return texts;
  }

  ListPage* page = nullptr;
  std::size_t count = 0;
  std::vector<std::size_t> selected;
  std::vector<int> opened;
  // Fills a dialog in; true for OK taken, false for Cancel.
  std::function<bool(SmallDialog&)> person;
};

}  // namespace quillbeaker::test
