// SPDX-License-Identifier: MIT
#pragma once

// Names of the configuration file's sections and keys, byte for byte, with everything that is known of each:
// it stands once, in config/setting_rows.inc. config/settings.h gives the same rows as one list.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace quillbeaker {

enum class SettingKind {
  kFlag,    // 0 or 1
  kNumber,  // of a unit
  kDays,
  kChoice,  // one of a few numbers
  kText,
  kKept,  // the program's own memory
};

struct IntegerKey {
  std::string_view section;
  std::string_view name;
  std::int32_t default_value;  // as stored
  SettingKind kind = SettingKind::kKept;
  std::string_view unit = {};  // of the number that is shown; English
  std::int32_t factor = 1;     // what is stored is what is shown times this
  std::int32_t least = 0;      // of what is shown, as the next
  std::int32_t most = 0;
  std::span<const std::int32_t> choices = {};  // of kChoice
};

struct TextKey {
  std::string_view section;
  std::string_view name;
  std::string_view default_value;
  std::size_t capacity;  // bytes, the terminating zero of the text included
  SettingKind kind = SettingKind::kKept;
  std::span<const std::string_view> choices = {};  // none: any text
};

namespace sections {
inline constexpr std::string_view kMain = "QUILLBEAKER";
// The same section, since case does not count: a few keys have always been written under this spelling.
inline constexpr std::string_view kMainInWords = "Quillbeaker";
inline constexpr std::string_view kServer = "SERVER";
inline constexpr std::string_view kSenders = "SENDERS";
inline constexpr std::string_view kProbabilities = "PROBABILITIES";
inline constexpr std::string_view kThreshold = "THRESHOLD";
inline constexpr std::string_view kPoints = "POINTS";
inline constexpr std::string_view kStatistics = "STATS";
inline constexpr std::string_view kSecurity = "SECURITY";          // how to connect, by server
inline constexpr std::string_view kCertificates = "CERTIFICATES";  // trusted fingerprints, by server
inline constexpr std::string_view kOptionalMessageBoxes = "OPTIONALMESSAGEBOXES";
}  // namespace sections

namespace choices {
inline constexpr std::int32_t kLevels[] = {0, 25, 50, 75, 100};
inline constexpr std::int32_t kTrayCommands[] = {40005, 40007, 40014, 40004};
inline constexpr std::string_view kDaysFrom[] = {"mail", "filing"};
inline constexpr std::string_view kSecurity[] = {"auto", "tls", "starttls", "plain"};
inline constexpr std::string_view kPipelining[] = {"auto", "always", "never"};
inline constexpr std::span<const std::string_view> kAny;
}  // namespace choices

namespace keys {
// The digits that a field for a number takes are nine: no such number leaves 32 bits.
inline constexpr std::int32_t kMostShown = 999999999;

#define SETTING_NUMBER(constant, section, name, standard, kind, unit, factor, least, most) \
  inline constexpr IntegerKey constant{section, name, standard, SettingKind::kind, unit, factor, least, most};
#define SETTING_CHOICE(constant, section, name, standard, numbers)                                 \
  inline constexpr IntegerKey constant{section, name,       standard, SettingKind::kChoice, {}, 1, \
                                       0,       kMostShown, numbers};
#define SETTING_TEXT(constant, section, name, standard, capacity, words) \
  inline constexpr TextKey constant{section, name, standard, capacity, SettingKind::kText, words};
#define SETTING_KEPT(constant, section, name, standard) \
  inline constexpr IntegerKey constant{section, name, standard};
#include "config/setting_rows.inc"
#undef SETTING_NUMBER
#undef SETTING_CHOICE
#undef SETTING_TEXT
#undef SETTING_KEPT

// Day numbers, and the counts beside them; lists of decimal numbers, each followed by a comma.
inline constexpr TextKey kStatisticsDays{sections::kStatistics, "Days", "", 330};
inline constexpr TextKey kStatisticsMails{sections::kStatistics, "Mails", "", 330};
}  // namespace keys

}  // namespace quillbeaker
