// SPDX-License-Identifier: MIT
#include "platform/environment.h"

#include <windows.h>

#include <utility>

#include "platform/files.h"
#include "platform/windows/calendar.h"
#include "platform/windows/wide.h"

namespace quillbeaker {

Environment SystemEnvironment(std::string program_directory) {
  if (!program_directory.ends_with('\\') && !program_directory.ends_with('/'))
    program_directory += kPathSeparator;
  Environment environment;
  environment.program_directory = std::move(program_directory);
  environment.local_time = [] {
    SYSTEMTIME now;
    GetLocalTime(&now);
    return CalendarTimeOf(now);
  };
  environment.utc_time = [] {
    SYSTEMTIME now;
    GetSystemTime(&now);
    return CalendarTimeOf(now);
  };
  environment.tick_count = [] { return static_cast<std::uint32_t>(GetTickCount64()); };
  return environment;
}

std::string ExecutableDirectory() {
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const DWORD size = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    if (size == 0) return {};
    if (size < path.size()) {
      path.resize(size);
      break;
    }
    path.resize(2 * path.size());
  }
  const std::size_t separator = path.rfind(L'\\');
  return separator == std::wstring::npos ? std::string() : Utf8FromWide(path.substr(0, separator + 1));
}

}  // namespace quillbeaker
