// SPDX-License-Identifier: MIT
// Any bytes as a language file: what is taken from it can be shown and filled in without harm.

#include <algorithm>
#include <string>

#include "config/texts.h"
#include "extras/language_file.h"
#include "fuzz_support.h"
#include "message/display_text.h"

namespace {

using namespace quillbeaker;

void CheckShowable(const std::string& text) {
  Check(!text.empty() && text.size() <= kMostTranslatedBytes && IsUtf8(text), "a text is short UTF-8");
  const auto is_control = [](unsigned char c) { return (c < 0x20 && c != '\n' && c != '\t') || c == 0x7F; };
  Check(std::none_of(text.begin(), text.end(), is_control), "a text holds no control characters");
}

void CheckTexts(const Language& language) {
  Check(SetTranslatedTexts(language.texts) == 0, "every text that was taken can be used");
  for (const TextRow& row : AllTexts()) {
    const std::string_view translated = quillbeaker::TextOf(row.text);
    if (row.kind == TextKind::kFormat) {
      Check(ConversionsOf(translated) == ConversionsOf(row.english), "a format keeps its conversions");
    } else if (row.kind == TextKind::kKept) {
      Check(translated == row.english, "a text that is kept stays English");
    }
    Format(row.text, {"%s", "%n"});
  }
  for (const TranslatedText& text : language.texts) {
    CheckShowable(text.utf8);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto language = ParseLanguage(quillbeaker::TextOf(data, size));
  if (!language) {
    return 0;
  }
  CheckTexts(*language);
  for (const auto& [place, text] : language->controls) {
    CheckShowable(text);
    const auto wanted = ConversionsOfControl(place.first, place.second);
    Check(wanted.empty() || ConversionsOf(text) == wanted, "a control's format keeps its conversions");
  }
  for (const auto& [place, text] : language->commands) {
    CheckShowable(text);
  }
  for (const auto& [place, text] : language->popups) {
    CheckShowable(text);
  }
  const auto lines = static_cast<std::size_t>(std::count(data, data + size, '\n')) + 1;
  for (const LanguageComplaint& complaint : language->complaints) {
    Check(complaint.line >= 1 && complaint.line <= lines, "a complaint names a line of the file");
  }
  return 0;
}
