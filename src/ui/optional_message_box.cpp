// SPDX-License-Identifier: MIT
#include "ui/optional_message_box.h"

#include <commctrl.h>

#include <algorithm>

#include "ui/dialog.h"
#include "ui/fade_in.h"
#include "ui/handles.h"
#include "ui/message_box.h"
#include "ui/presenter/optional_box.h"
#include "ui/resource.h"
#include "ui/wide_text.h"

namespace quillbeaker {
namespace {

// Logical pixels at 96 dpi.
constexpr int kMargin = 12;
constexpr int kHalfGap = 4;
constexpr int kCheckBoxMark = 20;  // the box itself and the gap to its text

BoxButtons ButtonsOf(UINT style) {
  switch (style & MB_TYPEMASK) {
    case MB_YESNO:
      return BoxButtons::kYesNo;
    case MB_OKCANCEL:
      return BoxButtons::kOkCancel;
    default:
      return BoxButtons::kOk;
  }
}

// The information bit is asked first: it holds for the question and exclamation bits of no other icon.
LPCWSTR IconOf(UINT style) {
  if ((style & MB_ICONASTERISK) == MB_ICONASTERISK) return IDI_ASTERISK;
  if ((style & MB_ICONEXCLAMATION) == MB_ICONEXCLAMATION) return IDI_EXCLAMATION;
  if ((style & MB_ICONQUESTION) == MB_ICONQUESTION) return IDI_QUESTION;
  if ((style & MB_ICONHAND) == MB_ICONHAND) return IDI_HAND;
  return nullptr;
}

SIZE SizeOfText(HDC context, std::wstring_view text) {
  RECT box{};
  DrawTextW(context, text.data(), static_cast<int>(text.size()), &box,
            DT_CALCRECT | DT_NOPREFIX | DT_EXPANDTABS);
  return {box.right, box.bottom};
}

class OptionalMessageBox : public Dialog {
 public:
  OptionalMessageBox(Program& program, const std::wstring& text, UINT style, std::string_view key,
                     int suppressed_answer)
      : Dialog(DIALOG_OPTIONAL_BOX),
        program_(program),
        text_(text),
        style_(style),
        key_(key),
        suppressed_answer_(suppressed_answer) {}

  bool was_made() const { return was_made_; }

 private:
  bool OnInit() override {
    was_made_ = true;
    SetWindowTextW(window(), WideText(Text::kTitle).c_str());
    const HICON icon = IconOf(style_) == nullptr ? nullptr : LoadIconW(nullptr, IconOf(style_));
    SendDlgItemMessageW(window(), OPTIONAL_ICON, STM_SETICON, reinterpret_cast<WPARAM>(icon), 0);
    Arrange(icon != nullptr);
    SetFocus(Control(suppressed_answer_));
    SendMessageW(window(), DM_SETDEFID, static_cast<WPARAM>(suppressed_answer_), 0);
    MessageBeep(style_ & MB_ICONMASK);
    FadeIn(window(), program_);
    return false;  // the focus is set
  }

  bool OnCommand(int id, int notification) override {
    if (notification != BN_CLICKED) {
      return false;
    }
    switch (id) {
      case IDCANCEL:
        // Esc means the button that is there for it: Cancel, or like the close box with OK alone. A question
        // with Yes and No has none.
        if (ButtonsOf(style_) == BoxButtons::kYesNo) return true;
        if (ButtonsOf(style_) == BoxButtons::kOk) {
          OnClose();
          return true;
        }
        [[fallthrough]];
      case IDOK:
      case IDYES:
      case IDNO:
        if (!KeepSilence(program_, key_, IsDlgButtonChecked(window(), OPTIONAL_DO_NOT_SHOW) == BST_CHECKED)) {
          ShowNotSaved(window(), program_);
        }
        End(id);
        return true;
      default:
        return false;
    }
  }

  void OnClose() override { End(suppressed_answer_); }

  int Scaled(int logical) const { return MulDiv(logical, static_cast<int>(GetDpiForWindow(window())), 96); }

  OptionalBoxSizes Measure(bool has_icon) {
    const WindowContext context(window());
    const Selected font(context.get(), reinterpret_cast<HFONT>(SendMessageW(window(), WM_GETFONT, 0, 0)));
    const int widest = GetSystemMetrics(SM_CXSCREEN) / 2;
    text_ = WrapLines(text_, widest, [&context](std::wstring_view line) {
      SIZE size{};
      GetTextExtentPoint32W(context.get(), line.data(), static_cast<int>(line.size()), &size);
      return static_cast<int>(size.cx);
    });
    wchar_t check_text[256];
    GetDlgItemTextW(window(), OPTIONAL_DO_NOT_SHOW, check_text, 256);
    const SIZE text = SizeOfText(context.get(), text_);
    const SIZE check = SizeOfText(context.get(), check_text);
    RECT button{};
    GetWindowRect(Control(IDOK), &button);
    return {.text_width = static_cast<int>(text.cx),
            .text_height = static_cast<int>(text.cy),
            .icon = has_icon ? GetSystemMetrics(SM_CXICON) : 0,
            .check_width = static_cast<int>(check.cx) + Scaled(kCheckBoxMark),
            .check_height = static_cast<int>(check.cy) + Scaled(2),
            .button_width = button.right - button.left,
            .button_height = button.bottom - button.top,
            .margin = Scaled(kMargin),
            .half_gap = kHalfGap};
  }

  void Place(int id, const Box& box) {
    SetWindowPos(Control(id), nullptr, box.left, box.top, box.width, box.height,
                 SWP_NOZORDER | SWP_NOACTIVATE | SWP_SHOWWINDOW);
  }

  void Arrange(bool has_icon) {
    const BoxButtons buttons = ButtonsOf(style_);
    const OptionalBoxLayout layout = LayOut(Measure(has_icon), buttons);
    SetDlgItemTextW(window(), OPTIONAL_TEXT, text_.c_str());
    Place(OPTIONAL_TEXT, layout.text);
    Place(OPTIONAL_DO_NOT_SHOW, layout.check);
    if (has_icon) {
      Place(OPTIONAL_ICON, layout.icon);
    }
    Place(buttons == BoxButtons::kYesNo ? IDYES : IDOK, layout.first_button);
    if (buttons != BoxButtons::kOk) {
      Place(buttons == BoxButtons::kYesNo ? IDNO : IDCANCEL, layout.second_button);
    }
    CentreOnScreen(layout.client);
  }

  void CentreOnScreen(const Box& client) {
    RECT frame{0, 0, client.width, client.height};
    AdjustWindowRectExForDpi(&frame, static_cast<DWORD>(GetWindowLongPtrW(window(), GWL_STYLE)), FALSE,
                             static_cast<DWORD>(GetWindowLongPtrW(window(), GWL_EXSTYLE)),
                             GetDpiForWindow(window()));
    const int width = frame.right - frame.left;
    const int height = frame.bottom - frame.top;
    SetWindowPos(window(), nullptr, std::max(0, (GetSystemMetrics(SM_CXSCREEN) - width) / 2),
                 std::max(0, (GetSystemMetrics(SM_CYSCREEN) - height) / 2), width, height,
                 SWP_NOZORDER | SWP_NOACTIVATE);
  }

  Program& program_;
  std::wstring text_;
  const UINT style_;
  const std::string_view key_;
  const int suppressed_answer_;
  bool was_made_ = false;
};

}  // namespace

int ShowOptionalBox(Program& program, HWND owner, const std::wstring& text, UINT style, std::string_view key,
                    int suppressed_answer) {
  if (IsSilenced(program, key)) {
    return suppressed_answer;
  }
  OptionalMessageBox box(program, text, style, key, suppressed_answer);
  const INT_PTR answer = box.RunModal(owner);
  if (box.was_made()) {
    return static_cast<int>(std::max<INT_PTR>(answer, 0));
  }
  // Nobody was asked: then the system's own box asks.
  return ShowMessageBox(owner, text, style);
}

int ShowOptionalBox(Program& program, HWND owner, Text text, UINT style, std::string_view key,
                    int suppressed_answer) {
  return ShowOptionalBox(program, owner, WideText(text), style, key, suppressed_answer);
}

}  // namespace quillbeaker
