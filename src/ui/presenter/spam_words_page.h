// SPDX-License-Identifier: MIT
#pragma once

// The page "Spam Words": the user's expressions and, if wanted, the predefined ones. Nothing is written
// before OK. Knows no window.

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "filter/spam_words.h"
#include "ui/presenter/rows_page.h"

namespace quillbeaker {

class SpamWordsPage : public RowsPage<SpamWord> {
 public:
  SpamWordsPage(const SettingsSurroundings& surroundings, ListPageView& view);

  void Load() override;
  void Pressed(int control) override;
  void Apply(AppliedSettings& applied) override;

  std::vector<std::string> Columns() const override;
  std::string RowText(std::size_t row, std::size_t column) const override;

 private:
  void SortRows() override;
  std::string KeyOf(const SpamWord& row) const override;
  std::vector<std::string_view> SearchedTexts(const SpamWord& row) const override;

  // Selects it, the predefined words shown where it is one of them.
  void ShowWord(const std::string& word);
  void Add();
  void Edit();
  void Delete();
  // Fills and sorts the rows. A word that is in both files is listed twice, the user's above.
  void FillRows();
  void ShowPredefined();
  void SetUserWord(const std::string& word, std::int32_t probability);
  void RemoveUserWord(const std::string& word);
  bool IsListed(const std::string& word) const;

  const SettingsSurroundings& surroundings_;
  std::vector<SpamWord> user_;
  std::vector<SpamWord> predefined_;
  struct Change {
    IniChange last;
    bool replaces_lines = false;  // several with the word become one
  };
  // By word in lower case: what OK does.
  std::map<std::string, Change> changes_;
};

}  // namespace quillbeaker
