// SPDX-License-Identifier: MIT
#pragma once

// What the pages with a list of rows share: selection, sorting, searching and the number of entries. A page
// says how its rows are sorted, told apart and searched. Knows no window.

#include <algorithm>
#include <numeric>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "config/ascii.h"
#include "config/texts.h"
#include "message/display_text.h"
#include "ui/presenter/list_page.h"

namespace quillbeaker {

template <typename Row>
class RowsPage : public ListPage {
 public:
  // `count` is the text that says how many entries there are.
  RowsPage(ListPageView& view, const ListPageControls& controls, int count)
      : view_(view), controls_(controls), count_(count) {}

  std::size_t RowCount() const override { return rows_.size(); }
  SortOrder Order() const override { return order_; }
  void SortBy(std::size_t column) override {
    order_ = {column, column == order_.column && !order_.is_descending};
    ShowAgain([this] { SortRows(); });
  }
  ListPageControls Controls() const override { return controls_; }
  void SelectionChanged() override {
    if (is_disabled_) return;
    const std::size_t selected = view_.SelectedRows().size();
    view_.Enable(controls_.edit, selected == 1);
    view_.Enable(controls_.remove, selected > 0);
  }
  void Edited(int control) override {
    if (control == controls_.search) Search();
  }
  bool ClearSearch() override {
    if (view_.TextIn(controls_.search).empty()) return false;
    view_.SetText(controls_.search, "");
    return true;
  }

 protected:
  // Brings rows_ into the order.
  virtual void SortRows() = 0;
  // The same for two rows exactly when they are one and the same for a person.
  virtual std::string KeyOf(const Row& row) const = 0;
  // What a search looks at. The views live as long as the row.
  virtual std::vector<std::string_view> SearchedTexts(const Row& row) const = 0;

  // Sorts rows_ by `less`, which compares two places in them: those move faster than rows do.
  template <typename Less>
  void SortPlaces(const Less& less) {
    std::vector<std::size_t> places(rows_.size());
    std::iota(places.begin(), places.end(), std::size_t{0});
    std::sort(places.begin(), places.end(), less);
    std::vector<Row> sorted;
    sorted.reserve(rows_.size());
    for (const std::size_t place : places) sorted.push_back(std::move(rows_[place]));
    rows_ = std::move(sorted);
  }
  // Runs `change`, which may change the rows, and shows them with the same ones selected.
  template <typename Change>
  void ShowAgain(const Change& change) {
    const std::vector<Row> selected = Selected();
    change();
    ShowRows(selected);
  }
  // Shows the rows with those of them selected.
  void ShowRows(const std::vector<Row>& selected) { ShowSelected(RowsOf(selected)); }
  // After rows were deleted, the first of them at `row`: the one that is there now is selected.
  void ShowRowsAround(std::size_t row) {
    std::vector<std::size_t> neighbour;
    if (!rows_.empty()) neighbour.push_back(std::min(row, rows_.size() - 1));
    ShowSelected(neighbour);
  }
  std::vector<Row> Selected() const {
    std::vector<Row> selected;
    for (const std::size_t row : view_.SelectedRows()) {
      if (row < rows_.size()) selected.push_back(rows_[row]);
    }
    return selected;
  }
  // Asks whether to delete one row, which it names, or several, which it counts.
  bool AskToDelete(std::size_t count, std::string_view only) const {
    return view_.Ask(count == 1 ? Format(Text::kDeleteFromListQuestion, {DisplayLine(only)})
                                : Format(Text::kDeleteSeveralQuestion, {std::to_string(count)}));
  }

  ListPageView& view_;
  std::vector<Row> rows_;
  SortOrder order_;
  bool is_disabled_ = false;

 private:
  void ShowSelected(const std::vector<std::size_t>& selected) {
    view_.RowsChanged(rows_.size());
    if (!selected.empty()) view_.SelectRows(selected);
    view_.SetText(count_, Format(Text::kEntryCount, {std::to_string(rows_.size())}));
    SelectionChanged();
  }
  std::vector<std::size_t> RowsOf(const std::vector<Row>& wanted) const {
    std::set<std::string> keys;
    for (const Row& row : wanted) keys.insert(KeyOf(row));
    std::vector<std::size_t> found;
    for (std::size_t row = 0; row < rows_.size() && !keys.empty(); ++row) {
      if (keys.contains(KeyOf(rows_[row]))) found.push_back(row);
    }
    return found;
  }
  // The first row with a text that begins with what was typed, else the first that has it anywhere; else
  // none: one that was found before must not look like the answer, nor be deleted for it.
  void Search() {
    // Names that a person typed are ISO-8859-1 in the file where they can be; those of mail are often UTF-8.
    const std::string typed = view_.TextIn(controls_.search);
    const std::string latin1 = Latin1FromTyped(typed);
    if (typed.empty()) return;
    auto found = Find([&](std::string_view text) {
      return StartsWithIgnoringCase(text, latin1) || (typed != latin1 && StartsWithIgnoringCase(text, typed));
    });
    if (!found) {
      found = Find([&](std::string_view text) {
        return FindIgnoringCase(text, latin1) != std::string_view::npos ||
               (typed != latin1 && FindIgnoringCase(text, typed) != std::string_view::npos);
      });
    }
    view_.SelectRows(found ? std::vector<std::size_t>{*found} : std::vector<std::size_t>{});
    SelectionChanged();
  }
  template <typename Matches>
  std::optional<std::size_t> Find(const Matches& matches) const {
    for (std::size_t row = 0; row < rows_.size(); ++row) {
      const std::vector<std::string_view> texts = SearchedTexts(rows_[row]);
      if (std::any_of(texts.begin(), texts.end(), matches)) return row;
    }
    return std::nullopt;
  }

  const ListPageControls controls_;
  const int count_;
};

}  // namespace quillbeaker
