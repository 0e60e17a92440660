// SPDX-License-Identifier: MIT
// What is the same with every engine, held by an engine without cryptography and a clock that a test turns.
#include "platform/tls.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <deque>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/tls_engine.h"

namespace quillbeaker {
namespace {

using std::chrono::milliseconds;
using namespace std::chrono_literals;

// What server, engine and clock do, and what was done to them.
struct World {
  std::chrono::steady_clock::time_point now;
  std::deque<std::string> from_server;  // one receive each; then nothing comes
  milliseconds per_receive{0};          // how long each takes to come
  IoStatus when_empty = IoStatus::kTimedOut;
  std::string sent;
  std::vector<std::string> aborts;
  bool takes_nothing = false;

  TlsVerdict verdict{CertificateInfo{"CN=a", "CN=b", "2026-01-01", "2026-02-01", "12ab"}, {}, false};
  int asked = 0;
  int patience = 1'000'000;  // waits until the person gives up
};

class FakeConnection : public Connection {
 public:
  explicit FakeConnection(World& world) : world_(world) {}
  IoResult Receive(char* buffer, std::size_t capacity, milliseconds wait) override {
    if (world_.from_server.empty() && world_.when_empty != IoStatus::kTimedOut) return {world_.when_empty, 0};
    if (world_.from_server.empty() || world_.per_receive > wait) {
      world_.per_receive -= std::min(wait, world_.per_receive);
      world_.now += wait;
      return {IoStatus::kTimedOut, 0};
    }
    world_.now += world_.per_receive;
    const std::string next = world_.from_server.front();
    world_.from_server.pop_front();
    const std::size_t count = std::min(capacity, next.size());
    std::memcpy(buffer, next.data(), count);
    return {IoStatus::kOk, count};
  }
  IoResult Send(std::string_view bytes, milliseconds wait) override {
    if (world_.takes_nothing) {
      world_.now += wait;
      return {IoStatus::kTimedOut, 0};
    }
    world_.sent += bytes;
    return {IoStatus::kOk, bytes.size()};
  }
  void FinishSending() override { world_.sent += "<fin>"; }
  bool PeerHasGone() override { return false; }
  void Abort(std::string_view farewell) override { world_.aborts.emplace_back(farewell); }

 private:
  World& world_;
};

// Shakes hands for as long as no "!" has come; "?" makes it fail. Text is only put into brackets; "$" ends
// it.
class FakeEngine : public TlsEngine {
 public:
  explicit FakeEngine(World& world) : world_(world) {}
  TlsStep ShakeHands() override {
    if (!greeted_) outgoing_ += "hello ";
    greeted_ = true;
    if (received_.find('?') != std::string::npos) {
      outgoing_ += "alert ";
      return TlsStep::kFailed;
    }
    const std::size_t end = received_.find('!');
    if (end == std::string::npos) return TlsStep::kNeedsBytes;
    received_.erase(0, end + 1);
    outgoing_ += "finished ";
    return TlsStep::kDone;
  }
  TlsStep Read(char* buffer, std::size_t capacity, std::size_t& count) override {
    if (received_.empty()) return TlsStep::kNeedsBytes;
    if (received_[0] == '$') return TlsStep::kClosed;
    if (received_[0] == '?') {
      received_.clear();
      return TlsStep::kFailed;
    }
    count = std::min(capacity, received_.size());
    std::memcpy(buffer, received_.data(), count);
    received_.erase(0, count);
    return TlsStep::kDone;
  }
  bool Write(std::string_view bytes) override {
    EXPECT_LE(bytes.size(), kTlsRecord);
    outgoing_ += "[" + std::string(bytes) + "]";
    return true;
  }
  void CloseSending() override { outgoing_ += "bye"; }
  void TakeReceived(std::string_view bytes) override { received_ += bytes; }
  std::string TakeOutgoing() override { return std::exchange(outgoing_, {}); }
  std::string Failure() override { return "why"; }
  TlsVerdict CheckCertificate(milliseconds, const std::function<bool()>&) override { return world_.verdict; }

 private:
  World& world_;
  bool greeted_ = false;
  std::string received_;
  std::string outgoing_;
};

class SecureWithEngineTest : public ::testing::Test {
 protected:
  TlsResult Secure(const std::string& pinned = {}) {
    return SecureWithEngine(
        std::make_shared<FakeConnection>(world_), std::make_unique<FakeEngine>(world_), pinned, 250ms,
        [this] { return ++world_.asked < world_.patience; }, [this] { return world_.now; });
  }
  std::shared_ptr<Connection> Established() {
    world_.from_server = {"!"};
    TlsResult result = Secure();
    world_.sent.clear();
    return result.connection;
  }

  World world_;
};

TEST_F(SecureWithEngineTest, ShakesHandsAndSendsNothingElse) {
  world_.from_server = {"a", "b", "c!"};
  const TlsResult result = Secure();
  EXPECT_EQ(result.status, TlsStatus::kEstablished);
  EXPECT_NE(result.connection, nullptr);
  EXPECT_EQ(world_.sent, "hello finished ");
  EXPECT_EQ(world_.asked, 0);
}

TEST_F(SecureWithEngineTest, IsWatchedWhileTheServerIsSilent) {
  world_.patience = 5;
  const TlsResult result = Secure();
  EXPECT_EQ(result.status, TlsStatus::kAborted);
  EXPECT_EQ(result.connection, nullptr);
  EXPECT_EQ(world_.asked, 5);
  EXPECT_EQ(world_.now.time_since_epoch(), 5 * 250ms);
}

TEST_F(SecureWithEngineTest, IsWatchedByTheClockWhileTheServerDrips) {
  // A byte every 10 ms, for ever as far as anybody waits: each of them comes long before the period is over.
  for (int i = 0; i < 100'000; ++i) world_.from_server.emplace_back("a");
  world_.per_receive = 10ms;
  world_.patience = 8;
  EXPECT_EQ(Secure().status, TlsStatus::kAborted);
  EXPECT_EQ(world_.asked, 8);
  EXPECT_EQ(world_.now.time_since_epoch(), 8 * 250ms);
}

TEST_F(SecureWithEngineTest, IsWatchedWhileTheServerTakesNothing) {
  world_.takes_nothing = true;
  world_.patience = 3;
  EXPECT_EQ(Secure().status, TlsStatus::kAborted);
  EXPECT_EQ(world_.asked, 3);
}

TEST_F(SecureWithEngineTest, SendsTheAlertAndTellsTheReasonWhenItFails) {
  world_.from_server = {"?"};
  const TlsResult result = Secure();
  EXPECT_EQ(result.status, TlsStatus::kHandshakeFailed);
  EXPECT_EQ(result.reason, "why");
  EXPECT_EQ(world_.sent, "hello alert ");
}

TEST_F(SecureWithEngineTest, FailsWhenTheServerGoes) {
  for (const IoStatus status : {IoStatus::kClosed, IoStatus::kFailed}) {
    world_.when_empty = status;
    world_.from_server = {"a"};
    EXPECT_EQ(Secure().status, TlsStatus::kHandshakeFailed);
  }
}

TEST_F(SecureWithEngineTest, RefusesABadCertificate) {
  world_.from_server = {"!"};
  world_.verdict.fault = "expired";
  const TlsResult result = Secure("some other fingerprint");
  EXPECT_EQ(result.status, TlsStatus::kRejected);
  EXPECT_EQ(result.connection, nullptr);
  EXPECT_EQ(result.reason, "expired");
  ASSERT_TRUE(result.certificate);
  EXPECT_EQ(result.certificate->fingerprint, "12ab");
  EXPECT_EQ(world_.sent, "hello finished ");
}

TEST_F(SecureWithEngineTest, AcceptsThePinnedCertificateWhateverIsWrongWithIt) {
  world_.from_server = {"!"};
  world_.verdict.fault = "expired";
  const TlsResult result = Secure("12ab");
  EXPECT_EQ(result.status, TlsStatus::kEstablished);
  EXPECT_TRUE(result.pinned);
}

TEST_F(SecureWithEngineTest, AcceptsAGoodCertificateBesideAPin) {
  world_.from_server = {"!"};
  const TlsResult result = Secure("some other fingerprint");
  EXPECT_EQ(result.status, TlsStatus::kEstablished);
  EXPECT_FALSE(result.pinned);
}

TEST_F(SecureWithEngineTest, RefusesAServerWithoutCertificateEvenWithAnEmptyPin) {
  world_.from_server = {"!"};
  world_.verdict = {};
  EXPECT_EQ(Secure().status, TlsStatus::kRejected);
  // A fingerprint that could not be made must not match a pin that is not there.
  world_.from_server = {"!"};
  world_.verdict = {CertificateInfo{}, "expired", false};
  EXPECT_EQ(Secure().status, TlsStatus::kRejected);
}

TEST_F(SecureWithEngineTest, GivesUpWhenNobodyWaitsForTheCheck) {
  world_.from_server = {"!"};
  world_.verdict.aborted = true;
  EXPECT_EQ(Secure("12ab").status, TlsStatus::kAborted);
}

TEST_F(SecureWithEngineTest, CarriesTextBothWays) {
  const auto connection = Established();
  ASSERT_NE(connection, nullptr);
  EXPECT_EQ(connection->Send("USER jane\r\n", 1s).status, IoStatus::kOk);
  EXPECT_EQ(world_.sent, "[USER jane\r\n]");
  world_.from_server = {"+OK\r\n"};
  char buffer[3];
  EXPECT_EQ(connection->Receive(buffer, 3, 1s).bytes, 3u);
  EXPECT_EQ(connection->Receive(buffer, 3, 1s).bytes, 2u);
}

TEST_F(SecureWithEngineTest, CutsWhatIsLongerThanARecord) {
  const auto connection = Established();
  ASSERT_NE(connection, nullptr);
  const std::string text(3 * kTlsRecord + 1, 'x');
  EXPECT_EQ(connection->Send(text, 1s).bytes, text.size());
  EXPECT_EQ(std::count(world_.sent.begin(), world_.sent.end(), '['), 4);
}

TEST_F(SecureWithEngineTest, KeepsWhatTheServerDoesNotTakeForTheNextCall) {
  const auto connection = Established();
  ASSERT_NE(connection, nullptr);
  world_.takes_nothing = true;
  const IoResult sent = connection->Send("NOOP\r\n", 1s);
  EXPECT_EQ(sent.status, IoStatus::kTimedOut);
  EXPECT_EQ(sent.bytes, 6u);  // it is in the engine: sent again it would come twice
  world_.takes_nothing = false;
  world_.from_server = {"+OK\r\n"};
  char buffer[10];
  EXPECT_EQ(connection->Receive(buffer, 10, 1s).bytes, 5u);
  EXPECT_EQ(world_.sent, "[NOOP\r\n]");
}

TEST_F(SecureWithEngineTest, TellsAnEndFromACut) {
  char buffer[10];
  auto connection = Established();
  ASSERT_NE(connection, nullptr);
  world_.from_server = {"$"};
  EXPECT_EQ(connection->Receive(buffer, 10, 1s).status, IoStatus::kClosed);
  connection = Established();
  world_.when_empty = IoStatus::kClosed;
  EXPECT_EQ(connection->Receive(buffer, 10, 1s).status, IoStatus::kFailed);
  EXPECT_EQ(connection->Receive(buffer, 10, 1s).status, IoStatus::kFailed);
}

TEST_F(SecureWithEngineTest, SaysNothingMoreAfterTheEngineFailed) {
  const auto connection = Established();
  ASSERT_NE(connection, nullptr);
  world_.from_server = {"?"};
  char buffer[10];
  EXPECT_EQ(connection->Receive(buffer, 10, 1s).status, IoStatus::kFailed);
  EXPECT_EQ(connection->Send("QUIT\r\n", 1s).status, IoStatus::kFailed);
  connection->FinishSending();
  EXPECT_EQ(world_.sent, "");
}

TEST_F(SecureWithEngineTest, TimesOutOfAReceive) {
  const auto connection = Established();
  ASSERT_NE(connection, nullptr);
  char buffer[10];
  EXPECT_EQ(connection->Receive(buffer, 10, 1s).status, IoStatus::kTimedOut);
}

TEST_F(SecureWithEngineTest, EndsTlsAndLeavesTcpOpen) {
  const auto connection = Established();
  ASSERT_NE(connection, nullptr);
  connection->FinishSending();
  EXPECT_EQ(world_.sent, "bye");
}

TEST_F(SecureWithEngineTest, WaitsForTheServersEndThoughTheEngineIsThrough) {
  const auto connection = Established();
  ASSERT_NE(connection, nullptr);
  connection->FinishSending();
  world_.from_server = {"?", "more", "and more"};
  world_.when_empty = IoStatus::kClosed;
  char buffer[10];
  EXPECT_EQ(connection->Receive(buffer, 10, 1s).status, IoStatus::kClosed);
  EXPECT_TRUE(world_.from_server.empty());
  EXPECT_EQ(connection->Receive(buffer, 10, 1s).status, IoStatus::kFailed);
}

TEST_F(SecureWithEngineTest, AbortSendsNothing) {
  const auto connection = Established();
  ASSERT_NE(connection, nullptr);
  connection->Abort("QUIT\r\n");
  EXPECT_EQ(world_.aborts, std::vector<std::string>({""}));
  EXPECT_EQ(world_.sent, "");
}

}  // namespace
}  // namespace quillbeaker
