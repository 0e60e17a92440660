// SPDX-License-Identifier: MIT
#pragma once

// The text of crash.txt: where the program failed, the last three times. It is made when the program cannot
// be trusted any more, so nothing here allocates memory or throws. It tells which code ran, and nothing of
// what that code worked on.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace quillbeaker {

inline constexpr std::string_view kCrashFileName = "crash.txt";
inline constexpr std::size_t kMostCrashFrames = 64;
// Bytes that three reports need at most.
inline constexpr std::size_t kLongestCrashFile = 24 * 1024;

struct CrashFrame {
  std::string_view module;   // a file's name, UTF-8; empty when the address is in none that is known
  std::uint64_t offset = 0;  // from the module's beginning; without a module the address itself
};

struct CrashFacts {
  std::string_view version;
  std::string_view time;    // a readable date and time
  std::string_view thread;  // what the thread does
  std::uint32_t thread_id = 0;
  std::uint32_t code = 0;              // of the exception
  std::span<const CrashFrame> frames;  // the innermost first
};

// Writes what the file shall hold from now on: the last two reports of `former`, which it holds now, and the
// new one. Gives the length. Frames from the 65th on are left out; so is what `text` has no room for, the
// oldest report first. `former` may hold anything, and is other
// memory than `text`.
[[nodiscard]] std::size_t WriteCrashFile(std::string_view former, const CrashFacts& facts,
                                         std::span<char> text) noexcept;

}  // namespace quillbeaker
