// SPDX-License-Identifier: MIT
#include "pop3/check/kept_mail.h"

#include <algorithm>

#include "pop3/check/message_memory.h"

namespace quillbeaker {

bool KeptMail::Keep(const MailboxName& mailbox, const std::string& unique_id, std::uint32_t listed_size,
                    std::shared_ptr<const MailMessage> message, std::uint64_t limit) {
  ForgetOld();
  const std::uint64_t size = MemoryOf(*message);
  if (size > limit) return false;  // nobody need make room for what does not fit
  const auto fits = [&] { return bytes_ <= limit - size; };
  while (!fits()) {
    const auto other =
        std::ranges::find_if(accounts_, [&](const Account& account) { return account.name != mailbox; });
    if (other == accounts_.end()) return false;
    Remove(other);
  }
  auto account = Find(mailbox);
  if (account == accounts_.end()) {
    account = accounts_.insert(accounts_.end(), Account{mailbox, 0, {}});
  } else {
    accounts_.splice(accounts_.end(), accounts_, account);
  }
  account->since = environment_.tick_count();
  const bool added = account->messages.try_emplace({unique_id, listed_size}, std::move(message)).second;
  if (added) bytes_ += size;
  return added;
}

bool KeptMail::Has(const MailboxName& mailbox, const std::string& unique_id, std::uint32_t listed_size) {
  ForgetOld();
  const auto account = Find(mailbox);
  return account != accounts_.end() && account->messages.contains({unique_id, listed_size});
}

std::shared_ptr<const MailMessage> KeptMail::Share(const MailboxName& mailbox, const std::string& unique_id,
                                                   std::uint32_t listed_size) {
  const auto account = Find(mailbox);
  if (account == accounts_.end()) return nullptr;
  const auto kept = account->messages.find({unique_id, listed_size});
  return kept != account->messages.end() ? kept->second : nullptr;
}

void KeptMail::Forget(const MailboxName& mailbox) {
  const auto account = Find(mailbox);
  if (account != accounts_.end()) Remove(account);
}

std::uint64_t KeptMail::bytes() {
  ForgetOld();
  return bytes_;
}

void KeptMail::ForgetOld() {
  constexpr std::uint32_t kLongest = kMinutes * 60 * 1000;
  const std::uint32_t now = environment_.tick_count();
  while (!accounts_.empty() && now - accounts_.front().since >= kLongest) Remove(accounts_.begin());
}

void KeptMail::Remove(Accounts::iterator account) {
  for (const auto& [key, message] : account->messages) bytes_ -= MemoryOf(*message);
  accounts_.erase(account);
}

KeptMail::Accounts::iterator KeptMail::Find(const MailboxName& mailbox) {
  return std::ranges::find_if(accounts_, [&](const Account& account) { return account.name == mailbox; });
}

}  // namespace quillbeaker
