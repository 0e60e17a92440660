// SPDX-License-Identifier: MIT
#pragma once

// Which language file the program speaks: the key Language of the configuration, or the language of the user
// where it is empty. A choice takes effect at the next start; whatever is wrong with it gives English.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "config/program.h"
#include "extras/language_file.h"

namespace quillbeaker {

inline constexpr std::string_view kLanguageFilePattern = "*.Quillbeaker.language";

struct LanguageSetting {
  enum class Kind {
    kByUser,   // the key is empty: the user's language decides
    kBuiltIn,  // "default", or a value that names no file of the program directory
    kFile,
  } kind = Kind::kBuiltIn;
  std::string file_name;  // bare, UTF-8, of kFile
};

LanguageSetting ReadLanguageSetting(const Program& program);
// Makes a choice by the user's language the setting from now on.
bool WriteLanguageSetting(Program& program, const LanguageInformation& chosen);

// The file of the directory (which ends in a separator) that fits the user's language id: of those whose
// names match the pattern ("*" and an ending) the first with that very id, else the first of the same primary
// language, in the order of their names. A broken file counts as none.
std::optional<Language> FindLanguage(const std::string& directory, std::string_view pattern,
                                     std::uint16_t language_id);

// The languages of the directory that can be chosen, in the order of their file names; a broken file is none.
std::vector<LanguageInformation> ListLanguages(const std::string& directory);
// Whether the key Language may be set to that value, UTF-8: empty, "default", or the name of such a file.
bool IsLanguageChoice(const Program& program, std::string_view value);

// The language that the setting names; nothing for English: built-in, missing, broken or left to the user.
std::optional<Language> LoadSetLanguage(const Program& program);

}  // namespace quillbeaker
