// SPDX-License-Identifier: MIT
#pragma once

// Message files as the terminal's commands read them.

#include <functional>
#include <optional>
#include <string>

#include "console/options.h"
#include "message/mail_message.h"

namespace quillbeaker {

// The file's bytes; with `crlf` each bare LF becomes CR LF and a leading mbox "From " line goes. Nothing when
// unreadable.
std::optional<std::string> ReadMailFile(const std::string& path, bool crlf);

// Parses each file in turn into the same record and hands it to `visit`; null for a file that cannot be read.
// The person is warned of the first file that needs `crlf` and is read without it.
// The exit code: failed when one could not.
int ForEachMailFile(const MailFileOptions& options,
                    const std::function<void(const std::string& file, const MailMessage* message)>& visit);

}  // namespace quillbeaker
