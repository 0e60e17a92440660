// SPDX-License-Identifier: MIT
#pragma once

// How the connection to a server is secured, as the configuration says: first the server with its port, then
// the server, then the general setting, else by the port. Never anything weaker than what was asked for.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "config/program.h"

namespace quillbeaker {

enum class Security {
  kPlain,
  kTls,       // from the first byte (RFC 8314)
  kStartTls,  // STLS before anything else (RFC 2595), required
};

inline constexpr int kPop3Port = 110;
inline constexpr int kPop3TlsPort = 995;

struct ServerAddress {
  std::string host;  // name or address, without brackets
  int port = kPop3Port;
  Security security = Security::kPlain;

  // "host:port", as the configuration names it; an IPv6 address has no brackets there.
  std::string Key() const { return KeyHost() + ":" + std::to_string(port); }
  // The host alone. A name with the root's dot behind it is the same server: nothing weaker is to be had by a
  // dot.
  std::string KeyHost() const { return host.ends_with('.') ? host.substr(0, host.size() - 1) : host; }
};

struct SecurityChoice {
  std::optional<ServerAddress> address;  // nothing when the configuration is unclear
  std::string unclear;                   // "key=value" that says nothing we know
};

// `given_port` is what the mail client's user name says, if anything. A server that is to be kTls without a
// port of its own is reached on 995. With `wanted` the configuration is not asked: the person has chosen.
SecurityChoice ChooseSecurity(const Program& program, const std::string& host,
                              std::optional<std::int32_t> given_port,
                              std::optional<Security> wanted = std::nullopt);

// As the configuration and the command line name it: "plain", "tls", "starttls"; nothing for another word.
std::string_view SecurityWord(Security security);
std::optional<Security> SecurityOfWord(std::string_view word);

}  // namespace quillbeaker
