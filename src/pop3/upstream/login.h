// SPDX-License-Identifier: MIT
#pragma once

// From a server's name to a session that it accepts: connection, greeting, STLS where it is asked for, USER
// and PASS (RFC 1939, RFC 2595).

#include <cstdint>
#include <optional>
#include <string>

#include "config/program.h"
#include "pop3/login_problem.h"
#include "pop3/upstream/pop3_client.h"
#include "pop3/upstream/server_security.h"

namespace quillbeaker {

struct Account {
  std::string server;                // host name or address
  std::optional<std::int32_t> port;  // as the mail client's user name gives it, if it does
  std::string user;
  std::string password;
  std::optional<Security> security = std::nullopt;  // chosen by the person; else the configuration says

  // "user @ server", as the recycle bin stores it.
  std::string Key() const { return user + " @ " + server; }
};

struct LoginResult {
  bool logged_in = false;
  LoginProblem problem;     // why not; kNone where it was the mail program or the person that ended it
  bool pipelining = false;  // the server may be sent commands ahead (RFC 2449, section 6.6)
  std::int32_t port = 0;    // that was connected to; 0 when none was chosen
};

// Opens server.log and leaves the client logged in. On failure after the connection was made it stays open,
// unless nothing more may be said on it. `timeout_seconds` watches this and every later wait; below 1 it
// counts as 60, above 1000 as 1000. `own_port` is the port that this program listens on, 0 for none.
LoginResult LogIn(Program& program, Pop3Client& client, const Account& account, std::int32_t timeout_seconds,
                  int own_port);

}  // namespace quillbeaker
