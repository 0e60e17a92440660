// SPDX-License-Identifier: MIT
#include "extras/setting_text.h"

#include "config/ascii.h"
#include "extras/language_choice.h"
#include "message/display_text.h"

namespace quillbeaker {

std::string ReadableValue(const Setting& setting, const IniDocument& configuration) {
  return DisplayLine(ShownValue(setting, configuration));
}

std::string ReadableDefault(const Setting& setting) {
  return DisplayLine(ShownDefault(setting));
}

StoredValue StoredFromTyped(const Program& program, const Setting& setting, std::string_view utf8) {
  if (!setting.text) return StoredForm(setting, utf8);
  if (setting.text != &keys::kLanguage) return StoredForm(setting, Latin1FromTyped(utf8));
  StoredValue stored = StoredForm(setting, utf8);
  if (stored.fault == SettingFault::kNone && !IsLanguageChoice(program, stored.text)) {
    return {SettingFault::kNoSuchLanguage, {}};
  }
  return stored;
}

bool ActsAtNextStart(const Setting& setting) {
  return setting.number == &keys::kPort || setting.text == &keys::kLanguage;
}

}  // namespace quillbeaker
