// SPDX-License-Identifier: MIT
#include "console/mail_files.h"

#include <string_view>
#include <utility>

#include "config/texts.h"
#include "message/display_text.h"
#include "message/line_ends.h"
#include "platform/console.h"
#include "platform/files.h"

namespace quillbeaker {
namespace {

std::string_view WithoutMboxLine(std::string_view text) {
  if (!text.starts_with("From ")) {
    return text;
  }
  const std::size_t end = text.find('\n');
  return end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
}

// RFC 5322 wants CR LF. Without a single one the whole file would be one line, and every header field lost.
bool HasBareLineFeedsOnly(std::string_view text) {
  return text.find('\n') != std::string_view::npos && text.find("\r\n") == std::string_view::npos;
}

}  // namespace

std::optional<std::string> ReadMailFile(const std::string& path, bool crlf) {
  std::optional<std::string> text = ReadWholeFile(path);
  if (text && crlf) {
    return WithCrLf(WithoutMboxLine(*text));
  }
  return text;
}

int ForEachMailFile(const MailFileOptions& options,
                    const std::function<void(const std::string& file, const MailMessage* message)>& visit) {
  int exit_code = kExitDone;
  MailMessage message;
  bool has_warned = false;
  for (const std::string& file : options.files) {
    std::optional<std::string> text = ReadMailFile(file, options.crlf);
    if (!text) {
      visit(file, nullptr);
      exit_code = kExitFailed;
      continue;
    }
    if (!has_warned && !options.crlf && HasBareLineFeedsOnly(*text)) {
      WriteStandardError(Format(Text::kBareLineFeeds, {DisplayLine(file)}) + "\n");
      has_warned = true;
    }
    message.ParseText(std::move(*text));
    visit(file, &message);
  }
  return exit_code;
}

}  // namespace quillbeaker
