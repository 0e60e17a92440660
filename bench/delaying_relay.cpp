// SPDX-License-Identifier: MIT

// A line to a server far away: bytes pass through unchanged and in order, each as late as such a line would
// bring it.
//
//   delaying-relay SERVER_PORT [ROUND_TRIP_MS [KILOBYTES_PER_SECOND]]
//
// Without the numbers 40 ms and 500 kB/s each way. Every connection has a line of its own. One thread that
// sleeps between segments, so that it takes next to nothing from the processor whose work is measured.

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <list>
#include <string>
#include <string_view>
#include <vector>

#include "loopback.h"

namespace quillbeaker::bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kSegment = 1460;      // bytes, of TCP over Ethernet
constexpr std::size_t kWindow = 64 * 1024;  // bytes under way each way: more than one round trip holds

struct Line {
  Clock::duration one_way;
  double seconds_per_byte;
};

// One direction of a connection.
class Way {
 public:
  Way(const Line& line, int from, int to, Clock::time_point free)
      : line_(line), from_(from), to_(to), free_(free) {}

  int source() const { return from_; }
  bool wants_bytes() const { return !ended_ && held_ < kWindow; }
  bool is_done() const { return ended_ && segments_.empty(); }
  // When Deliver has something to do next; needs a segment.
  Clock::time_point due() const { return segments_.front().due; }
  bool has_segments() const { return !segments_.empty(); }

  void Receive(Clock::time_point now) {
    std::array<char, kWindow> buffer;
    const ssize_t got = recv(from_, buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (got < 0 && (errno == EAGAIN || errno == EINTR)) return;
    std::string_view bytes(buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    ended_ = bytes.empty();
    // The end of the stream travels behind its last byte, as a segment without any.
    do {
      const std::string_view segment = bytes.substr(0, kSegment);
      const std::chrono::duration<double> taken(line_.seconds_per_byte * static_cast<double>(segment.size()));
      free_ = std::max(free_, now) + std::chrono::duration_cast<Clock::duration>(taken);
      segments_.push_back({free_ + line_.one_way, std::string(segment)});
      held_ += segment.size();
      bytes.remove_prefix(segment.size());
    } while (!bytes.empty());
  }

  void Deliver(Clock::time_point now) {
    for (; !segments_.empty() && segments_.front().due <= now; segments_.pop_front()) {
      const std::string& bytes = segments_.front().bytes;
      held_ -= bytes.size();
      if (bytes.empty() || !SendAll(to_, bytes)) shutdown(to_, SHUT_WR);
    }
  }

 private:
  struct Segment {
    Clock::time_point due;
    std::string bytes;
  };

  const Line line_;
  const int from_;
  const int to_;
  Clock::time_point free_;  // when the line has taken in all that it was given
  std::deque<Segment> segments_;
  std::size_t held_ = 0;
  bool ended_ = false;
};

// What is sent before the other side can know of the connection waits for the three segments that open one:
// the client for two of them, the server for all.
struct Link {
  Link(const Line& line, int client_socket, int server_socket, Clock::time_point now)
      : client(client_socket),
        server(server_socket),
        ways{Way(line, client, server, now + 2 * line.one_way),
             Way(line, server, client, now + 3 * line.one_way)} {}
  Link(const Link&) = delete;
  ~Link() {
    close(client);
    close(server);
  }

  const int client;
  const int server;
  std::array<Way, 2> ways;
};

class Relay {
 public:
  Relay(const Line& line, int listener, std::uint16_t server_port)
      : line_(line), listener_(listener), server_port_(server_port) {}

  [[noreturn]] void Run() {
    for (;;) {
      Wait();
      const Clock::time_point now = Clock::now();
      if (polled_.front().revents != 0) Open(now);
      for (Link& link : links_) {
        for (Way& way : link.ways) way.Deliver(now);
      }
      links_.remove_if([](const Link& link) { return link.ways[0].is_done() && link.ways[1].is_done(); });
    }
  }

 private:
  // Until bytes or a client come, which are taken in, or a segment is due.
  void Wait() {
    polled_.assign(1, {listener_, POLLIN, 0});
    std::vector<Way*> read;
    Clock::time_point due = Clock::time_point::max();
    for (Link& link : links_) {
      for (Way& way : link.ways) {
        if (way.has_segments()) due = std::min(due, way.due());
        if (!way.wants_bytes()) continue;
        polled_.push_back({way.source(), POLLIN, 0});
        read.push_back(&way);
      }
    }
    const auto left = std::max(due - Clock::now(), Clock::duration::zero());
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(left);
    const timespec limit{seconds.count(), static_cast<long>((left - seconds).count())};
    ppoll(polled_.data(), polled_.size(), due == Clock::time_point::max() ? nullptr : &limit, nullptr);
    const Clock::time_point now = Clock::now();
    for (std::size_t i = 0; i < read.size(); ++i) {
      if (polled_[i + 1].revents != 0) read[i]->Receive(now);
    }
  }

  void Open(Clock::time_point now) {
    const int client = Accept(listener_);
    const int server = Connect(server_port_);
    if (client >= 0 && server >= 0) {
      links_.emplace_back(line_, client, server, now);
    } else {
      close(client);
      close(server);
    }
  }

  const Line line_;
  const int listener_;
  const std::uint16_t server_port_;
  std::list<Link> links_;
  std::vector<pollfd> polled_;  // the listener first
};

}  // namespace
}  // namespace quillbeaker::bench

int main(int argc, char** argv) {
  using namespace quillbeaker::bench;
  const double round_trip_ms = argc > 2 ? std::atof(argv[2]) : 40;
  const double kilobytes = argc > 3 ? std::atof(argv[3]) : 500;
  if (argc < 2 || round_trip_ms < 0 || kilobytes <= 0) {
    std::fprintf(stderr, "usage: delaying-relay SERVER_PORT [ROUND_TRIP_MS [KILOBYTES_PER_SECOND]]\n");
    return 2;
  }
  const std::chrono::duration<double, std::milli> one_way(round_trip_ms / 2);
  const Line line{std::chrono::duration_cast<Clock::duration>(one_way), 1 / (kilobytes * 1000)};
  const std::uint16_t server_port = PortArgument(argv[1]);
  Relay(line, ListenOnLoopback(), server_port).Run();
}
