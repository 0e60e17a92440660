// SPDX-License-Identifier: MIT
#include "ui/presenter/spam_words_page.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "config/ascii.h"
#include "config/texts.h"
#include "message/display_text.h"
#include "ui/presenter/expression_dialog.h"
#include "ui/resource.h"

namespace quillbeaker {
namespace {

constexpr std::size_t kWordColumn = 0;

}  // namespace

SpamWordsPage::SpamWordsPage(const SettingsSurroundings& surroundings, ListPageView& view)
    : RowsPage(view, {WORDS_LIST, WORDS_SEARCH, WORDS_ADD, WORDS_EDIT, WORDS_DELETE}, WORDS_COUNT),
      surroundings_(surroundings) {}

void SpamWordsPage::Load() {
  const Program& program = surroundings_.program;
  for (SpamWord& word : ReadSpamWords(program)) {
    (word.predefined ? predefined_ : user_).push_back(std::move(word));
  }
  view_.SetChecked(WORDS_SHOW_PREDEFINED, program.Read(keys::kShowPredefinedWords) != 0);
  FillRows();
  ShowRows({});
  ShowWord(std::exchange(*surroundings_.word_to_show, {}));
  is_disabled_ = program.Read(keys::kEnable) == 0 || program.Read(keys::kFilterWordEnable) == 0;
  if (is_disabled_) view_.DisablePage();
}

void SpamWordsPage::ShowWord(const std::string& word) {
  if (word.empty()) return;
  const auto has_word = [&word](const SpamWord& row) { return EqualsIgnoringCase(row.word, word); };
  if (std::none_of(rows_.begin(), rows_.end(), has_word)) {
    view_.SetChecked(WORDS_SHOW_PREDEFINED, true);
    FillRows();
    ShowRows({});
  }
  const auto found = std::find_if(rows_.begin(), rows_.end(), has_word);
  if (found == rows_.end()) return;
  view_.SelectRows({static_cast<std::size_t>(found - rows_.begin())});
  SelectionChanged();
}

void SpamWordsPage::FillRows() {
  rows_ = user_;
  if (view_.IsChecked(WORDS_SHOW_PREDEFINED)) {
    rows_.insert(rows_.end(), predefined_.begin(), predefined_.end());
  }
  SortRows();
}

void SpamWordsPage::SortRows() {
  // The words in lower case once: comparing is what sorting does most.
  std::vector<std::string> lower;
  lower.reserve(rows_.size());
  for (const SpamWord& row : rows_) lower.push_back(LowerAscii(row.word));
  const bool by_word = order_.column == kWordColumn;
  SortPlaces([&](std::size_t a, std::size_t b) {
    const SpamWord& first = rows_[a];
    const SpamWord& second = rows_[b];
    if (!by_word && first.probability != second.probability) {
      return (first.probability < second.probability) != order_.is_descending;
    }
    if (const int compared = lower[a].compare(lower[b]); compared != 0) {
      return (compared < 0) != (by_word && order_.is_descending);
    }
    return std::tie(first.predefined, a) < std::tie(second.predefined, b);
  });
}

std::vector<std::string> SpamWordsPage::Columns() const {
  return {std::string(TextOf(Text::kExpression)), std::string(TextOf(Text::kProbabilityOfExpression))};
}

std::string SpamWordsPage::RowText(std::size_t row, std::size_t column) const {
  if (row >= rows_.size()) return {};
  return column == kWordColumn ? DisplayLine(rows_[row].word) : std::to_string(rows_[row].probability) + " %";
}

// A word that is in both files has two rows.
std::string SpamWordsPage::KeyOf(const SpamWord& row) const {
  return (row.predefined ? 'p' : 'u') + LowerAscii(row.word);
}

std::vector<std::string_view> SpamWordsPage::SearchedTexts(const SpamWord& row) const {
  return {row.word};
}

void SpamWordsPage::ShowPredefined() {
  std::vector<SpamWord> selected = Selected();
  FillRows();
  // Words that are hidden now may stand there as the user's, too.
  if (!view_.IsChecked(WORDS_SHOW_PREDEFINED) &&
      std::all_of(selected.begin(), selected.end(), [](const SpamWord& word) { return word.predefined; })) {
    for (SpamWord& word : selected) word.predefined = false;
  }
  ShowRows(selected);
}

void SpamWordsPage::Pressed(int control) {
  if (is_disabled_) return;
  switch (control) {
    case WORDS_ADD:
      Add();
      break;
    case WORDS_EDIT:
      Edit();
      break;
    case WORDS_DELETE:
      Delete();
      break;
    case WORDS_SHOW_PREDEFINED:
      ShowPredefined();
      break;
    default:
      break;
  }
}

bool SpamWordsPage::IsListed(const std::string& word) const {
  return std::any_of(rows_.begin(), rows_.end(),
                     [&word](const SpamWord& row) { return EqualsIgnoringCase(row.word, word); });
}

void SpamWordsPage::SetUserWord(const std::string& word, std::int32_t probability) {
  const auto found = std::find_if(user_.begin(), user_.end(), [&word](const SpamWord& user) {
    return EqualsIgnoringCase(user.word, word);
  });
  const std::string key = found == user_.end() ? word : found->word;
  RemoveUserWord(word);
  user_.push_back({key, probability, false});
  changes_[LowerAscii(word)].last.value = std::to_string(probability);
}

// Every line of the word: a file written by hand may have several, and each counts.
void SpamWordsPage::RemoveUserWord(const std::string& word) {
  const auto is_this = [&word](const SpamWord& user) { return EqualsIgnoringCase(user.word, word); };
  Change& change = changes_[LowerAscii(word)];
  change.last = {std::string(sections::kProbabilities), word, std::nullopt};
  change.replaces_lines = std::erase_if(user_, is_this) > 1 || change.replaces_lines;
}

void SpamWordsPage::Add() {
  ExpressionDialog dialog([this](const std::string& word) { return IsListed(word); });
  if (!view_.Run(DIALOG_EXPRESSION, dialog)) return;
  SetUserWord(dialog.expression(), dialog.probability());
  FillRows();
  ShowRows({{dialog.expression(), dialog.probability(), false}});
}

void SpamWordsPage::Edit() {
  const std::vector<SpamWord> selected = Selected();
  if (selected.size() != 1) return;
  // A file written by hand may hold a "[" that begins no section. Written here it would be refused, and with
  // it all that OK has to write.
  if (!IniDocument::CanHoldKey(selected.front().word)) {
    view_.Warn(TextOf(Text::kExpressionMalformed));
    return;
  }
  ExpressionDialog dialog(selected.front().word, selected.front().probability);
  if (!view_.Run(DIALOG_EXPRESSION, dialog)) return;
  // A predefined word gets a row of the user's beside its own, and both count.
  SetUserWord(selected.front().word, dialog.probability());
  FillRows();
  ShowRows({{selected.front().word, dialog.probability(), false}});
}

void SpamWordsPage::Delete() {
  const std::vector<std::size_t> rows = view_.SelectedRows();
  const std::vector<SpamWord> selected = Selected();
  if (selected.empty()) return;
  if (std::any_of(selected.begin(), selected.end(), [](const SpamWord& word) { return word.predefined; })) {
    view_.Warn(TextOf(Text::kPredefinedExpression));
    return;
  }
  if (!AskToDelete(selected.size(), selected.front().word)) return;
  for (const SpamWord& word : selected) RemoveUserWord(word.word);
  FillRows();
  ShowRowsAround(rows.front());
}

void SpamWordsPage::Apply(AppliedSettings& applied) {
  if (is_disabled_) return;
  applied.changes.Set({&keys::kShowPredefinedWords, nullptr},
                      view_.IsChecked(WORDS_SHOW_PREDEFINED) ? "1" : "0");
  for (const auto& [word, change] : changes_) {
    if (change.replaces_lines && change.last.value) {
      applied.changes.user_spam_words.push_back({change.last.section, change.last.key, std::nullopt});
    }
    applied.changes.user_spam_words.push_back(change.last);
  }
}

}  // namespace quillbeaker
