// SPDX-License-Identifier: MIT
#include "ui/translation.h"

#include <gtest/gtest.h>

#include <string>

#include "config/texts.h"
#include "support/test_program.h"
#include "ui/resource.h"

namespace quillbeaker {
namespace {

class Translation : public testing::Test {
 protected:
  ~Translation() override { InitLanguage(nullptr); }

  void PutFile(const std::string& name, int language_id) {
    ASSERT_TRUE(world_.directory.Put(
        name, "[information]\nname = Test\nlanguage = " + std::to_string(language_id) +
                  "\n[texts]\n140 = L\u00f6schen\n163 = %s\n"
                  "[menu 121]\npopup 0 = Symbol\n40002 = &Beenden\\tStrg+Q\n[menu 122]\n40005 = falsch\n"
                  "[dialog 108]\ncaption = \u0412\u043e\u043f\u0440\u043e\u0441\n2 = Abbrechen\n"));
  }
  void Set(const std::string& value) {
    ASSERT_TRUE(program().configuration.WriteString("QUILLBEAKER", "Language", value));
  }
  Program& program() { return world_.program(); }

  test::TestProgram world_;
};

std::wstring TextOfItem(HMENU menu, UINT item, UINT by) {
  wchar_t text[100] = L"";
  GetMenuStringW(menu, item, text, 100, by);
  return text;
}

std::wstring TextOfWindow(HWND window) {
  wchar_t text[100] = L"";
  GetWindowTextW(window, text, 100);
  return text;
}

constexpr wchar_t kPlainWindow[] = L"QuillbeakerTestWindow";

void RegisterPlainWindow() {
  WNDCLASSW plain{};
  plain.lpfnWndProc = DefWindowProcW;
  plain.hInstance = GetModuleHandleW(nullptr);
  plain.lpszClassName = kPlainWindow;
  RegisterClassW(&plain);
}

// A window and its children that need no screen.
class TestWindow {
 public:
  TestWindow() {
    RegisterPlainWindow();
    window_ = Make(L"Settings");
    cancel = MakeChild(L"Cancel", 2);
    nameless = MakeChild(L"No id", -1);
    other = MakeChild(L"Other", 77);
  }
  ~TestWindow() { DestroyWindow(window_); }
  TestWindow(const TestWindow&) = delete;
  TestWindow& operator=(const TestWindow&) = delete;

  HWND get() const { return window_; }

  HWND cancel = nullptr;
  HWND nameless = nullptr;
  HWND other = nullptr;

 private:
  static HWND Make(const wchar_t* text) {
    return CreateWindowExW(0, kPlainWindow, text, WS_POPUP, 0, 0, 10, 10, HWND_MESSAGE, nullptr,
                           GetModuleHandleW(nullptr), nullptr);
  }
  // Without a screen Wine makes no child, but takes one in.
  HWND MakeChild(const wchar_t* text, LONG_PTR id) {
    const HWND child = Make(text);
    SetWindowLongPtrW(child, GWL_STYLE, WS_CHILD);
    SetWindowLongPtrW(child, GWLP_ID, id);
    SetParent(child, window_);
    return child;
  }

  HWND window_ = nullptr;
};

TEST_F(Translation, ReplacesTheTextsOfAMenuAndNothingElseOfIt) {
  PutFile("a.Quillbeaker.language", 7);
  const std::string path = program().PathOf("a.Quillbeaker.language");
  const CLanguage& language = InitLanguage(&path);
  const HMENU bar = LoadMenuW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(MENU_TRAY));
  ASSERT_NE(bar, nullptr);
  const HMENU menu = GetSubMenu(bar, 0);
  CheckMenuItem(menu, COMMAND_EXIT, MF_CHECKED);
  EnableMenuItem(menu, COMMAND_EXIT, MF_GRAYED);
  const std::wstring untouched = TextOfItem(menu, COMMAND_RECYCLE_BIN, MF_BYCOMMAND);

  language.TranslateMenu(bar, MENU_TRAY);

  EXPECT_EQ(TextOfItem(bar, 0, MF_BYPOSITION), L"Symbol");
  EXPECT_EQ(TextOfItem(menu, COMMAND_EXIT, MF_BYCOMMAND), L"&Beenden\tStrg+Q");
  EXPECT_EQ(GetMenuState(menu, COMMAND_EXIT, MF_BYCOMMAND) & (MF_CHECKED | MF_GRAYED),
            static_cast<UINT>(MF_CHECKED | MF_GRAYED));
  EXPECT_EQ(TextOfItem(menu, COMMAND_RECYCLE_BIN, MF_BYCOMMAND), untouched);
  DestroyMenu(bar);
}

TEST_F(Translation, ReplacesTheTextsOfASubMenuAlone) {
  PutFile("a.Quillbeaker.language", 7);
  const std::string path = program().PathOf("a.Quillbeaker.language");
  const HMENU bar = LoadMenuW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(MENU_TRAY));
  InitLanguage(&path).TranslateMenu(GetSubMenu(bar, 0), MENU_TRAY);
  EXPECT_EQ(TextOfItem(bar, COMMAND_EXIT, MF_BYCOMMAND), L"&Beenden\tStrg+Q");
  DestroyMenu(bar);
}

TEST_F(Translation, ReplacesCaptionAndControlsOfAWindow) {
  PutFile("a.Quillbeaker.language", 7);
  const std::string path = program().PathOf("a.Quillbeaker.language");
  TestWindow window;
  ASSERT_NE(window.cancel, nullptr);
  ASSERT_EQ(GetDlgItem(window.get(), 2), window.cancel);

  InitLanguage(&path).TranslateWindow(window.get(), DIALOG_SENDER);
  EXPECT_EQ(TextOfWindow(window.get()), L"Settings");
  EXPECT_EQ(TextOfWindow(window.cancel), L"Cancel");

  CurrentLanguage().TranslateWindow(window.get(), DIALOG_SETTINGS);
  EXPECT_EQ(TextOfWindow(window.get()), L"\u0412\u043e\u043f\u0440\u043e\u0441");
  EXPECT_EQ(TextOfWindow(window.cancel), L"Abbrechen");
  EXPECT_EQ(TextOfWindow(window.nameless), L"No id");
  EXPECT_EQ(TextOfWindow(window.other), L"Other");
}

TEST_F(Translation, BuiltInEnglishChangesNothing) {
  TestWindow window;
  const CLanguage& english = InitLanguage(nullptr);
  english.TranslateWindow(window.get(), DIALOG_SETTINGS);
  EXPECT_EQ(TextOfWindow(window.get()), L"Settings");
  LanguageInformation information;
  information.name = "left over";
  EXPECT_FALSE(english.GetInformation(information));
  EXPECT_EQ(PrimaryLanguage(information.id), 9);
  EXPECT_EQ(information.file_name, "");
  EXPECT_EQ(information.name, "");
}

TEST_F(Translation, LoadsTextsOfTheStringTable) {
  PutFile("a.Quillbeaker.language", 7);
  const std::string path = program().PathOf("a.Quillbeaker.language");
  InitLanguage(&path);
  const HINSTANCE instance = GetModuleHandleW(nullptr);
  CTranslateString text(instance, 140);
  EXPECT_STREQ(text.c_str(), L"L\u00f6schen");
  EXPECT_STREQ(text.LoadStringA(instance, 140), "L\u00f6schen");
  EXPECT_STREQ(text.LoadStringA(instance, 163),
               "- %i messages deleted");  // its translation is no such format
  EXPECT_STREQ(text.LoadStringA(instance, 121), "");
  EXPECT_STREQ(text.c_str(), L"");
}

TEST_F(Translation, EveryTextOfTheTableIsInTheStringTable) {
  for (const TextRow& row : AllTexts()) {
    wchar_t text[1000] = L"";
    const int length = LoadStringW(GetModuleHandleW(nullptr), static_cast<UINT>(row.text), text, 1000);
    EXPECT_EQ(std::string(text, text + length), row.english) << static_cast<int>(row.text);
  }
}

TEST_F(Translation, TakesTheUsersLanguageWhileNoneIsChosenAndKeepsIt) {
  const LANGID user = GetUserDefaultLangID();
  LanguageInformation information;
  EXPECT_FALSE(InitChosenLanguage(program()).GetInformation(information));
  EXPECT_EQ(program().Read(keys::kLanguage), "");

  PutFile("b.Quillbeaker.language", user);
  PutFile("a.Quillbeaker.language", 0x41D);
  EXPECT_TRUE(InitChosenLanguage(program()).GetInformation(information));
  EXPECT_EQ(information.file_name, "b.Quillbeaker.language");
  EXPECT_EQ(information.id, user);
  EXPECT_EQ(program().Read(keys::kLanguage), "b.Quillbeaker.language");
  EXPECT_EQ(TextOf(Text::kDelete), "L\u00f6schen");

  PutFile("a.Quillbeaker.language", user);
  EXPECT_TRUE(InitChosenLanguage(program()).GetInformation(information));
  EXPECT_EQ(information.file_name, "b.Quillbeaker.language");
}

TEST_F(Translation, StaysEnglishAndTheSettingAsItIsWhenThereIsNoSuchFile) {
  PutFile("a.Quillbeaker.language", GetUserDefaultLangID());
  for (const char* value : {"DEFAULT", "none.Quillbeaker.language", "..\\a.Quillbeaker.language"}) {
    Set(value);
    LanguageInformation information;
    EXPECT_FALSE(InitChosenLanguage(program()).GetInformation(information)) << value;
    EXPECT_EQ(TextOf(Text::kDelete), "Delete") << value;
    EXPECT_EQ(program().Read(keys::kLanguage), value);
  }
}

}  // namespace
}  // namespace quillbeaker
