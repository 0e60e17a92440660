// SPDX-License-Identifier: MIT
// Every text of every shipped language, measured in the font of its dialog against the control that shows it.
// The templates are read as the system reads them, so no screen is needed.

#include <windows.h>

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "config/texts.h"
#include "extras/language_file.h"
#include "platform/files.h"
#include "platform/windows/wide.h"
#include "ui/handles.h"
#include "ui/resource.h"

namespace quillbeaker {
namespace {

constexpr WORD kButtonClass = 0x80;
constexpr WORD kStaticClass = 0x82;
// Pixels at 96 dpi.
constexpr int kButtonEdges = 8;
constexpr int kCheckMark = 18;

struct TemplateControl {
  int id = 0;
  DWORD style = 0;
  SIZE size{};  // dialog units
  WORD type = 0;
  std::wstring text;
};

struct DialogTemplate {
  int point_size = 0;
  std::wstring font;
  std::vector<TemplateControl> controls;
};

// Walks a DLGTEMPLATEEX, which is packed in 16-bit steps and its items aligned to 32 bits.
class TemplateReader {
 public:
  explicit TemplateReader(const BYTE* bytes) : bytes_(bytes) {}

  template <typename Value>
  Value Take() {
    Value value;
    std::memcpy(&value, bytes_ + at_, sizeof value);
    at_ += sizeof value;
    return value;
  }
  // A text, or a number in its place, which is given in `number`.
  std::wstring TakeName(WORD& number) {
    std::wstring text;
    WORD unit = Take<WORD>();
    number = unit == 0xFFFF ? Take<WORD>() : WORD{0};
    for (; number == 0 && unit != 0; unit = Take<WORD>()) {
      text += static_cast<wchar_t>(unit);
    }
    return text;
  }
  void Skip(std::size_t bytes) { at_ += bytes; }
  void Align() { at_ = (at_ + 3) & ~std::size_t{3}; }

 private:
  const BYTE* bytes_;
  std::size_t at_ = 0;
};

TemplateControl ReadControl(TemplateReader& reader) {
  TemplateControl control;
  reader.Align();
  reader.Skip(8);  // help id, extended style
  control.style = reader.Take<DWORD>();
  reader.Skip(4);  // position
  control.size.cx = reader.Take<WORD>();
  control.size.cy = reader.Take<WORD>();
  control.id = reader.Take<int>();
  WORD ignored = 0;
  reader.TakeName(control.type);
  control.text = reader.TakeName(ignored);
  reader.Skip(reader.Take<WORD>());  // creation data
  return control;
}

std::optional<DialogTemplate> LoadTemplate(int id) {
  const HRSRC found = FindResourceW(nullptr, MAKEINTRESOURCEW(id), reinterpret_cast<LPCWSTR>(RT_DIALOG));
  if (found == nullptr) {
    return std::nullopt;
  }
  TemplateReader reader(static_cast<const BYTE*>(LockResource(LoadResource(nullptr, found))));
  DialogTemplate dialog;
  reader.Skip(2 + 2 + 4 + 4);  // version, signature, help id, extended style
  const DWORD style = reader.Take<DWORD>();
  const WORD count = reader.Take<WORD>();
  reader.Skip(8);  // place and size
  WORD number = 0;
  reader.TakeName(number);  // menu
  reader.TakeName(number);  // class
  reader.TakeName(number);  // caption
  if ((style & DS_SETFONT) != 0) {
    dialog.point_size = reader.Take<WORD>();
    reader.Skip(4);  // weight, italic, character set
    dialog.font = reader.TakeName(number);
  }
  for (WORD i = 0; i < count; ++i) {
    dialog.controls.push_back(ReadControl(reader));
  }
  return dialog;
}

// Measures in a dialog's font.
class Measure {
 public:
  explicit Measure(const DialogTemplate& dialog)
      : font_(CreateFontW(-MulDiv(dialog.point_size, 96, 72), 0, 0, 0, FW_NORMAL, FALSE, FALSE, FALSE,
                          DEFAULT_CHARSET, 0, 0, 0, 0, dialog.font.c_str())),
        context_(CreateCompatibleDC(nullptr)) {
    SelectObject(context_.get(), font_.get());
    constexpr wchar_t kLetters[] = L"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    SIZE letters{};
    GetTextExtentPoint32W(context_.get(), kLetters, 52, &letters);
    base_ = {(letters.cx / 26 + 1) / 2, letters.cy};
  }

  SIZE Pixels(SIZE units) const { return {MulDiv(units.cx, base_.cx, 4), MulDiv(units.cy, base_.cy, 8)}; }
  // Of the text drawn as the control draws it, its words wrapped at `width` where that is not 0.
  SIZE Drawn(const std::wstring& text, int width, bool prefix) const {
    RECT box{0, 0, width, 0};
    DrawTextW(context_.get(), text.c_str(), -1, &box,
              DT_CALCRECT | DT_EXPANDTABS | static_cast<UINT>(width != 0 ? DT_WORDBREAK : 0) |
                  static_cast<UINT>(prefix ? 0 : DT_NOPREFIX));
    return {box.right, box.bottom};
  }
  int line_height() const { return base_.cy; }

 private:
  UniqueFont font_;
  UniqueDeviceContext context_;  // gone before the font that is selected into it
  SIZE base_{};
};

bool Fits(const Measure& measure, const TemplateControl& control, const std::wstring& text) {
  const SIZE room = measure.Pixels(control.size);
  if (control.type == kStaticClass) {
    const SIZE drawn = measure.Drawn(text, room.cx, (control.style & SS_NOPREFIX) == 0);
    return drawn.cx <= room.cx && drawn.cy <= room.cy;
  }
  if (control.type == kButtonClass) {
    const DWORD type = control.style & BS_TYPEMASK;
    const bool pushed = type == BS_PUSHBUTTON || type == BS_DEFPUSHBUTTON;
    return measure.Drawn(text, 0, true).cx + (pushed ? kButtonEdges : kCheckMark) <= room.cx;
  }
  return true;
}

// The built-in English first.
std::vector<Language> Languages() {
  std::vector<Language> languages(1);
  languages.front().information.file_name = "English";
  const std::string directory = QUILLBEAKER_LANGUAGE_DIRECTORY;
  for (const std::string& name : ListFiles(directory, ".Quillbeaker.language")) {
    languages.push_back(LoadLanguage(directory, name).value_or(Language()));
  }
  return languages;
}

std::wstring TextOfControl(const Language& language, int dialog, const TemplateControl& control) {
  if (dialog == DIALOG_TIMEOUT && control.id == TIMEOUT_TEXT) {
    return WideFromUtf8(TextOf(Text::kTimeoutQuestion));
  }
  if (dialog == DIALOG_TIMEOUT && control.id == TIMEOUT_SERVER) {
    return WideFromUtf8(
        Format(Text::kTimeoutServer, {"pop3.example.org:995", "ann.smith@example.org @ pop3.example.org"}));
  }
  const auto found = language.controls.find({dialog, control.id});
  return found != language.controls.end() ? WideFromUtf8(found->second) : control.text;
}

BOOL CALLBACK CollectDialog(HMODULE, LPCWSTR, LPWSTR name, LONG_PTR numbers) {
  if (IS_INTRESOURCE(name)) {
    reinterpret_cast<std::vector<int>*>(numbers)->push_back(
        static_cast<int>(reinterpret_cast<ULONG_PTR>(name)));
  }
  return TRUE;
}

TEST(TextFit, EveryTextFitsItsControl) {
  std::vector<int> dialogs;
  EnumResourceNamesW(nullptr, reinterpret_cast<LPCWSTR>(RT_DIALOG), CollectDialog,
                     reinterpret_cast<LONG_PTR>(&dialogs));
  ASSERT_GE(dialogs.size(), 4u);
  ASSERT_EQ(Languages().size(), 6u);
  int measured = 0;
  for (const Language& language : Languages()) {
    SetTranslatedTexts(language.texts);
    for (const int dialog : dialogs) {
      const auto made = LoadTemplate(dialog);
      ASSERT_TRUE(made.has_value());
      const Measure measure(*made);
      for (const TemplateControl& control : made->controls) {
        const std::wstring text = TextOfControl(language, dialog, control);
        // The optional box makes room for whatever its check box says.
        if (!text.empty() && !(dialog == DIALOG_OPTIONAL_BOX && control.id == OPTIONAL_DO_NOT_SHOW)) {
          EXPECT_TRUE(Fits(measure, control, text))
              << language.information.file_name << ": control " << control.id << " of dialog " << dialog
              << ": " << Utf8FromWide(text);
          ++measured;
        }
      }
    }
  }
  SetTranslatedTexts({});
  EXPECT_GE(measured, 6 * 8);
}

TEST(TextFit, TheBubbleShowsItsTextsWhole) {
  // As app/progress_bubble.cpp lays them out: three lines each, and one for the count.
  constexpr int kWidth = 219;
  constexpr int kHeight = 40;
  constexpr std::size_t kMost = 99;
  constexpr int kCountHeight = 16;
  const auto dialog = LoadTemplate(DIALOG_BUBBLE);
  ASSERT_TRUE(dialog.has_value());
  const Measure measure(*dialog);
  for (const Language& language : Languages()) {
    SetTranslatedTexts(language.texts);
    for (const std::string& text :
         {Format(Text::kConnectingTo, {"pop3.example.com"}),
          Format(Text::kReceivingMessage, {"1234", "12345", "1234"}),
          std::string(TextOf(Text::kClosingConnection)), std::string(TextOf(Text::kDeletingOldRecycled)),
          std::string(TextOf(Text::kDeletingOldTraining)), std::string(TextOf(Text::kFilterDisabled)),
          Format(Text::kMessageNotDelivered,
                 {"1234", "-ERR [SYS/TEMP] The mailbox is locked by another session, please try again later"})
              .substr(0, kMost)}) {
      EXPECT_LE(measure.Drawn(WideFromUtf8(text), kWidth, false).cy, kHeight)
          << language.information.file_name << ": " << text;
    }
    const SIZE count = measure.Drawn(WideFromUtf8(Format(Text::kSpamMessages, {"12345"})), kWidth, false);
    EXPECT_LE(count.cy, kCountHeight) << language.information.file_name;
  }
  SetTranslatedTexts({});
}

// What the measuring is worth: a text that is too large is found.
TEST(TextFit, FindsWhatDoesNotFit) {
  const auto dialog = LoadTemplate(DIALOG_TIMEOUT);
  ASSERT_TRUE(dialog.has_value());
  const Measure measure(*dialog);
  EXPECT_GT(measure.line_height(), 8);
  for (const TemplateControl& control : dialog->controls) {
    EXPECT_TRUE(Fits(measure, control, L"Short")) << control.id;
    EXPECT_FALSE(Fits(measure, control,
                      std::wstring(40, L'W') + L" " + std::wstring(40, L'W') + L" " + std::wstring(40, L'W')))
        << control.id;
  }
}

}  // namespace
}  // namespace quillbeaker
