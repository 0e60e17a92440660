// SPDX-License-Identifier: MIT
#include "extras/account/mail_client_settings.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "pop3/local/command_arguments.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

TEST(JoinAccountName, DoublesWhatSeparates) {
  EXPECT_EQ(JoinAccountName("pop.example.org", "ann", 995), "pop.example.org&ann&995");
  EXPECT_EQ(JoinAccountName("pop.example.org", "ann@example.org", 110),
            "pop.example.org&ann@example.org&110");
  EXPECT_EQ(JoinAccountName("s", "a&b", 1), "s&a&&b&1");
  EXPECT_EQ(JoinAccountName("s", "a&", 1), "s&a&&&1");
  EXPECT_EQ(JoinAccountName("s&", "a", 1), "s&&&a&1");
}

TEST(JoinAccountName, RefusesWhatNoNameCanSay) {
  EXPECT_EQ(JoinAccountName("s", "&a", 1), std::nullopt);
  EXPECT_EQ(JoinAccountName("s", "&", 1), "s&&&&1");
  EXPECT_EQ(JoinAccountName("", "a", 1), std::nullopt);
  EXPECT_EQ(JoinAccountName("s", "", 1), std::nullopt);
  EXPECT_EQ(JoinAccountName("s", "a b", 1), std::nullopt);
  EXPECT_EQ(JoinAccountName("s", "a\r\nDELE 1", 1), std::nullopt);
  EXPECT_EQ(JoinAccountName("s\t", "a", 1), std::nullopt);
  EXPECT_EQ(JoinAccountName("s", std::string("a\0b", 3), 1), std::nullopt);
  EXPECT_EQ(JoinAccountName("s", "a", 0), std::nullopt);
  EXPECT_EQ(JoinAccountName("s", "a", 65536), std::nullopt);
  EXPECT_EQ(JoinAccountName(std::string(80, 's'), "a", 1), std::nullopt);
  EXPECT_TRUE(JoinAccountName(std::string(79, 's'), std::string(79, '&').replace(0, 1, "a"), 1));
}

// Whatever is joined is read as what it was; and nothing is refused but what the reader cannot read.
TEST(JoinAccountName, IsTheInverseOfTheReader) {
  std::mt19937 random(42);
  const auto field = [&] {
    std::string text;
    for (std::size_t length = random() % 6; length > 0; --length) text += "a&&b@.=\xFC"[random() % 8];
    return text;
  };
  int joined = 0;
  for (int i = 0; i < 100'000; ++i) {
    const std::string server = field();
    const std::string user = field();
    const auto port = static_cast<std::int32_t>(random() % 65535 + 1);
    const auto name = JoinAccountName(server, user, port);
    // A user of nothing but "&" can be said to some servers; before anything else a "&" would be the
    // server's.
    if (user.empty() || user.find_first_not_of('&') != std::string::npos) {
      EXPECT_EQ(name.has_value(), !server.empty() && !user.empty() && user.front() != '&');
    }
    if (!name) continue;
    ++joined;
    ASSERT_EQ(TextArgument(*name), *name);
    const auto read = SplitAccountName(*name);
    ASSERT_TRUE(read) << *name;
    EXPECT_EQ(read->server, server);
    EXPECT_EQ(read->user, user);
    EXPECT_EQ(read->port, port);
  }
  EXPECT_GT(joined, 30'000);
}

TEST(SettingsOfMailClient, NameThisComputerAndItsPort) {
  test::TestProgram test;
  test.directory.Put("Quillbeaker.ini", "[SERVER]\r\nPort=11110\r\n");
  const auto settings = SettingsOfMailClient(test.program(), "pop.example.org", "ann", 995);
  ASSERT_TRUE(settings);
  EXPECT_EQ(settings->server, "127.0.0.1");
  EXPECT_EQ(settings->port, 11110);
  EXPECT_EQ(settings->user_name, "pop.example.org&ann&995");
  EXPECT_FALSE(SettingsOfMailClient(test.program(), "pop.example.org", "a b", 995));
}

}  // namespace
}  // namespace quillbeaker
