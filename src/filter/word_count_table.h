// SPDX-License-Identifier: MIT
#pragma once

// Words and how often each was counted, in an open-addressing hash table whose slot order is the order of its
// file. The learnt lists are such tables, and so is the set of words of one message.

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quillbeaker {

inline constexpr std::size_t kMaxWordLength = 20;  // bytes

// A word as the tables hold it: what it has beyond 20 bytes is cut off, and what it lacks to them is zero, so
// that words are copied and compared as blocks of one size.
struct Word {
  Word() = default;
  explicit Word(std::string_view word);

  std::string_view word() const { return {text.data(), length}; }
  bool operator==(const Word&) const = default;

  std::array<char, kMaxWordLength> text{};
  std::uint8_t length = 0;
  std::uint32_t hash = 0;
};

struct WordEntry : Word {
  std::uint32_t count = 0;
};

class WordCountTable {
 public:
  // h = h * 65600 - h + c over the unsigned bytes, in 32 bits that wrap.
  static std::uint32_t Hash(std::string_view word);
  // The same with one byte more, from that of the bytes before it, which is 0 where there are none.
  static std::uint32_t Hash(std::uint32_t before, char c) {
    return before * 65600U - before + static_cast<unsigned char>(c);
  }

  // Counts the word up, so many times (at least once), or creates it with that count. False when it is new
  // and the budget is full: it is then not added. Counts end at the largest that the file can hold.
  bool Add(const Word& word, std::uint32_t times = 1);
  bool Add(std::string_view word) { return Add(Word(word)); }
  // The same for the number of messages.
  void AddMessages(std::uint32_t times);
  // Takes these counts, and so many messages, away again, never below 0. A word of which nothing is left
  // leaves the table; the others then get their slots anew, in the order of the slots.
  void Subtract(std::span<const WordEntry> words, std::uint32_t so_many_messages);
  // Count of the word, 0 when absent.
  std::uint32_t Count(const Word& word) const;
  std::uint32_t Count(std::string_view word) const { return Count(Word(word)); }

  // Makes the table as good as new, its budget and file name aside; the memory is kept for the next words.
  void Clear();

  // Reads a word list file (little-endian: version, records, messages, reserved; then length, word, count
  // each) and remembers its name. What the table held before is gone. A missing file leaves an empty table; a
  // damaged one gives the records before the damage; the first word that the budget refuses ends the reading.
  // False when there is a file that cannot be read: the table is empty then as well, and saving it would lose
  // what the file holds.
  bool Load(const std::string& path);
  // The file's bytes: records in slot order.
  std::string Serialise() const;
  // Atomically replaces the file that Load named, unless it holds these very bytes. False when there is none
  // or it cannot be written.
  bool Save() const;

  // In the order of their creation.
  std::span<const WordEntry> entries() const { return entries_; }
  std::size_t slot_count() const { return slots_.size(); }
  // The entry of a slot, null when it is empty.
  const WordEntry* EntryInSlot(std::size_t slot) const {
    const std::uint32_t reference = slots_[slot].reference;
    return reference == 0 ? nullptr : &entries_[reference - 1];
  }
  std::uint32_t bytes_used() const { return bytes_used_; }
  // As Load was given it.
  const std::string& file_name() const { return file_name_; }

  std::uint32_t messages = 0;     // number of messages counted in
  std::uint32_t byte_budget = 0;  // limit of bytes_used(), the sum of word length + 5; 0 means none

 private:
  struct Slot {
    std::uint32_t hash = 0;       // of the word, so that other words are passed by without a look at them
    std::uint32_t reference = 0;  // index into entries_ + 1; 0 is an empty slot
  };

  // The word's entry, created with count 0 when it is new; null when the budget refuses it.
  WordEntry* FindOrCreate(const Word& word);
  // Slot of the word, or the empty slot at which its probing ended. The table must have slots.
  std::size_t SlotOf(const Word& word) const;
  std::size_t FreeSlot(std::uint32_t hash) const;
  void Resize(std::size_t slot_count);
  void ReadRecords(std::string_view records, std::uint32_t record_count);

  std::vector<WordEntry> entries_;
  std::vector<Slot> slots_;         // a power of two of them
  std::vector<Slot> former_slots_;  // empty; its memory serves the next resize
  std::uint32_t bytes_used_ = 0;
  std::string file_name_;
};

}  // namespace quillbeaker
