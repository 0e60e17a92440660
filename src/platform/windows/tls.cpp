// SPDX-License-Identifier: MIT
// TLS by the system's own library (Schannel), over memory.
#include "platform/tls.h"

#include <winsock2.h>

#include <ws2tcpip.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <span>
#include <utility>

#include "platform/tls_engine.h"
#include "platform/tls_inbox.h"
#include "platform/windows/certificate_check.h"
#include "platform/windows/schannel.h"
#include "platform/windows/schannel_credentials.h"
#include "platform/windows/wide.h"

namespace quillbeaker {
namespace {

// Newer than some headers.
constexpr DWORD kTls13 = 0x00002000;
// Some records at once. A part of the handshake that is not whole within this is none of TLS.
constexpr std::size_t kInbox = std::size_t{256} * 1024;
constexpr ULONG kRequests = ISC_REQ_SEQUENCE_DETECT | ISC_REQ_REPLAY_DETECT | ISC_REQ_CONFIDENTIALITY |
                            ISC_REQ_ALLOCATE_MEMORY | ISC_REQ_STREAM | ISC_REQ_EXTENDED_ERROR |
                            ISC_REQ_USE_SUPPLIED_CREDS | ISC_REQ_MANUAL_CRED_VALIDATION;

SecBuffer BufferOf(ULONG type, void* bytes = nullptr, std::size_t size = 0) {
  return {static_cast<ULONG>(size), type, bytes};
}

SecBufferDesc ListOf(std::span<SecBuffer> buffers) {
  return {SECBUFFER_VERSION, static_cast<ULONG>(buffers.size()), buffers.data()};
}

// Whether a record of TLS may begin like that (RFC 8446, section 5.1). The system is not always as quick to
// see that a server speaks something else: it may wait for the rest of a record whose length it took from a
// greeting.
bool MayBeRecord(std::string_view bytes) {
  return bytes.empty() || (bytes[0] >= 20 && bytes[0] <= 24 && (bytes.size() < 2 || bytes[1] == 3));
}

// In English, as it goes into the log.
std::string Describe(SECURITY_STATUS status) {
  switch (status) {
    case SEC_E_INVALID_TOKEN:
    case SEC_E_ILLEGAL_MESSAGE:
    case SEC_E_MESSAGE_ALTERED:
    case SEC_E_DECRYPT_FAILURE:
      return "what the server sends is no TLS";
    case SEC_E_ALGORITHM_MISMATCH:
    case SEC_E_UNSUPPORTED_FUNCTION:
      return "no common version or cipher";
    default:
      break;
  }
  std::array<char, 40> text{};
  std::snprintf(text.data(), text.size(), "TLS error 0x%08lx", static_cast<unsigned long>(status));
  return text.data();
}

// Schannel itself keeps what can be resumed and finds it by credentials handle and target name. A handle that
// serves one key alone resumes nothing of another, and a new handle has nothing to resume. The certificate is
// that of the connection before.
struct Session : TlsSession {
  std::unique_ptr<SchannelCredentials> credentials;
  UniqueCertificate certificate;
};

class Engine : public TlsEngine {
 public:
  explicit Engine(const TlsOptions& options) : host_(options.host) {
    if (!AddressBytes(host_)) {
      server_name_ =
          WideFromUtf8(host_.ends_with('.') ? std::string_view(host_).substr(0, host_.size() - 1) : host_);
    }
  }
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;
  ~Engine() override {
    if (begun_) DeleteSecurityContext(&context_);
  }

  bool Make(std::unique_ptr<TlsSession> session, const std::string& pinned_fingerprint) {
    if (session != nullptr) {
      auto& kept = static_cast<Session&>(*session);
      if (IsAccepted(CheckStoredCertificate(*kept.certificate, host_), pinned_fingerprint)) {
        credentials_ = std::move(kept.credentials);
        return true;
      }
    }
    credentials_ = std::make_unique<SchannelCredentials>();
    return credentials_->Acquire();
  }

  TlsStep ShakeHands(TlsWire& wire) override {
    if (established_) return TlsStep::kDone;
    bool incomplete = begun_ && inbox_.empty();
    for (;;) {
      if (incomplete) {
        if (const TlsStep step = ReceiveMore(wire); step != TlsStep::kDone) return step;
      }
      if (!MayBeRecord({inbox_.data(), inbox_.size()})) return Fail(SEC_E_ILLEGAL_MESSAGE);
      const SECURITY_STATUS status = Negotiate(wire);
      if (status == SEC_I_INCOMPLETE_CREDENTIALS && !offered_nothing_) {
        // The server would like to see a certificate of ours. There is none: said once more, that is the
        // answer.
        offered_nothing_ = true;
        incomplete = false;
        continue;
      }
      if (status == SEC_E_OK) return Establish();
      if (status != SEC_I_CONTINUE_NEEDED && status != SEC_E_INCOMPLETE_MESSAGE) return Fail(status);
      incomplete = status == SEC_E_INCOMPLETE_MESSAGE || inbox_.empty();
    }
  }

  TlsStep Read(TlsWire& wire, char* buffer, std::size_t capacity, std::size_t& count) override {
    while (plain_.empty()) {
      if (peer_closed_) return TlsStep::kClosed;
      if (incomplete_ || inbox_.empty()) {
        if (const TlsStep step = ReceiveMore(wire); step != TlsStep::kDone) return step;
        incomplete_ = false;
      }
      const SECURITY_STATUS status = ticket_begun_ ? SEC_I_RENEGOTIATE : Decrypt();
      if (status == SEC_E_INCOMPLETE_MESSAGE) {
        incomplete_ = true;
      } else if (status == SEC_I_CONTEXT_EXPIRED) {
        peer_closed_ = true;
      } else if (status == SEC_I_RENEGOTIATE) {
        if (!TakeTicket(wire)) return TlsStep::kFailed;
      } else if (status != SEC_E_OK) {
        return Fail(status);
      }
    }
    count = std::min(capacity, plain_.size());
    std::memcpy(buffer, plain_.data(), count);
    plain_.remove_prefix(count);
    return TlsStep::kDone;
  }

  bool Write(TlsWire& wire, std::string_view bytes) override {
    // A record's own limit may be lower than the protocol's.
    while (!bytes.empty()) {
      const std::string_view next = bytes.substr(0, sizes_.cbMaximumMessage);
      bytes.remove_prefix(next.size());
      record_.resize(sizes_.cbHeader + next.size() + sizes_.cbTrailer);
      char* const record = record_.data();
      std::memcpy(record + sizes_.cbHeader, next.data(), next.size());
      std::array<SecBuffer, 4> buffers{
          BufferOf(SECBUFFER_STREAM_HEADER, record, sizes_.cbHeader),
          BufferOf(SECBUFFER_DATA, record + sizes_.cbHeader, next.size()),
          BufferOf(SECBUFFER_STREAM_TRAILER, record + sizes_.cbHeader + next.size(), sizes_.cbTrailer),
          BufferOf(SECBUFFER_EMPTY)};
      SecBufferDesc list = ListOf(buffers);
      if (const SECURITY_STATUS status = EncryptMessage(&context_, 0, &list, 0); status != SEC_E_OK) {
        Fail(status);
        return false;
      }
      wire.Send({record, std::size_t{buffers[0].cbBuffer} + buffers[1].cbBuffer + buffers[2].cbBuffer});
    }
    return true;
  }

  void CloseSending(TlsWire& wire) override {
    DWORD shutdown = SCHANNEL_SHUTDOWN;
    std::array<SecBuffer, 1> buffers{BufferOf(SECBUFFER_TOKEN, &shutdown, sizeof shutdown)};
    SecBufferDesc list = ListOf(buffers);
    if (ApplyControlToken(&context_, &list) == SEC_E_OK) {
      Call(wire, nullptr);
    }
  }

  std::string Failure() override { return Describe(failure_); }

  TlsVerdict CheckCertificate(std::chrono::milliseconds period,
                              const std::function<bool()>& on_wait) override {
    UniqueCertificate certificate = ServerCertificate();
    if (certificate == nullptr) return {};
    return CheckServerCertificate(std::move(certificate), host_, period, on_wait);
  }

  bool IsResumed() const override {
    SecPkgContext_SessionInfo info{};
    return QueryContextAttributesW(&context_, SECPKG_ATTR_SESSION_INFO, &info) == SEC_E_OK &&
           (info.dwFlags & SSL_SESSION_RECONNECT) != 0;
  }

  std::unique_ptr<TlsSession> TakeSession() override {
    // Without a target name the system does not tell servers apart.
    if (server_name_.empty()) return nullptr;
    auto session = std::make_unique<Session>();
    session->certificate = ServerCertificate();
    if (session->certificate == nullptr) return nullptr;
    // The context must not outlive the connection's hold on its credentials.
    DeleteSecurityContext(&context_);
    begun_ = false;
    session->credentials = std::move(credentials_);
    return session;
  }

 private:
  TlsStep Fail(SECURITY_STATUS status) {
    failure_ = status;
    return TlsStep::kFailed;
  }

  // kDone when more bytes have come.
  TlsStep ReceiveMore(TlsWire& wire) {
    if (inbox_.full()) return Fail(SEC_E_ILLEGAL_MESSAGE);
    switch (inbox_.Fill(wire)) {
      case IoStatus::kOk:
        return TlsStep::kDone;
      case IoStatus::kTimedOut:
        return TlsStep::kNeedsBytes;
      default:
        return Fail(SEC_E_INCOMPLETE_MESSAGE);
    }
  }

  UniqueCertificate ServerCertificate() const {
    const CERT_CONTEXT* certificate = nullptr;
    const bool there = QueryContextAttributesW(&context_, SECPKG_ATTR_REMOTE_CERT_CONTEXT,
                                               static_cast<void*>(&certificate)) == SEC_E_OK;
    return UniqueCertificate(there ? certificate : nullptr);
  }

  // One call; what it wants to say is added to what is to be sent.
  SECURITY_STATUS Call(TlsWire& wire, SecBufferDesc* input) {
    std::array<SecBuffer, 2> buffers{BufferOf(SECBUFFER_TOKEN), BufferOf(SECBUFFER_ALERT)};
    SecBufferDesc output = ListOf(buffers);
    ULONG attributes = 0;
    TimeStamp expiry{};
    const SECURITY_STATUS status =
        InitializeSecurityContextW(credentials_->handle(), begun_ ? &context_ : nullptr,
                                   server_name_.empty() ? nullptr : server_name_.data(), kRequests, 0, 0,
                                   input, 0, begun_ ? nullptr : &context_, &output, &attributes, &expiry);
    begun_ = begun_ || status == SEC_I_CONTINUE_NEEDED || status == SEC_E_OK;
    for (const SecBuffer& buffer : buffers) {
      if (buffer.pvBuffer == nullptr) continue;
      wire.Send({static_cast<const char*>(buffer.pvBuffer), buffer.cbBuffer});
      FreeContextBuffer(buffer.pvBuffer);
    }
    return status;
  }

  // Hands what was received to the handshake and keeps what it did not take.
  SECURITY_STATUS Negotiate(TlsWire& wire) {
    if (!begun_) return Call(wire, nullptr);
    std::array<SecBuffer, 2> buffers{BufferOf(SECBUFFER_TOKEN, inbox_.data(), inbox_.size()),
                                     BufferOf(SECBUFFER_EMPTY)};
    SecBufferDesc input = ListOf(buffers);
    const SECURITY_STATUS status = Call(wire, &input);
    if (status != SEC_E_INCOMPLETE_MESSAGE && status != SEC_I_INCOMPLETE_CREDENTIALS) {
      KeepLast(buffers[1].BufferType == SECBUFFER_EXTRA ? buffers[1].cbBuffer : 0);
    }
    return status;
  }

  // The library tells how much it did not take; it is the end of what it was given.
  void KeepLast(std::size_t count) { inbox_.Take(inbox_.size() - std::min(count, inbox_.size())); }

  TlsStep Establish() {
    if (const SECURITY_STATUS status = QueryContextAttributesW(&context_, SECPKG_ATTR_STREAM_SIZES, &sizes_);
        status != SEC_E_OK || sizes_.cbMaximumMessage == 0) {
      return Fail(status);
    }
    SecPkgContext_ConnectionInfo info{};
    if (const SECURITY_STATUS status = QueryContextAttributesW(&context_, SECPKG_ATTR_CONNECTION_INFO, &info);
        status != SEC_E_OK) {
      return Fail(status);
    }
    protocol_ = info.dwProtocol;
    established_ = true;
    return TlsStep::kDone;
  }

  // One record, in its place. Its text, if it has any, can be read until more is received.
  SECURITY_STATUS Decrypt() {
    std::array<SecBuffer, 4> buffers{BufferOf(SECBUFFER_DATA, inbox_.data(), inbox_.size()),
                                     BufferOf(SECBUFFER_EMPTY), BufferOf(SECBUFFER_EMPTY),
                                     BufferOf(SECBUFFER_EMPTY)};
    SecBufferDesc list = ListOf(buffers);
    const SECURITY_STATUS status = DecryptMessage(&context_, &list, 0, nullptr);
    if (status == SEC_E_INCOMPLETE_MESSAGE) return status;
    std::size_t extra = 0;
    for (const SecBuffer& buffer : buffers) {
      const bool decrypted = status == SEC_E_OK || status == SEC_I_RENEGOTIATE;
      if (buffer.BufferType == SECBUFFER_DATA && decrypted && buffer.pvBuffer != nullptr) {
        plain_ = {static_cast<const char*>(buffer.pvBuffer), buffer.cbBuffer};
      } else if (buffer.BufferType == SECBUFFER_EXTRA) {
        extra = buffer.cbBuffer;
      }
    }
    KeepLast(extra);
    return status;
  }

  // In TLS 1.3 the wish to negotiate is what a session ticket or a new key looks like (RFC 8446,
  // section 4.6). Older TLS means it, and is refused: nobody may change the connection under the mail.
  bool TakeTicket(TlsWire& wire) {
    if ((protocol_ & kTls13) == 0) {
      Fail(SEC_E_UNSUPPORTED_FUNCTION);
      return false;
    }
    if (inbox_.empty()) return true;
    const SECURITY_STATUS status = Negotiate(wire);
    ticket_begun_ = incomplete_ = status == SEC_E_INCOMPLETE_MESSAGE;
    if (ticket_begun_ || status == SEC_E_OK || status == SEC_I_CONTINUE_NEEDED) return true;
    Fail(status);
    return false;
  }

  const std::string host_;
  std::wstring server_name_;  // empty for an address
  std::unique_ptr<SchannelCredentials> credentials_;
  mutable CtxtHandle context_{};
  bool begun_ = false;  // context_ is one
  bool established_ = false;
  bool offered_nothing_ = false;
  bool ticket_begun_ = false;  // its rest has not come yet
  bool peer_closed_ = false;
  DWORD protocol_ = 0;
  SecPkgContext_StreamSizes sizes_{};
  SECURITY_STATUS failure_ = SEC_E_OK;
  TlsInbox inbox_{kInbox};
  bool incomplete_ = false;  // what is in the inbox is no whole record
  std::string_view plain_;   // decrypted in the inbox, not read yet
  std::string record_;       // to be sent
};

}  // namespace

std::unique_ptr<TlsEngine> MakeTlsEngine(const TlsOptions& options, std::unique_ptr<TlsSession> session) {
  auto engine = std::make_unique<Engine>(options);
  return engine->Make(std::move(session), options.pinned_fingerprint) ? std::move(engine) : nullptr;
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
