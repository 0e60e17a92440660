// SPDX-License-Identifier: MIT
#include "pop3/check/listing.h"

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "pop3/check/restored_mail.h"
#include "pop3/upstream/message_listing.h"
#include "stores/unique_id_store.h"

namespace quillbeaker {
namespace {

class Listing {
 public:
  Listing(Program& program, Pop3Client& client, Mailbox& mailbox)
      : program_(program), client_(client), mailbox_(mailbox) {}

  ListingResult Run() {
    result_.listed = List();
    if (result_.listed && program_.Read(keys::kUidChecking) != 0) {
      result_.whole = ReadUniqueIds();
    }
    if (result_.stopped != Stop::kNone) {
      mailbox_.Clear();
    } else if (result_.listed) {
      AddRestoredMail(program_, mailbox_);
    }
    return result_;
  }

 private:
  // The reply's body, where it is one.
  std::optional<std::string> Ask(std::string_view command) {
    if (!client_.Request(command, ReplyKind::kListing)) {
      return std::nullopt;
    }
    Reply reply = client_.Receive();
    if (reply.status == ReplyStatus::kCancelled || reply.status == ReplyStatus::kStopped) {
      result_.stopped = client_.link().stopped();
    }
    return reply.positive() ? std::optional(std::move(reply.body)) : std::nullopt;
  }

  bool List() {
    const std::optional<std::string> body = Ask("LIST");
    if (!body) {
      return false;
    }
    const auto listed = ParseListReply(*body);
    if (!listed) {
      client_.GiveUpOnServer();
      return false;
    }
    for (const ListedMessage& message : *listed) {
      if (mailbox_.FindByServerNumber(message.number) != nullptr) {
        continue;  // one number is one message, however often a server names it
      }
      MessageEntry entry;
      entry.server_number = message.number;
      entry.client_number = message.number;
      entry.listed_size = message.size;
      entry.size = message.size;
      mailbox_.Insert(std::move(entry));
    }
    return true;
  }

  // True when it was read to its end.
  bool ReadUniqueIds() {
    const std::optional<std::string> body = Ask("UIDL");
    if (!body) {
      return false;
    }
    const auto ids = ParseUidlReply(*body);
    if (!ids) {
      client_.GiveUpOnServer();
      return false;
    }
    const std::unique_ptr<UniqueIdStore> store = UniqueIdStore::Open(program_);
    // A server that leaves a message out has not told that a mail is gone.
    const bool whole =
        TakeUniqueIds(*ids, store.get()) &&
        std::ranges::all_of(mailbox_, [](const MessageEntry& entry) { return entry.unique_id.has_value(); });
    if (store != nullptr) {
      store->PurgeAndClose();
    }
    return whole;
  }

  bool TakeUniqueIds(const std::vector<ListedUniqueId>& ids, UniqueIdStore* store) {
    std::map<std::string_view, MessageEntry*> owners;  // null where several messages have the id
    bool whole = true;
    for (const ListedUniqueId& listed : ids) {
      MessageEntry* entry = mailbox_.FindByServerNumber(listed.number);
      if (entry == nullptr) {
        whole = false;
        break;  // Deliberate: a line of a message that LIST did not name ends the reading.
      }
      entry->unique_id = std::string(listed.unique_id);
      const auto [owner, is_first] = owners.try_emplace(listed.unique_id, entry);
      if (!is_first && owner->second != entry) owner->second = nullptr;
      if (store != nullptr && store->Contains(listed.unique_id)) {
        entry->fate = Fate::kKnown;
        store->Refresh(listed.unique_id);
      }
    }
    for (const auto& [unique_id, owner] : owners) {
      if (owner != nullptr && owner->unique_id == unique_id && !unique_id.empty()) {
        owner->unique_id_is_its_own = true;
      }
    }
    return whole;
  }

  Program& program_;
  Pop3Client& client_;
  Mailbox& mailbox_;
  ListingResult result_;
};

}  // namespace

ListingResult ListMailbox(Program& program, Pop3Client& client, Mailbox& mailbox) {
  return Listing(program, client, mailbox).Run();
}

}  // namespace quillbeaker
