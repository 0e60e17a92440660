// SPDX-License-Identifier: MIT
#include "extras/account/account_check.h"

#include <optional>
#include <utility>
#include <vector>

#include "config/ascii.h"
#include "config/secret_masking.h"
#include "config/texts.h"
#include "config/trusted_certificates.h"
#include "extras/account/mail_client_settings.h"
#include "message/display_text.h"
#include "pop3/check_observer.h"
#include "pop3/local/command_arguments.h"
#include "pop3/upstream/message_listing.h"
#include "pop3/upstream/pop3_client.h"
#include "pop3/upstream/reply_parser.h"

namespace quillbeaker {
namespace {

constexpr std::size_t kMaxShownWords = 200;  // columns
constexpr int kMostCertificates = 3;         // that a server may show one after the other

struct Advice {
  LoginFailure failure;
  Text text;
};

constexpr Advice kAdvice[] = {
    {LoginFailure::kSecurityUnclear, Text::kAdviceSecurityUnclear},
    {LoginFailure::kOwnAddress, Text::kAdviceOwnAddress},
    {LoginFailure::kNameNotFound, Text::kAdviceNameNotFound},
    {LoginFailure::kNoSuchPort, Text::kAdviceTls},
    {LoginFailure::kNotReached, Text::kAdviceNotReached},
    {LoginFailure::kTimedOut, Text::kAdviceTimedOut},
    {LoginFailure::kTls, Text::kAdviceTls},
    {LoginFailure::kCertificate, Text::kAdviceCertificate},
    {LoginFailure::kGreeting, Text::kAdviceGreeting},
    {LoginFailure::kStartTlsRefused, Text::kAdviceStartTls},
    {LoginFailure::kUserRefused, Text::kAdviceUser},
    {LoginFailure::kPasswordRefused, Text::kAdvicePassword},
    {LoginFailure::kConnectionLost, Text::kAdviceConnectionLost},
};

std::string AdviceOn(LoginFailure failure) {
  for (const Advice& advice : kAdvice) {
    if (advice.failure == failure) return std::string(TextOf(advice.text));
  }
  return {};
}

// Nobody is told anything before the end, and a server that does not answer has failed.
class QuietObserver : public CheckObserver {
 public:
  explicit QuietObserver(const std::atomic<bool>& cancelled) : cancelled_(cancelled) {}

  void PortInUse() override {}
  void SessionBegins() override {}
  void SessionEnds(const CheckSummary&) override {}
  void WrongUserName() override {}
  void ShowTooltip(std::string_view) override {}
  void ShowStatus(std::string_view) override {}
  void ShowSpamCount(std::uint32_t) override {}
  void SetRange(std::uint64_t) override {}
  void SetPosition(std::uint64_t) override {}
  void Advance(std::uint64_t) override {}
  bool IsCancelled() override { return cancelled_; }
  void AskToAbort(const AskedServer&, std::function<void()> abort) override { abort(); }
  void AddDeleted(std::uint32_t) override {}
  void StoreChanged(const StoreChange&) override {}
  void MessageRefused(std::string_view, std::uint32_t, std::string_view) override {}
  void ServerGone(std::string_view) override {}
  void DeletionsUnconfirmed(std::string_view, std::uint32_t, std::string_view) override {}
  void MailNotKept(std::string_view, std::uint32_t, std::string_view) override {}
  void RestoredMailStays(std::string_view, std::uint32_t) override {}
  void ClientGaveUp(std::string_view, std::uint32_t, std::uint32_t) override {}

 private:
  const std::atomic<bool>& cancelled_;
};

// A response code of RFC 2449 at the beginning of a refusal.
bool HasCode(const LoginProblem& problem, std::string_view code) {
  const bool refused =
      problem.failure == LoginFailure::kUserRefused || problem.failure == LoginFailure::kPasswordRefused;
  return refused && StartsWithIgnoringCase(problem.detail, "-ERR " + std::string(code));
}

AccountOutcome OutcomeOf(const LoginProblem& problem) {
  if (HasCode(problem, "[IN-USE]")) return AccountOutcome::kInUse;
  if (HasCode(problem, "[LOGIN-DELAY]")) return AccountOutcome::kLoginDelay;
  return AccountOutcome::kFailed;
}

// What the mail program's USER and PASS cannot say must not work here. A password ends at its first blank
// there.
bool CanBePassedOn(const Account& account) {
  return JoinAccountName(account.server, account.user, account.port.value_or(kPop3Port)) &&
         !account.password.empty() && account.password.size() <= kMaxAccountField &&
         TextArgument(ArgumentsOf(account.password, 0)) == account.password;
}

bool EndedUnanswered(const Reply& reply) {
  return reply.status != ReplyStatus::kComplete && reply.status != ReplyStatus::kRefused && !reply.too_long;
}

void List(Pop3Client& client, const std::string& password, AccountResult& result) {
  Reply reply;
  if (client.Request("LIST", ReplyKind::kListing)) reply = client.Receive();
  if (EndedUnanswered(reply)) {
    const bool given_up = client.link().state() == ServerLink::State::kGivenUp;
    result.problem.failure = given_up ? LoginFailure::kTimedOut : LoginFailure::kConnectionLost;
    return;
  }
  result.outcome = AccountOutcome::kNotListed;
  // With a line end, so that its last letter is not taken for the password's first.
  const std::string masked = MaskPassword(reply.status_line + std::string(kLineEnd), password);
  result.words = FirstColumns(DisplayLine(masked.substr(0, masked.find(kLineEnd))), kMaxShownWords);
  if (!reply.positive()) return;
  if (const std::optional<std::vector<ListedMessage>> listed = ParseListReply(reply.body)) {
    result.outcome = AccountOutcome::kWorks;
    result.messages = static_cast<std::uint32_t>(listed->size());
  }
}

// A person who cancels does not wait for what the server has to say to QUIT.
void EndSession(Pop3Client& client, bool is_cancelled) {
  client.SendQuit();
  if (!is_cancelled) client.WaitForItsEnd();
  client.Close();
}

std::string NoteOnUnsaved(const AccountResult& result) {
  if (result.unsaved.empty()) return {};
  return "\n" + Format(Text::kSettingNotSaved, {DisplayLine(result.unsaved)});
}

}  // namespace

std::string DescribeResult(const AccountResult& result) {
  switch (result.outcome) {
    case AccountOutcome::kWorks:
      return Format(Text::kAccountWorks, {std::to_string(result.messages)});
    case AccountOutcome::kNotListed:
      return Format(Text::kAccountNotListed, {result.words.empty() ? "-" : result.words}) + "\n" +
             std::string(TextOf(Text::kAdviceNotListed));
    case AccountOutcome::kInUse:
      return Format(Text::kAccountInUse, {DisplayLine(result.problem.account)});
    case AccountOutcome::kLoginDelay:
      return DescribeProblem(result.problem) + "\n" + std::string(TextOf(Text::kAccountLoginDelay));
    case AccountOutcome::kFailed:
      return DescribeProblem(result.problem) + "\n" + AdviceOn(result.problem.failure) +
             NoteOnUnsaved(result);
    case AccountOutcome::kNoSuchEntry:
      return std::string(TextOf(Text::kNoAccountName));
    case AccountOutcome::kCancelled:
      return std::string(TextOf(Text::kAccountTestCancelled));
  }
  return {};
}

AccountResult AccountCheck::Run(Account account, const AskToTrust& ask) {
  AccountResult result;
  if (!CanBePassedOn(account)) {
    result.outcome = AccountOutcome::kNoSuchEntry;
  } else {
    result = LogInAndList(account);
    for (int asked = 0; asked < kMostCertificates && Trust(result, ask); ++asked) {
      result = LogInAndList(account);
    }
  }
  WipeSecret(account.password);
  if (cancelled_ && result.outcome != AccountOutcome::kWorks) result.outcome = AccountOutcome::kCancelled;
  return result;
}

AccountResult AccountCheck::LogInAndList(const Account& account) {
  QuietObserver observer(cancelled_);
  Watch watch(observer);
  Pop3Client client(program_, watch);
  LoginResult login =
      LogIn(program_, client, account, program_.Read(keys::kTimeout), program_.Read(keys::kPort));
  AccountResult result;
  result.port = login.port;
  result.problem = std::move(login.problem);
  if (login.logged_in) {
    List(client, account.password, result);
  } else {
    result.outcome = OutcomeOf(result.problem);
  }
  EndSession(client, cancelled_);
  return result;
}

bool AccountCheck::Trust(AccountResult& result, const AskToTrust& ask) {
  const LoginProblem& problem = result.problem;
  const bool is_trusted = result.outcome == AccountOutcome::kFailed &&
                          problem.failure == LoginFailure::kCertificate && problem.certificate && ask &&
                          ask(problem) && !cancelled_;
  if (!is_trusted) return false;
  if (TrustCertificate(program_, problem.server, problem.certificate->fingerprint)) return true;
  result.unsaved = program_.configuration.path();
  return false;
}

std::string NeedsAfterRefusal(const ProviderTable& providers, const std::string& server,
                              const std::string& user, const AccountResult& result) {
  const LoginFailure failure = result.problem.failure;
  if (result.outcome != AccountOutcome::kFailed ||
      (failure != LoginFailure::kUserRefused && failure != LoginFailure::kPasswordRefused)) {
    return {};
  }
  for (const ServerProposal& known : providers.Propose(user).servers) {
    if (EqualsIgnoringCase(known.server, server)) return DescribeNeeds(known);
  }
  return {};
}

bool MailChecksUse(const Program& program, const std::string& server, std::int32_t port, Security security) {
  const SecurityChoice choice = ChooseSecurity(program, server, port);
  return choice.address && choice.address->security == security;
}

bool KeepSecurity(Program& program, const std::string& server, std::int32_t port, Security security) {
  const SecurityChoice choice = ChooseSecurity(program, server, port, security);
  return choice.address && program.configuration.WriteString(sections::kSecurity, choice.address->Key(),
                                                             SecurityWord(security));
}

}  // namespace quillbeaker
