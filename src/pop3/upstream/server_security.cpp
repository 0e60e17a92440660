// SPDX-License-Identifier: MIT
#include "pop3/upstream/server_security.h"

#include <memory>
#include <string_view>
#include <utility>

#include "config/ascii.h"

namespace quillbeaker {
namespace {

constexpr std::pair<std::string_view, Security> kSecurityWords[] = {
    {"plain", Security::kPlain}, {"tls", Security::kTls}, {"starttls", Security::kStartTls}};

// One of the configuration's answers; nothing when the key is not there.
struct Setting {
  bool unclear = false;
  bool automatic = false;
  Security security = Security::kPlain;
};

std::optional<Setting> ReadSetting(const IniDocument& configuration, std::string_view section,
                                   std::string_view key) {
  const auto value = configuration.Find(section, key);
  if (!value) return std::nullopt;
  if (EqualsIgnoringCase(*value, "auto")) return Setting{.automatic = true};
  const std::optional<Security> security = SecurityOfWord(*value);
  return security ? Setting{.security = *security} : Setting{.unclear = true};
}

// An address may come in the brackets that URLs put around it.
std::string WithoutBrackets(const std::string& host) {
  const bool bracketed = host.size() > 2 && host.front() == '[' && host.back() == ']';
  return bracketed ? host.substr(1, host.size() - 2) : host;
}

Security ByPort(int port) {
  return port == kPop3TlsPort ? Security::kTls : Security::kPlain;
}

}  // namespace

std::string_view SecurityWord(Security security) {
  for (const auto& [word, named] : kSecurityWords) {
    if (named == security) return word;
  }
  return {};
}

std::optional<Security> SecurityOfWord(std::string_view word) {
  for (const auto& [name, security] : kSecurityWords) {
    if (EqualsIgnoringCase(name, word)) return security;
  }
  return std::nullopt;
}

SecurityChoice ChooseSecurity(const Program& program, const std::string& host,
                              std::optional<std::int32_t> given_port, std::optional<Security> wanted) {
  if (wanted) {
    const int port = given_port.value_or(*wanted == Security::kTls ? kPop3TlsPort : kPop3Port);
    return {ServerAddress{WithoutBrackets(host), port, *wanted}, {}};
  }
  const std::shared_ptr<const IniDocument> configuration = program.configuration.ReadOrNull();
  // Deliberate: everywhere else a configuration that cannot be read counts as empty. Here that would be a
  // password in clear on a connection that was to be secured.
  if (configuration == nullptr) return {std::nullopt, "a configuration file that cannot be read"};
  ServerAddress address{WithoutBrackets(host), given_port.value_or(kPop3Port)};

  const struct {
    std::string_view section;
    std::string key;
    bool names_port;
  } places[] = {{sections::kSecurity, address.Key(), true},
                {sections::kSecurity, address.KeyHost(), false},
                {keys::kSecurity.section, std::string(keys::kSecurity.name), false}};
  for (const auto& place : places) {
    const auto setting = ReadSetting(*configuration, place.section, place.key);
    if (!setting) continue;
    if (setting->unclear) {
      return {std::nullopt, place.key + "=" + std::string(*configuration->Find(place.section, place.key))};
    }
    if (setting->automatic) break;
    address.security = setting->security;
    if (setting->security == Security::kTls && !given_port && !place.names_port) {
      address.port = kPop3TlsPort;
    }
    return {address, {}};
  }
  address.security = ByPort(address.port);
  return {address, {}};
}

}  // namespace quillbeaker
