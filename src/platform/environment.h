// SPDX-License-Identifier: MIT
#pragma once

// What the core knows of the world around it: the time and the place. Made once at start-up and handed down,
// so that a test can stand on any day; no function of the core asks the system's clock by itself.

#include <cstdint>
#include <functional>
#include <string>

#include "platform/calendar_time.h"

namespace quillbeaker {

struct Environment {
  // Directory of all the program's files, UTF-8, ends in kPathSeparator (platform/files.h).
  std::string program_directory;
  std::function<CalendarTime()> local_time;
  std::function<CalendarTime()> utc_time;
  // Milliseconds since some moment in the past; wraps as the system's 32-bit tick counter does.
  std::function<std::uint32_t()> tick_count;
};

// The real clock of this machine. `program_directory` gets a separator at its end when it has none. From this
// call on a file-size limit of the process is a failed write, where the system would end the program for it.
Environment SystemEnvironment(std::string program_directory);

// Directory of the running executable, UTF-8, ends in kPathSeparator; empty when the system does not tell.
std::string ExecutableDirectory();

}  // namespace quillbeaker
