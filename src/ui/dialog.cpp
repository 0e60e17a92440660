// SPDX-License-Identifier: MIT
#include "ui/dialog.h"

#include <commctrl.h>

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "ui/dialog_template.h"
#include "ui/resource.h"
#include "ui/translation.h"

namespace quillbeaker {
namespace {

// What a thread knows of its dialogs; every thread that shows some has a message loop of its own.
struct ThreadDialogs {
  std::vector<HWND> modeless;
  // The object whose window is being made. WM_INITDIALOG could carry it, but any program of the user may send
  // that message, with an lParam of its own.
  Dialog* being_made = nullptr;
  std::vector<std::unique_ptr<Dialog>> to_delete;
  int calls = 0;  // of dialog procedures, on the stack now
  HHOOK filter = nullptr;
  const MSG* being_taken = nullptr;
};

thread_local ThreadDialogs dialogs;

// One call of a dialog procedure; the end of the last one deletes what waited for it.
class Call {
 public:
  Call() { ++dialogs.calls; }
  ~Call() {
    if (--dialogs.calls > 0) return;
    // Deleting may hand over more.
    while (!dialogs.to_delete.empty()) std::exchange(dialogs.to_delete, {}).clear();
  }
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;
};

bool IsSameMessage(const MSG& a, const MSG& b) {
  return a.hwnd == b.hwnd && a.message == b.message && a.wParam == b.wParam && a.lParam == b.lParam &&
         a.time == b.time;
}

// IsDialogMessage calls this hook, also in the loop of a modal dialog or message box, which knows nothing of
// the modeless dialogs beside it.
LRESULT CALLBACK FilterMessage(int code, WPARAM wparam, LPARAM lparam) {
  MSG message = *reinterpret_cast<const MSG*>(lparam);
  const bool is_ours = dialogs.being_taken != nullptr && IsSameMessage(*dialogs.being_taken, message);
  if (code == MSGF_DIALOGBOX && !is_ours && Dialog::TakeMessage(message)) return 1;
  return CallNextHookEx(nullptr, code, wparam, lparam);
}

void AddModeless(HWND window) {
  dialogs.modeless.push_back(window);
  if (dialogs.filter == nullptr) {
    dialogs.filter = SetWindowsHookExW(WH_MSGFILTER, FilterMessage, nullptr, GetCurrentThreadId());
  }
}

void RemoveModeless(HWND window) {
  std::erase(dialogs.modeless, window);
  if (dialogs.modeless.empty() && dialogs.filter != nullptr) {
    UnhookWindowsHookEx(std::exchange(dialogs.filter, nullptr));
  }
}

bool IsKey(const MSG& message) {
  return message.message >= WM_KEYFIRST && message.message <= WM_KEYLAST;
}

UniqueAccelerators MakeAccelerators(std::span<const ACCEL> keys) {
  if (keys.empty()) return nullptr;
  std::vector<ACCEL> copy(keys.begin(), keys.end());  // the system asks for ones that it could change
  return UniqueAccelerators(CreateAcceleratorTableW(copy.data(), static_cast<int>(copy.size())));
}

// A copy of what a message points to. Any program of the user can send messages with addresses that mean
// nothing here.
template <typename Record>
std::optional<Record> CopyOf(LPARAM address) {
  Record copy{};
  SIZE_T read = 0;
  const BOOL done = ReadProcessMemory(GetCurrentProcess(), reinterpret_cast<const void*>(address), &copy,
                                      sizeof copy, &read);
  if (!done || read != sizeof copy) return std::nullopt;
  return copy;
}

bool IsFromWithin(HWND window, LPARAM notice) {
  const auto copy = CopyOf<NMHDR>(notice);
  return copy && IsChild(window, copy->hwndFrom);
}

// Nothing for what no screen can make the system send.
std::optional<RECT> SuggestedPlace(int dpi, LPARAM address) {
  constexpr int kLeastDpi = 48;
  constexpr int kMostDpi = 960;
  constexpr LONG kFarthest = 32767;
  const auto place = CopyOf<RECT>(address);
  if (!place || dpi < kLeastDpi || dpi > kMostDpi || place->left < -kFarthest || place->top < -kFarthest ||
      place->right > kFarthest || place->bottom > kFarthest || place->left >= place->right ||
      place->top >= place->bottom) {
    return std::nullopt;
  }
  return place;
}

Dialog* ObjectOf(HWND window) {
  return reinterpret_cast<Dialog*>(GetWindowLongPtrW(window, DWLP_USER));
}

// The system tells top-level windows only.
void ShowSystemColours(HWND window) {
  for (HWND child = GetWindow(window, GW_CHILD); child != nullptr; child = GetWindow(child, GW_HWNDNEXT)) {
    SendMessageW(child, WM_SYSCOLORCHANGE, 0, 0);
    wchar_t name[32]{};
    GetClassNameW(child, name, 32);
    if (lstrcmpiW(name, WC_LISTVIEWW) != 0) continue;
    // A list that was made in the former colours may keep them.
    ListView_SetBkColor(child, GetSysColor(COLOR_WINDOW));
    ListView_SetTextBkColor(child, GetSysColor(COLOR_WINDOW));
    ListView_SetTextColor(child, GetSysColor(COLOR_WINDOWTEXT));
    InvalidateRect(child, nullptr, TRUE);
  }
}

// In the title, and in the taskbar, where a dialog without an owner has a button.
void ShowProgramIcon(HWND window) {
  for (const auto& [kind, metric] : {std::pair{ICON_SMALL, SM_CXSMICON}, std::pair{ICON_BIG, SM_CXICON}}) {
    const int size = GetSystemMetricsForDpi(metric, GetDpiForWindow(window));
    // Shared ones are the system's to destroy.
    const HANDLE icon = LoadImageW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(ICON_PROGRAM), IMAGE_ICON,
                                   size, size, LR_SHARED);
    SendMessageW(window, WM_SETICON, static_cast<WPARAM>(kind), reinterpret_cast<LPARAM>(icon));
  }
}

// Newer systems scale dialogs by themselves; older ones and Wine do not. Done by us it is the same
// everywhere.
void LeaveScalingToUs(HWND window) {
  using SetBehavior = BOOL(WINAPI*)(HWND, int mask, int values);
  constexpr int kDisableAll = 1;
  static const auto set_behavior = reinterpret_cast<SetBehavior>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"user32"), "SetDialogDpiChangeBehavior")));
  if (set_behavior != nullptr) set_behavior(window, kDisableAll, kDisableAll);
}

}  // namespace

Dialog::~Dialog() {
  if (window_ == nullptr) {
    return;
  }
  // What derives from this is gone already: a window that goes still tells of a focus that leaves its
  // controls, and nobody is left to be told.
  const HWND window = window_;
  Forget();
  DestroyWindow(window);
}

void Dialog::Forget() {
  RemoveModeless(window_);
  SetWindowLongPtrW(window_, DWLP_USER, 0);
  window_ = nullptr;
}

INT_PTR Dialog::RunModal(HWND owner) {
  kind_ = Kind::kModal;
  const DialogTemplate made(template_id_, SystemDialogFont());
  if (made.get() == nullptr) return -1;
  const Call call;  // the object is still used when its window is gone
  dialogs.being_made = this;
  const INT_PTR result = DialogBoxIndirectParamW(GetModuleHandleW(nullptr), made.get(), owner, Procedure, 0);
  dialogs.being_made = nullptr;  // when no window was made
  return result;
}

bool Dialog::Create(HWND owner, Kind kind) {
  kind_ = kind;
  const DialogTemplate layout(template_id_, SystemDialogFont());
  if (layout.get() == nullptr) return false;
  dialogs.being_made = this;
  const HWND window =
      CreateDialogIndirectParamW(GetModuleHandleW(nullptr), layout.get(), owner, Procedure, 0);
  dialogs.being_made = nullptr;
  return window != nullptr;
}

bool Dialog::CreateModeless(HWND owner) {
  return Create(owner, Kind::kModeless);
}

bool Dialog::CreateChild(HWND parent) {
  return Create(parent, Kind::kChild);
}

void Dialog::Destroy() {
  if (window_ != nullptr) {
    DestroyWindow(window_);
  }
}

void Dialog::End(INT_PTR result) {
  if (kind_ == Kind::kModal) {
    EndDialog(window_, result);
  } else {
    Destroy();
  }
}

void Dialog::DeleteLater(std::unique_ptr<Dialog> dialog) {
  const Call call;
  dialogs.to_delete.push_back(std::move(dialog));
}

bool Dialog::TakeMessage(MSG& message) {
  const MSG* const former = std::exchange(dialogs.being_taken, &message);
  // A copy: handling the message may open or close dialogs.
  const std::vector<HWND> modeless = dialogs.modeless;
  const bool taken = std::any_of(modeless.begin(), modeless.end(), [&message](HWND window) {
    if (message.hwnd != window && !IsChild(window, message.hwnd)) return false;
    const Call call;
    Dialog* const dialog = IsKey(message) ? ObjectOf(window) : nullptr;
    return (dialog != nullptr && dialog->TakeKey(message)) || IsDialogMessageW(window, &message) != FALSE;
  });
  dialogs.being_taken = former;
  return taken;
}

bool Dialog::TakeKey(MSG& message) {
  if (OnKey(message)) return true;
  return accelerators_ != nullptr && TranslateAcceleratorW(window_, accelerators_.get(), &message) != 0;
}

INT_PTR CALLBACK Dialog::Procedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
  Dialog* dialog = ObjectOf(window);
  if (message == WM_INITDIALOG) {
    if (dialog != nullptr || dialogs.being_made == nullptr) {
      return FALSE;  // not the system's
    }
    dialog = std::exchange(dialogs.being_made, nullptr);
    SetWindowLongPtrW(window, DWLP_USER, reinterpret_cast<LONG_PTR>(dialog));
    dialog->window_ = window;
    if (dialog->kind_ == Kind::kModeless) AddModeless(window);
  }
  if (dialog == nullptr) return FALSE;
  const Call call;
  return dialog->Handle(message, wparam, lparam);
}

bool Dialog::IsUnderModalBox() const {
  return IsWindowEnabled(GetAncestor(window_, GA_ROOT)) == FALSE;
}

void Dialog::Rescale(int dpi, const RECT& suggested) {
  if (dpi_ > 0 && dpi != dpi_) {
    UniqueFont font = MakeDialogFont(SystemDialogFont(), dpi);
    RescaleControls(window_, font.get(), dpi_, dpi);
    layout_.Rescale(dpi_, dpi);
    font_ = std::move(font);  // the former one only now that no control has it any more
    dpi_ = dpi;
  }
  SetWindowPos(window_, nullptr, suggested.left, suggested.top, suggested.right - suggested.left,
               suggested.bottom - suggested.top, SWP_NOZORDER | SWP_NOACTIVATE);
  OnDpiChanged(dpi_);
}

INT_PTR Dialog::Answer(UINT message, LRESULT result) {
  if (message >= WM_CTLCOLORMSGBOX && message <= WM_CTLCOLORSTATIC) {
    return result;  // these answer with a brush, not through the window
  }
  SetWindowLongPtrW(window_, DWLP_MSGRESULT, result);
  return TRUE;
}

bool Dialog::Begin() {
  dpi_ = static_cast<int>(GetDpiForWindow(window_));
  if (kind_ != Kind::kChild) {
    ShowProgramIcon(window_);
    LeaveScalingToUs(window_);
  }
  CurrentLanguage().TranslateWindow(window_, template_id_);
  const bool sets_focus = OnInit();
  if (window_ == nullptr) return sets_focus;
  layout_.Begin(window_, Anchors());
  accelerators_ = MakeAccelerators(Accelerators());
  OnMade();
  return sets_focus;
}

INT_PTR Dialog::Handle(UINT message, WPARAM wparam, LPARAM lparam) {
  LRESULT result = 0;
  switch (message) {
    case WM_INITDIALOG:
      return Begin() ? TRUE : FALSE;
    case WM_COMMAND: {
      // 0 is a pressed button or a chosen menu item, 1 an accelerator. Cancel stays possible.
      const bool is_chosen = HIWORD(wparam) <= 1;
      if (is_chosen && LOWORD(wparam) != IDCANCEL && IsUnderModalBox()) return TRUE;
      return OnCommand(LOWORD(wparam), HIWORD(wparam)) ? TRUE : FALSE;
    }
    case WM_NOTIFY:
      if (!IsFromWithin(window_, lparam)) return FALSE;
      return OnNotify(*reinterpret_cast<const NMHDR*>(lparam), result) ? Answer(message, result) : FALSE;
    case WM_CLOSE:
      OnClose();
      return TRUE;
    case WM_TIMER:
      OnTimer(wparam);
      return TRUE;
    case WM_GETMINMAXINFO:
      layout_.Limit(*reinterpret_cast<MINMAXINFO*>(lparam));
      return FALSE;
    case WM_SIZE:
      layout_.Follow();
      OnSize(LOWORD(lparam), HIWORD(lparam));
      return FALSE;
    case WM_CONTEXTMENU:
      return OnContextMenu(reinterpret_cast<HWND>(wparam),
                           {static_cast<short>(LOWORD(lparam)), static_cast<short>(HIWORD(lparam))})
                 ? TRUE
                 : FALSE;
    case WM_HELP:
      return OnHelp() ? TRUE : FALSE;
    case WM_DPICHANGED:
      if (const auto place = SuggestedPlace(LOWORD(wparam), lparam)) Rescale(LOWORD(wparam), *place);
      return TRUE;
    case WM_SYSCOLORCHANGE:
      ShowSystemColours(window_);
      OnSystemColours();
      return FALSE;
    case WM_DESTROY:
      OnDestroying();
      return FALSE;
    case WM_NCDESTROY:
      Forget();
      OnDestroyed();
      return FALSE;
    default:
      return OnMessage(message, wparam, lparam, result) ? Answer(message, result) : FALSE;
  }
}

}  // namespace quillbeaker
