// SPDX-License-Identifier: MIT
#include "config/program.h"

#include <utility>

#include "config/day_number.h"

namespace quillbeaker {

Program::Program(Environment surroundings)
    : environment(std::move(surroundings)),
      configuration(PathOf("Quillbeaker.ini")),
      spam_words(PathOf("spampoints.ini")),
      user_spam_words(PathOf("spampoints_user.ini")) {}

std::string Program::PathOf(std::string_view name) const {
  return environment.program_directory + std::string(name);
}

std::int32_t Program::Read(const IntegerKey& key) const {
  return configuration.ReadInteger(key.section, key.name, key.default_value);
}

std::string Program::Read(const TextKey& key) const {
  return configuration.ReadString(key.section, key.name, key.default_value, key.capacity);
}

bool Program::Write(const IntegerKey& key, std::int32_t value) {
  return configuration.WriteInteger(key.section, key.name, value);
}

std::int32_t Program::Today() const {
  return DayNumber(environment.local_time());
}

}  // namespace quillbeaker
