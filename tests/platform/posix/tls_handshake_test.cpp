// SPDX-License-Identifier: MIT
// The handshake with a real server's bytes, stalled behind each of them and dripped one by one, by a clock
// that the test turns.
#include <gtest/gtest.h>
#include <openssl/ssl.h>

#include <chrono>
#include <cstring>
#include <memory>
#include <string>

#include "platform/posix/tls_memory_server.h"
#include "platform/tls_engine.h"

namespace quillbeaker {
namespace {

using std::chrono::milliseconds;
using namespace std::chrono_literals;

class HandshakeTest : public NobodyTrusted {
 protected:
  TlsResult Shake(const std::shared_ptr<MemoryLine>& line, const std::string& pin = {}) {
    int asked = 0;
    return SecureWithEngine(
        line, MakeTlsEngine({"localhost", pin}, nullptr), pin, 250ms, [&] { return ++asked < 4; },
        [line] { return line->now; });
  }

  const MemoryServer server_{{.version = GetParam()}};
};

TEST_P(HandshakeTest, RefusesAStrangersCertificate) {
  MemorySession server(server_);
  const TlsResult refused = Shake(std::make_shared<MemoryLine>(server, 1'000'000, 1'000'000));
  EXPECT_EQ(refused.status, TlsStatus::kRejected);
  EXPECT_NE(refused.reason.find("self-signed certificate"), std::string::npos) << refused.reason;
  EXPECT_EQ(server.heard, "");
  ASSERT_TRUE(refused.certificate);
  EXPECT_EQ(refused.certificate->subject, "CN=localhost");
  ASSERT_EQ(refused.certificate->fingerprint.size(), 64u);
}

TEST_P(HandshakeTest, IsGivenUpWhereverTheServerStalls) {
  MemorySession whole_server(server_);
  const auto whole = std::make_shared<MemoryLine>(whole_server, 1'000'000, 1'000'000);
  Shake(whole);
  ASSERT_GT(whole->passed, 500u);
  int given_up = 0;
  for (std::size_t budget = 0; budget < whole->passed; ++budget) {
    MemorySession server(server_);
    const auto line = std::make_shared<MemoryLine>(server, budget, 1'000'000);
    const TlsResult result = Shake(line);
    EXPECT_EQ(result.connection, nullptr) << budget;
    // Behind the handshake's last byte stand only session tickets, which nobody waits for. Signatures differ
    // in length by a few bytes from one handshake to the next.
    if (result.status == TlsStatus::kAborted) {
      ++given_up;
      EXPECT_EQ(line->now.time_since_epoch(), 4 * 250ms) << budget;
    } else {
      EXPECT_EQ(result.status, TlsStatus::kRejected) << budget;
    }
    EXPECT_EQ(server.heard, "") << budget;
  }
  EXPECT_GT(given_up, 500);
}

TEST_P(HandshakeTest, IsGivenUpByTheClockWhenTheServerDrips) {
  MemorySession server(server_);
  const auto line = std::make_shared<MemoryLine>(server, 1'000'000, 1);
  line->per_piece = 10ms;
  EXPECT_EQ(Shake(line).status, TlsStatus::kAborted);
  EXPECT_EQ(line->passed, 4u * 25u);
}

TEST_P(HandshakeTest, TakesTheBytesOneByOne) {
  MemorySession server(server_);
  EXPECT_EQ(Shake(std::make_shared<MemoryLine>(server, 1'000'000, 1)).status, TlsStatus::kRejected);
}

INSTANTIATE_TEST_SUITE_P(Versions, HandshakeTest, ::testing::Values(TLS1_2_VERSION, TLS1_3_VERSION),
                         TlsVersionName);

TEST(HandshakeVersionTest, OldTlsIsRefused) {
  const MemoryServer old({.version = TLS1_1_VERSION});
  MemorySession server(old);
  const auto line = std::make_shared<MemoryLine>(server, 1'000'000, 1'000'000);
  const TlsResult result = SecureWithEngine(
      line, MakeTlsEngine({"localhost", {}}, nullptr), {}, 250ms, [] { return false; },
      [line] { return line->now; });
  EXPECT_EQ(result.status, TlsStatus::kHandshakeFailed);
}

TEST(HandshakeTextTest, PlainTextIsNoTls) {
  class Plain : public Connection {
   public:
    IoResult Receive(char* buffer, std::size_t, milliseconds) override {
      std::memcpy(buffer, "+OK ready\r\n", 11);
      return {IoStatus::kOk, 11};
    }
    IoResult Send(std::string_view bytes, milliseconds) override {
      sent += bytes;
      return {IoStatus::kOk, bytes.size()};
    }
    void FinishSending() override {}
    bool PeerHasGone() override { return false; }
    void Abort(std::string_view) override {}
    std::string sent;
  };
  const auto plain = std::make_shared<Plain>();
  const TlsResult result = SecureConnection(plain, {"localhost", {}}, 250ms, [] { return false; });
  EXPECT_EQ(result.status, TlsStatus::kHandshakeFailed);
  EXPECT_FALSE(result.reason.empty());
  EXPECT_EQ(plain->sent.find("QUIT"), std::string::npos);
}

}  // namespace
}  // namespace quillbeaker
