// SPDX-License-Identifier: MIT
#include "ui/dialog_template.h"

#include <commctrl.h>

#include <cstring>
#include <string>

#include "ui/wide_text.h"

namespace quillbeaker {
namespace {

constexpr wchar_t kSegoeUi[] = L"Segoe UI";
// Of a DLGTEMPLATEEX, in bytes.
constexpr std::size_t kStyleAt = 12;
constexpr std::size_t kMenuAt = 26;

bool HasFont(const wchar_t* face) {
  LOGFONTW wanted{};
  wanted.lfCharSet = DEFAULT_CHARSET;
  lstrcpynW(wanted.lfFaceName, face, LF_FACESIZE);
  bool found = false;
  const WindowContext screen(nullptr);
  EnumFontFamiliesExW(
      screen.get(), &wanted,
      [](const LOGFONTW*, const TEXTMETRICW*, DWORD, LPARAM result) -> int {
        *reinterpret_cast<bool*>(result) = true;
        return 0;
      },
      reinterpret_cast<LPARAM>(&found), 0);
  return found;
}

DialogFont& CurrentFont() {
  static DialogFont font = ChooseDialogFont(HasFont(kSegoeUi));
  return font;
}

WORD UnitAt(const BYTE* bytes, std::size_t at) {
  WORD unit = 0;
  std::memcpy(&unit, bytes + at, sizeof unit);
  return unit;
}

// Behind a text that ends in 0, or a number that stands for one.
std::size_t BehindName(const BYTE* bytes, std::size_t at) {
  if (UnitAt(bytes, at) == 0xFFFF) return at + 4;
  while (UnitAt(bytes, at) != 0) at += 2;
  return at + 2;
}

std::size_t Aligned(std::size_t at) {
  return (at + 3) & ~std::size_t{3};
}

bool IsOfClass(HWND window, const wchar_t* name) {
  wchar_t own[64]{};
  GetClassNameW(window, own, 64);
  return lstrcmpiW(own, name) == 0;
}

void RescaleColumns(HWND list, int from_dpi, int to_dpi) {
  const int columns = Header_GetItemCount(ListView_GetHeader(list));
  for (int i = 0; i < columns; ++i) {
    ListView_SetColumnWidth(list, i, MulDiv(ListView_GetColumnWidth(list, i), to_dpi, from_dpi));
  }
}

}  // namespace

DialogTemplate::DialogTemplate(int id, const DialogFont& font) {
  const HRSRC found = FindResourceW(nullptr, MAKEINTRESOURCEW(id), reinterpret_cast<LPCWSTR>(RT_DIALOG));
  if (found == nullptr) return;
  const auto* const bytes = static_cast<const BYTE*>(LockResource(LoadResource(nullptr, found)));
  const std::size_t size = SizeofResource(nullptr, found);
  DWORD style = 0;
  std::memcpy(&style, bytes + kStyleAt, sizeof style);
  if ((style & DS_SETFONT) == 0) return;
  // Menu, class and caption stand before the font: its size, weight, italics and character set, its name.
  const std::size_t points_at = BehindName(bytes, BehindName(bytes, BehindName(bytes, kMenuAt)));
  const std::size_t face_at = points_at + 6;
  const std::size_t controls_at = Aligned(BehindName(bytes, face_at));
  const std::wstring face = Wide(font.face);
  const std::size_t face_size = (face.size() + 1) * sizeof(wchar_t);
  const std::size_t controls_to = Aligned(face_at + face_size);
  words_.resize((controls_to + size - controls_at + 3) / 4);
  auto* const made = reinterpret_cast<BYTE*>(words_.data());
  std::memcpy(made, bytes, face_at);
  const auto points = static_cast<WORD>(font.points);
  std::memcpy(made + points_at, &points, sizeof points);
  std::memcpy(made + face_at, face.c_str(), face_size);
  std::memcpy(made + controls_to, bytes + controls_at, size - controls_at);
}

const DLGTEMPLATE* DialogTemplate::get() const {
  return words_.empty() ? nullptr : reinterpret_cast<const DLGTEMPLATE*>(words_.data());
}

const DialogFont& SystemDialogFont() {
  return CurrentFont();
}

void UseDialogFont(const DialogFont& font) {
  CurrentFont() = font;
}

UniqueFont MakeDialogFont(const DialogFont& font, int dpi) {
  return UniqueFont(CreateFontW(-MulDiv(font.points, dpi, 72), 0, 0, 0, FW_NORMAL, FALSE, FALSE, FALSE,
                                DEFAULT_CHARSET, OUT_DEFAULT_PRECIS, CLIP_DEFAULT_PRECIS, DEFAULT_QUALITY,
                                DEFAULT_PITCH, Wide(font.face).c_str()));
}

LONG HeightToSet(HWND control, const RECT& place) {
  RECT open{};
  if (!IsOfClass(control, WC_COMBOBOXW) ||
      SendMessageW(control, CB_GETDROPPEDCONTROLRECT, 0, reinterpret_cast<LPARAM>(&open)) == 0) {
    return place.bottom - place.top;
  }
  return open.bottom - open.top;
}

void RescaleControls(HWND dialog, HFONT font, int from_dpi, int to_dpi) {
  const auto scaled = [&](LONG length) { return MulDiv(length, to_dpi, from_dpi); };
  for (HWND child = GetWindow(dialog, GW_CHILD); child != nullptr; child = GetWindow(child, GW_HWNDNEXT)) {
    RECT place{};
    GetWindowRect(child, &place);
    const int height = scaled(HeightToSet(child, place));
    MapWindowPoints(nullptr, dialog, reinterpret_cast<POINT*>(&place), 2);
    SetWindowPos(child, nullptr, scaled(place.left), scaled(place.top), scaled(place.right - place.left),
                 height, SWP_NOZORDER | SWP_NOACTIVATE);
    SendMessageW(child, WM_SETFONT, reinterpret_cast<WPARAM>(font), TRUE);
    if (IsOfClass(child, L"#32770")) RescaleControls(child, font, from_dpi, to_dpi);
    if (IsOfClass(child, WC_LISTVIEWW)) RescaleColumns(child, from_dpi, to_dpi);
  }
}

}  // namespace quillbeaker
