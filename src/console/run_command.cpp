// SPDX-License-Identifier: MIT
// `run`: the proxy in the foreground, until Ctrl+C.
#include <string>

#include "config/texts.h"
#include "console/commands.h"
#include "console/console_observer.h"
#include "platform/connection.h"
#include "platform/console.h"
#include "pop3/housekeeping.h"
#include "pop3/mail_proxy.h"

namespace quillbeaker {
namespace {

void Say(Text text) {
  WriteStandardOutput(std::string(EnglishText(text)) + "\n");
}

}  // namespace

int RunProxy(Program& program, const RunOptions& options) {
  ConsoleObserver observer(program);
  MailProxy proxy(program, observer);
  OnInterrupt([&proxy] { proxy.Stop(); });
  if (!StartNetworking()) {
    observer.PortInUse();
    return kExitFailed;
  }
  PrepareStores(program, {.taking_in_messages = [] { Say(Text::kTakingInMessages); },
                          .spam_words_converted = [] { Say(Text::kSpamWordsConverted); }});
  const int port = options.port.value_or(program.Read(keys::kPort));
  if (!proxy.Listen(port)) {
    return kExitFailed;
  }
  WriteStandardOutput(Format(Text::kListening, {std::to_string(port)}) + "\n");
  proxy.Serve();
  return kExitDone;
}

}  // namespace quillbeaker
