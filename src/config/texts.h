// SPDX-License-Identifier: MIT
#pragma once

// Every text that a person sees, by number, with its English original: the console draws from here, and so
// does the Windows string table. The rows stand in config/text_rows.inc. Formats are printf's.
// A person is shown TextOf and Format, which speak the chosen language; EnglishText is for what goes into
// files, logs and replies, and for comparing with the original.

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace quillbeaker {

enum class Text {
#define TEXT_ROW(name, number, kind, english) name = (number),
#include "config/text_rows.inc"
#undef TEXT_ROW
};

enum class TextKind {
  kPlain,   // shown as it is; a percent sign in it means nothing
  kFormat,  // holds conversions that Format fills in
  kKept,    // never translated: files or other programs read it
};

struct TextRow {
  Text text;
  TextKind kind;
  std::string_view english;
};

// All rows, by rising number.
const std::vector<TextRow>& AllTexts();

std::string_view EnglishText(Text text);

// One text of a language file.
struct TranslatedText {
  int number = 0;
  std::string utf8;
};

enum class Translatable {
  kYes,
  kNoSuchText,        // no such number, or a text that is kept
  kOtherConversions,  // a format whose conversions are not exactly those of the original, in the same order
};
Translatable CanTranslate(const TranslatedText& text);

// Takes over the texts of the chosen language, in place of any before; a text that is not among them, or can
// not be translated so, stays English. Call it before any other thread runs: the table has no lock. Returns
// how many were refused.
std::size_t SetTranslatedTexts(const std::vector<TranslatedText>& texts);

// In the chosen language, UTF-8; English where it has no text. Valid until the texts are set again.
std::string_view TextOf(Text text);

// TextOf with its conversions filled in, each argument already in the form that its conversion asks for. A
// conversion without an argument is left standing.
std::string Format(Text text, std::initializer_list<std::string> arguments);
// The same of a format from elsewhere, the text of a control for example.
std::string FillIn(std::string_view format, std::initializer_list<std::string> arguments);

// The printf conversions of a format in their order ("%i", "%.1f"); "%%" is none. A percent sign that begins
// no conversion counts as one, "%" alone, so that no text with one equals an original.
std::vector<std::string_view> ConversionsOf(std::string_view format);

}  // namespace quillbeaker
