// SPDX-License-Identifier: MIT
#include "ui/presenter/bindings_page.h"

#include <algorithm>
#include <utility>

#include "config/ascii.h"
#include "config/leading_integer.h"
#include "extras/setting_text.h"
#include "message/display_text.h"

namespace quillbeaker {
namespace {

constexpr std::size_t kMostDigits = 9;

bool IsFlag(const Binding& binding) {
  return binding.setting.kind() == SettingKind::kFlag;
}

bool IsNumberField(const Binding& binding) {
  return binding.setting.number != nullptr && !IsFlag(binding) && binding.choices.empty();
}

// The value as the file has it, or the default.
std::string StoredText(const Setting& setting, const IniDocument& configuration) {
  if (const auto value = configuration.Find(setting.section(), setting.name())) return std::string(*value);
  return setting.number ? std::to_string(setting.number->default_value)
                        : std::string(setting.text->default_value);
}

bool IsSet(const IntegerKey& key, const IniDocument& configuration) {
  return LeadingInteger<std::int32_t>(StoredText({&key, nullptr}, configuration)) != 0;
}

// The place of the choice that stands for the stored value; -1 for none.
int PlaceOf(const Binding& binding, const std::string& stored) {
  for (std::size_t i = 0; i < binding.choices.size(); ++i) {
    const std::string_view choice = binding.choices[i].stored;
    const bool equal = binding.setting.number
                           ? LeadingInteger<std::int32_t>(choice) == LeadingInteger<std::int32_t>(stored)
                           : EqualsIgnoringCase(choice, stored);
    if (equal) return static_cast<int>(i);
  }
  return -1;
}

}  // namespace

BindingsPage::BindingsPage(const SettingsSurroundings& surroundings, PageView& view,
                           std::span<const Binding> bindings, std::span<const IntegerKey* const> needed)
    : surroundings_(surroundings),
      view_(view),
      bindings_(bindings),
      needed_(needed),
      loaded_(std::make_shared<IniDocument>()),
      states_(bindings.size()) {}

void BindingsPage::Load() {
  is_loading_ = true;
  loaded_ = surroundings_.program.configuration.Read();
  for (std::size_t i = 0; i < bindings_.size(); ++i) LoadControl(bindings_[i], states_[i]);
  is_loading_ = false;
  is_disabled_ = std::any_of(needed_.begin(), needed_.end(),
                             [this](const IntegerKey* key) { return !IsSet(*key, *loaded_); });
  if (is_disabled_) {
    view_.DisablePage();
  } else {
    UpdateEnabling();
  }
}

void BindingsPage::LoadControl(const Binding& binding, State& state) {
  if (IsFlag(binding)) {
    view_.SetChecked(binding.control, IsSet(*binding.setting.number, *loaded_));
  } else if (!binding.choices.empty()) {
    LoadChoices(binding);
  } else {
    const bool is_number = binding.setting.number != nullptr;
    view_.LimitText(binding.control, is_number ? kMostDigits : binding.setting.text->capacity - 1, is_number);
    std::string text = EditText(binding);
    view_.SetText(binding.control, text);
    state.last_text = text.empty() && is_number ? ReadableDefault(binding.setting) : std::move(text);
  }
}

void BindingsPage::LoadChoices(const Binding& binding) {
  std::vector<std::string> texts;
  for (const BoundChoice& choice : binding.choices) texts.emplace_back(TextOf(choice.text));
  view_.SetChoices(binding.control, texts);
  if (binding.setting.number != nullptr) {
    for (std::size_t i = 0; i < binding.choices.size(); ++i) {
      view_.SetChoiceValue(binding.control, static_cast<int>(i),
                           LeadingInteger<std::int32_t>(binding.choices[i].stored));
    }
  }
  view_.Choose(binding.control, PlaceOf(binding, StoredText(binding.setting, *loaded_)));
}

// A number without a unit of its own is shown as the file has it, even where that is no number: what nobody
// touched is then written as it was.
std::string BindingsPage::EditText(const Binding& binding) const {
  const Setting& setting = binding.setting;
  if (!setting.number || setting.number->factor != 1 || binding.writing == Writing::kIfNumber) {
    return ReadableValue(setting, *loaded_);
  }
  return DisplayLine(StoredText(setting, *loaded_).substr(0, kMostDigits));
}

void BindingsPage::UpdateEnabling() {
  if (is_disabled_) return;
  for (const Binding& binding : bindings_) {
    if (binding.enabled_by != 0) view_.Enable(binding.control, view_.IsChecked(binding.enabled_by));
  }
}

void BindingsPage::NoteChange(int control) {
  if (is_loading_) return;
  for (std::size_t i = 0; i < bindings_.size(); ++i) {
    if (bindings_[i].control == control) states_[i].changed = true;
  }
}

void BindingsPage::Pressed(int control) {
  NoteChange(control);
  UpdateEnabling();
}

void BindingsPage::Edited(int control) {
  NoteChange(control);
}

void BindingsPage::Chosen(int control) {
  NoteChange(control);
}

void BindingsPage::Left(int control) {
  for (std::size_t i = 0; i < bindings_.size(); ++i) {
    if (bindings_[i].control == control) RestoreEmptied(i);
  }
}

// An emptied number would be read as 0, and "keep for 0 days" deletes everything.
void BindingsPage::RestoreEmptied(std::size_t place) {
  const Binding& binding = bindings_[place];
  if (!IsNumberField(binding)) return;
  std::string text = view_.TextIn(binding.control);
  if (TrimBlanks(text).empty()) {
    view_.SetText(binding.control, states_[place].last_text);
  } else {
    states_[place].last_text = std::move(text);
  }
}

void BindingsPage::Apply(AppliedSettings& applied) {
  if (is_disabled_) return;
  for (std::size_t i = 0; i < bindings_.size(); ++i) {
    RestoreEmptied(i);
    Write(i, applied);
  }
}

void BindingsPage::Write(std::size_t place, AppliedSettings& applied) {
  const Binding& binding = bindings_[place];
  const Setting& setting = binding.setting;
  if (binding.writing == Writing::kIfChangedHere && !states_[place].changed) return;
  if (IsFlag(binding)) {
    applied.changes.Set(setting, view_.IsChecked(binding.control) ? "1" : "0");
    return;
  }
  if (!binding.choices.empty()) {
    // A stored value that is none of the choices stays until the person chooses one.
    const int chosen = view_.ChosenIn(binding.control);
    if (chosen < 0 || static_cast<std::size_t>(chosen) >= binding.choices.size()) return;
    applied.changes.Set(setting, std::string(binding.choices[static_cast<std::size_t>(chosen)].stored));
    return;
  }
  const std::string typed = view_.TextIn(binding.control);
  if (setting.text) {
    // What nobody touched keeps its bytes: not all of them can be typed.
    if (typed == ReadableValue(setting, *loaded_)) {
      applied.changes.Set(setting, StoredText(setting, *loaded_));
      return;
    }
    const StoredValue stored = StoredFromTyped(surroundings_.program, setting, typed);
    if (stored.fault == SettingFault::kNone) applied.changes.Set(setting, stored.text);
    return;
  }
  const std::string text = typed.substr(0, kMostDigits);
  if (binding.writing == Writing::kIfChangedHere && text == EditText(binding)) return;
  if (binding.writing == Writing::kIfNumber && !WholeNumber(text)) return;
  if (binding.writing == Writing::kIfOtherText) {
    const auto now = surroundings_.program.configuration.Read();
    if (text == StoredText(setting, *now).substr(0, kMostDigits)) return;
    applied.restart_needed = true;
  }
  applied.changes.Set(
      setting, setting.number->factor == 1
                   ? text
                   : std::to_string(StoredNumber(*setting.number, LeadingInteger<std::int32_t>(text))));
}

}  // namespace quillbeaker
