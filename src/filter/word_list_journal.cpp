// SPDX-License-Identifier: MIT

#include "filter/word_list_journal.h"

#include <zlib.h>

#include <cstddef>
#include <cstdint>
#include <optional>

#include "filter/lesson_record.h"
#include "filter/little_endian.h"
#include "filter/word_tables.h"
#include "platform/files.h"

namespace quillbeaker {

namespace {

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

// The file: CRC-32 of all that follows, version, then the fields of the version, each 32 bits with the least
// significant byte first, and at last the second list's new bytes. Version 2 is written where a record is
// renamed in the same step; in it a second list that stays as it is has no bytes here.
constexpr std::uint32_t kPlainVersion = 1;
constexpr std::uint32_t kRecordVersion = 2;

struct Journal {
  Content first_after;
  Content second_before;
  std::string second_after;
  RecordStep step = RecordStep::kNone;
  Content record;
};

void Append(std::string& out, const Content& content) {
  AppendLittleEndian32(out, content.size);
  AppendLittleEndian32(out, content.checksum);
}

std::optional<Content> ReadContent(LittleEndianReader& reader) {
  const auto size = reader.Number();
  const auto checksum = reader.Number();
  if (!size || !checksum) return std::nullopt;
  return Content{*size, *checksum};
}

std::string Serialise(const Journal& journal) {
  const bool with_record = journal.step != RecordStep::kNone;
  std::string rest;
  rest.reserve(64 + journal.second_after.size());
  AppendLittleEndian32(rest, with_record ? kRecordVersion : kPlainVersion);
  Append(rest, journal.first_after);
  Append(rest, journal.second_before);
  if (with_record) {
    AppendLittleEndian32(rest, static_cast<std::uint32_t>(journal.step));
    Append(rest, journal.record);
  }
  rest += journal.second_after;
  std::string bytes;
  AppendLittleEndian32(bytes, ChecksumOf(rest));
  return bytes + rest;
}

// Nothing for a torn or damaged one.
std::optional<Journal> ParseJournal(std::string_view bytes) {
  LittleEndianReader reader(bytes);
  const auto checksum = reader.Number();
  if (!checksum || *checksum != ChecksumOf(reader.rest())) return std::nullopt;
  const auto version = reader.Number();
  if (version != kPlainVersion && version != kRecordVersion) return std::nullopt;
  const auto first_after = ReadContent(reader);
  const auto second_before = ReadContent(reader);
  if (!first_after || !second_before) return std::nullopt;
  Journal journal{*first_after, *second_before, {}, RecordStep::kNone, {}};
  if (version == kRecordVersion) {
    const auto step = reader.Number();
    const auto record = ReadContent(reader);
    if (!step || *step > static_cast<std::uint32_t>(RecordStep::kUndo) || !record) return std::nullopt;
    journal.step = static_cast<RecordStep>(*step);
    journal.record = *record;
  }
  journal.second_after = reader.rest();
  return journal;
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

struct Renaming {
  std::string from;
  std::string to;
};

Renaming RenamingOf(const Program& program, RecordStep step) {
  switch (step) {
    case RecordStep::kOpen:
      return {program.PathOf(kLessonPrepared), program.PathOf(kLessonOpen)};
    case RecordStep::kClose:
      return {program.PathOf(kLessonPrepared), program.PathOf(kLastLesson)};
    case RecordStep::kUndo:
      return {program.PathOf(kLastLesson), program.PathOf(kLessonUndone)};
    case RecordStep::kNone:
      break;
  }
  return {};
}

// Gives the record its new name; one that is not there, or is another one, has got it already. False when
// that must be tried again.
bool RenameRecord(const Program& program, RecordStep step, const Content& record) {
  if (step == RecordStep::kNone) return true;
  const Renaming renaming = RenamingOf(program, step);
  const std::optional<Content> present = ContentOfFile(renaming.from);
  if (!present) return false;
  if (*present != record) return true;
  if (FileExists(renaming.to) && !EraseFile(renaming.to)) return false;
  return static_cast<bool>(RenameFile(renaming.from, renaming.to));
}

// Whether the journal's lists are those of the disk, so that it holds; it is then carried out.
bool CarryOut(const Program& program, const Paths& paths, const Journal& journal) {
  const std::optional<Content> first = ContentOfFile(paths.first);
  const std::optional<Content> second = ContentOfFile(paths.second);
  if (!first || !second) return false;
  if (first != journal.first_after) return true;
  // In a journal of a record, no bytes stand for a second list that stays as it is.
  const bool second_stays = journal.step != RecordStep::kNone && journal.second_after.empty();
  const bool is_new = second == (second_stays ? journal.second_before : ContentOf(journal.second_after));
  if (!is_new && second != journal.second_before) return true;
  if (!is_new && !ReplaceWholeFile(paths.second, journal.second_after)) return false;
  return RenameRecord(program, journal.step, journal.record) && FlushDirectory(paths.directory);
}

bool ReplaceUnlessSame(const std::string& path, const Content& present, const Content& wanted,
                       std::string_view bytes) {
  return present == wanted || ReplaceWholeFile(path, bytes);
}

}  // namespace

bool WordListJournalExists(const Program& program) {
  return StateOfFile(program.PathOf(kWordListJournal)).exists;
}

bool SaveBothWordLists(const Program& program, std::string_view good, std::string_view bad, RecordStep step) {
  const Paths paths(program);
  const FileContents first_file = ReadContents(paths.first);
  if (!first_file.result && !first_file.result.IsMissing()) return false;
  const Content first_before = first_file.bytes ? ContentOf(*first_file.bytes) : Content{};
  const std::optional<Content> second_before = ContentOfFile(paths.second);
  const std::optional<Content> record =
      step == RecordStep::kNone ? Content{} : ContentOfFile(RenamingOf(program, step).from);
  if (!second_before || !record) return false;
  const Content first_after = ContentOf(good);
  const Content second_after = ContentOf(bad);
  const bool second_stays = step != RecordStep::kNone && *second_before == second_after;
  const Journal journal{first_after, *second_before, second_stays ? "" : std::string(bad), step, *record};
  // The directory is flushed too: the first list must not reach the disk before the journal does.
  if (!ReplaceWholeFile(paths.journal, Serialise(journal)) || !FlushDirectory(paths.directory) ||
      !ReplaceUnlessSame(paths.first, first_before, first_after, good)) {
    EraseFile(paths.journal);
    return false;
  }
  if (!ReplaceUnlessSame(paths.second, *second_before, second_after, bad)) {
    // The journal goes last: until then both new lists are what the disk holds.
    if (!PutBack(paths.first, first_file.bytes)) return true;
    EraseFile(paths.journal);
    return false;
  }
  // From here on the next recovery finishes what this one cannot.
  if (!RenameRecord(program, step, *record)) return true;
  FlushDirectory(paths.directory);
  EraseFile(paths.journal);
  return true;
}

bool RecoverWordLists(const Program& program) {
  if (!WordListJournalExists(program)) return true;
  const Paths paths(program);
  const std::optional<std::string> bytes = ReadWholeFile(paths.journal);
  if (!bytes) return false;
  const std::optional<Journal> journal = ParseJournal(*bytes);
  if (journal && !CarryOut(program, paths, *journal)) return false;
  return static_cast<bool>(EraseFile(paths.journal));
}

}  // namespace quillbeaker
