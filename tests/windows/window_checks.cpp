// SPDX-License-Identifier: MIT
#include "window_checks.h"

#include <commctrl.h>
#include <oleacc.h>

#include <algorithm>
#include <cstdio>
#include <cwctype>
#include <map>

#include "ui/handles.h"
#include "ui/wide_text.h"

namespace quillbeaker::test {
namespace {

// oleacc's import library has something else under the name of this interface.
constexpr GUID kAccessible = {0x618736e0, 0x3c3d, 0x11cf, {0x81, 0x0c, 0x00, 0xaa, 0x00, 0x38, 0x9b, 0x71}};

std::wstring ClassOf(HWND window) {
  wchar_t name[64]{};
  GetClassNameW(window, name, 64);
  return name;
}

bool Is(HWND window, const wchar_t* name) {
  return lstrcmpiW(ClassOf(window).c_str(), name) == 0;
}

std::wstring TextOf(HWND window) {
  std::wstring text(2048, L'\0');
  text.resize(static_cast<std::size_t>(GetWindowTextW(window, text.data(), 2048)));
  return text;
}

std::string Describe(HWND control) {
  return "control " + std::to_string(GetDlgCtrlID(control)) + " (" + Utf8(ClassOf(control)) + ") " +
         Utf8(TextOf(control));
}

// The visible controls of a dialog and of the child dialogs in it, in the order of Tab; these themselves not.
void Collect(HWND dialog, std::vector<HWND>& controls) {
  for (HWND child = GetWindow(dialog, GW_CHILD); child != nullptr; child = GetWindow(child, GW_HWNDNEXT)) {
    if ((GetWindowLongPtrW(child, GWL_STYLE) & WS_VISIBLE) == 0) continue;
    if (Is(child, L"#32770")) {
      Collect(child, controls);
    } else {
      controls.push_back(child);
    }
  }
}

std::vector<HWND> ControlsOf(HWND window) {
  std::vector<HWND> controls;
  Collect(window, controls);
  return controls;
}

RECT PlaceOf(HWND window) {
  RECT place{};
  GetWindowRect(window, &place);
  return place;
}

LONG_PTR StyleOf(HWND window) {
  return GetWindowLongPtrW(window, GWL_STYLE);
}

SIZE Drawn(HWND control, const std::wstring& text, int width, UINT more) {
  const WindowContext context(control);
  const Selected font(context.get(), reinterpret_cast<HFONT>(SendMessageW(control, WM_GETFONT, 0, 0)));
  RECT box{0, 0, width, 0};
  DrawTextW(context.get(), text.c_str(), -1, &box,
            DT_CALCRECT | DT_EXPANDTABS | more | static_cast<UINT>(width != 0 ? DT_WORDBREAK : 0));
  return {box.right, box.bottom};
}

SIZE RoomOf(HWND control) {
  RECT client{};
  GetClientRect(control, &client);
  return {client.right, client.bottom};
}

int AtDpi(HWND control, int pixels) {
  return MulDiv(pixels, static_cast<int>(GetDpiForWindow(control)), 96);
}

bool TreeFits(HWND tree) {
  const SIZE room = RoomOf(tree);
  for (HTREEITEM item = TreeView_GetRoot(tree); item != nullptr; item = TreeView_GetNextVisible(tree, item)) {
    RECT place{};
    if (TreeView_GetItemRect(tree, item, &place, TRUE) && place.right > room.cx) return false;
  }
  return true;
}

bool ChoicesFit(HWND box) {
  const int room = static_cast<int>(RoomOf(box).cx) - AtDpi(box, 8) -
                   GetSystemMetricsForDpi(SM_CXVSCROLL, GetDpiForWindow(box));
  for (LRESULT i = 0; i < SendMessageW(box, CB_GETCOUNT, 0, 0); ++i) {
    wchar_t text[512]{};
    SendMessageW(box, CB_GETLBTEXT, static_cast<WPARAM>(i), reinterpret_cast<LPARAM>(text));
    if (Drawn(box, text, 0, DT_NOPREFIX).cx > room) return false;
  }
  return true;
}

bool TextFits(HWND control) {
  const SIZE room = RoomOf(control);
  const std::wstring text = TextOf(control);
  if (Is(control, WC_TREEVIEWW)) return TreeFits(control);
  if (Is(control, WC_COMBOBOXW)) return ChoicesFit(control);
  if (Is(control, WC_EDITW)) return Drawn(control, L"Ag", 0, 0).cy <= room.cy;
  if (text.empty()) return true;
  if (Is(control, WC_STATICW)) {
    UINT more = (StyleOf(control) & SS_NOPREFIX) != 0 ? DT_NOPREFIX : 0;
    if ((StyleOf(control) & SS_EDITCONTROL) != 0) more |= DT_EDITCONTROL;
    const SIZE drawn = Drawn(control, text, static_cast<int>(room.cx), more);
    return drawn.cx <= room.cx && drawn.cy <= room.cy;
  }
  if (Is(control, WC_BUTTONW)) {
    const LONG_PTR kind = StyleOf(control) & BS_TYPEMASK;
    const bool pushed = kind == BS_PUSHBUTTON || kind == BS_DEFPUSHBUTTON;
    const SIZE drawn = Drawn(control, text, 0, 0);
    return drawn.cx + AtDpi(control, pushed ? 8 : 18) <= room.cx && drawn.cy <= room.cy;
  }
  return true;
}

// Windows takes the name of a drop-down list from the text before it. Wine's oleacc only knows what is chosen
// in it.
bool HasLabel(HWND list) {
  const HWND before = GetWindow(list, GW_HWNDPREV);
  return before != nullptr && Is(before, WC_STATICW) && !TextOf(before).empty();
}

bool IsInside(const RECT& place, const RECT& outer) {
  return outer.left <= place.left && place.right <= outer.right && outer.top <= place.top &&
         place.bottom <= outer.bottom;
}

// The colour that most pixels have after everything was drawn anew.
COLORREF MainColourOf(HWND control) {
  RedrawWindow(control, nullptr, nullptr, RDW_INVALIDATE | RDW_ERASE | RDW_UPDATENOW | RDW_ALLCHILDREN);
  const SIZE room = RoomOf(control);
  const WindowContext seen(control);
  const UniqueDeviceContext memory(CreateCompatibleDC(seen.get()));
  BITMAPINFO info{};
  info.bmiHeader = {sizeof(BITMAPINFOHEADER), room.cx, room.cy, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
  void* bits = nullptr;
  const UniqueBitmap bitmap(CreateDIBSection(memory.get(), &info, DIB_RGB_COLORS, &bits, nullptr, 0));
  if (bitmap == nullptr) return CLR_INVALID;
  const Selected selected(memory.get(), bitmap.get());
  BitBlt(memory.get(), 0, 0, room.cx, room.cy, seen.get(), 0, 0, SRCCOPY);
  GdiFlush();
  std::map<DWORD, int> pixels;
  const auto* const first = static_cast<const DWORD*>(bits);
  for (LONG i = 0; i < room.cx * room.cy; ++i) ++pixels[first[i] & 0xFFFFFF];
  const auto most = std::max_element(pixels.begin(), pixels.end(),
                                     [](const auto& a, const auto& b) { return a.second < b.second; });
  if (most == pixels.end()) return CLR_INVALID;
  const DWORD colour = most->first;  // red first, where a COLORREF has it last
  return RGB(colour >> 16, colour >> 8 & 0xFF, colour & 0xFF);
}

// A frame lies around the controls of its group, below its title.
bool IsFrameAround(HWND frame, HWND control) {
  if (!Is(frame, WC_BUTTONW) || (StyleOf(frame) & BS_TYPEMASK) != BS_GROUPBOX) return false;
  RECT inner = PlaceOf(frame);
  inner.top += Drawn(frame, L"Ag", 0, 0).cy;
  return IsInside(PlaceOf(control), inner);
}

}  // namespace

Faults FaultsOfLayout(HWND window) {
  Faults faults;
  const std::vector<HWND> controls = ControlsOf(window);
  for (std::size_t i = 0; i < controls.size(); ++i) {
    const HWND parent = GetParent(controls[i]);
    RECT client{};
    GetClientRect(parent, &client);
    MapWindowPoints(parent, nullptr, reinterpret_cast<POINT*>(&client), 2);
    if (!IsInside(PlaceOf(controls[i]), client)) faults.push_back("outside: " + Describe(controls[i]));
    if (!TextFits(controls[i])) faults.push_back("clipped: " + Describe(controls[i]));
    for (std::size_t j = i + 1; j < controls.size(); ++j) {
      RECT both{};
      const RECT first = PlaceOf(controls[i]);
      const RECT second = PlaceOf(controls[j]);
      if (IsFrameAround(controls[i], controls[j])) continue;
      if (IntersectRect(&both, &first, &second)) {
        faults.push_back("one over the other: " + Describe(controls[i]) + " and " + Describe(controls[j]));
      }
    }
  }
  return faults;
}

Faults FaultsOfTabOrder(HWND window) {
  Faults faults;
  HWND former = nullptr;
  for (const HWND control : ControlsOf(window)) {
    if ((StyleOf(control) & WS_TABSTOP) == 0) continue;
    if (former != nullptr) {
      const RECT before = PlaceOf(former);
      const RECT now = PlaceOf(control);
      const bool is_further_right = now.left >= before.right;
      const bool is_further_down = now.top >= before.bottom;
      if (!is_further_right && !is_further_down) {
        faults.push_back("Tab goes back from " + Describe(former) + " to " + Describe(control));
      }
    }
    former = control;
  }
  return faults;
}

Faults FaultsOfMnemonics(HWND window) {
  Faults faults;
  std::map<wint_t, HWND> letters;
  for (const HWND control : ControlsOf(window)) {
    const bool shows_them =
        Is(control, WC_BUTTONW) || (Is(control, WC_STATICW) && (StyleOf(control) & SS_NOPREFIX) == 0);
    const std::wstring text = shows_them ? TextOf(control) : std::wstring();
    for (std::size_t i = 0; i + 1 < text.size(); ++i) {
      if (text[i] != L'&') continue;
      const wint_t letter = std::towlower(static_cast<wint_t>(text[++i]));
      if (letter != L'&' && !letters.emplace(letter, control).second) {
        faults.push_back("the letter of " + Describe(control) + " is that of " + Describe(letters[letter]));
      }
    }
  }
  return faults;
}

Faults FaultsOfNames(HWND window) {
  Faults faults;
  for (const HWND control : ControlsOf(window)) {
    if ((StyleOf(control) & WS_TABSTOP) == 0) continue;
    if (Is(control, WC_COMBOBOXW)) {
      if (!HasLabel(control)) faults.push_back("without a name: " + Describe(control));
      continue;
    }
    IAccessible* accessible = nullptr;
    BSTR name = nullptr;
    if (SUCCEEDED(AccessibleObjectFromWindow(control, static_cast<DWORD>(OBJID_CLIENT), kAccessible,
                                             reinterpret_cast<void**>(&accessible)))) {
      VARIANT self{};
      self.vt = VT_I4;
      self.lVal = CHILDID_SELF;
      accessible->get_accName(self, &name);
      accessible->Release();
    }
    if (SysStringLen(name) == 0) faults.push_back("without a name: " + Describe(control));
    SysFreeString(name);
  }
  return faults;
}

Faults FaultsOfColours(HWND window) {
  Faults faults;
  for (const HWND control : ControlsOf(window)) {
    const LONG_PTR kind = StyleOf(control) & SS_TYPEMASK;
    // What is drawn by the program has colours of its own.
    const bool is_text =
        Is(control, WC_STATICW) && kind != SS_ICON && kind != SS_BITMAP && kind != SS_OWNERDRAW;
    const bool is_field = Is(control, WC_EDITW) || Is(control, WC_LISTVIEWW) || Is(control, WC_TREEVIEWW);
    if (!is_text && !is_field) continue;
    const bool is_on_face = is_text || !IsWindowEnabled(control) ||
                            (Is(control, WC_EDITW) && (StyleOf(control) & ES_READONLY) != 0);
    const COLORREF wanted = GetSysColor(is_on_face ? COLOR_BTNFACE : COLOR_WINDOW);
    const COLORREF shown = MainColourOf(control);
    if (shown != wanted) {
      char colours[48]{};
      std::snprintf(colours, sizeof colours, "%06lX in place of %06lX: ", shown, wanted);
      faults.push_back(colours + Describe(control));
    }
  }
  return faults;
}

bool SavePicture(HWND window, const std::wstring& path) {
  const RECT place = PlaceOf(window);
  const int width = place.right - place.left;
  const int height = place.bottom - place.top;
  const WindowContext screen(nullptr);
  const UniqueDeviceContext memory(CreateCompatibleDC(screen.get()));
  BITMAPINFO info{};
  info.bmiHeader = {sizeof(BITMAPINFOHEADER), width, height, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
  void* bits = nullptr;
  const UniqueBitmap bitmap(CreateDIBSection(memory.get(), &info, DIB_RGB_COLORS, &bits, nullptr, 0));
  if (bitmap == nullptr) return false;
  {
    const Selected selected(memory.get(), bitmap.get());
    BitBlt(memory.get(), 0, 0, width, height, screen.get(), place.left, place.top, SRCCOPY);
    GdiFlush();
  }
  std::FILE* const file = _wfopen(path.c_str(), L"wb");
  if (file == nullptr) return false;
  const auto size = static_cast<DWORD>(width * height * 4);
  BITMAPFILEHEADER header{0x4D42, 0, 0, 0, sizeof(BITMAPFILEHEADER) + sizeof(BITMAPINFOHEADER)};
  header.bfSize = header.bfOffBits + size;
  bool written = std::fwrite(&header, sizeof header, 1, file) == 1;
  written = std::fwrite(&info.bmiHeader, sizeof info.bmiHeader, 1, file) == 1 && written;
  written = std::fwrite(bits, size, 1, file) == 1 && written;
  return std::fclose(file) == 0 && written;
}

}  // namespace quillbeaker::test
