// SPDX-License-Identifier: MIT
#include "extras/language_file.h"

#include <algorithm>
#include <charconv>
#include <set>

#include "config/ascii.h"
#include "message/display_text.h"
#include "platform/files.h"

namespace quillbeaker {
namespace {

constexpr int kGreatestId = 0xFFFF;  // ids of resources and controls have 16 bits
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

// Texts of dialogs that are read back, filled in and shown.
struct ControlFormat {
  int dialog;
  int control;
  std::string_view conversions;
};
constexpr ControlFormat kControlFormats[] = {
    {128, 1040, "%i %s"},  // statistic: maximum, its day
    {128, 1041, "%.2f"},   // statistic: average
    {136, 1024, "%s %s"},  // offered sender: name, address
};

// A number from 1 to 65535, decimal or hexadecimal with "0x"; nothing of anything else.
std::optional<int> IdOf(std::string_view text) {
  const bool hexadecimal = StartsWithIgnoringCase(text, "0x");
  text.remove_prefix(hexadecimal ? 2 : 0);
  int value = 0;
  const auto [end, error] =
      std::from_chars(text.data(), text.data() + text.size(), value, hexadecimal ? 16 : 10);
  const bool whole = error == std::errc() && end == text.data() + text.size();
  return whole && value >= 1 && value <= kGreatestId ? std::optional(value) : std::nullopt;
}

// "0", "2.1": positions of sub-menus.
bool IsPopupPath(std::string_view text) {
  const auto is_digit = [](char c) { return c >= '0' && c <= '9'; };
  return !text.empty() && is_digit(text.front()) && is_digit(text.back()) && text.find("..") == text.npos &&
         std::ranges::all_of(text, [&](char c) { return is_digit(c) || c == '.'; });
}

// The text behind its escapes; nothing when it holds another escape or a control character.
std::optional<std::string> Unescaped(std::string_view text) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (byte < 0x20 || byte == 0x7F) {
      return std::nullopt;
    }
    if (text[i] != '\\') {
      plain += text[i];
      continue;
    }
    const char escaped = ++i < text.size() ? text[i] : '\0';
    if (escaped != 'n' && escaped != 't' && escaped != '\\') {
      return std::nullopt;
    }
    plain += escaped == 'n' ? '\n' : escaped == 't' ? '\t' : '\\';
  }
  return plain;
}

// Takes the next line off the bytes, without its end.
std::string_view TakeLine(std::string_view& bytes) {
  const std::size_t end = std::min(bytes.find('\n'), bytes.size());
  std::string_view line = bytes.substr(0, end);
  bytes.remove_prefix(std::min(end + 1, bytes.size()));
  if (line.ends_with('\r')) {
    line.remove_suffix(1);
  }
  return line;
}

class LanguageParser {
 public:
  Language Parse(std::string_view bytes) {
    language_.information = {{}, {}, {}, 0};
    while (!bytes.empty()) {
      ++line_;
      const std::string_view line = TakeLine(bytes);
      const std::string_view trimmed = TrimBlanks(line);
      if (trimmed.starts_with('[')) {
        EnterSection(trimmed);
      } else if (!trimmed.empty() && !trimmed.starts_with(';')) {
        TakeEntry(line);
      }
    }
    return std::move(language_);
  }

 private:
  enum class Section { kNone, kUnknown, kInformation, kTexts, kDialog, kMenu };

  void Complain(LanguageProblem problem) { language_.complaints.push_back({line_, problem}); }

  void EnterSection(std::string_view header) {
    section_ = Section::kUnknown;
    const bool closed = header.ends_with(']');
    const std::string_view inside = TrimBlanks(header.substr(1, header.size() - (closed ? 2 : 1)));
    const std::size_t word_end = std::min(inside.find_first_of(" \t"), inside.size());
    const std::string_view word = inside.substr(0, word_end);
    const std::string_view rest = TrimBlanks(inside.substr(word_end));
    const std::optional<int> id = IdOf(rest);
    if (closed && rest.empty() && EqualsIgnoringCase(word, "information")) {
      section_ = Section::kInformation;
    } else if (closed && rest.empty() && EqualsIgnoringCase(word, "texts")) {
      section_ = Section::kTexts;
    } else if (closed && id && EqualsIgnoringCase(word, "dialog")) {
      section_ = Section::kDialog;
    } else if (closed && id && EqualsIgnoringCase(word, "menu")) {
      section_ = Section::kMenu;
    } else {
      Complain(LanguageProblem::kUnknownSection);
    }
    section_id_ = id.value_or(0);
  }

  void TakeEntry(std::string_view line) {
    const std::size_t equals = line.find('=');
    if (section_ == Section::kUnknown) {
      return;
    }
    if (section_ == Section::kNone || equals == line.npos) {
      Complain(LanguageProblem::kNoEntry);
      return;
    }
    std::string_view value = line.substr(equals + 1);
    // One blank behind the "=" is for the reader's eye; all others belong to the text.
    value.remove_prefix(value.starts_with(' ') ? 1 : 0);
    if (value.empty()) {
      return;  // not translated yet
    }
    if (value.size() > kMostTranslatedBytes) {
      Complain(LanguageProblem::kTooLong);
      return;
    }
    if (const auto text = Unescaped(value)) {
      Put(TrimBlanks(line.substr(0, equals)), *text);
    } else {
      Complain(LanguageProblem::kMalformedText);
    }
  }

  void Put(std::string_view key, const std::string& text) {
    switch (section_) {
      case Section::kInformation:
        return PutInformation(key, text);
      case Section::kTexts:
        return PutText(key, text);
      case Section::kDialog:
        return PutControl(key, text);
      case Section::kMenu:
        return PutMenu(key, text);
      case Section::kNone:
      case Section::kUnknown:
        return;
    }
  }

  void PutInformation(std::string_view key, const std::string& text) {
    LanguageInformation& information = language_.information;
    if (EqualsIgnoringCase(key, "language")) {
      if (const auto id = IdOf(TrimBlanks(text))) {
        SetOnce(information.id, static_cast<std::uint16_t>(*id), std::uint16_t{0});
      } else {
        Complain(LanguageProblem::kMalformedText);
      }
    } else if (EqualsIgnoringCase(key, "name")) {
      SetOnce(information.name, text, std::string());
    } else if (EqualsIgnoringCase(key, "author")) {
      SetOnce(information.author, text, std::string());
    } else {
      Complain(LanguageProblem::kUnknownKey);
    }
  }

  template <typename Value>
  void SetOnce(Value& field, const Value& value, const Value& unset) {
    if (field == unset) {
      field = value;
    } else {
      Complain(LanguageProblem::kDuplicate);
    }
  }

  void PutText(std::string_view key, const std::string& text) {
    const auto number = IdOf(key);
    if (!number) {
      Complain(LanguageProblem::kUnknownKey);
      return;
    }
    const TranslatedText translated{*number, text};
    const Translatable answer = CanTranslate(translated);
    if (answer == Translatable::kNoSuchText) {
      Complain(LanguageProblem::kUnknownText);
    } else if (answer == Translatable::kOtherConversions) {
      Complain(LanguageProblem::kOtherConversions);
    } else if (!numbers_.insert(*number).second) {
      Complain(LanguageProblem::kDuplicate);
    } else {
      language_.texts.push_back(translated);
    }
  }

  void PutControl(std::string_view key, const std::string& text) {
    const auto id = EqualsIgnoringCase(key, "caption") ? std::optional(kCaption) : IdOf(key);
    if (!id) {
      Complain(LanguageProblem::kUnknownKey);
      return;
    }
    const auto conversions = ConversionsOfControl(section_id_, *id);
    if (!conversions.empty() && ConversionsOf(text) != conversions) {
      Complain(LanguageProblem::kOtherConversions);
    } else if (!language_.controls.try_emplace({section_id_, *id}, text).second) {
      Complain(LanguageProblem::kDuplicate);
    }
  }

  void PutMenu(std::string_view key, const std::string& text) {
    constexpr std::string_view kPopup = "popup";
    bool is_new = true;
    if (StartsWithIgnoringCase(key, kPopup) && IsPopupPath(TrimBlanks(key.substr(kPopup.size())))) {
      const std::string path(TrimBlanks(key.substr(kPopup.size())));
      is_new = language_.popups.try_emplace({section_id_, path}, text).second;
    } else if (const auto command = IdOf(key)) {
      is_new = language_.commands.try_emplace({section_id_, *command}, text).second;
    } else {
      Complain(LanguageProblem::kUnknownKey);
    }
    if (!is_new) {
      Complain(LanguageProblem::kDuplicate);
    }
  }

  Language language_;
  Section section_ = Section::kNone;
  int section_id_ = 0;
  std::size_t line_ = 0;
  std::set<int> numbers_;  // of the texts that are taken
};

}  // namespace

std::optional<Language> ParseLanguage(std::string_view bytes) {
  if (bytes.size() > kMostLanguageFileBytes || bytes.find('\0') != bytes.npos || !IsUtf8(bytes)) {
    return std::nullopt;
  }
  bytes.remove_prefix(bytes.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0);
  return LanguageParser().Parse(bytes);
}

std::optional<Language> LoadLanguage(const std::string& directory, const std::string& file_name) {
  const std::string path = directory + file_name;
  if (FileSize(path).value_or(kMostLanguageFileBytes + 1) > kMostLanguageFileBytes) {
    return std::nullopt;
  }
  const auto bytes = ReadWholeFile(path);
  auto language = bytes ? ParseLanguage(*bytes) : std::nullopt;
  if (language) {
    language->information.file_name = file_name;
  }
  return language;
}

std::vector<std::string_view> ConversionsOfControl(int dialog, int control) {
  for (const ControlFormat& format : kControlFormats) {
    if (format.dialog == dialog && format.control == control) {
      return ConversionsOf(format.conversions);
    }
  }
  return {};
}

}  // namespace quillbeaker
