// SPDX-License-Identifier: MIT
// How a login ends that is given up: what is said to the server then, and what is not.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <thread>

#include "pop3/recording_observer.h"
#include "pop3/upstream/login.h"
#include "pop3/upstream/pop3_client.h"
#include "pop3/watch.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

// Never longer than that for one step of a test.
constexpr milliseconds kPatience{10'000};

// One that answers the question of the time-out when the test wants it.
class AskedObserver : public RecordingObserver {
 public:
  void AskToAbort(const AskedServer&, std::function<void()> abort) override {
    ++asked;
    if (on_question) on_question(abort);
  }
  std::function<void(std::function<void()>)> on_question;
  std::atomic<int> asked = 0;
};

class LoginEndTest : public ::testing::Test {
 protected:
  LoginEndTest() {
    StartNetworking();
    listener_ = ListenOnLoopback(0, 1);
    port_ = listener_->port();
  }
  ~LoginEndTest() override {
    if (server_.joinable()) server_.join();
  }

  // A server that says the greeting, if any, and takes down all that it is told until the connection ends.
  using OnBytes = std::function<void(Connection&, std::string_view bytes)>;
  void Serve(std::function<void()> before, std::string greeting, OnBytes on_bytes = {}) {
    server_ = std::thread(
        [this, before = std::move(before), greeting = std::move(greeting), on_bytes = std::move(on_bytes)] {
          const std::unique_ptr<Connection> client = listener_->Accept();
          if (client == nullptr) return;
          if (before) before();
          if (!greeting.empty()) client->Send(greeting, kPatience);
          std::array<char, 512> buffer;
          for (;;) {
            const IoResult got = client->Receive(buffer.data(), buffer.size(), kPatience);
            if (got.status != IoStatus::kOk) return;
            received_.append(buffer.data(), got.bytes);
            if (on_bytes) on_bytes(*client, {buffer.data(), got.bytes});
          }
        });
  }

  bool LogIn(std::string_view security) {
    world_.Configure("", "[SERVER]\r\nSecurity=" + std::string(security) + "\r\n");
    return LogInAsConfigured();
  }
  bool LogInAsConfigured() {
    result_ = quillbeaker::LogIn(world_.program(), client_, {"127.0.0.1", port_, "jane", "secret"}, 1, 0);
    return result_.logged_in;
  }
  // All that the server was told, once everything is over.
  const std::string& Received() {
    client_.SendQuit();
    client_.WaitForItsEnd();
    client_.Close();
    server_.join();
    return received_;
  }

  test::TestProgram world_;
  AskedObserver observer_;
  std::unique_ptr<Listener> listener_;
  int port_ = 0;
  std::thread server_;
  std::string received_;
  Watch watch_{observer_};
  Pop3Client client_{world_.program(), watch_};
  LoginResult result_;
};

TEST_F(LoginEndTest, SaysGoodbyeInClearOnlyWhereClearIsAskedFor) {
  observer_.on_question = [](const std::function<void()>& abort) { abort(); };
  Serve({}, "");
  EXPECT_FALSE(LogIn("plain"));
  EXPECT_EQ(result_.problem.failure, LoginFailure::kTimedOut);
  EXPECT_EQ(Received(), "QUIT\r\n");
}

TEST_F(LoginEndTest, SaysNothingBeforeStlsWhenThePersonGivesUp) {
  observer_.on_question = [](const std::function<void()>& abort) { abort(); };
  Serve({}, "");
  EXPECT_FALSE(LogIn("starttls"));
  EXPECT_EQ(result_.problem.failure, LoginFailure::kTimedOut);
  EXPECT_EQ(Received(), "");
}

TEST_F(LoginEndTest, SaysNothingButStlsWhenTheConfigurationGivesUp) {
  Serve({}, "+OK\r\n");
  world_.Configure("AutoAbortOnTimeout=1", "[SERVER]\r\nSecurity=starttls\r\n");
  EXPECT_FALSE(LogInAsConfigured());
  EXPECT_EQ(result_.problem.failure, LoginFailure::kTimedOut);
  EXPECT_EQ(Received(), "STLS\r\n");
}

TEST_F(LoginEndTest, SaysNothingButStlsWhenTheProgramEnds) {
  std::atomic<bool> asked_for_stls = false;
  Serve({}, "+OK\r\n", [&](Connection&, std::string_view) { asked_for_stls = true; });
  std::thread end([&] {
    for (int i = 0; i < 500 && !asked_for_stls; ++i) std::this_thread::sleep_for(milliseconds(10));
    client_.Abort();
  });
  EXPECT_FALSE(LogIn("starttls"));
  end.join();
  EXPECT_EQ(result_.problem.failure, LoginFailure::kConnectionLost);
  EXPECT_EQ(Received(), "STLS\r\n");
}

TEST_F(LoginEndTest, ALateAnswerSaysNothingInTheMiddleOfTheHandshake) {
  std::promise<std::function<void()>> question;
  observer_.on_question = [&](std::function<void()> abort) {
    if (observer_.asked == 1) question.set_value(std::move(abort));
  };
  // The question stands before the greeting comes, and is answered when the handshake has begun.
  std::function<void()> abort;
  Serve([&] { abort = question.get_future().get(); }, "+OK\r\n",
        [&](Connection& client, std::string_view bytes) {
          if (bytes == "STLS\r\n") {
            client.Send("+OK\r\n", kPatience);
          } else {
            abort();
          }
        });
  EXPECT_FALSE(LogIn("starttls"));
  EXPECT_EQ(result_.problem.failure, LoginFailure::kTimedOut);
  const std::string& received = Received();
  EXPECT_EQ(received.substr(0, 7), "STLS\r\n\x16") << "the handshake has not begun";
  EXPECT_EQ(received.find("QUIT"), std::string::npos);
}

TEST_F(LoginEndTest, AQuestionThatStoodBeforeTheGreetingEndsALaterWait) {
  std::promise<std::function<void()>> question;
  observer_.on_question = [&](std::function<void()> abort) {
    if (observer_.asked == 1) question.set_value(std::move(abort));
  };
  std::function<void()> abort;
  Serve([&] { abort = question.get_future().get(); }, "+OK\r\n",
        [&](Connection&, std::string_view) { abort(); });
  EXPECT_FALSE(LogIn("plain"));
  EXPECT_EQ(result_.problem.failure, LoginFailure::kTimedOut);
  EXPECT_EQ(Received(), "USER jane\r\nQUIT\r\n");
}

TEST_F(LoginEndTest, AConfigurationThatCannotBeReadIsNotTakenForAnEmptyOne) {
  ASSERT_TRUE(world_.directory.MakeFolder("Quillbeaker.ini"));
  EXPECT_FALSE(LogInAsConfigured());
  EXPECT_EQ(result_.problem.failure, LoginFailure::kSecurityUnclear);
}

}  // namespace
}  // namespace quillbeaker
