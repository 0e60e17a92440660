// SPDX-License-Identifier: MIT
// `run`: the proxy in the foreground, until Ctrl+C.
#include <memory>
#include <string>

#include "config/texts.h"
#include "config/writable_directories.h"
#include "console/commands.h"
#include "console/console_observer.h"
#include "extras/port_notice.h"
#include "extras/store_preparation.h"
#include "message/display_text.h"
#include "platform/connection.h"
#include "platform/console.h"
#include "pop3/local/mail_proxy.h"

namespace quillbeaker {
namespace {

void Say(Text text) {
  WriteStandardOutput(std::string(TextOf(text)) + "\n");
}

// What text 1 leaves out: which port it was, and how a person without a settings dialog takes another one.
std::string AdviceOnPort(int port) {
  if (!IsPort(port)) return DescribePortOutOfRange(port);
  constexpr int kFirstPortOfOrdinaryUsers = 1024;
  const std::string number = std::to_string(port);
  std::string text = Format(Text::kPortAdvice, {number});
  if (port < kFirstPortOfOrdinaryUsers) text += "\n" + std::string(TextOf(Text::kPortNeedsRights));
  return text;
}

// Mail that cannot be kept stays on the server, so the mail check may go on.
void WarnOfReadOnlyDirectory(const Program& program) {
  const std::string directory = UnwritableDirectory(program);
  if (directory.empty()) return;
  WriteStandardError(Format(Text::kDirectoryNotWritable, {DisplayLine(directory)}) + "\n");
}

}  // namespace

int RunProxy(Program& program, const RunOptions& options) {
  ConsoleObserver observer(program);
  // Shared with the thread of Ctrl+C, which may still be in Stop when Serve has returned already.
  const auto proxy = std::make_shared<MailProxy>(program, observer);
  OnInterrupt([interrupted = std::weak_ptr<MailProxy>(proxy)] {
    if (const auto alive = interrupted.lock()) {
      alive->Stop();
    }
  });
  if (!StartNetworking()) {
    observer.PortInUse();
    return kExitFailed;
  }
  PrepareStores(program, {.taking_in_messages = [] { Say(Text::kTakingInMessages); },
                          .spam_words_converted = [] { Say(Text::kSpamWordsConverted); }});
  WarnOfReadOnlyDirectory(program);
  const int port = options.port.value_or(program.Read(keys::kPort));
  if (!proxy->Listen(port)) {
    WriteStandardOutput(AdviceOnPort(port) + "\n");
    return kExitFailed;
  }
  WriteStandardOutput(Format(Text::kListening, {std::to_string(port)}) + "\n");
  if (!proxy->Serve()) {
    WriteStandardError(std::string(TextOf(Text::kNoMoreClients)) + "\n");
    return kExitFailed;
  }
  return kExitDone;
}

}  // namespace quillbeaker
