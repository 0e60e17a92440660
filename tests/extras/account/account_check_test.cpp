// SPDX-License-Identifier: MIT
#include "extras/account/account_check.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "config/texts.h"
#include "pop3/scripted_pop3_server.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

class AccountCheckTest : public testing::Test {
 protected:
  Account AccountOn(int port) { return {"127.0.0.1", port, "ann", "secret", Security::kPlain}; }
  AccountResult Run(Account account) { return AccountCheck(test_.program()).Run(std::move(account), {}); }

  test::TestProgram test_;
};

TEST_F(AccountCheckTest, LogsInListsAndQuits) {
  ScriptedPop3Server server({"one", "two", "three"});
  const AccountResult result = Run(AccountOn(server.port()));
  EXPECT_EQ(result.outcome, AccountOutcome::kWorks);
  EXPECT_EQ(result.messages, 3U);
  EXPECT_EQ(result.port, server.port());
  EXPECT_EQ(DescribeResult(result), "The login works. Messages in the mailbox: 3.");
  EXPECT_EQ(server.commands(), (std::vector<std::string>{"USER ann", "PASS secret", "LIST", "QUIT"}));
}

TEST_F(AccountCheckTest, WritesNothingButTheLogAndThatWithoutThePassword) {
  ScriptedPop3Server server({"one"});
  server.Answer("PASS secret", "-ERR secret is wrong\r\n");
  const AccountResult result = Run(AccountOn(server.port()));
  EXPECT_EQ(result.outcome, AccountOutcome::kFailed);
  EXPECT_EQ(result.problem.failure, LoginFailure::kPasswordRefused);
  EXPECT_EQ(test_.directory.Names(), (std::vector<std::string>{"server.log"}));
  EXPECT_EQ(test_.directory.Get("server.log")->find("secret"), std::string::npos);
  EXPECT_EQ(DescribeResult(result).find("secret"), std::string::npos);
  EXPECT_NE(DescribeResult(result).find(TextOf(Text::kAdvicePassword)), std::string::npos);
}

TEST_F(AccountCheckTest, SaysThatAMailboxIsInUse) {
  ScriptedPop3Server server({});
  server.Answer("PASS secret", "-ERR [IN-USE] another session\r\n");
  AccountResult result = Run(AccountOn(server.port()));
  EXPECT_EQ(result.outcome, AccountOutcome::kInUse);
  EXPECT_NE(DescribeResult(result).find("ann @ 127.0.0.1"), std::string::npos);
  server.Answer("PASS secret", "-ERR [login-delay] wait\r\n");
  result = Run(AccountOn(server.port()));
  EXPECT_EQ(result.outcome, AccountOutcome::kLoginDelay);
  server.Answer("PASS secret", "-ERR not [IN-USE]\r\n");
  EXPECT_EQ(Run(AccountOn(server.port())).outcome, AccountOutcome::kFailed);
}

TEST_F(AccountCheckTest, SaysWhichStepFailed) {
  ScriptedPop3Server server({});
  server.Answer("LIST", "-ERR not now\r\n");
  const AccountResult not_listed = Run(AccountOn(server.port()));
  EXPECT_EQ(not_listed.outcome, AccountOutcome::kNotListed);
  EXPECT_NE(DescribeResult(not_listed).find("not now"), std::string::npos);
  EXPECT_NE(DescribeResult(not_listed).find(TextOf(Text::kAdviceNotListed)), std::string::npos);
  server.Answer("LIST", ScriptedPop3Server::kClose);
  const AccountResult lost = Run(AccountOn(server.port()));
  EXPECT_EQ(lost.outcome, AccountOutcome::kFailed);
  EXPECT_EQ(lost.problem.failure, LoginFailure::kConnectionLost);
  server.Answer("USER ann", "-ERR who\r\n");
  EXPECT_EQ(Run(AccountOn(server.port())).problem.failure, LoginFailure::kUserRefused);
  server.Answer("GREETING", "-ERR closed\r\n");
  EXPECT_EQ(Run(AccountOn(server.port())).problem.failure, LoginFailure::kGreeting);
  Account encrypted = AccountOn(server.port());
  encrypted.security = Security::kTls;
  EXPECT_EQ(Run(encrypted).outcome, AccountOutcome::kFailed);
}

TEST_F(AccountCheckTest, EveryFailureHasItsAdvice) {
  for (int i = static_cast<int>(LoginFailure::kNone) + 1;
       i <= static_cast<int>(LoginFailure::kConnectionLost); ++i) {
    AccountResult result;
    result.problem.failure = static_cast<LoginFailure>(i);
    const std::string text = DescribeResult(result);
    EXPECT_GT(text.find('\n'), 10U) << i;
    EXPECT_LT(text.find('\n') + 10, text.size()) << i;
  }
}

TEST_F(AccountCheckTest, NamesTheFileThatCouldNotTakeACertificate) {
  AccountResult result;
  result.problem.failure = LoginFailure::kCertificate;
  EXPECT_EQ(DescribeResult(result).find("could not be saved"), std::string::npos);
  result.unsaved = "/mail/Quillbeaker.ini";
  EXPECT_NE(DescribeResult(result).find("\nThe setting could not be saved in \"/mail/Quillbeaker.ini\"."),
            std::string::npos);
}

TEST_F(AccountCheckTest, SendsNothingThatNoMailProgramCouldSay) {
  ScriptedPop3Server server({});
  const auto outcome = [&](const std::string& user, const std::string& password) {
    Account account = AccountOn(server.port());
    account.user = user;
    account.password = password;
    return Run(account).outcome;
  };
  EXPECT_EQ(outcome("ann\r\nDELE 1", "secret"), AccountOutcome::kNoSuchEntry);
  EXPECT_EQ(outcome("", "secret"), AccountOutcome::kNoSuchEntry);
  EXPECT_EQ(outcome("ann", ""), AccountOutcome::kNoSuchEntry);
  EXPECT_EQ(outcome("ann", "app word"), AccountOutcome::kNoSuchEntry);
  EXPECT_EQ(outcome("ann", "x\r\nDELE 1"), AccountOutcome::kNoSuchEntry);
  EXPECT_EQ(outcome("ann", std::string(80, 'p')), AccountOutcome::kNoSuchEntry);
  EXPECT_TRUE(server.commands().empty());
}

TEST_F(AccountCheckTest, RefusesThisVeryProgram) {
  test_.directory.Put("Quillbeaker.ini", "[SERVER]\r\nPort=23110\r\n");
  EXPECT_EQ(Run(AccountOn(23110)).problem.failure, LoginFailure::kOwnAddress);
}

TEST_F(AccountCheckTest, EndsSoonAfterCancel) {
  ScriptedPop3Server server({});
  server.Answer("PASS secret", ScriptedPop3Server::kSilence);
  AccountCheck check(test_.program());
  std::thread person([&] {
    server.WaitForCommand("PASS secret");
    check.Cancel();
  });
  const auto start = std::chrono::steady_clock::now();
  const AccountResult result = check.Run(AccountOn(server.port()), {});
  person.join();
  EXPECT_EQ(result.outcome, AccountOutcome::kCancelled);
  EXPECT_EQ(DescribeResult(result), TextOf(Text::kAccountTestCancelled));
  // Without waiting for the server's answer to QUIT.
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
}

TEST_F(AccountCheckTest, AServerThatDoesNotAnswerHasFailed) {
  test_.directory.Put("Quillbeaker.ini", "[SERVER]\r\nTimeout=1\r\n");
  ScriptedPop3Server server({});
  server.Answer("GREETING", ScriptedPop3Server::kSilence);
  EXPECT_EQ(Run(AccountOn(server.port())).problem.failure, LoginFailure::kTimedOut);
}

TEST_F(AccountCheckTest, KnowsWhatMailChecksUse) {
  EXPECT_TRUE(MailChecksUse(test_.program(), "pop.example.org", 995, Security::kTls));
  EXPECT_TRUE(MailChecksUse(test_.program(), "pop.example.org", 110, Security::kPlain));
  EXPECT_FALSE(MailChecksUse(test_.program(), "pop.example.org", 110, Security::kStartTls));
  ASSERT_TRUE(KeepSecurity(test_.program(), "pop.example.org", 110, Security::kStartTls));
  EXPECT_TRUE(MailChecksUse(test_.program(), "pop.example.org", 110, Security::kStartTls));
  EXPECT_FALSE(MailChecksUse(test_.program(), "pop.example.org", 110, Security::kPlain));
}

TEST_F(AccountCheckTest, NamesWhatTheProviderNeedsAfterARefusal) {
  const ProviderTable providers("",
                                "[DOMAINS]\r\nexample.org=one\r\n[one]\r\nServer=pop.example.org\r\n"
                                "Port=995\r\nSecurity=tls\r\nNeeds=app-password\r\n");
  AccountResult result;
  const auto needs = [&](const std::string& server) {
    return NeedsAfterRefusal(providers, server, "ann@example.org", result);
  };
  result.problem.failure = LoginFailure::kPasswordRefused;
  EXPECT_NE(needs("POP.example.org").find(TextOf(Text::kNeedsAppPassword)), std::string::npos);
  EXPECT_EQ(needs("mail.example.org"), "");
  result.problem.failure = LoginFailure::kNameNotFound;
  EXPECT_EQ(needs("pop.example.org"), "");
}

TEST_F(AccountCheckTest, KeepsTheSecurityOfOneServer) {
  EXPECT_TRUE(KeepSecurity(test_.program(), "pop.example.org.", 995, Security::kTls));
  EXPECT_TRUE(KeepSecurity(test_.program(), "[::1]", 110, Security::kStartTls));
  EXPECT_EQ(test_.directory.Get("Quillbeaker.ini"),
            "[SECURITY]\r\npop.example.org:995=tls\r\n::1:110=starttls\r\n");
}

}  // namespace
}  // namespace quillbeaker
