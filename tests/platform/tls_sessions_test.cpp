// SPDX-License-Identifier: MIT
#include "platform/tls_sessions.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace quillbeaker {
namespace {

using namespace std::chrono_literals;

struct Named : TlsSession {
  explicit Named(std::string name_) : name(std::move(name_)) {}
  std::string name;
};

TlsSessionKey KeyOf(const std::string& server, const std::string& pin = {},
                    const std::string& host = "a.example") {
  return {server, host, pin};
}

class TlsSessionsTest : public ::testing::Test {
 protected:
  void Keep(const TlsSessionKey& key, const std::string& name, bool resumed = false) {
    sessions_.Keep(sessions_.Take(key), std::make_unique<Named>(name), resumed);
  }
  // The name of the session that is handed out; empty for none.
  std::string Take(const TlsSessionKey& key) {
    const auto claim = sessions_.Take(key);
    return claim.session != nullptr ? static_cast<const Named&>(*claim.session).name : "";
  }

  TlsSessions::Moment now_{};
  TlsSessions sessions_{[this] { return now_; }};
};

TEST_F(TlsSessionsTest, HandsASessionOutOnce) {
  EXPECT_EQ(Take(KeyOf("a:995")), "");
  Keep(KeyOf("a:995"), "one");
  EXPECT_EQ(Take(KeyOf("a:995")), "one");
  EXPECT_EQ(Take(KeyOf("a:995")), "");
}

TEST_F(TlsSessionsTest, HandsItOutForTheSameServerNameAndPinOnly) {
  Keep(KeyOf("a:995", "pin"), "one");
  EXPECT_EQ(Take(KeyOf("a:110", "pin")), "");
  EXPECT_EQ(Take(KeyOf("a:995")), "");
  EXPECT_EQ(Take(KeyOf("a:995", "other")), "");
  EXPECT_EQ(Take(KeyOf("a:995", "pin", "b.example")), "");
  EXPECT_EQ(Take(KeyOf("a:995", "pin")), "one");
}

TEST_F(TlsSessionsTest, KeepsTheLatest) {
  const auto first = sessions_.Take(KeyOf("a:995"));
  const auto second = sessions_.Take(KeyOf("a:995"));
  sessions_.Keep(second, std::make_unique<Named>("two"), false);
  sessions_.Keep(first, std::make_unique<Named>("one"), false);
  EXPECT_EQ(sessions_.size(), 1u);
  EXPECT_EQ(Take(KeyOf("a:995")), "one");
}

TEST_F(TlsSessionsTest, KeepsNoNull) {
  sessions_.Keep(sessions_.Take(KeyOf("a:995")), nullptr, false);
  EXPECT_EQ(sessions_.size(), 0u);
}

TEST_F(TlsSessionsTest, ForgetsTheOldestBeyondTheLimit) {
  for (std::size_t i = 0; i <= TlsSessions::kMost; ++i) Keep(KeyOf(std::to_string(i)), "s");
  EXPECT_EQ(sessions_.size(), TlsSessions::kMost);
  EXPECT_EQ(Take(KeyOf("0")), "");
  EXPECT_EQ(Take(KeyOf("1")), "s");
}

TEST_F(TlsSessionsTest, ForgetsAfterADayWhateverWasResumedSince) {
  Keep(KeyOf("a:995"), "one");
  now_ += 23h;
  Keep(KeyOf("a:995"), "two", true);
  now_ += 59min;
  Keep(KeyOf("a:995"), "three", true);
  now_ += 59s;
  Keep(KeyOf("a:995"), "four", true);
  now_ += 1s;
  EXPECT_EQ(Take(KeyOf("a:995")), "");
  EXPECT_EQ(sessions_.size(), 0u);
}

TEST_F(TlsSessionsTest, CountsTheDayFromAFullHandshakeAnew) {
  Keep(KeyOf("a:995"), "one");
  now_ += 23h;
  Keep(KeyOf("a:995"), "two", false);  // the server did not resume
  now_ += 23h;
  EXPECT_EQ(Take(KeyOf("a:995")), "two");
}

TEST_F(TlsSessionsTest, ForgetsWhenTheClockWasSetBack) {
  now_ += 1h;
  Keep(KeyOf("a:995"), "one");
  now_ -= 1min;
  EXPECT_EQ(Take(KeyOf("a:995")), "");
}

TEST_F(TlsSessionsTest, AnyChangeOfTrustDropsAll) {
  sessions_.TrustIs("");
  Keep(KeyOf("a:995"), "one");
  sessions_.TrustIs("");
  EXPECT_EQ(sessions_.size(), 1u);
  sessions_.TrustIs("b:995=12ab\n");
  EXPECT_EQ(sessions_.size(), 0u);
  Keep(KeyOf("a:995"), "one");
  sessions_.TrustIs("b:995=12ac\n");
  EXPECT_EQ(sessions_.size(), 0u);
}

TEST_F(TlsSessionsTest, KeepsNothingOfAConnectionFromBeforeTheDrop) {
  const auto before = sessions_.Take(KeyOf("a:995"));
  sessions_.TrustIs("another");
  sessions_.Keep(before, std::make_unique<Named>("old"), false);
  EXPECT_EQ(sessions_.size(), 0u);
  const auto under_another = sessions_.Take(KeyOf("a:995"));
  sessions_.TrustIs("other");
  sessions_.Keep(under_another, std::make_unique<Named>("old"), false);
  EXPECT_EQ(sessions_.size(), 0u);
}

TEST_F(TlsSessionsTest, ServesManyThreads) {
  TlsSessions sessions;
  std::vector<std::thread> threads;
  for (int number = 0; number < 4; ++number) {
    threads.emplace_back([&sessions, number] {
      for (int i = 0; i < 200; ++i) {
        sessions.Keep(sessions.Take(KeyOf("a:995")), std::make_unique<Named>("x"), i % 2 == 0);
        if (i % 50 == number) sessions.TrustIs(std::to_string(i));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_LE(sessions.size(), 1u);
}

}  // namespace
}  // namespace quillbeaker
