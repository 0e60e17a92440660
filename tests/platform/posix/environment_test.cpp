// SPDX-License-Identifier: MIT
#include "platform/environment.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <string>

#include "platform/files.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

TEST(PosixSystemEnvironment, AFileSizeLimitIsAFailedWriteAndNotTheEnd) {
  const test::TestDirectory directory;
  ASSERT_TRUE(directory.Put("a", "old"));
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    std::signal(SIGXFSZ, SIG_DFL);
    SystemEnvironment(directory.utf8());
    const rlimit limit{100, 100};
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0) _exit(2);
    _exit(ReplaceWholeFile(directory.PathOf("a"), std::string(5000, 'x')) ? 1 : 0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status)) << "ended by signal " << WTERMSIG(status);
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_EQ(directory.Get("a"), "old");
}

}  // namespace
}  // namespace quillbeaker
