// SPDX-License-Identifier: MIT
#pragma once

// What a QUIT has done for mail whose stay on the server, or deletion there, is not confirmed yet, in
// recycle/unconfirmed.xml: should the same mail be met again, what was done for it is not done a second time.
// Each operation opens and closes the file by itself, under the recycle bin's lock. Any thread.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "config/program.h"

namespace quillbeaker {

// One mailbox: an id is the server's own and means nothing anywhere else.
struct Mailbox {
  std::string server;  // as the client named it, bytes
  std::int32_t port = 0;
  std::string user;

  bool operator==(const Mailbox&) const = default;
};

struct UnconfirmedMail {
  std::string unique_id;
  std::string bin_file;       // bare name in recycle/, of spam; empty for other mail
  bool counted = false;       // in the statistic and in the tray's number
  bool learnt = false;        // by the word lists or the training area
  bool deletion_due = false;  // its DELE may have reached the server

  bool operator==(const UnconfirmedMail&) const = default;
};

class UnconfirmedMailStore {
 public:
  // `program` must outlive the object. Nothing is read or made here.
  explicit UnconfirmedMailStore(Program& program);

  // The rows of one mailbox, in the order of the file; nothing when the file is there and cannot be read. A
  // file that cannot be parsed is set aside beside itself (".bad", ".bad2", ..., never overwritten) and
  // counts as empty, as a missing one does.
  std::optional<std::vector<UnconfirmedMail>> Rows(const Mailbox& mailbox) const;

  // Puts the rows in the place of that mailbox's; other mailboxes keep theirs. On return they are on the
  // disk, flushed, the directory too. Without a row of any mailbox the file is removed. Nothing is written
  // where nothing changes. False when it could not be done: the file is then as it was.
  [[nodiscard]] bool Replace(const Mailbox& mailbox, const std::vector<UnconfirmedMail>& rows);

  // The bin files of all rows whose deletion is not due, of every mailbox: a filing that was cut off may have
  // left them without an entry in the index.
  std::vector<std::string> FilesNotDue() const;

 private:
  Program& program_;
};

}  // namespace quillbeaker
