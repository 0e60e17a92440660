// SPDX-License-Identifier: MIT
#include "extras/language_choice.h"

#include <utility>

#include "config/ascii.h"
#include "config/keys.h"
#include "message/display_text.h"
#include "platform/files.h"

namespace quillbeaker {
namespace {

// A name that leads nowhere else: a language file lies in the program directory itself. On Windows a colon
// would name another drive or a stream of another file, so it is refused everywhere.
bool IsBareFileName(std::string_view name) {
  return name.find_first_of("/\\:") == name.npos && name.find("..") == name.npos;
}

// Whether the configuration gives the name back as it was written there.
bool FitsConfiguration(std::string_view name) {
  return name.size() < keys::kLanguage.capacity && TrimBlanks(name) == name && name.front() != '"' &&
         name.front() != '\'' && WithoutControlBytes(name) == name && IsUtf8(name);
}

}  // namespace

LanguageSetting ReadLanguageSetting(const Program& program) {
  using enum LanguageSetting::Kind;
  const std::string value = program.Read(keys::kLanguage);
  if (value.empty()) {
    return {kByUser, {}};
  }
  if (EqualsIgnoringCase(value, "default") || !IsBareFileName(value)) {
    return {kBuiltIn, {}};
  }
  // We write UTF-8; whoever edits the configuration with an older program writes ISO-8859-1.
  return {kFile, IsUtf8(value) ? value : PathFromLatin1(value)};
}

bool WriteLanguageSetting(Program& program, const LanguageInformation& chosen) {
  return program.configuration.WriteString(keys::kLanguage.section, keys::kLanguage.name, chosen.file_name);
}

std::optional<Language> FindLanguage(const std::string& directory, std::string_view pattern,
                                     std::uint16_t language_id) {
  std::optional<Language> related;
  const std::string_view ending = pattern.substr(pattern.starts_with('*') ? 1 : 0);
  for (const std::string& name : ListFiles(directory, ending)) {
    if (!FitsConfiguration(name) || !IsBareFileName(name)) {
      continue;
    }
    auto language = LoadLanguage(directory, name);
    if (!language || language->information.id == 0) {
      continue;
    }
    if (language->information.id == language_id) {
      return language;
    }
    if (!related && PrimaryLanguage(language->information.id) == PrimaryLanguage(language_id)) {
      related = std::move(language);
    }
  }
  return related;
}

std::vector<LanguageInformation> ListLanguages(const std::string& directory) {
  std::vector<LanguageInformation> languages;
  for (const std::string& name : ListFiles(directory, kLanguageFilePattern.substr(1))) {
    if (!FitsConfiguration(name) || !IsBareFileName(name)) continue;
    if (auto language = LoadLanguage(directory, name)) languages.push_back(std::move(language->information));
  }
  return languages;
}

bool IsLanguageChoice(const Program& program, std::string_view value) {
  if (value.empty() || EqualsIgnoringCase(value, "default")) return true;
  if (!FitsConfiguration(value) || !IsBareFileName(value)) return false;
  return LoadLanguage(program.environment.program_directory, std::string(value)).has_value();
}

std::optional<Language> LoadSetLanguage(const Program& program) {
  const LanguageSetting setting = ReadLanguageSetting(program);
  if (setting.kind != LanguageSetting::Kind::kFile) {
    return std::nullopt;
  }
  return LoadLanguage(program.environment.program_directory, setting.file_name);
}

}  // namespace quillbeaker
