// SPDX-License-Identifier: MIT
#pragma once

// A protocol log: lines appended to a file that is held open for a session and trimmed to its limit when it
// is closed. Lines are gathered in memory, because a system call for each would cost more than the line: the
// owner flushes before it sends, asks or waits, so that the file is complete whenever somebody could look.
// Used on the listener thread only. Failures are silent by contract: a log that cannot be written is not
// written.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/calendar_time.h"
#include "platform/exclusive_file.h"

namespace quillbeaker {

class LogFile {
 public:
  LogFile() = default;
  ~LogFile();
  LogFile(const LogFile&) = delete;
  LogFile& operator=(const LogFile&) = delete;

  // Closes an open log first. `limit` is in bytes, clamped to 0..2147483647. False when the file can neither
  // be opened nor created.
  bool Open(const std::string& path, std::int64_t limit);
  // Gathers the text's bytes and CR LF; only while IsWriting(). More than 64 KB do not wait for Flush.
  void WriteLine(std::string_view text);
  // Puts the gathered lines into the file with one write call, whether or not the log is enabled. A file that
  // has grown 16 MB beyond its limit is then trimmed as by Close. Errors are ignored: lines that could not be
  // written are lost.
  void Flush();
  // Flushes, trims and closes. A file larger than its limit keeps what follows the first LF at or behind
  // (size - limit); limit 0 empties it.
  void Close();

  bool is_open() const { return file_ != nullptr; }
  // True when a line would be taken: callers ask before they build one.
  bool IsWriting() const { return is_open() && enabled; }
  // Cleared by the owner for a while to keep a line out; Open sets it, Close clears it.
  bool enabled = false;

 private:
  void Trim();

  std::unique_ptr<ExclusiveFile> file_;
  std::int64_t limit_ = 102400;
  std::string gathered_;
  std::uint64_t size_ = 0;  // of the file, as far as this log has written it
  std::uint64_t trim_above_ = 0;
};

// Path of a log whose configured name is `name` (ISO-8859-1), or empty when the name must not be opened:
// empty, with "..",
// ":" or a leading separator, since an imported configuration could point it at any file.
std::string LogPath(const std::string& program_directory, std::string_view name);

// "hh:mm:ss C: " and the text without one trailing CR LF; `side` is 'C' or 'S'.
std::string TimedLine(const CalendarTime& local_time, char side, std::string_view text);
// Nine blanks in place of the time.
std::string MarkerLine(char side, std::string_view text);
// "\r\n<which> Log started at: dd.mm.yyyy - hh:mm:ss", which being "Client" or "Server".
std::string BannerLine(std::string_view which, const CalendarTime& local_time);

}  // namespace quillbeaker
