// SPDX-License-Identifier: MIT
#include "platform/spill_file.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

#include "support/full_disk.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

TEST(SpillFile, GivesBackWhatWasAppended) {
  test::TestDirectory directory;
  const SpillFile::Made made = SpillFile::Make(directory.utf8());
  ASSERT_NE(made.file, nullptr) << made.result.Text();
  EXPECT_TRUE(made.result);
  const std::string first("a\0b\r\n\xFF", 6);
  const std::string second(3'000'000, 'x');
  const auto first_place = made.file->Append(first);
  const auto second_place = made.file->Append(second);
  const auto third_place = made.file->Append("end");
  EXPECT_TRUE(first_place.result);
  EXPECT_TRUE(second_place.result);
  EXPECT_EQ(first_place.offset, 0U);
  EXPECT_EQ(second_place.offset, 6U);
  EXPECT_EQ(third_place.offset, 3'000'006U);
  EXPECT_EQ(made.file->ReadAt(third_place.offset, 3), "end");
  EXPECT_EQ(made.file->ReadAt(second_place.offset, second.size()), second);
  EXPECT_EQ(made.file->ReadAt(first_place.offset, first.size()), first);
  EXPECT_EQ(made.file->ReadAt(1, 2), std::string("\0b", 2));
}

TEST(SpillFile, GivesNothingBeyondItsEnd) {
  test::TestDirectory directory;
  const SpillFile::Made made = SpillFile::Make(directory.utf8());
  ASSERT_NE(made.file, nullptr);
  EXPECT_EQ(made.file->ReadAt(0, 1), std::nullopt);
  EXPECT_EQ(made.file->ReadAt(0, 0), "");
  ASSERT_TRUE(made.file->Append("12345").result);
  EXPECT_EQ(made.file->ReadAt(0, 6), std::nullopt);
  EXPECT_EQ(made.file->ReadAt(5, 1), std::nullopt);
  EXPECT_EQ(made.file->ReadAt(5, 0), "");
  EXPECT_EQ(made.file->ReadAt(6, 0), std::nullopt);
  EXPECT_EQ(made.file->ReadAt(1, std::numeric_limits<std::size_t>::max()), std::nullopt);
  EXPECT_EQ(made.file->ReadAt(std::numeric_limits<std::uint64_t>::max(), 2), std::nullopt);
}

TEST(SpillFile, AppendsNothingAtTheEnd) {
  test::TestDirectory directory;
  const SpillFile::Made made = SpillFile::Make(directory.utf8());
  ASSERT_NE(made.file, nullptr);
  ASSERT_TRUE(made.file->Append("12345").result);
  const auto place = made.file->Append("");
  EXPECT_TRUE(place.result);
  EXPECT_EQ(place.offset, 5U);
}

TEST(SpillFile, IsGoneWhenItIsClosed) {
  test::TestDirectory directory;
  {
    const SpillFile::Made made = SpillFile::Make(directory.utf8());
    ASSERT_NE(made.file, nullptr);
    ASSERT_TRUE(made.file->Append("12345").result);
  }
  EXPECT_EQ(directory.Names(), std::vector<std::string>());
}

TEST(SpillFile, CanBeMadeSeveralTimesAtOnce) {
  test::TestDirectory directory;
  SpillFile::Made first = SpillFile::Make(directory.utf8());
  const SpillFile::Made second = SpillFile::Make(directory.utf8());
  ASSERT_NE(first.file, nullptr);
  ASSERT_NE(second.file, nullptr);
  ASSERT_TRUE(first.file->Append("first").result);
  ASSERT_TRUE(second.file->Append("other").result);
  EXPECT_EQ(first.file->ReadAt(0, 5), "first");
  first.file.reset();
  EXPECT_EQ(second.file->ReadAt(0, 5), "other");
}

TEST(SpillFile, UsesAgainWhatALossOfPowerHasLeft) {
  test::TestDirectory directory;
  ASSERT_TRUE(directory.Put("session-1.spill", "left over"));
  {
    const SpillFile::Made made = SpillFile::Make(directory.utf8());
    ASSERT_NE(made.file, nullptr);
    EXPECT_EQ(made.file->ReadAt(0, 4), std::nullopt);
    ASSERT_TRUE(made.file->Append("new").result);
    EXPECT_EQ(made.file->ReadAt(0, 3), "new");
  }
  // Where files need no name there is never one that is left over, and nobody looks for it.
  EXPECT_EQ(directory.Has("session-1.spill"), kPathSeparator == '/');
}

TEST(SpillFile, TellsTheReasonWhenItCannotBeMade) {
  test::TestDirectory directory;
  const SpillFile::Made made = SpillFile::Make(directory.PathOf("missing"));
  EXPECT_EQ(made.file, nullptr);
  EXPECT_FALSE(made.result);
  EXPECT_TRUE(made.result.IsMissing());
  EXPECT_NE(made.result.Text().find("missing"), std::string::npos) << made.result.Text();
}

TEST(SpillFile, KeepsWhatItHasWhenTheDiskIsFull) {
  test::TestDirectory directory;
  const SpillFile::Made made = SpillFile::Make(directory.utf8());
  ASSERT_NE(made.file, nullptr);
  ASSERT_TRUE(made.file->Append("12345").result);
  bool limited = false;
  SpillFile::Appended refused;
  SpillFile::Appended fitting;
  {
    const test::FullDisk full(10'000);
    limited = full.active();
    refused = made.file->Append(std::string(20'000, 'x'));
    fitting = made.file->Append("6789");
  }
  if (!limited) GTEST_SKIP() << "no limit of file sizes here";
  EXPECT_FALSE(refused.result);
  EXPECT_NE(refused.result.Text(), "");
  EXPECT_TRUE(fitting.result);
  EXPECT_EQ(fitting.offset, 5U);
  EXPECT_EQ(made.file->ReadAt(0, 9), "123456789");
  EXPECT_EQ(made.file->ReadAt(0, 10), std::nullopt);
}

}  // namespace
}  // namespace quillbeaker
