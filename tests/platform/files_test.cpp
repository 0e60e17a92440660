// SPDX-License-Identifier: MIT
#include "platform/files.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "support/blocked_thread.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

using test::TestDirectory;

const std::string kAllBytes = [] {
  std::string bytes;
  for (int i = 0; i < 256; ++i) bytes.push_back(static_cast<char>(i));
  return bytes + "\r\n\n\x1A end";
}();

TEST(ReadWholeFile, GivesEveryByte) {
  TestDirectory directory;
  ASSERT_TRUE(directory.Put("a", kAllBytes));
  EXPECT_EQ(ReadWholeFile(directory.PathOf("a")), kAllBytes);
  ASSERT_TRUE(directory.Put("empty", ""));
  EXPECT_EQ(ReadWholeFile(directory.PathOf("empty")), "");
  const std::string large(3'000'000, 'x');
  ASSERT_TRUE(directory.Put("large", large));
  EXPECT_EQ(ReadWholeFile(directory.PathOf("large")), large);
}

TEST(ReadWholeFile, GivesNothingForWhatIsNoFile) {
  TestDirectory directory;
  EXPECT_EQ(ReadWholeFile(directory.PathOf("missing")), std::nullopt);
  ASSERT_TRUE(directory.MakeFolder("folder"));
  EXPECT_EQ(ReadWholeFile(directory.PathOf("folder")), std::nullopt);
  EXPECT_EQ(ReadWholeFile(""), std::nullopt);
}

TEST(ReadWholeFile, GivesNothingForWhatIsTooLarge) {
  const TestDirectory directory;
  ASSERT_TRUE(directory.Put("huge", "x"));
  std::error_code error;
  std::filesystem::resize_file(directory.path() / "huge", kMostFileBytes + 1, error);  // a hole
  if (error) GTEST_SKIP() << error.message();
  EXPECT_FALSE(ReadWholeFile(directory.PathOf("huge")));
}

TEST(ReplaceWholeFile, MakesAndReplacesAndLeavesNothingBeside) {
  TestDirectory directory;
  EXPECT_TRUE(ReplaceWholeFile(directory.PathOf("a"), kAllBytes));
  EXPECT_EQ(directory.Get("a"), kAllBytes);
  EXPECT_TRUE(ReplaceWholeFile(directory.PathOf("a"), "short"));
  EXPECT_EQ(directory.Get("a"), "short");
  EXPECT_TRUE(ReplaceWholeFile(directory.PathOf("a"), ""));
  EXPECT_EQ(directory.Get("a"), "");
  EXPECT_EQ(directory.Names(), std::vector<std::string>{"a"});
}

TEST(ReplaceWholeFile, LeavesAReadOnlyFileAsItIs) {
  TestDirectory directory;
  ASSERT_TRUE(directory.Put("a", "old"));
  directory.SetReadOnly("a", true);
  EXPECT_FALSE(ReplaceWholeFile(directory.PathOf("a"), "new"));
  EXPECT_EQ(directory.Get("a"), "old");
  EXPECT_EQ(directory.Names(), std::vector<std::string>{"a"});
  directory.SetReadOnly("a", false);
  EXPECT_TRUE(ReplaceWholeFile(directory.PathOf("a"), "new"));
  EXPECT_EQ(directory.Get("a"), "new");
}

TEST(ReplaceWholeFile, FailsWhereNoFileCanBe) {
  TestDirectory directory;
  ASSERT_TRUE(directory.MakeFolder("folder"));
  EXPECT_FALSE(ReplaceWholeFile(directory.PathOf("folder"), "x"));
  EXPECT_FALSE(ReplaceWholeFile(directory.PathOf("missing/a"), "x"));
  EXPECT_EQ(directory.Names(), std::vector<std::string>{"folder"});
}

TEST(FileResult, SaysWhichPathFailedAndWhy) {
  TestDirectory directory;
  ASSERT_TRUE(directory.MakeFolder("folder"));
  const std::string missing = directory.PathOf("missing/a");
  const FileResult results[] = {WriteWholeFile(missing, "x", false),
                                EraseFile(missing),
                                RenameFile(missing, directory.PathOf("b")),
                                ReadContents(missing).result,
                                MakeDirectory(directory.PathOf("missing/folder")),
                                FlushDirectory(directory.PathOf("missing"))};
  for (const FileResult& result : results) {
    EXPECT_FALSE(result);
    EXPECT_TRUE(result.IsMissing());
    EXPECT_TRUE(result.path.starts_with(directory.PathOf("missing"))) << result.path;
    EXPECT_TRUE(result.Text().starts_with(result.path + ": ")) << result.Text();
    EXPECT_GT(result.Text().size(), result.path.size() + 5) << result.Text();
    EXPECT_EQ(result.Text().find_first_of("\r\n"), std::string::npos);
  }
  const FileResult folder = ReplaceWholeFile(directory.PathOf("folder"), "x");
  EXPECT_FALSE(folder);
  EXPECT_FALSE(folder.IsMissing());
  EXPECT_EQ(folder.path, directory.PathOf("folder"));
  EXPECT_FALSE(ReadContents(directory.PathOf("folder")).result.IsMissing());
  EXPECT_FALSE(ReadContents(directory.PathOf("folder")).bytes.has_value());
}

TEST(FileResult, OfASuccessHasNothingToSay) {
  TestDirectory directory;
  const FileResult written = WriteWholeFile(directory.PathOf("a"), "x", true);
  EXPECT_TRUE(written);
  EXPECT_FALSE(written.IsMissing());
  EXPECT_EQ(written.Text(), "");
  const FileContents contents = ReadContents(directory.PathOf("a"));
  EXPECT_TRUE(contents.result);
  EXPECT_EQ(contents.bytes, "x");
}

TEST(FileResult, ANameWithControlBytesStaysOnOneLine) {
  const FileResult result{"a\n\x1B[2Jb", std::make_error_code(std::errc::io_error)};
  EXPECT_TRUE(result.Text().starts_with("a??[2Jb: ")) << result.Text();
}

TEST(ReplaceWholeFile, TakesOverWhatAKilledProcessLeft) {
  TestDirectory directory;
  ASSERT_TRUE(directory.Put("a", "old"));
  ASSERT_TRUE(directory.Put("a.new", "half of something much longer than the new state"));
  EXPECT_TRUE(ReplaceWholeFile(directory.PathOf("a"), "new"));
  EXPECT_EQ(directory.Get("a"), "new");
  EXPECT_EQ(directory.Names(), std::vector<std::string>{"a"});
}

TEST(ReplaceWholeFile, ReadersSeeOneStateOrTheOther) {
  TestDirectory directory;
  const std::string path = directory.PathOf("a");
  const std::vector<std::string> states = {std::string(200'000, 'a'), std::string(100, 'b')};
  ASSERT_TRUE(ReplaceWholeFile(path, states[0]));
  std::vector<std::thread> writers;
  std::atomic<int> running{2};
  std::atomic<int> replaced{0};
  for (int writer = 0; writer < 2; ++writer) {
    writers.emplace_back([&, writer] {
      for (int i = 0; i < 25; ++i)
        replaced += ReplaceWholeFile(path, states[static_cast<std::size_t>(writer)]) ? 1 : 0;
      --running;
    });
  }
  int reads = 0;
  int torn = 0;
  while (running > 0) {
    const auto bytes = ReadWholeFile(path);
    if (!bytes) continue;  // a system may refuse to open a file in the moment of its replacement
    ++reads;
    torn += *bytes != states[0] && *bytes != states[1];
  }
  for (auto& writer : writers) writer.join();
  EXPECT_EQ(torn, 0);
  EXPECT_GT(reads, 0);
  EXPECT_GT(replaced, 0);
  EXPECT_EQ(directory.Names(), std::vector<std::string>{"a"});
}

TEST(WriteWholeFile, WritesEveryByteFlushedOrNot) {
  TestDirectory directory;
  EXPECT_TRUE(WriteWholeFile(directory.PathOf("a"), kAllBytes, true));
  EXPECT_EQ(directory.Get("a"), kAllBytes);
  EXPECT_TRUE(WriteWholeFile(directory.PathOf("a"), "b", false));
  EXPECT_EQ(directory.Get("a"), "b");
  EXPECT_FALSE(WriteWholeFile(directory.PathOf("missing/a"), "b", false));
  EXPECT_TRUE(FlushDirectory(directory.utf8()));
}

TEST(EraseFile, TellsWhetherThereWasOne) {
  TestDirectory directory;
  ASSERT_TRUE(directory.Put("a", ""));
  EXPECT_TRUE(FileExists(directory.PathOf("a")));
  EXPECT_TRUE(EraseFile(directory.PathOf("a")));
  EXPECT_FALSE(FileExists(directory.PathOf("a")));
  EXPECT_FALSE(EraseFile(directory.PathOf("a")));
}

TEST(RenameFile, NeverReplaces) {
  TestDirectory directory;
  ASSERT_TRUE(directory.Put("a", "a"));
  ASSERT_TRUE(directory.Put("b", "b"));
  EXPECT_FALSE(RenameFile(directory.PathOf("a"), directory.PathOf("b")));
  EXPECT_EQ(directory.Get("a"), "a");
  EXPECT_EQ(directory.Get("b"), "b");
  EXPECT_TRUE(RenameFile(directory.PathOf("a"), directory.PathOf("c")));
  EXPECT_EQ(directory.Names(), (std::vector<std::string>{"b", "c"}));
  EXPECT_FALSE(RenameFile(directory.PathOf("a"), directory.PathOf("d")));
}

TEST(MakeDirectory, IsTrueForOneThatExists) {
  TestDirectory directory;
  EXPECT_TRUE(MakeDirectory(directory.PathOf("new")));
  EXPECT_TRUE(DirectoryExists(directory.PathOf("new")));
  EXPECT_TRUE(MakeDirectory(directory.PathOf("new")));
  EXPECT_FALSE(FileExists(directory.PathOf("new")));
  EXPECT_FALSE(MakeDirectory(directory.PathOf("missing/new")));
  ASSERT_TRUE(directory.Put("file", ""));
  EXPECT_FALSE(MakeDirectory(directory.PathOf("file")));
  EXPECT_FALSE(DirectoryExists(directory.PathOf("file")));
}

TEST(ListFiles, TakesRegularFilesBySuffixInByteOrder) {
  TestDirectory directory;
  for (const char* name : {"b.eml", "a.EML", "C.eml", "eml", "d.emlx", ".eml", "caf\xC3\xA9.eml"}) {
    ASSERT_TRUE(directory.Put(name, "x"));
  }
  ASSERT_TRUE(directory.MakeFolder("folder.eml"));
  EXPECT_EQ(ListFiles(directory.utf8(), ".eml"),
            (std::vector<std::string>{".eml", "C.eml", "a.EML", "b.eml", "caf\xC3\xA9.eml"}));
  EXPECT_EQ(ListFiles(directory.utf8(), ".none"), std::vector<std::string>{});
  EXPECT_EQ(ListFiles(directory.PathOf("missing"), ""), std::vector<std::string>{});
  const FileNames none = ReadFileNames(directory.utf8(), ".none");
  EXPECT_TRUE(none.result);
  EXPECT_TRUE(none.names.empty());
  EXPECT_TRUE(ReadFileNames(directory.PathOf("missing"), "").result.IsMissing());
}

TEST(FileSize, CountsBytes) {
  TestDirectory directory;
  ASSERT_TRUE(directory.Put("a", std::string(70000, 'x')));
  EXPECT_EQ(FileSize(directory.PathOf("a")), 70000u);
  EXPECT_EQ(FileSize(directory.PathOf("missing")), std::nullopt);
  EXPECT_EQ(FileSize(directory.utf8()), std::nullopt);
}

TEST(LastWriteTime, IsTheLocalTimeOfTheWrite) {
  TestDirectory directory;
  const Environment clock = SystemEnvironment(directory.utf8());
  // A file system with whole or double seconds may give a time that is off by that much.
  const auto seconds = [](const CalendarTime& t) { return t.hour * 3600 + t.minute * 60 + t.second; };
  const CalendarTime before = clock.local_time();
  ASSERT_TRUE(directory.Put("a", "x"));
  const CalendarTime after = clock.local_time();
  const auto time = LastWriteTime(directory.PathOf("a"));
  ASSERT_TRUE(time.has_value());
  if (before.day == after.day) {
    EXPECT_EQ(time->year, before.year);
    EXPECT_EQ(time->month, before.month);
    EXPECT_EQ(time->day, before.day);
    EXPECT_GE(seconds(*time), seconds(before) - 2);
    EXPECT_LE(seconds(*time), seconds(after) + 2);
  }
  EXPECT_EQ(LastWriteTime(directory.PathOf("missing")), std::nullopt);
}

TEST(StateOfFile, DiffersAfterEveryKindOfChange) {
  TestDirectory directory;
  const std::string path = directory.PathOf("a");
  EXPECT_EQ(StateOfFile(path), FileState{});
  ASSERT_TRUE(directory.Put("a", "one"));
  const FileState first = StateOfFile(path);
  EXPECT_TRUE(first.exists);
  EXPECT_EQ(first.size, 3u);
  EXPECT_EQ(StateOfFile(path), first);

  ASSERT_TRUE(directory.Put("a", "four"));
  EXPECT_NE(StateOfFile(path), first);

  // The same size, replaced: another identity or another time.
  ASSERT_TRUE(directory.Put("a", "one"));
  EXPECT_TRUE(test::Eventually([&] { return !ChangedJustNow(StateOfFile(path)); }));
  const FileState settled = StateOfFile(path);
  ASSERT_TRUE(ReplaceWholeFile(path, "two"));
  EXPECT_NE(StateOfFile(path), settled);
}

TEST(ChangedJustNow, HoldsForAMomentOnly) {
  TestDirectory directory;
  const std::string path = directory.PathOf("a");
  ASSERT_TRUE(directory.Put("a", "one"));
  EXPECT_TRUE(ChangedJustNow(StateOfFile(path)));
  EXPECT_TRUE(test::Eventually([&] { return !ChangedJustNow(StateOfFile(path)); }));
  // From here on a change of the same size in place is told by its time.
  const FileState before = StateOfFile(path);
  ASSERT_TRUE(directory.Put("a", "two"));
  EXPECT_NE(StateOfFile(path), before);
}

TEST(Files, LieUnderAnyUnicodePath) {
  TestDirectory directory;
  const std::string folder = directory.PathOf("\xD0\x9F\xD1\x80\xD0\xB8\xE2\x82\xAC \xF0\x9F\x90\xBF");
  ASSERT_TRUE(MakeDirectory(folder));
  const std::string path = folder + kPathSeparator + "caf\xC3\xA9.eml";
  EXPECT_TRUE(WriteWholeFile(path, "x", false));
  EXPECT_TRUE(ReplaceWholeFile(path, "y"));
  EXPECT_EQ(ReadWholeFile(path), "y");
  EXPECT_EQ(FileSize(path), 1u);
  EXPECT_EQ(ListFiles(folder, ".eml"), std::vector<std::string>{"caf\xC3\xA9.eml"});
  EXPECT_TRUE(RenameFile(path, folder + kPathSeparator + "\xE2\x82\xAC"));
  EXPECT_TRUE(FileExists(folder + "/\xE2\x82\xAC"));  // '/' separates everywhere
  EXPECT_TRUE(EraseFile(folder + kPathSeparator + "\xE2\x82\xAC"));
}

TEST(Files, LieUnderALongPath) {
  TestDirectory directory;
  std::string folder = directory.utf8();
  for (int i = 0; i < 4; ++i) {
    folder += std::string(100, static_cast<char>('a' + i));
    ASSERT_TRUE(MakeDirectory(folder));
    folder += kPathSeparator;
  }
  const std::string path = folder + "file.eml";
  EXPECT_TRUE(ReplaceWholeFile(path, "x"));
  EXPECT_EQ(ReadWholeFile(path), "x");
  EXPECT_EQ(ListFiles(folder, ".eml"), std::vector<std::string>{"file.eml"});
  EXPECT_TRUE(EraseFile(path));
}

}  // namespace
}  // namespace quillbeaker
