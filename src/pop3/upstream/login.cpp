// SPDX-License-Identifier: MIT
#include "pop3/upstream/login.h"

#include <utility>

#include "config/ascii.h"
#include "config/secret_masking.h"
#include "message/display_text.h"
#include "pop3/upstream/message_listing.h"
#include "pop3/upstream/server_security.h"

namespace quillbeaker {
namespace {

constexpr std::size_t kMaxUserName = 80;       // bytes
constexpr std::size_t kMaxShownRefusal = 200;  // columns

// Masked with its line end, so that an answer that came whole is known for one.
std::string WithoutPassword(const Reply& reply, const std::string& password) {
  const std::string_view end = reply.line_ended ? kLineEnd : std::string_view();
  const std::string masked = MaskPassword(reply.status_line + std::string(end), password);
  return masked.substr(0, masked.find(kLineEnd));
}

class Login {
 public:
  Login(Program& program, Pop3Client& client, const Account& account)
      : program_(program), client_(client), account_(account) {}

  LoginResult Run(std::int32_t timeout_seconds, int own_port) {
    client_.OpenLog();
    result_.problem.account = account_.Key();
    result_.logged_in = LogIn(timeout_seconds, own_port);
    if (!result_.logged_in) {
      LogFailure();
    }
    return std::move(result_);
  }

 private:
  // What may stand behind an answer, in the same receive.
  enum class Behind { kIgnored, kForbidden };

  bool LogIn(std::int32_t timeout_seconds, int own_port) {
    const SecurityChoice choice = ChooseSecurity(program_, account_.server, account_.port, account_.security);
    if (!choice.address) {
      problem().failure = LoginFailure::kSecurityUnclear;
      problem().server = account_.server;
      problem().detail = DisplayLine(choice.unclear);
      return false;
    }
    const ServerAddress& address = *choice.address;
    problem().server = address.Key();
    result_.port = address.port;
    return client_.Open({address, {address.Key(), account_.Key()}, timeout_seconds, own_port}, problem()) &&
           Greet(address) && (address.security != Security::kStartTls || StartTls()) && Authorise() &&
           AskForPipelining(address.security);
  }

  bool Greet(const ServerAddress& address) {
    if (address.security != Security::kStartTls) {
      return Agreed(LoginFailure::kGreeting);
    }
    if (!Agreed(LoginFailure::kGreeting, Behind::kForbidden)) {
      client_.Drop();  // not even QUIT is said in clear
      return false;
    }
    return true;
  }

  bool StartTls() {
    if (!Say("STLS") || !Agreed(LoginFailure::kStartTlsRefused, Behind::kForbidden)) {
      client_.Drop();
      return false;
    }
    return client_.Encrypt(problem());
  }

  bool Authorise() {
    if (account_.user.size() > kMaxUserName) {
      return false;
    }
    if (!Say("USER " + account_.user) || !Agreed(LoginFailure::kUserRefused)) {
      return false;
    }
    if (!client_.RequestWithPassword(account_.password)) {
      problem().failure = HowItEnded();
      return false;
    }
    return Agreed(LoginFailure::kPasswordRefused);
  }

  // Deliberate: over a plain connection nothing is asked that was not asked before: there the conversation is
  // part of what other programs were tried with.
  bool AskForPipelining(Security security) {
    const std::string wanted = program_.Read(keys::kPipelining);
    const bool always = EqualsIgnoringCase(wanted, "always");
    if (EqualsIgnoringCase(wanted, "never") || (security == Security::kPlain && !always)) {
      return true;
    }
    if (client_.Request("CAPA", ReplyKind::kListing)) {
      const Reply reply = client_.Receive();
      result_.pipelining = reply.positive() && HasCapability(reply.body, "PIPELINING");
    }
    if (client_.is_open() && client_.link().stopped() == Stop::kNone) {
      return true;
    }
    problem().failure = HowItEnded();
    return false;
  }

  bool Say(std::string_view command) {
    if (client_.Request(command, ReplyKind::kStatus)) {
      return true;
    }
    problem().failure = HowItEnded();
    return false;
  }

  bool Agreed(LoginFailure failure, Behind behind = Behind::kIgnored) {
    const Reply reply = client_.Receive();
    if (reply.status != ReplyStatus::kComplete && reply.status != ReplyStatus::kRefused && !reply.too_long) {
      problem().failure = HowItEnded();
      return false;
    }
    // RFC 2595, section 4: what was sent in clear behind an answer could be anybody's, and would be taken for
    // the next.
    const bool injected = behind == Behind::kForbidden && reply.bytes_behind;
    if (reply.positive() && !injected) {
      return true;
    }
    problem().failure = failure;
    const std::string words = failure == LoginFailure::kPasswordRefused
                                  ? WithoutPassword(reply, account_.password)
                                  : reply.status_line;
    problem().detail = reply.positive() ? "bytes behind the answer"
                                        : std::string(FirstColumns(DisplayLine(words), kMaxShownRefusal));
    return false;
  }

  LoginFailure HowItEnded() const {
    return client_.link().state() == ServerLink::State::kGivenUp ? LoginFailure::kTimedOut
                                                                 : LoginFailure::kConnectionLost;
  }

  // A login that the mail program or the person has ended did not fail: it is noted, and nobody is told.
  void LogFailure() {
    const Stop stopped = client_.link().stopped();
    if (stopped == Stop::kClientGone || stopped == Stop::kCancelled) {
      client_.LogMarker('C', stopped == Stop::kCancelled ? "(login cancelled)"
                                                         : "(the mail program has gone during the login)");
      problem() = {};
    } else if (problem().failure != LoginFailure::kNone) {
      client_.LogMarker('S', ProblemMarker(problem()));
    }
  }

  LoginProblem& problem() { return result_.problem; }

  Program& program_;
  Pop3Client& client_;
  const Account& account_;
  LoginResult result_;
};

}  // namespace

LoginResult LogIn(Program& program, Pop3Client& client, const Account& account, std::int32_t timeout_seconds,
                  int own_port) {
  return Login(program, client, account).Run(timeout_seconds, own_port);
}

}  // namespace quillbeaker
