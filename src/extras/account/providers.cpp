// SPDX-License-Identifier: MIT
#include "extras/account/providers.h"

#include <algorithm>
#include <utility>

#include "config/ascii.h"
#include "config/leading_integer.h"
#include "config/texts.h"
#include "message/display_text.h"
#include "platform/files.h"

namespace quillbeaker {
namespace {

constexpr std::uint64_t kMostBytes = std::uint64_t{1} << 20;
constexpr std::size_t kMostSourceBytes = 400;
constexpr std::size_t kMostDomainBytes = 253;  // RFC 1035, section 2.3.4
constexpr std::size_t kMostServerBytes = 79;   // that the user name of a mail program can hold
constexpr std::string_view kDomains = "DOMAINS";

bool IsNameByte(char c) {
  return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '.';
}

// Letters, digits, hyphens and dots, no label empty.
bool IsHostName(std::string_view name) {
  return !name.empty() && name.size() <= kMostDomainBytes &&
         std::all_of(name.begin(), name.end(), IsNameByte) && name.front() != '.' && name.back() != '.' &&
         name.front() != '-' && name.find("..") == std::string_view::npos;
}

std::string BytesOf(const std::string& path) {
  const std::optional<std::uint64_t> size = FileSize(path);
  if (!size || *size > kMostBytes) return {};
  return ReadWholeFile(path).value_or(std::string());
}

std::string_view ValueOf(const IniDocument& document, std::string_view section, std::string_view key) {
  return document.Find(section, key).value_or(std::string_view());
}

bool Needs(std::string_view list, std::string_view what) {
  while (!list.empty()) {
    const std::size_t comma = std::min(list.find(','), list.size());
    if (EqualsIgnoringCase(TrimBlanks(list.substr(0, comma)), what)) return true;
    list.remove_prefix(std::min(comma + 1, list.size()));
  }
  return false;
}

ServerProposal Guess(std::string_view prefix, const std::string& domain) {
  ServerProposal guess;
  guess.server = std::string(prefix) + domain;
  return guess;
}

}  // namespace

std::string DescribeNeeds(const ServerProposal& proposal) {
  const std::pair<bool, Text> needs[] = {{proposal.needs_enabling, Text::kNeedsEnabling},
                                         {proposal.needs_app_password, Text::kNeedsAppPassword},
                                         {proposal.needs_oauth, Text::kNeedsOauth}};
  std::string lines;
  for (const auto& [needed, text] : needs) {
    if (needed) lines.append(TextOf(text)).append("\n");
  }
  return lines;
}

ProviderTable::ProviderTable(const Program& program)
    : ProviderTable(BytesOf(program.PathOf(kProvidersFile)), ShippedProviders()) {}

ProviderTable::ProviderTable(std::string_view own, std::string_view shipped) : own_(own), shipped_(shipped) {}

// Deliberate: a row with a word that is not known, for its security say, is none at all: nothing weaker shall
// be proposed than what its author meant.
std::optional<ProviderTable::Row> ProviderTable::ReadRow(const IniDocument& document,
                                                         std::string_view section) {
  const std::optional<std::string_view> server = document.Find(section, "Server");
  if (!server) return std::nullopt;
  Row row;
  ServerProposal& proposal = row.proposal;
  proposal.source = FirstColumns(DisplayLine(ValueOf(document, section, "Source")), kMostSourceBytes);
  proposal.tried = StartsWithIgnoringCase(ValueOf(document, section, "Tried"), "yes");
  if (server->empty()) {
    row.no_pop3 = true;
    return row;
  }
  proposal.server = LowerAscii(*server);
  if (!IsHostName(proposal.server) || proposal.server.size() > kMostServerBytes) return std::nullopt;
  const std::optional<Security> security = SecurityOfWord(ValueOf(document, section, "Security"));
  if (!security) return std::nullopt;
  proposal.security = *security;
  const std::string_view port = ValueOf(document, section, "Port");
  proposal.port = LeadingInteger<std::int32_t>(port);
  if (proposal.port < 1 || proposal.port > 65535 || std::to_string(proposal.port) != port)
    return std::nullopt;
  const std::string_view needs = ValueOf(document, section, "Needs");
  proposal.needs_enabling = Needs(needs, "enable");
  proposal.needs_app_password = Needs(needs, "app-password");
  proposal.needs_oauth = Needs(needs, "oauth");
  return row;
}

std::optional<ProviderTable::Row> ProviderTable::Find(std::string_view domain) const {
  for (const IniDocument* const domains : {&own_, &shipped_}) {
    const std::optional<std::string_view> provider = domains->Find(kDomains, domain);
    if (!provider || EqualsIgnoringCase(*provider, kDomains)) continue;
    for (const IniDocument* const rows : {&own_, &shipped_}) {
      if (const std::optional<Row> row = ReadRow(*rows, *provider)) return row;
    }
  }
  return std::nullopt;
}

Proposals ProviderTable::Propose(std::string_view address) const {
  const std::optional<std::string> domain = DomainOf(address);
  if (!domain) return {};
  Proposals proposals;
  if (const std::optional<Row> row = Find(*domain)) {
    proposals.no_pop3 = row->no_pop3;
    if (!row->no_pop3) proposals.servers.push_back(row->proposal);
    return proposals;
  }
  for (const std::string_view prefix : {"pop.", "mail."}) {
    if (domain->size() + prefix.size() > kMostServerBytes) continue;
    proposals.servers.push_back(Guess(prefix, *domain));
  }
  return proposals;
}

std::optional<std::string> DomainOf(std::string_view address) {
  const std::size_t at = address.rfind('@');
  if (at == std::string_view::npos) return std::nullopt;
  std::string domain = LowerAscii(TrimBlanks(address.substr(at + 1)));
  if (domain.ends_with('.')) domain.pop_back();
  if (!IsHostName(domain) || domain.find('.') == std::string::npos) return std::nullopt;
  return domain;
}

}  // namespace quillbeaker
