// SPDX-License-Identifier: MIT
#pragma once

// The POP3 commands (RFC 1939) as the mail client sees them: recognises each and carries it out on the
// session. There is no authorisation state: before a login the commands find an empty mailbox.

#include <string_view>

namespace quillbeaker {

class ClientSession;

enum class CommandResult { kGoOn = 0, kEndSession = 1, kUnknown = -1 };

// `command` is what one receive gave. Only its beginning is compared, without regard to case, so that
// "STATUS" is STAT.
CommandResult Dispatch(ClientSession& session, std::string_view command);

}  // namespace quillbeaker
