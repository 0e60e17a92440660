// SPDX-License-Identifier: MIT
//
// Opens every window of the program, in every language, and holds it to what every window must be. A window
// that gets a row in the table of windows is tested from that day on. The resolution is that of the Wine it
// runs under: tests/windows_program/test_every_window.py starts it once for each.

#include <windows.h>

#include <commctrl.h>
#include <gtest/gtest.h>
#include <ole2.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "config/day_number.h"
#include "message_loop.h"
#include "platform/files.h"
#include "support/test_program.h"
#include "ui/dialog_template.h"
#include "ui/message_box.h"
#include "ui/presenter/expression_dialog.h"
#include "ui/presenter/import_dialogs.h"
#include "ui/presenter/sender_dialog.h"
#include "ui/presenter/settings_dialog.h"
#include "ui/presenter/trust_dialog.h"
#include "ui/presenter/why_dialog.h"
#include "ui/resource.h"
#include "ui/small_dialog_window.h"
#include "ui/translation.h"
#include "ui/view_message_window.h"
#include "ui/wide_text.h"
#include "ui/window_table.h"
#include "used_handles.h"
#include "window_checks.h"

namespace quillbeaker {
namespace {

using test::HandleMessages;

// "" is the built-in English.
std::vector<std::string> Languages() {
  std::vector<std::string> names = ListFiles(QUILLBEAKER_LANGUAGE_DIRECTORY, ".Quillbeaker.language");
  names.insert(names.begin(), "");
  return names;
}

void Speak(const std::string& language) {
  const std::string path = QUILLBEAKER_LANGUAGE_DIRECTORY + language;
  InitLanguage(language.empty() ? nullptr : &path);
}

// A row of the table, opened with an argument.
struct Opening {
  const WindowRow* row;
  int argument;
};

std::vector<Opening> Openings() {
  std::vector<Opening> all;
  for (const WindowRow& row : WindowTable()) {
    if (row.command != COMMAND_SETTINGS) {
      all.push_back({&row, 0});
      continue;
    }
    for (const SettingsPageRow& page : SettingsPages()) all.push_back({&row, page.id});
  }
  return all;
}

// A list of one mail, which has a next one.
class OneMail : public ViewedMails {
 public:
  explicit OneMail(MailToView mail) : mail_(std::move(mail)) {}
  std::optional<MailToView> MailOf(std::string_view) const override { return mail_; }
  std::string NextTo(std::string_view, int step) const override { return step > 0 ? "one" : ""; }
  void WasShown(std::string_view) override {}

 private:
  const MailToView mail_;
};

class EveryWindow : public testing::Test {
 protected:
  EveryWindow() {
    OleInitialize(nullptr);
    program.Configure("AlphaBlending=0", SomeSpam());
    Speak("");
  }
  ~EveryWindow() override {
    windows.CloseAll();
    UseDialogFont(font);
    Speak("");
    OleUninitialize();
  }

  // A month of it before the day of the test's clock, for the statistic.
  static std::string SomeSpam() {
    std::string days;
    std::string mails;
    for (int age = 0; age < 30; ++age) {
      days += std::to_string(DayNumber(2006, 3, 2) - age) + ",";
      mails += std::to_string((age * 37 + 11) % 23 * 10) + ",";
    }
    return "[STATS]\r\nDays=" + days + "\r\nMails=" + mails + "\r\n";
  }

  // Null when it did not open.
  HWND Open(const Opening& opening) {
    windows.Open(*opening.row, nullptr, opening.argument);
    HandleMessages();
    return TopWindow();
  }
  static HWND TopWindow() {
    HWND found = nullptr;
    EnumThreadWindows(
        GetCurrentThreadId(),
        [](HWND window, LPARAM result) -> BOOL {
          wchar_t name[16]{};
          GetClassNameW(window, name, 16);
          if (lstrcmpW(name, L"#32770") != 0 || !IsWindowVisible(window)) return TRUE;
          *reinterpret_cast<HWND*>(result) = window;
          return FALSE;
        },
        reinterpret_cast<LPARAM>(&found));
    return found;
  }
  void Close() {
    windows.CloseAll();
    HandleMessages();
  }

  // Calls `look` with every window that opens, by a name.
  void ForEach(const std::function<void(HWND window, const std::string& name)>& look) {
    for (const Opening& opening : Openings()) {
      const HWND window = Open(opening);
      ASSERT_NE(window, nullptr);
      look(window, std::to_string(opening.row->template_id) + "-" + std::to_string(opening.argument));
      Close();
    }
    ExpressionDialog expression([](const std::string&) { return false; });
    SenderDialog sender({.name = "Ann", .address = "*@*", .kind = 1, .date = {}}, true, "Quillbeaker.ini",
                        [](const SenderRecord&) { return SenderChange::kDone; });
    LookAt(DIALOG_EXPRESSION, expression, look);
    LookAt(DIALOG_SENDER, sender, look);
    LookAtImport(look);
    LookAtViewer(look);
    LookAtReasons(look);
  }
  void LookAtReasons(const std::function<void(HWND window, const std::string& name)>& look) {
    const std::string path = program.program().PathOf("explained.eml");
    ASSERT_TRUE(
        WriteWholeFile(path, "From: Ann <ann@example.org>\r\nSubject: an offer\r\n\r\nmoney\r\n", false));
    ASSERT_TRUE(WriteWholeFile(program.program().PathOf("spampoints.ini"),
                               "[PROBABILITIES]\r\noffer=30\r\nmoney=60\r\n", false));
    WhyDialog why({.program = program.program(),
                   .copy = [](std::string_view) { return true; },
                   .show_word = [](const std::string&) {}},
                  {.path = path, .stored_subject = {}, .was_spam = true});
    LookAt(DIALOG_WHY, why, look);
    RecycleEntry entry;
    entry.sender = "Ann Example";
    entry.address = "ann@example.org";
    TrustDialog trust(program.program(), {entry});
    LookAt(DIALOG_TRUST, trust, look);
    TrustDialog several(program.program(), {entry, entry});
    LookAt(DIALOG_TRUST, several, look, "-several");
  }
  // A mail that fills every field, and one whose file is gone.
  void LookAtViewer(const std::function<void(HWND window, const std::string& name)>& look) {
    const MailToView mail{.path = program.program().PathOf("viewed.eml"),
                          .is_stored_text = false,
                          .sender = "",
                          .address = "",
                          .subject = "",
                          .date = "22.11.2026, 17:30"};
    std::string text =
        "From: \"Your bank\" <service@bank.example.evil.example>\r\nSubject: Please confirm your account\r\n"
        "Content-Type: text/html\r\n\r\nDear customer,<br><br><a href=\"http://bank.example@evil.example/x\">"
        "https://bank.example</a><br>";
    for (int i = 0; i < 40; ++i) text += "we noticed a sign-in to your account from a device that is new. ";
    ASSERT_TRUE(WriteWholeFile(mail.path, text, false));
    OneMail one(mail);
    {
      MessageViewer viewer(surroundings, one);
      viewer.Show(nullptr, "one");
      HandleMessages();
      look(viewer.window(), std::to_string(DIALOG_VIEW_MESSAGE));
    }
    ASSERT_TRUE(EraseFile(mail.path));
    MessageViewer viewer(surroundings, one);
    viewer.Show(nullptr, "one");
    HandleMessages();
    look(viewer.window(), std::to_string(DIALOG_VIEW_MESSAGE) + "-gone");
  }
  // With the longest texts that they show.
  void LookAtImport(const std::function<void(HWND window, const std::string& name)>& look) {
    ImportSourceDialog friends(std::nullopt);
    LookAt(DIALOG_IMPORT_SOURCE, friends, look);
    ImportSourceDialog blocked(TextOf(Text::kOutlookExpressBlockedSenders));
    LookAt(DIALOG_IMPORT_SOURCE, blocked, look, "-blocked");
    ImportOfferDialog offer({std::string(40, 'W') + std::string(210, 'n'), std::string(250, 'w')});
    LookAt(DIALOG_OFFER_SENDER, offer, look);
    ImportOfferDialog usual({"Ann Example", "ann@example.org"});
    LookAt(DIALOG_OFFER_SENDER, usual, look, "-usual");
    ImportColumnsDialog columns({"Ann", "Example", "ann@example.org", "+49 30 1234567"}, CsvColumns{0, 2});
    LookAt(DIALOG_IMPORT_COLUMNS, columns, look);
    class : public SmallDialog {
      void Load(PageView& view) override {
        view.SetText(IMPORT_PROGRESS_TEXT, Format(Text::kImportProgress, {"12345678", "1234567"}));
      }
      bool Ok(PageView&) override { return true; }
    } progress;
    LookAt(DIALOG_IMPORT_PROGRESS, progress, look);
  }
  void LookAt(int template_id, SmallDialog& presenter,
              const std::function<void(HWND window, const std::string& name)>& look,
              const std::string& variant = {}) {
    SmallDialogWindow dialog(template_id, presenter, program.program());
    ASSERT_TRUE(dialog.CreateModeless(nullptr));
    ShowWindow(dialog.window(), SW_SHOW);
    HandleMessages();
    look(dialog.window(), std::to_string(template_id) + variant);
  }

  // The window manager may answer the making of a window late, with the size that it had then.
  static void Settle(HWND window, const RECT& wanted) {
    constexpr ULONGLONG kMoment = 40;  // milliseconds
    for (int tries = 0; tries < 10; ++tries) {
      for (const ULONGLONG end = GetTickCount64() + kMoment; GetTickCount64() < end; Sleep(5))
        HandleMessages();
      RECT now{};
      GetWindowRect(window, &now);
      if (EqualRect(&now, &wanted)) return;
      SetWindowPos(window, nullptr, wanted.left, wanted.top, wanted.right - wanted.left,
                   wanted.bottom - wanted.top, SWP_NOZORDER | SWP_NOACTIVATE);
    }
  }

  static void ExpectNone(const test::Faults& faults, const std::string& where) {
    for (const std::string& fault : faults) ADD_FAILURE() << where << ": " << fault;
  }
  static void Picture(HWND window, const std::string& name) {
    const char* const folder = std::getenv("QUILLBEAKER_WINDOW_PICTURES");
    if (folder == nullptr) return;
    RedrawWindow(window, nullptr, nullptr, RDW_INVALIDATE | RDW_UPDATENOW | RDW_ALLCHILDREN);
    // The screen shows a new window, and what was painted last, a moment later.
    constexpr ULONGLONG kMoment = 80;  // milliseconds
    for (const ULONGLONG end = GetTickCount64() + kMoment; GetTickCount64() < end; Sleep(5)) HandleMessages();
    EXPECT_TRUE(test::SavePicture(window, Wide(std::string(folder) + "\\" + name + ".bmp"))) << name;
  }

  test::TestProgram program;
  std::vector<std::string> helped;
  WindowSurroundings surroundings{.program = program.program(),
                                  .settings = {.program = program.program(),
                                               .starts_with_system = [] { return false; },
                                               .set_starts_with_system = [](bool) { return true; },
                                               // With the longest notes that there are.
                                               .ports_in_use =
                                                   [] {
                                                     return std::vector<PortUse>{{110, "", false}};
                                                   },
                                               .can_run = [](int) { return true; },
                                               .run = [](int) {},
                                               .import_senders = [](std::int32_t) {}},
                                  .open_help = [this](std::string_view page) { helped.emplace_back(page); },
                                  .rearm_update_check = {},
                                  .post = [](const std::function<void()>&) {},
                                  .window_closed = {}};
  OpenWindows windows{surroundings};
  const DialogFont font = SystemDialogFont();
};

TEST_F(EveryWindow, HasRoomForItsTextsInEveryLanguage) {
  const std::string dpi = std::to_string(GetDpiForSystem());
  for (const std::string& language : Languages()) {
    Speak(language);
    const std::string name = language.empty() ? "English" : language.substr(0, language.find('.'));
    ForEach([&](HWND window, const std::string& id) {
      const std::string where = dpi + "-" + name + "-" + id;
      ExpectNone(test::FaultsOfLayout(window), where);
      ExpectNone(test::FaultsOfMnemonics(window), where);
      // Elsewhere the other languages are judged only: a person looks at each once.
      if (language.empty() || GetDpiForSystem() == 96) Picture(window, where);
    });
  }
}

TEST_F(EveryWindow, HasRoomInAWiderFont) {
  UseDialogFont({"DejaVu Sans", 9});
  for (const std::string& language : Languages()) {
    Speak(language);
    ForEach([&](HWND window, const std::string& id) {
      ExpectNone(test::FaultsOfLayout(window), language + " " + id);
      if (language.empty()) Picture(window, std::to_string(GetDpiForSystem()) + "-wide-" + id);
    });
  }
}

TEST_F(EveryWindow, IsReadByTabFromTheTopToTheBottom) {
  ForEach([&](HWND window, const std::string& id) { ExpectNone(test::FaultsOfTabOrder(window), id); });
}

TEST_F(EveryWindow, HasANameForEveryControl) {
  ForEach([&](HWND window, const std::string& id) { ExpectNone(test::FaultsOfNames(window), id); });
}

TEST_F(EveryWindow, ClosesByEscape) {
  ForEach([&](HWND window, const std::string& id) {
    PostMessageW(GetFocus(), WM_KEYDOWN, VK_ESCAPE, 0);
    HandleMessages();
    EXPECT_FALSE(IsWindow(window)) << id;
  });
}

TEST_F(EveryWindow, OpensItsHelpFromEveryControl) {
  for (const Opening& opening : Openings()) {
    const HWND window = Open(opening);
    int controls = 0;
    EnumChildWindows(
        window,
        [](HWND control, LPARAM count) -> BOOL {
          wchar_t name[16]{};
          GetClassNameW(control, name, 16);
          const bool is_asked = lstrcmpW(name, L"Button") == 0 || lstrcmpiW(name, WC_LISTVIEWW) == 0;
          if (IsWindowVisible(control) && is_asked) {
            HELPINFO help{};
            help.cbSize = sizeof help;
            help.iContextType = HELPINFO_WINDOW;
            help.hItemHandle = control;
            SendMessageW(control, WM_HELP, 0, reinterpret_cast<LPARAM>(&help));
            ++*reinterpret_cast<int*>(count);
          }
          return TRUE;
        },
        reinterpret_cast<LPARAM>(&controls));
    ASSERT_GE(controls, 1);
    const SettingsPageRow* const page = FindSettingsPage(opening.argument);
    const std::string_view help_page = page != nullptr ? page->help_page : opening.row->help_page;
    ASSERT_FALSE(help_page.empty());
    EXPECT_EQ(helped, std::vector<std::string>(static_cast<std::size_t>(controls), std::string(help_page)));
    helped.clear();
    Close();
  }
}

TEST_F(EveryWindow, MovesToAScreenOfAnotherResolution) {
  const int here = static_cast<int>(GetDpiForSystem());
  ForEach([&](HWND window, const std::string& id) {
    RECT before{};
    GetWindowRect(window, &before);
    Settle(window, before);
    RECT client{};
    GetClientRect(window, &client);
    const SIZE frame{before.right - before.left - client.right, before.bottom - before.top - client.bottom};
    for (const int dpi : {144, 288, here}) {
      // The system that sends this scales the frame too; here it keeps its size.
      const RECT wanted{10, 10, 10 + frame.cx + MulDiv(client.right, dpi, here),
                        10 + frame.cy + MulDiv(client.bottom, dpi, here)};
      SendMessageW(window, WM_DPICHANGED, MAKEWPARAM(dpi, dpi), reinterpret_cast<LPARAM>(&wanted));
      Settle(window, wanted);
      ExpectNone(test::FaultsOfLayout(window), id + " at " + std::to_string(dpi));
      if (dpi != here && here == 96)
        Picture(window, std::to_string(here) + "-moved-to-" + std::to_string(dpi) + "-" + id);
    }
  });
}

// Runs `act` after a moment, in whatever message loop there is then.
class InAMoment {
 public:
  explicit InAMoment(std::function<void()> act) {
    now = std::move(act);
    timer_ = SetTimer(nullptr, 0, 30, [](HWND, UINT, UINT_PTR id, DWORD) {
      KillTimer(nullptr, id);
      const auto what = std::exchange(now, nullptr);
      if (what) what();
    });
  }
  ~InAMoment() {
    KillTimer(nullptr, timer_);
    now = nullptr;
  }
  InAMoment(const InAMoment&) = delete;
  InAMoment& operator=(const InAMoment&) = delete;

 private:
  static inline std::function<void()> now;
  UINT_PTR timer_ = 0;
};

int OpenDialogs() {
  int count = 0;
  EnumThreadWindows(
      GetCurrentThreadId(),
      [](HWND window, LPARAM result) -> BOOL {
        wchar_t name[16]{};
        GetClassNameW(window, name, 16);
        if (lstrcmpW(name, L"#32770") == 0) ++*reinterpret_cast<int*>(result);
        return TRUE;
      },
      reinterpret_cast<LPARAM>(&count));
  return count;
}

TEST_F(EveryWindow, ClosesWhileABoxOfItsOwnStands) {
  for (const Opening& opening : Openings()) {
    const HWND window = Open(opening);
    const InAMoment close([window] {
      EXPECT_EQ(OpenDialogs(), 2);
      PostMessageW(window, WM_CLOSE, 0, 0);
    });
    ShowMessageBoxOf(window, L"a box", MB_OK);
    HandleMessages();
    EXPECT_FALSE(IsWindow(window)) << opening.argument;
    EXPECT_EQ(OpenDialogs(), 0);
    Close();
  }
}

TEST_F(EveryWindow, IsClosedByTheProgramsEndWhileABoxOfItsOwnStands) {
  for (const Opening& opening : Openings()) {
    const HWND window = Open(opening);
    const InAMoment quit([this] {
      EXPECT_EQ(OpenDialogs(), 2);
      windows.CloseAll();
    });
    ShowMessageBoxOf(window, L"a box", MB_OK);
    HandleMessages();
    EXPECT_FALSE(IsWindow(window)) << opening.argument;
    EXPECT_EQ(OpenDialogs(), 0);
  }
}

// A handler of the window is on the stack then, and those of the dialogs that it opened.
TEST_F(EveryWindow, ClosesUnderADialogAndABoxThatItOpened) {
  const WindowRow& settings =
      *std::find_if(WindowTable().begin(), WindowTable().end(),
                    [](const WindowRow& row) { return row.command == COMMAND_SETTINGS; });
  for (const auto& [page, add] : {std::pair{PAGE_FRIENDS, LISTED_ADD}, {PAGE_SPAM_WORDS, WORDS_ADD}}) {
    for (const bool by_program : {false, true}) {
      for (const bool with_box : {false, true}) {
        const HWND window = Open({&settings, page});
        const InAMoment act([&, this] {
          ASSERT_EQ(OpenDialogs(), 2);
          const HWND dialog = GetLastActivePopup(window);
          if (with_box) PostMessageW(dialog, WM_COMMAND, IDOK, 0);  // its fields are empty
          const InAMoment close([&, this] {
            EXPECT_EQ(OpenDialogs(), with_box ? 3 : 2);
            if (by_program) {
              windows.CloseAll();
            } else {
              PostMessageW(window, WM_CLOSE, 0, 0);
            }
          });
          for (const ULONGLONG end = GetTickCount64() + 300; GetTickCount64() < end; Sleep(5))
            HandleMessages();
        });
        SendMessageW(FindWindowExW(window, nullptr, L"#32770", nullptr), WM_COMMAND, static_cast<WPARAM>(add),
                     0);
        HandleMessages();
        EXPECT_FALSE(IsWindow(window)) << page;
        EXPECT_EQ(OpenDialogs(), 0) << page;
        Close();
      }
    }
  }
}

TEST_F(EveryWindow, FollowsTheColoursOfTheSystem) {
  constexpr int kColours[] = {COLOR_WINDOW,  COLOR_WINDOWTEXT, COLOR_BTNFACE,
                              COLOR_BTNTEXT, COLOR_HIGHLIGHT,  COLOR_HIGHLIGHTTEXT};
  constexpr COLORREF kDark[] = {RGB(0, 0, 0),     RGB(255, 255, 255), RGB(16, 0, 32),
                                RGB(255, 255, 0), RGB(0, 128, 128),   RGB(255, 255, 255)};
  COLORREF former[6]{};
  for (int i = 0; i < 6; ++i) former[i] = GetSysColor(kColours[i]);
  ForEach([&](HWND window, const std::string& id) {
    ExpectNone(test::FaultsOfColours(window), id);
    SetSysColors(6, kColours, kDark);
    SendMessageW(window, WM_SYSCOLORCHANGE, 0, 0);
    ExpectNone(test::FaultsOfColours(window), id + " with other colours");
    Picture(window, std::to_string(GetDpiForSystem()) + "-dark-" + id);
    SetSysColors(6, kColours, former);
  });
}

TEST_F(EveryWindow, LeavesNothingBehind) {
  if (GetDpiForSystem() != 96) GTEST_SKIP() << "the same code at every resolution";
  constexpr int kWarmUp = 3;
  constexpr int kOpenings = 20;
  int objects = 0;
  int handles = 0;
  for (int i = 0; i < kWarmUp + kOpenings; ++i) {
    if (i == kWarmUp) {
      objects = test::UsedGdiObjects();
      handles = test::UsedHandles();
    }
    ForEach([](HWND, const std::string&) {});
  }
  EXPECT_LE(test::UsedGdiObjects(), objects);
  EXPECT_LE(test::UsedHandles(), handles);
}

TEST(UsedHandles, SeeWhatIsLeftBehind) {
  const int objects = test::UsedGdiObjects();
  const int handles = test::UsedHandles();
  ASSERT_GT(objects, 0);
  ASSERT_GT(handles, 0);
  {
    const UniqueBrush brush(CreateSolidBrush(RGB(1, 2, 3)));
    const UniqueKernelHandle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    EXPECT_EQ(test::UsedGdiObjects(), objects + 1);
    EXPECT_EQ(test::UsedHandles(), handles + 1);
  }
  EXPECT_EQ(test::UsedGdiObjects(), objects);
  EXPECT_EQ(test::UsedHandles(), handles);
}

}  // namespace
}  // namespace quillbeaker
