// SPDX-License-Identifier: MIT
#include "filter/filter_settings.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "config/leading_integer.h"

namespace quillbeaker {

namespace {

std::int32_t ReadKey(const IniDocument& document, const IntegerKey& key) {
  const std::optional<std::string_view> value = document.Find(key.section, key.name);
  return value ? LeadingInteger<std::int32_t>(*value) : key.default_value;
}

}  // namespace

FilterSettings ReadFilterSettings(const Program& program) {
  FilterSettings settings;
  // Without the sender lists a friend's mail would be judged by its words, and without the switch mail of
  // somebody who has switched the filter off. So a file that is there and cannot be read switches it off.
  settings.source = program.configuration.ReadOrNull();
  const bool readable = settings.source != nullptr;
  if (!readable) settings.source = std::make_shared<const IniDocument>(std::string_view());
  const std::shared_ptr<const IniDocument>& document = settings.source;
  settings.enabled = readable && ReadKey(*document, keys::kEnable) != 0;
  settings.word_filter = ReadKey(*document, keys::kFilterWordEnable) != 0;
  settings.learning_filter = ReadKey(*document, keys::kFilterLearningEnable) != 0;
  settings.strip_html = ReadKey(*document, keys::kFilterWordHtml) == 1;
  settings.level = ReadKey(*document, keys::kAggressiveness);
  settings.size_limit = ReadKey(*document, keys::kFilterMaxMessageSize);
  settings.threshold = ReadThreshold(program, settings.level);
  return settings;
}

LevelThreshold ReadThreshold(const Program& program, std::int32_t level) {
  const std::string key = "level" + std::to_string(level);
  LevelThreshold threshold{program.user_spam_words.ReadInteger(sections::kThreshold, key, -1),
                           LevelThreshold::Source::kUserFile};
  if (threshold.percent == -1) {
    threshold = {program.spam_words.ReadInteger(sections::kThreshold, key, -1),
                 LevelThreshold::Source::kShippedFile};
  }
  return threshold.percent > 0 ? threshold : LevelThreshold();
}

}  // namespace quillbeaker
