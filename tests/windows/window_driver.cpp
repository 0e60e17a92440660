// SPDX-License-Identifier: MIT
//
// window_driver.exe PORT: the eyes and hands of the tests among the windows of other programs. It connects to
// PORT on loopback and answers one line of JSON with one line of JSON until the connection ends. Every
// request names what to "do"; the table at the end of the file lists the possibilities. Nothing waits here:
// the one who asks polls.
#include <winsock2.h>
#include <windows.h>

#include <commctrl.h>
#include <nlohmann/json.hpp>
#include <tlhelp32.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "menu_reader.h"

namespace {

using nlohmann::json;

std::string Utf8(const std::wstring& text) {
  std::string utf8(text.size() * 3, '\0');
  utf8.resize(static_cast<std::size_t>(WideCharToMultiByte(CP_UTF8, 0, text.data(),
                                                           static_cast<int>(text.size()), utf8.data(),
                                                           static_cast<int>(utf8.size()), nullptr, nullptr)));
  return utf8;
}

std::wstring Wide(const std::string& utf8) {
  std::wstring text(utf8.size(), L'\0');
  text.resize(static_cast<std::size_t>(MultiByteToWideChar(
      CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), text.data(), static_cast<int>(text.size()))));
  return text;
}

json Number(const void* handle) {
  return reinterpret_cast<std::uintptr_t>(handle);
}

HWND WindowOf(const json& request, const char* name = "window") {
  return reinterpret_cast<HWND>(request.at(name).get<std::uintptr_t>());
}

json Place(const RECT& area) {
  return {{"left", area.left}, {"top", area.top}, {"right", area.right}, {"bottom", area.bottom}};
}

// A program that hangs must not take the driver with it.
LRESULT Send(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
  constexpr UINT kLimit = 3000;  // milliseconds
  DWORD_PTR result = 0;
  SendMessageTimeoutW(window, message, wparam, lparam, SMTO_ABORTIFHUNG, kLimit, &result);
  return static_cast<LRESULT>(result);
}

std::string TextOfWindow(HWND window) {
  std::wstring text(4096, L'\0');
  const LRESULT length = Send(window, WM_GETTEXT, text.size(), reinterpret_cast<LPARAM>(text.data()));
  text.resize(static_cast<std::size_t>(length));
  return Utf8(text);
}

std::string ClassOf(HWND window) {
  wchar_t name[256];
  return Utf8(std::wstring(name, static_cast<std::size_t>(GetClassNameW(window, name, 256))));
}

json Describe(HWND window) {
  DWORD process = 0;
  const DWORD thread = GetWindowThreadProcessId(window, &process);
  RECT area{};
  GetWindowRect(window, &area);
  RECT client{};
  GetClientRect(window, &client);
  MapWindowPoints(window, nullptr, reinterpret_cast<POINT*>(&client), 2);
  return {{"window", Number(window)},
          {"class", ClassOf(window)},
          {"process", process},
          {"thread", thread},
          {"visible", IsWindowVisible(window) != FALSE},
          {"enabled", IsWindowEnabled(window) != FALSE},
          {"style", static_cast<std::uint32_t>(GetWindowLongPtrW(window, GWL_STYLE))},
          {"ex_style", static_cast<std::uint32_t>(GetWindowLongPtrW(window, GWL_EXSTYLE))},
          {"owner", Number(GetWindow(window, GW_OWNER))},
          {"place", Place(area)},
          {"client", Place(client)}};
}

json Windows(const json&) {
  std::vector<HWND> handles;
  EnumWindows(
      [](HWND window, LPARAM list) -> BOOL {
        reinterpret_cast<std::vector<HWND>*>(list)->push_back(window);
        return TRUE;
      },
      reinterpret_cast<LPARAM>(&handles));
  json windows = json::array();
  for (HWND window : handles) {
    json one = Describe(window);
    // The title as the system keeps it: asking the program would wait for one that is being stopped.
    wchar_t title[512];
    one["title"] = Utf8(std::wstring(title, static_cast<std::size_t>(GetWindowTextW(window, title, 512))));
    windows.push_back(std::move(one));
  }
  return windows;
}

// These are not among the top-level windows.
json MessageOnlyWindows(const json& request) {
  const std::wstring kind = Wide(request.at("class"));
  json windows = json::array();
  for (HWND window = nullptr;
       (window = FindWindowExW(HWND_MESSAGE, window, kind.c_str(), nullptr)) != nullptr;) {
    json one = Describe(window);
    one["title"] = "";
    windows.push_back(std::move(one));
  }
  return windows;
}

json Controls(const json& request) {
  std::vector<HWND> handles;
  EnumChildWindows(
      WindowOf(request),
      [](HWND window, LPARAM list) -> BOOL {
        reinterpret_cast<std::vector<HWND>*>(list)->push_back(window);
        return TRUE;
      },
      reinterpret_cast<LPARAM>(&handles));
  json controls = json::array();
  for (HWND window : handles) {
    json one = Describe(window);
    one["id"] = GetDlgCtrlID(window);
    one["text"] = TextOfWindow(window);
    if (one["class"] == "Button") {
      one["checked"] = Send(window, BM_GETCHECK, 0, 0) == BST_CHECKED;
    }
    controls.push_back(std::move(one));
  }
  return controls;
}

// Posted, not sent: what it opens may stand for as long as it likes.
json Click(const json& request) {
  const HWND control = GetDlgItem(WindowOf(request), request.at("id").get<int>());
  return control != nullptr && PostMessageW(control, BM_CLICK, 0, 0) != FALSE;
}

json Move(const json& request) {
  return SetWindowPos(WindowOf(request), nullptr, request.at("left").get<int>(), request.at("top").get<int>(),
                      0, 0, SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE) != FALSE;
}

json Post(const json& request) {
  return PostMessageW(WindowOf(request), request.at("message").get<UINT>(),
                      request.value("wparam", std::uint64_t{0}),
                      request.value("lparam", std::int64_t{0})) != FALSE;
}

json SendAndAnswer(const json& request) {
  const HWND window = WindowOf(request);
  if (!IsWindow(window)) {
    return nullptr;
  }
  return Send(window, request.at("message").get<UINT>(), request.value("wparam", std::uint64_t{0}),
              request.value("lparam", std::int64_t{0}));
}

json Title(const json& request) {
  return TextOfWindow(WindowOf(request));
}

json Focus(const json& request) {
  GUITHREADINFO info{};
  info.cbSize = sizeof info;
  GetGUIThreadInfo(request.at("thread").get<DWORD>(), &info);
  const HWND foreground = GetForegroundWindow();
  return {{"foreground", Number(foreground)},
          {"active", Number(info.hwndActive)},
          {"focus", Number(info.hwndFocus)},
          {"focus_id", info.hwndFocus == nullptr ? 0 : GetDlgCtrlID(info.hwndFocus)}};
}

json Screen(const json&) {
  RECT work{};
  SystemParametersInfoW(SPI_GETWORKAREA, 0, &work, 0);
  return {{"work", Place(work)},
          {"width", GetSystemMetrics(SM_CXSCREEN)},
          {"height", GetSystemMetrics(SM_CYSCREEN)}};
}

json Registered(const json& request) {
  return RegisterWindowMessageW(Wide(request.at("name")).c_str());
}

// The transparency of a window that is fading in, 255 for one that is not layered; and which points are
// inside it.
json Shape(const json& request) {
  const HWND window = WindowOf(request);
  BYTE alpha = 255;
  GetLayeredWindowAttributes(window, nullptr, &alpha, nullptr);
  HRGN region = CreateRectRgn(0, 0, 0, 0);
  const int kind = GetWindowRgn(window, region);
  json inside = json::array();
  for (const json& point : request.value("points", json::array())) {
    inside.push_back(PtInRegion(region, point.at(0).get<int>(), point.at(1).get<int>()) != FALSE);
  }
  RECT box{};
  GetRgnBox(region, &box);
  DeleteObject(region);
  return {{"alpha", alpha}, {"region", kind}, {"box", Place(box)}, {"inside", inside}};
}

std::string HexOf(const std::vector<std::uint8_t>& bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string hex;
  hex.reserve(bytes.size() * 2);
  for (const std::uint8_t byte : bytes) {
    hex += kDigits[byte >> 4];
    hex += kDigits[byte & 15];
  }
  return hex;
}

// A picture in memory of 4 bytes for each pixel: blue, green, red, alpha; rows from the top.
class Picture {
 public:
  Picture(int width, int height) : context_(CreateCompatibleDC(nullptr)), width_(width), height_(height) {
    BITMAPINFO info{};
    info.bmiHeader.biSize = sizeof info.bmiHeader;
    info.bmiHeader.biWidth = width;
    info.bmiHeader.biHeight = -height;
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    bitmap_ = CreateDIBSection(context_, &info, DIB_RGB_COLORS, &bits_, nullptr, 0);
    former_ = SelectObject(context_, bitmap_);
  }
  ~Picture() {
    SelectObject(context_, former_);
    DeleteObject(bitmap_);
    DeleteDC(context_);
  }
  Picture(const Picture&) = delete;
  Picture& operator=(const Picture&) = delete;
  HDC context() const { return context_; }
  std::vector<std::uint8_t> Bytes() const {
    GdiFlush();
    const auto* first = static_cast<const std::uint8_t*>(bits_);
    return {first, first + static_cast<std::size_t>(width_) * static_cast<std::size_t>(height_) * 4};
  }

 private:
  HDC context_;
  int width_;
  int height_;
  HBITMAP bitmap_ = nullptr;
  HGDIOBJ former_ = nullptr;
  void* bits_ = nullptr;
};

struct Area {
  int left, top, width, height;
};

Area AreaOf(const json& request) {
  return {request.at("left"), request.at("top"), request.at("width"), request.at("height")};
}

std::vector<std::uint8_t> Grabbed(const Area& area) {
  const Picture picture(area.width, area.height);
  const HDC screen = GetDC(nullptr);
  BitBlt(picture.context(), 0, 0, area.width, area.height, screen, area.left, area.top, SRCCOPY);
  ReleaseDC(nullptr, screen);
  return picture.Bytes();
}

json Grab(const json& request) {
  return HexOf(Grabbed(AreaOf(request)));
}

// What an area of the screen shows over a time: every picture that differs from the one before, with its
// moment.
json Watch(const json& request) {
  const Area area = AreaOf(request);
  const ULONGLONG start = GetTickCount64();
  const ULONGLONG end = start + request.at("milliseconds").get<ULONGLONG>();
  std::vector<std::uint8_t> former;
  json seen = json::array();
  while (GetTickCount64() < end) {
    std::vector<std::uint8_t> now = Grabbed(area);
    if (now != former) {
      seen.push_back({{"at", GetTickCount64() - start}, {"pixels", HexOf(now)}});
      former = std::move(now);
    }
    Sleep(8);
  }
  return seen;
}

json Icon(const json& request) {
  const HMODULE file = LoadLibraryExW(Wide(request.at("file")).c_str(), nullptr,
                                      LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE);
  const int size = request.at("size").get<int>();
  const auto icon = static_cast<HICON>(
      LoadImageW(file, MAKEINTRESOURCEW(request.at("id").get<int>()), IMAGE_ICON, size, size, 0));
  json pixels = nullptr;
  if (icon != nullptr) {
    const Picture picture(size, size);
    DrawIconEx(picture.context(), 0, 0, icon, size, size, 0, nullptr, DI_NORMAL);
    pixels = HexOf(picture.Bytes());
    DestroyIcon(icon);
  }
  FreeLibrary(file);
  return pixels;
}

// -- other processes
// ----------------------------------------------------------------------------------------------

json Threads(const json& request) {
  const auto process = request.at("process").get<DWORD>();
  json threads = json::array();
  const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
  THREADENTRY32 entry{};
  entry.dwSize = sizeof entry;
  for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry)) {
    if (entry.th32OwnerProcessID == process) {
      threads.push_back(entry.th32ThreadID);
    }
  }
  CloseHandle(snapshot);
  return threads;
}

// The next instruction of the thread is at no address at all. One that waits notices when it wakes.
json CrashThread(const json& request) {
  const HANDLE thread = OpenThread(THREAD_SUSPEND_RESUME | THREAD_GET_CONTEXT | THREAD_SET_CONTEXT, FALSE,
                                   request.at("thread").get<DWORD>());
  if (thread == nullptr) {
    return false;
  }
  SuspendThread(thread);
  CONTEXT context{};
  context.ContextFlags = CONTEXT_FULL;
  bool done = GetThreadContext(thread, &context) != FALSE;
  context.Rip = 0;
  done = done && SetThreadContext(thread, &context) != FALSE;
  ResumeThread(thread);
  CloseHandle(thread);
  return done;
}

bool RunInside(HANDLE process, void* address, void* argument) {
  const HANDLE thread = CreateRemoteThread(
      process, nullptr, 0, reinterpret_cast<LPTHREAD_START_ROUTINE>(address), argument, 0, nullptr);
  if (thread == nullptr) {
    return false;
  }
  const bool ended = WaitForSingleObject(thread, 5000) == WAIT_OBJECT_0;
  CloseHandle(thread);
  return ended;
}

std::uint8_t* BaseOfModule(DWORD process, const wchar_t* name) {
  const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPMODULE, process);
  MODULEENTRY32W entry{};
  entry.dwSize = sizeof entry;
  std::uint8_t* base = nullptr;
  for (BOOL more = Module32FirstW(snapshot, &entry); more && base == nullptr;
       more = Module32NextW(snapshot, &entry)) {
    if (_wcsicmp(entry.szModule, name) == 0) {
      base = entry.modBaseAddr;
    }
  }
  CloseHandle(snapshot);
  return base;
}

// The address of the reader's function inside the process, into which it is loaded first.
void* ReaderInside(HANDLE process, DWORD process_id) {
  wchar_t own[MAX_PATH];
  GetModuleFileNameW(nullptr, own, MAX_PATH);
  const std::wstring path = (std::filesystem::path(own).parent_path() / L"menu_reader.dll").wstring();
  static const HMODULE here = LoadLibraryW(path.c_str());
  if (here == nullptr) {
    return nullptr;
  }
  const std::size_t size = (path.size() + 1) * sizeof(wchar_t);
  void* const name = VirtualAllocEx(process, nullptr, size, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
  WriteProcessMemory(process, name, path.c_str(), size, nullptr);
  RunInside(process, reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32"), "LoadLibraryW")),
            name);
  VirtualFreeEx(process, name, 0, MEM_RELEASE);
  std::uint8_t* const base = BaseOfModule(process_id, L"menu_reader.dll");
  const auto* const function = reinterpret_cast<std::uint8_t*>(GetProcAddress(here, "ReadMenu"));
  return base == nullptr ? nullptr : base + (function - reinterpret_cast<std::uint8_t*>(here));
}

json Menu(const json& request) {
  MenuSeen seen{};
  seen.window = WindowOf(request);
  DWORD process_id = 0;
  GetWindowThreadProcessId(seen.window, &process_id);
  const HANDLE process = OpenProcess(PROCESS_ALL_ACCESS, FALSE, process_id);
  void* const reader = ReaderInside(process, process_id);
  if (reader == nullptr) {
    CloseHandle(process);
    return nullptr;
  }
  void* const there = VirtualAllocEx(process, nullptr, sizeof seen, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
  WriteProcessMemory(process, there, &seen, sizeof seen, nullptr);
  RunInside(process, reader, there);
  ReadProcessMemory(process, there, &seen, sizeof seen, nullptr);
  VirtualFreeEx(process, there, 0, MEM_RELEASE);
  CloseHandle(process);
  json items = json::array();
  for (UINT i = 0; i < seen.count; ++i) {
    const MenuItemSeen& item = seen.items[i];
    items.push_back({{"id", item.id},
                     {"text", Utf8(item.text)},
                     {"greyed", (item.state & MFS_GRAYED) != 0},
                     {"checked", (item.state & MFS_CHECKED) != 0},
                     {"place", Place(item.place)}});
  }
  return items;
}

// -- trees and lists
// ----------------------------------------------------------------------------------------------

// Memory of the process of a window, for what its controls are asked to write.
class MemoryThere {
 public:
  static constexpr std::size_t kSize = 4096;
  static constexpr std::size_t kText = 1024;  // where a text is put, behind the structure

  explicit MemoryThere(HWND window) {
    DWORD process_id = 0;
    GetWindowThreadProcessId(window, &process_id);
    process_ = OpenProcess(PROCESS_ALL_ACCESS, FALSE, process_id);
    memory_ = static_cast<std::uint8_t*>(
        VirtualAllocEx(process_, nullptr, kSize, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE));
  }
  ~MemoryThere() {
    VirtualFreeEx(process_, memory_, 0, MEM_RELEASE);
    CloseHandle(process_);
  }
  MemoryThere(const MemoryThere&) = delete;
  MemoryThere& operator=(const MemoryThere&) = delete;

  LPARAM Put(const void* what, std::size_t size, std::size_t at = 0) const {
    WriteProcessMemory(process_, memory_ + at, what, size, nullptr);
    return reinterpret_cast<LPARAM>(memory_ + at);
  }
  void Get(void* what, std::size_t size, std::size_t at = 0) const {
    ReadProcessMemory(process_, memory_ + at, what, size, nullptr);
  }
  wchar_t* text() const { return reinterpret_cast<wchar_t*>(memory_ + kText); }
  std::string Text() const {
    wchar_t text[512]{};
    Get(text, sizeof text - sizeof(wchar_t), kText);
    return Utf8(text);
  }

 private:
  HANDLE process_ = nullptr;
  std::uint8_t* memory_ = nullptr;
};

// The items of a tree in the order in which they are shown, with their depth.
void AddTreeItems(HWND tree, const MemoryThere& there, LRESULT item, int depth, json& items) {
  for (; item != 0; item = Send(tree, TVM_GETNEXTITEM, TVGN_NEXT, item)) {
    TVITEMW asked{};
    asked.mask = TVIF_TEXT | TVIF_HANDLE | TVIF_PARAM | TVIF_IMAGE | TVIF_STATE;
    asked.hItem = reinterpret_cast<HTREEITEM>(item);
    asked.stateMask = 0xFFFF;
    asked.pszText = there.text();
    asked.cchTextMax = 500;
    Send(tree, TVM_GETITEMW, 0, there.Put(&asked, sizeof asked));
    there.Get(&asked, sizeof asked);
    items.push_back({{"item", item},
                     {"depth", depth},
                     {"text", there.Text()},
                     {"data", asked.lParam},
                     {"picture", asked.iImage},
                     {"selected", (asked.state & TVIS_SELECTED) != 0},
                     {"expanded", (asked.state & TVIS_EXPANDED) != 0}});
    AddTreeItems(tree, there, Send(tree, TVM_GETNEXTITEM, TVGN_CHILD, item), depth + 1, items);
  }
}

json Tree(const json& request) {
  const HWND tree = WindowOf(request);
  const MemoryThere there(tree);
  json items = json::array();
  AddTreeItems(tree, there, Send(tree, TVM_GETNEXTITEM, TVGN_ROOT, 0), 0, items);
  return items;
}

// Rows of a list view: their texts, column by column, the number of the picture beside each (negative for
// none), and which are selected.
json List(const json& request) {
  const HWND list = WindowOf(request);
  const MemoryThere there(list);
  const auto header = reinterpret_cast<HWND>(Send(list, LVM_GETHEADER, 0, 0));
  const int columns = static_cast<int>(Send(header, HDM_GETITEMCOUNT, 0, 0));
  const int count = static_cast<int>(Send(list, LVM_GETITEMCOUNT, 0, 0));
  json headings = json::array();
  for (int column = 0; column < columns; ++column) {
    HDITEMW asked{};
    asked.mask = HDI_TEXT | HDI_FORMAT;
    asked.pszText = there.text();
    asked.cchTextMax = 500;
    Send(header, HDM_GETITEMW, static_cast<WPARAM>(column), there.Put(&asked, sizeof asked));
    there.Get(&asked, sizeof asked);
    headings.push_back({{"text", there.Text()},
                        {"up", (asked.fmt & HDF_SORTUP) != 0},
                        {"down", (asked.fmt & HDF_SORTDOWN) != 0},
                        {"width", Send(list, LVM_GETCOLUMNWIDTH, static_cast<WPARAM>(column), 0)}});
  }
  json rows = json::array();
  json pictures = json::array();
  for (int row = 0; row < std::min(count, request.value("most", 100)); ++row) {
    json texts = json::array();
    for (int column = 0; column < columns; ++column) {
      LVITEMW asked{};
      asked.iSubItem = column;
      asked.pszText = there.text();
      asked.cchTextMax = 500;
      Send(list, LVM_GETITEMTEXTW, static_cast<WPARAM>(row), there.Put(&asked, sizeof asked));
      texts.push_back(there.Text());
    }
    rows.push_back(std::move(texts));
    LVITEMW asked{};
    asked.mask = LVIF_IMAGE;
    asked.iItem = row;
    asked.iImage = I_IMAGENONE;
    Send(list, LVM_GETITEMW, 0, there.Put(&asked, sizeof asked));
    there.Get(&asked, sizeof asked);
    pictures.push_back(asked.iImage);
  }
  json selected = json::array();
  for (LRESULT row = -1; (row = Send(list, LVM_GETNEXTITEM, static_cast<WPARAM>(row), LVNI_SELECTED)) >= 0;) {
    selected.push_back(row);
  }
  return {{"count", count},
          {"headings", headings},
          {"rows", rows},
          {"pictures", pictures},
          {"selected", selected},
          {"focused", Send(list, LVM_GETNEXTITEM, static_cast<WPARAM>(-1), LVNI_FOCUSED)},
          {"top", Send(list, LVM_GETTOPINDEX, 0, 0)}};
}

// As a click on one row and no other does; no row for -1.
json SelectRow(const json& request) {
  const HWND list = WindowOf(request);
  const MemoryThere there(list);
  LVITEMW state{};
  state.stateMask = LVIS_SELECTED | LVIS_FOCUSED;
  if (!request.value("add", false)) {
    Send(list, LVM_SETITEMSTATE, static_cast<WPARAM>(-1), there.Put(&state, sizeof state));
  }
  state.state = LVIS_SELECTED | LVIS_FOCUSED;
  const int row = request.at("row");
  return row < 0 ||
         Send(list, LVM_SETITEMSTATE, static_cast<WPARAM>(row), there.Put(&state, sizeof state)) != 0;
}

// Where a row is on the screen.
json RowPlace(const json& request) {
  const HWND list = WindowOf(request);
  const MemoryThere there(list);
  RECT place{};
  place.left = LVIR_LABEL;
  Send(list, LVM_GETITEMRECT, request.at("row").get<WPARAM>(), there.Put(&place, sizeof place));
  there.Get(&place, sizeof place);
  MapWindowPoints(list, nullptr, reinterpret_cast<POINT*>(&place), 2);
  return Place(place);
}

// Where the heading of a column is on the screen.
json HeadingPlace(const json& request) {
  const HWND list = WindowOf(request);
  const MemoryThere there(list);
  const auto header = reinterpret_cast<HWND>(Send(list, LVM_GETHEADER, 0, 0));
  RECT place{};
  Send(header, HDM_GETITEMRECT, request.at("column").get<WPARAM>(), there.Put(&place, sizeof place));
  there.Get(&place, sizeof place);
  MapWindowPoints(header, nullptr, reinterpret_cast<POINT*>(&place), 2);
  return Place(place);
}

// The buttons of a toolbar in their order; a separator has the number 0.
json Toolbar(const json& request) {
  const HWND toolbar = WindowOf(request);
  const MemoryThere there(toolbar);
  json buttons = json::array();
  for (int i = 0; i < static_cast<int>(Send(toolbar, TB_BUTTONCOUNT, 0, 0)); ++i) {
    TBBUTTON button{};
    Send(toolbar, TB_GETBUTTON, static_cast<WPARAM>(i), there.Put(&button, sizeof button));
    there.Get(&button, sizeof button);
    const wchar_t nothing = L'\0';
    there.Put(&nothing, sizeof nothing, MemoryThere::kText);
    Send(toolbar, TB_GETBUTTONTEXTW, static_cast<WPARAM>(button.idCommand),
         reinterpret_cast<LPARAM>(there.text()));
    const std::string text = there.Text();
    RECT place{};
    Send(toolbar, TB_GETITEMRECT, static_cast<WPARAM>(i), there.Put(&place, sizeof place));
    there.Get(&place, sizeof place);
    MapWindowPoints(toolbar, nullptr, reinterpret_cast<POINT*>(&place), 2);
    const bool separates = (button.fsStyle & BTNS_SEP) != 0;
    buttons.push_back({{"id", separates ? 0 : button.idCommand},
                       {"text", separates ? std::string() : text},
                       {"picture", button.iBitmap},
                       {"enabled", (button.fsState & TBSTATE_ENABLED) != 0},
                       {"drops_down", (button.fsStyle & BTNS_DROPDOWN) != 0},
                       {"place", Place(place)}});
  }
  return buttons;
}

// The texts of a status bar, part by part.
json StatusBar(const json& request) {
  const HWND bar = WindowOf(request);
  const MemoryThere there(bar);
  json texts = json::array();
  for (int part = 0; part < static_cast<int>(Send(bar, SB_GETPARTS, 0, 0)); ++part) {
    Send(bar, SB_GETTEXTW, static_cast<WPARAM>(part), reinterpret_cast<LPARAM>(there.text()));
    texts.push_back(there.Text());
  }
  return texts;
}

// The whole text of a control, however long.
json WholeText(const json& request) {
  const HWND window = WindowOf(request);
  std::wstring text(static_cast<std::size_t>(Send(window, WM_GETTEXTLENGTH, 0, 0)) + 1, L'\0');
  text.resize(
      static_cast<std::size_t>(Send(window, WM_GETTEXT, text.size(), reinterpret_cast<LPARAM>(text.data()))));
  return Utf8(text);
}

// The texts of a drop-down list and the chosen one.
json Choices(const json& request) {
  const HWND box = WindowOf(request);
  json texts = json::array();
  for (LRESULT i = 0; i < Send(box, CB_GETCOUNT, 0, 0); ++i) {
    std::wstring text(512, L'\0');
    const LRESULT length =
        Send(box, CB_GETLBTEXT, static_cast<WPARAM>(i), reinterpret_cast<LPARAM>(text.data()));
    text.resize(static_cast<std::size_t>(std::max<LRESULT>(length, 0)));
    texts.push_back(Utf8(text));
  }
  return {{"texts", texts}, {"chosen", Send(box, CB_GETCURSEL, 0, 0)}};
}

// The text in the clipboard; null when there is none.
json Clipboard(const json&) {
  if (!OpenClipboard(nullptr)) return nullptr;
  json text = nullptr;
  if (const HANDLE data = GetClipboardData(CF_UNICODETEXT)) {
    if (const void* const bytes = GlobalLock(data)) {
      text = Utf8(static_cast<const wchar_t*>(bytes));
      GlobalUnlock(data);
    }
  }
  CloseClipboard();
  return text;
}

json SetText(const json& request) {
  return Send(WindowOf(request), WM_SETTEXT, 0, reinterpret_cast<LPARAM>(Wide(request.at("text")).c_str())) !=
         0;
}

// -- the conversation
// ---------------------------------------------------------------------------------------------

const std::map<std::string, std::function<json(const json&)>> kPossibilities = {
    {"windows", Windows},                  // every top-level window
    {"message_only", MessageOnlyWindows},  // every message-only window of a class
    {"controls", Controls},                // of a window: id, text, place, state
    {"click", Click},                      // window, id
    {"move", Move},                        // window, left, top
    {"post", Post},                        // window, message, wparam, lparam
    {"send", SendAndAnswer},               // the same; gives the answer
    {"title", Title},                      // of a window, asked of the window itself
    {"focus", Focus},                      // of a thread
    {"screen", Screen},                    // its size and work area
    {"registered", Registered},            // the number of a message by its name
    {"shape", Shape},                      // window, points: transparency and region
    {"grab", Grab},                        // left, top, width, height of the screen
    {"watch", Watch},                      // the same, milliseconds
    {"icon", Icon},                        // file, id, size
    {"threads", Threads},                  // of a process
    {"crash", CrashThread},                // thread
    {"tree", Tree},                        // window: every item of a tree
    {"list", List},                        // window, most: headings, rows, selection of a list view
    {"select_row", SelectRow},             // window, row, add: also keep the others
    {"row_place", RowPlace},               // window, row
    {"heading_place", HeadingPlace},       // window, column
    {"toolbar", Toolbar},                  // window: its buttons
    {"status_bar", StatusBar},             // window: the texts of its parts
    {"whole_text", WholeText},             // of a control
    {"choices", Choices},                  // window: a drop-down list
    {"set_text", SetText},                 // window, text
    {"clipboard", Clipboard},              // the text in it
    {"menu", Menu},                        // window of an open menu
};

json Answer(const std::string& line) {
  const json request = json::parse(line, nullptr, false);
  if (!request.is_object()) {
    return {{"error", "no request"}};
  }
  try {
    return {{"is", kPossibilities.at(request.at("do").get<std::string>())(request)}};
  } catch (const std::exception& problem) {
    return {{"error", problem.what()}};
  }
}

SOCKET Connect(unsigned short port) {
  WSADATA data;
  WSAStartup(MAKEWORD(2, 2), &data);
  const SOCKET connection = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return connect(connection, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 ? connection
                                                                                         : INVALID_SOCKET;
}

bool SendAll(SOCKET connection, const std::string& text) {
  for (std::size_t sent = 0; sent < text.size();) {
    const int now = send(connection, text.data() + sent, static_cast<int>(text.size() - sent), 0);
    if (now <= 0) {
      return false;
    }
    sent += static_cast<std::size_t>(now);
  }
  return true;
}

}  // namespace

int main(int count, char** arguments) {
  const SOCKET connection =
      count == 2 ? Connect(static_cast<unsigned short>(std::atoi(arguments[1]))) : INVALID_SOCKET;
  if (connection == INVALID_SOCKET) {
    return 1;
  }
  std::string received;
  char buffer[4096];
  for (;;) {
    const int now = recv(connection, buffer, sizeof buffer, 0);
    if (now <= 0) {
      return 0;
    }
    received.append(buffer, static_cast<std::size_t>(now));
    for (std::size_t end; (end = received.find('\n')) != std::string::npos;) {
      const std::string answer =
          Answer(received.substr(0, end)).dump(-1, ' ', true, json::error_handler_t::replace);
      received.erase(0, end + 1);
      if (!SendAll(connection, answer + "\n")) {
        return 0;
      }
    }
  }
}
