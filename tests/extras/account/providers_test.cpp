// SPDX-License-Identifier: MIT
#include "extras/account/providers.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "config/ascii.h"
#include "config/texts.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

constexpr std::string_view kTable =
    "[DOMAINS]\n"
    "one.example=one\n"
    "two.example=two\n"
    "none.example=none\n"
    "lost.example=lost\n"
    "itself.example=DOMAINS\n"
    "[one]\nServer=POP.one.example\nPort=1995\nSecurity=StartTLS\nNeeds=app-password, enable\n"
    "Source=somebody\nTried=yes, 2026-01-02\n"
    "[two]\nServer=pop.two.example\nPort=995\nSecurity=tls\nNeeds=oauth\nTried=no\n"
    "[none]\nServer=\nSource=no POP3\n";

std::string Describe(const Proposals& proposals) {
  std::string text = proposals.no_pop3 ? "none" : "";
  for (const ServerProposal& one : proposals.servers) {
    text += one.server + ":" + std::to_string(one.port) + " " + std::string(SecurityWord(one.security)) +
            (one.needs_enabling ? " enable" : "") + (one.needs_app_password ? " app-password" : "") +
            (one.needs_oauth ? " oauth" : "") + (one.tried ? " tried" : "") +
            (one.source.empty() ? "" : " by " + one.source) + ";";
  }
  return text;
}

std::string Propose(std::string_view address, std::string_view own = {}) {
  return Describe(ProviderTable(own, kTable).Propose(address));
}

TEST(ProviderTable, ProposesTheRowOfTheDomain) {
  EXPECT_EQ(Propose("ann@one.example"),
            "pop.one.example:1995 starttls enable app-password tried by somebody;");
  EXPECT_EQ(Propose(" ann@b@ONE.Example. "), Propose("ann@one.example"));
  EXPECT_EQ(Propose("ann@two.example"), "pop.two.example:995 tls oauth;");
  EXPECT_EQ(Propose("ann@none.example"), "none");
}

TEST(ProviderTable, GuessesWhereItHasNoRow) {
  constexpr const char* kGuess = "pop.else.example:995 tls;mail.else.example:995 tls;";
  EXPECT_EQ(Propose("ann@else.example"), kGuess);
  EXPECT_EQ(Propose("ann@lost.example"), "pop.lost.example:995 tls;mail.lost.example:995 tls;");
  EXPECT_EQ(Propose("ann@itself.example"), "pop.itself.example:995 tls;mail.itself.example:995 tls;");
}

TEST(ProviderTable, ProposesNothingWithoutADomain) {
  for (const char* const typed :
       {"", "ann", "ann@", "@", "ann@local", "ann@a b.example", "ann@x&y.example", "ann@.example",
        "ann@a..example", "ann@-a.example", "ann@m\xC3\xBCller.example"}) {
    EXPECT_EQ(Propose(typed), "") << typed;
  }
  EXPECT_EQ(Propose("ann@" + std::string(300, 'a') + ".example"), "");
}

TEST(ProviderTable, TakesTheOwnFileFirst) {
  EXPECT_EQ(Propose("ann@one.example", "[one]\nServer=mine.example\nPort=110\nSecurity=plain\n"),
            "mine.example:110 plain;");
  EXPECT_EQ(Propose("ann@new.example", "[DOMAINS]\nnew.example=two\n"), "pop.two.example:995 tls oauth;");
  EXPECT_EQ(Propose("ann@two.example", "[DOMAINS]\ntwo.example=one\n"), Propose("ann@one.example"));
}

TEST(ProviderTable, LeavesRowsOutThatSayNothingSensible) {
  const std::string shipped = Propose("ann@one.example");
  for (const char* const row :
       {"Server=a b\nPort=995\nSecurity=tls\n", "Server=x.example\nPort=0\nSecurity=tls\n",
        "Server=x.example\nPort=70000\nSecurity=tls\n", "Server=x.example\nPort=995 or so\nSecurity=tls\n",
        "Server=x.example\nPort=99999999999\nSecurity=tls\n", "Server=x.example\nPort=995\nSecurity=maybe\n",
        "Server=x.example\nPort=995\n", "Server=x&y.example\nPort=995\nSecurity=tls\n", "Port=995\n"}) {
    EXPECT_EQ(Propose("ann@one.example", "[one]\n" + std::string(row)), shipped) << row;
  }
  EXPECT_EQ(Propose("ann@one.example", std::string(5000, '\xFF')), shipped);
}

TEST(ProviderTable, ReadsTheFileBesideTheProgram) {
  test::TestProgram test;
  test.directory.Put(
      "providers.ini",
      "[DOMAINS]\r\ngmx.de=mine\r\n[mine]\r\nServer=p.example\r\nPort=995\r\nSecurity=tls\r\n");
  EXPECT_EQ(Describe(ProviderTable(test.program()).Propose("a@gmx.de")), "p.example:995 tls;");
  test.directory.Put("providers.ini", std::string((1 << 20) + 1, ' '));
  EXPECT_EQ(ProviderTable(test.program()).Propose("a@gmx.de").servers[0].server, "pop.gmx.net");
}

TEST(DescribeNeeds, NamesEachOnItsLine) {
  ServerProposal proposal;
  EXPECT_EQ(DescribeNeeds(proposal), "");
  proposal.needs_enabling = proposal.needs_app_password = true;
  EXPECT_EQ(DescribeNeeds(proposal), std::string(TextOf(Text::kNeedsEnabling)) + "\n" +
                                         std::string(TextOf(Text::kNeedsAppPassword)) + "\n");
  proposal = {};
  proposal.needs_oauth = true;
  EXPECT_EQ(DescribeNeeds(proposal), std::string(TextOf(Text::kNeedsOauth)) + "\n");
}

TEST(ShippedProviders, AreAllUsableAndNameTheirSource) {
  const IniDocument table{ShippedProviders()};
  const ProviderTable providers({}, ShippedProviders());
  std::set<std::string> used;
  for (const IniEntry& entry : table.Section("DOMAINS")) {
    const std::string domain(entry.key);
    const std::string provider(entry.value);
    used.insert(provider);
    EXPECT_EQ(DomainOf("a@" + domain), domain);
    ASSERT_TRUE(table.Find(provider, "Server")) << provider;
    EXPECT_FALSE(table.Find(provider, "Source").value_or("").empty()) << provider;
    const std::string_view tried = table.Find(provider, "Tried").value_or("");
    EXPECT_TRUE(tried == "no" || tried.starts_with("yes, ")) << provider;
    const Proposals proposals = providers.Propose("a@" + domain);
    ASSERT_EQ(proposals.servers.size(), proposals.no_pop3 ? 0U : 1U) << domain;
    if (proposals.no_pop3) continue;
    EXPECT_FALSE(proposals.servers[0].source.empty()) << domain;
    // An account is never proposed without encryption.
    EXPECT_NE(proposals.servers[0].security, Security::kPlain) << domain;
  }
  EXPECT_GT(used.size(), 30U);
}

}  // namespace
}  // namespace quillbeaker
