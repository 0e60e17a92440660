// SPDX-License-Identifier: MIT
#include "filter/word_count_table.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <optional>
#include <utility>

#include "filter/little_endian.h"
#include "platform/files.h"

namespace quillbeaker {

namespace {

constexpr std::size_t kFewestSlots = 16;
constexpr std::size_t kHeaderSize = 16;        // of a word list file
constexpr std::size_t kFewestRecordBytes = 5;  // an empty word with its length byte and its count
constexpr std::uint32_t kWordOverhead = 5;     // what a word costs of the budget beside its own bytes
constexpr std::uint32_t kFormatVersion = 1;
// A damaged record count must not reserve memory for words that are not there.
constexpr std::size_t kMostReservedEntries = 1U << 17;

// Odd, so that it visits every slot of a table whose size is a power of two.
std::size_t ProbeStep(std::uint32_t hash, std::size_t slot_count) {
  return (hash % static_cast<std::uint32_t>(slot_count - 1)) | 1;
}

std::uint32_t CappedSum(std::uint32_t a, std::uint32_t b) {
  return a + std::min(b, std::numeric_limits<std::uint32_t>::max() - a);
}

bool HoldsAlready(const std::string& path, const std::string& bytes) {
  return FileSize(path) == bytes.size() && ReadWholeFile(path) == bytes;
}

}  // namespace

Word::Word(std::string_view word) {
  length = static_cast<std::uint8_t>(word.copy(text.data(), text.size()));
  hash = WordCountTable::Hash(this->word());
}

std::uint32_t WordCountTable::Hash(std::string_view word) {
  std::uint32_t hash = 0;
  for (const char c : word) hash = Hash(hash, c);
  return hash;
}

std::size_t WordCountTable::SlotOf(const Word& word) const {
  const std::size_t mask = slots_.size() - 1;
  std::size_t slot = word.hash & mask;
  std::size_t step = 0;
  while (slots_[slot].reference != 0) {
    if (slots_[slot].hash == word.hash && entries_[slots_[slot].reference - 1] == word) break;
    if (step == 0) step = ProbeStep(word.hash, slots_.size());
    slot = (slot + step) & mask;
  }
  return slot;
}

std::size_t WordCountTable::FreeSlot(std::uint32_t hash) const {
  const std::size_t mask = slots_.size() - 1;
  std::size_t slot = hash & mask;
  if (slots_[slot].reference == 0) return slot;
  const std::size_t step = ProbeStep(hash, slots_.size());
  while (slots_[slot].reference != 0) slot = (slot + step) & mask;
  return slot;
}

// Entries move over in slot order: where several share a probe sequence, that decides who comes first in the
// file.
void WordCountTable::Resize(std::size_t slot_count) {
  former_slots_.swap(slots_);
  slots_.assign(std::max(slot_count, kFewestSlots), Slot());
  for (const Slot& slot : former_slots_) {
    if (slot.reference != 0) slots_[FreeSlot(slot.hash)] = slot;
  }
  former_slots_.clear();
}

WordEntry* WordCountTable::FindOrCreate(const Word& word) {
  std::size_t slot = 0;
  if (!slots_.empty()) {
    slot = SlotOf(word);
    if (slots_[slot].reference != 0) return &entries_[slots_[slot].reference - 1];
  }
  const std::uint32_t cost = word.length + kWordOverhead;
  if (byte_budget != 0 && std::uint64_t{bytes_used_} + cost > byte_budget) return nullptr;
  bytes_used_ += cost;
  if (entries_.size() >= slots_.size() / 4 * 3) {
    Resize(slots_.size() * 2);
    slot = FreeSlot(word.hash);
  }
  entries_.push_back({word, 0});
  slots_[slot] = {word.hash, static_cast<std::uint32_t>(entries_.size())};
  return &entries_.back();
}

bool WordCountTable::Add(const Word& word, std::uint32_t times) {
  WordEntry* const entry = FindOrCreate(word);
  if (entry == nullptr) return false;
  entry->count = CappedSum(entry->count, times);
  return true;
}

void WordCountTable::AddMessages(std::uint32_t times) {
  messages = CappedSum(messages, times);
}

void WordCountTable::Subtract(std::span<const WordEntry> words, std::uint32_t so_many_messages) {
  messages -= std::min(messages, so_many_messages);
  if (slots_.empty()) return;
  bool any_gone = false;
  for (const WordEntry& word : words) {
    const std::uint32_t reference = slots_[SlotOf(word)].reference;
    if (reference == 0) continue;
    std::uint32_t& count = entries_[reference - 1].count;
    count -= std::min(count, word.count);
    any_gone |= count == 0;
  }
  if (!any_gone) return;
  WordCountTable rest;
  rest.messages = messages;
  for (std::size_t slot = 0; slot < slots_.size(); ++slot) {
    const WordEntry* const entry = EntryInSlot(slot);
    if (entry != nullptr && entry->count != 0) rest.Add(*entry, entry->count);
  }
  rest.byte_budget = byte_budget;
  rest.file_name_ = std::move(file_name_);
  *this = std::move(rest);
}

std::uint32_t WordCountTable::Count(const Word& word) const {
  if (slots_.empty()) return 0;
  const std::uint32_t reference = slots_[SlotOf(word)].reference;
  return reference == 0 ? 0 : entries_[reference - 1].count;
}

void WordCountTable::Clear() {
  entries_.clear();
  slots_.clear();
  bytes_used_ = 0;
  messages = 0;
}

bool WordCountTable::Load(const std::string& path) {
  file_name_ = path;
  Clear();
  const std::optional<std::string> bytes = ReadWholeFile(path);
  if (!bytes) return !StateOfFile(path).exists;
  if (bytes->size() < kHeaderSize) return true;
  const std::string_view view(*bytes);
  messages = LittleEndian32(view.substr(8));
  ReadRecords(view.substr(kHeaderSize), LittleEndian32(view.substr(4)));
  return true;
}

void WordCountTable::ReadRecords(std::string_view records, std::uint32_t record_count) {
  const std::size_t possible = std::min<std::size_t>(record_count, records.size() / kFewestRecordBytes);
  Resize(std::bit_ceil(possible));
  entries_.reserve(std::min(possible, kMostReservedEntries));
  for (std::size_t i = 0; i < possible && !records.empty(); ++i) {
    const std::size_t length = static_cast<unsigned char>(records.front());
    if (records.size() < length + kFewestRecordBytes) return;
    WordEntry* const entry = FindOrCreate(Word(records.substr(1, length)));
    if (entry == nullptr) return;
    entry->count = LittleEndian32(records.substr(1 + length));
    records.remove_prefix(length + kFewestRecordBytes);
  }
}

std::string WordCountTable::Serialise() const {
  std::string out;
  out.reserve(kHeaderSize + bytes_used_);
  AppendLittleEndian32(out, kFormatVersion);
  AppendLittleEndian32(out, static_cast<std::uint32_t>(entries_.size()));
  AppendLittleEndian32(out, messages);
  AppendLittleEndian32(out, 0);
  for (std::size_t slot = 0; slot < slots_.size(); ++slot) {
    const WordEntry* const entry = EntryInSlot(slot);
    if (entry == nullptr) continue;
    out += static_cast<char>(entry->length);
    out += entry->word();
    AppendLittleEndian32(out, entry->count);
  }
  return out;
}

bool WordCountTable::Save() const {
  if (file_name_.empty()) return false;
  const std::string bytes = Serialise();
  return HoldsAlready(file_name_, bytes) || ReplaceWholeFile(file_name_, bytes);
}

}  // namespace quillbeaker
