// SPDX-License-Identifier: MIT
#pragma once

// One INI file on disk. Every read sees the file as it stands on disk (a parsed copy is kept only while it is
// provably current); every write loads, changes and atomically replaces the file under the file's lock. Any
// thread.

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "config/ini_document.h"
#include "platform/file_lock.h"
#include "platform/files.h"

namespace quillbeaker {

// One key to write, or, without a value, to remove.
struct IniChange {
  std::string section;
  std::string key;
  std::optional<std::string> value;
};

class IniFile {
 public:
  // `path` is UTF-8. The lock file is the path with ".lock" behind it, made by the first write.
  explicit IniFile(std::string path);
  IniFile(const IniFile&) = delete;
  IniFile& operator=(const IniFile&) = delete;

  const std::string& path() const { return path_; }

  // The parsed file, empty when it is missing or unreadable; never null. The same pointer is given as long as
  // the file has not changed, so that what was computed from it can be kept beside it.
  std::shared_ptr<const IniDocument> Read() const;
  // The same, but null when the file is there and cannot be read: for what must not be taken for unset then.
  std::shared_ptr<const IniDocument> ReadOrNull() const;

  // The value as LeadingInteger reads it (an empty one is 0); the default when the key is missing.
  std::int32_t ReadInteger(std::string_view section, std::string_view key, std::int32_t default_value) const;
  // The value cut to capacity - 1 bytes; the default (cut as well) when the key is missing.
  std::string ReadString(std::string_view section, std::string_view key, std::string_view default_value,
                         std::size_t capacity) const;

  // Bytes below 0x20 in key and value become blanks, so that no text can add lines. False when a file cannot
  // hold the key (IniDocument::Set), when the file is there but cannot be read, and when it could not be
  // replaced; it is then unchanged. A write that changes nothing rewrites nothing. RemoveKey is true as well
  // when there was no such key.
  bool WriteString(std::string_view section, std::string_view key, std::string_view value);
  bool WriteInteger(std::string_view section, std::string_view key, std::int32_t value);
  bool RemoveKey(std::string_view section, std::string_view key);
  // All of them or none, in one load-change-save step: a reader never sees some of them. A key that already
  // has its value keeps its line as a person wrote it, quotes included. A removal takes every line of its
  // key.
  [[nodiscard]] bool Write(std::span<const IniChange> changes);
  // Any number of changes in one load-change-save step. `change` must not call this object.
  bool Update(const std::function<void(IniDocument&)>& change);
  // For telling a person: why this object's last Update, of any thread, did not save; true when it did. Of a
  // key that no file can hold there is nothing to tell.
  FileResult LastUpdate() const;
  // Why ReadOrNull gives null.
  FileResult WhyUnreadable() const;

 private:
  // The document and whether the file could be read; a missing file counts as read.
  std::shared_ptr<const IniDocument> Load(FileResult& readable) const;
  FileResult Save(const std::function<void(IniDocument&)>& change);

  std::string path_;
  StoreLock lock_;
  mutable std::mutex cache_mutex_;
  mutable FileState cached_state_;
  mutable std::shared_ptr<const IniDocument> cached_;
  FileResult last_update_;  // under cache_mutex_
};

}  // namespace quillbeaker
