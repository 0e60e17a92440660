// SPDX-License-Identifier: MIT
// The handshake with a real server's bytes, stalled behind each of them and dripped one by one, by a clock
// that the test turns.
#include <gtest/gtest.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "platform/tls_engine.h"

namespace quillbeaker {
namespace {

using std::chrono::milliseconds;
using namespace std::chrono_literals;

// A server in memory with a certificate of its own for "localhost".
class Server {
 public:
  explicit Server(int version) {
    EVP_PKEY* const key = EVP_EC_gen("P-256");
    X509* const certificate = X509_new();
    X509_set_version(certificate, 2);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate), 7);
    X509_gmtime_adj(X509_getm_notBefore(certificate), -3600);
    X509_gmtime_adj(X509_getm_notAfter(certificate), 3600);
    X509_set_pubkey(certificate, key);
    X509_NAME* const name = X509_get_subject_name(certificate);
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char*>("localhost"),
                               -1, -1, 0);
    X509_set_issuer_name(certificate, name);
    X509_sign(certificate, key, EVP_sha256());
    context_ = SSL_CTX_new(TLS_server_method());
    SSL_CTX_set_min_proto_version(context_, version);
    SSL_CTX_set_max_proto_version(context_, version);
    SSL_CTX_use_certificate(context_, certificate);
    SSL_CTX_use_PrivateKey(context_, key);
    X509_free(certificate);
    EVP_PKEY_free(key);
    ssl_ = SSL_new(context_);
    in_ = BIO_new(BIO_s_mem());
    out_ = BIO_new(BIO_s_mem());
    SSL_set_bio(ssl_, in_, out_);
    SSL_set_accept_state(ssl_);
  }
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;
  ~Server() {
    SSL_free(ssl_);
    SSL_CTX_free(context_);
  }

  // What it answers to those bytes.
  std::string Answer(std::string_view bytes) {
    BIO_write(in_, bytes.data(), static_cast<int>(bytes.size()));
    std::array<char, 1000> text;
    std::size_t count = 0;
    if (SSL_do_handshake(ssl_) == 1 && SSL_read_ex(ssl_, text.data(), text.size(), &count) == 1) {
      heard.append(text.data(), count);
    }
    std::string answer(BIO_ctrl_pending(out_), '\0');
    if (!answer.empty()) BIO_read(out_, answer.data(), static_cast<int>(answer.size()));
    return answer;
  }
  std::string heard;  // decrypted

 private:
  SSL_CTX* context_;
  SSL* ssl_;
  BIO* in_;
  BIO* out_;
};

class Line : public Connection {
 public:
  Line(Server& server, std::size_t budget, std::size_t piece)
      : server_(server), budget_(budget), piece_(piece) {}

  IoResult Receive(char* buffer, std::size_t capacity, milliseconds wait) override {
    const std::size_t count = std::min({capacity, piece_, waiting_.size(), budget_});
    if (count == 0) {
      now += wait;
      return {IoStatus::kTimedOut, 0};
    }
    now += per_piece;
    std::memcpy(buffer, waiting_.data(), count);
    waiting_.erase(0, count);
    budget_ -= count;
    passed += count;
    return {IoStatus::kOk, count};
  }
  IoResult Send(std::string_view bytes, milliseconds) override {
    waiting_ += server_.Answer(bytes);
    return {IoStatus::kOk, bytes.size()};
  }
  void FinishSending() override {}
  bool PeerHasGone() override { return false; }
  void Abort(std::string_view) override {}

  std::chrono::steady_clock::time_point now;
  milliseconds per_piece{0};
  std::size_t passed = 0;

 private:
  Server& server_;
  std::size_t budget_;
  std::size_t piece_;
  std::string waiting_;
};

class HandshakeTest : public ::testing::TestWithParam<int> {
 protected:
  // Nobody is trusted: reading the system's store takes most of the time, thousands of times.
  void SetUp() override {
    setenv("SSL_CERT_FILE", "/dev/null", 1);
    setenv("SSL_CERT_DIR", "/nonexistent", 1);
  }
  void TearDown() override {
    unsetenv("SSL_CERT_FILE");
    unsetenv("SSL_CERT_DIR");
  }

  TlsResult Shake(const std::shared_ptr<Line>& line, const std::string& pin = {}) {
    int asked = 0;
    return SecureWithEngine(
        line, MakeTlsEngine({"localhost", pin}), pin, 250ms, [&] { return ++asked < 4; },
        [line] { return line->now; });
  }
};

TEST_P(HandshakeTest, RefusesAStrangersCertificate) {
  Server server(GetParam());
  const TlsResult refused = Shake(std::make_shared<Line>(server, 1'000'000, 1'000'000));
  EXPECT_EQ(refused.status, TlsStatus::kRejected);
  EXPECT_NE(refused.reason.find("self-signed certificate"), std::string::npos) << refused.reason;
  EXPECT_EQ(server.heard, "");
  ASSERT_TRUE(refused.certificate);
  EXPECT_EQ(refused.certificate->subject, "CN=localhost");
  ASSERT_EQ(refused.certificate->fingerprint.size(), 64u);
}

TEST_P(HandshakeTest, IsGivenUpWhereverTheServerStalls) {
  Server whole_server(GetParam());
  const auto whole = std::make_shared<Line>(whole_server, 1'000'000, 1'000'000);
  Shake(whole);
  ASSERT_GT(whole->passed, 500u);
  int given_up = 0;
  for (std::size_t budget = 0; budget < whole->passed; ++budget) {
    Server server(GetParam());
    const auto line = std::make_shared<Line>(server, budget, 1'000'000);
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
  Server server(GetParam());
  const auto line = std::make_shared<Line>(server, 1'000'000, 1);
  line->per_piece = 10ms;
  EXPECT_EQ(Shake(line).status, TlsStatus::kAborted);
  EXPECT_EQ(line->passed, 4u * 25u);
}

TEST_P(HandshakeTest, TakesTheBytesOneByOne) {
  Server server(GetParam());
  EXPECT_EQ(Shake(std::make_shared<Line>(server, 1'000'000, 1)).status, TlsStatus::kRejected);
}

INSTANTIATE_TEST_SUITE_P(Versions, HandshakeTest, ::testing::Values(TLS1_2_VERSION, TLS1_3_VERSION),
                         [](const auto& version) {
                           return version.param == TLS1_2_VERSION ? "Tls12" : "Tls13";
                         });

TEST(HandshakeVersionTest, OldTlsIsRefused) {
  Server server(TLS1_1_VERSION);
  const auto line = std::make_shared<Line>(server, 1'000'000, 1'000'000);
  const TlsResult result = SecureWithEngine(
      line, MakeTlsEngine({"localhost", {}}), {}, 250ms, [] { return false; }, [line] { return line->now; });
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
