// SPDX-License-Identifier: MIT
#pragma once

// The settings as one list: what a page of the settings dialog, the console and the documentation know of a
// key, and how what a person types becomes what the file holds. Shows nothing.

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "config/program.h"

namespace quillbeaker {

// One row; exactly one of the two is there.
struct Setting {
  const IntegerKey* number = nullptr;
  const TextKey* text = nullptr;

  std::string_view section() const { return number ? number->section : text->section; }
  std::string_view name() const { return number ? number->name : text->name; }
  SettingKind kind() const { return number ? number->kind : text->kind; }
  std::string_view unit() const { return number ? number->unit : std::string_view(); }
};

// Every key of the configuration file that has a default, in the order of the documentation; the lists
// ([SENDERS], [STATS] and so on) are none.
std::span<const Setting> AllSettings();
// Without regard to ASCII case, as the file is read; null for a name that is none.
const Setting* FindSetting(std::string_view name);

// What is shown of a setting: a number in the unit of its row, or a text; the default where the file has
// none.
std::string ShownValue(const Setting& setting, const IniDocument& configuration);
std::string ShownDefault(const Setting& setting);

enum class SettingFault {
  kNone,
  kKept,        // the program's own memory is no choice of a person's
  kNotANumber,  // not one to nine decimal digits
  kOutOfLimits,
  kNoChoice,        // none of those that there are
  kTooLong,         // the reader would cut it
  kNoSuchLanguage,  // extras/setting_text.h finds that
};

struct StoredValue {
  SettingFault fault = SettingFault::kNone;
  std::string text;  // what the file is to hold, when there is no fault
};

// What a person chose, as the file is to hold it. Numbers in the unit of their row; a product that leaves 32
// bits is held at their end. Control bytes of a text become blanks, outer blanks go.
StoredValue StoredForm(const Setting& setting, std::string_view shown);
// The number of one to nine decimal digits that the text is.
std::optional<std::int32_t> WholeNumber(std::string_view text);
// A number as it is stored, of what is shown: held at the end of 32 bits.
std::int32_t StoredNumber(const IntegerKey& key, std::int32_t shown);

// What one press of OK writes, gathered from all pages, so that each file is replaced at most once.
struct SettingChanges {
  std::vector<IniChange> configuration;
  std::vector<IniChange> user_spam_words;

  // `stored` as StoredForm gives it.
  void Set(const Setting& setting, std::string stored);
  // Empty when all is saved; else the path of the file that could not be, which is unchanged. What is saved
  // is taken out, so that the next try writes the rest.
  [[nodiscard]] std::string Save(Program& program);
};

}  // namespace quillbeaker
