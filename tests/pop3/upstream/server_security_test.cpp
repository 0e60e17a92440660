// SPDX-License-Identifier: MIT
#include "pop3/upstream/server_security.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "support/test_program.h"

namespace quillbeaker {
namespace {

struct Case {
  const char* what;
  const char* configuration;
  const char* host;
  std::optional<std::int32_t> port;
  const char* choice;  // "security host:port", or "unclear key=value"
};

class ChooseSecurityTest : public ::testing::TestWithParam<Case> {};

std::string Choose(const Case& one) {
  test::TestProgram world;
  world.directory.Put("Quillbeaker.ini", one.configuration);
  const SecurityChoice choice = ChooseSecurity(world.program(), one.host, one.port);
  if (!choice.address) return "unclear " + choice.unclear;
  const char* const names[] = {"plain", "tls", "starttls"};
  return std::string(names[static_cast<int>(choice.address->security)]) + " " + choice.address->Key();
}

TEST_P(ChooseSecurityTest, Is) {
  EXPECT_EQ(Choose(GetParam()), GetParam().choice);
}

constexpr const char* kHost = "pop.example.org";

TEST(ChooseSecurity, TakesWhatThePersonHasChosen) {
  test::TestProgram world;
  world.directory.Put("Quillbeaker.ini", "[SERVER]\nSecurity=nonsense\n[SECURITY]\npop.example.org=plain\n");
  const auto choose = [&](std::optional<std::int32_t> port, Security wanted) {
    const SecurityChoice choice = ChooseSecurity(world.program(), kHost, port, wanted);
    return choice.address ? choice.address->Key() + " " + std::string(SecurityWord(choice.address->security))
                          : "unclear";
  };
  EXPECT_EQ(choose(std::nullopt, Security::kTls), "pop.example.org:995 tls");
  EXPECT_EQ(choose(std::nullopt, Security::kStartTls), "pop.example.org:110 starttls");
  EXPECT_EQ(choose(2110, Security::kPlain), "pop.example.org:2110 plain");
  EXPECT_EQ(SecurityOfWord("StartTLS"), Security::kStartTls);
  EXPECT_EQ(SecurityOfWord("auto"), std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(
    Table, ChooseSecurityTest,
    ::testing::Values(
        // Without a word in the configuration the port decides.
        Case{"NothingSaid", "", kHost, {}, "plain pop.example.org:110"},
        Case{"Port110", "", kHost, 110, "plain pop.example.org:110"},
        Case{"Port995", "", kHost, 995, "tls pop.example.org:995"},
        Case{"OtherPort", "", kHost, 11110, "plain pop.example.org:11110"},
        Case{"AutoIsTheSame", "[SERVER]\nSecurity=auto\n", kHost, 995, "tls pop.example.org:995"},
        Case{"AutoWithoutPort", "[SERVER]\nSecurity=auto\n", kHost, {}, "plain pop.example.org:110"},
        // The general setting.
        Case{"GeneralTls", "[SERVER]\nSecurity=tls\n", kHost, 11110, "tls pop.example.org:11110"},
        Case{"GeneralTlsWithoutPort", "[SERVER]\nSecurity=tls\n", kHost, {}, "tls pop.example.org:995"},
        Case{"GeneralTlsOn110", "[SERVER]\nSecurity=tls\n", kHost, 110, "tls pop.example.org:110"},
        Case{"GeneralStartTls", "[SERVER]\nSecurity=starttls\n", kHost, {}, "starttls pop.example.org:110"},
        Case{"GeneralPlainOn995", "[SERVER]\nSecurity=plain\n", kHost, 995, "plain pop.example.org:995"},
        Case{"AnyCase", "[server]\nsecurity=StartTLS\n", kHost, {}, "starttls pop.example.org:110"},
        Case{"Quoted", "[SERVER]\nSecurity=\"tls\"\n", kHost, {}, "tls pop.example.org:995"},
        // The server goes before it.
        Case{"Server",
             "[SERVER]\nSecurity=plain\n[SECURITY]\npop.example.org=tls\n",
             kHost,
             {},
             "tls pop.example.org:995"},
        Case{"ServerWithPort", "[SECURITY]\npop.example.org=tls\n", kHost, 110, "tls pop.example.org:110"},
        Case{"ServerAnyCase", "[SECURITY]\nPOP.example.ORG=tls\n", kHost, 110, "tls pop.example.org:110"},
        Case{"ServerPlain",
             "[SERVER]\nSecurity=tls\n[SECURITY]\npop.example.org=plain\n",
             kHost,
             {},
             "plain pop.example.org:110"},
        Case{"ServerStartTlsStaysOn110",
             "[SECURITY]\npop.example.org=starttls\n",
             kHost,
             {},
             "starttls pop.example.org:110"},
        Case{"ServerWithTheRootsDot",
             "[SECURITY]\npop.example.org=tls\n",
             "pop.example.org.",
             {},
             "tls pop.example.org:995"},
        Case{"ServerAndPortWithTheRootsDot", "[SECURITY]\npop.example.org:110=starttls\n", "pop.example.org.",
             110, "starttls pop.example.org:110"},
        Case{"OtherServer", "[SECURITY]\npop.example.com=tls\n", kHost, {}, "plain pop.example.org:110"},
        Case{"ServerAutoEndsTheSearch",
             "[SERVER]\nSecurity=tls\n[SECURITY]\npop.example.org=auto\n",
             kHost,
             {},
             "plain pop.example.org:110"},
        // The server with its port goes before that.
        Case{"ServerAndPort", "[SECURITY]\npop.example.org:11110=tls\npop.example.org=plain\n", kHost, 11110,
             "tls pop.example.org:11110"},
        Case{"OtherPortOfTheServer", "[SECURITY]\npop.example.org:11110=tls\npop.example.org=plain\n", kHost,
             110, "plain pop.example.org:110"},
        Case{"NoPortIs110InTheKey",
             "[SECURITY]\npop.example.org:110=starttls\npop.example.org=tls\n",
             kHost,
             {},
             "starttls pop.example.org:110"},
        Case{"TlsOn110ByTheKeyStaysThere",
             "[SECURITY]\npop.example.org:110=tls\n",
             kHost,
             {},
             "tls pop.example.org:110"},
        Case{"Port995InTheKeyIsNotLookedUpWithout",
             "[SECURITY]\npop.example.org:995=starttls\n",
             kHost,
             {},
             "plain pop.example.org:110"},
        Case{"ServerAndPortAuto", "[SECURITY]\npop.example.org:995=auto\npop.example.org=plain\n", kHost, 995,
             "tls pop.example.org:995"},
        // IPv6 addresses have no brackets in the keys, with or without a port.
        Case{"Address6", "[SECURITY]\n2001:db8::7=tls\n", "2001:db8::7", {}, "tls 2001:db8::7:995"},
        Case{"Address6AndPort", "[SECURITY]\n::1:11110=starttls\n", "::1", 11110, "starttls ::1:11110"},
        Case{"Address6InBrackets", "[SECURITY]\n::1=tls\n", "[::1]", 110, "tls ::1:110"},
        Case{"Address4", "[SECURITY]\n127.0.0.1:143=tls\n", "127.0.0.1", 143, "tls 127.0.0.1:143"},
        // What is none of the words is never taken for something weaker.
        Case{"Unclear", "[SERVER]\nSecurity=ssl\n", kHost, {}, "unclear Security=ssl"},
        Case{"UnclearEmpty", "[SERVER]\nSecurity=\n", kHost, 995, "unclear Security="},
        Case{"UnclearServer",
             "[SERVER]\nSecurity=tls\n[SECURITY]\npop.example.org=tls 1.2\n",
             kHost,
             {},
             "unclear pop.example.org=tls 1.2"},
        Case{"UnclearServerAndPort", "[SECURITY]\npop.example.org:995=yes\npop.example.org=tls\n", kHost, 995,
             "unclear pop.example.org:995=yes"},
        Case{"UnclearElsewhereIsOfNoConcern", "[SECURITY]\npop.example.com=yes\n", kHost, 995,
             "tls pop.example.org:995"},
        Case{"LineWithoutValueIsNone",
             "[SECURITY]\npop.example.org\n",
             kHost,
             {},
             "plain pop.example.org:110"}),
    [](const auto& one) { return one.param.what; });

}  // namespace
}  // namespace quillbeaker
