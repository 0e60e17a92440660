// SPDX-License-Identifier: MIT

#include "stores/training_area.h"

#include <system_error>
#include <utility>

#include "config/ascii.h"
#include "platform/files.h"
#include "stores/index_entries.h"
#include "stores/store_directory.h"
#include "stores/training_index.h"

namespace quillbeaker {
namespace {

using namespace training_index;

// Followed by a slash on every system, as in the paths of the word lists that lie in it.
constexpr std::string_view kDirectoryName = "training";
constexpr std::string_view kIndexName = "training.xml";

// The word lists and the index lie in the same directory: an entry must not name one of those.
bool IsMessageName(std::string_view name) {
  return IsBareFileName(name) && EndsWithIgnoringCase(name, ".eml");
}

}  // namespace

TrainingArea::TrainingArea(Program& program)
    : program_(program),
      directory_(program.PathOf(kDirectoryName) + "/"),
      index_path_(directory_ + std::string(kIndexName)),
      lock_(index_path_ + ".lock") {
  MakeDirectory(program.PathOf(kDirectoryName));
}

std::string TrainingArea::PathOfMessage(std::string_view name) const {
  return IsMessageName(name) ? directory_ + std::string(name) : std::string();
}

TrainingArea::Index TrainingArea::OpenIndex() const {
  Index index;
  FileContents file = ReadContents(index_path_);
  // What is there but cannot be read now is not replaced: its entries would be lost.
  index.why = file.result.IsMissing() ? CheckStoreDirectory(program_.PathOf(kDirectoryName)) : file.result;
  if (!index.why) return index;
  if (file.bytes) {
    index.document = ParseXml(*file.bytes);
    index.bytes = *std::move(file.bytes);
    if (index.document != nullptr && xmlDocGetRootElement(index.document.get()) == nullptr) {
      index.why = {index_path_, std::make_error_code(std::errc::invalid_argument)};
      return index;
    }
  }
  if (RootNamed(index.document, kRoot) == nullptr) {
    index.document = NewXmlDocument(kRoot);
    index.replaces_another = !index.bytes.empty();
  }
  index.root = RootNamed(index.document, kRoot);
  return index;
}

// A file that is no index of ours is kept under another name before it is replaced: it may be one that was
// damaged, and can be mended by hand.
FileResult TrainingArea::SaveIndex(const Index& index) const {
  const std::optional<std::string> bytes = DumpXml(index.document, true);
  if (!bytes) return {index_path_, std::make_error_code(std::errc::illegal_byte_sequence)};
  if (*bytes == index.bytes) return {};
  if (index.replaces_another) {
    if (FileResult kept = ReplaceWholeFile(index_path_ + ".bad", index.bytes); !kept) return kept;
  }
  return ReplaceWholeFile(index_path_, *bytes);
}

std::optional<std::vector<TrainingEntry>> TrainingArea::List() {
  const auto held = lock_.Acquire();
  const Index index = OpenIndex();
  if (index.root == nullptr) return std::nullopt;
  std::vector<TrainingEntry> rows;
  ForEachEntry(index.root, [&](const xmlNode* entry) { rows.push_back(ReadEntry(entry)); });
  // An index that cannot be saved is shown all the same.
  static_cast<void>(SaveIndex(index));
  return rows;
}

FileResult TrainingArea::TroubleWithIndex() const {
  const auto held = lock_.Acquire();
  return OpenIndex().why;
}

FileResult TrainingArea::ChangeEntries(std::span<const std::string> names,
                                       const std::function<void(xmlNode* entry)>& change) {
  const Index index = OpenIndex();
  if (index.root == nullptr) return index.why;
  if (ForEntriesNamed(index.root, names, change) == 0) {
    return {index_path_, std::make_error_code(std::errc::invalid_argument)};
  }
  return SaveIndex(index);
}

FileResult TrainingArea::SetMark(std::span<const std::string> names, TrainingMark mark) {
  const auto held = lock_.Acquire();
  return ChangeEntries(names, [&](xmlNode* entry) { WriteMark(entry, mark); });
}

FileResult TrainingArea::RemoveEntries(std::span<const std::string> names) {
  const auto held = lock_.Acquire();
  return ChangeEntries(names, RemoveElement);
}

FileResult TrainingArea::DeleteMessages(std::span<const std::string> names) {
  std::vector<std::string> paths;
  const auto held = lock_.Acquire();
  FileResult removed = ChangeEntries(names, [&](xmlNode* entry) { paths.push_back(TakeOut(entry)); });
  if (removed) EraseMessages(paths);
  return removed;
}

std::optional<MailSender> TrainingArea::SenderOf(std::string_view name) const {
  const auto held = lock_.Acquire();
  const Index index = OpenIndex();
  if (index.root == nullptr) return std::nullopt;
  MailSender sender;
  const std::string wanted(name);
  ForEntriesNamed(index.root, std::span(&wanted, 1), [&](const xmlNode* entry) {
    sender.name = TextAttribute(entry, kSender);
    sender.address = TextAttribute(entry, kAddress);
  });
  if (sender.name.empty() || sender.address.empty()) return std::nullopt;
  return sender;
}

std::vector<std::string> TrainingArea::Purge(std::int32_t max_days) {
  const std::int32_t today = program_.Today();
  if (program_.Read(keys::kTrainingAreaDeleteOldMessagesLast) == today) return {};
  // Deliberate: the day counts as done before anything is, also when the index then cannot be opened.
  // A day that cannot be noted, or a configuration that cannot be read, must not make the default age delete
  // mail.
  if (!program_.Write(keys::kTrainingAreaDeleteOldMessagesLast, today)) return {};
  const std::int64_t cutoff = std::int64_t{today} - max_days;
  std::vector<std::string> names;
  std::vector<std::string> paths;
  const auto held = lock_.Acquire();
  const Index index = OpenIndex();
  if (index.root == nullptr) return {};
  // Deliberate: the age is that of the message's own Date field, and an entry exactly `max_days` old goes.
  ForEachEntry(index.root, [&](xmlNode* entry) {
    if (UnsignedAttribute(entry, kDate) > cutoff) return;
    names.push_back(TextAttribute(entry, kName));
    paths.push_back(TakeOut(entry));
  });
  if (!SaveIndex(index)) return {};
  EraseMessages(paths);
  return names;
}

// Removes the entry and gives the path of its file, empty when it names none of ours.
std::string TrainingArea::TakeOut(xmlNode* entry) const {
  std::string path = PathOfMessage(TextAttribute(entry, kName));
  RemoveElement(entry);
  return path;
}

// Only when the entries are gone for good: one that came back without its text would teach nothing.
void TrainingArea::EraseMessages(std::span<const std::string> paths) {
  for (const std::string& path : paths) {
    if (!path.empty()) EraseFile(path);
  }
}

}  // namespace quillbeaker
