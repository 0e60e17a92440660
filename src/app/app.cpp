// SPDX-License-Identifier: MIT
#include "app/app.h"

#include <algorithm>
#include <optional>

#include "app/tray_menu.h"
#include "config/writable_directories.h"
#include "extras/first_start.h"
#include "extras/store_preparation.h"
#include "platform/environment.h"
#include "ui/address_book_source.h"
#include "ui/dialog.h"
#include "ui/help.h"
#include "ui/import_windows.h"
#include "ui/message_box.h"
#include "ui/optional_message_box.h"
#include "ui/registry_senders.h"
#include "ui/resource.h"
#include "ui/system_settings.h"
#include "ui/translation.h"
#include "ui/waiting_window.h"
#include "ui/wide_text.h"

namespace quillbeaker {
namespace {

constexpr DWORD kWaitForListener = 5000;  // milliseconds
constexpr UINT kOfferAgainAfter = 5000;

// The senders that the system itself knows.
std::unique_ptr<SenderSource> OpenListedSenders(std::int32_t kind, SenderImport::KeepWaiting keep_waiting) {
  if (kind == kSenderBlocked) return BlockedSendersOfRegistry();
  return std::make_unique<AddressBookSource>(ExecutablePath(), std::move(keep_waiting));
}

// Written once, at start-up; the window procedure has no other way to its object before WM_CREATE is over.
App* the_app = nullptr;

}  // namespace

App::App()
    : program_(SystemEnvironment(ExecutableDirectory())),
      tray_icon_(program_),
      observer_(queue_, *this),
      listener_(program_, observer_),
      window_surroundings_{
          .program = program_,
          .settings = PagesNeed(),
          .open_help =
              [this](std::string_view page) { OpenHelp(program_.environment.program_directory, page); },
          .rearm_update_check = {},  // there is none yet
          .post = [this](std::function<void()> task) { window_queue_.Post(std::move(task)); },
          .window_closed = TrimWorkingSet},
      windows_(window_surroundings_) {
  the_app = this;
}

App::~App() = default;

bool App::Init(HINSTANCE instance, bool sets_up_account) {
  if (initialised_) {
    return false;
  }
  const bool is_first_start = IsFirstStart(program_);  // asked before the choice of the language is written
  InitChosenLanguage(program_);
  tray_icon_.PrepareImage();
  taskbar_created_ = RegisterWindowMessageW(L"TaskbarCreated");
  FillCommandTable();
  if (!CreateMainWindow(instance) || !queue_.Open() || !window_queue_.Open()) {
    return false;
  }
  observer_.SetMainWindow(main_window_);
  tray_icon_.LoadAnimation();
  tray_icon_.SetFilterState(program_.Read(keys::kEnable) != 0);
  PrepareStores();
  TrimWorkingSet();
  initialised_ = true;
  if (sets_up_account) {
    early_commands_.push_back(COMMAND_ACCOUNT);
  } else if (is_first_start) {
    OfferAccountSetup();
  }
  for (const int command : early_commands_) {
    PostMessageW(main_window_, WM_COMMAND, static_cast<WPARAM>(command), 0);
  }
  return true;
}

bool App::CreateMainWindow(HINSTANCE instance) {
  const std::wstring title = WideText(Text::kTitle);
  WNDCLASSEXW window_class{};
  window_class.cbSize = sizeof window_class;
  window_class.lpfnWndProc = WindowProcedure;
  window_class.hInstance = instance;
  window_class.hIcon = LoadIconW(instance, MAKEINTRESOURCEW(ICON_PROGRAM));
  window_class.lpszClassName = title.c_str();
  return RegisterClassExW(&window_class) != 0 &&
         CreateWindowExW(0, title.c_str(), title.c_str(), 0, 0, 0, 0, 0, nullptr, nullptr, instance,
                         nullptr) != nullptr;
}

void App::PrepareStores() {
  std::optional<WaitingWindow> waiting;
  quillbeaker::PrepareStores(
      program_, {.taking_in_messages = [&] { waiting.emplace(main_window_, DIALOG_TAKING_IN); },
                 .spam_words_converted =
                     [&] {
                       waiting.reset();
                       ShowMessageBox(main_window_, Text::kSpamWordsConverted, MB_ICONINFORMATION);
                       windows_.OpenCommand(COMMAND_SETTINGS, main_window_, PAGE_SPAM_WORDS);
                     }});
}

void App::StartListener() {
  served_port_ = program_.Read(keys::kPort);  // another one counts from the next start on
  listener_.Start(main_window_);
}

void App::WarnOfReadOnlyDirectory() {
  const std::string directory = UnwritableDirectory(program_);
  if (!directory.empty()) {
    ShowMessageBox(main_window_, WideFormat(Text::kDirectoryNotWritable, {directory}), MB_ICONEXCLAMATION);
  }
}

int App::Run() {
  MSG message{};
  while (GetMessageW(&message, nullptr, 0, 0) > 0) {
    if (!Dialog::TakeMessage(message)) {
      TranslateMessage(&message);
      DispatchMessageW(&message);
    }
  }
  return static_cast<int>(message.wParam);
}

bool App::WaitForListener() {
  return listener_.Wait(kWaitForListener);
}

void App::FillCommandTable() {
  commands_.Set(COMMAND_EXIT, [this] { AskToQuit(); });
  commands_.Set(COMMAND_SWITCH_FILTER, [this] { SwitchFilter(); });
  for (const WindowRow& row : WindowTable()) {
    commands_.Set(row.command, [this, &row] { windows_.Open(row, main_window_); });
  }
}

SettingsSurroundings App::PagesNeed() {
  return {
      .program = program_,
      .starts_with_system = StartsWithWindows,
      .set_starts_with_system = SetStartsWithWindows,
      .ports_in_use = [this] { return PortsInUse(is_serving_ ? served_port_ : 0); },
      .can_run = [this](int command) { return commands_.Has(command); },
      // Posted: what opens may outlive the dialog.
      .run = [this](int command) { PostMessageW(main_window_, WM_COMMAND, static_cast<WPARAM>(command), 0); },
      .import_senders =
          [this](std::int32_t kind) {
            ImportSenders(program_, windows_.WindowOf(COMMAND_SETTINGS), kind, OpenListedSenders);
          }};
}

LRESULT CALLBACK App::WindowProcedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
  return the_app->Handle(window, message, wparam, lparam);
}

LRESULT App::Handle(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
  if (crashed_) {
    return DefWindowProcW(window, message, wparam, lparam);
  }
  switch (message) {
    case WM_CREATE:
      main_window_ = window;
      // The shell has fewer rights than a program that was started as administrator: its message would not
      // arrive.
      ChangeWindowMessageFilterEx(window, taskbar_created_, MSGFLT_ALLOW, nullptr);
      tray_icon_.AddTrayIcon(window);
      return 0;
    case WM_ENDSESSION:
      // The session ends without a question; what is being written is finished by the wait for the listener.
      if (wparam == FALSE) return 0;
      DestroyWindow(window);
      WaitForListener();
      return 0;
    case WM_DESTROY:
      ShutDown();
      PostQuitMessage(0);
      return 0;
    case WM_COMMAND:
      OnCommand(LOWORD(wparam));
      return 0;
    case WM_TIMER:
      OnTimer(wparam);
      return 0;
    case MESSAGE_TRAY:
      OnTrayCallback(static_cast<UINT>(lparam));
      return 0;
    case MESSAGE_SESSION_BEGINS:
      queue_.Drain();  // what was posted before this message was sent comes before it
      OnSessionBegin();
      return 0;
    case MESSAGE_SESSION_ENDS:
      queue_.Drain();
      OnSessionEnd();
      return 0;
    default:
      if (message == taskbar_created_ && taskbar_created_ != 0) {
        tray_icon_.AddAgain();
        if (account_setup_waits_) OfferAccountSetup();
        return 0;
      }
      return DefWindowProcW(window, message, wparam, lparam);
  }
}

void App::OnCommand(int command) {
  if (!initialised_) {
    early_commands_.push_back(command);
    return;
  }
  if (commands_.Run(command) == CommandTable::Result::kUnderWay) {
    // The box that it shows is what a person has to answer.
    SetForegroundWindow(GetLastActivePopup(main_window_));
  }
  TrimWorkingSet();
}

void App::OnTrayCallback(UINT mouse_message) {
  switch (mouse_message) {
    case WM_LBUTTONUP:
      if (bubble_ != nullptr) {
        bubble_->Show();
      }
      break;
    case WM_LBUTTONDBLCLK: {
      const std::int32_t command = program_.Read(keys::kTrayDblClk);
      if (commands_.Has(command)) {
        SetForegroundWindow(main_window_);  // what opens stands before the window that is in front now
      }
      SendMessageW(main_window_, WM_COMMAND, static_cast<WPARAM>(command), 0);
      break;
    }
    case WM_RBUTTONDOWN:
      quillbeaker::ShowTrayMenu(main_window_, program_, commands_);
      TrimWorkingSet();
      break;
    case NIN_BALLOONUSERCLICK:
      OnNotificationClicked();
      break;
    default:
      break;
  }
}

void App::OnTimer(UINT_PTR timer) {
  switch (timer) {
    case TIMER_ANIMATION:
      tray_icon_.ShowNextFrame();
      observer_.ShowPending();
      break;
    case TIMER_DELETED_COUNT:
      tray_icon_.SetDeletedCount(0);
      break;
    case TIMER_DISABLED_FILTER:
      tray_icon_.MarkDisabledFilter();
      break;
    case TIMER_ADD_ICON:
      tray_icon_.AddOrTryLater();
      break;
    case TIMER_ACCOUNT_OFFER:
      OfferAccountSetup();
      break;
    default:
      break;
  }
}

void App::OnSessionBegin() {
  tray_icon_.StartAnimation();
  if (bubble_ == nullptr) {
    bubble_ = std::make_unique<ProgressBubble>(main_window_, observer_.cancelled());
  }
  if (program_.Read(keys::kShowBubble) != 0) {
    bubble_->Show();
  }
}

void App::OnSessionEnd() {
  tray_icon_.StopAnimation();
  bubble_.reset();
  tray_icon_.SetFilterState(program_.Read(keys::kEnable) != 0);  // another program may have switched it
  tray_icon_.SetDeletedCount(tray_icon_.deleted_count());
  tray_icon_.ShowIdleTooltip();
}

void App::ShowServing(bool serving) {
  is_serving_ = serving;
  tray_icon_.ShowServing(serving);
}

void App::ShowProgress(const ProgressChanges& changes) {
  if (changes.activity) {
    tray_icon_.SetTooltip(Wide(*changes.activity));
  }
  if (bubble_ == nullptr) {
    return;
  }
  if (changes.range) bubble_->SetRange(*changes.range);
  if (changes.position) bubble_->SetPosition(*changes.position);
  if (changes.status) bubble_->SetStatus(Wide(*changes.status));
  if (changes.spam_count) bubble_->SetSpamCount(*changes.spam_count);
  if (changes.activity) bubble_->SetActivity(Wide(*changes.activity));
}

void App::AddDeleted(std::uint32_t count) {
  tray_icon_.SetDeletedCount(tray_icon_.deleted_count() + count);
}

void App::ShowStoreChange(const StoreChange& change) {
  window_surroundings_.store_changes.Tell(change);
}

void App::ShowLoginResult(const LoginProblem& problem) {
  if (problem.failure == LoginFailure::kNone) {
    login_problems_.Forget(problem);
    return;
  }
  if (program_.Read(keys::kShowErrors) != 0 && login_problems_.IsNew(problem)) {
    Notify(DescribeProblem(problem));
  }
  trust_question_.AskOnce(program_, problem);
}

void App::ShowTrouble(const MailTrouble& trouble) {
  if (program_.Read(keys::kShowErrors) == 0) {
    return;
  }
  if (const auto text = trouble_notices_.Tell(trouble)) {
    Notify(*text);
  }
}

void App::Notify(const std::string& text) {
  account_setup_is_offered_ = false;  // a click is about the last one
  tray_icon_.Notify(Wide(text));
}

void App::OfferAccountSetup() {
  // A shell that is not there yet, as when the user logs on, takes it once it has the icon.
  account_setup_waits_ = !tray_icon_.Notify(WideText(Text::kSetupNotice), NIIF_INFO);
  account_setup_is_offered_ = !account_setup_waits_;
  if (account_setup_waits_) {
    SetTimer(main_window_, TIMER_ACCOUNT_OFFER, kOfferAgainAfter, nullptr);
  } else {
    KillTimer(main_window_, TIMER_ACCOUNT_OFFER);
  }
}

void App::OnNotificationClicked() {
  if (!account_setup_is_offered_) {
    return;
  }
  account_setup_is_offered_ = false;
  SetForegroundWindow(main_window_);
  PostMessageW(main_window_, WM_COMMAND, COMMAND_ACCOUNT, 0);
}

void App::AskToQuit() {
  const int answer =
      ShowMessageBox(main_window_, Text::kQuitQuestion, MB_YESNO | MB_ICONQUESTION | MB_SETFOREGROUND);
  if (answer == IDYES) {
    DestroyWindow(main_window_);
  }
}

void App::SwitchFilter() {
  if (program_.Read(keys::kEnable) != 0) {
    AskToDisableFilter();
  } else {
    EnableFilter();
  }
  tray_icon_.SetDeletedCount(0);
}

void App::AskToDisableFilter() {
  const int answer = ShowOptionalBox(program_, main_window_, Text::kDisableFilterQuestion,
                                     MB_YESNO | MB_ICONQUESTION, "FilterDisableWarning", IDYES);
  if (answer != IDYES) {
    return;
  }
  if (!program_.Write(keys::kEnable, 0)) {
    ShowNotSaved(main_window_, program_);
    return;
  }
  tray_icon_.SetFilterState(false);
}

void App::EnableFilter() {
  if (!program_.Write(keys::kEnable, 1)) {
    ShowNotSaved(main_window_, program_);
    return;
  }
  tray_icon_.SetFilterState(true);
  if (bubble_ != nullptr) {
    bubble_->ClearStatus(WideText(Text::kFilterDisabled));
  }
  ShowOptionalBox(program_, main_window_, Text::kFilterReEnabled, MB_OK | MB_ICONINFORMATION,
                  "FilterReEnable", IDOK);
}

void App::ShutDown() {
  bubble_.reset();
  windows_.CloseAll();
  DestroyOtherWindows();
  KillTimer(main_window_, TIMER_UPDATE_CHECK);
  KillTimer(main_window_, TIMER_ACCOUNT_OFFER);
  KillTimer(main_window_, TIMER_ANIMATION);
  KillTimer(main_window_, TIMER_DELETED_COUNT);
  KillTimer(main_window_, TIMER_DISABLED_FILTER);
  listener_.CloseSockets();
  tray_icon_.RemoveTrayIcon();
}

void App::DestroyOtherWindows() {
  EnumThreadWindows(
      GetCurrentThreadId(),
      [](HWND window, LPARAM main_window) -> BOOL {
        if (window != reinterpret_cast<HWND>(main_window)) {
          DestroyWindow(window);
        }
        return TRUE;
      },
      reinterpret_cast<LPARAM>(main_window_));
}

void App::StopListenerAfterCrash() {
  // With its sockets closed the thread ends by itself, if it still can: a thread that is terminated may hold
  // a lock.
  listener_.CloseSockets();
  listener_.Terminate();
}

void App::ShutDownAfterCrash() {
  // The question takes messages, and the windows' thread may still live: none of them may find half a
  // program.
  crashed_ = true;
  queue_.Close();
  window_queue_.Close();
  tray_icon_.RemoveTrayIcon();
  // Windows can be destroyed by their own thread only.
  if (GetCurrentThreadId() == GetWindowThreadProcessId(main_window_, nullptr)) {
    DestroyOtherWindows();
  }
}

void TrimWorkingSet() {
  using SetWorkingSet = BOOL(WINAPI*)(HANDLE, SIZE_T, SIZE_T);
  static const auto set_working_set = reinterpret_cast<SetWorkingSet>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32"), "SetProcessWorkingSetSize")));
  if (set_working_set != nullptr) {
    set_working_set(GetCurrentProcess(), static_cast<SIZE_T>(-1), static_cast<SIZE_T>(-1));
  }
}

}  // namespace quillbeaker
