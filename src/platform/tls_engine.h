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

// The peer as an engine sees it. Engines receive straight into the buffer that they decrypt from.
class TlsWire {
 public:
  virtual ~TlsWire() = default;
  // kTimedOut says that nothing more is to be had for now: the engine answers kNeedsBytes and goes on at the
  // next call. kClosed and kFailed last.
  virtual IoResult Receive(char* buffer, std::size_t capacity) = 0;
  // Gathers what is to be sent; it goes out before anything is waited for.
  virtual void Send(std::string_view bytes) = 0;
};

enum class TlsStep { kDone, kNeedsBytes, kClosed, kFailed };

struct TlsVerdict {
  std::optional<CertificateInfo> certificate;
  std::string fault;     // what is wrong with it, one line; empty when it checks out
  bool aborted = false;  // `on_wait` gave up while an issuer's server was asked
};

// Whether a connection may go on under that verdict: nothing is wrong with the certificate, or it is the
// pinned one.
bool IsAccepted(const TlsVerdict& verdict, const std::string& pinned_fingerprint);

class TlsEngine {
 public:
  virtual ~TlsEngine() = default;

  // Goes on with the handshake as far as what is received allows. Never kClosed.
  virtual TlsStep ShakeHands(TlsWire& wire) = 0;
  // Once hands are shaken: decrypts one record into `buffer`; kDone with at least one byte in `count`,
  // kClosed when the peer said that it sends no more.
  virtual TlsStep Read(TlsWire& wire, char* buffer, std::size_t capacity, std::size_t& count) = 0;
  // Encrypts at most kTlsRecord bytes, which are one record.
  virtual bool Write(TlsWire& wire, std::string_view bytes) = 0;
  // Tells the peer that no more is sent.
  virtual void CloseSending(TlsWire& wire) = 0;
  // Why the last call failed, one line.
  virtual std::string Failure() = 0;

  // Chain, dates and name of the server's certificate, once hands are shaken; the same for a session that was
  // resumed. `on_wait` as in SecureConnection.
  virtual TlsVerdict CheckCertificate(std::chrono::milliseconds period,
                                      const std::function<bool()>& on_wait) = 0;

  // Whether the handshake resumed the session that the engine was made with.
  virtual bool IsResumed() const = 0;
  // What a later connection can resume; null when there is nothing. Once, when the connection is over and
  // nothing was wrong with it.
  virtual std::unique_ptr<TlsSession> TakeSession() = 0;
};

// Null when the system gives none. The session (null for none) is offered to the server when its certificate
// would be accepted today.
std::unique_ptr<TlsEngine> MakeTlsEngine(const TlsOptions& options, std::unique_ptr<TlsSession> session);

using TlsClock = std::function<std::chrono::steady_clock::time_point()>;
// Where a connection's session goes when it is over; nowhere without `sessions`.
struct TlsLegacy {
  std::shared_ptr<TlsSessions> sessions;
  TlsSessions::Claim claim;
  bool resumed = false;
};
// SecureConnection with an engine and a clock of the caller's.
TlsResult SecureWithEngine(std::shared_ptr<Connection> plain, std::unique_ptr<TlsEngine> engine,
                           const std::string& pinned_fingerprint, std::chrono::milliseconds period,
                           const std::function<bool()>& on_wait, const TlsClock& now, TlsLegacy legacy = {});

// Whether a certificate's subjectAltName extension (its DER form, RFC 5280 section 4.2.1.6) names that host:
// a dNSName for a name, an iPAddress for an address. What cannot be read names nobody.
bool NamesHost(std::string_view alternative_names, std::string_view host);
// 64 lower-case digits of a SHA-256 digest.
std::string HexDigits(std::string_view bytes);

}  // namespace quillbeaker
