// SPDX-License-Identifier: MIT
#pragma once

// Files as the stores need them: whole files read at once and replaced atomically, names listed, times told.
// Paths are UTF-8 on every system. No function throws; failure is the return value, with its reason where
// that is a FileResult. New files and directories are for the user alone (mode 0600 and 0700 where the system
// has modes). Any thread may call anything here.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/calendar_time.h"
#include "platform/file_result.h"

namespace quillbeaker {

extern const char kPathSeparator;  // '/' or '\\'

// What ReadWholeFile reads at most. A device without end, or a file with holes of some terabytes, shall cost
// no more memory than that; nothing of ours, and no mail, comes near it.
inline constexpr std::uint64_t kMostFileBytes = std::uint64_t{1} << 30;

// The whole content of a file, or nothing when it cannot be opened or read (a directory included) or is
// larger than kMostFileBytes.
[[nodiscard]] std::optional<std::string> ReadWholeFile(const std::string& path);

// The same with the reason, for callers that must not take a file that cannot be read for a missing one.
struct FileContents {
  std::optional<std::string> bytes;
  FileResult result;  // true when there are bytes
};
[[nodiscard]] FileContents ReadContents(const std::string& path);

// Puts `bytes` in the place of the file in one step: written beside it, flushed to the disk, renamed over it.
// A crash or a full disk leaves the old file or the new one. A read-only target is left as it is and the call
// fails. The new file has the permissions of the old one; a link stays, and what it names is replaced. Call
// FlushDirectory where the new state must have reached the disk before something else happens.
[[nodiscard]] FileResult ReplaceWholeFile(const std::string& path, std::string_view bytes);

// Creates or truncates the file, writes `bytes` and, when `flush` is set, waits until they are on the disk.
// Fails when anything does; a partly written file is removed again.
[[nodiscard]] FileResult WriteWholeFile(const std::string& path, std::string_view bytes, bool flush);

// Waits until the names in a directory (files created, renamed) are on the disk too. No-op where the system
// needs none.
FileResult FlushDirectory(const std::string& directory);

FileResult EraseFile(const std::string& path);
// Fails when `to` exists.
FileResult RenameFile(const std::string& from, const std::string& to);
bool FileExists(const std::string& path);
// Creates one directory; true as well when it exists.
FileResult MakeDirectory(const std::string& path);
bool DirectoryExists(const std::string& path);

// Bare names of the regular files (no directories, no links) in `directory` whose name ends in `suffix`,
// compared without regard to ASCII case, in ascending byte order.
std::vector<std::string> ListFiles(const std::string& directory, std::string_view suffix);
// The same with the reason when the directory could not be read to its end, for callers that must not take
// what they did not see for missing.
struct FileNames {
  std::vector<std::string> names;
  FileResult result;
};
[[nodiscard]] FileNames ReadFileNames(const std::string& directory, std::string_view suffix);

// Size in bytes, or nothing.
std::optional<std::uint64_t> FileSize(const std::string& path);
// Local time of the last write, or nothing.
std::optional<CalendarTime> LastWriteTime(const std::string& path);

// What tells one state of a file from the next, so that a parsed copy can be kept while it is provably
// current.
struct FileState {
  bool exists = false;
  std::uint64_t device = 0;
  std::uint64_t index = 0;
  std::uint64_t size = 0;
  std::int64_t modified = 0;  // nanoseconds, in the file system's own epoch
  bool operator==(const FileState&) const = default;
};
FileState StateOfFile(const std::string& path);
// True when the file changed so recently that a later change could carry the same time stamp: a copy read now
// must not be trusted by its state alone.
bool ChangedJustNow(const FileState& state);

// Bytes of a file name that came from an ISO-8859-1 text (a configuration value) as they go into a path:
// unchanged where names are bytes, converted where they are Unicode.
std::string PathFromLatin1(std::string_view latin1);

}  // namespace quillbeaker
