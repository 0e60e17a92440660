// SPDX-License-Identifier: MIT
#pragma once

// Language files (*.Quillbeaker.language): what a translator wrote, read into tables. docs/TRANSLATING.md
// describes the format. A file is hostile until it is parsed: whoever sends one may have written it badly or
// with intent, so an entry with anything wrong in it is left out and the built-in text stands. Nothing here
// decides which file is read (extras/language_choice.h) or shows anything (ui/translation.h).

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "config/texts.h"

namespace quillbeaker {

// Ours have some 30 KB; more than these is no translation.
inline constexpr std::size_t kMostLanguageFileBytes = std::size_t{1} << 20;
inline constexpr std::size_t kMostTranslatedBytes = 4096;

struct LanguageInformation {
  std::string file_name;     // without its directory, UTF-8; empty for the built-in English
  std::string name;          // as the language calls itself, UTF-8
  std::string author;        // UTF-8
  std::uint16_t id = 0x409;  // Windows language id, the primary language in its lower ten bits; 0 if not told
};

constexpr std::uint16_t PrimaryLanguage(std::uint16_t language_id) {
  return static_cast<std::uint16_t>(language_id & 0x3FF);
}

enum class LanguageProblem {
  kNoEntry,           // neither a section nor "key = text", or outside of any section
  kUnknownSection,    // its entries are left out
  kUnknownKey,        // of the information block, or no number where one must be
  kDuplicate,         // the first one stands
  kMalformedText,     // a backslash before anything but n, t and another one, or a control character
  kTooLong,           // more than kMostTranslatedBytes
  kUnknownText,       // no such text, or one that is never translated
  kOtherConversions,  // the printf conversions are not those of the original, in their order
};

struct LanguageComplaint {
  std::size_t line = 0;  // from 1
  LanguageProblem problem = LanguageProblem::kNoEntry;
};

// One file's texts. What is absent stays as it is built in.
struct Language {
  LanguageInformation information;
  std::vector<TranslatedText> texts;
  // By dialog and control; the dialog's caption under kCaption.
  std::map<std::pair<int, int>, std::string> controls;
  // By menu and command.
  std::map<std::pair<int, int>, std::string> commands;
  // By menu and the position of the sub-menu that the text opens, counted from 0; one inside another is named
  // by the positions on the way to it, "0.2".
  std::map<std::pair<int, std::string>, std::string> popups;
  // What was left out and why, by line; for those who check a translation.
  std::vector<LanguageComplaint> complaints;
};

inline constexpr int kCaption = -1;

// Nothing when the bytes are too many, no UTF-8, or hold NUL. A byte order mark may lead them.
std::optional<Language> ParseLanguage(std::string_view bytes);

// The same from a file, with its name put into the information; nothing as well when it can not be read.
std::optional<Language> LoadLanguage(const std::string& directory, const std::string& file_name);

// The conversions of a control's text that is filled in before it is shown; empty of all others.
std::vector<std::string_view> ConversionsOfControl(int dialog, int control);

}  // namespace quillbeaker
