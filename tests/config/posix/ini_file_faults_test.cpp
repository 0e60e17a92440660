// SPDX-License-Identifier: MIT

// Many values of one file written together on a machine that fails: killed at every system call, a disk that
// fills up at every size. The file is then the old one or the new one.

#include <gtest/gtest.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "config/ini_file.h"
#include "stores/posix/traced_process.h"
#include "support/full_disk.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

constexpr int kMoreCallsThanAWriteMakes = 500;

const std::string kOld =
    "; mine\r\n[QUILLBEAKER]\r\nEnable=1\r\ngone=1\r\n[SENDERS]\r\nann@example.org=Ann,2\r\n";
const std::string kNew =
    "; mine\r\n[QUILLBEAKER]\r\nEnable=0\r\n[SENDERS]\r\nann@example.org=Ann,2\r\n[SERVER]\r\nPort=2110\r\n";

const std::vector<IniChange> kChanges = {
    {"QUILLBEAKER", "Enable", "0"}, {"QUILLBEAKER", "gone", std::nullopt}, {"SERVER", "Port", "2110"}};

TEST(IniFileFaults, KilledAnywhereTheFileIsOldOrNew) {
  int old_files = 0;
  int new_files = 0;
  for (int call = 0; call < kMoreCallsThanAWriteMakes; ++call) {
    const test::TestDirectory directory;
    ASSERT_TRUE(directory.Put("Quillbeaker.ini", kOld));
    IniFile file(directory.PathOf("Quillbeaker.ini"));
    const test::TracedEnd end = test::RunKilledAt(call, [&file] { static_cast<void>(file.Write(kChanges)); });
    if (end == test::TracedEnd::kNotTraced) GTEST_SKIP() << "processes cannot be traced here";
    const std::string bytes = directory.Get("Quillbeaker.ini").value_or("(missing)");
    ASSERT_TRUE(bytes == kOld || bytes == kNew) << "killed at call " << call << ": " << bytes;
    (bytes == kOld ? old_files : new_files) += 1;
    // What the killed one left behind keeps nobody from writing.
    ASSERT_TRUE(file.Write(kChanges)) << "killed at call " << call;
    ASSERT_EQ(directory.Get("Quillbeaker.ini").value_or("(missing)"), kNew);
    if (end == test::TracedEnd::kFinished) {
      EXPECT_GT(old_files, 0);
      EXPECT_GT(new_files, 0);
      return;
    }
  }
  FAIL() << "the write never came to its end";
}

TEST(IniFileFaults, AFullDiskLeavesTheOldFile) {
  for (std::size_t room = 0; room < kNew.size(); room += 7) {
    const test::TestDirectory directory;
    ASSERT_TRUE(directory.Put("Quillbeaker.ini", kOld));
    IniFile file(directory.PathOf("Quillbeaker.ini"));
    bool written = true;
    {
      const test::FullDisk full(room);
      if (!full.active()) GTEST_SKIP() << "this system cannot be told to refuse writes";
      written = file.Write(kChanges);
    }
    EXPECT_FALSE(written) << room;
    EXPECT_EQ(directory.Get("Quillbeaker.ini").value_or("(missing)"), kOld) << room;
  }
}

}  // namespace
}  // namespace quillbeaker
