// SPDX-License-Identifier: MIT
#include "config/texts.h"

#include <algorithm>
#include <array>

namespace quillbeaker {

namespace {

constexpr TextRow kTexts[] = {
#define TEXT_ROW(name, number, kind, english) {Text::name, TextKind::kind, english},
#include "config/text_rows.inc"
#undef TEXT_ROW
};
static_assert(std::ranges::adjacent_find(kTexts, std::ranges::greater_equal{}, &TextRow::text) ==
                  std::end(kTexts),
              "the rows stand in the order of their numbers, and no number comes twice");

const TextRow* RowOf(Text text) {
  const auto* row = std::ranges::lower_bound(kTexts, text, {}, &TextRow::text);
  return row != std::end(kTexts) && row->text == text ? row : nullptr;
}

// The translation of each row, empty where there is none. Written once at start-up, then only read.
std::array<std::string, std::size(kTexts)>& Translations() {
  static std::array<std::string, std::size(kTexts)> translations;
  return translations;
}

// How long the conversion is that the text begins with, its "%" included; 1 where that begins none.
std::size_t LengthOfConversion(std::string_view text) {
  std::size_t length = 1;
  for (const std::string_view part : {"-+ #0", "0123456789", ".0123456789", "hlLqjzt"}) {
    length = std::min(text.find_first_not_of(part, length), text.size());
  }
  constexpr std::string_view kTypes = "diouxXeEfFgGaAcspn";
  return length < text.size() && kTypes.find(text[length]) != kTypes.npos ? length + 1 : 1;
}

}  // namespace

const std::vector<TextRow>& AllTexts() {
  static const std::vector<TextRow> rows(std::begin(kTexts), std::end(kTexts));
  return rows;
}

std::string_view EnglishText(Text text) {
  const TextRow* row = RowOf(text);
  return row != nullptr ? row->english : std::string_view();
}

Translatable CanTranslate(const TranslatedText& text) {
  const TextRow* row = RowOf(static_cast<Text>(text.number));
  if (row == nullptr || row->kind == TextKind::kKept) {
    return Translatable::kNoSuchText;
  }
  const bool same = row->kind == TextKind::kPlain || ConversionsOf(text.utf8) == ConversionsOf(row->english);
  return same ? Translatable::kYes : Translatable::kOtherConversions;
}

std::size_t SetTranslatedTexts(const std::vector<TranslatedText>& texts) {
  Translations().fill({});
  std::size_t refused = 0;
  for (const TranslatedText& translated : texts) {
    if (CanTranslate(translated) == Translatable::kYes) {
      const TextRow* row = RowOf(static_cast<Text>(translated.number));
      Translations()[static_cast<std::size_t>(row - kTexts)] = translated.utf8;
    } else {
      ++refused;
    }
  }
  return refused;
}

std::string_view TextOf(Text text) {
  const TextRow* row = RowOf(text);
  if (row == nullptr) {
    return {};
  }
  const std::string& translation = Translations()[static_cast<std::size_t>(row - kTexts)];
  return translation.empty() ? row->english : std::string_view(translation);
}

std::string Format(Text text, std::initializer_list<std::string> arguments) {
  return FillIn(TextOf(text), arguments);
}

std::string FillIn(std::string_view format, std::initializer_list<std::string> arguments) {
  std::string filled;
  auto argument = arguments.begin();
  while (!format.empty()) {
    const std::size_t plain = std::min(format.find('%'), format.size());
    filled.append(format.substr(0, plain));
    format.remove_prefix(plain);
    if (format.starts_with("%%")) {
      filled.push_back('%');
      format.remove_prefix(2);
    } else if (!format.empty()) {
      const std::size_t length = LengthOfConversion(format);
      const bool fill = length > 1 && argument != arguments.end();
      filled.append(fill ? std::string_view(*argument++) : format.substr(0, length));
      format.remove_prefix(length);
    }
  }
  return filled;
}

std::vector<std::string_view> ConversionsOf(std::string_view format) {
  std::vector<std::string_view> conversions;
  std::size_t at = format.find('%');
  while (at != format.npos) {
    const std::string_view rest = format.substr(at);
    const std::size_t length = rest.starts_with("%%") ? 2 : LengthOfConversion(rest);
    if (!rest.starts_with("%%")) {
      conversions.push_back(rest.substr(0, length));
    }
    at = format.find('%', at + length);
  }
  return conversions;
}

}  // namespace quillbeaker
