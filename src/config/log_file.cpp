// SPDX-License-Identifier: MIT
#include "config/log_file.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>

#include "config/ascii.h"
#include "platform/files.h"

namespace quillbeaker {
namespace {

constexpr std::int64_t kGreatestLimit = 2147483647;
// A log is moved to its file's start piece by piece: its limit may be 2 GB.
constexpr std::size_t kPieceSize = 65536;
constexpr std::size_t kMostGathered = 65536;
// A client or server that never stops talking must not fill the disk.
constexpr std::uint64_t kMostGrowth = std::uint64_t{16} << 20;

// Where the first line at or behind `offset` ends; the file's end when no line ends there.
std::uint64_t EndOfLine(ExclusiveFile& file, std::uint64_t offset) {
  for (;;) {
    const std::string piece = file.ReadAt(offset, kPieceSize);
    const std::size_t end = piece.find('\n');
    if (end != std::string::npos) return offset + end + 1;
    if (piece.empty()) return offset;
    offset += piece.size();
  }
}

void KeepFrom(ExclusiveFile& file, std::uint64_t offset) {
  std::uint64_t kept = 0;
  for (;;) {
    const std::string piece = file.ReadAt(offset + kept, kPieceSize);
    if (piece.empty()) break;
    if (!file.WriteAt(kept, piece)) return;
    kept += piece.size();
  }
  file.Truncate(kept);
}

constexpr std::string_view kOurFiles[] = {"Quillbeaker.ini", "spampoints.ini", "spampoints_user.ini",
                                          "uniqueid.xml",    "windows.ini",    "providers.ini",
                                          "crash.txt"};
constexpr std::string_view kOurEndings[] = {".language", ".lock", ".new", ".exe", ".dll"};
constexpr std::string_view kOurFolders[] = {"recycle", "training"};

// Without the "./" that change nothing, with one "/" between the parts, and without the dots and blanks at a
// part's end: Windows passes over them.
std::string PlainPath(std::string_view name) {
  std::string path;
  for (std::size_t begin = 0; begin < name.size();) {
    const std::size_t end = std::min(name.find_first_of("/\\", begin), name.size());
    std::string_view part = name.substr(begin, end - begin);
    part = part.substr(0, part.find_last_not_of(". ") + 1);
    if (!part.empty()) path.append(path.empty() ? "" : "/").append(part);
    begin = end + 1;
  }
  return path;
}

// "QUILLB~1.INI": the second name that Windows gives to a file with a long one.
bool MayBeAShortName(std::string_view name) {
  const std::size_t tilde = name.find('~');
  return tilde != std::string_view::npos && tilde + 1 < name.size() && name[tilde + 1] >= '0' &&
         name[tilde + 1] <= '9';
}

bool IsOneOfOurFiles(std::string_view name) {
  const std::string path = PlainPath(name);
  if (path.empty() || MayBeAShortName(path)) return true;
  const auto is_it = [&path](std::string_view ours) { return EqualsIgnoringCase(path, ours); };
  const auto ends_so = [&path](std::string_view ours) { return EndsWithIgnoringCase(path, ours); };
  const std::string_view folder = std::string_view(path).substr(0, path.find('/'));
  const auto is_in = [folder](std::string_view ours) { return EqualsIgnoringCase(folder, ours); };
  return std::any_of(std::begin(kOurFiles), std::end(kOurFiles), is_it) ||
         std::any_of(std::begin(kOurEndings), std::end(kOurEndings), ends_so) ||
         std::any_of(std::begin(kOurFolders), std::end(kOurFolders), is_in);
}

std::string WithoutLineEnd(std::string_view text) {
  if (text.ends_with("\r\n")) text.remove_suffix(2);
  return std::string(text);
}

std::string TimeOf(const CalendarTime& time) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%02i:%02i:%02i", time.hour, time.minute, time.second);
  return text.data();
}

}  // namespace

LogFile::~LogFile() {
  Close();
}

bool LogFile::Open(const std::string& path, std::int64_t limit) {
  Close();
  file_ = ExclusiveFile::Open(path);
  if (!file_) return false;
  limit_ = std::clamp<std::int64_t>(limit, 0, kGreatestLimit);
  size_ = file_->Size();
  trim_above_ = static_cast<std::uint64_t>(limit_) + kMostGrowth;
  enabled = true;
  return true;
}

void LogFile::WriteLine(std::string_view text) {
  if (!IsWriting()) return;
  gathered_.append(text).append("\r\n");
  if (gathered_.size() > kMostGathered) Flush();
}

void LogFile::Flush() {
  if (!file_ || gathered_.empty()) return;
  file_->Append(gathered_);
  size_ += gathered_.size();
  gathered_.clear();
  if (size_ > trim_above_) Trim();
}

void LogFile::Trim() {
  const auto limit = static_cast<std::uint64_t>(limit_);
  const std::uint64_t size = file_->Size();
  if (size > limit) KeepFrom(*file_, EndOfLine(*file_, size - limit));
  size_ = file_->Size();
  // A file that could not be trimmed is not tried again at every flush.
  trim_above_ = std::max(size_, limit) + kMostGrowth;
}

void LogFile::Close() {
  if (!file_) return;
  Flush();
  Trim();
  file_.reset();
  enabled = false;
}

std::string LogPath(const std::string& program_directory, std::string_view name) {
  // Deliberate: a log file is cut to its limit when it is closed, and a configuration may come from somebody
  // else. So the name must stay within the program directory and be none of the program's own files, or there
  // is no log.
  if (name.empty() || name.front() == '/' || name.front() == '\\') return {};
  if (name.find("..") != std::string_view::npos || name.find(':') != std::string_view::npos) return {};
  if (name.find('\0') != std::string_view::npos) return {};
  if (IsOneOfOurFiles(name)) return {};
  return program_directory + PathFromLatin1(name);
}

std::string TimedLine(const CalendarTime& local_time, char side, std::string_view text) {
  return TimeOf(local_time) + ' ' + side + ": " + WithoutLineEnd(text);
}

std::string MarkerLine(char side, std::string_view text) {
  return std::string(9, ' ') + side + ": " + WithoutLineEnd(text);
}

std::string BannerLine(std::string_view which, const CalendarTime& local_time) {
  std::array<char, 32> date{};
  std::snprintf(date.data(), date.size(), "%02i.%02i.%04i", local_time.day, local_time.month,
                local_time.year);
  return "\r\n" + std::string(which) + " Log started at: " + date.data() + " - " + TimeOf(local_time);
}

}  // namespace quillbeaker
