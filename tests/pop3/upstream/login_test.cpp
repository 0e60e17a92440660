// SPDX-License-Identifier: MIT
// Why a login fails, as the person and the server log are told.
#include "pop3/upstream/login.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "pop3/recording_observer.h"
#include "pop3/scripted_pop3_server.h"
#include "pop3/upstream/pop3_client.h"
#include "pop3/watch.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

class LoginTest : public ::testing::Test {
 protected:
  LoginTest() : server_(std::vector<std::string>{}) {}

  bool LogIn(std::string_view server_section) { return LogInAs("jane", server_.port(), server_section); }
  bool LogInAs(const std::string& user, int port, std::string_view server_section, int own_port = 0) {
    world_.Configure("AutoAbortOnTimeout=1", "[SERVER]\r\n" + std::string(server_section) + "\r\n");
    result_ = quillbeaker::LogIn(world_.program(), client_, {"127.0.0.1", port, user, "secret"}, 1, own_port);
    return result_.logged_in;
  }
  LoginFailure Failure() const { return result_.problem.failure; }
  std::string Log() {
    client_.Close();
    return world_.directory.Get("server.log").value_or("");
  }

  test::TestProgram world_;
  ScriptedPop3Server server_;
  RecordingObserver observer_;
  Watch watch_{observer_};
  Pop3Client client_{world_.program(), watch_};
  LoginResult result_;
};

TEST_F(LoginTest, GivesThePortAndAsksForNothingBeyondThePassword) {
  EXPECT_TRUE(LogIn(""));
  EXPECT_EQ(Failure(), LoginFailure::kNone);
  EXPECT_EQ(result_.port, server_.port());
  EXPECT_EQ(server_.commands(), (std::vector<std::string>{"USER jane", "PASS secret"}));
}

TEST_F(LoginTest, TellsWhichStepTheServerRefusedInItsWords) {
  const struct {
    std::string step;
    LoginFailure failure;
    std::string last_command;
  } cases[] = {{"GREETING", LoginFailure::kGreeting, ""},
               {"USER jane", LoginFailure::kUserRefused, "USER jane"},
               {"PASS secret", LoginFailure::kPasswordRefused, "PASS secret"}};
  for (const auto& one : cases) {
    server_.Answer(one.step, "-ERR go away\r\n");
    EXPECT_FALSE(LogIn("")) << one.step;
    EXPECT_EQ(Failure(), one.failure) << one.step;
    EXPECT_EQ(result_.problem.detail, "-ERR go away") << one.step;
    EXPECT_EQ(result_.problem.server, "127.0.0.1:" + std::to_string(server_.port()));
    EXPECT_EQ(result_.problem.account, "jane @ 127.0.0.1");
    const std::vector<std::string> commands = server_.commands();
    EXPECT_EQ(commands.empty() ? "" : commands.back(), one.last_command) << "nothing follows a refusal";
    server_.Answer(one.step, "+OK\r\n");
    client_.Close();
  }
}

TEST_F(LoginTest, KeepsThePasswordThatAServerEchoesOutOfItsWordsAndTheLog) {
  server_.Answer("PASS secret", "-ERR secret is no password\r\n");
  EXPECT_FALSE(LogIn(""));
  EXPECT_EQ(result_.problem.detail.find("secret"), std::string::npos) << result_.problem.detail;
  EXPECT_NE(result_.problem.detail.find("is no password"), std::string::npos) << result_.problem.detail;
  EXPECT_EQ(Log().find("secret"), std::string::npos);
}

TEST_F(LoginTest, AServerThatClosesIsNoRefusal) {
  for (const std::string step : {"GREETING", "USER jane", "PASS secret"}) {
    server_.Answer(step, ScriptedPop3Server::kClose);
    EXPECT_FALSE(LogIn("")) << step;
    EXPECT_EQ(Failure(), LoginFailure::kConnectionLost) << step;
    server_.Answer(step, "+OK\r\n");
    client_.Close();
  }
}

TEST_F(LoginTest, AServerThatStaysSilentTimedOut) {
  server_.Answer("PASS secret", ScriptedPop3Server::kSilence);
  EXPECT_FALSE(LogIn(""));
  EXPECT_EQ(Failure(), LoginFailure::kTimedOut);
}

TEST_F(LoginTest, AUserNameThatIsTooLongIsNeverSent) {
  EXPECT_FALSE(LogInAs(std::string(81, 'u'), server_.port(), ""));
  EXPECT_EQ(Failure(), LoginFailure::kNone);
  EXPECT_EQ(server_.commands(), std::vector<std::string>());
  client_.Close();
  EXPECT_TRUE(LogInAs(std::string(80, 'u'), server_.port(), ""));
}

TEST_F(LoginTest, NobodyAtThePortIsToldAsSuch) {
  int port = 0;
  {
    const auto listener = ListenOnLoopback(0, 1);
    ASSERT_NE(listener, nullptr);
    port = listener->port();
  }
  EXPECT_FALSE(LogInAs("jane", port, ""));
  EXPECT_EQ(Failure(), LoginFailure::kNotReached);
}

TEST_F(LoginTest, TheProxyDoesNotAskItself) {
  EXPECT_FALSE(LogInAs("jane", server_.port(), "", server_.port()));
  EXPECT_EQ(Failure(), LoginFailure::kOwnAddress);
  EXPECT_EQ(server_.commands(), std::vector<std::string>());
}

// RFC 2595, section 4: the bytes could be anybody's.
TEST_F(LoginTest, BytesBehindAnAnswerBeforeEncryptionEndTheLogin) {
  server_.Answer("GREETING", "+OK\r\n+OK begin\r\n");
  EXPECT_FALSE(LogIn("Security=starttls"));
  EXPECT_EQ(Failure(), LoginFailure::kGreeting);
  EXPECT_EQ(result_.problem.detail, "bytes behind the answer");
  EXPECT_EQ(server_.commands(), std::vector<std::string>());
  server_.Answer("GREETING", "+OK\r\n");
  server_.Answer("STLS", "+OK\r\n+OK welcome\r\n");
  EXPECT_FALSE(LogIn("Security=starttls"));
  EXPECT_EQ(Failure(), LoginFailure::kStartTlsRefused);
  EXPECT_EQ(server_.commands(), std::vector<std::string>{"STLS"}) << "not even QUIT is said in clear";
}

TEST_F(LoginTest, BytesBehindAnAnswerInClearAreIgnored) {
  server_.Answer("GREETING", "+OK\r\n-ERR never sent\r\n");
  EXPECT_TRUE(LogIn("Security=plain"));
}

TEST_F(LoginTest, ARefusedStlsSendsNoPassword) {
  server_.Answer("STLS", "-ERR not here\r\n");
  EXPECT_FALSE(LogIn("Security=starttls"));
  EXPECT_EQ(Failure(), LoginFailure::kStartTlsRefused);
  EXPECT_EQ(result_.problem.detail, "-ERR not here");
  EXPECT_EQ(server_.commands(), std::vector<std::string>{"STLS"});
}

TEST_F(LoginTest, AServerThatSpeaksNoTlsIsToldAsSuch) {
  EXPECT_FALSE(LogIn("Security=tls"));
  EXPECT_EQ(Failure(), LoginFailure::kTls);
  EXPECT_FALSE(result_.problem.detail.empty());
  EXPECT_FALSE(result_.problem.certificate.has_value());
  EXPECT_NE(Log().find(result_.problem.detail), std::string::npos);
}

TEST_F(LoginTest, AServerThatClosesAtCapaEndsTheLogin) {
  server_.Answer("CAPA", ScriptedPop3Server::kClose);
  EXPECT_FALSE(LogIn("Pipelining=always"));
  EXPECT_EQ(Failure(), LoginFailure::kConnectionLost);
}

TEST_F(LoginTest, AServerThatKnowsNoCapaIsAskedWithoutPipelining) {
  EXPECT_TRUE(LogIn("Pipelining=always"));
  EXPECT_FALSE(result_.pipelining);
  EXPECT_EQ(server_.commands().back(), "CAPA");
}

}  // namespace
}  // namespace quillbeaker
