// SPDX-License-Identifier: MIT
#include "ui/translation.h"

#include <utility>

#include "config/texts.h"
#include "extras/language_choice.h"
#include "platform/windows/wide.h"

namespace quillbeaker {
namespace {

// Written at start-up, then only read.
CLanguage& Current() {
  static CLanguage language;
  return language;
}

const CLanguage& Use(std::optional<Language> language) {
  SetTranslatedTexts(language ? language->texts : std::vector<TranslatedText>());
  Current() = language ? CLanguage(*std::move(language)) : CLanguage();
  return Current();
}

// The resource's own text, for an id that is not in the table of texts.
std::wstring ResourceText(HINSTANCE instance, UINT id) {
  const wchar_t* text = nullptr;
  // A capacity of 0 asks for a pointer into the resource itself.
  const int length = LoadStringW(instance, id, reinterpret_cast<wchar_t*>(&text), 0);
  return length > 0 ? std::wstring(text, static_cast<std::size_t>(length)) : std::wstring();
}

}  // namespace

CLanguage::CLanguage(Language language) : language_(std::make_shared<const Language>(std::move(language))) {}

bool CLanguage::GetInformation(LanguageInformation& information) const {
  information = language_ ? language_->information : LanguageInformation{};
  return language_ != nullptr;
}

void CLanguage::TranslateWindow(HWND window, int dialog) const {
  if (language_ == nullptr) {
    return;
  }
  const auto& controls = language_->controls;
  const auto caption = controls.find({dialog, kCaption});
  if (caption != controls.end()) {
    SetWindowTextW(window, WideFromUtf8(caption->second).c_str());
  }
  for (HWND child = GetWindow(window, GW_CHILD); child != nullptr; child = GetWindow(child, GW_HWNDNEXT)) {
    // Controls without an id of their own have -1.
    const int id = GetDlgCtrlID(child);
    const auto text = id > 0 ? controls.find({dialog, id}) : controls.end();
    if (text != controls.end()) {
      SetWindowTextW(child, WideFromUtf8(text->second).c_str());
    }
  }
}

void CLanguage::TranslateMenu(HMENU menu, int menu_id) const {
  if (language_ != nullptr) {
    TranslateItems(menu, menu_id, {});
  }
}

void CLanguage::TranslateItems(HMENU menu, int menu_id, const std::string& path) const {
  const int count = GetMenuItemCount(menu);
  for (int position = 0; position < count; ++position) {
    const UINT at = static_cast<UINT>(position);
    MENUITEMINFOW item{};
    item.cbSize = sizeof(item);
    item.fMask = MIIM_ID | MIIM_SUBMENU;
    if (!GetMenuItemInfoW(menu, at, TRUE, &item)) {
      continue;
    }
    const std::string* text = nullptr;
    if (item.hSubMenu != nullptr) {
      const std::string here = path + (path.empty() ? "" : ".") + std::to_string(position);
      const auto popup = language_->popups.find({menu_id, here});
      text = popup != language_->popups.end() ? &popup->second : nullptr;
      TranslateItems(item.hSubMenu, menu_id, here);
    } else {
      const auto command = language_->commands.find({menu_id, static_cast<int>(item.wID)});
      text = command != language_->commands.end() ? &command->second : nullptr;
    }
    if (text != nullptr) {
      std::wstring wide = WideFromUtf8(*text);
      item.fMask = MIIM_STRING;
      item.dwTypeData = wide.data();
      SetMenuItemInfoW(menu, at, TRUE, &item);
    }
  }
}

const CLanguage& InitLanguage(const std::string* file) {
  if (file == nullptr) {
    return Use(std::nullopt);
  }
  const std::size_t name = file->find_last_of("\\/") + 1;
  return Use(LoadLanguage(file->substr(0, name), file->substr(name)));
}

const CLanguage& InitLanguageByID(const std::string& directory, std::string_view pattern,
                                  LANGID language_id) {
  return Use(FindLanguage(directory, pattern, language_id));
}

const CLanguage& InitChosenLanguage(Program& program) {
  const std::string& directory = program.environment.program_directory;
  const LanguageSetting setting = ReadLanguageSetting(program);
  switch (setting.kind) {
    case LanguageSetting::Kind::kBuiltIn:
      return InitLanguage(nullptr);
    case LanguageSetting::Kind::kFile: {
      const std::string path = directory + setting.file_name;
      return InitLanguage(&path);
    }
    case LanguageSetting::Kind::kByUser:
      break;
  }
  const CLanguage& chosen = InitLanguageByID(directory, kLanguageFilePattern, GetUserDefaultLangID());
  LanguageInformation information;
  if (chosen.GetInformation(information)) {
    WriteLanguageSetting(program, information);
  }
  return chosen;
}

const CLanguage& CurrentLanguage() {
  return Current();
}

CTranslateString::CTranslateString(HINSTANCE instance, UINT id) {
  LoadStringA(instance, id);
}

const char* CTranslateString::LoadStringA(HINSTANCE instance, UINT id) {
  utf8_ = TextOf(static_cast<Text>(id));
  wide_ = utf8_.empty() ? ResourceText(instance, id) : WideFromUtf8(utf8_);
  if (utf8_.empty()) {
    utf8_ = Utf8FromWide(wide_);
  }
  return utf8_.c_str();
}

}  // namespace quillbeaker
