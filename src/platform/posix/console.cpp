// SPDX-License-Identifier: MIT
#include "platform/console.h"

#include <pthread.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <system_error>
#include <thread>
#include <utility>

namespace quillbeaker {
namespace {

void Write(std::FILE* stream, std::string_view bytes) {
  std::fwrite(bytes.data(), 1, bytes.size(), stream);
  std::fflush(stream);
}

struct FreeMemory {
  void operator()(char* memory) const { std::free(memory); }
};

termios shown_terminal;  // the terminal's state while nothing of it is hidden

// tcsetattr, sigaction and raise may all be called in a signal handler.
extern "C" void ShowAndEnd(int number) {
  tcsetattr(STDIN_FILENO, TCSANOW, &shown_terminal);
  struct sigaction action {};
  action.sa_handler = SIG_DFL;
  sigaction(number, &action, nullptr);
  raise(number);
}

// Typed characters are not shown while it lives. Ctrl+C ends the program as ever, and leaves a terminal that
// shows what is typed.
class HiddenInput {
 public:
  HiddenInput() : is_terminal_(tcgetattr(STDIN_FILENO, &shown_terminal) == 0) {
    if (!is_terminal_) return;
    struct sigaction action {};
    action.sa_handler = ShowAndEnd;
    for (std::size_t i = 0; i < kSignals.size(); ++i) sigaction(kSignals[i], &action, &before_[i]);
    termios hidden = shown_terminal;
    hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    hidden.c_lflag |= ECHONL;
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &hidden);
  }
  ~HiddenInput() {
    if (!is_terminal_) return;
    tcsetattr(STDIN_FILENO, TCSANOW, &shown_terminal);
    for (std::size_t i = 0; i < kSignals.size(); ++i) sigaction(kSignals[i], &before_[i], nullptr);
  }
  HiddenInput(const HiddenInput&) = delete;
  HiddenInput& operator=(const HiddenInput&) = delete;

 private:
  static constexpr std::array kSignals{SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP};
  const bool is_terminal_;
  std::array<struct sigaction, kSignals.size()> before_{};
};

}  // namespace

std::vector<std::string> CommandLine(int argc, char** argv) {
  return {argv, argv + argc};
}

void OnInterrupt(std::function<void()> handler) {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction action {};
    sigaction(number, nullptr, &action);
    // nohup(1) asks for a program that outlives its terminal; a shell's ignored SIGINT for background jobs
    // asks for nothing, since the signal can then only have been sent on purpose.
    if (number == SIGHUP && action.sa_handler == SIG_IGN) continue;
    if (action.sa_handler == SIG_IGN) std::signal(number, SIG_DFL);
    sigaddset(&signals, number);
  }
  // Blocked in every thread (later ones inherit it), they are waited for by one: no code has to run in a
  // signal handler.
  sigset_t mask_before;
  pthread_sigmask(SIG_BLOCK, &signals, &mask_before);
  const auto wait = [signals, handler = std::move(handler)] {
    int number = 0;
    while (sigwait(&signals, &number) != 0) {
    }
    handler();
  };
  try {
    std::thread(wait).detach();
  } catch (const std::system_error&) {
    // Nobody would wait for them: blocked, they could not even end the process.
    pthread_sigmask(SIG_SETMASK, &mask_before, nullptr);
  }
}

bool StandardOutputIsTerminal() {
  return isatty(STDOUT_FILENO) != 0;
}

std::size_t StandardOutputColumns() {
  constexpr std::size_t kUsual = 80;
  winsize size{};
  return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : kUsual;
}

bool StandardInputIsTerminal() {
  return isatty(STDIN_FILENO) != 0;
}

void WriteStandardOutput(std::string_view bytes) {
  Write(stdout, bytes);
}

bool StandardOutputIsWhole() {
  return std::ferror(stdout) == 0;
}

void WriteStandardError(std::string_view bytes) {
  Write(stderr, bytes);
}

// Character by character from the descriptor: a stream's buffer would keep the secret.
std::optional<std::string> ReadSecretLine(std::string_view prompt) {
  constexpr std::size_t kLongest = 4096;
  const HiddenInput hidden;
  WriteStandardError(prompt);
  std::string line;
  line.reserve(kLongest);  // grown, it would leave copies behind
  bool any = false;
  char c = 0;
  while (read(STDIN_FILENO, &c, 1) == 1) {
    any = true;
    if (c == '\n') break;
    if (line.size() < kLongest) line += c;
  }
  if (!any) return std::nullopt;
  if (line.ends_with('\r')) line.pop_back();
  return line;
}

std::optional<std::string> ReadStandardInputLine() {
  // A program in the background that reads from the terminal would be stopped: it shall be told that it
  // cannot.
  std::signal(SIGTTIN, SIG_IGN);
  char* memory = nullptr;
  std::size_t capacity = 0;
  const ssize_t size = getline(&memory, &capacity, stdin);
  const std::unique_ptr<char, FreeMemory> owner(memory);
  if (size < 0) return std::nullopt;
  std::string_view line(memory, static_cast<std::size_t>(size));
  if (line.ends_with('\n')) line.remove_suffix(1);
  if (line.ends_with('\r')) line.remove_suffix(1);
  return std::string(line);
}

}  // namespace quillbeaker
