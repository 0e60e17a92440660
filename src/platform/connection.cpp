// SPDX-License-Identifier: MIT
#include "platform/connection.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <span>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "platform/sockets.h"

namespace quillbeaker {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// Waits are cut into slices, because not every system wakes a wait when another thread shuts the socket down.
constexpr milliseconds kSlice{250};
// The same for the wait for a client, which is woken by a connection of our own: only should that fail, too,
// is the end noticed so late. A shorter one would wake a program that has nothing to do.
constexpr milliseconds kIdleSlice{std::chrono::minutes(1)};
// A wait beyond this is for ever, and can be added to any moment without an overflow.
constexpr milliseconds kLongestWait{std::chrono::hours(24 * 365)};
// What a server may cost that never stops sending while we close.
constexpr std::size_t kMostDrained = 262144;
// What a name server may cost that answers with any number of addresses.
constexpr std::size_t kMostAddresses = 16;
// How long one address is tried alone while there is another: the delay that RFC 8305, section 5, recommends.
constexpr milliseconds kAttemptDelay{250};

milliseconds Sensible(milliseconds wait) {
  return std::clamp(wait, milliseconds(0), kLongestWait);
}

milliseconds Until(Clock::time_point moment) {
  return std::max(milliseconds(0), std::chrono::ceil<milliseconds>(moment - Clock::now()));
}

class SocketConnection : public Connection {
 public:
  explicit SocketConnection(Socket socket) : socket_(std::move(socket)) {
    SendWithoutDelay(socket_);
    KeepAlive(socket_);
  }

  ~SocketConnection() override {
    if (aborted_) return;
    // A socket that is closed with unread bytes resets the connection, and the peer may lose our last reply
    // with it.
    ShutDownSending(socket_);
    std::array<char, 4096> unread;
    std::size_t drained = 0;
    while (drained < kMostDrained) {
      const SocketResult result = ReceiveNow(socket_, unread.data(), unread.size());
      if (result.status != SocketStatus::kDone) break;
      drained += result.bytes;
    }
  }

  IoResult Receive(char* buffer, std::size_t capacity, milliseconds wait) override {
    if (capacity == 0) return {IoStatus::kFailed, 0};
    const Clock::time_point deadline = Clock::now() + Sensible(wait);
    for (;;) {
      if (aborted_) return {IoStatus::kFailed, 0};
      const SocketResult result = ReceiveNow(socket_, buffer, capacity);
      if (aborted_) return {IoStatus::kFailed, 0};
      switch (result.status) {
        case SocketStatus::kDone:
          return {IoStatus::kOk, result.bytes};
        case SocketStatus::kClosed:
          return {IoStatus::kClosed, 0};
        case SocketStatus::kFailed:
          return {IoStatus::kFailed, 0};
        case SocketStatus::kWouldBlock:
          break;
      }
      if (!WaitSlice(deadline, false)) return {IoStatus::kTimedOut, 0};
    }
  }

  IoResult Send(std::string_view bytes, milliseconds wait) override {
    std::size_t sent = 0;
    Clock::time_point deadline = Clock::now() + Sensible(wait);
    while (sent < bytes.size()) {
      if (aborted_) return {IoStatus::kFailed, sent};
      const SocketResult result = SendNow(socket_, bytes.substr(sent));
      if (result.status == SocketStatus::kDone) {
        sent += result.bytes;
        deadline = Clock::now() + Sensible(wait);
      } else if (result.status != SocketStatus::kWouldBlock) {
        return {IoStatus::kFailed, sent};
      } else if (!WaitSlice(deadline, true)) {
        return {IoStatus::kTimedOut, sent};
      }
    }
    return {aborted_ ? IoStatus::kFailed : IoStatus::kOk, sent};
  }

  void FinishSending() override { ShutDownSending(socket_); }

  bool PeerHasGone() override { return aborted_ || PeerHasClosed(socket_); }

  void Abort(std::string_view farewell) override {
    if (abort_begun_.exchange(true)) return;
    if (!farewell.empty()) SendNow(socket_, farewell);
    // In this order: who is woken by the shutdown sees the mark and takes it for a failure, not for the
    // peer's end.
    aborted_ = true;
    ShutDownBoth(socket_);
  }

 private:
  // Waits a slice; false when the deadline has passed.
  bool WaitSlice(Clock::time_point deadline, bool for_writing) {
    const milliseconds rest = Until(deadline);
    if (rest <= milliseconds(0)) return false;
    WatchedSocket watched{&socket_, for_writing, false};
    WaitForSockets(std::span(&watched, 1), std::min(rest, kSlice));
    return true;
  }

  Socket socket_;
  std::atomic<bool> abort_begun_{false};
  std::atomic<bool> aborted_{false};
};

class LoopbackListener : public Listener {
 public:
  explicit LoopbackListener(Socket socket) : socket_(std::move(socket)), port_(LocalPort(socket_)) {}

  int port() const override { return port_; }

  std::unique_ptr<Connection> Accept() override {
    while (!stopped_) {
      Socket accepted;
      const SocketStatus status = AcceptNow(socket_, accepted);
      if (stopped_) break;
      switch (status) {
        case SocketStatus::kDone:
          return std::make_unique<SocketConnection>(std::move(accepted));
        case SocketStatus::kFailed:
          return nullptr;
        case SocketStatus::kClosed:
          // The system may be out of descriptors: then the next try is better made later.
          std::this_thread::sleep_for(milliseconds(20));
          break;
        case SocketStatus::kWouldBlock: {
          WatchedSocket watched{&socket_, false, false};
          WaitForSockets(std::span(&watched, 1), kIdleSlice);
          break;
        }
      }
    }
    return nullptr;
  }

  void Stop() override {
    if (stopped_.exchange(true)) return;
    ShutDownBoth(socket_);
    // Windows does not wake who waits for a client then, but a client does everywhere.
    for (const SocketAddress& address : ReadAddress("127.0.0.1", port_)) waker_ = StartConnecting(address);
  }

 private:
  Socket socket_;
  const std::uint16_t port_;
  Socket waker_;  // kept: closed at once it might not arrive
  std::atomic<bool> stopped_{false};
};

// Shared with the thread that resolves, which may outlive the one who asked.
struct Resolution {
  std::mutex mutex;
  std::condition_variable answered;
  bool done = false;
  std::vector<SocketAddress> addresses;
};

// The addresses of a host, or nothing when `on_wait` gave up.
std::optional<std::vector<SocketAddress>> Resolve(const std::string& host, std::uint16_t port,
                                                  milliseconds period, const std::function<bool()>& on_wait) {
  if (auto addresses = ReadAddress(host, port); !addresses.empty()) return addresses;
  const auto resolution = std::make_shared<Resolution>();
  try {
    std::thread([resolution, host, port] {
      std::vector<SocketAddress> addresses = ResolveNow(host, port);
      const std::lock_guard guard(resolution->mutex);
      resolution->addresses = std::move(addresses);
      resolution->done = true;
      resolution->answered.notify_all();
    }).detach();
  } catch (const std::system_error&) {
    return std::vector<SocketAddress>();
  }
  std::unique_lock guard(resolution->mutex);
  while (!resolution->answered.wait_for(guard, period, [&] { return resolution->done; })) {
    guard.unlock();
    if (!on_wait()) return std::nullopt;
    guard.lock();
  }
  return std::move(resolution->addresses);
}

// Whether a connection to that address comes to the listener of ListenOnLoopback, whatever the port. The
// wildcard address means this machine, too.
bool ReachesOwnListener(const SocketAddress& address) {
  const std::string text = NumericHost(address);
  return text == "127.0.0.1" || text == "0.0.0.0" || text == "::ffff:127.0.0.1" || text == "::ffff:0.0.0.0";
}

// Attempts to connect to several addresses in their order. An attempt that is not answered stays open while
// the next ones are made, so that a silent first address costs a delay and not the connection.
class Attempts {
 public:
  explicit Attempts(std::vector<SocketAddress> addresses) : addresses_(std::move(addresses)) {}

  bool exhausted() const { return pending_.empty() && next_ == addresses_.size(); }
  ConnectStatus failure() const { return timed_out_ ? ConnectStatus::kTimedOut : ConnectStatus::kRefused; }

  // Makes the next attempt when it is due, waits for news at most until `deadline`, and gives the socket that
  // came through.
  Socket Advance(Clock::time_point deadline) {
    if (next_ < addresses_.size() && (pending_.empty() || Clock::now() >= next_due_)) {
      Socket socket = StartConnecting(addresses_[next_++]);
      next_due_ = Clock::now() + kAttemptDelay;
      if (!socket.valid()) return {};
      pending_.push_back(std::move(socket));
    }
    std::vector<WatchedSocket> watched;
    for (const Socket& socket : pending_) watched.push_back({&socket, true, false});
    const Clock::time_point end = next_ < addresses_.size() ? std::min(deadline, next_due_) : deadline;
    WaitForSockets(watched, Until(end));

    for (std::size_t i = watched.size(); i-- > 0;) {
      if (!watched[i].ready) continue;
      const ConnectProgress progress = ProgressOf(pending_[i]);
      if (progress == ConnectProgress::kPending) continue;
      if (progress == ConnectProgress::kConnected) return std::move(pending_[i]);
      timed_out_ = timed_out_ || progress == ConnectProgress::kTimedOut;
      pending_.erase(pending_.begin() + static_cast<std::ptrdiff_t>(i));
      next_due_ = Clock::now();
    }
    return {};
  }

 private:
  std::vector<SocketAddress> addresses_;
  std::vector<Socket> pending_;
  std::size_t next_ = 0;
  Clock::time_point next_due_ = Clock::now();
  bool timed_out_ = false;
};

}  // namespace

std::unique_ptr<Listener> ListenOnLoopback(int port, int backlog) {
  if (port < 0 || port > 65535) return nullptr;
  Socket socket = ListenOnLoopbackNow(static_cast<std::uint16_t>(port), backlog);
  if (!socket.valid()) return nullptr;
  return std::make_unique<LoopbackListener>(std::move(socket));
}

ConnectResult ConnectTo(const std::string& host, int port, milliseconds period,
                        const std::function<bool()>& on_wait, int own_port) {
  if (host.empty() || host.find('\0') != std::string::npos) return {ConnectStatus::kHostNotFound, nullptr};
  if (port < 1 || port > 65535) return {ConnectStatus::kNoSuchPort, nullptr};
  period = std::clamp(period, milliseconds(1), kLongestWait);

  auto addresses = Resolve(host, static_cast<std::uint16_t>(port), period, on_wait);
  if (!addresses) return {ConnectStatus::kAborted, nullptr};
  if (addresses->empty()) return {ConnectStatus::kHostNotFound, nullptr};
  const bool names_ourselves = port == own_port && std::erase_if(*addresses, ReachesOwnListener) > 0;
  // Deliberate: every address of a host is tried, not only its first: a host may be reachable by one family
  // alone.
  if (addresses->size() > kMostAddresses) addresses->resize(kMostAddresses);

  Attempts attempts(std::move(*addresses));
  Clock::time_point deadline = Clock::now() + period;
  while (!attempts.exhausted()) {
    Socket socket = attempts.Advance(deadline);
    if (socket.valid())
      return {ConnectStatus::kConnected, std::make_shared<SocketConnection>(std::move(socket))};
    if (Clock::now() >= deadline) {
      if (!on_wait()) return {ConnectStatus::kAborted, nullptr};
      deadline = Clock::now() + period;
    }
  }
  return {names_ourselves ? ConnectStatus::kOwnAddress : attempts.failure(), nullptr};
}

}  // namespace quillbeaker
