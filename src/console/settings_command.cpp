// SPDX-License-Identifier: MIT
// `settings`: the configuration's keys from the terminal, with the limits that the settings dialog has.
#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "config/leading_integer.h"
#include "config/log_file.h"
#include "config/settings.h"
#include "config/texts.h"
#include "console/commands.h"
#include "console/failure_text.h"
#include "console/json_text.h"
#include "extras/setting_text.h"
#include "platform/console.h"

namespace quillbeaker {
namespace {

int Fail(const std::string& text) {
  WriteStandardError(text + "\n");
  return kExitFailed;
}

std::string_view KindName(SettingKind kind) {
  switch (kind) {
    case SettingKind::kFlag:
      return "flag";
    case SettingKind::kNumber:
      return "number";
    case SettingKind::kDays:
      return "days";
    case SettingKind::kChoice:
      return "choice";
    case SettingKind::kText:
      return "text";
    case SettingKind::kKept:
      break;
  }
  return "kept";
}

Json JsonValue(const Setting& setting, const std::string& readable) {
  if (!setting.number) return readable;
  return LeadingInteger<std::int32_t>(readable);
}

Json ChoicesOf(const Setting& setting) {
  Json choices = Json::array();
  if (setting.number) {
    for (const std::int32_t choice : setting.number->choices) choices.push_back(choice);
  } else {
    for (const std::string_view choice : setting.text->choices) choices.push_back(choice);
  }
  return choices;
}

Json JsonOf(const Setting& setting, const IniDocument& configuration) {
  Json object = {{"name", setting.name()},
                 {"section", setting.section()},
                 {"kind", KindName(setting.kind())},
                 {"value", JsonValue(setting, ReadableValue(setting, configuration))},
                 {"default", JsonValue(setting, ReadableDefault(setting))}};
  if (!setting.unit().empty()) object["unit"] = setting.unit();
  if (Json choices = ChoicesOf(setting); !choices.empty()) {
    object["choices"] = std::move(choices);
  } else if (setting.number && setting.kind() != SettingKind::kKept) {
    object["least"] = setting.number->least;
    object["most"] = setting.number->most;
  }
  return object;
}

int List(const IniDocument& configuration, bool json) {
  std::size_t widest = 0;
  for (const Setting& setting : AllSettings()) {
    if (setting.kind() != SettingKind::kKept) widest = std::max(widest, setting.name().size());
  }
  Json array = Json::array();
  std::string text;
  for (const Setting& setting : AllSettings()) {
    if (setting.kind() == SettingKind::kKept) continue;
    if (json) array.push_back(JsonOf(setting, configuration));
    std::string line(setting.name());
    line.resize(widest + 2, ' ');
    line += ReadableValue(setting, configuration);
    if (!setting.unit().empty()) line += ' ' + std::string(setting.unit());
    text += line.substr(0, line.find_last_not_of(' ') + 1) + '\n';
  }
  WriteStandardOutput(json ? JsonLine(array) : text);
  return kExitDone;
}

int Get(const Setting& setting, const IniDocument& configuration, bool json) {
  WriteStandardOutput(json ? JsonLine(JsonOf(setting, configuration))
                           : ReadableValue(setting, configuration) + "\n");
  return kExitDone;
}

std::string ListedChoices(const Setting& setting) {
  std::string list;
  for (const Json& choice : ChoicesOf(setting)) {
    list += list.empty() ? "" : ", ";
    list += choice.is_string() ? choice.get<std::string>() : choice.dump();
  }
  return list;
}

// What the number may be says more than that it is none; only where there are no limits to tell of.
SettingFault MostTelling(const Setting& setting, SettingFault fault) {
  if (fault != SettingFault::kNotANumber) return fault;
  if (setting.kind() == SettingKind::kChoice) return SettingFault::kNoChoice;
  return setting.number->most < keys::kMostShown ? SettingFault::kOutOfLimits : fault;
}

// A log of such a name is never written, and nothing else would tell.
bool IsUnusableLogName(const Program& program, const Setting& setting, std::string_view stored) {
  return (setting.text == &keys::kLogFileClientFileName || setting.text == &keys::kLogFileServerFileName) &&
         LogPath(program.environment.program_directory, stored).empty();
}

std::string Describe(const Setting& setting, SettingFault fault, const std::string& typed) {
  const std::string name(setting.name());
  switch (fault) {
    case SettingFault::kKept:
      return Format(Text::kSettingKept, {name});
    case SettingFault::kNotANumber:
      return Format(Text::kSettingNoNumber, {name});
    case SettingFault::kOutOfLimits:
      return Format(Text::kSettingOutOfLimits,
                    {name, std::to_string(setting.number->least), std::to_string(setting.number->most)});
    case SettingFault::kNoChoice:
      return Format(Text::kSettingNoChoice, {name, ListedChoices(setting)});
    case SettingFault::kTooLong:
      return Format(Text::kSettingTooLong, {name, std::to_string(setting.text->capacity - 1)});
    case SettingFault::kNoSuchLanguage:
      return Format(Text::kNoSuchLanguage, {DisplayLine(typed)});
    case SettingFault::kNone:
      break;
  }
  return {};
}

int Set(Program& program, const Setting& setting, const std::string& typed) {
  const StoredValue stored = StoredFromTyped(program, setting, typed);
  if (stored.fault != SettingFault::kNone) {
    return Fail(Describe(setting, MostTelling(setting, stored.fault), typed));
  }
  if (IsUnusableLogName(program, setting, stored.text)) {
    return Fail(Format(Text::kSettingNoLogName, {std::string(setting.name())}));
  }
  SettingChanges changes;
  changes.Set(setting, stored.text);
  if (const std::string path = changes.Save(program); !path.empty()) {
    return Fail(
        WithReason(Format(Text::kSettingNotSaved, {DisplayLine(path)}), program.configuration.LastUpdate()));
  }
  if (ActsAtNextStart(setting)) WriteStandardOutput(std::string(TextOf(Text::kSettingNextStart)) + "\n");
  return kExitDone;
}

}  // namespace

int ManageSettings(Program& program, const SettingsOptions& options) {
  const std::shared_ptr<const IniDocument> configuration = program.configuration.ReadOrNull();
  // Printing defaults for it would be a guess.
  if (configuration == nullptr) {
    return Fail(WithReason(Text::kConfigurationUnreadable, program.configuration.WhyUnreadable()));
  }
  if (options.action == SettingsOptions::Action::kList) return List(*configuration, options.json);
  const Setting* setting = FindSetting(options.name);
  if (setting == nullptr) return Fail(Format(Text::kNoSuchSetting, {DisplayLine(options.name)}));
  if (options.action == SettingsOptions::Action::kGet) return Get(*setting, *configuration, options.json);
  return Set(program, *setting, options.value);
}

}  // namespace quillbeaker
