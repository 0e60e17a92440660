// SPDX-License-Identifier: MIT

// Messages put into the training area: their texts as files, their entries in the index.

#include <zlib.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <system_error>
#include <unordered_map>

#include "message/decoded_text.h"
#include "platform/files.h"
#include "stores/index_entries.h"
#include "stores/training_area.h"
#include "stores/training_index.h"

namespace quillbeaker {
namespace {

std::string NameOfText(std::string_view text) {
  const auto crc =
      static_cast<std::uint32_t>(crc32_z(0, reinterpret_cast<const Bytef*>(text.data()), text.size()));
  std::array<char, 16> name{};
  std::snprintf(name.data(), name.size(), "%x.eml", crc);
  return name.data();
}

}  // namespace

bool TrainingArea::Add(const MailMessage& message) {
  const MailMessage* const one = &message;
  return Add(std::span(&one, 1)).front();
}

// Texts that get no entry would never be shown, learnt or purged, so that a text found without one gets it
// now. Whatever ended the process before that may have cut the file short, and it is written anew unless it
// is whole; one that was there before stays in any case.
TrainingArea::Kept TrainingArea::KeepText(const std::string& path, std::string_view text) {
  if (!FileExists(path)) return WriteWholeFile(path, text, false) ? Kept::kNew : Kept::kNot;
  if (ReadWholeFile(path) == text || ReplaceWholeFile(path, text)) return Kept::kThereAlready;
  return Kept::kNot;
}

// The texts are not flushed one by one, as spam is that is about to be deleted on the server: they only teach
// the filter, and a loss of power costs what was received in the last seconds.
std::vector<bool> TrainingArea::Add(std::span<const MailMessage* const> messages) {
  std::vector<bool> added(messages.size());
  std::vector<std::string> new_paths;
  const auto held = lock_.Acquire();
  const Index index = OpenIndex();
  if (index.root == nullptr) return added;
  std::unordered_map<std::string, xmlNode*> listed;
  training_index::ForEachEntry(index.root, [&](xmlNode* entry) {
    listed.emplace(TextAttribute(entry, training_index::kName), entry);
  });
  std::string text;
  bool any = false;
  for (std::size_t i = 0; i < messages.size(); ++i) {
    if (messages[i] == nullptr || !DecodeText(*messages[i], true, text)) continue;
    std::string name = NameOfText(text);
    std::string path = directory_ + name;
    // Deliberate: the checksum stands for the text. Of two texts that share one, the second is not kept.
    const auto former = listed.find(name);
    if (former != listed.end() && FileExists(path)) continue;
    const Kept kept = KeepText(path, text);
    if (kept == Kept::kNot) continue;
    if (kept == Kept::kNew) new_paths.push_back(std::move(path));
    // An entry whose file was lost makes room: by its name it would take the new file with it when it goes.
    if (former != listed.end()) RemoveElement(former->second);
    xmlNode* const entry = training_index::AppendEntry(index.root, name, *messages[i], text.size());
    listed.insert_or_assign(std::move(name), entry);
    added[i] = true;
    any = true;
  }
  if (any && !SaveIndex(index)) {
    EraseMessages(new_paths);
    added.assign(messages.size(), false);
  }
  return added;
}

// Texts first, as when mail is kept for the first time: an entry never stands without its text.
FileResult TrainingArea::PutBack(std::span<const LearntMail> mails) {
  const auto held = lock_.Acquire();
  const Index index = OpenIndex();
  if (index.root == nullptr) return index.why;
  std::unordered_map<std::string, xmlNode*> listed;
  std::vector<xmlNode*> entries;
  training_index::ForEachEntry(index.root, [&](xmlNode* entry) {
    listed.emplace(TextAttribute(entry, training_index::kName), entry);
    entries.push_back(entry);
  });
  std::size_t next = 0;  // of `entries`, the one that stands at `place` now
  std::size_t place = 0;
  for (const LearntMail& mail : mails) {
    const std::string path = PathOfMessage(mail.entry.name);
    if (mail.text && !path.empty() && KeepText(path, *mail.text) == Kept::kNot) {
      return {path, std::make_error_code(std::errc::io_error)};
    }
    const auto former = listed.find(mail.entry.name);
    if (former != listed.end()) {
      training_index::WriteMark(former->second, mail.entry.mark);
      continue;
    }
    for (; place < mail.place && next < entries.size(); ++place) ++next;
    xmlNode* const entry = training_index::AppendEntry(index.root, mail.entry);
    if (next < entries.size()) xmlAddPrevSibling(entries[next], entry);
    ++place;
  }
  return SaveIndex(index);
}

}  // namespace quillbeaker
