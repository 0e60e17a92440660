// SPDX-License-Identifier: MIT
// TLS by OpenSSL, over a BIO of our own.
#include "platform/tls.h"

#include <arpa/inet.h>
#include <openssl/err.h>
#include <openssl/ssl.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "platform/posix/certificate_check.h"
#include "platform/tls_engine.h"
#include "platform/tls_inbox.h"

namespace quillbeaker {
namespace {

// Some records at once. The library's own reading ahead moves everything behind a record to the front of its
// buffer with each record; this moves nothing.
constexpr std::size_t kInbox = std::size_t{64} * 1024;

using UniqueContext = std::unique_ptr<SSL_CTX, OpenSslDeleter<SSL_CTX, SSL_CTX_free>>;
using UniqueSsl = std::unique_ptr<SSL, OpenSslDeleter<SSL, SSL_free>>;
using UniqueSession = std::unique_ptr<SSL_SESSION, OpenSslDeleter<SSL_SESSION, SSL_SESSION_free>>;
using UniqueBio = std::unique_ptr<BIO, OpenSslDeleter<BIO, BIO_free_all>>;
using UniqueBioMethod = std::unique_ptr<BIO_METHOD, OpenSslDeleter<BIO_METHOD, BIO_meth_free>>;

class Session : public TlsSession {
 public:
  explicit Session(UniqueSession session) : session_(std::move(session)) {}
  SSL_SESSION* get() const { return session_.get(); }

 private:
  UniqueSession session_;
};

// The wire as the library knows streams. It belongs to the call that is under way.
struct Stream {
  TlsInbox inbox{kInbox};
  TlsWire* wire = nullptr;

  static int Read(BIO* bio, char* buffer, std::size_t capacity, std::size_t* count) {
    BIO_clear_retry_flags(bio);
    Stream& stream = *static_cast<Stream*>(BIO_get_data(bio));
    if (stream.inbox.empty()) {
      const IoStatus status = stream.inbox.Fill(*stream.wire);
      if (status == IoStatus::kTimedOut) BIO_set_retry_read(bio);
      if (status != IoStatus::kOk) return 0;
    }
    *count = std::min(capacity, stream.inbox.size());
    std::memcpy(buffer, stream.inbox.data(), *count);
    stream.inbox.Take(*count);
    return 1;
  }
  static int Write(BIO* bio, const char* bytes, std::size_t size, std::size_t* count) {
    BIO_clear_retry_flags(bio);
    static_cast<Stream*>(BIO_get_data(bio))->wire->Send({bytes, size});
    *count = size;
    return 1;
  }
  static long Control(BIO*, int command, long, void*) { return command == BIO_CTRL_FLUSH ? 1 : 0; }
};

UniqueBioMethod MakeStreamMethod() {
  UniqueBioMethod method(BIO_meth_new(BIO_get_new_index() | BIO_TYPE_SOURCE_SINK, "wire"));
  if (method == nullptr || BIO_meth_set_read_ex(method.get(), &Stream::Read) != 1 ||
      BIO_meth_set_write_ex(method.get(), &Stream::Write) != 1 ||
      BIO_meth_set_ctrl(method.get(), &Stream::Control) != 1) {
    return nullptr;
  }
  return method;
}

UniqueBio BioOf(Stream& stream) {
  static const UniqueBioMethod method = MakeStreamMethod();
  if (method == nullptr) return nullptr;
  UniqueBio bio(BIO_new(method.get()));
  if (bio != nullptr) {
    BIO_set_data(bio.get(), &stream);
    BIO_set_init(bio.get(), 1);
  }
  return bio;
}

class Engine : public TlsEngine {
 public:
  // Not made when the library has no memory, or for a host that no certificate can be for.
  Engine(const TlsOptions& options, std::unique_ptr<TlsSession> session)
      : host_(options.host), context_(SSL_CTX_new(TLS_client_method())) {
    if (context_ == nullptr || SSL_CTX_set_min_proto_version(context_.get(), TLS1_2_VERSION) != 1) return;
    SSL_CTX_set_options(context_.get(), SSL_OP_NO_RENEGOTIATION);
    // The certificate is checked after the handshake, before a byte of ours is sent: the same check serves a
    // resumed session, and one that the user trusts is accepted although it does not check out.
    SSL_CTX_set_verify(context_.get(), SSL_VERIFY_NONE, nullptr);
    SSL_CTX_set_cert_verify_callback(
        context_.get(), [](X509_STORE_CTX*, void*) { return 1; }, nullptr);
    ssl_.reset(SSL_new(context_.get()));
    UniqueBio bio = BioOf(stream_);
    if (ssl_ == nullptr || bio == nullptr || !NameHost()) {
      ssl_.reset();
      return;
    }
    SSL_set_bio(ssl_.get(), bio.get(), bio.get());
    bio.release();
    SSL_set_connect_state(ssl_.get());
    Offer(std::move(session), options.pinned_fingerprint);
  }
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;

  bool is_made() const { return ssl_ != nullptr; }

  TlsStep ShakeHands(TlsWire& wire) override {
    Begin(wire);
    return StepOf(SSL_do_handshake(ssl_.get()));
  }

  TlsStep Read(TlsWire& wire, char* buffer, std::size_t capacity, std::size_t& count) override {
    Begin(wire);
    return StepOf(SSL_read_ex(ssl_.get(), buffer, capacity, &count));
  }

  bool Write(TlsWire& wire, std::string_view bytes) override {
    Begin(wire);
    std::size_t count = 0;
    return SSL_write_ex(ssl_.get(), bytes.data(), bytes.size(), &count) == 1 && count == bytes.size();
  }

  void CloseSending(TlsWire& wire) override {
    Begin(wire);
    SSL_shutdown(ssl_.get());
  }

  std::string Failure() override {
    const char* const reason = ERR_reason_error_string(ERR_peek_last_error());
    ERR_clear_error();
    return reason != nullptr ? reason : "the server closed the connection";
  }

  TlsVerdict CheckCertificate(std::chrono::milliseconds, const std::function<bool()>&) override {
    return Verdict();
  }

  bool IsResumed() const override { return SSL_session_reused(ssl_.get()) == 1; }

  std::unique_ptr<TlsSession> TakeSession() override {
    // Else the library forbids to resume the session of a connection that was closed without a farewell. TLS
    // has not asked for that since version 1.1 (RFC 4346, section 7.2.1).
    SSL_set_shutdown(ssl_.get(), SSL_get_shutdown(ssl_.get()) | SSL_SENT_SHUTDOWN);
    UniqueSession session(SSL_get1_session(ssl_.get()));
    // A ticket of TLS 1.3 is used once: the server sends new ones, from which the library makes new sessions.
    const bool used_up = session.get() == OfferedSession() && SSL_version(ssl_.get()) >= TLS1_3_VERSION;
    if (session == nullptr || used_up || SSL_SESSION_is_resumable(session.get()) != 1) return nullptr;
    return std::make_unique<Session>(std::move(session));
  }

 private:
  void Begin(TlsWire& wire) {
    stream_.wire = &wire;
    ERR_clear_error();
  }

  // Of the server, or, before the handshake, of the session that is to be offered.
  TlsVerdict Verdict() const {
    return CheckServerCertificate(SSL_get0_peer_certificate(ssl_.get()), SSL_get_peer_cert_chain(ssl_.get()),
                                  host_, SSL_get_security_level(ssl_.get()));
  }

  void Offer(std::unique_ptr<TlsSession> session, const std::string& pinned_fingerprint) {
    if (session == nullptr) return;
    offered_ = std::move(session);
    if (SSL_set_session(ssl_.get(), OfferedSession()) == 1 && IsAccepted(Verdict(), pinned_fingerprint))
      return;
    SSL_set_session(ssl_.get(), nullptr);
    offered_.reset();
  }

  SSL_SESSION* OfferedSession() const {
    return offered_ != nullptr ? static_cast<const Session&>(*offered_).get() : nullptr;
  }

  TlsStep StepOf(int result) const {
    if (result == 1) return TlsStep::kDone;
    switch (SSL_get_error(ssl_.get(), result)) {
      case SSL_ERROR_WANT_READ:
        return TlsStep::kNeedsBytes;
      case SSL_ERROR_ZERO_RETURN:
        return TlsStep::kClosed;
      default:
        return TlsStep::kFailed;
    }
  }

  bool NameHost() {
    if (AddressBytes(host_)) return true;
    const std::string name = host_.ends_with('.') ? host_.substr(0, host_.size() - 1) : host_;
    return !name.empty() && name.front() != '.' && SSL_set_tlsext_host_name(ssl_.get(), name.c_str()) == 1;
  }

  const std::string host_;
  Stream stream_;
  UniqueContext context_;
  UniqueSsl ssl_;
  std::unique_ptr<TlsSession> offered_;
};

}  // namespace

std::unique_ptr<TlsEngine> MakeTlsEngine(const TlsOptions& options, std::unique_ptr<TlsSession> session) {
  auto engine = std::make_unique<Engine>(options, std::move(session));
  return engine->is_made() ? std::move(engine) : nullptr;
}

std::optional<std::string> AddressBytes(std::string_view host) {
  std::array<char, 16> bytes{};
  const std::string text(host);
  if (text.find('\0') != std::string::npos) return std::nullopt;
  if (inet_pton(AF_INET, text.c_str(), bytes.data()) == 1) return std::string(bytes.data(), 4);
  if (inet_pton(AF_INET6, text.c_str(), bytes.data()) == 1) return std::string(bytes.data(), 16);
  return std::nullopt;
}

}  // namespace quillbeaker
