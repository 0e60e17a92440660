// SPDX-License-Identifier: MIT
#include "ui/presenter/account_window.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "config/ascii.h"
#include "config/secret_masking.h"
#include "config/settings.h"
#include "config/texts.h"
#include "extras/port_notice.h"
#include "message/display_text.h"
#include "ui/resource.h"

namespace quillbeaker {
namespace {

struct SecurityChoiceRow {
  Security security;
  Text text;
};

// In the order of the list.
constexpr SecurityChoiceRow kSecurities[] = {{Security::kTls, Text::kSecurityTls},
                                             {Security::kStartTls, Text::kSecurityStartTls},
                                             {Security::kPlain, Text::kSecurityNone}};

struct MailProgramRow {
  Text name;
  Text steps;
};

constexpr MailProgramRow kMailPrograms[] = {{Text::kMailProgramThunderbird, Text::kStepsThunderbird},
                                            {Text::kMailProgramOutlook, Text::kStepsOutlook},
                                            {Text::kMailProgramEmClient, Text::kStepsEmClient},
                                            {Text::kMailProgramOther, Text::kStepsOther}};

// A field, and the button that copies it.
constexpr std::pair<int, int> kCopied[] = {{ACCOUNT_LOCAL_SERVER, ACCOUNT_COPY_SERVER},
                                           {ACCOUNT_LOCAL_PORT, ACCOUNT_COPY_PORT},
                                           {ACCOUNT_LOCAL_USER, ACCOUNT_COPY_USER}};

// What a test uses and must not change under it.
constexpr int kEntries[] = {ACCOUNT_USER, ACCOUNT_SERVER,   ACCOUNT_PORT, ACCOUNT_SECURITY,
                            ACCOUNT_KEEP, ACCOUNT_PASSWORD, ACCOUNT_TEST};

constexpr std::size_t kMostCharacters = 79;  // of a field, in the mail program's user name
constexpr std::size_t kPortDigits = 5;

int PlaceOf(Security security) {
  for (std::size_t i = 0; i < std::size(kSecurities); ++i) {
    if (kSecurities[i].security == security) return static_cast<int>(i);
  }
  return 0;
}

std::int32_t UsualPort(Security security) {
  return security == Security::kTls ? kPop3TlsPort : kPop3Port;
}

// Edit fields of several lines want both characters at a line's end.
std::string WithLineEnds(std::string_view text) {
  std::string lines;
  for (const char c : text) {
    if (c == '\n') lines += '\r';
    lines += c;
  }
  while (lines.ends_with('\n') || lines.ends_with('\r')) lines.pop_back();
  return lines;
}

std::string Line(Text text) {
  return std::string(TextOf(text)) + "\n";
}

// What is to be known of a proposal before it is tried.
std::string NoteOn(const ServerProposal& proposal) {
  std::string note = DescribeNeeds(proposal);
  if (proposal.source.empty()) return note + Line(Text::kProposalGuessed);
  if (proposal.tried) return note;
  return note + Format(Text::kProposalUntried, {proposal.source}) + "\n";
}

}  // namespace

AccountPresenter::AccountPresenter(AccountSurroundings surroundings, PageView& view)
    : surroundings_(std::move(surroundings)), view_(view), providers_(surroundings_.program) {}

void AccountPresenter::Load() {
  is_filling_ = true;
  view_.LimitText(ACCOUNT_USER, kMostCharacters, false);
  view_.LimitText(ACCOUNT_PORT, kPortDigits, true);
  view_.LimitText(ACCOUNT_PASSWORD, kMostCharacters, false);
  std::vector<std::string> texts;
  for (const SecurityChoiceRow& row : kSecurities) texts.emplace_back(TextOf(row.text));
  view_.SetChoices(ACCOUNT_SECURITY, texts);
  view_.Choose(ACCOUNT_SECURITY, PlaceOf(security_));
  view_.SetText(ACCOUNT_PORT, std::to_string(UsualPort(security_)));
  texts.clear();
  for (const MailProgramRow& row : kMailPrograms) texts.emplace_back(TextOf(row.name));
  view_.SetChoices(ACCOUNT_MAIL_PROGRAM, texts);
  view_.Choose(ACCOUNT_MAIL_PROGRAM, 0);
  is_filling_ = false;
  view_.Enable(ACCOUNT_STOP, false);
  ShowNote();
  ShowSettings();
  ShowSteps();
}

void AccountPresenter::Edited(int control) {
  if (is_filling_) return;
  switch (control) {
    case ACCOUNT_USER:
      Propose();
      break;
    case ACCOUNT_SERVER:
      // Emptied, it takes proposals again.
      has_own_server_ = !TrimBlanks(view_.TextIn(ACCOUNT_SERVER)).empty();
      if (!has_own_server_) has_own_port_ = has_own_security_ = false;
      break;
    case ACCOUNT_PORT:
      has_own_port_ = !TrimBlanks(view_.TextIn(ACCOUNT_PORT)).empty();
      break;
    default:
      return;
  }
  ShowNote();
  ShowSettings();
}

void AccountPresenter::Chosen(int control) {
  if (is_filling_) return;
  const int place = view_.ChosenIn(control);
  if (control == ACCOUNT_MAIL_PROGRAM) ShowSteps();
  if (control == ACCOUNT_SECURITY) ChangeSecurity();
  if (control == ACCOUNT_SERVER && place >= 0 &&
      static_cast<std::size_t>(place) < proposals_.servers.size()) {
    has_own_server_ = has_own_port_ = has_own_security_ = false;
    Take(proposals_.servers[static_cast<std::size_t>(place)]);
  }
  ShowNote();
  ShowSettings();
}

void AccountPresenter::Pressed(int control) {
  if (control == ACCOUNT_STOP) surroundings_.cancel_test();
  if (control == ACCOUNT_TEST) Test();
  if (control == ACCOUNT_KEEP) Keep();
  for (const auto& [field, button] : kCopied) {
    if (button == control) Copy(field);
  }
}

AccountPresenter::Entries AccountPresenter::Typed() const {
  return {std::string(TrimBlanks(view_.TextIn(ACCOUNT_USER))),
          std::string(TrimBlanks(view_.TextIn(ACCOUNT_SERVER))),
          WholeNumber(view_.TextIn(ACCOUNT_PORT)).value_or(0), security_};
}

bool AccountPresenter::CheckEntries(const Entries& entries) {
  const std::pair<int, bool> fields[] = {{ACCOUNT_USER, !entries.user.empty()},
                                         {ACCOUNT_SERVER, !entries.server.empty()},
                                         {ACCOUNT_PORT, IsPort(entries.port)}};
  for (const auto& [control, is_there] : fields) {
    if (is_there) continue;
    const bool is_wrong_port = control == ACCOUNT_PORT && !TrimBlanks(view_.TextIn(control)).empty();
    view_.Warn(is_wrong_port ? Format(Text::kEnterAValueBetween,
                                      {std::to_string(kLeastPort), std::to_string(kMostPort)})
                             : std::string(TextOf(Text::kEnterAValue)));
    view_.Focus(control);
    return false;
  }
  return true;
}

void AccountPresenter::Propose() {
  Proposals found = providers_.Propose(view_.TextIn(ACCOUNT_USER));
  if (found.servers == proposals_.servers && found.no_pop3 == proposals_.no_pop3) return;
  proposals_ = std::move(found);
  std::vector<std::string> names;
  for (const ServerProposal& proposal : proposals_.servers) names.push_back(proposal.server);
  const std::string typed = view_.TextIn(ACCOUNT_SERVER);
  is_filling_ = true;
  view_.SetChoices(ACCOUNT_SERVER, names);
  view_.SetText(ACCOUNT_SERVER, has_own_server_ ? typed : std::string());
  is_filling_ = false;
  if (!has_own_server_ && !proposals_.servers.empty()) Take(proposals_.servers.front());
}

// Port and security belong together: one that the person chose decides what the other can be.
void AccountPresenter::Take(const ServerProposal& proposal) {
  is_filling_ = true;
  view_.SetText(ACCOUNT_SERVER, proposal.server);
  if (!has_own_security_ && (!has_own_port_ || Typed().port == proposal.port)) security_ = proposal.security;
  if (!has_own_port_) {
    const std::int32_t port = security_ == proposal.security ? proposal.port : UsualPort(security_);
    view_.SetText(ACCOUNT_PORT, std::to_string(port));
  }
  view_.Choose(ACCOUNT_SECURITY, PlaceOf(security_));
  is_filling_ = false;
}

// The port follows as long as it is the usual one.
void AccountPresenter::ChangeSecurity() {
  const int place = view_.ChosenIn(ACCOUNT_SECURITY);
  if (place < 0 || static_cast<std::size_t>(place) >= std::size(kSecurities)) return;
  has_own_security_ = true;
  const Security former = std::exchange(security_, kSecurities[static_cast<std::size_t>(place)].security);
  if (view_.TextIn(ACCOUNT_PORT) != std::to_string(UsualPort(former))) return;
  is_filling_ = true;
  view_.SetText(ACCOUNT_PORT, std::to_string(UsualPort(security_)));
  is_filling_ = false;
}

void AccountPresenter::ShowNote() {
  const Entries entries = Typed();
  std::string note;
  if (!CanPassOn(entries)) note += Line(Text::kNoAccountName);
  if (security_ == Security::kPlain) note += Line(Text::kSecurityWarning);
  if (proposals_.no_pop3) note += Line(Text::kNoPop3);
  if (entries.server.empty() && LacksProposal(entries.user)) note += Line(Text::kNoProposal);
  for (const ServerProposal& proposal : proposals_.servers) {
    if (EqualsIgnoringCase(proposal.server, entries.server)) note += NoteOn(proposal);
  }
  view_.SetText(ACCOUNT_NOTE, WithLineEnds(note));
}

// Only of an address that looks complete: others get their proposal while they are typed.
bool AccountPresenter::LacksProposal(std::string_view user) const {
  const std::size_t at = user.find('@');
  const std::size_t dot = user.rfind('.');
  const bool is_address = at != std::string_view::npos && dot != std::string_view::npos && at < dot;
  return is_address && dot + 2 < user.size() && proposals_.servers.empty() && !proposals_.no_pop3;
}

// True as well while something is still missing.
bool AccountPresenter::CanPassOn(const Entries& entries) const {
  return entries.user.empty() || entries.server.empty() || !IsPort(entries.port) ||
         SettingsOfMailClient(surroundings_.program, entries.server, entries.user, entries.port);
}

void AccountPresenter::ShowSettings() {
  const Entries entries = Typed();
  const std::optional<MailClientSettings> settings =
      SettingsOfMailClient(surroundings_.program, entries.server, entries.user, entries.port);
  view_.SetText(ACCOUNT_LOCAL_SERVER, settings ? settings->server : std::string());
  view_.SetText(ACCOUNT_LOCAL_PORT, settings ? std::to_string(settings->port) : std::string());
  view_.SetText(ACCOUNT_LOCAL_USER, settings ? settings->user_name : std::string());
  for (const auto& [field, button] : kCopied) view_.Enable(button, settings.has_value());
}

void AccountPresenter::ShowSteps() {
  const int place =
      std::clamp(view_.ChosenIn(ACCOUNT_MAIL_PROGRAM), 0, static_cast<int>(std::size(kMailPrograms)) - 1);
  const Text steps = kMailPrograms[static_cast<std::size_t>(place)].steps;
  view_.SetText(ACCOUNT_STEPS,
                WithLineEnds(Line(Text::kStepsBefore) + Line(steps) + Line(Text::kStepsAfter)));
}

void AccountPresenter::ShowResult(const std::string& text) {
  view_.SetText(ACCOUNT_RESULT, WithLineEnds(text));
}

void AccountPresenter::EnableEntries(bool enabled) {
  // The focus moves before its control is disabled: there it would reach nothing any more. At the end of a
  // test the person may be elsewhere already, in another window too, and stays there.
  view_.Enable(ACCOUNT_STOP, true);
  view_.Enable(ACCOUNT_TEST, true);
  if (!enabled) view_.Focus(ACCOUNT_STOP);
  if (enabled && view_.HasFocus(ACCOUNT_STOP)) view_.Focus(ACCOUNT_TEST);
  for (const int control : kEntries) view_.Enable(control, enabled);
  view_.Enable(ACCOUNT_STOP, !enabled);
}

void AccountPresenter::Copy(int control) {
  if (!surroundings_.copy(view_.TextIn(control))) view_.Tell(TextOf(Text::kNotCopied));
}

void AccountPresenter::Keep() {
  const Entries entries = Typed();
  if (!CheckEntries(entries)) return;
  Program& program = surroundings_.program;
  if (!KeepSecurity(program, entries.server, entries.port, entries.security)) {
    view_.Tell(Format(Text::kSettingNotSaved, {DisplayLine(program.configuration.path())}));
    return;
  }
  const std::string server = DisplayLine(entries.server) + ":" + std::to_string(entries.port);
  ShowResult(Format(Text::kSecurityKept, {server}));
}

void AccountPresenter::Test() {
  const Entries entries = Typed();
  if (tested_ || !CheckEntries(entries)) return;
  Account account{entries.server, entries.port, entries.user, surroundings_.take_password(),
                  entries.security};
  if (account.password.empty()) {
    view_.Warn(TextOf(Text::kEnterAValue));
    view_.Focus(ACCOUNT_PASSWORD);
    return;
  }
  const bool is_started = surroundings_.start_test(account);
  WipeSecret(account.password);
  if (!is_started) {
    ShowResult(std::string(TextOf(Text::kTestNotStarted)));
    return;
  }
  tested_ = entries;
  EnableEntries(false);
  ShowResult(std::string(TextOf(Text::kAccountTesting)));
}

void AccountPresenter::TestEnded(const AccountResult& result) {
  if (!tested_) return;
  const Entries tested = *std::exchange(tested_, std::nullopt);
  EnableEntries(true);
  // The password was used up; where it was wrong the next step is to type another.
  if (result.outcome != AccountOutcome::kWorks && view_.HasFocus(ACCOUNT_TEST)) view_.Focus(ACCOUNT_PASSWORD);
  std::string text = DescribeResult(result) + "\n";
  text += NeedsAfterRefusal(providers_, tested.server, tested.user, result);
  if (result.outcome == AccountOutcome::kWorks &&
      !MailChecksUse(surroundings_.program, tested.server, tested.port, tested.security)) {
    text += Line(Text::kSecurityDiffers);
  }
  ShowResult(text);
}

}  // namespace quillbeaker
