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

class TlsConnection : public Connection {
 public:
  TlsConnection(std::shared_ptr<Connection> plain, std::unique_ptr<TlsEngine> engine)
      : plain_(std::move(plain)), engine_(std::move(engine)) {}

  IoResult Receive(char* buffer, std::size_t capacity, milliseconds wait) override {
    if (capacity == 0 || failed_) return {IoStatus::kFailed, 0};
    const Clock::time_point deadline = Clock::now() + std::clamp(wait, milliseconds(0), kLongestWait);
    std::array<char, kTlsRecord> received;
    bool asked = false;
    for (;;) {
      std::size_t count = 0;
      switch (engine_->Read(buffer, capacity, count)) {
        case TlsStep::kDone:
          return {IoStatus::kOk, count};
        case TlsStep::kClosed:
          return {IoStatus::kClosed, 0};
        case TlsStep::kFailed:
          if (finished_) return WaitForTheEnd(deadline);
          return Fail();
        case TlsStep::kNeedsBytes:
          break;
      }
      // A server may send what holds no text for as long as it likes.
      if (asked && Clock::now() >= deadline) return {IoStatus::kTimedOut, 0};
      asked = true;
      if (const IoResult sent = Flush(Until(deadline, Clock::now())); sent.status != IoStatus::kOk) {
        return {sent.status, 0};
      }
      const IoResult result =
          plain_->Receive(received.data(), received.size(), Until(deadline, Clock::now()));
      if (result.status == IoStatus::kTimedOut) return {IoStatus::kTimedOut, 0};
      // A stream that ends without a word of TLS may have been cut by anybody.
      if (result.status != IoStatus::kOk) return Fail();
      engine_->TakeReceived({received.data(), result.bytes});
    }
  }

  IoResult Send(std::string_view bytes, milliseconds wait) override {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
      if (failed_) return {IoStatus::kFailed, sent};
      if (const IoResult flushed = Flush(wait); flushed.status != IoStatus::kOk)
        return {flushed.status, sent};
      const std::string_view next = bytes.substr(sent, kTlsRecord);
      if (!engine_->Write(next)) return {Fail().status, sent};
      sent += next.size();
    }
    return {Flush(wait).status, sent};
  }

  void FinishSending() override {
    // The end of TLS's stream; TCP's stays open for what the server has to answer.
    if (failed_) return;
    engine_->CloseSending();
    finished_ = true;
    Flush(milliseconds(0));
  }

  bool PeerHasGone() override { return plain_->PeerHasGone(); }

  // The farewell could only be sent by the thread that uses the engine.
  void Abort(std::string_view) override { plain_->Abort({}); }

 private:
  // Deliberate: not every library decrypts any more once it has said its farewell. What the server still says
  // is of no use then, but it is the server that has to close: a reset may cost what it was told last.
  IoResult WaitForTheEnd(Clock::time_point deadline) {
    std::array<char, kTlsRecord> dropped;
    IoResult result{IoStatus::kOk, 0};
    while (result.status == IoStatus::kOk) {
      result = plain_->Receive(dropped.data(), dropped.size(), Until(deadline, Clock::now()));
    }
    if (result.status != IoStatus::kTimedOut) failed_ = true;
    return {result.status, 0};
  }

  IoResult Fail() {
    failed_ = true;
    return {IoStatus::kFailed, 0};
  }

  // Sends what the engine has made. What does not go out in time is kept for the next call.
  IoResult Flush(milliseconds wait) {
    unsent_ += engine_->TakeOutgoing();
    if (unsent_.empty()) return {IoStatus::kOk, 0};
    const IoResult result = plain_->Send(unsent_, wait);
    unsent_.erase(0, result.bytes);
    return result;
  }

  std::shared_ptr<Connection> plain_;
  std::unique_ptr<TlsEngine> engine_;
  std::string unsent_;
  bool finished_ = false;  // nothing more is sent
  bool failed_ = false;    // an engine that failed once is not asked again
};

// Shakes hands. A server that sends a little now and then is watched all the same: `on_wait` is asked by the
// clock.
TlsResult ShakeHands(Connection& plain, TlsEngine& engine, milliseconds period,
                     const std::function<bool()>& on_wait, const TlsClock& now) {
  std::array<char, kTlsRecord> received;
  Clock::time_point next_question = now() + period;
  std::string outgoing;
  for (;;) {
    const TlsStep step = engine.ShakeHands();
    outgoing += engine.TakeOutgoing();  // an alert, too
    IoResult moved{IoStatus::kOk, 0};
    if (!outgoing.empty()) {
      moved = plain.Send(outgoing, Until(next_question, now()));
      outgoing.erase(0, std::min(moved.bytes, outgoing.size()));
    }
    if (step == TlsStep::kFailed || step == TlsStep::kClosed) {
      return WithStatus(TlsStatus::kHandshakeFailed, engine.Failure());
    }
    if (step == TlsStep::kDone && outgoing.empty()) {
      return WithStatus(TlsStatus::kEstablished);
    }
    if (moved.status == IoStatus::kOk && step == TlsStep::kNeedsBytes) {
      moved = plain.Receive(received.data(), received.size(), Until(next_question, now()));
      if (moved.status == IoStatus::kOk) {
        engine.TakeReceived({received.data(), moved.bytes});
      }
    }
    if (moved.status == IoStatus::kClosed || moved.status == IoStatus::kFailed) {
      return WithStatus(TlsStatus::kHandshakeFailed, "the server closed the connection");
    }
    if (now() >= next_question) {
      if (!on_wait()) {
        return WithStatus(TlsStatus::kAborted, "no answer");
      }
      next_question = now() + period;
    }
  }
}

// Nothing of ours has been sent yet when this is asked.
void Judge(TlsVerdict verdict, const std::string& pinned_fingerprint, TlsResult& result) {
  result.certificate = std::move(verdict.certificate);
  if (verdict.aborted) {
    result.status = TlsStatus::kAborted;
    result.reason = "no answer";
    return;
  }
  if (!result.certificate) {
    result.status = TlsStatus::kRejected;
    result.reason = "the server has no certificate";
    return;
  }
  if (verdict.fault.empty()) {
    return;
  }
  if (!pinned_fingerprint.empty() && pinned_fingerprint == result.certificate->fingerprint) {
    result.pinned = true;
    return;
  }
  result.status = TlsStatus::kRejected;
  result.reason = std::move(verdict.fault);
}

}  // namespace

TlsResult SecureWithEngine(std::shared_ptr<Connection> plain, std::unique_ptr<TlsEngine> engine,
                           const std::string& pinned_fingerprint, milliseconds period,
                           const std::function<bool()>& on_wait, const TlsClock& now) {
  period = std::clamp(period, milliseconds(1), kLongestWait);
  TlsResult result = ShakeHands(*plain, *engine, period, on_wait, now);
  if (result.status == TlsStatus::kEstablished) {
    Judge(engine->CheckCertificate(period, on_wait), pinned_fingerprint, result);
  }
  if (result.status == TlsStatus::kEstablished) {
    result.connection = std::make_shared<TlsConnection>(std::move(plain), std::move(engine));
  }
  return result;
}

TlsResult SecureConnection(std::shared_ptr<Connection> plain, const TlsOptions& options, milliseconds period,
                           const std::function<bool()>& on_wait) {
  std::unique_ptr<TlsEngine> engine = MakeTlsEngine(options);
  if (engine == nullptr) {
    return WithStatus(TlsStatus::kHandshakeFailed, "the system's TLS cannot be set up");
  }
  return SecureWithEngine(std::move(plain), std::move(engine), options.pinned_fingerprint, period, on_wait,
                          [] { return Clock::now(); });
}

}  // namespace quillbeaker
