// SPDX-License-Identifier: MIT
#include "pop3/local/client_session.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <deque>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "pop3/recording_observer.h"
#include "pop3/scripted_client.h"
#include "pop3/scripted_pop3_server.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

using std::chrono::milliseconds;

class ClientSessionTest : public ::testing::Test {
 protected:
  // Runs a session over the commands until it ends by itself or by the idle limit.
  const std::vector<std::string>& Run(std::deque<std::string> commands) {
    conversation_.commands = std::move(commands);
    ClientSession session(world_.program(), observer_, memory_, settings_,
                          std::make_unique<ScriptedClient>(conversation_));
    session.Run();
    return conversation_.sends;
  }

  test::TestProgram world_;
  RecordingObserver observer_;
  ProxyMemory memory_{world_.program().environment};
  SessionSettings settings_;
  Conversation conversation_;
};

TEST_F(ClientSessionTest, GreetsAfterTheHousekeepingAndEndsWithItsSummary) {
  EXPECT_EQ(Run({}), std::vector<std::string>({"+OK Ready\r\n"}));
  EXPECT_EQ(observer_.told.front(), "session begins");
  EXPECT_EQ(observer_.told[1].substr(0, 7), "status ") << "the purges come before the greeting";
  EXPECT_EQ(observer_.told.back(), "session ends");
  EXPECT_FALSE(observer_.summary.logged_in);
}

TEST_F(ClientSessionTest, WaitsTenMinutesForASilentClientAndThenEnds) {
  Run({});
  EXPECT_EQ(conversation_.waited, std::chrono::minutes(10));
}

TEST_F(ClientSessionTest, EndsWhenTheClientTakesNothing) {
  conversation_.sends_taken = 1;
  Run({"STAT\r\n", "STAT\r\n", "STAT\r\n"});
  EXPECT_EQ(conversation_.commands.size(), 2u);
}

TEST_F(ClientSessionTest, TakesEachReceiveForOneCommand) {
  EXPECT_EQ(Run({"NO", "OP\r\n", "STAT\r\nSTAT\r\n", "stat\r\n"}),
            std::vector<std::string>({"+OK Ready\r\n", "-ERR Unknown command\r\n", "-ERR Unknown command\r\n",
                                      "+OK 0 0\r\n", "+OK 0 0\r\n"}));
}

TEST_F(ClientSessionTest, CutsWhatIsLongerThanAReceive) {
  EXPECT_EQ(Run({std::string(2000, 'X')}).size(), 3u);
}

TEST_F(ClientSessionTest, SendsAReplyOfSeveralLinesAtOnce) {
  EXPECT_EQ(Run({"LIST\r\n"}).back(), "+OK There are no messages\r\n.\r\n");
}

// The lines of client.log that a client's commands left, without their times.
std::vector<std::string> LoggedCommands(test::TestProgram& world) {
  const std::string log = world.directory.Get("client.log").value_or("");
  std::vector<std::string> commands;
  for (std::size_t at = log.find(" C: "); at != std::string::npos; at = log.find(" C: ", at + 1)) {
    commands.push_back(log.substr(at + 4, log.find("\r\n", at) - at - 4));
  }
  return commands;
}

TEST_F(ClientSessionTest, KeepsAPasswordThatComesInPiecesOutOfTheLog) {
  Run({"PA", "SS sec", "ret\r\n", "NOOP\r\n", "APOP jane d1", "g35t\r\n", "STAT\r\n"});
  EXPECT_EQ(LoggedCommands(world_), std::vector<std::string>({"PA", "********", "********", "NOOP",
                                                              "APOP ********", "********", "STAT"}));
}

TEST_F(ClientSessionTest, LogsOtherCommandsThatComeInPieces) {
  Run({"NO", "OP\r\n", "STAT", "\r\n"});
  EXPECT_EQ(LoggedCommands(world_), std::vector<std::string>({"NO", "OP", "STAT", ""}));
}

TEST_F(ClientSessionTest, RefusesAWrongUserNameAndTellsThePerson) {
  EXPECT_EQ(Run({"USER popserver\r\n", "STAT\r\n"}).back(), "-ERR Username isn't correct\r\n");
  EXPECT_EQ(std::ranges::count(observer_.told, "wrong user name"), 1);
  EXPECT_EQ(conversation_.commands.size(), 1u);
}

TEST_F(ClientSessionTest, TellsOfAServerNameInTheBytesOfAnyEncodingAsUtf8) {
  Run({"USER m\xfcller.example&ann\r\n"});
  EXPECT_EQ(std::ranges::count(observer_.told, "tooltip Connecting to \"m\u00fcller.example\"..."), 1);
  Run({"USER m\xc3\xbcller.example&ann\r\n"});
  EXPECT_EQ(std::ranges::count(observer_.told, "tooltip Connecting to \"m\u00fcller.example\"..."), 2);
}

// A client and a server, and a person who presses Cancel at one of the server's commands.
class CancelledSessionTest : public ClientSessionTest {
 protected:
  class Person : public RecordingObserver {
   public:
    bool IsCancelled() override { return has_cancelled; }
    std::atomic<bool> has_cancelled = false;
  };

  CancelledSessionTest() : server_({"Subject: 1\r\n\r\none", "Subject: 2\r\n\r\ntwo"}) {}

  // The replies after those to USER and PASS, or after the greeting when the login does not succeed.
  std::vector<std::string> RunCancelledAt(const std::string& command, std::deque<std::string> commands) {
    server_.Answer(command, ScriptedPop3Server::kSilence);
    server_.OnCommand(command, [this] { person_.has_cancelled = true; });
    conversation_.commands = std::move(commands);
    conversation_.commands.push_front("PASS secret\r\n");
    conversation_.commands.push_front("USER 127.0.0.1&jane&" + std::to_string(server_.port()) + "\r\n");
    ClientSession session(world_.program(), person_, memory_, settings_,
                          std::make_unique<ScriptedClient>(conversation_));
    session.Run();
    return {conversation_.sends.begin() + 2, conversation_.sends.end()};
  }

  ScriptedPop3Server server_;
  Person person_;
  const std::string accepted_ = "+OK Password accepted\r\n";
};

TEST_F(CancelledSessionTest, ALoginThatIsCancelledIsRefused) {
  EXPECT_EQ(RunCancelledAt("USER jane", {"STAT\r\n"}),
            std::vector<std::string>({"-ERR Password isn't correct\r\n"}));
}

TEST_F(CancelledSessionTest, StatAnswersAndEndsTheSession) {
  for (const std::string command : {"LIST", "UIDL"}) {
    person_.has_cancelled = false;
    conversation_ = {};
    EXPECT_EQ(RunCancelledAt(command, {"STAT\r\n", "NOOP\r\n"}),
              (std::vector<std::string>{accepted_, "+OK 0 0\r\n"}))
        << command;
    EXPECT_EQ(conversation_.commands.size(), 1u);
    server_.Answer(command, "+OK\r\n1 15\r\n2 15\r\n.\r\n");
  }
}

TEST_F(CancelledSessionTest, StatOfABuildThatIsCancelledAnswersAndEndsTheSession) {
  EXPECT_EQ(RunCancelledAt("RETR 1", {"STAT\r\n", "NOOP\r\n"}),
            (std::vector<std::string>{accepted_, "+OK 1 17\r\n"}));
  EXPECT_EQ(conversation_.commands.size(), 1u);
}

TEST_F(CancelledSessionTest, AfterAListTheSessionGoesOn) {
  EXPECT_EQ(
      RunCancelledAt("RETR 1", {"LIST\r\n", "UIDL 1\r\n"}),
      (std::vector<std::string>{accepted_, "+OK Message list follows\r\n1 17\r\n.\r\n", "+OK 1 uid2\r\n"}));
  EXPECT_EQ(conversation_.waited, std::chrono::minutes(10)) << "it ended by itself, not by the Cancel";
}

TEST_F(CancelledSessionTest, EndsTheWaitForACommand) {
  EXPECT_EQ(RunCancelledAt("no command", {}), std::vector<std::string>({accepted_}));
  EXPECT_EQ(conversation_.waited, std::chrono::minutes(10));
  person_.has_cancelled = true;
  conversation_ = {};
  ClientSession session(world_.program(), person_, memory_, settings_,
                        std::make_unique<ScriptedClient>(conversation_));
  session.Run();
  EXPECT_EQ(conversation_.waited, milliseconds(0));
}

TEST_F(CancelledSessionTest, EndsTheWaitForAClientThatTakesNothing) {
  person_.has_cancelled = true;
  conversation_.sends_taken = 0;
  ClientSession session(world_.program(), person_, memory_, settings_,
                        std::make_unique<ScriptedClient>(conversation_));
  session.Run();
  EXPECT_LE(conversation_.waited, 2 * Watch::kStep);
}

TEST(TickSequence, GivesNoValueTwice) {
  Environment environment;
  std::uint32_t now = 1000;
  environment.tick_count = [&now] { return now; };
  TickSequence ticks;
  EXPECT_EQ(ticks.Next(environment), 1000u);
  EXPECT_EQ(ticks.Next(environment), 1001u);
  EXPECT_EQ(ticks.Next(environment), 1002u);
  now = 1001;
  EXPECT_EQ(ticks.Next(environment), 1003u);
  now = 5000;
  EXPECT_EQ(ticks.Next(environment), 5000u);
}

}  // namespace
}  // namespace quillbeaker
