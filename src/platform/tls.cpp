// SPDX-License-Identifier: MIT
// What is the same with every engine: the handshake's waits, the verdict, and the connection that results. An
// engine sees memory only, so that every wait is the plain connection's.
#include "platform/tls.h"

#include <algorithm>
#include <array>
#include <utility>

#include "platform/tls_engine.h"

namespace quillbeaker {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// A wait beyond this is for ever, and can be added to any moment without an overflow.
constexpr milliseconds kLongestWait{std::chrono::hours(24 * 365)};

TlsResult WithStatus(TlsStatus status, std::string reason = {}) {
  TlsResult result;
  result.status = status;
  result.reason = std::move(reason);
  return result;
}

// What remains from `now` until a moment, rounded up.
milliseconds Until(Clock::time_point moment, Clock::time_point now) {
  return std::max(milliseconds(0), std::chrono::ceil<milliseconds>(moment - now));
}

// What an engine says and hears, over the plain connection.
class Wire : public TlsWire {
 public:
  Wire(std::shared_ptr<Connection> plain, TlsClock now) : plain_(std::move(plain)), now_(std::move(now)) {}

  Connection& plain() { return *plain_; }

  // From now on a receive waits until then. There is one in any case.
  void WaitUntil(Clock::time_point deadline) {
    deadline_ = deadline;
    asked_ = false;
    open_ = true;
  }
  // From now on there is only what has come already.
  void ReceiveNoMore() { open_ = false; }
  // The stream is over, in order or not.
  bool ended() const { return ended_; }

  IoResult Receive(char* buffer, std::size_t capacity) override {
    // A server may send what makes no record for as long as it likes.
    if (!open_ || (asked_ && now_() >= deadline_)) return {IoStatus::kTimedOut, 0};
    asked_ = true;
    IoResult result = Flush(Until(deadline_, now_()));
    if (result.status == IoStatus::kOk) {
      result = plain_->Receive(buffer, capacity, Until(deadline_, now_()));
    }
    ended_ = result.status == IoStatus::kClosed || result.status == IoStatus::kFailed;
    return result;
  }

  void Send(std::string_view bytes) override { unsent_ += bytes; }

  // Sends what was gathered. What does not go out in time is kept for the next call.
  IoResult Flush(milliseconds wait) {
    if (unsent_.empty()) return {IoStatus::kOk, 0};
    const IoResult result = plain_->Send(unsent_, wait);
    unsent_.erase(0, result.bytes);
    return result;
  }

 private:
  const std::shared_ptr<Connection> plain_;
  const TlsClock now_;
  std::string unsent_;
  Clock::time_point deadline_;
  bool asked_ = false;
  bool open_ = false;
  bool ended_ = false;
};

class TlsConnection : public Connection {
 public:
  TlsConnection(std::shared_ptr<Connection> plain, std::unique_ptr<TlsEngine> engine, TlsLegacy legacy)
      : wire_(std::move(plain), [] { return Clock::now(); }),
        engine_(std::move(engine)),
        legacy_(std::move(legacy)) {}
  TlsConnection(const TlsConnection&) = delete;
  TlsConnection& operator=(const TlsConnection&) = delete;
  // What went wrong with this connection may lie in its session.
  ~TlsConnection() override {
    if (legacy_.sessions != nullptr && !spoiled_) {
      legacy_.sessions->Keep(legacy_.claim, engine_->TakeSession(), legacy_.resumed);
    }
  }

  IoResult Receive(char* buffer, std::size_t capacity, milliseconds wait) override {
    if (capacity == 0 || over_) return {IoStatus::kFailed, 0};
    const Clock::time_point deadline = Clock::now() + std::clamp(wait, milliseconds(0), kLongestWait);
    wire_.WaitUntil(deadline);
    std::size_t filled = 0;
    TlsStep step = std::exchange(met_, TlsStep::kDone);
    while (step == TlsStep::kDone && filled < capacity) {
      std::size_t count = 0;
      step = engine_->Read(wire_, buffer + filled, capacity - filled, count);
      filled += count;
      if (step == TlsStep::kDone) wire_.ReceiveNoMore();
    }
    if (filled > 0) {
      if (step != TlsStep::kNeedsBytes) met_ = step;
      return {IoStatus::kOk, filled};
    }
    if (step == TlsStep::kClosed) {
      met_ = step;
      return {IoStatus::kClosed, 0};
    }
    if (step == TlsStep::kNeedsBytes && !wire_.ended()) return {IoStatus::kTimedOut, 0};
    // A stream that ends without a word of TLS may have been cut by anybody.
    return finished_ ? WaitForTheEnd(deadline) : Fail();
  }

  IoResult Send(std::string_view bytes, milliseconds wait) override {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
      if (over_) return {IoStatus::kFailed, sent};
      if (const IoResult flushed = wire_.Flush(wait); flushed.status != IoStatus::kOk)
        return {flushed.status, sent};
      const std::string_view next = bytes.substr(sent, kTlsRecord);
      if (!engine_->Write(wire_, next)) return {Fail().status, sent};
      sent += next.size();
    }
    return {wire_.Flush(wait).status, sent};
  }

  void FinishSending() override {
    // The end of TLS's stream; TCP's stays open for what the server has to answer.
    if (over_) return;
    engine_->CloseSending(wire_);
    finished_ = true;
    wire_.Flush(milliseconds(0));
  }

  bool PeerHasGone() override { return wire_.plain().PeerHasGone(); }

  // The farewell could only be sent by the thread that uses the engine.
  void Abort(std::string_view) override { wire_.plain().Abort({}); }

 private:
  // Deliberate: not every library decrypts any more once it has said its farewell. What the server still says
  // is of no use then, but it is the server that has to close: a reset may cost what it was told last.
  IoResult WaitForTheEnd(Clock::time_point deadline) {
    met_ = TlsStep::kFailed;  // the engine is not asked again
    std::array<char, kTlsRecord> dropped;
    IoResult result{IoStatus::kOk, 0};
    while (result.status == IoStatus::kOk) {
      result = wire_.plain().Receive(dropped.data(), dropped.size(), Until(deadline, Clock::now()));
    }
    if (result.status != IoStatus::kTimedOut) over_ = true;
    return {result.status, 0};
  }

  IoResult Fail() {
    over_ = true;
    spoiled_ = true;
    return {IoStatus::kFailed, 0};
  }

  Wire wire_;
  const std::unique_ptr<TlsEngine> engine_;
  const TlsLegacy legacy_;
  TlsStep met_ = TlsStep::kDone;  // behind text that was given first: an end, which the engine tells once
  bool finished_ = false;         // nothing more is sent
  bool over_ = false;             // nothing more is received either
  bool spoiled_ = false;          // it broke before we were finished
};

// Shakes hands. A server that sends a little now and then is watched all the same: `on_wait` is asked by the
// clock.
TlsResult ShakeHands(Wire& wire, TlsEngine& engine, milliseconds period, const std::function<bool()>& on_wait,
                     const TlsClock& now) {
  TlsStep step = TlsStep::kNeedsBytes;
  for (;;) {
    const Clock::time_point next_question = now() + period;
    wire.WaitUntil(next_question);
    if (step == TlsStep::kNeedsBytes) step = engine.ShakeHands(wire);
    const bool failed = step == TlsStep::kFailed || step == TlsStep::kClosed;
    std::string reason = failed && !wire.ended() ? engine.Failure() : "the server closed the connection";
    const IoStatus sent = wire.Flush(Until(next_question, now())).status;  // an alert, too
    if (failed || wire.ended() || sent == IoStatus::kFailed) {
      return WithStatus(TlsStatus::kHandshakeFailed, std::move(reason));
    }
    if (step == TlsStep::kDone && sent == IoStatus::kOk) return WithStatus(TlsStatus::kEstablished);
    if (now() >= next_question && !on_wait()) return WithStatus(TlsStatus::kAborted, "no answer");
  }
}

// Nothing of ours has been sent yet when this is asked.
void Judge(TlsVerdict verdict, const std::string& pinned_fingerprint, TlsResult& result) {
  const bool accepted = IsAccepted(verdict, pinned_fingerprint);
  result.certificate = std::move(verdict.certificate);
  if (verdict.aborted) {
    result.status = TlsStatus::kAborted;
    result.reason = "no answer";
  } else if (!result.certificate) {
    result.status = TlsStatus::kRejected;
    result.reason = "the server has no certificate";
  } else if (accepted) {
    result.pinned = !verdict.fault.empty();
  } else {
    result.status = TlsStatus::kRejected;
    result.reason = std::move(verdict.fault);
  }
}

}  // namespace

bool IsAccepted(const TlsVerdict& verdict, const std::string& pinned_fingerprint) {
  if (verdict.aborted || !verdict.certificate) return false;
  return verdict.fault.empty() ||
         (!pinned_fingerprint.empty() && pinned_fingerprint == verdict.certificate->fingerprint);
}

TlsResult SecureWithEngine(std::shared_ptr<Connection> plain, std::unique_ptr<TlsEngine> engine,
                           const std::string& pinned_fingerprint, milliseconds period,
                           const std::function<bool()>& on_wait, const TlsClock& now, TlsLegacy legacy) {
  period = std::clamp(period, milliseconds(1), kLongestWait);
  Wire wire(plain, now);
  TlsResult result = ShakeHands(wire, *engine, period, on_wait, now);
  if (result.status == TlsStatus::kEstablished) {
    Judge(engine->CheckCertificate(period, on_wait), pinned_fingerprint, result);
  }
  if (result.status == TlsStatus::kEstablished) {
    result.resumed = legacy.resumed = engine->IsResumed();
    result.connection =
        std::make_shared<TlsConnection>(std::move(plain), std::move(engine), std::move(legacy));
  }
  return result;
}

TlsResult SecureConnection(std::shared_ptr<Connection> plain, const TlsOptions& options, milliseconds period,
                           const std::function<bool()>& on_wait) {
  TlsLegacy legacy{options.sessions, {}, false};
  std::unique_ptr<TlsSession> session;
  if (options.sessions != nullptr) {
    legacy.claim = options.sessions->Take({options.server, options.host, options.pinned_fingerprint});
    session = std::move(legacy.claim.session);
  }
  std::unique_ptr<TlsEngine> engine = MakeTlsEngine(options, std::move(session));
  if (engine == nullptr) {
    return WithStatus(TlsStatus::kHandshakeFailed, "the system's TLS cannot be set up");
  }
  return SecureWithEngine(
      std::move(plain), std::move(engine), options.pinned_fingerprint, period, on_wait,
      [] { return Clock::now(); }, std::move(legacy));
}

}  // namespace quillbeaker
