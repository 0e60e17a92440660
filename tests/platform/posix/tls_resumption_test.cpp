// SPDX-License-Identifier: MIT
// Sessions that are resumed, and those that must not be, with a real server's bytes.
#include <gtest/gtest.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "platform/posix/tls_memory_server.h"
#include "platform/tls.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

using namespace std::chrono_literals;

// What a check did, once it is over.
struct Seen {
  TlsResult result;
  bool resumed_by_server = false;
};

class ResumptionTest : public NobodyTrusted {
 protected:
  // One connection to the server: a greeting, a command, and the end. The session's ticket has come then.
  Seen Connect(MemoryServer& server, const TlsOptions& options, bool farewell = true) {
    MemorySession session(server);
    const auto line = std::make_shared<MemoryLine>(session);
    Seen seen;
    seen.result = SecureConnection(line, options, 250ms, [] { return false; });
    if (seen.result.connection != nullptr) {
      line->waiting += session.Say("+OK\r\n");
      std::array<char, 100> buffer;
      EXPECT_EQ(seen.result.connection->Receive(buffer.data(), buffer.size(), 0ms).bytes, 5u);
      EXPECT_EQ(seen.result.connection->Send("QUIT\r\n", 0ms).status, IoStatus::kOk);
      if (farewell) seen.result.connection->FinishSending();
      seen.result.connection.reset();
    }
    EXPECT_EQ(session.heard, seen.result.status == TlsStatus::kEstablished ? "QUIT\r\n" : "");
    seen.resumed_by_server = session.resumed();
    return seen;
  }
  Seen Connect(MemoryServer& server) { return Connect(server, Options(server)); }

  // Trusts the server's certificate in that file, for this test.
  void Trust(const MemoryServer& server) {
    const std::string path = directory_.PathOf("authorities.pem");
    std::FILE* const file = std::fopen(path.c_str(), "w");
    ASSERT_NE(file, nullptr);
    PEM_write_X509(file, server.certificate());
    std::fclose(file);
    setenv("SSL_CERT_FILE", path.c_str(), 1);
  }
  static std::string FingerprintOf(const MemoryServer& server) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned int size = 0;
    X509_digest(server.certificate(), EVP_sha256(), digest.data(), &size);
    return HexDigits({reinterpret_cast<const char*>(digest.data()), size});
  }
  TlsOptions Options(const MemoryServer& server) const {
    return {"localhost", FingerprintOf(server), sessions_, "localhost:995"};
  }
  TlsOptions Unpinned() const { return {"localhost", {}, sessions_, "localhost:995"}; }

  test::TestDirectory directory_;
  std::shared_ptr<TlsSessions> sessions_ = std::make_shared<TlsSessions>();
  MemoryServer server_{{.version = GetParam()}};
};

void ExpectResumed(const Seen& seen) {
  EXPECT_EQ(seen.result.status, TlsStatus::kEstablished) << seen.result.reason;
  EXPECT_TRUE(seen.result.resumed);
  EXPECT_TRUE(seen.resumed_by_server);
  ASSERT_TRUE(seen.result.certificate);
  EXPECT_EQ(seen.result.certificate->subject, "CN=localhost");
}

void ExpectFull(const Seen& seen) {
  EXPECT_EQ(seen.result.status, TlsStatus::kEstablished) << seen.result.reason;
  EXPECT_FALSE(seen.result.resumed);
  EXPECT_FALSE(seen.resumed_by_server);
}

TEST_P(ResumptionTest, ResumesTheSessionBefore) {
  ExpectFull(Connect(server_));
  for (int i = 0; i < 3; ++i) ExpectResumed(Connect(server_));
}

TEST_P(ResumptionTest, ResumesUnderATrustedChain) {
  Trust(server_);
  ExpectFull(Connect(server_, Unpinned()));
  const Seen second = Connect(server_, Unpinned());
  ExpectResumed(second);
  EXPECT_FALSE(second.result.pinned);
}

TEST_P(ResumptionTest, ResumesAfterAConnectionWithoutFarewell) {
  ExpectFull(Connect(server_, Options(server_), false));
  ExpectResumed(Connect(server_));
}

TEST_P(ResumptionTest, ResumesNothingWithoutAPlaceForSessions) {
  TlsOptions options = Options(server_);
  options.sessions = nullptr;
  ExpectFull(Connect(server_, options));
  ExpectFull(Connect(server_, options));
}

TEST_P(ResumptionTest, ResumesTheSameServerOnly) {
  ExpectFull(Connect(server_));
  TlsOptions other_port = Options(server_);
  other_port.server = "localhost:110";
  ExpectFull(Connect(server_, other_port));
  ExpectResumed(Connect(server_));
}

TEST_P(ResumptionTest, ResumesUnderTheSamePinOnly) {
  Trust(server_);
  ExpectFull(Connect(server_));
  ExpectFull(Connect(server_, Unpinned()));
  TlsOptions other_pin = Options(server_);
  other_pin.pinned_fingerprint = std::string(64, '0');
  ExpectFull(Connect(server_, other_pin));
  ExpectResumed(Connect(server_));
}

TEST_P(ResumptionTest, RefusesAStrangerWhoseSessionIsKeptUnderAPin) {
  ExpectFull(Connect(server_));
  EXPECT_EQ(Connect(server_, Unpinned()).result.status, TlsStatus::kRejected);
}

TEST_P(ResumptionTest, ShakesHandsInFullAfterAChangeOfTrust) {
  sessions_->TrustIs("before");
  ExpectFull(Connect(server_));
  sessions_->TrustIs("after");
  ExpectFull(Connect(server_));
  ExpectResumed(Connect(server_));
}

TEST_P(ResumptionTest, DoesNotOfferASessionWhoseAuthorityIsTrustedNoMore) {
  Trust(server_);
  ExpectFull(Connect(server_, Unpinned()));
  setenv("SSL_CERT_FILE", "/dev/null", 1);
  const Seen seen = Connect(server_, Unpinned());
  EXPECT_EQ(seen.result.status, TlsStatus::kRejected);
  EXPECT_FALSE(seen.resumed_by_server);
}

TEST_P(ResumptionTest, DoesNotOfferASessionWhoseCertificateHasExpired) {
  server_.SetCertificate({.version = GetParam(), .lifetime = 2s});
  Trust(server_);
  ExpectFull(Connect(server_, Unpinned()));
  while (X509_cmp_current_time(X509_get0_notAfter(server_.certificate())) > 0) {
    std::this_thread::sleep_for(50ms);
  }
  Seen seen = Connect(server_, Unpinned());
  EXPECT_EQ(seen.result.status, TlsStatus::kRejected);
  EXPECT_NE(seen.result.reason.find("expired"), std::string::npos) << seen.result.reason;
  EXPECT_FALSE(seen.resumed_by_server);
  // The server's next certificate is seen at once.
  server_.SetCertificate({.version = GetParam()});
  Trust(server_);
  ExpectFull(Connect(server_, Unpinned()));
}

TEST_P(ResumptionTest, ResumesAPinnedCertificateWhateverIsWrongWithIt) {
  server_.SetCertificate({.version = GetParam(), .name = "elsewhere.example", .lifetime = -1s});
  const Seen first = Connect(server_);
  ExpectFull(first);
  EXPECT_TRUE(first.result.pinned);
  const Seen second = Connect(server_);
  ExpectResumed(second);
  EXPECT_TRUE(second.result.pinned);
}

TEST_P(ResumptionTest, DoesNotOfferASessionOfAnotherName) {
  Trust(server_);
  ExpectFull(Connect(server_, Unpinned()));
  // The same place for the session, by a caller's mistake.
  auto claim = sessions_->Take({"localhost:995", "localhost", ""});
  ASSERT_NE(claim.session, nullptr);
  TlsOptions other = Unpinned();
  other.host = "elsewhere.example";
  auto misplaced = sessions_->Take({"localhost:995", other.host, ""});
  sessions_->Keep(misplaced, std::move(claim.session), false);
  const Seen seen = Connect(server_, other);
  EXPECT_EQ(seen.result.status, TlsStatus::kRejected);
  EXPECT_FALSE(seen.resumed_by_server);
}

TEST_P(ResumptionTest, ChecksInFullWhenTheServerDoesNotResume) {
  ExpectFull(Connect(server_));
  MemoryServer another({.version = GetParam()});
  EXPECT_EQ(Connect(another, Options(server_)).result.status, TlsStatus::kRejected);
  // What it had in its hands is not offered a second time.
  ExpectFull(Connect(server_));
  ExpectResumed(Connect(server_));
}

TEST_P(ResumptionTest, KeepsNothingOfAServerThatIsRefused) {
  EXPECT_EQ(Connect(server_, Unpinned()).result.status, TlsStatus::kRejected);
  EXPECT_EQ(sessions_->size(), 0u);
}

INSTANTIATE_TEST_SUITE_P(Versions, ResumptionTest, ::testing::Values(TLS1_2_VERSION, TLS1_3_VERSION),
                         TlsVersionName);

// Tickets of TLS 1.3 come after the handshake, each for one connection.
class TicketTest : public ResumptionTest {};

TEST_P(TicketTest, NoTicketIsNoSession) {
  SSL_CTX_set_num_tickets(server_.context(), 0);
  ExpectFull(Connect(server_));
  EXPECT_EQ(sessions_->size(), 0u);
  ExpectFull(Connect(server_));
}

TEST_P(TicketTest, ATicketIsUsedOnce) {
  ExpectFull(Connect(server_));
  SSL_CTX_set_num_tickets(server_.context(), 0);
  ExpectResumed(Connect(server_));
  EXPECT_EQ(sessions_->size(), 0u);
  ExpectFull(Connect(server_));
}

INSTANTIATE_TEST_SUITE_P(Versions, TicketTest, ::testing::Values(TLS1_3_VERSION), TlsVersionName);

// What is read and written.
class RecordsTest : public NobodyTrusted {
 protected:
  void SetUp() override {
    NobodyTrusted::SetUp();
    MemoryLine& line = *line_;
    X509_digest(server_.certificate(), EVP_sha256(), digest_.data(), nullptr);
    const TlsResult secured =
        SecureConnection(line_, {"localhost", HexDigits({reinterpret_cast<const char*>(digest_.data()), 32})},
                         250ms, [] { return false; });
    ASSERT_EQ(secured.status, TlsStatus::kEstablished) << secured.reason;
    connection_ = secured.connection;
    line.receives = 0;
  }

  const MemoryServer server_{{.version = GetParam()}};
  MemorySession session_{server_};
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest_{};
  std::shared_ptr<MemoryLine> line_ = std::make_shared<MemoryLine>(session_);
  std::shared_ptr<Connection> connection_;
};

TEST_P(RecordsTest, OneReceiveTakesManyRecords) {
  std::string text;
  for (int i = 0; i < 40; ++i) {
    const std::string record(1000, static_cast<char>('A' + i));
    text += record;
    line_->waiting += session_.Say(record);
  }
  std::string buffer(51'200, '\0');
  const IoResult received = connection_->Receive(buffer.data(), buffer.size(), 0ms);
  EXPECT_EQ(buffer.substr(0, received.bytes), text);
  EXPECT_EQ(line_->receives, 1);
}

TEST_P(RecordsTest, TextComesWholeHoweverItIsCut) {
  std::string text;
  for (int i = 0; i < 60; ++i) {
    const std::string record(static_cast<std::size_t>(1 + i * 277 % 16'384), static_cast<char>('A' + i % 26));
    text += record;
    line_->waiting += session_.Say(record);
  }
  std::string got;
  std::string buffer(777, '\0');
  for (;;) {
    const IoResult received = connection_->Receive(buffer.data(), buffer.size(), 0ms);
    if (received.status != IoStatus::kOk) break;
    got.append(buffer, 0, received.bytes);
  }
  EXPECT_EQ(got, text);
}

TEST_P(RecordsTest, CommandsOfOneSendAreOneRecord) {
  std::string window;
  for (int number = 1; number <= 16; ++number) window += "DELE " + std::to_string(number) + "\r\n";
  EXPECT_EQ(connection_->Send(window, 0ms).bytes, window.size());
  EXPECT_EQ(session_.heard, window);
  EXPECT_EQ(session_.records_heard, 1);
}

INSTANTIATE_TEST_SUITE_P(Versions, RecordsTest, ::testing::Values(TLS1_2_VERSION, TLS1_3_VERSION),
                         TlsVersionName);

}  // namespace
}  // namespace quillbeaker
