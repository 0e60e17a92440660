// SPDX-License-Identifier: MIT
#include "extras/account/mail_client_settings.h"

#include <algorithm>

#include "pop3/local/command_arguments.h"

namespace quillbeaker {
namespace {

// A mail program sends it in a line of words, and some put a name with other bytes into quotation marks.
bool CanBeSent(std::string_view field) {
  const auto is_bad = [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte <= 0x20 || byte == 0x7F;
  };
  return !field.empty() && std::none_of(field.begin(), field.end(), is_bad);
}

void AppendDoubled(std::string_view field, std::string& name) {
  for (const char c : field) name.append(c == '&' ? 2 : 1, c);
}

}  // namespace

std::optional<std::string> JoinAccountName(std::string_view server, std::string_view user,
                                           std::int32_t port) {
  if (!CanBeSent(server) || !CanBeSent(user) || port < 1 || port > 65535) return std::nullopt;
  std::string name;
  AppendDoubled(server, name);
  name += '&';
  AppendDoubled(user, name);
  name += '&' + std::to_string(port);
  // The reader decides: where it reads anything else, the name would log in to somewhere else.
  const std::optional<AccountName> read = SplitAccountName(name);
  if (!read || read->server != server || read->user != user || read->port != port) return std::nullopt;
  return name;
}

std::optional<MailClientSettings> SettingsOfMailClient(const Program& program, std::string_view server,
                                                       std::string_view user, std::int32_t port) {
  std::optional<std::string> name = JoinAccountName(server, user, port);
  if (!name) return std::nullopt;
  return MailClientSettings{"127.0.0.1", program.Read(keys::kPort), std::move(*name)};
}

}  // namespace quillbeaker
