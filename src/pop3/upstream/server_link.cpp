// SPDX-License-Identifier: MIT
#include "pop3/upstream/server_link.h"

#include <algorithm>
#include <array>
#include <utility>

#include "config/trusted_certificates.h"
#include "message/display_text.h"
#include "platform/tls.h"

namespace quillbeaker {
namespace {

using std::chrono::milliseconds;

constexpr std::string_view kQuit = "QUIT\r\n";
// How long a server may take to close after QUIT before we do.
constexpr milliseconds kFarewell{2'500};

LoginFailure FailureOf(ConnectStatus status) {
  switch (status) {
    case ConnectStatus::kHostNotFound:
      return LoginFailure::kNameNotFound;
    case ConnectStatus::kNoSuchPort:
      return LoginFailure::kNoSuchPort;
    case ConnectStatus::kOwnAddress:
      return LoginFailure::kOwnAddress;
    case ConnectStatus::kTimedOut:
      return LoginFailure::kTimedOut;
    case ConnectStatus::kAborted:
    case ConnectStatus::kRefused:
    case ConnectStatus::kConnected:
      break;
  }
  return LoginFailure::kNotReached;
}

// What a stranger wrote into a certificate, on one line that no screen is confused by.
CertificateInfo ForDisplay(CertificateInfo certificate) {
  constexpr std::size_t kMostColumns = 200;
  for (std::string* const text : {&certificate.subject, &certificate.issuer}) {
    *text = FirstColumns(DisplayLine(*text), kMostColumns);
  }
  return certificate;
}

// Outside this range a timer would silently give no time-out at all.
milliseconds TimeoutOf(std::int32_t seconds) {
  constexpr std::int32_t kDefault = 60;
  constexpr std::int32_t kMax = 1'000;
  return std::chrono::seconds(seconds <= 0 ? kDefault : std::min(seconds, kMax));
}

}  // namespace

ServerLink::ServerLink(Program& program, Watch& watch, std::shared_ptr<TlsSessions> tls_sessions)
    : program_(program), watch_(watch), tls_sessions_(std::move(tls_sessions)) {}

void ServerLink::Patience::GiveUp() {
  std::shared_ptr<Connection> standing;
  std::string_view words;
  {
    const std::lock_guard lock(mutex);
    given_up = true;
    standing = connection.lock();
    words = farewell;
  }
  if (standing != nullptr) {
    standing->Abort(words);
  }
}

bool ServerLink::Patience::IsGivenUp() {
  const std::lock_guard lock(mutex);
  return given_up;
}

bool ServerLink::Patience::Hold(const std::shared_ptr<Connection>& made, std::string_view words) {
  const std::lock_guard lock(mutex);
  connection = made;
  farewell = words;
  return !given_up;
}

void ServerLink::Patience::LetGo() {
  const std::lock_guard lock(mutex);
  connection.reset();
}

bool ServerLink::AskForPatience() {
  if (program_.Read(keys::kAutoAbortOnTimeout) == 1) {
    patience_->GiveUp();
    return false;
  }
  watch_.observer().AskToAbort(asked_, [patience = patience_] { patience->GiveUp(); });
  return true;
}

bool ServerLink::LooksGood() {
  stopped_ = watch_.Look();
  return stopped_ == Stop::kNone;
}

bool ServerLink::GoOnAfterStep(milliseconds& waited, Question question) {
  if (!LooksGood()) {
    return false;
  }
  waited += Watch::kStep;
  if (waited < timeout_) {
    return true;
  }
  waited = milliseconds{0};
  return question == Question::kAsk && AskForPatience();
}

std::function<bool()> ServerLink::LoginWatch() {
  return
      [this, waited = milliseconds{0}]() mutable { return GoOnAfterStep(waited) && !patience_->IsGivenUp(); };
}

bool ServerLink::Open(const Destination& destination, LoginProblem& problem) {
  address_ = destination.address;
  asked_ = destination.asked;
  timeout_ = TimeoutOf(destination.timeout_seconds);
  stopped_ = Stop::kNone;
  state_ = State::kClosed;
  patience_ = std::make_shared<Patience>();
  ConnectResult connected =
      ConnectTo(address_.host, address_.port, Watch::kStep, LoginWatch(), destination.own_port);
  if (connected.connection == nullptr) {
    problem.failure =
        connected.status == ConnectStatus::kAborted ? HowItEnded() : FailureOf(connected.status);
    return false;
  }
  if (address_.security == Security::kTls) {
    return EncryptOver(std::move(connected.connection), problem);
  }
  // Before STLS nothing but that is said in clear, on no way out.
  return Take(std::move(connected.connection),
              address_.security == Security::kPlain ? kQuit : std::string_view(), problem);
}

bool ServerLink::Encrypt(LoginProblem& problem) {
  std::shared_ptr<Connection> plain;
  {
    const std::lock_guard lock(mutex_);
    plain = std::exchange(connection_, nullptr);
  }
  state_ = State::kClosed;
  patience_->LetGo();
  return plain != nullptr && EncryptOver(std::move(plain), problem);
}

bool ServerLink::EncryptOver(std::shared_ptr<Connection> plain, LoginProblem& problem) {
  if (!BeginHandshake(plain)) {
    problem.failure = LoginFailure::kConnectionLost;
    return false;
  }
  // In this order: a change between the two leaves a session that the next connection drops.
  if (tls_sessions_ != nullptr) {
    tls_sessions_->TrustIs(TrustedCertificates(program_));
  }
  const std::string trusted = TrustedFingerprint(program_, address_.Key());
  TlsResult secured = SecureConnection(plain, {address_.host, trusted, tls_sessions_, address_.Key()},
                                       Watch::kStep, LoginWatch());
  {
    const std::lock_guard lock(mutex_);
    handshaking_ = nullptr;
  }
  if (secured.status == TlsStatus::kEstablished) {
    return Take(std::move(secured.connection), kQuit, problem);
  }
  // Nothing of POP3 may be said here, not even QUIT.
  plain->Abort({});
  problem.detail = DisplayLine(secured.reason);
  if (secured.status == TlsStatus::kRejected) {
    problem.failure = LoginFailure::kCertificate;
    if (secured.certificate) {
      problem.certificate = ForDisplay(*secured.certificate);
    }
    problem.certificate_changed = !trusted.empty();
  } else if (secured.status == TlsStatus::kAborted || watch_.ProgramEnds() || patience_->IsGivenUp()) {
    // It was us who broke the connection, whatever the handshake makes of that.
    problem.failure = HowItEnded();
    problem.detail.clear();
  } else {
    problem.failure = LoginFailure::kTls;
  }
  return false;
}

bool ServerLink::BeginHandshake(const std::shared_ptr<Connection>& plain) {
  const std::lock_guard lock(mutex_);
  handshaking_ = plain;
  return !watch_.ProgramEnds();
}

bool ServerLink::Take(std::shared_ptr<Connection> connection, std::string_view farewell,
                      LoginProblem& problem) {
  const std::lock_guard lock(mutex_);
  // Either may have come while there was nothing to break yet.
  if (watch_.ProgramEnds() || !patience_->Hold(connection, farewell)) {
    problem.failure = HowItEnded();
    return false;
  }
  connection_ = std::move(connection);
  farewell_ = farewell;
  state_ = State::kOpen;
  return true;
}

LoginFailure ServerLink::HowItEnded() const {
  return patience_->IsGivenUp() ? LoginFailure::kTimedOut : LoginFailure::kConnectionLost;
}

void ServerLink::End(State state) {
  if (state_ == State::kOpen) {
    state_ = state;
  }
}

ServerLink::Outcome ServerLink::Over() {
  End(watch_.ProgramEnds() ? State::kAborted : patience_->IsGivenUp() ? State::kGivenUp : State::kLost);
  return Outcome::kOver;
}

ServerLink::Outcome ServerLink::Send(std::string_view bytes) {
  if (!is_open()) {
    return Outcome::kOver;
  }
  stopped_ = Stop::kNone;
  milliseconds waited{0};
  while (!bytes.empty()) {
    const IoResult sent = connection_->Send(bytes, Watch::kStep);
    bytes.remove_prefix(std::min(sent.bytes, bytes.size()));
    if (sent.status == IoStatus::kOk) {
      continue;
    }
    if (sent.bytes > 0) {
      waited = milliseconds{0};
    }
    // Half a command is of no use to anybody: what was stopped here ends the connection.
    if (sent.status != IoStatus::kTimedOut || !GoOnAfterStep(waited)) {
      return Over();
    }
  }
  return Outcome::kDone;
}

ServerLink::Outcome ServerLink::Receive(char* buffer, std::size_t capacity, std::size_t& count,
                                        Question question) {
  if (!is_open()) {
    return Outcome::kOver;
  }
  stopped_ = watch_.LookNowAndThen();
  milliseconds waited{0};
  while (stopped_ == Stop::kNone) {
    const IoResult received = connection_->Receive(buffer, capacity, Watch::kStep);
    if (received.status == IoStatus::kOk) {
      count = received.bytes;
      const auto now = std::chrono::steady_clock::now();
      trickle_.Received(count, now);
      if (trickle_.CountsAsSilence(now)) {
        trickle_.Begin(now);
        if (!AskForPatience()) return Over();
      }
      return Outcome::kDone;
    }
    if (received.status != IoStatus::kTimedOut) {
      return Over();
    }
    if (!GoOnAfterStep(waited, question) && stopped_ == Stop::kNone) {
      return Over();
    }
  }
  if (stopped_ == Stop::kProgramEnds) {
    return Over();
  }
  return Outcome::kStopped;
}

std::size_t ServerLink::ReceiveNow(char* buffer, std::size_t capacity) {
  if (!is_open()) {
    return 0;
  }
  const IoResult received = connection_->Receive(buffer, capacity, milliseconds{0});
  if (received.status != IoStatus::kOk && received.status != IoStatus::kTimedOut) {
    Over();
  }
  return received.status == IoStatus::kOk ? received.bytes : 0;
}

void ServerLink::Drop() {
  const std::lock_guard lock(mutex_);
  if (connection_ != nullptr) {
    connection_->Abort({});
    connection_ = nullptr;
  }
  state_ = State::kClosed;
}

void ServerLink::Abort() {
  std::shared_ptr<Connection> connection;
  std::shared_ptr<Connection> handshaking;
  std::string_view farewell;
  watch_.EndProgram();
  {
    const std::lock_guard lock(mutex_);
    connection = connection_;
    farewell = farewell_;
    handshaking = handshaking_;
  }
  if (connection != nullptr) {
    connection->Abort(farewell);
  }
  if (handshaking != nullptr) {
    handshaking->Abort({});
  }
}

std::string_view ServerLink::farewell() const {
  return is_open() && !watch_.ProgramEnds() ? farewell_ : std::string_view();
}

void ServerLink::WaitForItsEnd(const std::function<void(std::string_view bytes)>& on_bytes) {
  if (!is_open()) {
    return;
  }
  connection_->FinishSending();
  std::array<char, 4096> buffer;
  const auto end = std::chrono::steady_clock::now() + kFarewell;
  while (!watch_.ProgramEnds()) {
    watch_.Look();
    const auto left = std::chrono::duration_cast<milliseconds>(end - std::chrono::steady_clock::now());
    if (left <= milliseconds{0}) {
      return;
    }
    const IoResult received =
        connection_->Receive(buffer.data(), buffer.size(), std::min<milliseconds>(left, Watch::kStep));
    if (received.status == IoStatus::kOk) {
      on_bytes({buffer.data(), received.bytes});
    } else if (received.status != IoStatus::kTimedOut) {
      return;
    }
  }
}

void ServerLink::Close() {
  const std::lock_guard lock(mutex_);
  connection_ = nullptr;
  state_ = State::kClosed;
}

}  // namespace quillbeaker
