// SPDX-License-Identifier: MIT
#pragma once

// Gets the messages of a mailbox from the server, one after the other, with the next ones asked for while one
// is worked on; or from where an earlier check has left them.

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>

#include "pop3/check/fetched_mail.h"
#include "pop3/check/kept_mail.h"
#include "pop3/check/mailbox.h"
#include "pop3/upstream/pop3_client.h"
#include "pop3/watch.h"

namespace quillbeaker {

// A server's refusal as the log has it: one line, not longer than a line should be.
std::string ShownRefusal(std::string_view status_line);

enum class FetchResult {
  kFetched,
  kRefused,    // by the server, or its reply cannot be used: words() are its own
  kCancelled,  // by the person
  kStopped,    // the mail program has gone, or the program ends
  kLost,       // the connection
  kNoRoom,     // neither memory nor file: words() say why
};

class MessageFetch {
 public:
  // All must outlive the object.
  MessageFetch(Pop3Client& client, Watch& watch, FetchedMail& fetched, KeptMail& kept)
      : client_(client), watch_(watch), fetched_(fetched), kept_(kept) {}

  // Over TLS the server may take many commands ahead (RFC 2449, section 6.6).
  void SetPipelining(bool pipelining) { pipelining_ = pipelining; }

  // The messages that will be fetched, in this order: what lets one be asked for while the one before it is
  // worked on. Those that need not be fetched are left out.
  void Plan(Mailbox& mailbox);
  // Nobody fetches any further.
  void DropPlan();

  // Gets the message of an entry that is on the server.
  FetchResult Fetch(const MailboxName& mailbox, MessageEntry& entry);
  const std::string& words() const { return words_; }

 private:
  bool ShareKept(const MailboxName& mailbox, MessageEntry& entry);
  bool Request(const MessageEntry& entry);
  bool RequestAhead();
  FetchResult Read(MessageEntry& entry);
  FetchResult Failed(const Reply& reply);

  Pop3Client& client_;
  Watch& watch_;
  FetchedMail& fetched_;
  KeptMail& kept_;
  bool pipelining_ = false;
  std::deque<const MessageEntry*> planned_;    // not asked for yet
  std::deque<const MessageEntry*> requested_;  // under way
  std::uint64_t bytes_ahead_ = 0;              // as listed, of all that is under way
  std::string words_;
};

}  // namespace quillbeaker
