// SPDX-License-Identifier: MIT
#pragma once

// Who called whom when the program failed. The system's own way of asking takes the loader's lock, which a
// thread that was torn out of its work may hold for ever: so the modules are listed at start, and the walk
// asks nobody but them.

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "extras/crash_report.h"

namespace quillbeaker {

class LoadedModules {
 public:
  // Those that the process has now. Allocates; everything else here does not.
  LoadedModules();

  // Where `address` lies. In a module that was loaded later it has no name: then the offset is the address.
  CrashFrame FrameOf(std::uint64_t address) const noexcept;

  // Fills `frames`, the innermost first, beginning with the code that `context` was about to run on this
  // thread; gives how many there are. A stack that makes no sense ends the walk.
  std::size_t Walk(CONTEXT& context, std::span<CrashFrame> frames) const noexcept;

 private:
  struct Module {
    std::uint64_t base = 0;
    std::uint64_t size = 0;
    std::string name;
    std::span<const RUNTIME_FUNCTION> functions;  // by rising address
  };
  const Module* Find(std::uint64_t address) const noexcept;
  bool Step(CONTEXT& context, bool innermost) const noexcept;

  std::vector<Module> modules_;
};

}  // namespace quillbeaker
