// SPDX-License-Identifier: MIT
#pragma once

// A page without a window: holds what a presenter set in its controls, and lets a test act as the person who
// uses them. As a real window it reports to the page while the page sets a text itself.

#include <algorithm>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ui/presenter/page_view.h"
#include "ui/presenter/settings_page.h"

namespace quillbeaker::test {

class RecordingPageView : public PageView {
 public:
  void SetText(int control, std::string_view text) override {
    texts[control] = text;
    if (page != nullptr) page->Edited(control);
  }
  std::string TextIn(int control) const override {
    const auto found = texts.find(control);
    return found == texts.end() ? std::string() : found->second;
  }
  void LimitText(int control, std::size_t characters, bool digits) override {
    limits[control] = characters;
    digits_only[control] = digits;
  }
  void SetChecked(int control, bool is_checked) override { checked[control] = is_checked; }
  bool IsChecked(int control) const override {
    const auto found = checked.find(control);
    return found != checked.end() && found->second;
  }
  void SetChoices(int control, const std::vector<std::string>& choice_texts) override {
    choices[control] = choice_texts;
    chosen[control] = -1;
  }
  void SetChoiceValue(int control, int place, std::int32_t value) override {
    choice_values[{control, place}] = value;
  }
  void SetPictures(int control, int bitmap) override { pictures[control] = bitmap; }
  void Choose(int control, int place) override { chosen[control] = place; }
  int ChosenIn(int control) const override {
    const auto found = chosen.find(control);
    return found == chosen.end() ? -1 : found->second;
  }
  void Enable(int control, bool is_enabled) override { enabled[control] = is_enabled; }
  void Show(int control, bool is_shown) override { shown[control] = is_shown; }
  void DisablePage() override { page_disabled = true; }
  void Focus(int control) override { focus = control; }
  bool HasFocus(int control) const override { return focus == control; }
  void Warn(std::string_view text) override { warnings.emplace_back(text); }
  void Tell(std::string_view text) override { told.emplace_back(text); }
  bool Ask(std::string_view question) override {
    questions.emplace_back(question);
    return answer;
  }

  // What a person does.
  void Type(int control, std::string_view text) {
    texts[control] = text;
    page->Edited(control);
  }
  void Check(int control, bool is_checked) {
    checked[control] = is_checked;
    page->Pressed(control);
  }
  void Pick(int control, int place) {
    chosen[control] = place;
    page->Chosen(control);
  }

  bool IsEnabled(int control) const {
    const auto found = enabled.find(control);
    return !page_disabled && (found == enabled.end() || found->second);
  }

  SettingsPage* page = nullptr;
  std::map<std::pair<int, int>, std::int32_t> choice_values;  // by control and place
  std::vector<std::string> told;
  std::map<int, std::string> texts;
  std::map<int, std::size_t> limits;
  std::map<int, bool> digits_only;
  std::map<int, bool> checked;
  std::map<int, std::vector<std::string>> choices;
  std::map<int, int> chosen;
  std::map<int, int> pictures;
  std::map<int, bool> enabled;
  std::map<int, bool> shown;
  bool page_disabled = false;
  int focus = 0;
  std::vector<std::string> warnings;
  std::vector<std::string> questions;
  bool answer = true;
};

}  // namespace quillbeaker::test
