// SPDX-License-Identifier: MIT
#include "config/settings.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "config/ascii.h"
#include "config/leading_integer.h"

namespace quillbeaker {
namespace {

constexpr std::size_t kMostDigits = 9;

constexpr Setting kSettings[] = {
#define SETTING_NUMBER(constant, ...) {&keys::constant, nullptr},
#define SETTING_CHOICE(constant, ...) {&keys::constant, nullptr},
#define SETTING_TEXT(constant, ...) {nullptr, &keys::constant},
#define SETTING_KEPT(constant, ...) {&keys::constant, nullptr},
#include "config/setting_rows.inc"
#undef SETTING_NUMBER
#undef SETTING_CHOICE
#undef SETTING_TEXT
#undef SETTING_KEPT
};

StoredValue StoredNumberForm(const IntegerKey& key, std::string_view shown) {
  const std::optional<std::int32_t> value = WholeNumber(shown);
  if (!value) return {SettingFault::kNotANumber, {}};
  if (key.kind == SettingKind::kChoice) {
    const bool known = std::find(key.choices.begin(), key.choices.end(), *value) != key.choices.end();
    if (!known) return {SettingFault::kNoChoice, {}};
  } else if (*value < key.least || *value > key.most) {
    return {SettingFault::kOutOfLimits, {}};
  }
  return {SettingFault::kNone, std::to_string(StoredNumber(key, *value))};
}

StoredValue StoredTextForm(const TextKey& key, std::string_view shown) {
  const std::string clean = WithoutControlBytes(shown);
  const std::string_view text = TrimBlanks(clean);
  if (text.size() >= key.capacity) return {SettingFault::kTooLong, {}};
  if (key.choices.empty()) return {SettingFault::kNone, std::string(text)};
  for (const std::string_view choice : key.choices) {
    if (EqualsIgnoringCase(choice, text)) return {SettingFault::kNone, std::string(choice)};
  }
  return {SettingFault::kNoChoice, {}};
}

}  // namespace

std::span<const Setting> AllSettings() {
  return kSettings;
}

const Setting* FindSetting(std::string_view name) {
  const auto found = std::find_if(std::begin(kSettings), std::end(kSettings), [name](const Setting& setting) {
    return EqualsIgnoringCase(setting.name(), name);
  });
  return found == std::end(kSettings) ? nullptr : found;
}

std::string ShownValue(const Setting& setting, const IniDocument& configuration) {
  const std::optional<std::string_view> value = configuration.Find(setting.section(), setting.name());
  if (!value) return ShownDefault(setting);
  if (setting.text) return std::string(value->substr(0, setting.text->capacity - 1));
  return std::to_string(LeadingInteger<std::int32_t>(*value) / setting.number->factor);
}

std::string ShownDefault(const Setting& setting) {
  if (setting.text) return std::string(setting.text->default_value);
  return std::to_string(setting.number->default_value / setting.number->factor);
}

StoredValue StoredForm(const Setting& setting, std::string_view shown) {
  if (setting.kind() == SettingKind::kKept) return {SettingFault::kKept, {}};
  return setting.number ? StoredNumberForm(*setting.number, shown) : StoredTextForm(*setting.text, shown);
}

std::optional<std::int32_t> WholeNumber(std::string_view text) {
  const auto is_digit = [](char c) { return c >= '0' && c <= '9'; };
  if (text.empty() || text.size() > kMostDigits || !std::all_of(text.begin(), text.end(), is_digit)) {
    return std::nullopt;
  }
  return LeadingInteger<std::int32_t>(text);
}

std::int32_t StoredNumber(const IntegerKey& key, std::int32_t shown) {
  const std::int64_t product = std::int64_t{shown} * key.factor;
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(product, std::numeric_limits<std::int32_t>::min(),
                                                            std::numeric_limits<std::int32_t>::max()));
}

void SettingChanges::Set(const Setting& setting, std::string stored) {
  configuration.push_back({std::string(setting.section()), std::string(setting.name()), std::move(stored)});
}

std::string SettingChanges::Save(Program& program) {
  const auto save = [](IniFile& file, std::vector<IniChange>& changes) {
    if (!file.Write(changes)) return false;
    changes.clear();
    return true;
  };
  // The configuration last: what follows from its change, such as the notice of a new port, is then told.
  if (!save(program.user_spam_words, user_spam_words)) return program.user_spam_words.path();
  if (!save(program.configuration, configuration)) return program.configuration.path();
  return {};
}

}  // namespace quillbeaker
