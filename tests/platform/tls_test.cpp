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
  int receives = 0;
  int sends = 0;

  TlsVerdict verdict{CertificateInfo{"CN=a", "CN=b", "2026-01-01", "2026-02-01", "12ab"}, {}, false};
  int asked = 0;
  int patience = 1'000'000;  // waits until the person gives up
  bool resumed = false;
};

class FakeConnection : public Connection {
 public:
  explicit FakeConnection(World& world) : world_(world) {}
  IoResult Receive(char* buffer, std::size_t capacity, milliseconds wait) override {
    ++world_.receives;
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
    ++world_.sends;
    world_.sent += bytes;
    return {IoStatus::kOk, bytes.size()};
  }
  void FinishSending() override { world_.sent += "<fin>"; }
  bool PeerHasGone() override { return false; }
  void Abort(std::string_view farewell) override { world_.aborts.emplace_back(farewell); }

 private:
  World& world_;
};

class FakeSession : public TlsSession {};

// Shakes hands for as long as no "!" has come; "?" makes it fail. A line is a record, in which nothing is
// changed; "$" ends them. What is written is only put into brackets.
class FakeEngine : public TlsEngine {
 public:
  explicit FakeEngine(World& world) : world_(world) {}
  TlsStep ShakeHands(TlsWire& wire) override {
    if (!greeted_) wire.Send("hello ");
    greeted_ = true;
    for (;;) {
      if (received_.find('?') != std::string::npos) {
        wire.Send("alert ");
        return TlsStep::kFailed;
      }
      if (const std::size_t end = received_.find('!'); end != std::string::npos) {
        received_.erase(0, end + 1);
        wire.Send("finished ");
        return TlsStep::kDone;
      }
      if (const TlsStep step = Fill(wire); step != TlsStep::kDone) return step;
    }
  }
  TlsStep Read(TlsWire& wire, char* buffer, std::size_t capacity, std::size_t& count) override {
    EXPECT_FALSE(failed_) << "an engine that failed is asked again";
    while (received_.find_first_of("\n$?") == std::string::npos) {
      if (const TlsStep step = Fill(wire); step != TlsStep::kDone) return Note(step);
    }
    if (received_[0] == '$') return TlsStep::kClosed;
    if (received_[0] == '?') return Note(TlsStep::kFailed);
    count = std::min({capacity, received_.size(), received_.find('\n') + 1});
    std::memcpy(buffer, received_.data(), count);
    received_.erase(0, count);
    return TlsStep::kDone;
  }
  bool Write(TlsWire& wire, std::string_view bytes) override {
    EXPECT_LE(bytes.size(), kTlsRecord);
    wire.Send("[");
    wire.Send(bytes);
    wire.Send("]");
    return true;
  }
  void CloseSending(TlsWire& wire) override { wire.Send("bye"); }
  std::string Failure() override { return "why"; }
  TlsVerdict CheckCertificate(milliseconds, const std::function<bool()>&) override { return world_.verdict; }
  bool IsResumed() const override { return world_.resumed; }
  std::unique_ptr<TlsSession> TakeSession() override { return std::make_unique<FakeSession>(); }

 private:
  TlsStep Fill(TlsWire& wire) {
    char bytes[1000];
    const IoResult result = wire.Receive(bytes, sizeof bytes);
    if (result.status == IoStatus::kTimedOut) return TlsStep::kNeedsBytes;
    if (result.status != IoStatus::kOk) return TlsStep::kFailed;
    received_.append(bytes, result.bytes);
    return TlsStep::kDone;
  }
  TlsStep Note(TlsStep step) {
    failed_ = step == TlsStep::kFailed;
    return step;
  }

  World& world_;
  bool greeted_ = false;
  bool failed_ = false;
  std::string received_;
};

class SecureWithEngineTest : public ::testing::Test {
 protected:
  TlsResult Secure(const std::string& pinned = {}, TlsLegacy legacy = {}) {
    return SecureWithEngine(
        std::make_shared<FakeConnection>(world_), std::make_unique<FakeEngine>(world_), pinned, 250ms,
        [this] { return ++world_.asked < world_.patience; }, [this] { return world_.now; },
        std::move(legacy));
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

TEST_F(SecureWithEngineTest, SendsCommandsThatCameTogetherInOneRecordAndOneCall) {
  const auto connection = Established();
  ASSERT_NE(connection, nullptr);
  world_.sends = 0;
  std::string window;
  for (int number = 1; number <= 16; ++number) window += "RETR " + std::to_string(number) + "\r\n";
  EXPECT_EQ(connection->Send(window, 1s).bytes, window.size());
  EXPECT_EQ(world_.sent, "[" + window + "]");
  EXPECT_EQ(world_.sends, 1);
}

TEST_F(SecureWithEngineTest, GivesAllRecordsThatCameTogether) {
  const auto connection = Established();
  ASSERT_NE(connection, nullptr);
  world_.from_server = {"one\ntwo\nthr", "ee\n"};
  world_.receives = 0;
  char buffer[100];
  IoResult result = connection->Receive(buffer, sizeof buffer, 1s);
  EXPECT_EQ(std::string(buffer, result.bytes), "one\ntwo\n");
  EXPECT_EQ(world_.receives, 1) << "it waited for the rest of a record although it had text";
  result = connection->Receive(buffer, sizeof buffer, 1s);
  EXPECT_EQ(std::string(buffer, result.bytes), "three\n");
}

TEST_F(SecureWithEngineTest, KeepsRecordsThatDoNotFitForTheNextCall) {
  const auto connection = Established();
  ASSERT_NE(connection, nullptr);
  world_.from_server = {"one\ntwo\n"};
  char buffer[6];
  IoResult result = connection->Receive(buffer, sizeof buffer, 1s);
  EXPECT_EQ(std::string(buffer, result.bytes), "one\ntw");
  world_.receives = 0;
  result = connection->Receive(buffer, sizeof buffer, 1s);
  EXPECT_EQ(std::string(buffer, result.bytes), "o\n");
  EXPECT_EQ(world_.receives, 0);
}

TEST_F(SecureWithEngineTest, TellsTheEndAfterTheTextBeforeIt) {
  char buffer[10];
  for (const auto& [end, status] : {std::pair{"$", IoStatus::kClosed}, std::pair{"?", IoStatus::kFailed}}) {
    const auto connection = Established();
    ASSERT_NE(connection, nullptr);
    world_.from_server = {std::string("text\n") + end};
    EXPECT_EQ(connection->Receive(buffer, sizeof buffer, 1s).bytes, 5u);
    EXPECT_EQ(connection->Receive(buffer, sizeof buffer, 1s).status, status);
    EXPECT_EQ(connection->Receive(buffer, sizeof buffer, 1s).status, status);
  }
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

TEST_F(SecureWithEngineTest, WaitsForTheServersEndAfterItsLastWords) {
  const auto connection = Established();
  ASSERT_NE(connection, nullptr);
  connection->FinishSending();
  world_.from_server = {"+OK bye\n"};
  world_.when_empty = IoStatus::kClosed;
  char buffer[10];
  EXPECT_EQ(connection->Receive(buffer, 10, 1s).bytes, 8u);
  EXPECT_EQ(connection->Receive(buffer, 10, 1s).status, IoStatus::kClosed);
}

TEST_F(SecureWithEngineTest, AbortSendsNothing) {
  const auto connection = Established();
  ASSERT_NE(connection, nullptr);
  connection->Abort("QUIT\r\n");
  EXPECT_EQ(world_.aborts, std::vector<std::string>({""}));
  EXPECT_EQ(world_.sent, "");
}

// What a connection leaves for the next one.
class TlsLegacyTest : public SecureWithEngineTest {
 protected:
  static TlsSessionKey Key() { return {"localhost:995", "localhost", ""}; }
  TlsResult SecureAndKeep() { return Secure({}, {sessions_, sessions_->Take(Key()), false}); }

  std::shared_ptr<TlsSessions> sessions_ = std::make_shared<TlsSessions>();
};

TEST_F(TlsLegacyTest, KeepsTheSessionWhenTheConnectionIsOver) {
  world_.from_server = {"!"};
  TlsResult result = SecureAndKeep();
  EXPECT_FALSE(result.resumed);
  EXPECT_EQ(sessions_->size(), 0u);
  result.connection.reset();
  EXPECT_EQ(sessions_->size(), 1u);
  EXPECT_NE(sessions_->Take(Key()).session, nullptr);
}

TEST_F(TlsLegacyTest, KeepsItHoweverTheServerCloses) {
  for (const IoStatus end : {IoStatus::kClosed, IoStatus::kFailed}) {
    world_.from_server = {"!"};
    TlsResult result = SecureAndKeep();
    result.connection->FinishSending();
    world_.when_empty = end;
    char buffer[10];
    EXPECT_EQ(result.connection->Receive(buffer, sizeof buffer, 1s).status, end);
    result.connection.reset();
    EXPECT_NE(sessions_->Take(Key()).session, nullptr);
  }
}

TEST_F(TlsLegacyTest, KeepsNothingOfAConnectionThatBroke) {
  world_.from_server = {"!", "?"};
  TlsResult result = SecureAndKeep();
  char buffer[10];
  EXPECT_EQ(result.connection->Receive(buffer, sizeof buffer, 1s).status, IoStatus::kFailed);
  result.connection.reset();
  EXPECT_EQ(sessions_->size(), 0u);
}

TEST_F(TlsLegacyTest, KeepsNothingOfAServerThatIsRefused) {
  world_.from_server = {"!"};
  world_.verdict.fault = "expired";
  EXPECT_EQ(SecureAndKeep().status, TlsStatus::kRejected);
  EXPECT_EQ(sessions_->size(), 0u);
}

TEST_F(TlsLegacyTest, KeepsNothingWhenTheUserTrustsOtherwiseMeanwhile) {
  world_.from_server = {"!"};
  sessions_->TrustIs("a");
  TlsResult result = SecureAndKeep();
  sessions_->TrustIs("b");
  result.connection.reset();
  EXPECT_EQ(sessions_->size(), 0u);
}

TEST_F(TlsLegacyTest, JudgesAResumedSessionAsAnyOther) {
  world_.from_server = {"!"};
  world_.resumed = true;
  world_.verdict.fault = "expired";
  EXPECT_EQ(SecureAndKeep().status, TlsStatus::kRejected);
  world_.verdict.fault.clear();
  world_.from_server = {"!"};
  const TlsResult result = SecureAndKeep();
  EXPECT_EQ(result.status, TlsStatus::kEstablished);
  EXPECT_TRUE(result.resumed);
  EXPECT_TRUE(result.certificate);
}

}  // namespace
}  // namespace quillbeaker
