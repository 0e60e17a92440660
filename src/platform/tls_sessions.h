// SPDX-License-Identifier: MIT
#pragma once

// The TLS sessions of this process that a later connection may resume instead of exchanging keys and
// certificates again (RFC 5246 section 7.3, RFC 8446 section 2.2). They are kept in memory alone: one for
// each server, host name and pinned certificate, a limited number of them, for a day at most, and only while
// what the user trusts stays as it was. Whether a session is fit to be offered, by its certificate, is the
// engine's to say (tls_engine.h). Any thread.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quillbeaker {

// What an engine resumes from. Only the engine of the system it came from knows what is in it.
class TlsSession {
 public:
  virtual ~TlsSession() = default;
};

// A session is offered only to the server, for the name, and under the pin that it was made with.
struct TlsSessionKey {
  std::string server;  // "host:port"
  std::string host;    // that its certificate was checked for
  std::string pinned_fingerprint;
  bool operator==(const TlsSessionKey&) const = default;
};

class TlsSessions {
 public:
  using Moment = std::chrono::system_clock::time_point;
  static constexpr std::size_t kMost = 32;
  // RFC 5246, appendix F.1.4, suggests a day; RFC 8446, section 4.6.1, asks for such a limit also where one
  // resumed connection hands out the session of the next.
  static constexpr std::chrono::hours kLongestLife{24};

  // The clock is the wall's, since a computer that sleeps grows older, too.
  explicit TlsSessions(std::function<Moment()> now = [] { return std::chrono::system_clock::now(); });

  // To be called before each connection with anything that differs when the user has added, changed or
  // removed a trusted certificate (the text of the configuration's section). Another value than last time
  // drops every session, and those of connections that are open now will not be kept.
  void TrustIs(std::string_view state);
  std::size_t size() const;

  // A connection's right to keep a session when it is over.
  struct Claim {
    TlsSessionKey key;
    std::unique_ptr<TlsSession> session;  // to be offered; null when there is none
    Moment certified;                     // when the server last proved who it is for `session`
    Moment claimed;
    std::uint64_t era = 0;
  };
  // Hands the session out: it serves one connection at a time, and for TLS 1.3 one altogether (RFC 8446,
  // appendix C.4).
  Claim Take(TlsSessionKey key);
  // Keeps what a connection leaves behind; null for nothing. `resumed` says that the server proved nothing
  // anew.
  void Keep(const Claim& claim, std::unique_ptr<TlsSession> session, bool resumed);

 private:
  struct Kept {
    TlsSessionKey key;
    std::unique_ptr<TlsSession> session;
    Moment certified;
  };

  const std::function<Moment()> now_;
  mutable std::mutex mutex_;
  std::optional<std::string> trust_;
  std::uint64_t era_ = 0;   // counts the times that all were dropped
  std::vector<Kept> kept_;  // in the order in which they were kept
};

}  // namespace quillbeaker
