// SPDX-License-Identifier: MIT

// Tells when a mail client that is somebody else's program began to log in, when it sent QUIT and when the
// answer came. Loaded into it with LD_PRELOAD; at the answer it writes the two spans between them, in
// seconds, into the file that the variable CLIENT_CLOCK names. Only for clients that speak POP3 in clear.

#include <dlfcn.h>
#include <sys/socket.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string_view>

namespace {

using Clock = std::chrono::steady_clock;

std::optional<Clock::time_point> login;
std::optional<Clock::time_point> quit_sent;
bool told = false;

double SecondsBetween(Clock::time_point begin, Clock::time_point end) {
  return std::chrono::duration<double>(end - begin).count();
}

void Tell(Clock::time_point answered) {
  const char* const path = std::getenv("CLIENT_CLOCK");
  std::FILE* const file = path == nullptr ? nullptr : std::fopen(path, "w");
  if (file == nullptr) return;
  std::fprintf(file, "%.6f %.6f\n", SecondsBetween(*login, *quit_sent), SecondsBetween(*quit_sent, answered));
  std::fclose(file);
}

template <typename Function>
Function* Original(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" {

ssize_t send(int socket, const void* bytes, size_t size, int flags) {
  static auto* const original = Original<decltype(send)>("send");
  const std::string_view command(static_cast<const char*>(bytes), size);
  if (!login && (command.starts_with("USER ") || command.starts_with("AUTH "))) login = Clock::now();
  if (command == "QUIT\r\n") quit_sent = Clock::now();
  return original(socket, bytes, size, flags);
}

ssize_t recv(int socket, void* bytes, size_t size, int flags) {
  static auto* const original = Original<decltype(recv)>("recv");
  const ssize_t got = original(socket, bytes, size, flags);
  if (got > 0 && quit_sent && login && !told) {
    told = true;
    Tell(Clock::now());
  }
  return got;
}

}  // extern "C"
