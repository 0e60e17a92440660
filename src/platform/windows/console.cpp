// SPDX-License-Identifier: MIT
#include "platform/console.h"

#include <windows.h>

#include <shellapi.h>  // needs windows.h before it: the blank line keeps the order

#include <algorithm>
#include <atomic>
#include <utility>

#include "platform/windows/wide.h"

namespace quillbeaker {
namespace {

// The console's handler is a plain function, so what it calls stands here.
std::function<void()>& Handler() {
  static std::function<void()> handler;
  return handler;
}

BOOL WINAPI OnConsoleEvent(DWORD event) {
  static std::atomic<bool> called{false};
  if (!called.exchange(true)) Handler()();
  // The console's end, unlike Ctrl+C, ends the process as soon as this returns: the main thread gets the time
  // to end it in order. The system itself waits some seconds at most.
  if (event == CTRL_CLOSE_EVENT || event == CTRL_LOGOFF_EVENT || event == CTRL_SHUTDOWN_EVENT)
    Sleep(INFINITE);
  return TRUE;
}

bool IsConsole(HANDLE handle) {
  DWORD mode;
  return GetConsoleMode(handle, &mode) != 0;
}

bool& OutputFailed() {
  static bool failed = false;
  return failed;
}

bool WriteToConsole(HANDLE console, std::wstring_view text) {
  constexpr std::size_t kMostAtOnce = 8192;
  while (!text.empty()) {
    DWORD written = 0;
    const auto size = static_cast<DWORD>(std::min(text.size(), kMostAtOnce));
    if (!WriteConsoleW(console, text.data(), size, &written, nullptr) || written == 0) return false;
    text.remove_prefix(written);
  }
  return true;
}

bool Write(DWORD which, std::string_view bytes) {
  const HANDLE handle = GetStdHandle(which);
  if (IsConsole(handle)) {
    return WriteToConsole(handle, WideFromUtf8(bytes));
  }
  while (!bytes.empty()) {
    DWORD written = 0;
    const auto size = static_cast<DWORD>(std::min<std::size_t>(bytes.size(), 1 << 20));
    if (!WriteFile(handle, bytes.data(), size, &written, nullptr) || written == 0) return false;
    bytes.remove_prefix(written);
  }
  return true;
}

// The next piece of standard input as UTF-8; empty at its end.
std::string ReadPiece(HANDLE input) {
  if (IsConsole(input)) {
    wchar_t typed[1024];
    DWORD count = 0;
    if (!ReadConsoleW(input, typed, 1024, &count, nullptr)) return {};
    return Utf8FromWide(std::wstring_view(typed, count));
  }
  char buffer[4096];
  DWORD got = 0;
  if (!ReadFile(input, buffer, sizeof buffer, &got, nullptr)) return {};
  return std::string(buffer, got);
}

constexpr std::size_t kLongestSecret = 4096;  // bytes

// What is typed up to the Enter key, not shown. Ctrl+Z at the start is the end of input.
std::optional<std::string> ReadHiddenConsoleLine(HANDLE input, std::string_view prompt) {
  DWORD mode = 0;
  GetConsoleMode(input, &mode);
  SetConsoleMode(input, (mode | ENABLE_LINE_INPUT) & ~static_cast<DWORD>(ENABLE_ECHO_INPUT));
  WriteStandardError(prompt);
  wchar_t typed[1024];
  DWORD count = 0;
  const bool read = ReadConsoleW(input, typed, 1024, &count, nullptr) && count > 0 && typed[0] != L'\x1A';
  SetConsoleMode(input, mode);
  WriteStandardError("\n");  // that of the Enter key was not shown either
  std::optional<std::string> line;
  if (read) {
    const std::wstring_view text(typed, count);
    line = Utf8FromWide(text.substr(0, text.find(L'\n')));
  }
  SecureZeroMemory(typed, sizeof typed);
  return line;
}

// Byte by byte; what is longer than any secret is left out.
std::optional<std::string> ReadUnbufferedLine(HANDLE input) {
  std::string line;
  line.reserve(kLongestSecret);  // grown, it would leave copies behind
  bool any = false;
  char c = 0;
  DWORD got = 0;
  while (ReadFile(input, &c, 1, &got, nullptr) && got == 1) {
    any = true;
    if (c == '\n') break;
    if (line.size() < kLongestSecret) line += c;
  }
  if (!any) return std::nullopt;
  return line;
}

}  // namespace

std::vector<std::string> CommandLine(int, char**) {
  std::vector<std::string> arguments;
  int count = 0;
  wchar_t** wide = CommandLineToArgvW(GetCommandLineW(), &count);
  if (!wide) return arguments;
  for (int i = 0; i < count; ++i) arguments.push_back(Utf8FromWide(wide[i]));
  LocalFree(wide);
  return arguments;
}

void OnInterrupt(std::function<void()> handler) {
  Handler() = std::move(handler);
  SetConsoleCtrlHandler(OnConsoleEvent, TRUE);
}

bool StandardOutputIsTerminal() {
  // A console shows escape sequences as they are until it is told to follow them, which old ones cannot.
  const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
  DWORD mode;
  return GetConsoleMode(output, &mode) && SetConsoleMode(output, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
}

std::size_t StandardOutputColumns() {
  constexpr std::size_t kUsual = 80;
  CONSOLE_SCREEN_BUFFER_INFO info;
  if (!GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &info)) return kUsual;
  // The window's columns: the buffer behind it may be wider.
  const int columns = info.srWindow.Right - info.srWindow.Left + 1;
  return columns > 0 ? static_cast<std::size_t>(columns) : kUsual;
}

bool StandardInputIsTerminal() {
  return IsConsole(GetStdHandle(STD_INPUT_HANDLE));
}

void WriteStandardOutput(std::string_view bytes) {
  if (!Write(STD_OUTPUT_HANDLE, bytes)) OutputFailed() = true;
}

bool StandardOutputIsWhole() {
  return !OutputFailed();
}

void WriteStandardError(std::string_view bytes) {
  Write(STD_ERROR_HANDLE, bytes);
}

std::optional<std::string> ReadStandardInputLine() {
  static std::string unread;
  const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
  std::size_t end;
  std::size_t searched = 0;
  while ((end = unread.find('\n', searched)) == std::string::npos) {
    searched = unread.size();
    const std::string piece = ReadPiece(input);
    // Ctrl+Z at the start of a line is the end of input on a console.
    if (piece.empty() || (unread.empty() && piece.front() == '\x1A' && IsConsole(input))) break;
    unread += piece;
  }
  if (unread.empty()) return std::nullopt;
  std::string line = unread.substr(0, end);
  unread.erase(0, end == std::string::npos ? end : end + 1);
  if (line.ends_with('\r')) line.pop_back();
  return line;
}

// Not with ReadStandardInputLine, whose buffer would keep the secret.
std::optional<std::string> ReadSecretLine(std::string_view prompt) {
  const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
  std::optional<std::string> line =
      IsConsole(input) ? ReadHiddenConsoleLine(input, prompt) : ReadUnbufferedLine(input);
  if (line && line->ends_with('\r')) line->pop_back();
  return line;
}

}  // namespace quillbeaker
