// SPDX-License-Identifier: MIT
#include "ui/presenter/level_page.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include "config/texts.h"
#include "filter/filter_settings.h"
#include "ui/resource.h"

namespace quillbeaker {
namespace {

constexpr std::int32_t kNoThreshold = -1;
constexpr std::size_t kThresholdDigits = 9;
constexpr Text kDescriptions[] = {Text::kLevelVeryLow, Text::kLevelLow, Text::kLevelNormal, Text::kLevelHigh,
                                  Text::kLevelVeryHigh};
static_assert(std::size(kDescriptions) == std::size(choices::kLevels));

std::string KeyOf(std::int32_t level) {
  return "level" + std::to_string(level);
}

// The end levels leave the judgement to the sender lists, whatever a file says.
bool HasThreshold(std::int32_t level) {
  return level != kLevelOnlyBlocked && level != kLevelOnlyFriends;
}

std::int32_t PredefinedThreshold(const Program& program, std::int32_t level) {
  return program.spam_words.ReadInteger(sections::kThreshold, KeyOf(level), kNoThreshold);
}

std::int32_t ShownThreshold(const Program& program, std::int32_t level) {
  if (!HasThreshold(level)) return kNoThreshold;
  const std::int32_t own =
      program.user_spam_words.ReadInteger(sections::kThreshold, KeyOf(level), kNoThreshold);
  return own == kNoThreshold ? PredefinedThreshold(program, level) : own;
}

}  // namespace

LevelPage::LevelPage(const SettingsSurroundings& surroundings, PageView& view)
    : surroundings_(surroundings), view_(view) {}

void LevelPage::Load() {
  const Program& program = surroundings_.program;
  for (std::size_t i = 0; i < thresholds_.size(); ++i) {
    thresholds_[i] = ShownThreshold(program, choices::kLevels[i]);
  }
  std::vector<std::string> titles;
  for (const Text description : kDescriptions) {
    const std::string_view text = TextOf(description);
    titles.emplace_back(text.substr(0, text.find('\n')));
  }
  view_.LimitText(LEVEL_THRESHOLD, kThresholdDigits, true);
  view_.SetPictures(LEVEL_LIST, BITMAP_LEVELS);
  view_.SetChoices(LEVEL_LIST, titles);
  const auto level = std::find(std::begin(choices::kLevels), std::end(choices::kLevels),
                               program.Read(keys::kAggressiveness));
  const bool is_known = level != std::end(choices::kLevels);
  view_.Choose(LEVEL_LIST, is_known ? static_cast<int>(level - std::begin(choices::kLevels)) : -1);
  ShowLevel();
  is_disabled_ = program.Read(keys::kEnable) == 0 || program.Read(keys::kFilterWordEnable) == 0;
  if (is_disabled_) view_.DisablePage();
}

int LevelPage::Place() const {
  const int place = view_.ChosenIn(LEVEL_LIST);
  return place >= 0 && static_cast<std::size_t>(place) < thresholds_.size() ? place : -1;
}

void LevelPage::ShowLevel() {
  is_showing_ = true;
  const int place = Place();
  const std::int32_t threshold = place < 0 ? kNoThreshold : thresholds_[static_cast<std::size_t>(place)];
  view_.SetText(LEVEL_DESCRIPTION, place < 0 ? std::string_view() : TextOf(kDescriptions[place]));
  view_.SetText(LEVEL_THRESHOLD, threshold == kNoThreshold ? std::string() : std::to_string(threshold));
  view_.Enable(LEVEL_THRESHOLD, threshold != kNoThreshold);
  shown_ = threshold;
  is_showing_ = false;
}

void LevelPage::Chosen(int control) {
  if (control == LEVEL_LIST && !is_disabled_) ShowLevel();
}

void LevelPage::Edited(int control) {
  const int place = Place();
  if (control != LEVEL_THRESHOLD || is_showing_ || place < 0) return;
  std::int32_t& threshold = thresholds_[static_cast<std::size_t>(place)];
  if (threshold == kNoThreshold) return;
  const std::string text = view_.TextIn(LEVEL_THRESHOLD);
  if (const std::optional<std::int32_t> typed = WholeNumber(text)) {
    threshold = *typed;
  } else if (text.empty()) {
    // What was left on the way of deleting digit by digit was never meant.
    threshold = shown_;
  }
}

// An emptied field shows again what the level has.
void LevelPage::Left(int control) {
  if (control == LEVEL_THRESHOLD && !is_disabled_) ShowLevel();
}

void LevelPage::Apply(AppliedSettings& applied) {
  if (is_disabled_) return;
  const int place = Place();
  if (place >= 0) {
    applied.changes.Set({&keys::kAggressiveness, nullptr}, std::to_string(choices::kLevels[place]));
  }
  for (std::size_t i = 0; i < thresholds_.size(); ++i) {
    const std::int32_t level = choices::kLevels[i];
    std::optional<std::string> own;
    // Where it equals the predefined one the user's is taken away: an older one would count before it.
    if (thresholds_[i] != PredefinedThreshold(surroundings_.program, level)) {
      own = std::to_string(thresholds_[i]);
    }
    applied.changes.user_spam_words.push_back({std::string(sections::kThreshold), KeyOf(level), own});
  }
}

}  // namespace quillbeaker
