// SPDX-License-Identifier: MIT

#include "filter/word_list_journal.h"

#include <zlib.h>

#include <cstddef>
#include <cstdint>
#include <optional>

#include "filter/little_endian.h"
#include "filter/word_tables.h"
#include "platform/files.h"

namespace quillbeaker {

namespace {

constexpr std::uint32_t kFormatVersion = 1;
constexpr std::uint32_t kMissing = UINT32_MAX;  // the size of no file

std::uint32_t ChecksumOf(std::string_view bytes) {
  return static_cast<std::uint32_t>(crc32_z(0, reinterpret_cast<const Bytef*>(bytes.data()), bytes.size()));
}

// A state of a file, told well enough to be recognised.
struct Content {
  std::uint32_t size = kMissing;
  std::uint32_t checksum = 0;
  bool operator==(const Content&) const = default;
};

Content ContentOf(std::string_view bytes) {
  return {static_cast<std::uint32_t>(bytes.size()), ChecksumOf(bytes)};
}

// Nothing when the file is there and cannot be read.
std::optional<Content> ContentOfFile(const std::string& path) {
  const FileContents file = ReadContents(path);
  if (file.bytes) return ContentOf(*file.bytes);
  if (!file.result.IsMissing()) return std::nullopt;
  return Content{};
}

// In the order of the file, each 32 bits, least significant byte first; the second list's new bytes follow.
enum Field { kChecksum, kVersion, kFirstSize, kFirstChecksum, kOldSize, kOldChecksum, kFields };
constexpr std::size_t kHeaderSize = 4 * std::size_t{kFields};

struct Journal {
  Content first_after;
  Content second_before;
  std::string second_after;
};

std::uint32_t NumberAt(std::string_view bytes, Field field) {
  return LittleEndian32(bytes.substr(4 * std::size_t{field}));
}

std::string Serialise(const Journal& journal) {
  std::string rest;
  rest.reserve(kHeaderSize + journal.second_after.size());
  AppendLittleEndian32(rest, kFormatVersion);
  AppendLittleEndian32(rest, journal.first_after.size);
  AppendLittleEndian32(rest, journal.first_after.checksum);
  AppendLittleEndian32(rest, journal.second_before.size);
  AppendLittleEndian32(rest, journal.second_before.checksum);
  rest += journal.second_after;
  std::string bytes;
  AppendLittleEndian32(bytes, ChecksumOf(rest));
  return bytes + rest;
}

// Nothing for a torn or damaged one.
std::optional<Journal> ParseJournal(std::string_view bytes) {
  if (bytes.size() < kHeaderSize || NumberAt(bytes, kVersion) != kFormatVersion) return std::nullopt;
  if (NumberAt(bytes, kChecksum) != ChecksumOf(bytes.substr(4))) return std::nullopt;
  return Journal{{NumberAt(bytes, kFirstSize), NumberAt(bytes, kFirstChecksum)},
                 {NumberAt(bytes, kOldSize), NumberAt(bytes, kOldChecksum)},
                 std::string(bytes.substr(kHeaderSize))};
}

struct Paths {
  explicit Paths(const Program& program)
      : directory(program.PathOf("training")),
        journal(program.PathOf(kWordListJournal)),
        first(program.PathOf(kGoodWordList)),
        second(program.PathOf(kBadWordList)) {}
  std::string directory;
  std::string journal;
  std::string first;
  std::string second;
};

// Makes the list what it was; no bytes are no file.
bool PutBack(const std::string& path, const std::optional<std::string>& bytes) {
  const FileResult done = bytes ? ReplaceWholeFile(path, *bytes) : EraseFile(path);
  return done || (!bytes && done.IsMissing());
}

}  // namespace

bool WordListJournalExists(const Program& program) {
  return StateOfFile(program.PathOf(kWordListJournal)).exists;
}

bool SaveBothWordLists(const Program& program, std::string_view good, std::string_view bad) {
  const Paths paths(program);
  const FileContents first_before = ReadContents(paths.first);
  if (!first_before.result && !first_before.result.IsMissing()) return false;
  const std::optional<Content> second_before = ContentOfFile(paths.second);
  if (!second_before) return false;
  const Journal journal{ContentOf(good), *second_before, std::string(bad)};
  // The directory is flushed too: the first list must not reach the disk before the journal does.
  if (!ReplaceWholeFile(paths.journal, Serialise(journal)) || !FlushDirectory(paths.directory) ||
      !ReplaceWholeFile(paths.first, good)) {
    EraseFile(paths.journal);
    return false;
  }
  if (!ReplaceWholeFile(paths.second, bad)) {
    // The journal goes last: until then both new lists are what the disk holds.
    if (!PutBack(paths.first, first_before.bytes)) return true;
    EraseFile(paths.journal);
    return false;
  }
  FlushDirectory(paths.directory);
  EraseFile(paths.journal);
  return true;
}

bool RecoverWordLists(const Program& program) {
  if (!WordListJournalExists(program)) return true;
  const Paths paths(program);
  const std::optional<std::string> bytes = ReadWholeFile(paths.journal);
  if (!bytes) return false;
  if (const std::optional<Journal> journal = ParseJournal(*bytes)) {
    const std::optional<Content> first = ContentOfFile(paths.first);
    const std::optional<Content> second = ContentOfFile(paths.second);
    if (!first || !second) return false;
    if (first == journal->first_after && second == journal->second_before &&
        !(ReplaceWholeFile(paths.second, journal->second_after) && FlushDirectory(paths.directory))) {
      return false;
    }
  }
  return static_cast<bool>(EraseFile(paths.journal));
}

}  // namespace quillbeaker
