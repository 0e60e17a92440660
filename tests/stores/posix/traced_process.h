// SPDX-License-Identifier: MIT
#pragma once

// Runs a piece of work in a child process and kills it just before one of its system calls, or lets that one
// open no file, so that a test can stand at every point at which a crash or a fault could leave the files.
// Linux only: it stands on ptrace(2).

#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <functional>

namespace quillbeaker::test {

enum class TracedEnd { kKilled, kFinished, kNotTraced };

// Runs `work` in a child and calls `entering` with the number of each system call as it is entered, and with
// the child; false kills the child.
inline TracedEnd RunTracedChild(const std::function<void()>& work,
                                const std::function<bool(std::uint64_t, pid_t)>& entering) {
  const pid_t child = fork();
  if (child < 0) return TracedEnd::kNotTraced;
  if (child == 0) {
    if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) _exit(2);
    raise(SIGSTOP);
    work();
    _exit(0);
  }
  int status = 0;
  if (waitpid(child, &status, 0) != child || !WIFSTOPPED(status)) return TracedEnd::kNotTraced;
  ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
  for (;;) {
    ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
    if (waitpid(child, &status, 0) != child) return TracedEnd::kNotTraced;
    if (WIFEXITED(status)) return WEXITSTATUS(status) == 0 ? TracedEnd::kFinished : TracedEnd::kNotTraced;
    if (!WIFSTOPPED(status)) return TracedEnd::kNotTraced;
    if (WSTOPSIG(status) != (SIGTRAP | 0x80)) continue;
    __ptrace_syscall_info info{};
    if (ptrace(PTRACE_GET_SYSCALL_INFO, child, sizeof(info), &info) <= 0) return TracedEnd::kNotTraced;
    if (info.op == PTRACE_SYSCALL_INFO_ENTRY && !entering(info.entry.nr, child)) {
      kill(child, SIGKILL);
      waitpid(child, &status, 0);
      return TracedEnd::kKilled;
    }
  }
}

inline TracedEnd RunTraced(const std::function<void()>& work,
                           const std::function<bool(std::uint64_t)>& entering) {
  return RunTracedChild(work, [&](std::uint64_t number, pid_t) { return entering(number); });
}

// Whether a call is the business of memory and threads: how many of those a piece of work makes differs from
// run to run, and none of them touches a file.
inline bool IsMemoryCall(std::uint64_t number) {
  switch (number) {
    case SYS_brk:
    case SYS_futex:
    case SYS_getpid:
    case SYS_gettid:
    case SYS_getrandom:
    case SYS_madvise:
    case SYS_mmap:
    case SYS_mprotect:
    case SYS_mremap:
    case SYS_munmap:
    case SYS_rt_sigprocmask:
    case SYS_sched_yield:
      return true;
    default:
      return false;
  }
}

// Kills the child as it enters its system call number `victim`, counted from 0 and without those of memory;
// kFinished when it made fewer.
inline TracedEnd RunKilledAt(int victim, const std::function<void()>& work) {
  int calls = 0;
  return RunTraced(work, [&](std::uint64_t number) { return IsMemoryCall(number) || calls++ != victim; });
}

// Lets no file be opened while the child is in its system call number `victim`, counted as above: that call
// fails if it opens one, and all others work.
inline TracedEnd RunFailingToOpenAt(int victim, const std::function<void()>& work, bool& failed) {
  int calls = 0;
  failed = false;
  return RunTracedChild(work, [&](std::uint64_t number, pid_t child) {
    rlimit limit{};
    prlimit(child, RLIMIT_NOFILE, nullptr, &limit);
    const bool is_victim = !IsMemoryCall(number) && calls++ == victim;
    if (is_victim && number == SYS_openat) failed = true;
    limit.rlim_cur = is_victim ? 0 : limit.rlim_max;
    prlimit(child, RLIMIT_NOFILE, &limit, nullptr);
    return true;
  });
}

}  // namespace quillbeaker::test
