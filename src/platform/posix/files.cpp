// SPDX-License-Identifier: MIT
#include "platform/files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "platform/posix/calendar.h"
#include "platform/posix/file_descriptor.h"

namespace quillbeaker {
namespace {

struct FreeMemory {
  void operator()(char* memory) const { std::free(memory); }
};
struct CloseDirectory {
  void operator()(DIR* directory) const { closedir(directory); }
};

// Reads errno unless another error is given: call it before anything else that may set it.
FileResult Failed(const std::string& path, int error = errno) {
  return {path, std::error_code(error != 0 ? error : EIO, std::system_category())};
}

bool StatusOf(const std::string& path, struct stat& status) {
  return stat(path.c_str(), &status) == 0;
}

// What a link stands for; the path itself when it is none or names nothing.
std::string TargetOf(const std::string& path) {
  struct stat status;
  if (lstat(path.c_str(), &status) != 0 || !S_ISLNK(status.st_mode)) return path;
  const std::unique_ptr<char, FreeMemory> target(realpath(path.c_str(), nullptr));
  return target ? std::string(target.get()) : path;
}

// rename(2) would replace a file that must not be written, and the superuser may write everything: so the
// mode decides.
FileResult CheckWritable(const std::string& path, const struct stat& status) {
  if (S_ISDIR(status.st_mode)) return Failed(path, EISDIR);
  if (!S_ISREG(status.st_mode)) return Failed(path, EINVAL);
  if ((status.st_mode & 0222) == 0) return Failed(path, EACCES);
  return access(path.c_str(), W_OK) == 0 ? FileResult() : Failed(path);
}

// The file beside `path` in which its next state is written, empty and locked. Its name is always the same,
// so that a killed process leaves one such file at most, which the next write takes over; the lock keeps two
// writers apart. Not valid on failure, with errno set.
FileDescriptor OpenBeside(const std::string& beside) {
  for (int attempt = 0; attempt < 100; ++attempt) {
    FileDescriptor file = OpenFile(beside.c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW);
    if (!file.valid()) return file;
    while (flock(file.get(), LOCK_EX) != 0) {
      if (errno != EINTR) return FileDescriptor();
    }
    // Whoever held the lock before may have renamed the file by now.
    struct stat mine;
    struct stat named;
    if (fstat(file.get(), &mine) != 0) return FileDescriptor();
    if (lstat(beside.c_str(), &named) == 0 && named.st_dev == mine.st_dev && named.st_ino == mine.st_ino) {
      if (!S_ISREG(mine.st_mode)) {
        errno = EINVAL;
        return FileDescriptor();
      }
      if (ftruncate(file.get(), 0) != 0) return FileDescriptor();
      return file;
    }
  }
  errno = EAGAIN;
  return FileDescriptor();
}

bool EndsWithIgnoringCase(std::string_view text, std::string_view suffix) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
  if (text.size() < suffix.size()) return false;
  return std::equal(suffix.begin(), suffix.end(), text.end() - static_cast<std::ptrdiff_t>(suffix.size()),
                    [&](char a, char b) { return lower(a) == lower(b); });
}

std::int64_t Nanoseconds(const timespec& time) {
  return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

}  // namespace

const char kPathSeparator = '/';

bool FileResult::IsMissing() const {
  return code == std::errc::no_such_file_or_directory || code == std::errc::not_a_directory;
}

std::string SystemErrorText(const std::error_code& code) {
  return code.message();
}

FileContents ReadContents(const std::string& path) {
  const auto failed = [&path](int error) { return FileContents{std::nullopt, Failed(path, error)}; };
  const FileDescriptor file = OpenFile(path.c_str(), O_RDONLY | O_NONBLOCK);
  struct stat status;
  if (!file.valid() || fstat(file.get(), &status) != 0) return failed(errno);
  if (S_ISDIR(status.st_mode)) return failed(EISDIR);
  // Nobody may ever write into a pipe: reading it could wait for ever.
  if (S_ISFIFO(status.st_mode)) return failed(EINVAL);
  if (static_cast<std::uint64_t>(status.st_size) > kMostFileBytes) return failed(EFBIG);

  // One byte more than the file has now, so that its end is seen without growing. A device tells no size.
  constexpr std::size_t kLeast = 4096;
  std::string bytes(std::max(static_cast<std::size_t>(status.st_size) + 1, kLeast), '\0');
  std::size_t size = 0;
  for (;;) {
    if (size > kMostFileBytes) return failed(EFBIG);
    if (size == bytes.size()) bytes.resize(std::min<std::size_t>(2 * size, kMostFileBytes + 1));
    const std::ptrdiff_t got = ReadSome(file.get(), bytes.data() + size, bytes.size() - size);
    if (got < 0) return failed(errno);
    if (got == 0) break;
    size += static_cast<std::size_t>(got);
  }
  bytes.resize(size);
  return {std::move(bytes), {}};
}

std::optional<std::string> ReadWholeFile(const std::string& path) {
  return ReadContents(path).bytes;
}

FileResult ReplaceWholeFile(const std::string& path, std::string_view bytes) {
  const std::string target = TargetOf(path);
  struct stat old_status;
  const bool exists = StatusOf(target, old_status);
  if (exists) {
    if (FileResult writable = CheckWritable(target, old_status); !writable) return writable;
  }

  const std::string beside = target + ".new";
  FileDescriptor file = OpenBeside(beside);
  if (!file.valid()) return Failed(beside);
  if (exists) {
    // The owner can be given back by the superuser only, who needs it: the file would be lost to its user
    // otherwise.
    if (fchown(file.get(), old_status.st_uid, old_status.st_gid) != 0) errno = 0;
  }
  const mode_t mode = exists ? old_status.st_mode & 07777 : 0600;
  const bool written = fchmod(file.get(), mode) == 0 && WriteAll(file.get(), bytes) && fsync(file.get()) == 0;
  // Renamed while it is open, since its lock ends with the descriptor.
  if (written && rename(beside.c_str(), target.c_str()) == 0) return {};
  FileResult failed = Failed(target);
  unlink(beside.c_str());
  return failed;
}

FileResult WriteWholeFile(const std::string& path, std::string_view bytes, bool flush) {
  FileDescriptor file = OpenFile(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC);
  if (!file.valid()) return Failed(path);
  FileResult result;
  if (!WriteAll(file.get(), bytes) || (flush && fsync(file.get()) != 0)) result = Failed(path);
  if (!file.Close() && result) result = Failed(path);
  if (!result) unlink(path.c_str());
  return result;
}

FileResult FlushDirectory(const std::string& directory) {
  const FileDescriptor file = OpenFile(directory.c_str(), O_RDONLY | O_DIRECTORY);
  if (!file.valid()) return Failed(directory);
  if (fsync(file.get()) == 0) return {};
  // Some file systems cannot flush a directory by itself: they need none, or there is no more to be done.
  return errno == EINVAL || errno == ENOTSUP ? FileResult() : Failed(directory);
}

FileResult EraseFile(const std::string& path) {
  return unlink(path.c_str()) == 0 ? FileResult() : Failed(path);
}

FileResult RenameFile(const std::string& from, const std::string& to) {
#ifdef RENAME_NOREPLACE
  if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return {};
  if (errno != EINVAL && errno != ENOSYS) return Failed(from);
#endif
  // Some file systems know no such rename: then there is a moment between the look and the deed.
  struct stat status;
  if (lstat(to.c_str(), &status) == 0) return Failed(to, EEXIST);
  return rename(from.c_str(), to.c_str()) == 0 ? FileResult() : Failed(from);
}

bool FileExists(const std::string& path) {
  struct stat status;
  return StatusOf(path, status) && !S_ISDIR(status.st_mode);
}

FileResult MakeDirectory(const std::string& path) {
  if (mkdir(path.c_str(), 0700) == 0) return {};
  FileResult failed = Failed(path);
  return failed.code == std::errc::file_exists && DirectoryExists(path) ? FileResult() : failed;
}

bool DirectoryExists(const std::string& path) {
  struct stat status;
  return StatusOf(path, status) && S_ISDIR(status.st_mode);
}

FileNames ReadFileNames(const std::string& directory, std::string_view suffix) {
  FileNames files;
  const std::unique_ptr<DIR, CloseDirectory> stream(opendir(directory.c_str()));
  if (!stream) {
    files.result = Failed(directory);
    return files;
  }
  for (;;) {
    errno = 0;  // the only sign that tells an error of readdir(3) from the end
    const dirent* entry = readdir(stream.get());
    if (entry == nullptr) {
      if (errno != 0) files.result = Failed(directory);
      break;
    }
    if (!EndsWithIgnoringCase(entry->d_name, suffix)) continue;
    bool regular = entry->d_type == DT_REG;
    if (entry->d_type == DT_UNKNOWN) {
      struct stat status;
      regular = fstatat(dirfd(stream.get()), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
                S_ISREG(status.st_mode);
    }
    if (regular) files.names.emplace_back(entry->d_name);
  }
  std::sort(files.names.begin(), files.names.end());
  return files;
}

std::vector<std::string> ListFiles(const std::string& directory, std::string_view suffix) {
  return ReadFileNames(directory, suffix).names;
}

std::optional<std::uint64_t> FileSize(const std::string& path) {
  struct stat status;
  if (!StatusOf(path, status) || S_ISDIR(status.st_mode)) return std::nullopt;
  return static_cast<std::uint64_t>(status.st_size);
}

std::optional<CalendarTime> LastWriteTime(const std::string& path) {
  struct stat status;
  if (!StatusOf(path, status)) return std::nullopt;
  return LocalCalendarTime(status.st_mtim);
}

FileState StateOfFile(const std::string& path) {
  FileState state;
  struct stat status;
  if (!StatusOf(path, status)) {
    // What may not be looked at is there all the same: nobody must take it for missing and write a new one.
    state.exists = errno != ENOENT && errno != ENOTDIR;
    return state;
  }
  state.exists = true;
  state.device = static_cast<std::uint64_t>(status.st_dev);
  state.index = static_cast<std::uint64_t>(status.st_ino);
  state.size = static_cast<std::uint64_t>(status.st_size);
  state.modified = Nanoseconds(status.st_mtim);
  return state;
}

bool ChangedJustNow(const FileState& state) {
  // The kernel stamps files with its coarse clock, which moves once per tick: 10 ms at the slowest setting
  // (100 Hz). File systems with whole seconds (FAT: two of them) show by stamps without a fraction.
  constexpr std::int64_t kSecond = 1'000'000'000;
  constexpr std::int64_t kTicks = 20'000'000;
  const std::int64_t granularity = state.modified % kSecond == 0 ? 2 * kSecond + kTicks : kTicks;
  timespec now{};
#ifdef CLOCK_REALTIME_COARSE
  clock_gettime(CLOCK_REALTIME_COARSE, &now);
#else
  clock_gettime(CLOCK_REALTIME, &now);
#endif
  // A stamp from the future, as a wrong clock leaves it, is no sign of a change just now.
  const std::int64_t age = Nanoseconds(now) - state.modified;
  return age <= granularity && age >= -granularity;
}

std::string PathFromLatin1(std::string_view latin1) {
  return std::string(latin1);
}

}  // namespace quillbeaker
