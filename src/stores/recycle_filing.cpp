// SPDX-License-Identifier: MIT

// Message files: their names, and spam put into them.

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

#include "config/day_number.h"
#include "platform/files.h"
#include "stores/recycle_bin.h"
#include "stores/recycle_index.h"
#include "stores/recycle_index_file.h"

namespace quillbeaker {

// A free name of that time: "2452676_231507_1a2b3c4.recycle". The tick counter stands still for milliseconds
// and more, in which many messages are filed, so a name that is taken gives way to the next tick.
std::string RecycleBin::NewName(const CalendarTime& local_time) {
  std::array<char, 64> stem{};
  std::snprintf(stem.data(), stem.size(), "%i_%02u%02u%02u_", DayNumber(local_time),
                unsigned{local_time.hour}, unsigned{local_time.minute}, unsigned{local_time.second});
  if (last_stem_ != stem.data()) {
    last_stem_ = stem.data();
    next_tick_ = 0;
  }
  for (std::uint32_t tick = std::max(program_.environment.tick_count(), next_tick_);; ++tick) {
    std::array<char, 16> tick_text{};
    std::snprintf(tick_text.data(), tick_text.size(), "%x", tick);
    std::string name = last_stem_ + tick_text.data() + ".recycle";
    if (!FileExists(directory_ + name) && given_.insert(name).second) {
      next_tick_ = tick + 1;
      return name;
    }
  }
}

std::vector<std::string> RecycleBin::ReserveNames(std::size_t count) {
  const auto held = lock_.Acquire();
  std::vector<std::string> names(count);
  for (std::string& name : names) name = NewName(program_.environment.local_time());
  return names;
}

// A file that holds the message already is written all the same: whether it reached the disk is not known.
RecycleBin::WrittenMessage RecycleBin::WriteMessage(const DeletedMessage& deleted,
                                                    const CalendarTime& local_time) {
  WrittenMessage written;
  const MailMessage* message = deleted.message;
  if (message == nullptr || message->empty() || message->size() == 0) return written;
  const std::optional<std::string> text = message->Serialise();
  if (!text || text->empty()) return written;
  std::string name(deleted.name);
  if (name.empty()) name = NewName(local_time);
  const std::string path = PathOfMessage(name);
  if (path.empty()) {
    written.result = {directory_ + name, std::make_error_code(std::errc::invalid_argument)};
    return written;
  }
  written.was_there = FileExists(path);
  if (written.was_there && ReadWholeFile(path) != text) {
    written.result = {path, std::make_error_code(std::errc::file_exists)};
    return written;
  }
  written.result = WriteWholeFile(path, *text, true);
  if (written.result) written.name = std::move(name);
  return written;
}

// A damaged index is rebuilt here, before new files lie beside those that it listed. When that fails it
// counts as one that cannot be read, with the reason. So it does while a file cannot be read, which may be so
// for a moment only: the next check tries again, and the next start goes on without that file.
RecycleIndexFile RecycleBin::IndexForFiling() const {
  RecycleIndexFile index = ReadRecycleIndex(index_path_);
  if (index.state == RecycleIndexFile::State::kDamaged)
    index.why = MakeIndex(index, UnreadableMail::kRefused);
  return index;
}

FilingResult RecycleBin::File(std::span<const DeletedMessage> messages, std::string_view account,
                              const std::function<void()>& on_each) {
  FilingResult filing{std::vector<std::string>(messages.size()), false, {}, {}};
  if (messages.empty()) return filing;
  const auto held = lock_.Acquire();
  RecycleIndexFile index = IndexForFiling();
  if (index.IsUnusable()) {
    filing.index_unusable = true;
    filing.written = std::move(index.why);
    return filing;
  }
  std::vector<CalendarTime> times(messages.size());
  bool any = false;
  std::vector<std::string> were_there;
  for (std::size_t i = 0; i < messages.size(); ++i) {
    if (on_each) on_each();
    times[i] = program_.environment.local_time();
    WrittenMessage written = WriteMessage(messages[i], times[i]);
    if (written.result.code == std::errc::file_exists) filing.name_taken.push_back(i);
    if (!written.result && filing.written) filing.written = std::move(written.result);
    if (written.was_there && !written.name.empty()) were_there.push_back(written.name);
    filing.names[i] = std::move(written.name);
    any = any || !filing.names[i].empty();
  }
  if (!any) return filing;
  // The files' names are on the disk before an index that speaks of them, and that before the caller goes on.
  if (FileResult flushed = FlushDirectory(directory_); !flushed) {
    TakeBack(filing, std::move(flushed));
    return filing;
  }
  if (index.root == nullptr) return filing;
  // A repair may have listed them meanwhile.
  recycle_index::ForEntriesNamed(index.root, were_there, RemoveElement);
  for (std::size_t i = 0; i < messages.size(); ++i) {
    if (filing.names[i].empty()) continue;
    recycle_index::AppendEntry(index.root, filing.names[i], messages[i], account, times[i]);
  }
  if (FileResult saved = SaveRecycleIndex(index, index_path_); !saved) {
    TakeBack(filing, std::move(saved));
  } else if (FileResult flushed = FlushDirectory(directory_); !flushed) {
    recycle_index::ForEntriesNamed(index.root, filing.names, RemoveElement);
    // Entries that stay all the same keep their files: one without could be restored and reach a client
    // empty.
    const bool entries_left = !SaveRecycleIndex(index, index_path_);
    if (entries_left) filing.names.assign(filing.names.size(), {});
    TakeBack(filing, std::move(flushed));
  }
  return filing;
}

// What could not be brought to the disk counts as not filed, so that the caller keeps it elsewhere. An index
// that stands but could not be saved is never rebuilt: files without entries would be out of reach.
void RecycleBin::TakeBack(FilingResult& filing, FileResult why) const {
  for (std::string& name : filing.names) {
    if (!name.empty()) EraseFile(directory_ + name);
    name.clear();
  }
  if (filing.written) filing.written = std::move(why);
}

HoldingResult RecycleBin::HoldingsOf(std::span<const FiledMessage> filed) {
  HoldingResult result{std::vector<Holding>(filed.size(), Holding::kNothing), false, {}};
  if (filed.empty()) return result;
  std::unordered_set<std::string> listed;
  {
    const auto held = lock_.Acquire();
    RecycleIndexFile index = IndexForFiling();
    if (index.IsUnusable()) {
      result.index_unusable = true;
      result.why = std::move(index.why);
      return result;
    }
    if (index.root == nullptr) return result;
    listed = recycle_index::NamesIn(index.root);
  }
  for (std::size_t i = 0; i < filed.size(); ++i) {
    const std::string path = PathOfMessage(filed[i].name);
    if (path.empty() || filed[i].message == nullptr) continue;
    const std::optional<std::string> text = filed[i].message->Serialise();
    if (!text || text->empty() || ReadWholeFile(path) != text) continue;
    result.holdings[i] = listed.contains(std::string(filed[i].name)) ? Holding::kListed : Holding::kFileOnly;
  }
  return result;
}

std::size_t RecycleBin::RemoveUnlisted(std::span<const std::string> names) {
  if (names.empty()) return 0;
  const auto held = lock_.Acquire();
  const RecycleIndexFile index = ReadRecycleIndex(index_path_);
  if (index.root == nullptr) return 0;
  const std::unordered_set<std::string> listed = recycle_index::NamesIn(index.root);
  std::size_t removed = 0;
  for (const std::string& name : names) {
    const std::string path = PathOfMessage(name);
    if (!path.empty() && !listed.contains(name) && EraseFile(path)) ++removed;
  }
  return removed;
}

}  // namespace quillbeaker
