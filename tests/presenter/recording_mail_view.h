// SPDX-License-Identifier: MIT
#pragma once

// A list of mails without a window: remembers what it is shown and plays the person.

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ui/presenter/mail_list_view.h"

namespace quillbeaker::test {

class RecordingMailView : public MailListView {
 public:
  void ShowRows(std::size_t row_count, const ListPlace& shown) override {
    count = row_count;
    place = shown;
    ++shows;
  }
  ListPlace Place() const override { return place; }
  std::size_t SelectedCount() const override { return place.selected.size(); }
  void ShowRow(std::size_t row) override { Select({row}); }
  void CommandsChanged() override {}
  void ShowState(std::string_view text) override { state = text; }
  void ShowCounts(std::string_view text) override { counts = text; }
  bool AskOptional(Text question, std::string_view key) override {
    asked.emplace_back(key, question);
    if (while_asked) while_asked();
    return answer;
  }
  void TellOptional(Text notice, std::string_view key) override { told.emplace_back(key, notice); }
  bool Ask(std::string_view question) override {
    questions.emplace_back(question);
    return answer;
  }
  void Tell(std::string_view text) override { troubles.emplace_back(text); }
  bool RunDialog(int template_id, SmallDialog& dialog) override {
    opened.push_back(template_id);
    return person ? person(dialog) : false;
  }
  void RunBehind(std::function<Afterwards()> work) override {
    if (runs_behind) {
      behind.push_back(std::move(work));
    } else if (const Afterwards afterwards = work()) {
      afterwards();
    }
  }
  // The first of what was to run on a thread.
  void RunNext() {
    const auto work = std::move(behind.front());
    behind.erase(behind.begin());
    if (const Afterwards afterwards = work()) afterwards();
  }
  void Select(std::vector<std::size_t> rows) {
    if (!rows.empty()) place.focused = rows.front();
    place.selected = std::move(rows);
  }

  std::size_t count = 0;
  int shows = 0;
  ListPlace place;
  std::string state;
  std::string counts;
  bool answer = true;
  std::function<void()> while_asked;  // what happens while a question stands
  std::vector<std::pair<std::string, Text>> asked;
  std::vector<std::pair<std::string, Text>> told;
  std::vector<std::string> questions;
  std::vector<std::string> troubles;
  std::vector<int> opened;
  // Fills a dialog in; true for OK taken, false for Cancel.
  std::function<bool(SmallDialog&)> person;
  bool runs_behind = false;  // else what is to run on a thread runs at once
  std::vector<std::function<Afterwards()>> behind;
};

}  // namespace quillbeaker::test
