// SPDX-License-Identifier: MIT
// What each command of a mail client does and answers, in sessions with a server on loopback.
#include "pop3/local/client_commands.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <deque>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "config/texts.h"
#include "pop3/local/client_session.h"
#include "pop3/recording_observer.h"
#include "pop3/scripted_client.h"
#include "pop3/scripted_pop3_server.h"
#include "stores/recycle_bin.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

using std::chrono::milliseconds;
using Replies = std::vector<std::string>;

const std::string kOne = "Subject: 1\r\n\r\none";
const std::string kTwo = "Subject: 2\r\n\r\ntwo";
const std::string kThree = "Subject: 3\r\n\r\nthree";

// The server's messages are shown against their order: the client's number 1 is the server's 3.
class ClientCommandsTest : public ::testing::Test {
 protected:
  ClientCommandsTest() : server_({kOne, kTwo, kThree}) {
    world_.directory.MakeFolder("recycle");
    world_.directory.MakeFolder("training");
    RecycleBin(world_.program()).RebuildIndex();
  }

  // The replies after those to USER and PASS.
  Replies Run(std::deque<std::string> commands) {
    commands.push_front("PASS secret\r\n");
    commands.push_front("USER 127.0.0.1&jane&" + std::to_string(server_.port()) + "\r\n");
    const Replies all = RunWithoutLogin(std::move(commands));
    const Replies begin(all.begin(), all.begin() + std::min<std::ptrdiff_t>(3, std::ssize(all)));
    EXPECT_EQ(begin, (Replies{"+OK Ready\r\n", "+OK Username accepted\r\n", "+OK Password accepted\r\n"}));
    return {all.begin() + std::ssize(begin), all.end()};
  }
  Replies RunWithoutLogin(std::deque<std::string> commands) {
    conversation_ = {};
    conversation_.commands = std::move(commands);
    ClientSession session(world_.program(), observer_, memory_, settings_,
                          std::make_unique<ScriptedClient>(conversation_, &gone_));
    {
      const std::lock_guard lock(mutex_);
      session_ = &session;
    }
    session.Run();
    const std::lock_guard lock(mutex_);
    session_ = nullptr;
    return conversation_.sends;
  }
  // On the server's thread.
  void StopSession() {
    const std::lock_guard lock(mutex_);
    if (session_ != nullptr) session_->Stop();
  }
  std::string LastOf(std::deque<std::string> commands) {
    const Replies replies = Run(std::move(commands));
    return replies.empty() ? "(no reply)" : replies.back();
  }
  // Commands that the session ended without taking.
  std::size_t Untaken() const { return conversation_.commands.size(); }
  bool ServerHeard(const std::string& command) {
    const std::vector<std::string> commands = server_.commands();
    return std::ranges::find(commands, command) != commands.end();
  }
  std::string ClientLog() const { return world_.directory.Get("client.log").value_or(""); }

  test::TestProgram world_;
  ScriptedPop3Server server_;
  RecordingObserver observer_;
  std::atomic<bool> gone_ = false;
  ProxyMemory memory_{world_.program().environment};
  SessionSettings settings_;
  Conversation conversation_;
  std::mutex mutex_;
  ClientSession* session_ = nullptr;  // while it runs
};

TEST_F(ClientCommandsTest, ListTellsEveryMessageOrOne) {
  EXPECT_EQ(Run({"LIST\r\n", "LIST 1\r\n", "LIST 4\r\n", "NOOP\r\n"}),
            (Replies{"+OK Message list follows\r\n1 19\r\n2 17\r\n3 17\r\n.\r\n", "+OK 1 19\r\n",
                     "-ERR message does not exist!\r\n"}));
  EXPECT_EQ(Untaken(), 0u) << "a wrong number ends nothing";
}

TEST_F(ClientCommandsTest, ListLeavesHiddenSpamOut) {
  world_.Configure("Aggressiveness=100", "");
  EXPECT_EQ(
      Run({"LIST\r\n", "LIST 1\r\n", "STAT\r\n"}),
      (Replies{"+OK Message list follows\r\n.\r\n", "-ERR message does not exist!\r\n", "+OK 0 0\r\n"}));
}

TEST_F(ClientCommandsTest, RetrSendsTheMessageAndLogsNothingOfIt) {
  EXPECT_EQ(Run({"STAT\r\n", "RETR 2\r\n"}), (Replies{"+OK 3 53\r\n", "+OK 17\r\n" + kTwo + "\r\n.\r\n"}));
  EXPECT_NE(ClientLog().find("(message completely transferred)"), std::string::npos);
  EXPECT_EQ(ClientLog().find("Subject"), std::string::npos);
}

TEST_F(ClientCommandsTest, RetrFetchesWhatNoViewHasFetched) {
  EXPECT_EQ(Run({"RETR 2\r\n"}), (Replies{"+OK 17\r\n" + kTwo + "\r\n.\r\n"}));
  EXPECT_EQ(std::ranges::count_if(server_.commands(),
                                  [](const std::string& line) { return line.starts_with("RETR"); }),
            1);
}

TEST_F(ClientCommandsTest, RetrSendsAMessageThatIsLargerThanTheGatheredReply) {
  const std::string large = "Subject: large\r\n\r\n" + std::string(600'000, 'x');
  ScriptedPop3Server server({large});
  const Replies replies = RunWithoutLogin(
      {"USER 127.0.0.1&jane&" + std::to_string(server.port()) + "\r\n", "PASS secret\r\n", "RETR 1\r\n"});
  std::string answer;
  for (std::size_t i = 3; i < replies.size(); ++i) answer += replies[i];
  EXPECT_EQ(answer, "+OK " + std::to_string(large.size()) + "\r\n" + large + "\r\n.\r\n");
}

TEST_F(ClientCommandsTest, RetrOfNoMessageEndsTheSessionWithoutAReply) {
  for (const std::string command : {"RETR 4", "RETR 0", "RETR", "RETR x"}) {
    EXPECT_EQ(Run({command + "\r\n", "STAT\r\n"}), Replies{}) << command;
    EXPECT_EQ(Untaken(), 1u) << command;
  }
}

TEST_F(ClientCommandsTest, RetrThatTheServerRefusesEndsTheSessionWithoutAReply) {
  server_.Answer("RETR 2", "-ERR locked\r\n");
  EXPECT_EQ(Run({"RETR 2\r\n", "STAT\r\n"}), Replies{});
  EXPECT_EQ(std::ranges::count(observer_.told, "refused jane @ 127.0.0.1 2 -ERR locked"), 1);
}

TEST_F(ClientCommandsTest, DeleIsCarriedOutAtQuit) {
  EXPECT_EQ(Run({"STAT\r\n", "DELE 1\r\n", "QUIT\r\n"}),
            (Replies{"+OK 3 53\r\n", "+OK Message deleted\r\n", "+OK Everything done.\r\n"}));
  EXPECT_TRUE(ServerHeard("DELE 3"));
  EXPECT_TRUE(ServerHeard("QUIT"));
}

TEST_F(ClientCommandsTest, DeleOfASessionThatEndsWithoutQuitIsForgotten) {
  EXPECT_EQ(LastOf({"STAT\r\n", "DELE 1\r\n"}), "+OK Message deleted\r\n");
  EXPECT_FALSE(ServerHeard("DELE 3"));
}

TEST_F(ClientCommandsTest, DeleOfNoMessageIsRefusedAndEndsTheSession) {
  EXPECT_EQ(LastOf({"STAT\r\n", "DELE 4\r\n", "QUIT\r\n"}), "-ERR Message could not be deleted\r\n");
  EXPECT_EQ(Untaken(), 1u);
  EXPECT_EQ(RunWithoutLogin({"DELE 1\r\n", "QUIT\r\n"}).back(), "-ERR Message could not be deleted\r\n");
  EXPECT_EQ(Untaken(), 1u);
}

TEST_F(ClientCommandsTest, RsetKeepsTheDeletionMarks) {
  EXPECT_EQ(Run({"STAT\r\n", "DELE 1\r\n", "RSET\r\n", "QUIT\r\n"}),
            (Replies{"+OK 3 53\r\n", "+OK Message deleted\r\n",
                     "+OK I pretend that everything is now clean\r\n", "+OK Everything done.\r\n"}));
  EXPECT_TRUE(ServerHeard("DELE 3"));
}

TEST_F(ClientCommandsTest, TopSendsTheHeaderOfAFetchedMessageAlone) {
  EXPECT_EQ(Run({"STAT\r\n", "TOP 1 0\r\n", "TOP 1 20\r\n"}),
            (Replies{"+OK 3 53\r\n", "+OK Message header follows\r\nSubject: 3\r\n\r\n.\r\n",
                     "+OK Message header follows\r\nSubject: 3\r\n\r\n.\r\n"}));
  EXPECT_NE(ClientLog().find("(message header completely transferred)"), std::string::npos);
}

TEST_F(ClientCommandsTest, TopFetchesNothing) {
  EXPECT_EQ(Run({"TOP 1 0\r\n"}), (Replies{"+OK Message header follows\r\n\r\n.\r\n"}));
  EXPECT_FALSE(ServerHeard("RETR 1"));
}

TEST_F(ClientCommandsTest, TopOfNoMessageIsRefusedAndEndsTheSession) {
  EXPECT_EQ(Run({"TOP 4 0\r\n", "STAT\r\n"}), (Replies{"-ERR Message could not be received\r\n"}));
  EXPECT_EQ(Untaken(), 1u);
}

TEST_F(ClientCommandsTest, UidlTellsTheServersIds) {
  EXPECT_EQ(Run({"STAT\r\n", "UIDL\r\n", "UIDL 1\r\n", "UIDL 9\r\n"}),
            (Replies{"+OK 3 53\r\n", "+OK UID list follows\r\n1 uid3\r\n2 uid2\r\n3 uid1\r\n.\r\n",
                     "+OK 1 uid3\r\n", "-ERR UID not found\r\n"}));
}

TEST_F(ClientCommandsTest, UidlWithoutAServersIdsMakesOnesThatNoSessionRepeats) {
  server_.Answer("UIDL", "-ERR what?\r\n");
  // The content's CRC-32, then the system's ticks.
  const Replies first = Run({"STAT\r\n", "UIDL\r\n", "UIDL 1\r\n"});
  ASSERT_EQ(first.size(), 3u);
  EXPECT_EQ(first[1],
            "+OK UID list follows\r\n1 Quillbeaker408724f93e8\r\n2 Quillbeaker40c69eee3e9\r\n"
            "3 Quillbeakera5ef959a3ea\r\n.\r\n");
  EXPECT_EQ(first[2], "-ERR UID not found\r\n");
  EXPECT_EQ(LastOf({"STAT\r\n", "UIDL\r\n"}).find("3e8"), std::string::npos);
}

TEST_F(ClientCommandsTest, UidlOfMailThatWasNotFetchedHasTheTicksAlone) {
  server_.Answer("UIDL", "-ERR what?\r\n");
  EXPECT_EQ(LastOf({"UIDL\r\n"}),
            "+OK UID list follows\r\n3 Quillbeaker3e8\r\n2 Quillbeaker3e9\r\n1 Quillbeaker3ea\r\n.\r\n");
}

TEST_F(ClientCommandsTest, ANumberThatNoMessageWasGivenIsTheServersOwn) {
  server_.Answer("LIST", "+OK\r\n7 17\r\n.\r\n");
  server_.Answer("UIDL", "+OK\r\n7 uid7\r\n.\r\n");
  server_.Answer("RETR 7", "+OK\r\n" + kTwo + "\r\n.\r\n");
  EXPECT_EQ(Run({"STAT\r\n", "UIDL 7\r\n", "UIDL 1\r\n", "RETR 7\r\n"}),
            (Replies{"+OK 1 17\r\n", "+OK 1 uid7\r\n", "+OK 1 uid7\r\n", "+OK 17\r\n" + kTwo + "\r\n.\r\n"}));
}

TEST_F(ClientCommandsTest, NoopReachesTheServerAndIsNotAnswered) {
  EXPECT_EQ(Run({"NOOP\r\n", "STAT\r\n"}), (Replies{"+OK 3 53\r\n"}));
  EXPECT_TRUE(ServerHeard("NOOP"));
}

TEST_F(ClientCommandsTest, APasswordThatIsTooLongIsRefusedWithoutTheServer) {
  EXPECT_EQ(RunWithoutLogin({"USER 127.0.0.1&jane&" + std::to_string(server_.port()) + "\r\n",
                             "PASS " + std::string(80, 'p') + "\r\n", "STAT\r\n"})
                .back(),
            "-ERR Password isn't correct\r\n");
  EXPECT_EQ(Untaken(), 1u);
  EXPECT_EQ(server_.commands(), std::vector<std::string>());
}

TEST_F(ClientCommandsTest, AClientThatClosesEndsTheSession) {
  conversation_ = {};
  conversation_.closes = true;
  ClientSession session(world_.program(), observer_, memory_, settings_,
                        std::make_unique<ScriptedClient>(conversation_));
  session.Run();
  EXPECT_EQ(conversation_.sends, (Replies{"+OK Ready\r\n"}));
  EXPECT_EQ(conversation_.waited, milliseconds(0));
}

TEST_F(ClientCommandsTest, AClientThatHasGoneIsAnsweredNothing) {
  const struct {
    std::string command;
    std::string asked;  // of the server, which then says nothing
  } cases[] = {{"STAT\r\n", "LIST"}, {"LIST\r\n", "RETR 3"}, {"UIDL\r\n", "UIDL"}, {"STAT\r\n", "RETR 2"}};
  for (const auto& one : cases) {
    ScriptedPop3Server server({kOne, kTwo, kThree});
    server.Answer(one.asked, ScriptedPop3Server::kSilence);
    server.OnCommand(one.asked, [this] { gone_ = true; });
    gone_ = false;
    const Replies replies = RunWithoutLogin({"USER 127.0.0.1&jane&" + std::to_string(server.port()) + "\r\n",
                                             "PASS secret\r\n", one.command, "NOOP\r\n"});
    EXPECT_EQ(replies.back(), "+OK Password accepted\r\n") << one.command << one.asked;
    EXPECT_EQ(Untaken(), 1u) << one.command << one.asked;
  }
}

TEST_F(ClientCommandsTest, StopEndsAWaitForTheServer) {
  for (const std::string asked : {"USER jane", "LIST", "RETR 3"}) {
    ScriptedPop3Server server({kOne, kTwo, kThree});
    server.Answer(asked, ScriptedPop3Server::kSilence);
    server.OnCommand(asked, [this] { StopSession(); });
    RunWithoutLogin({"USER 127.0.0.1&jane&" + std::to_string(server.port()) + "\r\n", "PASS secret\r\n",
                     "STAT\r\n", "NOOP\r\n"});
    EXPECT_EQ(observer_.told.back(), "session ends") << asked;
    EXPECT_FALSE(observer_.summary.finished) << asked;
    EXPECT_GE(Untaken(), 1u) << asked;
  }
}

TEST_F(ClientCommandsTest, ASlowAnswerBeginsWithoutWaitingForItsEnd) {
  world_.Configure("", "[SERVER]\r\nKeepWaitingSeconds=1\r\n");
  server_.OnCommand("RETR 3", [] { std::this_thread::sleep_for(milliseconds(1800)); });
  const Replies replies = Run({"STAT\r\n"});
  ASSERT_GE(replies.size(), 2u);
  EXPECT_EQ(replies[0], "+") << "before the rest was known";
  std::string answer;
  for (const std::string& reply : replies) answer += reply;
  EXPECT_EQ(answer, "+OK 3 53\r\n");
  EXPECT_NE(ClientLog().find("S: +OK 3 53\r\n"), std::string::npos) << "the log keeps one whole line";
  EXPECT_EQ(ClientLog().find("S: OK 3"), std::string::npos);
}

// A person whose screen has no memory for the text of the third message.
class Forgetful : public RecordingObserver {
 public:
  void ShowTooltip(std::string_view text) override {
    if (text.starts_with("Receiving message 3")) throw std::bad_alloc();
    RecordingObserver::ShowTooltip(text);
  }
};

TEST_F(ClientCommandsTest, MemoryThatCannotBeHadEndsTheSessionAndIsTold) {
  Forgetful observer;
  conversation_ = {};
  conversation_.commands = {"USER 127.0.0.1&jane&" + std::to_string(server_.port()) + "\r\n",
                            "PASS secret\r\n", "STAT\r\n", "NOOP\r\n"};
  {
    ClientSession session(world_.program(), observer, memory_, settings_,
                          std::make_unique<ScriptedClient>(conversation_));
    session.Run();
  }
  EXPECT_EQ(conversation_.sends.back(), "+OK Password accepted\r\n") << "no -ERR in place of the answer";
  EXPECT_EQ(Untaken(), 1u);
  EXPECT_EQ(std::ranges::count(observer.told, "status " + std::string(TextOf(Text::kOutOfMemory))), 1);
  EXPECT_EQ(observer.told.back(), "session ends");
  EXPECT_FALSE(observer.summary.finished);
  EXPECT_NE(ClientLog().find("(out of memory, the session ends)"), std::string::npos);
  EXPECT_TRUE(ServerHeard("QUIT"));
  EXPECT_EQ(Run({"STAT\r\n"}), (Replies{"+OK 3 53\r\n"}));
  EXPECT_EQ(std::ranges::count(server_.commands(), "RETR 3"), 2) << "what was fetched before is not kept";
}

// Mail that the person has restored from the recycle bin is shown before the server's.
class RestoredMailTest : public ClientCommandsTest {
 protected:
  // An entry of today for jane's account, restored; the file only where there are bytes.
  void Restore(const std::string& name, std::optional<std::string> bytes) {
    elements_ +=
        "<recyclefile name=\"" + name + "\" date=\"2453797\" account=\"jane @ 127.0.0.1\" restored=\"1\"/>";
    ASSERT_TRUE(world_.directory.Put(
        "recycle/recyclebin.xml", "<?xml version=\"1.0\"?>\n<recyclebin>" + elements_ + "</recyclebin>\n"));
    if (bytes) {
      ASSERT_TRUE(world_.directory.Put("recycle/" + name, *bytes));
    }
  }
  std::string Index() const { return world_.directory.Get("recycle/recyclebin.xml").value_or(""); }

  std::string elements_;
};

TEST_F(RestoredMailTest, IsDeliveredOnceAndLeavesTheBin) {
  Restore("1.recycle", "Subject: back\r\n\r\nwords\r\n.\r\n.end");
  EXPECT_EQ(
      Run({"STAT\r\n", "TOP 1 0\r\n", "RETR 1\r\n", "QUIT\r\n"}),
      (Replies{"+OK 4 84\r\n", "+OK Message header follows\r\nSubject: back\r\n\r\n.\r\n",
               "+OK 31\r\nSubject: back\r\n\r\nwords\r\n..\r\n..end\r\n.\r\n", "+OK Everything done.\r\n"}));
  EXPECT_FALSE(world_.directory.Has("recycle/1.recycle"));
  EXPECT_EQ(Index().find("1.recycle"), std::string::npos);
  EXPECT_FALSE(ServerHeard("DELE 65537")) << "the server knows nothing of it";
  EXPECT_EQ(LastOf({"STAT\r\n"}), "+OK 3 53\r\n");
}

TEST_F(RestoredMailTest, StaysInTheBinUntilTheClientHasTakenIt) {
  Restore("1.recycle", "Subject: back\r\n\r\nwords");
  EXPECT_EQ(Run({"STAT\r\n", "QUIT\r\n"}), (Replies{"+OK 4 75\r\n", "+OK Everything done.\r\n"}));
  EXPECT_TRUE(world_.directory.Has("recycle/1.recycle"));
  EXPECT_EQ(LastOf({"RETR 65537\r\n"}), "+OK 22\r\nSubject: back\r\n\r\nwords\r\n.\r\n");
  EXPECT_TRUE(world_.directory.Has("recycle/1.recycle")) << "there was no QUIT";
}

TEST_F(RestoredMailTest, AFileWithBareLineFeedsIsSentWithWholeLineEnds) {
  Restore("1.recycle", "Subject: dropped in\n\nwords\n");
  EXPECT_EQ(LastOf({"STAT\r\n", "RETR 1\r\n"}), "+OK 30\r\nSubject: dropped in\r\n\r\nwords\r\n\r\n.\r\n");
  Restore("2.recycle", "\nSubject: an empty line first\n");
  EXPECT_EQ(LastOf({"STAT\r\n", "RETR 1\r\n"}), "+OK 32\r\n\r\nSubject: an empty line first\r\n\r\n.\r\n");
}

TEST_F(RestoredMailTest, ItsUniqueIdIsMadeOfItsContent) {
  Restore("1.recycle", "Subject: 2\r\n\r\ntwo");
  const Replies replies = Run({"STAT\r\n", "UIDL\r\n"});
  EXPECT_EQ(replies[1],
            "+OK UID list follows\r\n1 Quillbeaker40c69eee3e8\r\n2 uid3\r\n3 uid2\r\n4 uid1\r\n.\r\n");
}

TEST_F(RestoredMailTest, OfAMissingFileOnlyTheEntryLeaves) {
  Restore("1.recycle", std::nullopt);
  Restore("2.recycle", "Subject: back\r\n\r\nwords");
  Run({"STAT\r\n", "DELE 1\r\n", "DELE 2\r\n"});
  EXPECT_NE(Index().find("1.recycle"), std::string::npos) << "there was no QUIT";
  // The file comes back while the session is under way.
  server_.OnCommand("RETR 3", [this] { world_.directory.Put("recycle/1.recycle", "Subject: away\r\n\r\n"); });
  EXPECT_EQ(LastOf({"STAT\r\n", "DELE 1\r\n", "DELE 2\r\n", "QUIT\r\n"}), "+OK Everything done.\r\n");
  EXPECT_EQ(Index().find(".recycle\""), std::string::npos);
  EXPECT_TRUE(world_.directory.Has("recycle/1.recycle"));
  EXPECT_FALSE(world_.directory.Has("recycle/2.recycle"));
}

}  // namespace
}  // namespace quillbeaker
