// SPDX-License-Identifier: MIT

// How long the settings take to open, beside the same templates shown by the system alone, and how long their
// lists take with few and with many rows; how long the recycle bin takes empty and full, and what a row of it
// costs in memory. A Windows program, which bench/windows_program.py starts.
//
//   window_times ROUNDS
//
// Prints a name and milliseconds, the median of the rounds, for each; what is compared is measured in turn.
// Of the memory it prints bytes.

#include <windows.h>

#include <commctrl.h>
#include <ole2.h>
#include <psapi.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "support/test_program.h"
#include "ui/resource.h"
#include "ui/ui_queue.h"
#include "ui/window_table.h"
#include "windows/message_loop.h"

namespace quillbeaker {
namespace {

using test::HandleMessages;

constexpr int kFewRows = 20;
constexpr int kManyRows = 20000;

using Clock = std::chrono::steady_clock;

double Milliseconds(const std::function<void()>& what) {
  const Clock::time_point begin = Clock::now();
  what();
  return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

double Median(std::vector<double> times) {
  std::sort(times.begin(), times.end());
  return times[times.size() / 2];
}

INT_PTR CALLBACK AnswerNothing(HWND, UINT message, WPARAM, LPARAM) {
  return message == WM_INITDIALOG ? TRUE : FALSE;
}

void ShowTemplatesAlone() {
  const HINSTANCE module = GetModuleHandleW(nullptr);
  const HWND dialog =
      CreateDialogParamW(module, MAKEINTRESOURCEW(DIALOG_SETTINGS), nullptr, AnswerNothing, 0);
  const HWND page = CreateDialogParamW(module, MAKEINTRESOURCEW(PAGE_GENERAL), dialog, AnswerNothing, 0);
  ShowWindow(page, SW_SHOW);
  ShowWindow(dialog, SW_SHOW);
  HandleMessages();
  DestroyWindow(dialog);
  HandleMessages();
}

// The program's own settings, over a directory of their own.
class Settings {
 public:
  Settings() { program_.Configure("AlphaBlending=0"); }

  void Open(int page) {
    const auto& rows = WindowTable();
    const auto row = std::find_if(rows.begin(), rows.end(),
                                  [](const WindowRow& one) { return one.command == COMMAND_SETTINGS; });
    windows_.Open(*row, nullptr, page);
    HandleMessages();
  }
  void Close() {
    windows_.CloseAll();
    HandleMessages();
  }
  void ListWords(int count) {
    std::string file = "[PROBABILITIES]\r\n";
    for (int i = 0; i < count; ++i) file += "word" + std::to_string(i) + "=10\r\n";
    program_.directory.Put("spampoints_user.ini", file);
  }
  void ListSenders(int count) {
    std::string file = "[QUILLBEAKER]\r\nAlphaBlending=0\r\n[SENDERS]\r\n";
    for (int i = 0; i < count; ++i) {
      file += "sender" + std::to_string(i) + "@example.org=Sender " + std::to_string(i) + ",1\r\n";
    }
    program_.directory.Put("Quillbeaker.ini", file);
  }

 private:
  test::TestProgram program_;
  WindowSurroundings surroundings_{.program = program_.program(),
                                   .settings = {.program = program_.program(),
                                                .starts_with_system = [] { return false; },
                                                .set_starts_with_system = [](bool) { return true; },
                                                .ports_in_use = [] { return std::vector<PortUse>(); },
                                                .can_run = [](int) { return true; },
                                                .run = [](int) {},
                                                .import_senders = [](std::int32_t) {}},
                                   .open_help = [](std::string_view) {},
                                   .rearm_update_check = {},
                                   .post = [](const std::function<void()>&) {},
                                   .window_closed = {}};
  OpenWindows windows_{surroundings_};
};

struct Wanted {
  int control;
  HWND found;
};

BOOL CALLBACK IsWanted(HWND window, LPARAM result) {
  auto& wanted = *reinterpret_cast<Wanted*>(result);
  if (GetDlgCtrlID(window) == wanted.control && IsWindowVisible(window)) wanted.found = window;
  return wanted.found == nullptr;
}

BOOL CALLBACK FindBelow(HWND window, LPARAM result) {
  EnumChildWindows(window, IsWanted, result);
  return reinterpret_cast<Wanted*>(result)->found == nullptr;
}

HWND ShownControl(int control) {
  Wanted wanted{control, nullptr};
  EnumThreadWindows(GetCurrentThreadId(), FindBelow, reinterpret_cast<LPARAM>(&wanted));
  return wanted.found;
}

// The slowest of the keys of a search that finds the last row, and of one that finds none.
double SlowestKey(int search, const std::vector<std::wstring>& texts) {
  const HWND field = ShownControl(search);
  if (field == nullptr) return -1;
  double slowest = 0;
  for (const std::wstring& text : texts) {
    for (std::size_t keys = 1; keys <= text.size(); ++keys) {
      slowest = std::max(slowest, Milliseconds([&] {
                           SetWindowTextW(field, text.substr(0, keys).c_str());
                           HandleMessages();
                         }));
    }
    SetWindowTextW(field, L"");
    HandleMessages();
  }
  return slowest;
}

void MeasureOpening(int rounds) {
  Settings settings;
  settings.Open(PAGE_GENERAL);  // what is loaded once
  settings.Close();
  ShowTemplatesAlone();
  std::vector<double> alone;
  std::vector<double> own;
  for (int i = 0; i < rounds; ++i) {
    alone.push_back(Milliseconds(ShowTemplatesAlone));
    own.push_back(Milliseconds([&settings] {
      settings.Open(PAGE_GENERAL);
      settings.Close();
    }));
  }
  std::printf("templates %.2f\nsettings %.2f\n", Median(alone), Median(own));
}

void MeasureList(const char* name, int page, int search, const std::vector<std::wstring>& texts,
                 void (Settings::*fill)(int count), int rounds) {
  Settings few;
  Settings many;
  (few.*fill)(kFewRows);
  (many.*fill)(kManyRows);
  std::vector<double> with_few;
  std::vector<double> with_many;
  std::vector<double> keys;
  for (int i = 0; i < rounds; ++i) {
    with_few.push_back(Milliseconds([&] { few.Open(page); }));
    few.Close();
    with_many.push_back(Milliseconds([&] { many.Open(page); }));
    keys.push_back(SlowestKey(search, texts));
    many.Close();
  }
  std::printf("%s-few %.2f\n%s-many %.2f\n%s-key %.2f\n", name, Median(with_few), name, Median(with_many),
              name, Median(keys));
}

// The recycle bin of a directory of its own with so many mails in its index.
class Bin {
 public:
  explicit Bin(int count) {
    program_.Configure("AlphaBlending=0");
    std::string index = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n<recyclebin>";
    for (int i = 0; i < count; ++i) {
      const std::string number = std::to_string(i);
      index += "<recyclefile name=\"2460000_120507_" + number + ".recycle\" date=\"" +
               std::to_string(2460000 + i % 30) + "\" time=\"12:05\" subject=\"An offer that nobody " +
               number +
               " can resist\" spamwords=\"cheap, offer, free\" probability=\"0.9871\" "
               "account=\"ann @ pop.example.org\" sender=\"Sender " +
               number + "\" address=\"sender" + number + "@example.org\" size=\"" + std::to_string(2000 + i) +
               "\"/>";
    }
    program_.directory.Put("recycle/recyclebin.xml", index + "</recyclebin>\n");
    if (!queue_.Open()) std::abort();
  }

  // Until it is drawn.
  void Open() {
    const auto& rows = WindowTable();
    const auto row = std::find_if(rows.begin(), rows.end(),
                                  [](const WindowRow& one) { return one.command == COMMAND_RECYCLE_BIN; });
    windows_.Open(*row, nullptr);
    UpdateWindow(windows_.WindowOf(COMMAND_RECYCLE_BIN));
  }
  void WaitForRows(int count) const {
    while (ListView_GetItemCount(List()) != count) {
      HandleMessages();
      Sleep(1);
    }
    HandleMessages();
  }
  // The median of the pages down to the last one, each far from the one before.
  double Page() const {
    std::vector<double> pages;
    for (int row = 0; row < ListView_GetItemCount(List()); row += 997) {
      pages.push_back(Milliseconds([&] {
        ListView_EnsureVisible(List(), row, FALSE);
        RedrawWindow(List(), nullptr, nullptr, RDW_INVALIDATE | RDW_UPDATENOW);
      }));
    }
    return Median(pages);
  }
  void Sort(int column) const {
    NMLISTVIEW click{};
    click.hdr = {List(), RECYCLE_LIST, static_cast<UINT>(LVN_COLUMNCLICK)};
    click.iSubItem = column;
    SendMessageW(GetParent(List()), WM_NOTIFY, RECYCLE_LIST, reinterpret_cast<LPARAM>(&click));
    HandleMessages();
  }
  void Close() {
    windows_.CloseAll();
    HandleMessages();
  }

 private:
  HWND List() const { return GetDlgItem(windows_.WindowOf(COMMAND_RECYCLE_BIN), RECYCLE_LIST); }

  test::TestProgram program_;
  UiQueue queue_;
  WindowSurroundings surroundings_{
      .program = program_.program(),
      .settings = {.program = program_.program(),
                   .starts_with_system = {},
                   .set_starts_with_system = {},
                   .ports_in_use = {},
                   .can_run = {},
                   .run = {},
                   .import_senders = {}},
      .open_help = [](std::string_view) {},
      .rearm_update_check = {},
      .post = [this](std::function<void()> task) { queue_.Post(std::move(task)); },
      .window_closed = {}};
  OpenWindows windows_{surroundings_};
};

double ResidentBytes() {
  PROCESS_MEMORY_COUNTERS counters{};
  counters.cb = sizeof counters;
  GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
  return static_cast<double>(counters.WorkingSetSize);
}

void MeasureBin(int rounds) {
  constexpr int kMails = 50'000;
  constexpr int kSubject = 1;
  Bin empty(0);
  Bin full(kMails);
  empty.Open();  // what is loaded once
  const double before = ResidentBytes();
  empty.Close();
  std::vector<double> without;
  std::vector<double> with;
  std::vector<double> listed;
  std::vector<double> pages;
  std::vector<double> sorted;
  double after = 0;
  for (int i = 0; i < rounds; ++i) {
    without.push_back(Milliseconds([&] { empty.Open(); }));
    empty.Close();
    with.push_back(Milliseconds([&] { full.Open(); }));
    listed.push_back(Milliseconds([&] { full.WaitForRows(kMails); }));
    if (i == 0) after = ResidentBytes();
    pages.push_back(full.Page());
    sorted.push_back(Milliseconds([&] { full.Sort(kSubject); }));
    full.Close();
  }
  std::printf(
      "bin-empty %.2f\nbin-full %.2f\nbin-listed %.2f\nbin-page %.2f\nbin-sorted %.2f\nbin-row-bytes %.0f\n",
      Median(without), Median(with), Median(listed), Median(pages), Median(sorted),
      (after - before) / kMails);
}

}  // namespace
}  // namespace quillbeaker

int main(int argc, char** argv) {
  using namespace quillbeaker;
  const int rounds = argc == 2 ? std::atoi(argv[1]) : 0;
  if (rounds < 1) {
    std::fprintf(stderr, "usage: window_times ROUNDS\n");
    return 2;
  }
  if (FAILED(OleInitialize(nullptr))) return 1;
  MeasureOpening(rounds);
  MeasureList("words", PAGE_SPAM_WORDS, WORDS_SEARCH, {L"word19999", L"nothing like it"},
              &Settings::ListWords, rounds);
  MeasureList("senders", PAGE_BLOCKED_SENDERS, LISTED_SEARCH, {L"sender19999", L"nothing like it"},
              &Settings::ListSenders, rounds);
  MeasureBin(rounds);
  OleUninitialize();
}
