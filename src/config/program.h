// SPDX-License-Identifier: MIT
#pragma once

// What every operation of the core is handed: the surroundings, and the INI files of the program directory.

#include <string>
#include <string_view>

#include "config/ini_file.h"
#include "config/keys.h"
#include "platform/environment.h"

namespace quillbeaker {

struct Program {
  explicit Program(Environment surroundings);

  // The program directory followed by `name` as it stands; nothing is resolved against the working directory.
  std::string PathOf(std::string_view name) const;

  std::int32_t Read(const IntegerKey& key) const;
  std::string Read(const TextKey& key) const;
  bool Write(const IntegerKey& key, std::int32_t value);

  // Day number of the local date now.
  std::int32_t Today() const;

  const Environment environment;
  IniFile configuration;  // Quillbeaker.ini
  IniFile spam_words;  // spampoints.ini: predefined words and thresholds, never written but by the conversion
  IniFile user_spam_words;  // spampoints_user.ini
};

}  // namespace quillbeaker
