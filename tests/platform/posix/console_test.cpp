// SPDX-License-Identifier: MIT
#include "platform/console.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace quillbeaker {
namespace {

// Runs `body` in a process of its own that has `input` on standard input; gives what it wrote, and its exit
// status.
struct Outcome {
  std::string output;
  int status = -1;
};
Outcome InChild(const std::string& input, void (*body)(), void (*with_child)(pid_t, int output) = nullptr) {
  int in[2];
  int out[2];
  EXPECT_EQ(pipe(in), 0);
  EXPECT_EQ(pipe(out), 0);
  // Else the child would write out again what waits in this process's buffers.
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    dup2(in[0], STDIN_FILENO);
    dup2(out[1], STDOUT_FILENO);
    dup2(out[1], STDERR_FILENO);
    for (const int end : {in[0], in[1], out[0], out[1]}) close(end);
    body();
    _exit(77);
  }
  close(in[0]);
  close(out[1]);
  EXPECT_EQ(write(in[1], input.data(), input.size()), static_cast<ssize_t>(input.size()));
  close(in[1]);
  if (with_child) with_child(child, out[0]);
  Outcome outcome;
  char buffer[4096];
  for (ssize_t got; (got = read(out[0], buffer, sizeof buffer)) > 0;) {
    outcome.output.append(buffer, static_cast<std::size_t>(got));
  }
  close(out[0]);
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
  return outcome;
}

void WaitForInterrupt() {
  OnInterrupt([] {
    WriteStandardOutput("stopped");
    _exit(0);
  });
  WriteStandardOutput("r");
  for (;;) pause();
}

template <int kSignal>
void SendWhenReady(pid_t child, int output) {
  char ready = 0;
  EXPECT_EQ(read(output, &ready, 1), 1);
  kill(child, kSignal);
}

TEST(OnInterrupt, TurnsSignalsIntoOneCall) {
  for (const auto send : {SendWhenReady<SIGINT>, SendWhenReady<SIGTERM>, SendWhenReady<SIGHUP>}) {
    const Outcome outcome = InChild("", WaitForInterrupt, send);
    EXPECT_EQ(outcome.output, "stopped");
    EXPECT_EQ(outcome.status, 0);
  }
}

// A shell without job control starts background commands so.
TEST(OnInterrupt, WorksWhereSigintWasIgnored) {
  const Outcome outcome = InChild(
      "",
      [] {
        std::signal(SIGINT, SIG_IGN);
        WaitForInterrupt();
      },
      SendWhenReady<SIGINT>);
  EXPECT_EQ(outcome.output, "stopped");
  EXPECT_EQ(outcome.status, 0);
}

TEST(OnInterrupt, LeavesTheSignalsWhatTheyAreWhereNoThreadCanBe) {
  const Outcome outcome = InChild("", [] {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    // More than the address space has.
    if (pthread_attr_setstacksize(&attributes, std::size_t{1} << 47) != 0) _exit(78);
    if (pthread_setattr_default_np(&attributes) != 0) _exit(79);
    OnInterrupt([] { _exit(0); });
    WriteStandardOutput("alive");
    raise(SIGTERM);
  });
  EXPECT_EQ(outcome.output, "alive");
  EXPECT_EQ(outcome.status, 1000 + SIGTERM);
}

TEST(StandardInput, GivesLinesWithoutTheirEnds) {
  const Outcome outcome = InChild("one\n\ntwo\r\nlast", [] {
    while (const auto line = ReadStandardInputLine()) WriteStandardOutput("[" + *line + "]");
    WriteStandardError(ReadStandardInputLine() ? "more" : "end");
    _exit(StandardInputIsTerminal() || StandardOutputIsTerminal() ? 1 : 0);
  });
  EXPECT_EQ(outcome.output, "[one][][two][last]end");
  EXPECT_EQ(outcome.status, 0);
}

TEST(StandardOutput, TakesEveryByte) {
  const Outcome outcome = InChild("", [] {
    WriteStandardOutput(std::string_view("a\0b\n\r\n\xFF", 7));
    _exit(0);
  });
  EXPECT_EQ(outcome.output, std::string("a\0b\n\r\n\xFF", 7));
}

}  // namespace
}  // namespace quillbeaker
