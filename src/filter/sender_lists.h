// SPDX-License-Identifier: MIT
#pragma once

// The Friend List and the Blocked Senders List: addresses and patterns with "*" and "?" in one section of the
// configuration file, and what they say of a sender.

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "config/program.h"
#include "message/mail_message.h"
#include "platform/calendar_time.h"

namespace quillbeaker {

inline constexpr std::int32_t kSenderNone = -1;
inline constexpr std::int32_t kSenderBlocked = 1;
inline constexpr std::int32_t kSenderFriend = 2;

struct SenderRecord {
  std::string name;                 // up to 254 bytes
  std::string address;              // up to 260 bytes; after a look-up the key of the entry that matched
  std::int32_t kind = kSenderNone;  // as stored; any other number means neither list
  CalendarTime date;                // of the message, or local time when it has none
};

enum class SenderChange {
  kDone,
  kRefused,   // the lists are not as the change needs them
  kNotSaved,  // the configuration file could not be read or replaced, or cannot hold the key
};

class SenderLists {
 public:
  explicit SenderLists(Program& program);

  // True when an entry matched (its kind is not -1). Among patterns the first line wins, except that a Friend
  // pattern outranks a Blocked one; an exact entry outranks every line above it, and a later Friend pattern
  // still overrides an exact Blocked entry. Deliberate, all of it. `record` keeps its name and address when
  // nothing matched.
  bool LookUp(std::string_view address, SenderRecord& record) const;
  // The same for a message's sender; false and kind -1 without From field.
  bool LookUp(const MailMessage& message, SenderRecord& record) const;
  // Only which list the message's sender is on, in lists that were read before, with the settings beside
  // them.
  std::int32_t KindOf(const MailMessage& message, const std::shared_ptr<const IniDocument>& source) const;
  // LookUp in lists that were read before (Program::configuration), for many addresses in a row.
  bool LookUp(std::string_view address, const std::shared_ptr<const IniDocument>& source,
              SenderRecord& record) const;

  // True when the address is already a key, without regard to case, wildcards not expanded. For the settings
  // pages.
  bool IsKey(std::string_view address) const;
  // Writes address = "name,kind", overwriting an entry of that key. False when it could not be saved. For the
  // settings pages.
  bool Write(const SenderRecord& record);
  // The same for a key that is on neither list, else kRefused. Test and write are one step: of two processes
  // that add the same address one succeeds.
  [[nodiscard]] SenderChange Add(const SenderRecord& record);
  // Removes every line of that key; kRefused when there is none. One step as well.
  [[nodiscard]] SenderChange Remove(std::string_view address);
  // Removes from the list `kind` those with exactly these keys, in one save: what the other list has of them,
  // perhaps since they were shown, stays. False when that could not be saved.
  [[nodiscard]] bool RemoveFromList(std::int32_t kind, std::span<const std::string> keys);
  // The list whose entry with exactly this key counts; kSenderNone where neither has one.
  std::int32_t ListOfKey(std::string_view key) const;
  // The entry of `address` becomes `record`, in one save. With another address the old key goes, every line
  // of it, and the new one is written at the end. kRefused when the old key is not there, or when the new one
  // is another entry's; the entry's own key, in any case, is no hindrance.
  [[nodiscard]] SenderChange ChangeSender(std::string_view address, const SenderRecord& record);
  // Adds those whose key is on neither list, of equal keys the first, in one save. How many that were;
  // nothing when they could not be saved.
  [[nodiscard]] std::optional<std::size_t> AddSenders(std::span<const SenderRecord> records);
  // Every entry in file order.
  void Enumerate(const std::function<void(const SenderRecord&)>& callback) const;

 private:
  struct Index;
  std::shared_ptr<const Index> CurrentIndex() const;
  // Rebuilt when the configuration file has changed.
  std::shared_ptr<const Index> IndexOf(std::shared_ptr<const IniDocument> document) const;
  static bool LookUp(const Index& index, std::string_view address, SenderRecord& record);

  Program& program_;
  mutable std::mutex mutex_;
  mutable std::shared_ptr<const Index> index_;
};

// The address as it can stand as a key: "=" and a leading ";" or "[" become "?", which still matches them;
// control bytes become blanks.
std::string SenderKey(std::string_view address);

// "*" any run, "?" exactly one byte; the whole text must be consumed. Both already in one case. O(length *
// stars).
bool MatchesWildcard(std::string_view pattern, std::string_view text);

// Sender of a message with its date; false without From field.
bool SenderRecordOf(const Program& program, const MailMessage& message, SenderRecord& record);

}  // namespace quillbeaker
