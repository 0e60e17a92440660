// SPDX-License-Identifier: MIT
#pragma once

// Leaves evidence of a crash in crash.txt. Everything is prepared at start; Write allocates no memory, takes
// no lock and asks nothing of the loader.

#include <windows.h>

#include <winternl.h>

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "app/stack_walk.h"

namespace quillbeaker {

// For the reports: what this thread does. `name` is kept as it is. The first few threads that tell it are
// remembered.
void NameThisThread(const char* name);

class CrashRecorder {
 public:
  // `path` is the file's, UTF-8; `version` is kept as it is.
  CrashRecorder(const std::string& path, std::string_view version);
  ~CrashRecorder();
  CrashRecorder(const CrashRecorder&) = delete;
  CrashRecorder& operator=(const CrashRecorder&) = delete;

  // On the thread that failed, once: `code` is the exception's, `context` what the thread was doing, which is
  // walked through and changed by it. False when the file could not be written.
  bool Write(std::uint32_t code, CONTEXT& context) noexcept;

 private:
  bool WriteFileOf(const CrashFacts& facts) const noexcept;

  const LoadedModules modules_;
  const std::string_view version_;
  UNICODE_STRING path_{};  // in the form that the system takes without work in this process
};

}  // namespace quillbeaker
