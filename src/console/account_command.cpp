// SPDX-License-Identifier: MIT
// `account test`: whether an account can be logged in to, and if not, which step failed.
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "config/ascii.h"
#include "config/secret_masking.h"
#include "config/texts.h"
#include "console/commands.h"
#include "extras/account/account_check.h"
#include "extras/account/mail_client_settings.h"
#include "extras/account/providers.h"
#include "message/display_text.h"
#include "platform/connection.h"
#include "platform/console.h"

namespace quillbeaker {
namespace {

// False when there is none.
bool ReadPassword(Account& account, bool from_input) {
  if (!from_input && !StandardInputIsTerminal()) return false;
  std::optional<std::string> typed = ReadSecretLine(
      from_input ? std::string() : Format(Text::kPasswordPrompt, {DisplayLine(account.Key())}) + " ");
  if (!typed) return false;
  account.password = std::move(*typed);
  WipeSecret(*typed);  // a short text is copied when it is moved
  return !account.password.empty();
}

bool AskToTrust(const LoginProblem& problem) {
  if (!StandardInputIsTerminal() || !StandardOutputIsTerminal()) return false;
  WriteStandardOutput(TrustQuestion(problem) + "\n" + std::string(TextOf(Text::kTrustKeys)) + "\n");
  const std::optional<std::string> answer = ReadStandardInputLine();
  return answer && (answer->starts_with('y') || answer->starts_with('Y'));
}

// What to do with an account that works.
int ReportSuccess(Program& program, const AccountOptions& options, std::int32_t port) {
  if (options.keep_security && !KeepSecurity(program, options.server, port, *options.security)) {
    WriteStandardError(std::string(TextOf(Text::kNotSaved)) + "\n");
    return kExitFailed;
  }
  const auto settings = SettingsOfMailClient(program, options.server, options.user, port);
  if (settings) {
    WriteStandardOutput(Format(Text::kMailProgramSettings, {settings->server, std::to_string(settings->port),
                                                            DisplayLine(settings->user_name)}) +
                        "\n");
  }
  return kExitDone;
}

}  // namespace

int TestAccount(Program& program, const AccountOptions& options) {
  Account account{options.server, options.port, options.user, {}, options.security};
  if (!ReadPassword(account, options.password_from_input)) {
    WriteStandardError(std::string(TextOf(Text::kPasswordMissing)) + "\n");
    return kExitFailed;
  }
  // Shared with the thread of Ctrl+C, which may still be in Cancel when Run has returned already.
  const auto check = std::make_shared<AccountCheck>(program);
  OnInterrupt([interrupted = std::weak_ptr<AccountCheck>(check)] {
    if (const auto alive = interrupted.lock()) alive->Cancel();
  });
  StartNetworking();
  const AccountResult result = check->Run(std::move(account), AskToTrust);
  WipeSecret(account.password);  // a short text is copied when it is moved
  const std::string lines = DescribeResult(result) + "\n";
  if (result.outcome != AccountOutcome::kWorks) {
    WriteStandardError(lines +
                       NeedsAfterRefusal(ProviderTable(program), options.server, options.user, result));
    return kExitFailed;
  }
  WriteStandardOutput(lines);
  return ReportSuccess(program, options, result.port);
}

}  // namespace quillbeaker
