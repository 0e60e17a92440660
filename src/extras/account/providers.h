// SPDX-License-Identifier: MIT
#pragma once

// Which POP3 server an e-mail address most likely belongs to: from the table of providers that is linked into
// the program (resources/providers.ini), from a file of that name beside the program, which adds to it and
// overrides it, else by guessing.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "config/ini_document.h"
#include "config/program.h"
#include "pop3/upstream/server_security.h"

namespace quillbeaker {

inline constexpr std::string_view kProvidersFile = "providers.ini";

struct ServerProposal {
  std::string server;
  std::int32_t port = kPop3TlsPort;
  Security security = Security::kTls;
  bool needs_enabling = false;
  bool needs_app_password = false;
  bool needs_oauth = false;
  std::string source;  // where the row comes from, UTF-8; empty of a guess
  bool tried = false;  // somebody has seen a login work

  bool operator==(const ServerProposal&) const = default;
};

struct Proposals {
  bool no_pop3 = false;                 // the provider is known and has none
  std::vector<ServerProposal> servers;  // the most likely first
};

// What the provider wants besides server, name and password: for the person, UTF-8, one line for each. Empty
// when there is nothing.
std::string DescribeNeeds(const ServerProposal& proposal);

class ProviderTable {
 public:
  // What is linked into the program and, where it exists, the file beside it. One that cannot be read, or is
  // larger than a megabyte, counts as empty.
  explicit ProviderTable(const Program& program);
  // Any bytes: what is no sensible row is none.
  ProviderTable(std::string_view own, std::string_view shipped);

  // For an address, or what was typed of it. Nothing without a domain that can stand in a server's name.
  Proposals Propose(std::string_view address) const;

 private:
  struct Row {
    ServerProposal proposal;
    bool no_pop3 = false;
  };
  static std::optional<Row> ReadRow(const IniDocument& document, std::string_view section);
  std::optional<Row> Find(std::string_view domain) const;

  IniDocument own_;
  IniDocument shipped_;
};

// What stands behind the last "@", in small letters; nothing where that is no name of the Internet.
std::optional<std::string> DomainOf(std::string_view address);

// The bytes of resources/providers.ini.
std::string_view ShippedProviders();

}  // namespace quillbeaker
