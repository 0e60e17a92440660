// SPDX-License-Identifier: MIT
// The lock between processes; fork(2) makes the second one.
#include "platform/file_lock.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "platform/files.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

using test::TestDirectory;

// Every process adds to a number in a file, one by one: without the lock, additions get lost.
void CountUp(const std::string& counter, const std::string& lock_path, int times) {
  StoreLock lock(lock_path);
  for (int i = 0; i < times; ++i) {
    const auto guard = lock.Acquire();
    const int count = std::stoi(ReadWholeFile(counter).value_or("-100000"));
    if (!WriteWholeFile(counter, std::to_string(count + 1), false)) return;
  }
}

TEST(StoreLockBetweenProcesses, MakesLoadChangeSaveOneStep) {
  TestDirectory directory;
  const std::string counter = directory.PathOf("counter");
  ASSERT_TRUE(directory.Put("counter", "0"));
  std::vector<pid_t> children;
  for (int i = 0; i < 3; ++i) {
    const pid_t child = fork();
    if (child == 0) {
      CountUp(counter, directory.PathOf("lock"), 200);
      _exit(0);
    }
    ASSERT_GT(child, 0);
    children.push_back(child);
  }
  CountUp(counter, directory.PathOf("lock"), 200);
  for (const pid_t child : children) {
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
  }
  EXPECT_EQ(directory.Get("counter"), "800");
}

TEST(StoreLockBetweenProcesses, EndsWithAProcessThatIsKilled) {
  TestDirectory directory;
  int held[2];
  ASSERT_EQ(pipe(held), 0);
  const pid_t child = fork();
  if (child == 0) {
    StoreLock lock(directory.PathOf("lock"));
    const auto guard = lock.Acquire();
    if (write(held[1], "x", 1) != 1) _exit(1);
    pause();
    _exit(0);
  }
  ASSERT_GT(child, 0);
  char byte = 0;
  ASSERT_EQ(read(held[0], &byte, 1), 1);
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  close(held[0]);
  close(held[1]);
  StoreLock lock(directory.PathOf("lock"));
  EXPECT_NE(lock.Acquire(), nullptr);
  EXPECT_EQ(directory.Get("lock"), "");
}

}  // namespace
}  // namespace quillbeaker
