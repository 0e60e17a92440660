// SPDX-License-Identifier: MIT

// An index that was lost or damaged is made anew from the message files, and one that has come apart from
// them is brought together again.

#include <string>
#include <string_view>
#include <system_error>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "platform/files.h"
#include "stores/index_entries.h"
#include "stores/recycle_bin.h"
#include "stores/recycle_index.h"
#include "stores/recycle_index_file.h"
#include "stores/set_aside.h"

namespace quillbeaker {
namespace {

using State = RecycleIndexFile::State;
using RowsByName = std::unordered_map<std::string, RecycleEntry>;

constexpr std::string_view kMessageEnd = ".recycle";

// What a damaged index still says of its files. Of entries of one name the first is meant, as everywhere.
RowsByName RecoveredRows(std::string_view bytes) {
  RowsByName rows;
  recycle_index::ForEachRecoveredEntry(RecoverXml(bytes), [&](const xmlNode* entry) {
    RecycleEntry row = recycle_index::ReadEntry(entry);
    std::string name = row.name;
    rows.try_emplace(std::move(name), std::move(row));
  });
  return rows;
}

enum class Adoption { kListed, kUnreadable, kEmpty };

// Appends the entry of a message file. What the message itself says is read from it; of the former row count
// only those attributes that no message holds. A file that cannot be read keeps its former row, if it has
// one. An empty file without a row is what a process left that was killed before it wrote the mail: listed,
// it could be restored and would reach a mail client as an empty message.
Adoption AppendMessage(xmlNode* root, const std::string& name, const std::string& path,
                       const RecycleEntry* former, const CalendarTime& local_time) {
  MailMessage message;
  if (message.LoadFromFile(path) != MailMessage::kLoaded) {
    if (former == nullptr) return Adoption::kUnreadable;
    recycle_index::AppendEntry(root, *former);
    return Adoption::kListed;
  }
  if (former == nullptr) {
    if (message.size() == 0) return Adoption::kEmpty;
    recycle_index::AppendEntry(root, name, {&message, {}, 0}, {}, local_time);
    return Adoption::kListed;
  }
  xmlNode* entry = recycle_index::AppendEntry(root, name, {&message, former->spam_words, former->probability},
                                              former->account, local_time);
  if (former->restored) SetAttribute(entry, recycle_index::kRestored, "1");
  return Adoption::kListed;
}

}  // namespace

// On success the index is readable and on the disk; on failure `index` must not be used. No index comes after
// this one that would list a file which cannot be read now and of which nothing else is known.
FileResult RecycleBin::MakeIndex(RecycleIndexFile& index, UnreadableMail unreadable) const {
  const FileNames files = ReadFileNames(directory_, kMessageEnd);
  // An index of the files that were seen would leave all others without entries.
  if (!files.result) return files.result;
  const RowsByName former = RecoveredRows(index.bytes);
  index.document = NewXmlDocument(recycle_index::kRoot);
  index.root = RootNamed(index.document, recycle_index::kRoot);
  for (const std::string& name : files.names) {
    const std::string path = PathOfMessage(name);
    if (path.empty()) continue;
    const auto row = former.find(name);
    const Adoption adoption =
        AppendMessage(index.root, name, path, row != former.end() ? &row->second : nullptr,
                      program_.environment.local_time());
    if (adoption == Adoption::kUnreadable && unreadable == UnreadableMail::kRefused &&
        StateOfFile(path).exists) {
      return {path, std::make_error_code(std::errc::io_error)};
    }
  }
  if (index.state == State::kDamaged) {
    if (FileResult kept = CopyAside(index_path_, index.bytes); !kept) return kept;
  }
  FileResult saved = SaveRecycleIndex(index, index_path_, true);
  // A mail check may go on to delete mail that only this index lists.
  if (saved) saved = FlushDirectory(directory_);
  if (saved) index.state = State::kReadable;
  return saved;
}

// Deliberate: an index with another root is left alone. It may be somebody's, and can be mended by hand.
bool RecycleBin::RebuildIndex() {
  const auto held = lock_.Acquire();
  RecycleIndexFile index = ReadRecycleIndex(index_path_);
  if (index.state != State::kMissing && index.state != State::kDamaged) return false;
  return static_cast<bool>(MakeIndex(index, UnreadableMail::kLeftOut));
}

RepairReport RecycleBin::Repair() {
  RepairReport report;
  const auto held = lock_.Acquire();
  RecycleIndexFile index = ReadRecycleIndex(index_path_);
  report.index_was_missing = index.state == State::kMissing;
  report.index_was_damaged = index.state == State::kDamaged;
  if (index.state == State::kUnreadable) {
    report.done = std::move(index.why);
    return report;
  }
  if (index.state == State::kForeign) {
    report.done = {index_path_, std::make_error_code(std::errc::invalid_argument)};
    return report;
  }
  const FileNames files = ReadFileNames(directory_, kMessageEnd);
  report.done = files.result;
  if (report.done && index.state != State::kReadable)
    report.done = MakeIndex(index, UnreadableMail::kLeftOut);
  if (!report.done) return report;

  recycle_index::ForEachEntry(index.root, [&](xmlNode* entry) {
    const std::string path = PathOfMessage(TextAttribute(entry, recycle_index::kName));
    // What the system does not let us look at is there all the same.
    if (!path.empty() && StateOfFile(path).exists) return;
    RemoveElement(entry);
    ++report.dropped;
  });
  const std::unordered_set<std::string> listed = recycle_index::NamesIn(index.root);
  for (const std::string& name : files.names) {
    const std::string path = PathOfMessage(name);
    if (path.empty() || listed.contains(name)) continue;
    switch (AppendMessage(index.root, name, path, nullptr, program_.environment.local_time())) {
      case Adoption::kListed:
        ++report.adopted;
        break;
      case Adoption::kUnreadable:
        ++report.unreadable;
        break;
      case Adoption::kEmpty:
        break;
    }
  }
  // One that was just made is indented, and saved like that it is not written twice.
  const bool just_made = report.index_was_missing || report.index_was_damaged;
  report.done = SaveRecycleIndex(index, index_path_, just_made);
  return report;
}

}  // namespace quillbeaker
