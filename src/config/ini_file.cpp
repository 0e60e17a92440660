// SPDX-License-Identifier: MIT
#include "config/ini_file.h"

#include <algorithm>
#include <utility>

#include "config/leading_integer.h"

namespace quillbeaker {
namespace {

// An editor may save a file in UTF-16, and a power failure may leave one of nothing but NULs. Taken for a
// file without settings it would be filled up with more lines, and who wanted TLS would go without.
bool IsNoIniText(std::string_view bytes) {
  return bytes.starts_with("\xFF\xFE") || bytes.starts_with("\xFE\xFF") ||
         bytes.substr(0, 2).find('\0') != std::string_view::npos;
}

FileContents ReadIniText(const std::string& path) {
  FileContents file = ReadContents(path);
  if (!file.bytes || !IsNoIniText(*file.bytes)) return file;
  return {std::nullopt, {path, std::make_error_code(std::errc::illegal_byte_sequence)}};
}

}  // namespace

IniFile::IniFile(std::string path) : path_(std::move(path)), lock_(path_ + ".lock") {}

std::shared_ptr<const IniDocument> IniFile::Load(FileResult& readable) const {
  const std::lock_guard guard(cache_mutex_);
  readable = {};
  const FileState state = StateOfFile(path_);
  if (cached_ && state == cached_state_) return cached_;
  cached_.reset();

  // Asked before the bytes are read: a change that comes after them then has a later time stamp than `state`.
  const bool may_change_unseen = state.exists && ChangedJustNow(state);
  FileContents file = ReadIniText(path_);
  const std::optional<std::string> bytes = std::move(file.bytes);
  const FileState state_after = StateOfFile(path_);
  if (!bytes && state_after.exists) readable = std::move(file.result);
  auto document = std::make_shared<const IniDocument>(bytes ? std::string_view(*bytes) : std::string_view());
  if (readable && !may_change_unseen && state == state_after) {
    cached_ = document;
    cached_state_ = state;
  }
  return document;
}

std::shared_ptr<const IniDocument> IniFile::Read() const {
  FileResult readable;
  return Load(readable);
}

std::shared_ptr<const IniDocument> IniFile::ReadOrNull() const {
  FileResult readable;
  auto document = Load(readable);
  return readable ? document : nullptr;
}

std::int32_t IniFile::ReadInteger(std::string_view section, std::string_view key,
                                  std::int32_t default_value) const {
  const auto document = Read();
  const auto value = document->Find(section, key);
  return value ? LeadingInteger<std::int32_t>(*value) : default_value;
}

std::string IniFile::ReadString(std::string_view section, std::string_view key,
                                std::string_view default_value, std::size_t capacity) const {
  const auto document = Read();
  const std::string_view value = document->Find(section, key).value_or(default_value);
  return std::string(value.substr(0, capacity == 0 ? 0 : capacity - 1));
}

bool IniFile::WriteString(std::string_view section, std::string_view key, std::string_view value) {
  bool possible = false;
  const bool saved = Update([&](IniDocument& document) { possible = document.Set(section, key, value); });
  return possible && saved;
}

bool IniFile::WriteInteger(std::string_view section, std::string_view key, std::int32_t value) {
  return WriteString(section, key, std::to_string(value));
}

bool IniFile::RemoveKey(std::string_view section, std::string_view key) {
  return Update([&](IniDocument& document) { document.Remove(section, key); });
}

bool IniFile::Write(std::span<const IniChange> changes) {
  // What a file written by hand holds all the same can be removed.
  const auto holds = [](const IniChange& change) {
    return !change.value || IniDocument::CanHoldKey(change.key);
  };
  if (!std::all_of(changes.begin(), changes.end(), holds)) return false;
  if (changes.empty()) return true;
  return Update([changes](IniDocument& document) {
    for (const IniChange& change : changes) {
      if (!change.value) {
        while (document.Remove(change.section, change.key)) {
        }
      } else if (document.Find(change.section, change.key) != *change.value) {
        document.Set(change.section, change.key, *change.value);
      }
    }
  });
}

FileResult IniFile::WhyUnreadable() const {
  FileResult readable;
  Load(readable);
  return readable;
}

FileResult IniFile::LastUpdate() const {
  const std::lock_guard guard(cache_mutex_);
  return last_update_;
}

bool IniFile::Update(const std::function<void(IniDocument&)>& change) {
  FileResult saved = Save(change);
  const std::lock_guard guard(cache_mutex_);
  last_update_ = std::move(saved);
  return static_cast<bool>(last_update_);
}

FileResult IniFile::Save(const std::function<void(IniDocument&)>& change) {
  const auto guard = lock_.Acquire();
  FileResult readable;
  const auto before = Load(readable);
  // A file that is there and cannot be read is not replaced by what little is known of it.
  if (!readable) return readable;
  IniDocument after = *before;
  change(after);
  const std::string bytes = after.Serialise();
  if (bytes == before->Serialise()) return {};
  return ReplaceWholeFile(path_, bytes);
}

}  // namespace quillbeaker
