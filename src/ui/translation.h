// SPDX-License-Identifier: MIT
#pragma once

// The chosen language at the windows. Windows and menus are made from their templates in English and
// translated before they are shown; whoever made one says which template it is, since neither a window nor a
// menu knows that. All texts are loaded once, before any window or other thread is there, and only read then.

#include <windows.h>

#include <memory>
#include <string>
#include <string_view>

#include "config/program.h"
#include "extras/language_file.h"

namespace quillbeaker {

class CLanguage {
 public:
  CLanguage() = default;  // the built-in English
  explicit CLanguage(Language language);

  // What the chosen file says of itself; false for the built-in English, which then stands in it.
  bool GetInformation(LanguageInformation& information) const;
  // Caption and direct children of a dialog made from the template `dialog`. Controls without a translated
  // text keep the one they have.
  void TranslateWindow(HWND window, int dialog) const;
  // A whole menu as it was loaded from the resource `menu_id`, sub-menus included. Handed only a sub-menu of
  // it, it translates the commands in there.
  void TranslateMenu(HMENU menu, int menu_id) const;

 private:
  void TranslateItems(HMENU menu, int menu_id, const std::string& path) const;

  std::shared_ptr<const Language> language_;
};

// Each makes its choice the language of the process, for TextOf as well, and returns it. A file that is
// missing or broken gives English. Paths are UTF-8; a directory ends in a separator.
const CLanguage& InitLanguage(const std::string* file);  // null: the built-in English
const CLanguage& InitLanguageByID(const std::string& directory, std::string_view pattern, LANGID language_id);
// What start-up calls: the one that the configuration names, else by the user's own language, which is then
// written into the configuration.
const CLanguage& InitChosenLanguage(Program& program);

const CLanguage& CurrentLanguage();

// One text of the string table in the chosen language.
class CTranslateString {
 public:
  CTranslateString() = default;
  CTranslateString(HINSTANCE instance, UINT id);

  const wchar_t* c_str() const { return wide_.c_str(); }
  const std::wstring& str() const { return wide_; }
  // UTF-8, whatever the system's code page is; kept until the next call or the end of the object.
  const char* LoadStringA(HINSTANCE instance, UINT id);

 private:
  std::string utf8_;
  std::wstring wide_;
};

}  // namespace quillbeaker
