// SPDX-License-Identifier: MIT
#include "pop3/check/mail_check.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <iterator>
#include <memory>
#include <regex>
#include <span>
#include <string>
#include <vector>

#include "config/texts.h"
#include "pop3/recording_observer.h"
#include "pop3/scripted_pop3_server.h"
#include "stores/statistics.h"
#include "support/blocked_thread.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

// A wait that is stopped ends within this: half a second and what a busy machine adds.
constexpr milliseconds kSoon{3000};

std::string MailOf(int number) {
  return "From: joe@example.org\r\nSubject: " + std::to_string(number) + "\r\n\r\nquiet words\r\n";
}

// The person, whose mind a test changes from the server's thread.
class Person : public RecordingObserver {
 public:
  bool IsCancelled() override { return has_cancelled; }
  void AskToAbort(const AskedServer& server, std::function<void()> abort) override {
    told.push_back("asked about " + server.account);
    has_been_asked = true;
    if (answers_abort) abort();
  }

  std::atomic<bool> has_cancelled = false;
  std::atomic<bool> has_been_asked = false;
  bool answers_abort = false;
};

class MailCheckTest : public ::testing::Test {
 protected:
  MailCheckTest() : server_({MailOf(1), MailOf(2), MailOf(3)}) {
    world_.directory.MakeFolder("recycle");
    world_.directory.MakeFolder("training");
    RecycleBin(world_.program()).RebuildIndex();
  }

  bool LogIn() { return check_.LogIn({"127.0.0.1", server_.port(), "jane", "secret"}); }
  void RestoreMail() {
    MailMessage message;
    message.ParseText(MailOf(9));
    RecycleBin bin(world_.program());
    const DeletedMessage deleted{&message, {}, 0};
    EXPECT_TRUE(bin.MarkRestored(bin.File(std::span(&deleted, 1), {}).names, true));
  }
  Clock::duration TimeOf(const std::function<void()>& action) {
    const Clock::time_point begin = Clock::now();
    action();
    return Clock::now() - begin;
  }
  // What the server was told after the login.
  std::vector<std::string> Asked() {
    std::vector<std::string> commands = server_.commands();
    std::erase_if(commands, [](const std::string& line) {
      return line.starts_with("USER") || line.starts_with("PASS") || line == "LIST" || line == "UIDL";
    });
    return commands;
  }

  test::TestProgram world_;
  ScriptedPop3Server server_;
  Person person_;
  std::atomic<bool> client_gone_ = false;
  Watch watch_{person_, [this] { return client_gone_.load(); }};
  KeptMail kept_{world_.program().environment};
  MailCheck check_{world_.program(), watch_, kept_, 0};
};

TEST_F(MailCheckTest, FetchesInListOrderAndNumbersWhatItShows) {
  ASSERT_TRUE(LogIn());
  const ClientView view = check_.BuildView();
  EXPECT_EQ(view.count, 3u);
  EXPECT_EQ(view.stopped, Stop::kNone);
  EXPECT_EQ(Asked(), (std::vector<std::string>{"RETR 3", "RETR 2", "RETR 1"}));
  EXPECT_EQ(check_.mailbox().FindByClientNumber(1)->server_number, 3u);
}

TEST_F(MailCheckTest, AsksForTheNextMessageWhenOneHasArrivedAndNotBefore) {
  ASSERT_TRUE(LogIn());
  std::vector<std::string> at_second;
  server_.OnCommand("RETR 2", [&] { at_second = server_.commands(); });
  check_.BuildView();
  EXPECT_EQ(at_second.back(), "RETR 2") << "nothing was sent beyond it";
}

TEST_F(MailCheckTest, CancelAtTheLoginEndsItAndIsNoProblemToTell) {
  server_.Answer("USER jane", ScriptedPop3Server::kSilence);
  server_.OnCommand("USER jane", [this] { person_.has_cancelled = true; });
  EXPECT_LT(TimeOf([this] { EXPECT_FALSE(LogIn()); }), kSoon);
  EXPECT_EQ(check_.summary().login_problem.failure, LoginFailure::kNone);
  check_.End();
  EXPECT_NE(world_.directory.Get("server.log").value_or("").find("(login cancelled)"), std::string::npos);
}

TEST_F(MailCheckTest, AClientThatIsGoneAtTheLoginIsNoProblemToTell) {
  server_.Answer("GREETING", ScriptedPop3Server::kSilence);
  client_gone_ = true;
  EXPECT_LT(TimeOf([this] { EXPECT_FALSE(LogIn()); }), kSoon);
  EXPECT_EQ(check_.summary().login_problem.failure, LoginFailure::kNone);
}

TEST_F(MailCheckTest, CancelInTheListingLeavesItEmpty) {
  for (const std::string command : {"LIST", "UIDL"}) {
    ScriptedPop3Server server({MailOf(1)});
    server.Answer(command, ScriptedPop3Server::kSilence);
    server.OnCommand(command, [this] { person_.has_cancelled = true; });
    Watch watch(person_);
    MailCheck check(world_.program(), watch, kept_, 0);
    person_.has_cancelled = false;
    ASSERT_TRUE(check.LogIn({"127.0.0.1", server.port(), "jane", "secret"}));
    EXPECT_LT(TimeOf([&] { EXPECT_FALSE(check.HasMessages()); }), kSoon) << command;
    EXPECT_EQ(check.stopped(), Stop::kCancelled);
    check.End();
  }
}

TEST_F(MailCheckTest, CancelInTheBuildEndsItAndIsUsedUp) {
  ASSERT_TRUE(LogIn());
  server_.Answer("RETR 2", ScriptedPop3Server::kSilence);
  server_.OnCommand("RETR 2", [this] { person_.has_cancelled = true; });
  ClientView view;
  EXPECT_LT(TimeOf([&] { view = check_.BuildView(); }), kSoon);
  EXPECT_EQ(view.stopped, Stop::kCancelled);
  EXPECT_EQ(view.count, 1u);
  EXPECT_EQ(watch_.CancelStop(), Stop::kNone);
  EXPECT_EQ(check_.BuildView().stopped, Stop::kNone) << "it is told once";
}

TEST_F(MailCheckTest, WhatACancelledBuildFetchedIsNotFetchedAgain) {
  ASSERT_TRUE(LogIn());
  server_.OnCommand("RETR 1", [this] { person_.has_cancelled = true; });
  EXPECT_EQ(check_.BuildView().stopped, Stop::kCancelled);
  check_.ViewAnswered();
  check_.End();
  server_.OnCommand("RETR 1", {});
  person_.has_cancelled = false;
  Watch watch(person_);
  MailCheck next(world_.program(), watch, kept_, 0);
  ASSERT_TRUE(next.LogIn({"127.0.0.1", server_.port(), "jane", "secret"}));
  EXPECT_EQ(next.BuildView().count, 3u);
  next.ViewAnswered();
  next.End();
  EXPECT_EQ(Asked(), (std::vector<std::string>{"RETR 3", "RETR 2", "RETR 1", "QUIT", "RETR 1", "QUIT"}));
  EXPECT_EQ(
      std::ranges::count_if(person_.told, [](const std::string& told) { return told.starts_with("client"); }),
      0)
      << "it was the person who gave up";
}

TEST_F(MailCheckTest, CancelInALaterFetchFailsThat) {
  ASSERT_TRUE(LogIn());
  ASSERT_TRUE(check_.HasMessages());
  server_.Answer("RETR 1", ScriptedPop3Server::kSilence);
  server_.OnCommand("RETR 1", [this] { person_.has_cancelled = true; });
  EXPECT_LT(TimeOf([this] { EXPECT_FALSE(check_.Fetch(*check_.mailbox().FindByServerNumber(1))); }), kSoon);
}

TEST_F(MailCheckTest, AReplyThatNobodyWantsAnyMoreIsReadAwayBeforeTheNextCommand) {
  world_.Configure("AutoAbortOnTimeout=1", "[SERVER]\r\nTimeout=1\r\n");
  ASSERT_TRUE(LogIn());
  ASSERT_TRUE(check_.HasMessages());
  server_.Answer("RETR 1", "+OK\r\nhalf of a line");
  server_.OnCommand("RETR 1", [this] { person_.has_cancelled = true; });
  EXPECT_FALSE(check_.Fetch(*check_.mailbox().FindByServerNumber(1)));
  person_.has_cancelled = false;
  EXPECT_FALSE(check_.Fetch(*check_.mailbox().FindByServerNumber(2)))
      << "nothing is asked before the first reply has ended";
  EXPECT_EQ(std::ranges::count(server_.commands(), "RETR 2"), 0);
}

TEST_F(MailCheckTest, AClientThatGoesEndsTheWaitForASilentServer) {
  ASSERT_TRUE(LogIn());
  server_.Answer("RETR 2", ScriptedPop3Server::kSilence);
  server_.OnCommand("RETR 2", [this] { client_gone_ = true; });
  ClientView view;
  EXPECT_LT(TimeOf([&] { view = check_.BuildView(); }), kSoon);
  EXPECT_EQ(view.stopped, Stop::kClientGone);
  check_.End();
  EXPECT_EQ(server_.commands().back(), "QUIT");
  EXPECT_EQ(std::ranges::count(person_.told, "client gave up 1 of 3"), 1);
}

TEST_F(MailCheckTest, MailBeyondTheLimitLeavesTheMemoryAlsoWhenNoViewWasBuilt) {
  world_.Configure("", "[SERVER]\r\nSessionMegabytes=0\r\n");
  ASSERT_TRUE(LogIn());
  ASSERT_TRUE(check_.HasMessages());
  MessageEntry& entry = *check_.mailbox().FindByServerNumber(1);
  ASSERT_TRUE(check_.Fetch(entry));
  EXPECT_EQ(entry.message, nullptr);
  ASSERT_NE(check_.MessageOf(entry), nullptr);
  EXPECT_EQ(check_.MessageOf(entry)->size(), entry.size);
}

TEST_F(MailCheckTest, RestoredMailBeyondTheLimitLeavesTheMemoryToo) {
  world_.Configure("", "[SERVER]\r\nSessionMegabytes=0\r\n");
  RestoreMail();
  ASSERT_TRUE(LogIn());
  EXPECT_EQ(check_.BuildView().count, 4u);
  MessageEntry& entry = *check_.mailbox().FindByServerNumber(kRestoredNumberBase + 1);
  EXPECT_EQ(entry.message, nullptr);
  ASSERT_TRUE(check_.Fetch(entry));
  ASSERT_NE(check_.MessageOf(entry), nullptr);
  EXPECT_EQ(check_.MessageOf(entry)->Serialise(), MailOf(9));
  check_.End();
  const std::string log = world_.directory.Get("server.log").value_or("");
  const std::string marker = "completely restored";
  ASSERT_NE(log.find(marker), std::string::npos);
  EXPECT_EQ(log.find(marker), log.rfind(marker)) << "it was read from the bin once";
}

TEST_F(MailCheckTest, RestoredMailThatCannotBeTakenOutOfTheBinIsTold) {
  RestoreMail();
  ASSERT_TRUE(LogIn());
  check_.BuildView();
  check_.mailbox().FindByServerNumber(kRestoredNumberBase + 1)->done = true;
  world_.directory.MakeFolder("recycle/recyclebin.xml.new");  // where the next index would be written
  check_.Quit([] {});
  check_.End();
  EXPECT_EQ(std::ranges::count(person_.told, "restored mail stays 1"), 1);
}

TEST_F(MailCheckTest, OfAClientThatGoesBeforeAnythingIsListedThereIsNothingToTell) {
  server_.Answer("LIST", ScriptedPop3Server::kSilence);
  server_.OnCommand("LIST", [this] { client_gone_ = true; });
  ASSERT_TRUE(LogIn());
  EXPECT_EQ(check_.BuildView().stopped, Stop::kClientGone);
  check_.End();
  EXPECT_EQ(std::ranges::count(person_.told, "client gave up 0 of 0"), 0);
}

TEST_F(MailCheckTest, KeptMailThatHasLeftTheServerIsNotReady) {
  auto message = std::make_shared<MailMessage>();
  message->ParseText(MailOf(9));
  ASSERT_TRUE(kept_.Keep({"127.0.0.1", server_.port(), "jane"}, "deleted meanwhile", 9, message, 1'000'000));
  ASSERT_TRUE(LogIn());
  server_.Answer("RETR 1", ScriptedPop3Server::kSilence);
  server_.OnCommand("RETR 1", [this] { client_gone_ = true; });
  EXPECT_EQ(check_.BuildView().stopped, Stop::kClientGone);
  check_.End();
  EXPECT_EQ(std::ranges::count(person_.told, "client gave up 2 of 3"), 1);
}

TEST_F(MailCheckTest, AClientThatGoesEndsTheWaitWhileAQuestionStands) {
  world_.Configure("", "[SERVER]\r\nTimeout=1\r\n");
  ASSERT_TRUE(LogIn());
  server_.Answer("RETR 3", ScriptedPop3Server::kSilence);
  std::thread leaving([this] {
    EXPECT_TRUE(test::Eventually([this] { return person_.has_been_asked.load(); }));
    client_gone_ = true;
  });
  const ClientView view = check_.BuildView();
  leaving.join();
  EXPECT_EQ(view.stopped, Stop::kClientGone);
  EXPECT_EQ(std::ranges::count(person_.told, "asked about jane @ 127.0.0.1"), 1);
}

TEST_F(MailCheckTest, TheProgramsEndStopsEveryWaitButNotWhatQuitWrites) {
  ASSERT_TRUE(LogIn());
  world_.Configure("Aggressiveness=100", "");
  ASSERT_EQ(check_.BuildView().count, 0u);
  server_.Answer("DELE 3", ScriptedPop3Server::kSilence);
  server_.OnCommand("DELE 3", [this] { check_.Abort(); });
  bool answered = false;
  EXPECT_LT(TimeOf([&] { check_.Quit([&] { answered = true; }); }), kSoon);
  check_.End();
  EXPECT_TRUE(answered);
  EXPECT_EQ(RecycleBin(world_.program()).List()->size(), 3u);
  EXPECT_TRUE(world_.directory.Has("recycle/unconfirmed.xml"));
}

TEST_F(MailCheckTest, NeitherCancelNorAClientThatGoesStopsAQuit) {
  ASSERT_TRUE(LogIn());
  world_.Configure("Aggressiveness=100", "");
  check_.BuildView();
  server_.OnCommand("DELE 3", [this] {
    client_gone_ = true;
    person_.has_cancelled = true;
  });
  check_.Quit([] {});
  check_.End();
  EXPECT_EQ(Asked().back(), "QUIT");
  EXPECT_EQ(std::ranges::count_if(Asked(), [](const std::string& line) { return line.starts_with("DELE"); }),
            3);
  EXPECT_FALSE(world_.directory.Has("recycle/unconfirmed.xml"));
}

TEST_F(MailCheckTest, ARefusedMessageEndsTheBuildAndIsTold) {
  ASSERT_TRUE(LogIn());
  server_.Answer("RETR 2", "-ERR it is locked\r\n");
  const ClientView view = check_.BuildView();
  EXPECT_EQ(view.count, 1u);
  EXPECT_EQ(view.stopped, Stop::kNone);
  EXPECT_EQ(std::ranges::count(person_.told, "refused jane @ 127.0.0.1 2 -ERR it is locked"), 1);
  check_.End();
  EXPECT_NE(world_.directory.Get("server.log").value_or("").find("         S: -ERR it is locked\r\n"),
            std::string::npos);
}

TEST_F(MailCheckTest, AServerThatGoesInsteadOfListingIsTold) {
  server_.Answer("LIST", ScriptedPop3Server::kClose);
  ASSERT_TRUE(LogIn());
  EXPECT_FALSE(check_.HasMessages());
  EXPECT_EQ(std::ranges::count(person_.told, "server gone jane @ 127.0.0.1"), 1);
}

TEST_F(MailCheckTest, ARefusedListingIsAnEmptyMailboxAndNothingToTell) {
  server_.Answer("LIST", "-ERR not now\r\n");
  ASSERT_TRUE(LogIn());
  EXPECT_FALSE(check_.HasMessages());
  EXPECT_EQ(std::ranges::count(person_.told, "server gone jane @ 127.0.0.1"), 0);
}

TEST_F(MailCheckTest, AServerThatGoesIsTold) {
  ASSERT_TRUE(LogIn());
  server_.Answer("RETR 2", ScriptedPop3Server::kClose);
  check_.BuildView();
  EXPECT_EQ(std::ranges::count(person_.told, "server gone jane @ 127.0.0.1"), 1);
}

TEST_F(MailCheckTest, ASecondLoginKeepsNothingOfTheFirst) {
  ASSERT_TRUE(LogIn());
  check_.BuildView();
  server_.Answer("LIST", "+OK\r\n.\r\n");
  server_.Answer("UIDL", "+OK\r\n.\r\n");
  ASSERT_TRUE(LogIn());
  EXPECT_FALSE(check_.HasMessages());
  EXPECT_EQ(check_.BuildView().count, 0u);
}

TEST_F(MailCheckTest, NothingIsFetchedThatIsKnown) {
  ASSERT_TRUE(LogIn());
  check_.BuildView();
  check_.Quit([] {});
  check_.End();
  MailCheck next(world_.program(), watch_, kept_, 0);
  ASSERT_TRUE(next.LogIn({"127.0.0.1", server_.port(), "jane", "secret"}));
  EXPECT_EQ(next.BuildView().count, 3u);
  next.End();
  EXPECT_EQ(std::ranges::count(server_.commands(), "RETR 1"), 1);
}

TEST_F(MailCheckTest, LooksAfterTheClientWhileSpamIsFiled) {
  world_.Configure("Aggressiveness=100", "");
  // A disk that takes its time with each file, whose name begins with the time.
  std::atomic<bool> slow = false;
  Environment environment = world_.MakeEnvironment();
  environment.local_time = [&, local_time = environment.local_time] {
    if (slow) std::this_thread::sleep_for(2 * Watch::kStep);
    return local_time();
  };
  Program program(environment);
  MailCheck check(program, watch_, kept_, 0);
  ASSERT_TRUE(check.LogIn({"127.0.0.1", server_.port(), "jane", "secret"}));
  check.BuildView();
  std::atomic<int> looks = 0;
  int before_deletions = 0;
  watch_.OnLook([&] { ++looks; });
  server_.OnCommand("DELE 3", [&] {
    before_deletions = looks;
    slow = false;
  });
  slow = true;
  check.Quit([] {});
  check.End();
  EXPECT_GE(before_deletions, 2);
}

// The disk may fill up between the filing and the first deletion.
TEST_F(MailCheckTest, NoSpamIsDeletedWhoseRowCannotSayThatItIsDue) {
  world_.Configure("Aggressiveness=100", "");
  std::atomic<bool> filing = false;
  Environment environment = world_.MakeEnvironment();
  environment.local_time = [&, local_time = environment.local_time] {
    if (filing.exchange(false)) world_.directory.MakeFolder("recycle/unconfirmed.xml.new");
    return local_time();
  };
  Program program(environment);
  {
    MailCheck check(program, watch_, kept_, 0);
    ASSERT_TRUE(check.LogIn({"127.0.0.1", server_.port(), "jane", "secret"}));
    check.BuildView();
    watch_.OnLook([&, first = true]() mutable { filing = std::exchange(first, false); });
    std::this_thread::sleep_for(Watch::kStep);  // the filing looks before its first file
    check.Quit([] {});
    check.End();
  }
  EXPECT_EQ(Asked().back(), "QUIT");
  EXPECT_EQ(std::ranges::count_if(Asked(), [](const std::string& line) { return line.starts_with("DELE"); }),
            0);
  EXPECT_EQ(RecycleBin(world_.program()).List()->size(), 3u);
  EXPECT_EQ(std::ranges::count(person_.told, "deleted 0"), 1);
  // The next check files nothing a second time.
  world_.directory.Remove("recycle/unconfirmed.xml.new");
  Watch watch(person_);
  MailCheck next(world_.program(), watch, kept_, 0);
  ASSERT_TRUE(next.LogIn({"127.0.0.1", server_.port(), "jane", "secret"}));
  next.BuildView();
  next.Quit([] {});
  next.End();
  EXPECT_EQ(std::ranges::count_if(Asked(), [](const std::string& line) { return line.starts_with("DELE"); }),
            3);
  EXPECT_EQ(RecycleBin(world_.program()).List()->size(), 3u);
  EXPECT_EQ(std::ranges::count(person_.told, "deleted 3"), 1);
}

// Two programs over one directory reserve the same names in the same millisecond.
TEST_F(MailCheckTest, SpamWhoseReservedNamesAnotherProgramTookIsFiledUnderOthers) {
  world_.Configure("Aggressiveness=100", "");
  std::vector<std::string> taken;
  Environment environment = world_.MakeEnvironment();
  environment.local_time = [&, local_time = environment.local_time] {
    const std::string rows = world_.directory.Get("recycle/unconfirmed.xml").value_or("");
    static const std::regex name("[0-9a-f_]+[.]recycle");
    for (std::sregex_iterator found(rows.begin(), rows.end(), name), end; taken.size() < 3 && found != end;
         ++found) {
      taken.push_back(found->str());
      world_.directory.Put("recycle/" + taken.back(), "of another program");
    }
    return local_time();
  };
  Program program(environment);
  MailCheck check(program, watch_, kept_, 0);
  ASSERT_TRUE(check.LogIn({"127.0.0.1", server_.port(), "jane", "secret"}));
  check.BuildView();
  check.Quit([] {});
  check.End();
  ASSERT_EQ(taken.size(), 3u);
  for (const std::string& name : taken) {
    EXPECT_EQ(world_.directory.Get("recycle/" + name), "of another program");
  }
  const auto filed = RecycleBin(world_.program()).List();
  EXPECT_EQ(filed->size(), 3u);
  EXPECT_TRUE(std::ranges::none_of(
      *filed, [&](const auto& entry) { return std::ranges::find(taken, entry.name) != taken.end(); }));
  EXPECT_EQ(std::ranges::count(person_.told, "deleted 3"), 1);
  EXPECT_TRUE(std::ranges::none_of(person_.told,
                                   [](const std::string& line) { return line.starts_with("not kept"); }));
}

TEST_F(MailCheckTest, WhatCannotBeKeptIsToldWithItsReason) {
  world_.Configure("Aggressiveness=100", "");
  ASSERT_TRUE(LogIn());
  check_.BuildView();
  world_.directory.MakeFolder("recycle/unconfirmed.xml.new");  // where the next content would be written
  check_.Quit([] {});
  check_.End();
  EXPECT_EQ(std::ranges::count_if(Asked(), [](const std::string& line) { return line.starts_with("DELE"); }),
            0);
  const auto told = std::ranges::find_if(
      person_.told, [](const std::string& line) { return line.starts_with("not kept 3 "); });
  ASSERT_NE(told, person_.told.end());
  EXPECT_NE(told->find("unconfirmed.xml"), std::string::npos) << *told;
}

TEST_F(MailCheckTest, EveryFileIsWholeWhenTheClientHearsOfIt) {
  ASSERT_TRUE(LogIn());
  check_.BuildView();
  bool ids_stored = false;
  std::vector<std::string> asked;
  check_.Quit([&] {
    ids_stored = world_.directory.Get("uniqueid.xml").value_or("").find("uid1") != std::string::npos;
    server_.WaitForCommand("QUIT");
    asked = Asked();
  });
  EXPECT_TRUE(ids_stored);
  EXPECT_EQ(asked.back(), "QUIT") << "the server was told before the client";
}

TEST_F(MailCheckTest, NoRowIsWrittenWhereNothingIsDeletedAndTheIdsAreStored) {
  ASSERT_TRUE(LogIn());
  check_.BuildView();
  bool has_rows = true;
  check_.Quit([&] { has_rows = world_.directory.Has("recycle/unconfirmed.xml"); });
  check_.End();
  EXPECT_FALSE(has_rows);
}

// Without a row it would be learnt again at the next check, which meets it as new.
TEST_F(MailCheckTest, WhatWasLearntIsNotedBeforeTheAnswerWhereTheIdsCannotBeStored) {
  ASSERT_TRUE(LogIn());
  check_.BuildView();
  world_.directory.MakeFolder("uniqueid.xml.new");  // where the next content would be written
  std::string rows;
  check_.Quit([&] { rows = world_.directory.Get("recycle/unconfirmed.xml").value_or(""); });
  check_.End();
  for (const char* const id : {"uid1", "uid2", "uid3"}) {
    EXPECT_NE(rows.find("uid=\"" + std::string(id) + "\" learnt=\"1\""), std::string::npos) << rows;
  }
}

TEST_F(MailCheckTest, SaysNoopWhenTheServerHasHeardNothing) {
  world_.Configure("", "[SERVER]\r\nKeepAliveSeconds=1\r\n");
  ASSERT_TRUE(LogIn());
  check_.KeepAlive();
  std::this_thread::sleep_for(milliseconds(1100));
  check_.KeepAlive();
  EXPECT_EQ(std::ranges::count(server_.commands(), "NOOP"), 0) << "the mailbox was not listed yet";
  check_.HasMessages();
  check_.KeepAlive();
  EXPECT_EQ(std::ranges::count(server_.commands(), "NOOP"), 0) << "too early";
  std::this_thread::sleep_for(milliseconds(1100));
  check_.KeepAlive();
  EXPECT_TRUE(server_.WaitForCommand("NOOP"));
  // Its answer is not taken for that to the next command.
  server_.Answer("RETR 1", "-ERR no\r\n");
  EXPECT_FALSE(check_.Fetch(*check_.mailbox().FindByServerNumber(1)));
  EXPECT_TRUE(check_.Fetch(*check_.mailbox().FindByServerNumber(2)));
}

TEST_F(MailCheckTest, AServerThatLeavesANoopUnansweredIsDeadAndNobodyIsAsked) {
  world_.Configure("", "[SERVER]\r\nKeepAliveSeconds=1\r\nTimeout=1\r\n");
  ASSERT_TRUE(LogIn());
  check_.HasMessages();
  server_.Answer("NOOP", ScriptedPop3Server::kSilence);
  for (int i = 0; i < 30; ++i) {
    std::this_thread::sleep_for(milliseconds(100));
    check_.KeepAlive();
  }
  EXPECT_FALSE(check_.Fetch(*check_.mailbox().FindByServerNumber(1)));
  EXPECT_EQ(std::ranges::count(person_.told, "asked about jane @ 127.0.0.1"), 0);
}

TEST_F(MailCheckTest, PipelinesWhereTheServerTakesIt) {
  world_.Configure("Aggressiveness=100", "[SERVER]\r\nPipelining=always\r\n");
  server_.Answer("CAPA", "+OK\r\nTOP\r\nPIPELINING\r\n.\r\n");
  ASSERT_TRUE(LogIn());
  server_.OnCommand("RETR 3", [] { std::this_thread::sleep_for(milliseconds(200)); });
  EXPECT_EQ(check_.BuildView().stopped, Stop::kNone);
  check_.Quit([] {});
  check_.End();
  EXPECT_EQ(Asked(), (std::vector<std::string>{"CAPA", "RETR 3", "RETR 2", "RETR 1", "DELE 3", "DELE 2",
                                               "DELE 1", "QUIT"}));
  const std::string log = world_.directory.Get("server.log").value_or("");
  EXPECT_LT(log.find("(message has been parsed)"), log.find("C: RETR 2"));
}

TEST_F(MailCheckTest, ARefusalAmongMessagesAskedForAheadLeavesTheRestUnvisited) {
  world_.Configure("", "[SERVER]\r\nPipelining=always\r\n");
  server_.Answer("CAPA", "+OK\r\nPIPELINING\r\n.\r\n");
  server_.Answer("RETR 2", "-ERR gone\r\n");
  ASSERT_TRUE(LogIn());
  EXPECT_EQ(check_.BuildView().count, 1u);
  // What had come behind it is read away before the next command, and not taken for its answer.
  EXPECT_TRUE(check_.Fetch(*check_.mailbox().FindByServerNumber(1)));
  check_.Quit([] {});
  check_.End();
  const auto ids = world_.directory.Get("uniqueid.xml").value_or("");
  EXPECT_EQ(ids.find("uid2"), std::string::npos)
      << "a message that could not be had is not remembered as seen";
}

TEST_F(MailCheckTest, AQuitThatTheServerRefusesLeavesTheDeletionsUnconfirmed) {
  world_.Configure("Aggressiveness=100", "");
  server_.Answer("QUIT", "-ERR some deleted messages not removed\r\n");
  ASSERT_TRUE(LogIn());
  check_.BuildView();
  check_.Quit([] {});
  check_.End();
  EXPECT_EQ(std::ranges::count(person_.told, "unconfirmed 3 -ERR some deleted messages not removed"), 1);
  EXPECT_NE(world_.directory.Get("server.log").value_or("").find("S: -ERR some deleted messages not removed"),
            std::string::npos);
  EXPECT_TRUE(world_.directory.Has("recycle/unconfirmed.xml"));
}

TEST_F(MailCheckTest, ARefusedQuitThatDeletesNothingIsNothingToTell) {
  server_.Answer("QUIT", "-ERR no\r\n");
  ASSERT_TRUE(LogIn());
  check_.BuildView();
  check_.Quit([] {});
  check_.End();
  EXPECT_EQ(std::ranges::count_if(person_.told,
                                  [](const std::string& line) { return line.starts_with("unconfirmed"); }),
            0);
}

TEST_F(MailCheckTest, SpamThatWasFiledBeforeStaysWhileNobodyCanSayWhetherItIs) {
  world_.Configure("Aggressiveness=100", "");
  for (const std::string command : {"DELE 1", "DELE 2", "DELE 3"}) server_.Answer(command, "-ERR no\r\n");
  ASSERT_TRUE(LogIn());
  check_.BuildView();
  check_.Quit([] {});
  check_.End();
  ASSERT_EQ(RecycleBin(world_.program()).List()->size(), 3u);
  const std::string index = world_.directory.Get("recycle/recyclebin.xml").value_or("");
  // Unreadable, as a file is that another program has opened for itself.
  world_.directory.Remove("recycle/recyclebin.xml");
  world_.directory.MakeFolder("recycle/recyclebin.xml");
  const auto asked_before = Asked().size();
  person_.told.clear();
  Watch watch(person_);
  MailCheck next(world_.program(), watch, kept_, 0);
  ASSERT_TRUE(next.LogIn({"127.0.0.1", server_.port(), "jane", "secret"}));
  EXPECT_EQ(next.BuildView().count, 0u) << "it is hidden all the same";
  next.Quit([] {});
  next.End();
  const std::vector<std::string> asked = Asked();
  EXPECT_EQ(std::count_if(asked.begin() + static_cast<std::ptrdiff_t>(asked_before), asked.end(),
                          [](const std::string& line) { return line.starts_with("DELE"); }),
            0);
  EXPECT_EQ(std::ranges::count_if(person_.told,
                                  [](const std::string& line) { return line.starts_with("not kept 3 "); }),
            1);
  world_.directory.Remove("recycle/recyclebin.xml");
  ASSERT_TRUE(world_.directory.Put("recycle/recyclebin.xml", index));
  EXPECT_EQ(RecycleBin(world_.program()).List()->size(), 3u);
}

TEST_F(MailCheckTest, SaysThatTheFilterIsOffUntilItIsOnAgain) {
  world_.Configure("Enable=0", "");
  server_.OnCommand("RETR 2", [this] { world_.Configure("Enable=1", ""); });
  ASSERT_TRUE(LogIn());
  EXPECT_EQ(check_.BuildView().count, 3u);
  std::vector<std::string> status;
  std::ranges::copy_if(person_.told, std::back_inserter(status),
                       [](const std::string& line) { return line.starts_with("status"); });
  const std::string off = "status " + std::string(TextOf(Text::kFilterDisabled));
  EXPECT_EQ(status.front(), off);
  EXPECT_EQ(status.back(), "status ");
  EXPECT_EQ(std::ranges::count(status, "status "), 1);
}

TEST_F(MailCheckTest, CountsSpamOnTheDayOfItsDateField) {
  world_.Configure("Aggressiveness=100", "");
  ScriptedPop3Server server({"Date: Wed, 1 Mar 2006 09:00:00 +0000\r\n" + MailOf(1),
                             "Date: Wed, 1 Mar 2006 23:00:00 +0000\r\n" + MailOf(2), MailOf(3)});
  ASSERT_TRUE(check_.LogIn({"127.0.0.1", server.port(), "jane", "secret"}));
  check_.BuildView();
  check_.Quit([] {});
  check_.End();
  Statistics statistics(world_.program());
  statistics.Load();
  EXPECT_EQ(statistics.CountOf(0), 0u) << "mail without a date counts on no day";
  EXPECT_EQ(statistics.CountOf(1), 2u);
  EXPECT_EQ(check_.summary().deleted, 3u);
}

TEST_F(MailCheckTest, TellsWhatHasBecomeAnotherInTheStores) {
  RestoreMail();
  const std::string restored = RecycleBin(world_.program()).List().value().front().name;
  world_.Configure("Aggressiveness=100", "");
  ASSERT_TRUE(LogIn());
  check_.BuildView();
  for (MessageEntry& entry : check_.mailbox()) entry.done = entry.is_restored();
  check_.Quit([] {});
  check_.End();
  ASSERT_EQ(person_.changes.size(), 3u);
  const StoreChange& filed = person_.changes[0];
  EXPECT_EQ(filed.store, Store::kRecycleBin);
  std::vector<std::string> listed;
  const auto entries = RecycleBin(world_.program()).List().value();
  for (const RecycleEntry& entry : entries) listed.push_back(entry.name);
  EXPECT_EQ(filed.added, listed);
  EXPECT_EQ(listed.size(), 3u);
  EXPECT_EQ(person_.changes[1].removed, std::vector<std::string>{restored});
  EXPECT_EQ(person_.changes[2].store, Store::kStatistics);
}

TEST_F(MailCheckTest, TellsOfTheTrainingAreaOnlyWhereMailWasKeptThere) {
  for (const bool is_new : {true, false}) {
    person_.changes.clear();
    world_.directory.Remove("uids.dat");
    ASSERT_TRUE(LogIn());
    check_.BuildView();
    check_.Quit([] {});
    check_.End();
    ASSERT_EQ(person_.changes.size(), is_new ? 1u : 0u);
    if (is_new) {
      EXPECT_EQ(person_.changes[0].store, Store::kTrainingArea);
    }
  }
}

}  // namespace
}  // namespace quillbeaker
