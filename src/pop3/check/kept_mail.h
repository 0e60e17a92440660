// SPDX-License-Identifier: MIT
#pragma once

// Mail that was fetched for a mail program which gave up before it got an answer. It comes back within
// minutes and would wait for all of it again. Kept is the mail, never what was thought of it. Lives as long
// as the proxy; listener's thread only.

#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "message/mail_message.h"
#include "platform/environment.h"
#include "stores/unconfirmed_mail.h"

namespace quillbeaker {

class KeptMail {
 public:
  // What is kept longer than this is forgotten.
  static constexpr std::uint32_t kMinutes = 30;

  explicit KeptMail(const Environment& environment) : environment_(environment) {}

  // Takes the message in unless `limit` bytes of all mailboxes would be exceeded; before that, the other
  // mailbox that has waited longest is forgotten. False when it was not taken in.
  bool Keep(const MailboxName& mailbox, const std::string& unique_id, std::uint32_t listed_size,
            std::shared_ptr<const MailMessage> message, std::uint64_t limit);
  bool Has(const MailboxName& mailbox, const std::string& unique_id, std::uint32_t listed_size);
  // The message; null when there is none. It stays kept: only a QUIT says that the mail program has it.
  std::shared_ptr<const MailMessage> Share(const MailboxName& mailbox, const std::string& unique_id,
                                           std::uint32_t listed_size);
  void Forget(const MailboxName& mailbox);

  // Of what is still kept.
  std::uint64_t bytes();

 private:
  using Key = std::pair<std::string, std::uint32_t>;  // unique id, listed size
  struct Account {
    MailboxName name;
    std::uint32_t since = 0;  // tick count of the last message taken in
    std::map<Key, std::shared_ptr<const MailMessage>> messages;
  };
  using Accounts = std::list<Account>;  // the one that has waited longest first

  void ForgetOld();
  void Remove(Accounts::iterator account);
  Accounts::iterator Find(const MailboxName& mailbox);

  const Environment& environment_;
  Accounts accounts_;
  std::uint64_t bytes_ = 0;
};

}  // namespace quillbeaker
