// SPDX-License-Identifier: MIT
#pragma once

// A program directory of its own for one test: made empty under the system's temporary directory and removed
// again with everything in it, with a clock that stands where the test sets it. Usable natively and as a
// Windows binary; the paths handed to the core are UTF-8 as everywhere. Not for tests of the real clock or of
// sockets.

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "config/program.h"
#include "platform/environment.h"
#include "platform/files.h"

namespace quillbeaker::test {

inline std::string Utf8Of(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return std::string(text.begin(), text.end());
}

inline std::filesystem::path PathOfUtf8(std::string_view utf8) {
  return std::filesystem::path(std::u8string(utf8.begin(), utf8.end()));
}

// A fresh directory, erased with all its content by the destructor.
class TestDirectory {
 public:
  TestDirectory() {
    static std::atomic<unsigned> made{0};
    std::random_device random;
    std::error_code error;
    do {
      path_ = std::filesystem::temp_directory_path() /
              ("quillbeaker-test-" + std::to_string(random()) + "-" + std::to_string(made++));
    } while (!std::filesystem::create_directory(path_, error) && !error);
  }
  ~TestDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TestDirectory(const TestDirectory&) = delete;
  TestDirectory& operator=(const TestDirectory&) = delete;

  const std::filesystem::path& path() const { return path_; }
  // UTF-8, ends in the system's separator.
  std::string utf8() const { return Utf8Of(path_) + kPathSeparator; }
  // UTF-8 path of a name inside; '/' separates folders on every system.
  std::string PathOf(std::string_view name) const {
    return Utf8Of((path_ / PathOfUtf8(name)).make_preferred());
  }

  // Writes the bytes as they are, making the folders on the way; false when that failed.
  bool Put(std::string_view name, std::string_view bytes) const {
    const std::filesystem::path file = path_ / PathOfUtf8(name);
    std::error_code ignored;
    std::filesystem::create_directories(file.parent_path(), ignored);
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    out.close();
    return out.good();
  }
  // The file's bytes, or nothing when it cannot be opened.
  std::optional<std::string> Get(std::string_view name) const {
    std::ifstream in(path_ / PathOfUtf8(name), std::ios::binary);
    if (!in) return std::nullopt;
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  bool Has(std::string_view name) const { return std::filesystem::exists(path_ / PathOfUtf8(name)); }
  bool Remove(std::string_view name) const { return std::filesystem::remove(path_ / PathOfUtf8(name)); }
  bool MakeFolder(std::string_view name) const {
    return std::filesystem::create_directories(path_ / PathOfUtf8(name));
  }
  // Makes a file unwritable or writable again (the attribute on Windows, the write modes elsewhere).
  void SetReadOnly(std::string_view name, bool read_only) const {
    const auto writing = std::filesystem::perms::owner_write | std::filesystem::perms::group_write |
                         std::filesystem::perms::others_write;
    std::filesystem::permissions(
        path_ / PathOfUtf8(name), read_only ? writing : std::filesystem::perms::owner_write,
        read_only ? std::filesystem::perm_options::remove : std::filesystem::perm_options::add);
  }
  // Bare names of everything directly inside, in byte order.
  std::vector<std::string> Names() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(path_))
      names.push_back(Utf8Of(entry.path().filename()));
    std::sort(names.begin(), names.end());
    return names;
  }

 private:
  std::filesystem::path path_;
};

// Thursday, 2 March 2006, 13:04:05 unless the test sets another; utc an hour before it.
struct TestClock {
  CalendarTime local{2006, 3, 4, 2, 13, 4, 5, 0};
  CalendarTime utc{2006, 3, 4, 2, 12, 4, 5, 0};
  std::uint32_t ticks = 1000;
};

// A Program over its own directory and clock.
class TestProgram {
 public:
  TestProgram() = default;

  // Made at the first call, so that a test can put files there before it.
  Program& program() {
    if (!program_) program_ = std::make_unique<Program>(MakeEnvironment());
    return *program_;
  }
  Environment MakeEnvironment() {
    Environment environment;
    environment.program_directory = directory.utf8();
    environment.local_time = [this] { return clock.local; };
    environment.utc_time = [this] { return clock.utc; };
    environment.tick_count = [this] { return clock.ticks; };
    return environment;
  }

  // The configuration file with these lines in [QUILLBEAKER] and, behind them, whole further sections. Lines
  // end in LF or CR LF.
  bool Configure(std::string_view main_lines, std::string_view more_sections = {}) const {
    std::string text = "[QUILLBEAKER]\r\n";
    text += main_lines;
    text += "\r\n";
    text += more_sections;
    return directory.Put("Quillbeaker.ini", text);
  }

  TestDirectory directory;
  TestClock clock;

 private:
  std::unique_ptr<Program> program_;
};

}  // namespace quillbeaker::test
