// SPDX-License-Identifier: MIT
// TLS by OpenSSL. The library sees memory only: what it wants to send and to receive goes through the connection that
// it secures, so that every wait is that connection's.
#include "platform/tls.h"

#include <arpa/inet.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

namespace quillbeaker {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr std::size_t kRecord = 16384;  // bytes of text that one TLS record holds

template <typename T, void (*Free)(T*)>
struct Deleter {
  void operator()(T* object) const { Free(object); }
};
using UniqueContext = std::unique_ptr<SSL_CTX, Deleter<SSL_CTX, SSL_CTX_free>>;
using UniqueSsl = std::unique_ptr<SSL, Deleter<SSL, SSL_free>>;
using UniqueCertificate = std::unique_ptr<X509, Deleter<X509, X509_free>>;
using UniqueMemory = std::unique_ptr<BIO, Deleter<BIO, BIO_free_all>>;

// What OpenSSL has to say of its last error, and an empty queue after it.
std::string LastError() {
  const unsigned long error = ERR_peek_last_error();
  const char* const reason = ERR_reason_error_string(error);
  ERR_clear_error();
  return reason != nullptr ? reason : "the connection was closed";
}

TlsResult WithStatus(TlsStatus status, std::string reason = {}) {
  TlsResult result;
  result.status = status;
  result.reason = std::move(reason);
  return result;
}

// What remains until a moment, rounded up.
milliseconds Until(Clock::time_point moment) {
  return std::max(milliseconds(0), std::chrono::ceil<milliseconds>(moment - Clock::now()));
}

// The engine and the two memories through which it talks.
class Engine {
 public:
  // Not made when the library has no memory or no trust store can be set up.
  explicit Engine(const TlsOptions& options) : context_(SSL_CTX_new(TLS_client_method())) {
    if (context_ == nullptr || SSL_CTX_set_min_proto_version(context_.get(), TLS1_2_VERSION) != 1 ||
        SSL_CTX_set_default_verify_paths(context_.get()) != 1) {
      return;
    }
    SSL_CTX_set_options(context_.get(), SSL_OP_NO_RENEGOTIATION);
    // The result is looked at after the handshake, before a byte of ours is sent: a certificate that the user trusts
    // is accepted although it does not check out.
    SSL_CTX_set_verify(context_.get(), SSL_VERIFY_NONE, nullptr);
    ssl_.reset(SSL_new(context_.get()));
    UniqueMemory in(BIO_new(BIO_s_mem()));
    UniqueMemory out(BIO_new(BIO_s_mem()));
    if (ssl_ == nullptr || in == nullptr || out == nullptr || !NameHost(options.host)) {
      ssl_.reset();
      return;
    }
    BIO_set_mem_eof_return(in.get(), -1);
    in_ = in.get();
    out_ = out.get();
    SSL_set_bio(ssl_.get(), in.release(), out.release());
    SSL_set_connect_state(ssl_.get());
  }

  bool is_made() const { return ssl_ != nullptr && in_ != nullptr; }
  SSL* ssl() const { return ssl_.get(); }

  void TakeReceived(const char* bytes, std::size_t count) { BIO_write(in_, bytes, static_cast<int>(count)); }
  // What is to be sent next; nothing when all was taken.
  std::string TakeOutgoing() {
    std::string bytes(BIO_ctrl_pending(out_), '\0');
    if (!bytes.empty()) {
      const int taken = BIO_read(out_, bytes.data(), static_cast<int>(bytes.size()));
      bytes.resize(static_cast<std::size_t>(std::max(taken, 0)));
    }
    return bytes;
  }

 private:
  bool NameHost(const std::string& host) {
    X509_VERIFY_PARAM* const parameters = SSL_get0_param(ssl_.get());
    X509_VERIFY_PARAM_set_hostflags(parameters,
                                    X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS | X509_CHECK_FLAG_NEVER_CHECK_SUBJECT);
    if (AddressBytes(host)) {
      return X509_VERIFY_PARAM_set1_ip_asc(parameters, host.c_str()) == 1;
    }
    const std::string name = host.ends_with('.') ? host.substr(0, host.size() - 1) : host;
    return !name.empty() && X509_VERIFY_PARAM_set1_host(parameters, name.c_str(), name.size()) == 1 &&
           SSL_set_tlsext_host_name(ssl_.get(), name.c_str()) == 1;
  }

  UniqueContext context_;
  UniqueSsl ssl_;
  BIO* in_ = nullptr;   // owned by ssl_
  BIO* out_ = nullptr;  // owned by ssl_
};

class TlsConnection : public Connection {
 public:
  TlsConnection(std::shared_ptr<Connection> plain, std::unique_ptr<Engine> engine)
      : plain_(std::move(plain)), engine_(std::move(engine)) {}

  IoResult Receive(char* buffer, std::size_t capacity, milliseconds wait) override {
    const Clock::time_point deadline = Clock::now() + std::clamp(wait, milliseconds(0), milliseconds(std::chrono::hours(24 * 365)));
    std::array<char, kRecord> received;
    for (;;) {
      std::size_t count = 0;
      ERR_clear_error();
      if (SSL_read_ex(engine_->ssl(), buffer, capacity, &count) == 1) {
        return {IoStatus::kOk, count};
      }
      switch (SSL_get_error(engine_->ssl(), 0)) {
        case SSL_ERROR_WANT_READ:
          break;
        case SSL_ERROR_ZERO_RETURN:
          return {IoStatus::kClosed, 0};
        default:
          return {IoStatus::kFailed, 0};
      }
      if (const IoResult sent = Flush(Until(deadline)); sent.status != IoStatus::kOk) {
        return {sent.status, 0};
      }
      const IoResult result = plain_->Receive(received.data(), received.size(), Until(deadline));
      if (result.status != IoStatus::kOk) {
        // A stream that ends without a word of TLS may have been cut by anybody.
        return {result.status == IoStatus::kClosed ? IoStatus::kFailed : result.status, 0};
      }
      engine_->TakeReceived(received.data(), result.bytes);
    }
  }

  IoResult Send(std::string_view bytes, milliseconds wait) override {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
      if (const IoResult flushed = Flush(wait); flushed.status != IoStatus::kOk) {
        return {flushed.status, sent};
      }
      std::size_t count = 0;
      ERR_clear_error();
      const std::string_view next = bytes.substr(sent, kRecord);
      if (SSL_write_ex(engine_->ssl(), next.data(), next.size(), &count) != 1) {
        return {IoStatus::kFailed, sent};
      }
      sent += count;
    }
    return {Flush(wait).status, sent};
  }

  void FinishSending() override {
    // The end of TLS's stream; TCP's stays open for what the server has to answer.
    SSL_shutdown(engine_->ssl());
    Flush(milliseconds(0));
  }

  bool PeerHasGone() override { return plain_->PeerHasGone(); }

  // The farewell could only be sent by the thread that uses the engine.
  void Abort(std::string_view) override { plain_->Abort({}); }

 private:
  // Sends what the engine has made. What does not go out in time is kept for the next call.
  IoResult Flush(milliseconds wait) {
    unsent_ += engine_->TakeOutgoing();
    if (unsent_.empty()) {
      return {IoStatus::kOk, 0};
    }
    const IoResult result = plain_->Send(unsent_, wait);
    unsent_.erase(0, result.bytes);
    return result;
  }

  std::shared_ptr<Connection> plain_;
  std::unique_ptr<Engine> engine_;
  std::string unsent_;
};

// A name of a certificate on one line: control characters escaped, UTF-8.
std::string NameText(const X509_NAME* name) {
  const UniqueMemory memory(BIO_new(BIO_s_mem()));
  if (memory == nullptr || X509_NAME_print_ex(memory.get(), name, 0, XN_FLAG_ONELINE & ~ASN1_STRFLGS_ESC_MSB) < 0) {
    return {};
  }
  const char* text = nullptr;
  const long size = BIO_get_mem_data(memory.get(), &text);
  return std::string(text, static_cast<std::size_t>(std::max(size, 0L)));
}

std::string DateText(const ASN1_TIME* time) {
  std::tm date{};
  if (ASN1_TIME_to_tm(time, &date) != 1) {
    return {};
  }
  std::array<char, 16> text{};
  return std::string(text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%d", &date));
}

std::string FingerprintOf(const X509* certificate) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned int size = 0;
  if (X509_digest(certificate, EVP_sha256(), digest.data(), &size) != 1) {
    return {};
  }
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (unsigned int i = 0; i < size; ++i) {
    text += kDigits[digest[i] >> 4];
    text += kDigits[digest[i] & 15];
  }
  return text;
}

CertificateInfo InfoOf(const X509* certificate) {
  return {NameText(X509_get_subject_name(certificate)), NameText(X509_get_issuer_name(certificate)),
          DateText(X509_get0_notBefore(certificate)), DateText(X509_get0_notAfter(certificate)),
          FingerprintOf(certificate)};
}

// Shakes hands. A server that sends a little now and then is watched all the same: `on_wait` is asked by the clock.
TlsResult ShakeHands(Connection& plain, Engine& engine, milliseconds period, const std::function<bool()>& on_wait) {
  std::array<char, kRecord> received;
  Clock::time_point next_question = Clock::now() + period;
  std::string outgoing;
  for (;;) {
    ERR_clear_error();
    const int done = SSL_do_handshake(engine.ssl());
    const int error = SSL_get_error(engine.ssl(), done);
    outgoing += engine.TakeOutgoing();  // an alert, too
    IoResult moved{IoStatus::kOk, 0};
    if (!outgoing.empty()) {
      moved = plain.Send(outgoing, Until(next_question));
      outgoing.erase(0, moved.bytes);
    }
    if (done == 1 && outgoing.empty()) {
      return WithStatus(TlsStatus::kEstablished);
    }
    if (done != 1 && error != SSL_ERROR_WANT_READ) {
      return WithStatus(TlsStatus::kHandshakeFailed, LastError());
    }
    if (moved.status == IoStatus::kOk && done != 1) {
      moved = plain.Receive(received.data(), received.size(), Until(next_question));
      if (moved.status == IoStatus::kOk) {
        engine.TakeReceived(received.data(), moved.bytes);
      }
    }
    if (moved.status == IoStatus::kClosed || moved.status == IoStatus::kFailed) {
      return WithStatus(TlsStatus::kHandshakeFailed, "the server closed the connection");
    }
    if (Clock::now() >= next_question) {
      if (!on_wait()) {
        return WithStatus(TlsStatus::kAborted, "no answer");
      }
      next_question = Clock::now() + period;
    }
  }
}

// The verdict on the server's certificate. Nothing of ours has been sent yet.
void CheckCertificate(const Engine& engine, const TlsOptions& options, TlsResult& result) {
  const UniqueCertificate certificate(SSL_get1_peer_certificate(engine.ssl()));
  if (certificate == nullptr) {
    result.status = TlsStatus::kRejected;
    result.reason = "the server has no certificate";
    return;
  }
  result.certificate = InfoOf(certificate.get());
  const long verdict = SSL_get_verify_result(engine.ssl());
  if (verdict == X509_V_OK) {
    return;
  }
  if (!options.pinned_fingerprint.empty() && options.pinned_fingerprint == result.certificate->fingerprint) {
    result.pinned = true;
    return;
  }
  result.status = TlsStatus::kRejected;
  result.reason = X509_verify_cert_error_string(verdict);
}

}  // namespace

TlsResult SecureConnection(std::shared_ptr<Connection> plain, const TlsOptions& options, milliseconds period,
                           const std::function<bool()>& on_wait) {
  auto engine = std::make_unique<Engine>(options);
  if (!engine->is_made()) {
    return WithStatus(TlsStatus::kHandshakeFailed, LastError());
  }
  TlsResult result = ShakeHands(*plain, *engine, std::max(period, milliseconds(1)), on_wait);
  if (result.status == TlsStatus::kEstablished) {
    CheckCertificate(*engine, options, result);
  }
  if (result.status == TlsStatus::kEstablished) {
    result.connection = std::make_shared<TlsConnection>(std::move(plain), std::move(engine));
  }
  return result;
}

std::optional<std::string> AddressBytes(std::string_view host) {
  std::array<char, 16> bytes{};
  const std::string text(host);
  if (inet_pton(AF_INET, text.c_str(), bytes.data()) == 1) {
    return std::string(bytes.data(), 4);
  }
  if (inet_pton(AF_INET6, text.c_str(), bytes.data()) == 1) {
    return std::string(bytes.data(), 16);
  }
  return std::nullopt;
}

}  // namespace quillbeaker
