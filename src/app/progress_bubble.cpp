// SPDX-License-Identifier: MIT
#include "app/progress_bubble.h"

#include <commctrl.h>

#include <algorithm>
#include <utility>

#include "ui/high_contrast.h"
#include "ui/presenter/trouble_notices.h"
#include "ui/presenter/unbroken_text.h"
#include "ui/resource.h"
#include "ui/wide_text.h"

namespace quillbeaker {
namespace {

// Logical pixels at 96 dpi, as all sizes here.
constexpr int kWidth = 251;
constexpr int kHeight = 201;
constexpr int kCorner = 15;  // width and height of the ellipse of a rounded corner
// Deliberate: the window is one pixel larger than its distance from the corner of the work area.
constexpr int kFromRight = 250;
constexpr int kFromBottom = 200;
constexpr int kTitleHeight = 34;
constexpr int kMargin = 16;
constexpr int kTextPoints = 8;  // as in the template, whose font stays that of the resolution it was made at

constexpr std::size_t kMaxStatus = 99;  // characters
constexpr int kBarSteps = 1000;
struct Colours {
  COLORREF title;
  COLORREF title_text;
  COLORREF frame;
};
constexpr Colours kOwnColours{RGB(0x1F, 0x4E, 0x79), RGB(255, 255, 255), RGB(0x8A, 0xA5, 0xC4)};

Colours SystemColours() {
  return {GetSysColor(COLOR_HIGHLIGHT), GetSysColor(COLOR_HIGHLIGHTTEXT), GetSysColor(COLOR_WINDOWTEXT)};
}

UniqueFont MakeFont(int height, int weight, const wchar_t* face) {
  return UniqueFont(CreateFontW(-height, 0, 0, 0, weight, FALSE, FALSE, FALSE, DEFAULT_CHARSET,
                                OUT_DEFAULT_PRECIS, CLIP_DEFAULT_PRECIS, CLEARTYPE_QUALITY, DEFAULT_PITCH,
                                face));
}

}  // namespace

ProgressBubble::ProgressBubble(HWND main_window, std::atomic<bool>& cancelled)
    : Dialog(DIALOG_BUBBLE), main_window_(main_window), cancelled_(cancelled) {}

void ProgressBubble::Show() {
  const HWND foreground = GetForegroundWindow();
  if (window() == nullptr && !CreateModeless(main_window_)) {
    return;
  }
  high_contrast_ = HighContrastIsOn();
  Arrange();
  Refresh();
  UpdateWindow(window());
  // Making a window may have taken the foreground from whoever is typing there. When a person has just gone
  // to a third window it is left to that one.
  if (foreground != nullptr && GetForegroundWindow() == window()) {
    SetForegroundWindow(foreground);
  }
}

bool ProgressBubble::OnInit() {
  SetWindowTextW(window(), WideText(Text::kTitle).c_str());
  SendDlgItemMessageW(window(), BUBBLE_BAR, PBM_SETRANGE32, 0, kBarSteps);
  if (cancelled_) {
    EnableWindow(Control(BUBBLE_CANCEL), FALSE);
  }
  return false;  // the focus stays where it is
}

void ProgressBubble::Arrange() {
  const int dpi = static_cast<int>(GetDpiForWindow(window()));
  const auto scaled = [dpi](int logical) { return MulDiv(logical, dpi, 96); };
  RECT work{};
  SystemParametersInfoW(SPI_GETWORKAREA, 0, &work, 0);
  SetWindowRgn(window(),
               CreateRoundRectRgn(0, 0, scaled(kWidth), scaled(kHeight), scaled(kCorner), scaled(kCorner)),
               FALSE);
  title_font_ = MakeFont(scaled(15), FW_SEMIBOLD, L"Segoe UI");
  // The controls keep their former font until they are told of the new one.
  const UniqueFont former_font =
      std::exchange(text_font_, MakeFont(MulDiv(kTextPoints, dpi, 72), FW_NORMAL, L"MS Shell Dlg 2"));
  for (const int id : {BUBBLE_STATUS, BUBBLE_ACTIVITY, BUBBLE_SPAM_COUNT, BUBBLE_CANCEL}) {
    SendDlgItemMessageW(window(), id, WM_SETFONT, reinterpret_cast<WPARAM>(text_font_.get()), FALSE);
  }

  const auto place = [&](int id, int top, int height) {
    SetWindowPos(Control(id), nullptr, scaled(kMargin), scaled(top), scaled(kWidth - 2 * kMargin),
                 scaled(height), SWP_NOZORDER | SWP_NOACTIVATE);
  };
  // Three lines for either text: as much as is kept of it.
  place(BUBBLE_STATUS, kTitleHeight + 4, 40);
  place(BUBBLE_ACTIVITY, kTitleHeight + 46, 40);
  place(BUBBLE_BAR, kTitleHeight + 89, 13);
  place(BUBBLE_SPAM_COUNT, kTitleHeight + 105, 16);
  constexpr int kButtonWidth = 96;
  SetWindowPos(Control(BUBBLE_CANCEL), nullptr, scaled((kWidth - kButtonWidth) / 2), scaled(kHeight - 42),
               scaled(kButtonWidth), scaled(28), SWP_NOZORDER | SWP_NOACTIVATE);
  SetWindowPos(window(), HWND_TOPMOST, work.right - scaled(kFromRight), work.bottom - scaled(kFromBottom),
               scaled(kWidth), scaled(kHeight), SWP_NOACTIVATE | SWP_SHOWWINDOW);
}

void ProgressBubble::Refresh() {
  ShowPosition();
  SetStatus(status_);
  SetActivity(activity_);
  SetSpamCount(spam_count_);
}

bool ProgressBubble::OnCommand(int id, int notification) {
  if (id == IDCANCEL || ((id == BUBBLE_STATUS || id == BUBBLE_ACTIVITY || id == BUBBLE_SPAM_COUNT) &&
                         notification == STN_CLICKED)) {
    ShowWindow(window(), SW_HIDE);
    return true;
  }
  if (id == BUBBLE_CANCEL && notification == BN_CLICKED) {
    cancelled_ = true;
    const bool had_focus = GetFocus() == Control(BUBBLE_CANCEL);
    EnableWindow(Control(BUBBLE_CANCEL), FALSE);
    if (had_focus) {
      SetFocus(window());  // a disabled button would swallow Esc
    }
    return true;
  }
  return false;
}

bool ProgressBubble::OnMessage(UINT message, WPARAM wparam, LPARAM lparam, LRESULT& result) {
  switch (message) {
    case WM_LBUTTONUP:
      ShowWindow(window(), SW_HIDE);
      return true;
    case WM_ERASEBKGND:
      result = TRUE;  // Paint fills it all
      return true;
    case WM_PAINT: {
      PAINTSTRUCT paint{};
      Paint(BeginPaint(window(), &paint));
      EndPaint(window(), &paint);
      return true;
    }
    case WM_PRINTCLIENT: {
      // A themed control asks for what is behind its rounded corners.
      const HDC of_control = reinterpret_cast<HDC>(wparam);
      const int state = SaveDC(of_control);
      Paint(of_control);
      RestoreDC(of_control, state);
      return true;
    }
    case WM_DRAWITEM:
      DrawStatus(*reinterpret_cast<const DRAWITEMSTRUCT*>(lparam));
      result = TRUE;
      return true;
    case WM_CTLCOLORSTATIC:
    case WM_CTLCOLORDLG:
    case WM_CTLCOLORBTN:
      SetBkMode(reinterpret_cast<HDC>(wparam), OPAQUE);
      SetBkColor(reinterpret_cast<HDC>(wparam), GetSysColor(COLOR_WINDOW));
      SetTextColor(reinterpret_cast<HDC>(wparam), GetSysColor(COLOR_WINDOWTEXT));
      result = reinterpret_cast<LRESULT>(GetSysColorBrush(COLOR_WINDOW));
      return true;
    case WM_SETFOCUS:
      // The dialog would hand the focus on to the button.
      return !IsWindowEnabled(Control(BUBBLE_CANCEL));
    case WM_MOUSEACTIVATE:
      // A click that only hides the bubble leaves the keyboard where it is; one on the button brings it here.
      result = MA_NOACTIVATE;
      return !IsOverCancelButton();
    default:
      return false;
  }
}

bool ProgressBubble::IsOverCancelButton() const {
  const DWORD place = GetMessagePos();
  return WindowFromPoint({static_cast<short>(LOWORD(place)), static_cast<short>(HIWORD(place))}) ==
         Control(BUBBLE_CANCEL);
}

void ProgressBubble::UseHighContrast(bool high_contrast) {
  high_contrast_ = high_contrast;
  if (window() != nullptr) InvalidateRect(window(), nullptr, TRUE);
}

void ProgressBubble::Paint(HDC context) {
  const Colours colours = high_contrast_ ? SystemColours() : kOwnColours;
  RECT area{};
  GetClientRect(window(), &area);
  FillRect(context, &area, GetSysColorBrush(COLOR_WINDOW));
  const int dpi = static_cast<int>(GetDpiForWindow(window()));
  const auto scaled = [dpi](int logical) { return MulDiv(logical, dpi, 96); };

  RECT title = area;
  title.bottom = scaled(kTitleHeight);
  const UniqueBrush title_brush(CreateSolidBrush(colours.title));
  FillRect(context, &title, title_brush.get());
  const int icon_size = scaled(16);
  const UniqueIcon icon(static_cast<HICON>(LoadImageW(
      GetModuleHandleW(nullptr), MAKEINTRESOURCEW(ICON_PROGRAM), IMAGE_ICON, icon_size, icon_size, 0)));
  DrawIconEx(context, scaled(kMargin), (title.bottom - icon_size) / 2, icon.get(), icon_size, icon_size, 0,
             nullptr, DI_NORMAL);
  title.left = scaled(kMargin) + icon_size + scaled(8);
  const Selected font(context, title_font_.get());
  SetBkMode(context, TRANSPARENT);
  SetTextColor(context, colours.title_text);
  DrawTextW(context, WideText(Text::kTitle).c_str(), -1, &title, DT_SINGLELINE | DT_VCENTER | DT_NOPREFIX);

  const UniqueBrush frame(CreateSolidBrush(colours.frame));
  const UniqueHandle<HRGN, DeleteObject> outline(
      CreateRoundRectRgn(0, 0, scaled(kWidth), scaled(kHeight), scaled(kCorner), scaled(kCorner)));
  FrameRgn(context, outline.get(), frame.get(), 1, 1);
}

// Drawn here and not by the control, which would break a line within "-ERR". Its text stays as it is for
// whoever reads it aloud.
void ProgressBubble::DrawStatus(const DRAWITEMSTRUCT& item) {
  const std::wstring text = Unbroken(item.CtlID == BUBBLE_STATUS ? status_ : activity_);
  FillRect(item.hDC, &item.rcItem, GetSysColorBrush(COLOR_WINDOW));
  const Selected font(item.hDC, text_font_.get());
  SetBkMode(item.hDC, TRANSPARENT);
  SetTextColor(item.hDC, GetSysColor(COLOR_WINDOWTEXT));
  RECT place = item.rcItem;
  // DT_EDITCONTROL breaks the name of a server that is longer than a line.
  DrawTextW(item.hDC, text.c_str(), -1, &place, DT_WORDBREAK | DT_EDITCONTROL | DT_NOPREFIX);
}

void ProgressBubble::SetRange(std::uint64_t range) {
  range_ = range;
  position_ = 0;
  ShowPosition();
}

void ProgressBubble::SetPosition(std::uint64_t position) {
  position_ = position;
  ShowPosition();
}

void ProgressBubble::Advance(std::uint64_t amount) {
  SetPosition(position_ + amount);
}

void ProgressBubble::ShowPosition() {
  if (window() != nullptr) {
    // Sizes that a server lists may be as large as they like: no product of two of them.
    const double share =
        range_ == 0 ? 0 : static_cast<double>(std::min(position_, range_)) / static_cast<double>(range_);
    SendDlgItemMessageW(window(), BUBBLE_BAR, PBM_SETPOS, static_cast<WPARAM>(share * kBarSteps), 0);
  }
}

void ProgressBubble::SetStatus(std::wstring_view text) {
  status_ = FitNotice(std::wstring(text), kMaxStatus);
  if (window() != nullptr) {
    SetDlgItemTextW(window(), BUBBLE_STATUS, status_.c_str());
  }
}

void ProgressBubble::ClearStatus(std::wstring_view text) {
  if (status_ == text) {
    SetStatus({});
  }
}

void ProgressBubble::SetActivity(std::wstring_view text) {
  activity_ = FitNotice(std::wstring(text), kMaxStatus);
  if (window() != nullptr) {
    SetDlgItemTextW(window(), BUBBLE_ACTIVITY, activity_.c_str());
  }
}

void ProgressBubble::SetSpamCount(std::uint32_t count) {
  spam_count_ = count;
  if (window() != nullptr) {
    const std::wstring text = count == 0 ? L"" : WideFormat(Text::kSpamMessages, {std::to_string(count)});
    SetDlgItemTextW(window(), BUBBLE_SPAM_COUNT, text.c_str());
  }
}

}  // namespace quillbeaker
