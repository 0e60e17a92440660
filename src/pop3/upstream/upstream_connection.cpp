// SPDX-License-Identifier: MIT
#include "pop3/upstream/upstream_connection.h"

#include <algorithm>
#include <array>
#include <utility>

#include "config/trusted_certificates.h"
#include "message/display_text.h"

namespace quillbeaker {
namespace {

using std::chrono::milliseconds;

constexpr std::string_view kQuit = "QUIT\r\n";
// The watch over a connection that is being made looks at the person's answer this often.
constexpr milliseconds kConnectStep{250};
// How long a server may take to close after QUIT before we do.
constexpr milliseconds kFarewell{2'500};

LoginFailure FailureOf(ConnectStatus status) {
  switch (status) {
    case ConnectStatus::kHostNotFound:
      return LoginFailure::kNameNotFound;
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

UpstreamConnection::UpstreamConnection(const Program& program, CheckObserver& observer)
    : program_(program), observer_(observer) {}

UpstreamConnection::~UpstreamConnection() {
  Close();
}

void UpstreamConnection::Line::GiveUp() {
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

bool UpstreamConnection::Line::IsGivenUp() {
  const std::lock_guard lock(mutex);
  return given_up;
}

bool UpstreamConnection::Line::Hold(const std::shared_ptr<Connection>& made, std::string_view words) {
  const std::lock_guard lock(mutex);
  connection = made;
  farewell = words;
  return !given_up;
}

void UpstreamConnection::Line::LetGo() {
  const std::lock_guard lock(mutex);
  connection.reset();
}

std::function<bool()> UpstreamConnection::LoginWatch() {
  return [this, waited = milliseconds{0}]() mutable {
    waited += kConnectStep;
    if (waited >= timeout_) {
      waited = milliseconds{0};
      if (!GoOnWaiting()) {
        return false;
      }
    }
    return !line_->IsGivenUp() && !aborted_;
  };
}

bool UpstreamConnection::Open(const ServerAddress& address, std::int32_t timeout_seconds, int own_port,
                              LoginProblem& problem) {
  timeout_ = TimeoutOf(timeout_seconds);
  dead_ = false;
  pending_ = {};
  line_ = std::make_shared<Line>();
  ConnectResult connected = ConnectTo(address.host, address.port, kConnectStep, LoginWatch(), own_port);
  if (connected.connection == nullptr) {
    problem.failure =
        connected.status == ConnectStatus::kAborted ? HowItEnded() : FailureOf(connected.status);
    return false;
  }
  if (address.security == Security::kTls) {
    return Encrypt(std::move(connected.connection), address, problem);
  }
  // Before STLS nothing but that is said in clear, on no way out.
  return Take(std::move(connected.connection),
              address.security == Security::kPlain ? kQuit : std::string_view(), problem);
}

bool UpstreamConnection::Secure(const ServerAddress& address, LoginProblem& problem) {
  std::shared_ptr<Connection> plain;
  {
    const std::lock_guard lock(mutex_);
    plain = std::exchange(connection_, nullptr);
  }
  line_->LetGo();
  return plain != nullptr && Encrypt(std::move(plain), address, problem);
}

bool UpstreamConnection::Encrypt(std::shared_ptr<Connection> plain, const ServerAddress& address,
                                 LoginProblem& problem) {
  if (!BeginHandshake(plain)) {
    problem.failure = LoginFailure::kConnectionLost;
    return false;
  }
  const std::string trusted = TrustedFingerprint(program_, address.Key());
  TlsResult secured = SecureConnection(plain, {address.host, trusted}, kConnectStep, LoginWatch());
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
  switch (secured.status) {
    case TlsStatus::kRejected:
      problem.failure = LoginFailure::kCertificate;
      if (secured.certificate) {
        problem.certificate = ForDisplay(*secured.certificate);
      }
      problem.certificate_changed = !trusted.empty();
      break;
    case TlsStatus::kAborted:
      problem.failure = HowItEnded();
      problem.detail.clear();
      break;
    default:
      problem.failure = LoginFailure::kTls;
      if (aborted_ || line_->IsGivenUp()) {
        // It was us who broke the connection, whatever the handshake makes of that.
        problem.failure = HowItEnded();
        problem.detail.clear();
      }
      break;
  }
  return false;
}

bool UpstreamConnection::BeginHandshake(const std::shared_ptr<Connection>& plain) {
  const std::lock_guard lock(mutex_);
  handshaking_ = plain;
  return !aborted_;
}

bool UpstreamConnection::Take(std::shared_ptr<Connection> connection, std::string_view farewell,
                              LoginProblem& problem) {
  const std::lock_guard lock(mutex_);
  // Either may have come while there was nothing to break yet.
  if (aborted_ || !line_->Hold(connection, farewell)) {
    problem.failure = HowItEnded();
    return false;
  }
  connection_ = std::move(connection);
  farewell_ = farewell;
  return true;
}

void UpstreamConnection::OpenLog() {
  const std::string path =
      LogPath(program_.environment.program_directory, program_.Read(keys::kLogFileServerFileName));
  if (!path.empty() && log_.Open(path, program_.Read(keys::kLogFileServerMaxSize))) {
    log_.WriteLine(BannerLine("Server", program_.environment.local_time()));
  }
}

void UpstreamConnection::LogMarker(char side, std::string_view text) {
  if (log_.IsWriting()) {
    log_.WriteLine(MarkerLine(side, text));
    log_.Flush();
  }
}

bool UpstreamConnection::SendLine(std::string_view line) {
  if (connection_ == nullptr || !FinishPendingReply() || dead_) {
    return false;
  }
  if (!line.empty() && log_.IsWriting()) {
    log_.WriteLine(TimedLine(program_.environment.local_time(), 'C', line));
  }
  log_.Flush();
  return SendBytes(line);
}

bool UpstreamConnection::SendSecretLine(std::string_view line, std::string_view marker) {
  const bool logging = std::exchange(log_.enabled, false);
  const bool sent = SendLine(line);
  log_.enabled = logging;
  LogMarker('C', marker);
  return sent;
}

bool UpstreamConnection::SendBytes(std::string_view bytes) {
  while (!bytes.empty()) {
    const IoResult sent = connection_->Send(bytes, timeout_);
    bytes.remove_prefix(std::min(sent.bytes, bytes.size()));
    const bool waiting = sent.status == IoStatus::kTimedOut && GoOnWaiting();
    if (sent.status != IoStatus::kOk && !waiting) {
      dead_ = true;
      return false;
    }
  }
  return true;
}

std::ptrdiff_t UpstreamConnection::ReceiveChunk(char* buffer, std::size_t capacity) {
  if (connection_ == nullptr || dead_ || capacity == 0) {
    return -1;
  }
  IoResult received = connection_->Receive(buffer, capacity, timeout_);
  while (received.status == IoStatus::kTimedOut && GoOnWaiting()) {
    received = connection_->Receive(buffer, capacity, timeout_);
  }
  if (received.status != IoStatus::kOk) {
    dead_ = true;
    return -1;
  }
  if (log_.IsWriting()) {
    const std::string_view text(buffer, received.bytes);
    log_.WriteLine(TimedLine(program_.environment.local_time(), 'S',
                             answer_mask_ ? answer_mask_->Next(text) : std::string(text)));
    log_.Flush();
  }
  return static_cast<std::ptrdiff_t>(received.bytes);
}

ReplySource UpstreamConnection::Source() {
  return [this](char* buffer, std::size_t capacity) { return ReceiveChunk(buffer, capacity); };
}

Reply UpstreamConnection::ReadUntil(const ReplyFormat& format, bool with_progress, Logging logging) {
  ReplyProgress progress;
  if (with_progress) {
    progress = [this](std::size_t bytes) {
      if (observer_.IsCancelled()) {
        return false;
      }
      observer_.Advance(bytes);
      return true;
    };
  }
  const bool was_logging = log_.enabled;
  log_.enabled = was_logging && logging == Logging::kOn;
  Reply reply = ReadReply(Source(), format, progress);
  log_.enabled = was_logging;
  if (reply.status == ReplyStatus::kLost) {
    dead_ = true;
  } else if (reply.status == ReplyStatus::kRefused) {
    pending_ = {kLineEnd, reply.text, kMaxStatusLine};
  } else if (reply.status == ReplyStatus::kCancelled) {
    pending_ = {format.terminator, std::exchange(reply.text, {}), format.limit};
  }
  return reply;
}

bool UpstreamConnection::ReadStatus() {
  const Reply reply = ReadStatusReply();
  return reply.status == ReplyStatus::kComplete && IsPositive(reply.text);
}

Reply UpstreamConnection::ReadStatusReply(std::string_view secret) {
  if (!secret.empty()) answer_mask_.emplace(secret);
  Reply reply = ReadUntil({.terminator = kLineEnd, .limit = kMaxStatusLine}, false);
  answer_mask_.reset();
  return reply;
}

LoginFailure UpstreamConnection::HowItEnded() const {
  return line_->IsGivenUp() ? LoginFailure::kTimedOut : LoginFailure::kConnectionLost;
}

bool UpstreamConnection::FinishPendingReply() {
  if (pending_.terminator.empty()) {
    return true;
  }
  const PendingReply pending = std::exchange(pending_, {});
  const bool logging = std::exchange(log_.enabled, false);
  if (!SkipReply(Source(), pending.tail, pending.terminator, pending.limit)) {
    dead_ = true;
  }
  log_.enabled = logging;
  return !dead_;
}

bool UpstreamConnection::GoOnWaiting() {
  if (program_.Read(keys::kAutoAbortOnTimeout) == 1) {
    line_->GiveUp();
    return false;
  }
  observer_.AskToAbort(asked_, [line = line_] { line->GiveUp(); });
  return true;
}

void UpstreamConnection::Abort() {
  std::shared_ptr<Connection> connection;
  std::shared_ptr<Connection> handshaking;
  std::string_view farewell;
  {
    const std::lock_guard lock(mutex_);
    aborted_ = true;
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

void UpstreamConnection::Drop() {
  const std::lock_guard lock(mutex_);
  if (connection_ != nullptr) {
    connection_->Abort({});
    connection_ = nullptr;
  }
}

void UpstreamConnection::Close() {
  if (connection_ != nullptr) {
    SayGoodbye();
    const std::lock_guard lock(mutex_);
    connection_ = nullptr;
  }
  log_.Close();
}

void UpstreamConnection::SayGoodbye() {
  // What is left of a reply is not waited for.
  pending_ = {};
  if (aborted_ || farewell_.empty() || !SendLine(farewell_)) {
    return;
  }
  // Deliberate: a socket closed over unread bytes resets the connection, and a server that is reset may
  // forget the deletions. So it is the server that closes; what it says is not looked at.
  connection_->FinishSending();
  std::array<char, 4096> dropped;
  const auto end = std::chrono::steady_clock::now() + kFarewell;
  for (milliseconds left = kFarewell; left > milliseconds{0};
       left = std::chrono::duration_cast<milliseconds>(end - std::chrono::steady_clock::now())) {
    if (connection_->Receive(dropped.data(), dropped.size(), left).status != IoStatus::kOk) {
      break;
    }
  }
}

}  // namespace quillbeaker
