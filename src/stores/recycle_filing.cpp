// SPDX-License-Identifier: MIT

// Message files: their names, and spam put into them.

#include <algorithm>
#include <array>
#include <cstdio>

#include "config/day_number.h"
#include "platform/files.h"
#include "stores/recycle_bin.h"
#include "stores/recycle_index.h"

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
    if (!FileExists(directory_ + name)) {
      next_tick_ = tick + 1;
      return name;
    }
  }
}

std::vector<std::string> RecycleBin::File(std::span<const DeletedMessage> messages,
                                          std::string_view account) {
  struct Filed {
    std::size_t message = 0;
    CalendarTime local_time;
  };
  std::vector<std::string> names(messages.size());
  std::vector<Filed> filed;
  const auto held = lock_.Acquire();
  for (std::size_t i = 0; i < messages.size(); ++i) {
    const MailMessage* message = messages[i].message;
    if (message == nullptr || message->empty() || message->size() == 0) continue;
    const auto text = message->Serialise();
    if (!text || text->empty()) continue;  // nothing of it would be kept
    const CalendarTime local_time = program_.environment.local_time();
    std::string name = NewName(local_time);
    if (!WriteWholeFile(directory_ + name, *text, true)) continue;
    names[i] = std::move(name);
    filed.push_back({i, local_time});
  }
  if (filed.empty()) return names;
  // The files' names are on the disk before an index that speaks of them, and that before the caller goes on.
  if (!FlushDirectory(directory_)) {
    TakeBack(names);
    return names;
  }
  const XmlDocument index = OpenIndex();
  if (index == nullptr) return names;
  xmlNode* root = RootNamed(index, recycle_index::kRoot);
  for (const Filed& one : filed) {
    recycle_index::AppendEntry(root, names[one.message], messages[one.message], account, one.local_time);
  }
  if (!SaveXmlFile(index, index_path_, false)) {
    TakeBack(names);
  } else if (!FlushDirectory(directory_)) {
    recycle_index::ForEntriesNamed(root, names, RemoveElement);
    // Entries that stay all the same name files that are gone, which every reader of the index bears.
    static_cast<void>(SaveXmlFile(index, index_path_, false));
    TakeBack(names);
  }
  return names;
}

// What could not be brought to the disk counts as not filed, so that the caller keeps it elsewhere. An index
// that stands but could not be saved is never rebuilt: files without entries would be out of reach.
void RecycleBin::TakeBack(std::vector<std::string>& names) const {
  for (std::string& name : names) {
    if (!name.empty()) EraseFile(directory_ + name);
    name.clear();
  }
}

}  // namespace quillbeaker
