// SPDX-License-Identifier: MIT
#include "platform/environment.h"

#include <unistd.h>

#include <csignal>
#include <ctime>
#include <utility>

#include "platform/files.h"
#include "platform/posix/calendar.h"

namespace quillbeaker {
namespace {

timespec Now(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return now;
}

}  // namespace

Environment SystemEnvironment(std::string program_directory) {
  // The system's default is to kill a program whose file reaches RLIMIT_FSIZE. Ignored, write(2) fails with
  // EFBIG, and that is handled like a full disk.
  std::signal(SIGXFSZ, SIG_IGN);
  if (!program_directory.ends_with(kPathSeparator)) program_directory += kPathSeparator;
  Environment environment;
  environment.program_directory = std::move(program_directory);
  environment.local_time = [] { return LocalCalendarTime(Now(CLOCK_REALTIME)); };
  environment.utc_time = [] { return UtcCalendarTime(Now(CLOCK_REALTIME)); };
  environment.tick_count = [] {
    const timespec now = Now(CLOCK_MONOTONIC);
    return static_cast<std::uint32_t>(static_cast<std::uint64_t>(now.tv_sec) * 1000 +
                                      static_cast<std::uint64_t>(now.tv_nsec) / 1'000'000);
  };
  return environment;
}

std::string ExecutableDirectory() {
  std::string path(256, '\0');
  for (;;) {
    const ssize_t size = readlink("/proc/self/exe", path.data(), path.size());
    if (size < 0) return {};
    if (static_cast<std::size_t>(size) < path.size()) {
      path.resize(static_cast<std::size_t>(size));
      break;
    }
    path.resize(2 * path.size());
  }
  const std::size_t separator = path.rfind(kPathSeparator);
  return separator == std::string::npos ? std::string() : path.substr(0, separator + 1);
}

}  // namespace quillbeaker
