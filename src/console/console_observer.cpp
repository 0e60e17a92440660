// SPDX-License-Identifier: MIT
#include "console/console_observer.h"

#include <system_error>
#include <thread>
#include <utility>

#include "config/log_file.h"
#include "config/texts.h"
#include "config/trusted_certificates.h"
#include "message/display_text.h"
#include "platform/console.h"

namespace quillbeaker {
namespace {

// "hh:mm:ss ", as a status line begins.
std::string TimeNow(const Program& program) {
  const std::string line = TimedLine(program.environment.local_time(), 'C', {});
  return line.substr(0, line.find(' ') + 1);
}

std::string Number(std::uint32_t value) {
  return std::to_string(value);
}

std::string OutcomeOf(const CheckSummary& summary) {
  if (!summary.logged_in) {
    const std::string problem = DescribeProblem(summary.login_problem);
    return problem.empty() ? std::string(TextOf(Text::kCheckNotLoggedIn)) : problem;
  }
  std::string line =
      Format(Text::kCheckCounts, {DisplayLine(summary.account), Number(summary.listed),
                                  Number(summary.downloaded), Number(summary.known), Number(summary.spam)});
  if (summary.finished) {
    line += Format(Text::kCheckDeleted, {Number(summary.deleted)});
  } else {
    line += TextOf(Text::kCheckUnfinished);
  }
  if (summary.unfiled > 0) {
    line += Format(Text::kCheckUnfiled, {Number(summary.unfiled)});
  }
  return line;
}

}  // namespace

ConsoleObserver::ConsoleObserver(Program& program)
    : program_(program), can_ask_(StandardOutputIsTerminal() && StandardInputIsTerminal()) {
  questions_->program = &program;
}

ConsoleObserver::~ConsoleObserver() {
  const std::lock_guard lock(questions_->mutex);
  questions_->program = nullptr;
}

void ConsoleObserver::PortInUse() {
  PrintLine(TextOf(Text::kPortInUse));
}

void ConsoleObserver::SessionBegins() {
  ++session_;
  range_ = position_ = 0;
  spam_count_ = 0;
  activity_.clear();
  status_.clear();
}

void ConsoleObserver::SessionEnds(const CheckSummary& summary) {
  std::string line = TimeNow(program_) + OutcomeOf(summary);
  if (!status_.empty()) {
    line += " " + status_;
  }
  PrintLine(line);
  AskToTrust(summary.login_problem);
}

void ConsoleObserver::WrongUserName() {
  PrintLine(TextOf(Text::kWrongUserName));
}

void ConsoleObserver::ShowTooltip(std::string_view text) {
  activity_ = DisplayLine(text);
  DrawProgress(false);
}

void ConsoleObserver::ShowStatus(std::string_view text) {
  status_ = DisplayLine(text);
  if (activity_.empty()) {
    DrawProgress(true);  // before the mail check has anything to tell of itself
  }
}

void ConsoleObserver::ShowSpamCount(std::uint32_t count) {
  spam_count_ = count;
  DrawProgress(false);
}

void ConsoleObserver::SetRange(std::uint64_t range) {
  range_ = range;
  position_ = 0;
}

void ConsoleObserver::SetPosition(std::uint64_t position) {
  position_ = position;
  DrawProgress(position_ >= range_);
}

void ConsoleObserver::Advance(std::uint64_t amount) {
  position_ += amount;
  DrawProgress(false);
}

void ConsoleObserver::MessageRefused(std::string_view, std::uint32_t number, std::string_view words) {
  // The line at the end names the account.
  ShowStatus(Format(Text::kMessageNotDelivered, {Number(number), words.empty() ? "-" : std::string(words)}));
}

void ConsoleObserver::ServerGone(std::string_view account) {
  PrintTrouble({.trouble = Trouble::kServerGone, .account = std::string(account)});
}

void ConsoleObserver::DeletionsUnconfirmed(std::string_view account, std::uint32_t count,
                                           std::string_view words) {
  PrintTrouble({.trouble = Trouble::kDeletionsUnconfirmed,
                .account = std::string(account),
                .number = count,
                .words = std::string(words)});
}

void ConsoleObserver::MailNotKept(std::string_view account, std::uint32_t count, std::string_view why) {
  PrintTrouble({.trouble = Trouble::kMailNotKept,
                .account = std::string(account),
                .number = count,
                .words = std::string(why)});
}

void ConsoleObserver::RestoredMailStays(std::string_view account, std::uint32_t count) {
  PrintTrouble({.trouble = Trouble::kRestoredMailStays, .account = std::string(account), .number = count});
}

void ConsoleObserver::ClientGaveUp(std::string_view account, std::uint32_t ready, std::uint32_t total) {
  PrintTrouble(
      {.trouble = Trouble::kClientGaveUp, .account = std::string(account), .number = ready, .total = total});
}

void ConsoleObserver::PrintTrouble(const MailTrouble& trouble) {
  PrintLine(TimeNow(program_) + DescribeTrouble(trouble));
}

void ConsoleObserver::AskToAbort(const AskedServer& server, std::function<void()> abort) {
  if (!can_ask_) {
    abort();
    return;
  }
  const Asked asked{.session = session_, .server = server};
  const OnAnswer on_answer = [abort](Questions&, const std::optional<std::string>& answer) {
    if (!answer || answer->starts_with('a') || answer->starts_with('A')) {
      abort();
    }
  };
  if (TakeOver(on_answer, asked)) {
    return;
  }
  // Before it is shown, so that no answer to it is taken for another question's. Where nothing can be typed
  // any more it is as if nobody could be asked.
  if (!Ask(on_answer, asked)) {
    abort();
    return;
  }
  PrintLine(TextOf(Text::kTimeoutQuestion));
  PrintLine(Format(Text::kTimeoutServer, {DisplayLine(server.address), DisplayLine(server.account)}));
  PrintLine(TextOf(Text::kTimeoutKeys));
}

void ConsoleObserver::AskToTrust(const LoginProblem& problem) {
  if (!problem.certificate || !can_ask_) {
    return;
  }
  {
    const std::lock_guard lock(questions_->mutex);
    // A time-out that is still asked about belongs to a session that is over, this one at the latest.
    if (questions_->on_answer && !questions_->asked.trust.empty()) {
      return;
    }
  }
  if (!questions_->trust.Begin(problem.server)) {
    return;
  }
  const bool can_be_answered = Ask(
      [server = problem.server, fingerprint = problem.certificate->fingerprint](
          Questions& questions, const std::optional<std::string>& answer) {
        const bool trusted = answer && (answer->starts_with('y') || answer->starts_with('Y'));
        const std::lock_guard lock(questions.mutex);
        if (questions.program == nullptr) {
          return;
        }
        Text outcome = Text::kCertificateNotTrusted;
        if (trusted && TrustCertificate(*questions.program, server, fingerprint)) {
          questions.trust.Forget(server);
          outcome = Text::kCertificateTrusted;
        } else if (trusted) {
          outcome = Text::kNotSaved;
        }
        WriteStandardOutput(Format(outcome, {DisplayLine(server)}) + "\n");
      },
      {.trust = problem.server});
  if (can_be_answered) {
    PrintLine(TrustQuestion(problem));
    PrintLine(TextOf(Text::kTrustKeys));
  }
}

bool ConsoleObserver::TakeOver(const OnAnswer& on_answer, const Asked& asked) {
  const std::lock_guard lock(questions_->mutex);
  if (!questions_->on_answer || questions_->asked != asked) {
    return false;
  }
  questions_->on_answer = on_answer;
  return true;
}

bool ConsoleObserver::Ask(OnAnswer on_answer, Asked asked) {
  {
    const std::lock_guard lock(questions_->mutex);
    const bool reading = static_cast<bool>(questions_->on_answer);
    questions_->on_answer = std::move(on_answer);
    const Asked given_way = std::exchange(questions_->asked, std::move(asked));
    if (reading) {
      // A mail check that waits for an answer holds up all mail; whether to trust a server is asked another
      // time.
      questions_->trust.Forget(given_way.trust);
      return true;
    }
  }
  try {
    std::thread([questions = questions_] {
      const auto answer = ReadStandardInputLine();
      OnAnswer on_answered;
      {
        const std::lock_guard lock(questions->mutex);
        on_answered = std::exchange(questions->on_answer, nullptr);
      }
      on_answered(*questions, answer);
    }).detach();
    return true;
  } catch (const std::system_error&) {
    const std::lock_guard lock(questions_->mutex);
    questions_->on_answer = nullptr;
    return false;
  }
}

void ConsoleObserver::PrintLine(std::string_view text) {
  progress_.Clear();
  WriteStandardOutput(std::string(text) + "\n");
}

void ConsoleObserver::DrawProgress(bool at_once) {
  if (!progress_.IsDue(at_once)) {
    return;
  }
  std::string text;
  if (spam_count_ > 0) {
    text += Format(Text::kSpamMessages, {Number(spam_count_)}) + "  ";
  }
  progress_.Draw(position_, range_, text + (activity_.empty() ? status_ : activity_));
}

}  // namespace quillbeaker
