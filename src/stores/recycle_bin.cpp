// SPDX-License-Identifier: MIT

#include "stores/recycle_bin.h"

#include <charconv>
#include <system_error>
#include <utility>

#include "config/ascii.h"
#include "platform/files.h"
#include "platform/input_file.h"
#include "stores/index_entries.h"
#include "stores/recycle_index.h"
#include "stores/recycle_index_file.h"
#include "stores/store_directory.h"

namespace quillbeaker {
namespace {

using namespace recycle_index;

constexpr std::string_view kDirectoryName = "recycle";
constexpr std::string_view kIndexName = "recyclebin.xml";

// A disk that fails, or too many open files, show in the first bytes already.
bool IsThereButUnreadable(const std::string& path) {
  char byte = 0;
  const std::optional<InputFile> file = InputFile::Open(path);
  if (file) return file->size() > 0 && !file->ReadAt(0, &byte, 1);
  return StateOfFile(path).exists;
}

bool IsMessageName(std::string_view name) {
  return IsBareFileName(name) &&
         (EndsWithIgnoringCase(name, ".recycle") || EndsWithIgnoringCase(name, ".eml"));
}

// Deliberate: unless the user wants it otherwise, a mail's age is that of its own Date field.
bool CountsFromFiling(const Program& program) {
  return EqualsIgnoringCase(program.Read(keys::kRecycleBinDaysFrom), "filing");
}

std::int64_t DayOfMail(const xmlNode* entry) {
  return UnsignedAttribute(entry, kDate);
}

// The system's reason, or, of a file that is no index of ours, that its content is none.
FileResult WhyUnusable(const RecycleIndexFile& index, const std::string& path) {
  return index.why ? FileResult{path, std::make_error_code(std::errc::invalid_argument)} : index.why;
}

// The day that the name of the message file begins with, as NewName makes it. Of another name no day of
// filing is known.
std::int64_t DayOfFiling(const xmlNode* entry) {
  const std::string name = TextAttribute(entry, kName);
  std::uint32_t day = 0;
  const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), day);
  const bool is_ours = error == std::errc() && end != name.data() + name.size() && *end == '_';
  return is_ours ? day : DayOfMail(entry);
}

}  // namespace

RecycleBin::RecycleBin(Program& program)
    : program_(program),
      directory_(program.PathOf(kDirectoryName) + kPathSeparator),
      index_path_(directory_ + std::string(kIndexName)),
      lock_(index_path_ + ".lock") {
  const std::string path = program.PathOf(kDirectoryName);
  if (DirectoryExists(path) || !MakeDirectory(path)) return;
  // Flushing what is filed does not put the new directory's own name on the disk. Where that cannot be done,
  // nothing can be filed more safely either.
  static_cast<void>(FlushDirectory(program.PathOf("")));
}

std::string RecycleBin::PathOfMessage(std::string_view name) const {
  return IsMessageName(name) ? directory_ + std::string(name) : std::string();
}

FileResult RecycleBin::ChangeIndex(const std::function<void(xmlNode* root)>& change) {
  RecycleIndexFile index = ReadRecycleIndex(index_path_);
  if (index.root == nullptr) return WhyUnusable(index, index_path_);
  change(index.root);
  return SaveRecycleIndex(index, index_path_);
}

// `change` removes entries and gives the names of the files to erase.
FileResult RecycleBin::ChangeIndexAndErase(
    const std::function<void(xmlNode* root, std::vector<std::string>& names)>& change,
    const std::function<bool()>& go_on) {
  RecycleIndexFile index = ReadRecycleIndex(index_path_);
  if (index.root == nullptr) return WhyUnusable(index, index_path_);
  std::vector<std::string> names;
  const std::string former = go_on ? index.bytes : std::string();
  change(index.root, names);
  if (FileResult saved = SaveRecycleIndex(index, index_path_); !saved) return saved;
  if (names.empty()) return {};
  // Without the flush a loss of power could bring back the old index, but not the files.
  if (FileResult flushed = FlushDirectory(directory_); !flushed) return flushed;
  const std::unordered_set<std::string> listed = NamesIn(index.root);
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (go_on && !go_on()) return PutBack(former, std::span(names).first(i));
    const std::string path = PathOfMessage(names[i]);
    if (!path.empty() && !listed.contains(names[i])) EraseFile(path);
  }
  return {};
}

// The index as it was, but for the entries whose files are erased.
FileResult RecycleBin::PutBack(const std::string& former_index, std::span<const std::string> erased) const {
  RecycleIndexFile index = ReadRecycleIndex(index_path_);
  index.document = ParseXml(former_index);
  index.root = RootNamed(index.document, kRoot);
  if (index.root == nullptr) return WhyUnusable(index, index_path_);
  ForEntriesNamed(index.root, erased, RemoveElement);
  return SaveRecycleIndex(index, index_path_);
}

std::optional<std::vector<RecycleEntry>> RecycleBin::List() const {
  const auto held = lock_.Acquire();
  const FileContents contents = ReadContents(index_path_);
  std::vector<RecycleEntry> rows;
  const auto add_row = [&rows](const xmlNode* element) {
    if (IsElement(element, kEntry)) rows.push_back(ReadEntry(element));
  };
  if (!contents.bytes || !VisitXml(*contents.bytes, kRoot, add_row)) return std::nullopt;
  rows.shrink_to_fit();  // a window keeps them
  return rows;
}

IndexTrouble RecycleBin::TroubleWithIndex() const {
  using State = RecycleIndexFile::State;
  const auto held = lock_.Acquire();
  if (FileResult usable = CheckStoreDirectory(program_.PathOf(kDirectoryName)); !usable) {
    return {.why = std::move(usable)};
  }
  const RecycleIndexFile index = ReadRecycleIndex(index_path_);
  IndexTrouble trouble{index.state == State::kMissing, index.state == State::kDamaged, {}};
  if (!trouble.is_missing && !trouble.is_damaged && index.root == nullptr) {
    trouble.why = WhyUnusable(index, index_path_);
  }
  return trouble;
}

FileResult RecycleBin::MarkRestored(std::span<const std::string> names, bool restored) {
  const auto held = lock_.Acquire();
  return ChangeIndex([&](xmlNode* root) {
    ForEntriesNamed(root, names,
                    [&](xmlNode* entry) { SetAttribute(entry, kRestored, restored ? "1" : "0"); });
  });
}

FileResult RecycleBin::ClearAccount(std::span<const std::string> names) {
  const auto held = lock_.Acquire();
  return ChangeIndex([&](xmlNode* root) {
    ForEntriesNamed(root, names, [](xmlNode* entry) { SetAttribute(entry, kAccount, ""); });
  });
}

FileResult RecycleBin::RemoveEntries(std::span<const std::string> names) {
  const auto held = lock_.Acquire();
  return ChangeIndex([&](xmlNode* root) { ForEntriesNamed(root, names, RemoveElement); });
}

FileResult RecycleBin::DeleteMessages(std::span<const std::string> names) {
  const auto held = lock_.Acquire();
  return ChangeIndexAndErase([&](xmlNode* root, std::vector<std::string>& to_erase) {
    ForEntriesNamed(root, names, RemoveElement);
    to_erase.assign(names.begin(), names.end());
  });
}

FileResult RecycleBin::DeleteWhile(std::span<const std::string> names, const std::function<bool()>& go_on) {
  const auto held = lock_.Acquire();
  return ChangeIndexAndErase(
      [&](xmlNode* root, std::vector<std::string>& to_erase) {
        ForEntriesNamed(root, names, RemoveElement);
        to_erase.assign(names.begin(), names.end());
      },
      go_on);
}

FileResult RecycleBin::Empty() {
  const auto held = lock_.Acquire();
  return ChangeIndexAndErase([&](xmlNode* root, std::vector<std::string>& to_erase) {
    ForEachEntry(root, [&](xmlNode* entry) {
      to_erase.push_back(TextAttribute(entry, kName));
      RemoveElement(entry);
    });
  });
}

RestoredList RecycleBin::RestoredFor(std::string_view account, std::size_t capacity) const {
  RestoredList list;
  if (capacity < directory_.size() + 1) return list;
  list.directory = directory_;
  std::size_t free_bytes = capacity - directory_.size() - 1;
  const auto held = lock_.Acquire();
  const RecycleIndexFile index = ReadRecycleIndex(index_path_);
  if (index.root == nullptr) return list;
  const std::string own_account = StorableText(account);
  ForEachEntry(index.root, [&](const xmlNode* entry) {
    if (!IsRestored(entry)) return;
    // Deliberate: an entry of no account, as a rebuild makes them, is offered to every account.
    const std::string its_account = Attribute(entry, kAccount).value_or("");
    if (!its_account.empty() && its_account != own_account) return;
    std::string name = Attribute(entry, kName).value_or("");
    if (!IsMessageName(name) || name.size() + 1 > free_bytes) return;
    if (IsThereButUnreadable(directory_ + name)) return;
    free_bytes -= name.size() + 1;
    list.names.push_back(std::move(name));
  });
  return list;
}

std::vector<std::string> RecycleBin::Purge(std::int32_t max_days) {
  const std::int32_t today = program_.Today();
  if (program_.Read(keys::kRecycleOldMessagesLast) == today) return {};
  // Deliberate: the day counts as done before anything is, also when the index then cannot be opened.
  // A day that cannot be noted, or a configuration that cannot be read, must not make the default age delete
  // mail.
  if (!program_.Write(keys::kRecycleOldMessagesLast, today)) return {};
  const std::int64_t cutoff = std::int64_t{today} - max_days;
  const auto day_of = CountsFromFiling(program_) ? DayOfFiling : DayOfMail;
  const auto held = lock_.Acquire();
  std::vector<std::string> removed;
  // Deliberate: an entry exactly `max_days` old goes.
  const FileResult done = ChangeIndexAndErase([&](xmlNode* root, std::vector<std::string>& to_erase) {
    ForEachEntry(root, [&](xmlNode* entry) {
      if (day_of(entry) > cutoff) return;
      to_erase.push_back(TextAttribute(entry, kName));
      RemoveElement(entry);
    });
    removed = to_erase;
  });
  if (!done) removed.clear();
  return removed;
}

}  // namespace quillbeaker
