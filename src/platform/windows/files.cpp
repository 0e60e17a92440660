// SPDX-License-Identifier: MIT
#include "platform/files.h"

#include <windows.h>

#include <algorithm>
#include <mutex>

#include "platform/windows/calendar.h"
#include "platform/windows/file_handle.h"
#include "platform/windows/wide.h"

namespace quillbeaker {
namespace {

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// A file that another program looks at (a virus scanner, an indexer) or that is being replaced right now is
// refused for a moment: half a second is waited in all.
constexpr int kAttempts = 50;
constexpr DWORD kAttemptPause = 10;  // milliseconds

bool PassesSoon(DWORD error) {
  return error == ERROR_SHARING_VIOLATION || error == ERROR_ACCESS_DENIED || error == ERROR_LOCK_VIOLATION ||
         error == ERROR_USER_MAPPED_FILE;
}

bool MeansMissing(DWORD error) {
  return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND || error == ERROR_INVALID_NAME ||
         error == ERROR_BAD_NETPATH;
}

// Reads the thread's last error unless another is given: call it before anything else that may set it.
FileResult Failed(const std::string& path, DWORD error = GetLastError()) {
  const DWORD known = error != ERROR_SUCCESS ? error : static_cast<DWORD>(ERROR_GEN_FAILURE);
  return {path, std::error_code(static_cast<int>(known), std::system_category())};
}

// Calls `attempt`, which tells success, until it has some or fails for good.
template <typename Attempt>
bool Persist(Attempt attempt) {
  for (int i = 1; !attempt(); ++i) {
    if (i == kAttempts || !PassesSoon(GetLastError())) return false;
    Sleep(kAttemptPause);
  }
  return true;
}

DWORD AttributesOf(const std::wstring& path) {
  return GetFileAttributesW(path.c_str());
}

bool Exists(DWORD attributes) {
  return attributes != INVALID_FILE_ATTRIBUTES;
}

bool IsDirectory(DWORD attributes) {
  return Exists(attributes) && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

FileHandle Open(const std::wstring& path, DWORD access, DWORD share, DWORD disposition, DWORD flags) {
  return FileHandle(CreateFileW(path.c_str(), access, share, nullptr, disposition, flags, nullptr));
}

// Written and, when asked for, on the disk; nothing is left of it otherwise.
FileResult WriteNewFile(const std::string& path, std::string_view bytes, bool flush) {
  const std::wstring wide = WidePath(path);
  FileHandle file;
  const bool opened = Persist([&] {
    file = Open(wide, GENERIC_WRITE, 0, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL);
    return file.valid();
  });
  if (!opened) return Failed(path);
  FileResult result;
  if (!WriteAll(file, bytes) || (flush && !FlushFileBuffers(file.get()))) result = Failed(path);
  if (!file.Close() && result) result = Failed(path);
  if (!result) DeleteFileW(wide.c_str());
  return result;
}

char Lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
}

bool EndsWithIgnoringCase(std::string_view text, std::string_view suffix) {
  return text.size() >= suffix.size() &&
         std::equal(suffix.begin(), suffix.end(), text.end() - static_cast<std::ptrdiff_t>(suffix.size()),
                    [](char a, char b) { return Lower(a) == Lower(b); });
}

std::uint64_t Together(DWORD high, DWORD low) {
  return (std::uint64_t{high} << 32) | low;
}

// Nanoseconds since 1970: counted from the system's own 1601 they would not fit.
std::int64_t Nanoseconds(const FILETIME& time) {
  constexpr std::int64_t kFrom1601To1970 = 116444736000000000;
  return (static_cast<std::int64_t>(Together(time.dwHighDateTime, time.dwLowDateTime)) - kFrom1601To1970) *
         100;
}

}  // namespace

const char kPathSeparator = '\\';

bool FileResult::IsMissing() const {
  return code && MeansMissing(static_cast<DWORD>(code.value()));
}

std::string SystemErrorText(const std::error_code& code) {
  if (code.category() != std::system_category()) return code.message();
  constexpr DWORD kCapacity = 512;
  wchar_t text[kCapacity];
  // Inserts are left as they stand: there is nothing to fill them with.
  const DWORD size = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                    static_cast<DWORD>(code.value()), 0, text, kCapacity, nullptr);
  std::string utf8 = Utf8FromWide(std::wstring_view(text, size));
  // The system ends its sentences with CR LF, and breaks some.
  std::erase(utf8, '\r');
  while (utf8.ends_with('\n') || utf8.ends_with(' ')) utf8.pop_back();
  std::replace(utf8.begin(), utf8.end(), '\n', ' ');
  return utf8.empty() ? "error " + std::to_string(code.value()) : utf8;
}

FileContents ReadContents(const std::string& path) {
  const auto failed = [&path](DWORD error) { return FileContents{std::nullopt, Failed(path, error)}; };
  const std::wstring wide = WidePath(path);
  FileHandle file;
  const bool opened = Persist([&] {
    if (IsDirectory(AttributesOf(wide))) {
      SetLastError(ERROR_DIRECTORY);
      return false;
    }
    file = Open(wide, GENERIC_READ, kShareAll, OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN);
    return file.valid();
  });
  LARGE_INTEGER expected;
  if (!opened || !GetFileSizeEx(file.get(), &expected)) return failed(GetLastError());

  if (static_cast<std::uint64_t>(expected.QuadPart) > kMostFileBytes) return failed(ERROR_FILE_TOO_LARGE);
  constexpr std::size_t kMostAtOnce = 1 << 24;
  std::string bytes(static_cast<std::size_t>(expected.QuadPart) + 1, '\0');
  std::size_t size = 0;
  for (;;) {
    if (size > kMostFileBytes) return failed(ERROR_FILE_TOO_LARGE);
    if (size == bytes.size()) bytes.resize(std::min<std::size_t>(2 * size, kMostFileBytes + 1));
    DWORD got = 0;
    const auto capacity = static_cast<DWORD>(std::min(bytes.size() - size, kMostAtOnce));
    if (!ReadFile(file.get(), bytes.data() + size, capacity, &got, nullptr)) return failed(GetLastError());
    if (got == 0) break;
    size += got;
  }
  bytes.resize(size);
  return {std::move(bytes), {}};
}

std::optional<std::string> ReadWholeFile(const std::string& path) {
  return ReadContents(path).bytes;
}

FileResult ReplaceWholeFile(const std::string& path, std::string_view bytes) {
  const std::wstring target = WidePath(path);
  const DWORD attributes = AttributesOf(target);
  if (Exists(attributes) && (attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_READONLY)) != 0)
    return Failed(path, ERROR_ACCESS_DENIED);

  // The file beside has always the same name, so that a killed process leaves one at most. Between processes
  // the store's lock keeps two writers apart, within this one the mutex does.
  static std::mutex one_at_a_time;
  const std::lock_guard guard(one_at_a_time);
  const std::string beside = path + ".new";
  if (FileResult written = WriteNewFile(beside, bytes, true); !written) return written;
  const std::wstring wide_beside = WidePath(beside);
  const bool replaced = Persist([&] {
    return MoveFileExW(wide_beside.c_str(), target.c_str(),
                       MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0;
  });
  if (replaced) return {};
  FileResult failed = Failed(path);
  DeleteFileW(wide_beside.c_str());
  return failed;
}

FileResult WriteWholeFile(const std::string& path, std::string_view bytes, bool flush) {
  return WriteNewFile(path, bytes, flush);
}

// The file system's journal keeps names; a directory cannot be flushed by itself.
FileResult FlushDirectory(const std::string& directory) {
  return DirectoryExists(directory) ? FileResult() : Failed(directory, ERROR_PATH_NOT_FOUND);
}

FileResult EraseFile(const std::string& path) {
  return DeleteFileW(WidePath(path).c_str()) != 0 ? FileResult() : Failed(path);
}

FileResult RenameFile(const std::string& from, const std::string& to) {
  return MoveFileExW(WidePath(from).c_str(), WidePath(to).c_str(), MOVEFILE_WRITE_THROUGH) != 0
             ? FileResult()
             : Failed(from);
}

bool FileExists(const std::string& path) {
  const DWORD attributes = AttributesOf(WidePath(path));
  return Exists(attributes) && !IsDirectory(attributes);
}

FileResult MakeDirectory(const std::string& path) {
  if (CreateDirectoryW(WidePath(path).c_str(), nullptr) != 0) return {};
  FileResult failed = Failed(path);
  return DirectoryExists(path) ? FileResult() : failed;
}

bool DirectoryExists(const std::string& path) {
  return IsDirectory(AttributesOf(WidePath(path)));
}

FileNames ReadFileNames(const std::string& directory, std::string_view suffix) {
  FileNames files;
  std::string pattern = directory;
  if (!pattern.ends_with('\\') && !pattern.ends_with('/')) pattern += kPathSeparator;
  WIN32_FIND_DATAW entry;
  const HANDLE search = FindFirstFileW(WidePath(pattern + '*').c_str(), &entry);
  if (search == INVALID_HANDLE_VALUE) {
    // The root of an empty drive has not even "." in it.
    if (GetLastError() != ERROR_FILE_NOT_FOUND) files.result = Failed(directory);
    return files;
  }
  do {
    if ((entry.dwFileAttributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT)) != 0) continue;
    std::string name = Utf8FromWide(entry.cFileName);
    if (EndsWithIgnoringCase(name, suffix)) files.names.push_back(std::move(name));
  } while (FindNextFileW(search, &entry));
  if (GetLastError() != ERROR_NO_MORE_FILES) files.result = Failed(directory);
  FindClose(search);
  std::sort(files.names.begin(), files.names.end());
  return files;
}

std::vector<std::string> ListFiles(const std::string& directory, std::string_view suffix) {
  return ReadFileNames(directory, suffix).names;
}

std::optional<std::uint64_t> FileSize(const std::string& path) {
  WIN32_FILE_ATTRIBUTE_DATA data;
  if (!GetFileAttributesExW(WidePath(path).c_str(), GetFileExInfoStandard, &data)) return std::nullopt;
  if (IsDirectory(data.dwFileAttributes)) return std::nullopt;
  return Together(data.nFileSizeHigh, data.nFileSizeLow);
}

std::optional<CalendarTime> LastWriteTime(const std::string& path) {
  WIN32_FILE_ATTRIBUTE_DATA data;
  SYSTEMTIME utc;
  SYSTEMTIME local;
  if (!GetFileAttributesExW(WidePath(path).c_str(), GetFileExInfoStandard, &data)) return std::nullopt;
  // Summer time is that of the file's date, not of today.
  if (!FileTimeToSystemTime(&data.ftLastWriteTime, &utc)) return std::nullopt;
  if (!SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local)) return std::nullopt;
  return CalendarTimeOf(local);
}

FileState StateOfFile(const std::string& path) {
  FileState state;
  const FileHandle file =
      Open(WidePath(path), FILE_READ_ATTRIBUTES, kShareAll, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS);
  if (!file.valid()) {
    // What is refused is there all the same: nobody must take it for missing and write a new one.
    state.exists = !MeansMissing(GetLastError());
    return state;
  }
  state.exists = true;
  BY_HANDLE_FILE_INFORMATION information;
  if (!GetFileInformationByHandle(file.get(), &information)) return state;
  state.device = information.dwVolumeSerialNumber;
  state.index = Together(information.nFileIndexHigh, information.nFileIndexLow);
  state.size = Together(information.nFileSizeHigh, information.nFileSizeLow);
  state.modified = Nanoseconds(information.ftLastWriteTime);
  return state;
}

bool ChangedJustNow(const FileState& state) {
  // Files are stamped with the system time, which moves every 15.6 ms, or every 10 ms on exFAT. FAT knows
  // double seconds only, and shows by them.
  constexpr std::int64_t kDoubleSecond = 2'000'000'000;
  constexpr std::int64_t kTicks = 50'000'000;
  const std::int64_t granularity = state.modified % kDoubleSecond == 0 ? kDoubleSecond + kTicks : kTicks;
  FILETIME now;
  GetSystemTimeAsFileTime(&now);
  // A stamp from the future, as a wrong clock leaves it, is no sign of a change just now.
  const std::int64_t age = Nanoseconds(now) - state.modified;
  return age <= granularity && age >= -granularity;
}

std::string PathFromLatin1(std::string_view latin1) {
  std::string utf8;
  for (const char c : latin1) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80) {
      utf8.push_back(c);
    } else {
      utf8.push_back(static_cast<char>(0xC0 | (byte >> 6)));
      utf8.push_back(static_cast<char>(0x80 | (byte & 0x3F)));
    }
  }
  return utf8;
}

}  // namespace quillbeaker
