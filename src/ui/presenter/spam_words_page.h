// SPDX-License-Identifier: MIT
#pragma once

// The page "Spam Words": the user's expressions and, if wanted, the predefined ones. Nothing is written
// before OK. Knows no window.

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "filter/spam_words.h"
#include "ui/presenter/list_page.h"

namespace quillbeaker {

class SpamWordsPage : public ListPage {
 public:
  SpamWordsPage(const SettingsSurroundings& surroundings, ListPageView& view);

  void Load() override;
  void Pressed(int control) override;
  void Edited(int control) override;
  void SelectionChanged() override;
  void Apply(AppliedSettings& applied) override;

  std::vector<std::string> Columns() const override;
  std::size_t RowCount() const override { return rows_.size(); }
  std::string RowText(std::size_t row, std::size_t column) const override;
  SortOrder Order() const override { return {sorted_by_, is_descending_}; }
  void SortBy(std::size_t column) override;
  ListPageControls Controls() const override;
  bool ClearSearch() override;

 private:
  void Add();
  void Edit();
  void Delete();
  void Search();
  // Fills and sorts the rows. A word that is in both files is listed twice, the user's above.
  void ListRows();
  void ShowRows(const std::vector<std::size_t>& selected);
  void SetUserWord(const std::string& word, std::int32_t probability);
  void RemoveUserWord(const std::string& word);
  bool IsListed(const std::string& word) const;
  std::vector<std::size_t> RowsOf(const std::vector<SpamWord>& words) const;
  std::vector<SpamWord> SelectedWords() const;

  const SettingsSurroundings& surroundings_;
  ListPageView& view_;
  std::vector<SpamWord> user_;
  std::vector<SpamWord> predefined_;
  std::vector<SpamWord> rows_;
  struct Change {
    IniChange last;
    bool replaces_lines = false;  // several with the word become one
  };
  // By word in lower case: what OK does.
  std::map<std::string, Change> changes_;
  std::size_t sorted_by_ = 0;
  bool is_descending_ = false;
  bool is_disabled_ = false;
};

}  // namespace quillbeaker
