// SPDX-License-Identifier: MIT
// What holds for files on POSIX systems only: modes, links, devices.
#include "platform/files.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <string>
#include <vector>

#include "support/test_program.h"

namespace quillbeaker {
namespace {

using test::TestDirectory;

mode_t ModeOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777;
}

TEST(PosixFiles, NewOnesAreForTheUserAlone) {
  TestDirectory directory;
  const mode_t old_mask = umask(0);
  EXPECT_TRUE(ReplaceWholeFile(directory.PathOf("a"), "x"));
  EXPECT_TRUE(WriteWholeFile(directory.PathOf("b"), "x", false));
  EXPECT_TRUE(MakeDirectory(directory.PathOf("c")));
  umask(old_mask);
  EXPECT_EQ(ModeOf(directory.PathOf("a")), 0600u);
  EXPECT_EQ(ModeOf(directory.PathOf("b")), 0600u);
  EXPECT_EQ(ModeOf(directory.PathOf("c")), 0700u);
}

TEST(PosixFiles, ReplacingKeepsTheMode) {
  TestDirectory directory;
  ASSERT_TRUE(directory.Put("a", "old"));
  ASSERT_EQ(chmod(directory.PathOf("a").c_str(), 0644), 0);
  EXPECT_TRUE(ReplaceWholeFile(directory.PathOf("a"), "new"));
  EXPECT_EQ(ModeOf(directory.PathOf("a")), 0644u);
}

TEST(PosixFiles, ReplacingWritesThroughALink) {
  TestDirectory directory;
  ASSERT_TRUE(directory.Put("folder/real", "old"));
  ASSERT_EQ(symlink("folder/real", directory.PathOf("link").c_str()), 0);
  EXPECT_TRUE(ReplaceWholeFile(directory.PathOf("link"), "new"));
  EXPECT_EQ(directory.Get("folder/real"), "new");
  struct stat status {};
  ASSERT_EQ(lstat(directory.PathOf("link").c_str(), &status), 0);
  EXPECT_TRUE(S_ISLNK(status.st_mode));
}

TEST(PosixFiles, ReplacingFollowsNoLinkBesideTheFile) {
  TestDirectory directory;
  ASSERT_TRUE(directory.Put("precious", "kept"));
  ASSERT_EQ(symlink("precious", directory.PathOf("a.new").c_str()), 0);
  EXPECT_FALSE(ReplaceWholeFile(directory.PathOf("a"), "x"));
  EXPECT_EQ(directory.Get("precious"), "kept");
}

TEST(PosixFiles, ListsNoLinks) {
  TestDirectory directory;
  ASSERT_TRUE(directory.Put("real.eml", "x"));
  ASSERT_EQ(symlink("real.eml", directory.PathOf("link.eml").c_str()), 0);
  EXPECT_EQ(ListFiles(directory.utf8(), ".eml"), std::vector<std::string>{"real.eml"});
}

// In a process of its own, since a limit cannot be raised again: beyond 100 bytes every write fails, as on a
// full disk.
int WithFullDisk(bool (*attempt)(const std::string&), const std::string& path) {
  const pid_t child = fork();
  if (child == 0) {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{100, 100};
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0) _exit(2);
    _exit(attempt(path) ? 1 : 0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(PosixFiles, AFullDiskLeavesTheOldFile) {
  TestDirectory directory;
  ASSERT_TRUE(directory.Put("a", "old"));
  EXPECT_EQ(WithFullDisk(
                [](const std::string& path) { return bool{ReplaceWholeFile(path, std::string(5000, 'x'))}; },
                directory.PathOf("a")),
            0);
  EXPECT_EQ(directory.Get("a"), "old");
  EXPECT_EQ(
      WithFullDisk(
          [](const std::string& path) { return bool{WriteWholeFile(path, std::string(5000, 'x'), true)}; },
          directory.PathOf("b")),
      0);
  EXPECT_EQ(directory.Names(), std::vector<std::string>{"a"});
}

TEST(PosixFiles, AFullDiskIsNamed) {
  TestDirectory directory;
  for (const auto attempt : {+[](const std::string& path) {
                               const FileResult result = WriteWholeFile(path, std::string(5000, 'x'), true);
                               return result.path == path && result.code == std::errc::file_too_large;
                             },
                             +[](const std::string& path) {
                               const FileResult result = ReplaceWholeFile(path, std::string(5000, 'x'));
                               return result.path == path && result.code == std::errc::file_too_large;
                             }}) {
    EXPECT_EQ(WithFullDisk(attempt, directory.PathOf("a")), 1);
  }
  EXPECT_EQ((FileResult{"/a", std::error_code(ENOSPC, std::system_category())}).Text(),
            "/a: No space left on device");
}

TEST(PosixFiles, ADirectoryThatCannotBeFlushedByItselfCountsAsFlushed) {
  // fsync(2) of a directory of procfs gives EINVAL.
  if (!DirectoryExists("/proc/self")) GTEST_SKIP() << "no such file system here";
  EXPECT_TRUE(FlushDirectory("/proc/self"));
  EXPECT_FALSE(FlushDirectory("/proc/self/nothing-of-this-name"));
  EXPECT_FALSE(FlushDirectory("/proc/self/status"));
}

}  // namespace
}  // namespace quillbeaker
