// SPDX-License-Identifier: MIT
#pragma once

// The messages of a session: those on the server, and those restored from the recycle bin.

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "message/mail_message.h"

namespace quillbeaker {

inline constexpr std::uint32_t kHiddenFromClient = 0xFFFFFFFF;
// Deliberate: the view was built but did not get this far: invisible, since its number would collide with the
// client's, yet no spam, which QUIT would delete.
inline constexpr std::uint32_t kUnnumbered = 0;
// Restored messages get the numbers behind this one, which no server's message can have.
inline constexpr std::uint32_t kRestoredNumberBase = 65536;
inline constexpr std::size_t kMaxUniqueId = 254;  // bytes

struct MessageEntry {
  std::uint32_t server_number = 0;
  std::uint32_t client_number = 0;  // the server's number until the view is built
  bool delete_on_server = false;    // DELE is due at QUIT
  bool done = false;                // retrieved or deleted by the client
  bool known = false;               // its unique id was stored already: passed on unfiltered
  bool judged = false;              // fetched and judged by this session's view build
  std::string file_path;            // of a restored message; empty for the server's
  bool file_unreadable = false;     // it is there, but could not be read: it must not be deleted
  std::uint32_t size = 0;           // bytes: as listed, then of the parsed message
  std::optional<std::string> unique_id;
  std::string verdict_text;  // the words that led to the verdict
  double spam_probability = 0;
  std::unique_ptr<MailMessage> message;  // null until fetched

  bool is_restored() const { return !file_path.empty(); }
  bool is_hidden() const { return client_number == kHiddenFromClient; }
  bool is_visible() const { return client_number != kHiddenFromClient && client_number != kUnnumbered; }
};

// The entries in list order: the newest restored message first, then the server's messages against the order
// in which it listed them. Entries keep their addresses.
class MessageList {
 public:
  // Puts an entry at the head.
  MessageEntry& Insert(MessageEntry entry);
  void Clear();

  bool empty() const { return entries_.empty(); }
  std::size_t size() const { return entries_.size(); }
  auto begin() { return entries_.begin(); }
  auto end() { return entries_.end(); }
  auto begin() const { return entries_.begin(); }
  auto end() const { return entries_.end(); }

  // The first entry of that server number, or null.
  MessageEntry* FindByServerNumber(std::uint32_t number);
  // The first entry of that client number, or null. Numbers below 1 match nothing: neither hidden nor
  // unnumbered entries can be reached by a number that the client left out.
  MessageEntry* FindByClientNumber(std::int32_t number);

  // Takes the numbering away from all entries; the next NumberNext gives 1.
  void ClearNumbers();
  void NumberNext(MessageEntry& entry);

 private:
  std::deque<MessageEntry> entries_;
  std::unordered_map<std::uint32_t, MessageEntry*> by_server_number_;
  std::vector<MessageEntry*> numbered_;  // by client number - 1, once renumbered_
  bool renumbered_ = false;
};

}  // namespace quillbeaker
