// SPDX-License-Identifier: MIT

// Loaded into quillbeaker-cli with LD_PRELOAD: the process is killed at a chosen file operation, or chosen
// file operations fail with a chosen error. The file that FAULT_POINTS names is mapped into memory; its
// layout is `Control` below, which fault_points.py writes from outside at any moment. Only files below the
// folder that FAULT_POINTS_BELOW names count, and no logs: a kill between two lines of a log shows nothing.

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace {

enum Operation : std::uint32_t {
  kCreate = 1,
  kWrite = 2,
  kFlush = 4,
  kRename = 8,
  kErase = 16,
  kTruncate = 32,
  kMakeDirectory = 64,
  kOpen = 128,  // for reading; this and kRead change nothing, so no kill waits for them
  kRead = 256,
};
constexpr std::uint32_t kMutations =
    kCreate | kWrite | kFlush | kRename | kErase | kTruncate | kMakeDirectory;

enum KillMode : std::uint32_t { kBefore, kAfter, kHalfWay };

struct Control {
  std::uint32_t kill_at;     // 1: at the next mutation that kill_mask has; 0: never
  std::uint32_t kill_mode;   // KillMode
  std::uint32_t kill_mask;   // the mutations that are counted for it
  std::uint32_t fail_mask;   // which operations fail
  std::uint32_t fail_skip;   // how many of them succeed first
  std::uint32_t fail_count;  // how many fail then
  std::uint32_t fail_errno;
  std::uint32_t mutations;  // counted here
  std::uint32_t failures;   // counted here
  std::uint32_t traced;     // counted here: lines of the trace
  std::array<std::uint32_t, 6> unused;
  std::array<char, 64> fail_match;  // only paths that hold this text
  std::array<std::array<char, 128>, 4096> trace;
};
static_assert(sizeof(Control) == 128 + 4096 * 128);

constexpr int kMostDescriptors = 1024;

Control* control = nullptr;
std::string_view below;
std::array<std::array<char, 112>, kMostDescriptors> path_of_descriptor;  // empty: not ours

std::uint32_t Increment(std::uint32_t& counter) {
  return std::atomic_ref(counter).fetch_add(1) + 1;
}

// True when a counter that was not 0 has become 0.
bool CountDown(std::uint32_t& counter) {
  std::atomic_ref value(counter);
  for (std::uint32_t now = value.load(); now != 0;) {
    if (value.compare_exchange_weak(now, now - 1)) return now == 1;
  }
  return false;
}

[[noreturn]] void Die() {
  kill(getpid(), SIGKILL);
  for (;;) pause();
}

__attribute__((constructor)) void Prepare() {
  const char* name = std::getenv("FAULT_POINTS");
  const char* folder = std::getenv("FAULT_POINTS_BELOW");
  if (name == nullptr || folder == nullptr) return;
  const int file = open(name, O_RDWR | O_CLOEXEC);
  if (file < 0) return;
  void* mapped = mmap(nullptr, sizeof(Control), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  close(file);
  if (mapped == MAP_FAILED) return;
  below = folder;
  control = static_cast<Control*>(mapped);
}

bool IsOurs(const char* path) {
  if (control == nullptr || path == nullptr) return false;
  const std::string_view name(path);
  return name.starts_with(below) && !name.ends_with(".log") && !name.ends_with(".lock");
}

const char* PathOf(int descriptor) {
  if (control == nullptr || descriptor < 0 || descriptor >= kMostDescriptors) return "";
  return path_of_descriptor[static_cast<std::size_t>(descriptor)].data();
}

// The path of a new descriptor, without the folder that all share.
int Remember(int descriptor, const char* path) {
  if (descriptor >= 0 && descriptor < kMostDescriptors) {
    auto& slot = path_of_descriptor[static_cast<std::size_t>(descriptor)];
    std::snprintf(slot.data(), slot.size(), "%s", path + below.size());
  }
  return descriptor;
}

void Trace(const char* what, const char* path, const char* note) {
  const std::uint32_t line = Increment(control->traced) - 1;
  auto& slot = control->trace[line % control->trace.size()];
  std::snprintf(slot.data(), slot.size(), "%s %.90s%s", what, path, note);
}

// What is to happen to one operation.
struct Fate {
  bool fails = false;
  bool dies_after = false;
  bool half = false;
};

Fate Meet(Operation operation, const char* what, const char* path) {
  Fate fate;
  const bool mutation = (operation & kMutations) != 0;
  const bool chosen = (std::atomic_ref(control->fail_mask).load() & operation) != 0 &&
                      std::strstr(path, control->fail_match.data()) != nullptr;
  if (chosen) {
    std::atomic_ref skip(control->fail_skip);
    std::atomic_ref count(control->fail_count);
    if (skip.load() > 0) {
      --skip;
    } else if (count.load() > 0) {
      --count;
      Increment(control->failures);
      fate.fails = true;
    }
  }
  if (mutation) {
    Trace(what, path, fate.fails ? " -> fails" : "");
    Increment(control->mutations);
    if ((std::atomic_ref(control->kill_mask).load() & operation) != 0 && CountDown(control->kill_at)) {
      const std::uint32_t mode = control->kill_mode;
      Trace("killed at", path, mode == kBefore ? " before" : mode == kAfter ? " after" : " half way");
      if (mode == kBefore) Die();
      fate.dies_after = mode == kAfter;
      fate.half = mode == kHalfWay;
    }
  } else if (fate.fails) {
    Trace(what, path, " -> fails");
  }
  if (fate.fails) errno = static_cast<int>(control->fail_errno);
  return fate;
}

template <typename Result, typename Call>
Result Carry(Operation operation, const char* what, const char* path, const Call& call) {
  const Fate fate = Meet(operation, what, path);
  if (fate.fails) return Result{-1};
  const Result result = call();
  if (fate.dies_after || fate.half) Die();
  return result;
}

template <typename Function>
Function Real(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

using OpenFunction = int (*)(const char*, int, ...);

int Open(OpenFunction real, const char* path, int flags, mode_t mode) {
  if (!IsOurs(path)) return real(path, flags, mode);
  const char* name = path + below.size();
  if ((flags & (O_CREAT | O_TRUNC)) == 0) {
    return Remember(Carry<int>(kOpen, "open", name, [&] { return real(path, flags, mode); }), path);
  }
  return Remember(Carry<int>(kCreate, "create", name, [&] { return real(path, flags, mode); }), path);
}

mode_t ModeOf(int flags, va_list arguments) {
  return (flags & (O_CREAT | O_TMPFILE)) != 0 ? static_cast<mode_t>(va_arg(arguments, int)) : mode_t{0};
}

}  // namespace

extern "C" {

int open(const char* path, int flags, ...) {
  static const auto real = Real<OpenFunction>("open");
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = ModeOf(flags, arguments);
  va_end(arguments);
  return Open(real, path, flags, mode);
}

int open64(const char* path, int flags, ...) {
  static const auto real = Real<OpenFunction>("open64");
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = ModeOf(flags, arguments);
  va_end(arguments);
  return Open(real, path, flags, mode);
}

int close(int descriptor) {
  static const auto real = Real<int (*)(int)>("close");
  if (*PathOf(descriptor) != 0) path_of_descriptor[static_cast<std::size_t>(descriptor)][0] = 0;
  return real(descriptor);
}

ssize_t write(int descriptor, const void* bytes, size_t size) {
  static const auto real = Real<ssize_t (*)(int, const void*, size_t)>("write");
  const char* path = PathOf(descriptor);
  if (*path == 0) return real(descriptor, bytes, size);
  const Fate fate = Meet(kWrite, "write", path);
  if (fate.fails) return -1;
  const ssize_t written = real(descriptor, bytes, fate.half ? size / 2 : size);
  if (fate.half || fate.dies_after) Die();
  return written;
}

ssize_t read(int descriptor, void* bytes, size_t size) {
  static const auto real = Real<ssize_t (*)(int, void*, size_t)>("read");
  const char* path = PathOf(descriptor);
  if (*path == 0) return real(descriptor, bytes, size);
  return Carry<ssize_t>(kRead, "read", path, [&] { return real(descriptor, bytes, size); });
}

int fsync(int descriptor) {
  static const auto real = Real<int (*)(int)>("fsync");
  const char* path = PathOf(descriptor);
  if (*path == 0) return real(descriptor);
  return Carry<int>(kFlush, "flush", path, [&] { return real(descriptor); });
}

int fdatasync(int descriptor) {
  static const auto real = Real<int (*)(int)>("fdatasync");
  const char* path = PathOf(descriptor);
  if (*path == 0) return real(descriptor);
  return Carry<int>(kFlush, "flush", path, [&] { return real(descriptor); });
}

int ftruncate(int descriptor, off_t size) {
  static const auto real = Real<int (*)(int, off_t)>("ftruncate");
  const char* path = PathOf(descriptor);
  if (*path == 0) return real(descriptor, size);
  return Carry<int>(kTruncate, "truncate", path, [&] { return real(descriptor, size); });
}

int rename(const char* from, const char* to) {
  static const auto real = Real<int (*)(const char*, const char*)>("rename");
  if (!IsOurs(to)) return real(from, to);
  return Carry<int>(kRename, "rename to", to + below.size(), [&] { return real(from, to); });
}

int renameat2(int from_folder, const char* from, int to_folder, const char* to, unsigned flags) {
  static const auto real = Real<int (*)(int, const char*, int, const char*, unsigned)>("renameat2");
  if (!IsOurs(to)) return real(from_folder, from, to_folder, to, flags);
  return Carry<int>(kRename, "rename to", to + below.size(),
                    [&] { return real(from_folder, from, to_folder, to, flags); });
}

int link(const char* from, const char* to) {
  static const auto real = Real<int (*)(const char*, const char*)>("link");
  if (!IsOurs(to)) return real(from, to);
  return Carry<int>(kRename, "link to", to + below.size(), [&] { return real(from, to); });
}

int unlink(const char* path) {
  static const auto real = Real<int (*)(const char*)>("unlink");
  if (!IsOurs(path)) return real(path);
  return Carry<int>(kErase, "erase", path + below.size(), [&] { return real(path); });
}

int mkdir(const char* path, mode_t mode) {
  static const auto real = Real<int (*)(const char*, mode_t)>("mkdir");
  if (!IsOurs(path)) return real(path, mode);
  return Carry<int>(kMakeDirectory, "mkdir", path + below.size(), [&] { return real(path, mode); });
}

}  // extern "C"
