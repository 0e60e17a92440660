// SPDX-License-Identifier: MIT
#pragma once

// The part of TLS that differs between systems, as tls.cpp drives it: an engine that turns bytes into bytes
// and knows no socket. posix/tls.cpp and windows/tls.cpp each make one. For platform/ and its tests only:
// everyone else uses tls.h.

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/tls.h"

namespace quillbeaker {

// Bytes of text that one TLS record holds (RFC 8446, section 5.1).
inline constexpr std::size_t kTlsRecord = 16384;

enum class TlsStep { kDone, kNeedsBytes, kClosed, kFailed };

struct TlsVerdict {
  std::optional<CertificateInfo> certificate;
  std::string fault;     // what is wrong with it, one line; empty when it checks out
  bool aborted = false;  // `on_wait` gave up while an issuer's server was asked
};

class TlsEngine {
 public:
  virtual ~TlsEngine() = default;

  // Goes on with the handshake as far as what was received allows. Never kClosed.
  virtual TlsStep ShakeHands() = 0;
  // Once hands are shaken: decrypts into `buffer`; kDone with at least one byte in `count`, kClosed when the
  // peer said that it sends no more.
  virtual TlsStep Read(char* buffer, std::size_t capacity, std::size_t& count) = 0;
  // Encrypts at most kTlsRecord bytes.
  virtual bool Write(std::string_view bytes) = 0;
  // Tells the peer that no more is sent.
  virtual void CloseSending() = 0;

  virtual void TakeReceived(std::string_view bytes) = 0;
  // What is to be sent next, alerts included; nothing when all was taken.
  virtual std::string TakeOutgoing() = 0;
  // Why the last call failed, one line.
  virtual std::string Failure() = 0;

  // Chain, dates and name of the server's certificate, once hands are shaken. `on_wait` as in
  // SecureConnection.
  virtual TlsVerdict CheckCertificate(std::chrono::milliseconds period,
                                      const std::function<bool()>& on_wait) = 0;
};

// Null when the system gives none.
std::unique_ptr<TlsEngine> MakeTlsEngine(const TlsOptions& options);

using TlsClock = std::function<std::chrono::steady_clock::time_point()>;
// SecureConnection with an engine and a clock of the caller's.
TlsResult SecureWithEngine(std::shared_ptr<Connection> plain, std::unique_ptr<TlsEngine> engine,
                           const std::string& pinned_fingerprint, std::chrono::milliseconds period,
                           const std::function<bool()>& on_wait, const TlsClock& now);

// Whether a certificate's subjectAltName extension (its DER form, RFC 5280 section 4.2.1.6) names that host:
// a dNSName for a name, an iPAddress for an address. What cannot be read names nobody.
bool NamesHost(std::string_view alternative_names, std::string_view host);
// 64 lower-case digits of a SHA-256 digest.
std::string HexDigits(std::string_view bytes);

}  // namespace quillbeaker
