// SPDX-License-Identifier: MIT
#pragma once

// What a person types into the mail program so that an account is fetched through this one.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "config/program.h"

namespace quillbeaker {

// "server&user&port" with every "&" of a field doubled: what SplitAccountName takes apart again. Nothing
// where no name can say it: a field is empty, longer than 79 bytes or has white space or control bytes in it,
// the user begins with "&" and has more behind it (it would be the server's end), or the port is none.
std::optional<std::string> JoinAccountName(std::string_view server, std::string_view user, std::int32_t port);

struct MailClientSettings {
  std::string server;     // this computer
  std::int32_t port = 0;  // that this program listens on
  std::string user_name;  // without encryption, always: nothing of it leaves the computer
};

// Nothing where JoinAccountName gives nothing.
std::optional<MailClientSettings> SettingsOfMailClient(const Program& program, std::string_view server,
                                                       std::string_view user, std::int32_t port);

}  // namespace quillbeaker
