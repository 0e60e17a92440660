// SPDX-License-Identifier: MIT
// Mail for which there is neither memory nor room on the disk.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "pop3/check/mail_check.h"
#include "pop3/recording_observer.h"
#include "pop3/scripted_pop3_server.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

class NoRoomTest : public ::testing::Test {
 protected:
  NoRoomTest() : server_({"Subject: 1\r\n\r\none", "Subject: 2\r\n\r\ntwo"}) {
    world_.Configure("", "[SERVER]\r\nSessionMegabytes=0\r\n");
  }
  bool LogIn() { return check_.LogIn({"127.0.0.1", server_.port(), "jane", "secret"}); }
  // No file can be made in the program directory then.
  void TakeTheDirectoryAway() {
    std::filesystem::rename(world_.directory.path(), world_.directory.path().string() + ".away");
  }
  void BringTheDirectoryBack() {
    std::filesystem::remove_all(world_.directory.path());
    std::filesystem::rename(world_.directory.path().string() + ".away", world_.directory.path());
  }

  test::TestProgram world_;
  ScriptedPop3Server server_;
  RecordingObserver observer_;
  Watch watch_{observer_};
  KeptMail kept_{world_.program().environment};
  MailCheck check_{world_.program(), watch_, kept_, 0};
};

TEST_F(NoRoomTest, EndsTheBuildAsAFailedDownloadAndIsTold) {
  ASSERT_TRUE(LogIn());
  TakeTheDirectoryAway();
  const ClientView view = check_.BuildView();
  BringTheDirectoryBack();
  EXPECT_EQ(view.count, 0u);
  EXPECT_EQ(view.stopped, Stop::kNone);
  const auto told = std::ranges::find_if(observer_.told, [](const std::string& line) {
    return line.starts_with("status Message 2 could not be received: ");
  });
  ASSERT_NE(told, observer_.told.end());
  EXPECT_NE(told->find("No such file or directory"), std::string::npos) << *told;
  check_.End();
  EXPECT_NE(world_.directory.Get("server.log").value_or("").find("(message could not be kept: "),
            std::string::npos);
}

TEST_F(NoRoomTest, WhatCouldNotBeKeptIsNotRememberedAsSeen) {
  ASSERT_TRUE(LogIn());
  TakeTheDirectoryAway();
  check_.BuildView();
  BringTheDirectoryBack();
  check_.Quit([] {});
  check_.End();
  EXPECT_EQ(world_.directory.Get("uniqueid.xml").value_or("").find("uid"), std::string::npos);
  ASSERT_TRUE(LogIn());
  EXPECT_EQ(check_.BuildView().count, 2u);
}

}  // namespace
}  // namespace quillbeaker
