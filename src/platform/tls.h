// SPDX-License-Identifier: MIT
#pragma once

// TLS (1.2 or newer) over a connection that stands already. OpenSSL on Linux, the system's own on Windows;
// both use the system's trust store. Nothing is received or sent through the secured connection before the
// handshake is over and the certificate has been checked: chain, dates and host name (RFC 6125; RFC 2595
// section 2.4).

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/connection.h"
#include "platform/tls_sessions.h"

namespace quillbeaker {

// What a server's certificate says of itself: hostile text, control characters removed, UTF-8.
struct CertificateInfo {
  std::string subject;
  std::string issuer;
  std::string valid_from;  // "2026-01-31", UTC
  std::string valid_until;
  std::string fingerprint;  // SHA-256 of the certificate's DER form, 64 lower-case hexadecimal digits
};

enum class TlsStatus {
  kEstablished,
  kHandshakeFailed,  // the peer speaks no TLS, too old a TLS, or closed
  kRejected,         // the certificate does not check out
  kAborted,          // `on_wait` gave up, or the connection was aborted
};

struct TlsResult {
  TlsStatus status = TlsStatus::kHandshakeFailed;
  std::shared_ptr<Connection> connection;      // set only when established
  std::string reason;                          // why not, one line for a log and a person
  std::optional<CertificateInfo> certificate;  // of the server, as soon as it was seen
  bool pinned = false;                         // accepted only because it is the pinned one
  bool resumed = false;                        // the certificate is that of an earlier connection
};

struct TlsOptions {
  // Name or address (no brackets) that the certificate must be for. A name goes into SNI; an address does
  // not, and is matched against iPAddress entries alone.
  std::string host;
  // Fingerprint of a certificate that is accepted whatever is wrong with it; empty when there is none. A
  // chain that checks out is accepted beside it.
  std::string pinned_fingerprint;
  // Where sessions are taken from and kept; null resumes nothing. Shared, since the connection keeps its
  // session when it is closed, whoever closes it.
  std::shared_ptr<TlsSessions> sessions = nullptr;
  std::string server = {};  // "host:port", which tells the servers of one name apart; only for `sessions`
};

// Shakes hands over `plain`, which must not be used by anybody else from now on, its Abort aside. `on_wait`
// is called whenever `period` has passed without an answer and says whether to go on. Aborting the secured
// connection shuts the socket down and sends nothing. Any thread, one at a time.
//
// A kept session is offered only while its certificate's dates and name, or the pin, would be accepted today.
// A server that does not resume it shakes hands in full. The whole certificate is judged either way.
//
// Each Receive of the secured connection gives as much text as has come and fits; all that one Send is given
// goes out in as few records as can hold it.
TlsResult SecureConnection(std::shared_ptr<Connection> plain, const TlsOptions& options,
                           std::chrono::milliseconds period, const std::function<bool()>& on_wait);

// Whether a certificate's name entry (a dNSName, RFC 6125 section 6.4: "*" may stand for the whole leftmost
// label) is the host's. Not for addresses.
bool MatchesHostName(std::string_view entry, std::string_view host);
// The address as the 4 or 16 bytes of an iPAddress entry, nothing when `host` is none.
std::optional<std::string> AddressBytes(std::string_view host);

}  // namespace quillbeaker
