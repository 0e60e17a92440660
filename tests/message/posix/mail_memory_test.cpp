// SPDX-License-Identifier: MIT
// What a mail made to fill the memory takes of it, its text apart. The bounds leave room for the sanitizers,
// which keep freed memory for a while.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "message/mail_message.h"

namespace quillbeaker {
namespace {

std::string Repeat(std::string_view text, std::size_t times) {
  std::string all;
  all.reserve(text.size() * times);
  for (std::size_t i = 0; i < times; ++i) all.append(text);
  return all;
}

long PeakMegabytes() {
  rusage usage{};
  return getrusage(RUSAGE_SELF, &usage) == 0 ? usage.ru_maxrss / 1024 : 0;
}

// By how much the peak grows while a process of its own parses the text; -1 when that cannot be told.
int MegabytesToParse(const std::string& text) {
  const pid_t child = fork();
  if (child == 0) {
    MailMessage message;
    std::string copy = text;
    const long before = PeakMegabytes();
    message.ParseText(std::move(copy));
    const long growth = PeakMegabytes() - before;
    _exit(message.empty() ? 255 : static_cast<int>(growth < 250 ? growth : 250));
  }
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child || !WIFEXITED(status)) return -1;
  return WEXITSTATUS(status);
}

TEST(MailMemory, MillionsOfHeaderLinesTakeLittle) {
  const int megabytes = MegabytesToParse(Repeat("a:\r\n", 5'000'000));
  EXPECT_GT(megabytes, 10);  // there is something to measure
  EXPECT_LT(megabytes, 120);
}

TEST(MailMemory, MillionsOfPartsTakeLittle) {
  const int megabytes = MegabytesToParse("Content-Type: multipart/mixed; boundary=\r\n\r\n" +
                                         Repeat("\r\n--\r\n\r\n", 2'000'000));
  EXPECT_GT(megabytes, 10);
  EXPECT_LT(megabytes, 150);
}

}  // namespace
}  // namespace quillbeaker
