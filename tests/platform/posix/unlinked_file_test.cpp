// SPDX-License-Identifier: MIT
#include "platform/posix/unlinked_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/test_program.h"

namespace quillbeaker {
namespace {

void ExpectUnlinkedFileOfTheUser(const FileDescriptor& file, const test::TestDirectory& directory) {
  ASSERT_TRUE(file.valid());
  // What has no name now cannot be left behind by a process that is killed.
  EXPECT_EQ(directory.Names(), std::vector<std::string>());
  struct stat status;
  ASSERT_EQ(fstat(file.get(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600U);
  EXPECT_EQ(status.st_nlink, 0U);
  EXPECT_TRUE(S_ISREG(status.st_mode));
  EXPECT_EQ(fcntl(file.get(), F_GETFD), FD_CLOEXEC);
  EXPECT_EQ(pwrite(file.get(), "abc", 3, 0), 3);
  char byte = 0;
  EXPECT_EQ(pread(file.get(), &byte, 1, 1), 1);
  EXPECT_EQ(byte, 'b');
}

TEST(UnlinkedFile, HasNoNameAndIsForTheUserAlone) {
  test::TestDirectory directory;
  ExpectUnlinkedFileOfTheUser(OpenUnlinkedFile(directory.utf8()), directory);
  ExpectUnlinkedFileOfTheUser(OpenAndUnlinkFile(directory.utf8()), directory);
}

TEST(UnlinkedFile, NeedsADirectory) {
  test::TestDirectory directory;
  for (const auto open : {OpenUnlinkedFile, OpenAndUnlinkFile}) {
    errno = 0;
    EXPECT_FALSE(open(directory.PathOf("missing")).valid());
    EXPECT_EQ(errno, ENOENT);
  }
}

}  // namespace
}  // namespace quillbeaker
