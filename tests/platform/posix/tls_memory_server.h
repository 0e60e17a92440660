// SPDX-License-Identifier: MIT
#pragma once

// A TLS server in memory with a certificate of its own for "localhost", and the line to it: no socket, and a
// clock that the test turns.

#include <gtest/gtest.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "platform/connection.h"
#include "platform/tls_engine.h"

namespace quillbeaker {

// Frees what the library made.
struct FreeOpenSsl {
  void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
  void operator()(X509* certificate) const { X509_free(certificate); }
  void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
  void operator()(SSL* ssl) const { SSL_free(ssl); }
};

struct MemoryServerOptions {
  int version = TLS1_3_VERSION;  // 0: whatever the client has
  std::string name = "localhost";
  std::chrono::seconds lifetime{3600};  // of the certificate, from now on
};

// The server as it outlives its connections: key, certificate, and what it needs to resume sessions.
class MemoryServer {
 public:
  explicit MemoryServer(const MemoryServerOptions& options)
      : key_(EVP_EC_gen("P-256")), context_(SSL_CTX_new(TLS_server_method())) {
    if (options.version != 0) {
      SSL_CTX_set_min_proto_version(context_.get(), options.version);
      SSL_CTX_set_max_proto_version(context_.get(), options.version);
    }
    SetCertificate(options);
  }

  // Another certificate for the same key; sessions of before can be resumed all the same.
  void SetCertificate(const MemoryServerOptions& options) {
    certificate_.reset(X509_new());
    X509* const certificate = certificate_.get();
    X509_set_version(certificate, 2);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate), ++serial_);
    X509_gmtime_adj(X509_getm_notBefore(certificate), -3600);
    X509_gmtime_adj(X509_getm_notAfter(certificate), static_cast<long>(options.lifetime.count()));
    X509_set_pubkey(certificate, key_.get());
    X509_NAME* const name = X509_get_subject_name(certificate);
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char*>("localhost"),
                               -1, -1, 0);
    X509_set_issuer_name(certificate, name);
    X509_EXTENSION* const names =
        X509V3_EXT_conf_nid(nullptr, nullptr, NID_subject_alt_name, ("DNS:" + options.name).c_str());
    X509_add_ext(certificate, names, -1);
    X509_EXTENSION_free(names);
    X509_sign(certificate, key_.get(), EVP_sha256());
    SSL_CTX_use_certificate(context_.get(), certificate);
    SSL_CTX_use_PrivateKey(context_.get(), key_.get());
  }

  X509* certificate() const { return certificate_.get(); }
  SSL_CTX* context() const { return context_.get(); }

 private:
  std::unique_ptr<EVP_PKEY, FreeOpenSsl> key_;
  std::unique_ptr<SSL_CTX, FreeOpenSsl> context_;
  std::unique_ptr<X509, FreeOpenSsl> certificate_;
  long serial_ = 6;
};

// The server's side of one connection.
class MemorySession {
 public:
  explicit MemorySession(const MemoryServer& server) : ssl_(SSL_new(server.context())) {
    in_ = BIO_new(BIO_s_mem());
    out_ = BIO_new(BIO_s_mem());
    SSL_set_bio(ssl_.get(), in_, out_);
    SSL_set_accept_state(ssl_.get());
  }

  // What it answers to those bytes.
  std::string Answer(std::string_view bytes) {
    BIO_write(in_, bytes.data(), static_cast<int>(bytes.size()));
    std::array<char, 1000> text;
    std::size_t count = 0;
    if (SSL_do_handshake(ssl_.get()) == 1) {
      while (SSL_read_ex(ssl_.get(), text.data(), text.size(), &count) == 1) {
        heard.append(text.data(), count);
        ++records_heard;
      }
    }
    return TakeOutgoing();
  }
  // One record with that text.
  std::string Say(std::string_view text) {
    std::size_t count = 0;
    SSL_write_ex(ssl_.get(), text.data(), text.size(), &count);
    return TakeOutgoing();
  }
  bool resumed() const { return SSL_session_reused(ssl_.get()) == 1; }

  std::string heard;  // decrypted
  int records_heard = 0;

 private:
  std::string TakeOutgoing() {
    std::string bytes(BIO_ctrl_pending(out_), '\0');
    if (!bytes.empty()) BIO_read(out_, bytes.data(), static_cast<int>(bytes.size()));
    return bytes;
  }

  std::unique_ptr<SSL, FreeOpenSsl> ssl_;
  BIO* in_;   // owned by ssl_
  BIO* out_;  // owned by ssl_
};

// Gives at most `budget` bytes of what the server says, `piece` at once.
class MemoryLine : public Connection {
 public:
  explicit MemoryLine(MemorySession& server, std::size_t budget = 100'000'000,
                      std::size_t piece = 100'000'000)
      : server_(server), budget_(budget), piece_(piece) {}

  IoResult Receive(char* buffer, std::size_t capacity, std::chrono::milliseconds wait) override {
    ++receives;
    const std::size_t count = std::min({capacity, piece_, waiting.size(), budget_});
    if (count == 0) {
      now += wait;
      return {IoStatus::kTimedOut, 0};
    }
    now += per_piece;
    std::memcpy(buffer, waiting.data(), count);
    waiting.erase(0, count);
    budget_ -= count;
    passed += count;
    return {IoStatus::kOk, count};
  }
  IoResult Send(std::string_view bytes, std::chrono::milliseconds) override {
    waiting += server_.Answer(bytes);
    return {IoStatus::kOk, bytes.size()};
  }
  void FinishSending() override {}
  bool PeerHasGone() override { return false; }
  void Abort(std::string_view) override {}

  std::chrono::steady_clock::time_point now;
  std::chrono::milliseconds per_piece{0};
  std::size_t passed = 0;
  int receives = 0;
  std::string waiting;  // for the client

 private:
  MemorySession& server_;
  std::size_t budget_;
  std::size_t piece_;
};

// Nobody is trusted: reading the system's authorities takes most of the time, thousands of times.
class NobodyTrusted : public ::testing::TestWithParam<int> {
 protected:
  void SetUp() override {
    setenv("SSL_CERT_FILE", "/dev/null", 1);
    setenv("SSL_CERT_DIR", "/nonexistent", 1);
  }
  void TearDown() override {
    unsetenv("SSL_CERT_FILE");
    unsetenv("SSL_CERT_DIR");
  }
};

inline std::string TlsVersionName(const ::testing::TestParamInfo<int>& version) {
  return version.param == TLS1_2_VERSION ? "Tls12" : "Tls13";
}

}  // namespace quillbeaker
