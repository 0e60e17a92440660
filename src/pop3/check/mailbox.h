// SPDX-License-Identifier: MIT
#pragma once

// The messages of one mail check: those on the server and those restored from the recycle bin, each with what
// becomes of it.

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "message/mail_message.h"
#include "stores/unconfirmed_mail.h"

namespace quillbeaker {

inline constexpr std::uint32_t kHiddenFromClient = 0xFFFFFFFF;
// Deliberate: the view was built but did not get this far: invisible, since its number would collide with the
// client's, yet no spam, which QUIT would delete.
inline constexpr std::uint32_t kUnnumbered = 0;
// Restored messages get the numbers behind this one, which no server's message can have.
inline constexpr std::uint32_t kRestoredNumberBase = 65536;

enum class Fate {
  kNew,       // on the server, not judged (yet)
  kKnown,     // on the server, seen in an earlier session: passed on unfiltered
  kRestored,  // from the recycle bin: passed on unfiltered
  kGood,      // judged in this session
  kSpam,      // judged in this session: hidden from the client, deleted at its QUIT
};

struct MessageEntry {
  std::uint32_t server_number = 0;
  std::uint32_t client_number = 0;  // the server's number until the view is built
  Fate fate = Fate::kNew;
  bool delete_on_server = false;  // DELE is due at QUIT
  bool done = false;              // retrieved or deleted by the client
  std::string file_path;          // of a restored message
  bool file_unreadable = false;   // it is there, but could not be read: it must not be deleted
  bool file_missing = false;      // it was not there: should it come back, it must not be deleted either
  std::uint32_t listed_size = 0;  // bytes, as the server says
  std::uint32_t size = 0;         // bytes: as listed, then of the parsed message
  std::optional<std::string> unique_id;
  bool unique_id_is_its_own = false;           // no other message of the listing has it
  std::optional<UnconfirmedMail> unconfirmed;  // what an earlier QUIT did for it
  std::string judgement_words;                 // the words that led to the judgement
  double spam_probability = 0;
  std::shared_ptr<const MailMessage> message;   // null until fetched, and while it waits in the spill file
  std::optional<std::uint64_t> spilled_offset;  // bytes into the spill file

  bool is_restored() const { return fate == Fate::kRestored; }
  bool is_fetched() const { return message != nullptr || spilled_offset.has_value(); }
  bool is_judged() const { return fate == Fate::kGood || fate == Fate::kSpam; }
  bool is_visible() const { return client_number != kHiddenFromClient && client_number != kUnnumbered; }
};

// What is on the server and what was restored, in list order: the newest restored message first, then the
// server's messages against the order in which it listed them. Entries keep their addresses.
class Mailbox {
 public:
  // Whose it is. The account key, "user @ server", is how the recycle bin names it.
  void SetName(MailboxName name) { name_ = std::move(name); }
  const MailboxName& name() const { return name_; }
  std::string AccountKey() const { return name_.user + " @ " + name_.server; }

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
  MailboxName name_;
  std::deque<MessageEntry> entries_;
  std::unordered_map<std::uint32_t, MessageEntry*> by_server_number_;
  std::vector<MessageEntry*> numbered_;  // by client number - 1, once renumbered_
  bool renumbered_ = false;
};

}  // namespace quillbeaker
