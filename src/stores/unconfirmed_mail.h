// SPDX-License-Identifier: MIT
#pragma once

// What a QUIT has done for mail whose stay on the server, or deletion there, is not confirmed yet, in
// recycle/unconfirmed.xml: should the same mail be met again, what was done for it is not done a second time.
// Each operation opens and closes the file by itself, under the recycle bin's lock, so call none of them with
// that lock held. Any thread. Each costs one read of the file and at most one write of it.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "config/program.h"
#include "platform/file_lock.h"
#include "platform/file_result.h"
#include "stores/xml_index.h"

namespace quillbeaker {

// One mailbox: an id is the server's own and means nothing anywhere else.
struct MailboxName {
  std::string server;  // as the client named it, bytes
  std::int32_t port = 0;
  std::string user;

  bool operator==(const MailboxName&) const = default;
};

struct UnconfirmedMail {
  std::string unique_id;      // never empty
  std::string bin_file{};     // bare name in recycle/, of spam; empty for other mail
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
  // file that is none of ours (it does not parse, or has another root) is set aside beside itself (".bad",
  // ".bad2", ..., never overwritten) and counts as empty, as a missing one does; when it cannot be set aside
  // it counts as one that cannot be read. A bin file's name that the recycle bin would not give reads as
  // none, and a row without an id is passed over.
  std::optional<std::vector<UnconfirmedMail>> Rows(const MailboxName& mailbox) const;
  // After Rows gave nothing: the system's reason, as far as it still holds.
  FileResult WhyUnreadable() const;

  // Puts the rows in the place of that mailbox's; other mailboxes keep theirs. On return they are on the
  // disk, flushed, the directory too. Without a row of any mailbox the file is removed. Nothing is written
  // where nothing changes. When it could not be done, and for rows that would not read back as they are, the
  // file is as it was.
  [[nodiscard]] FileResult Replace(const MailboxName& mailbox, const std::vector<UnconfirmedMail>& rows);

  // The bin files of all rows whose deletion is not due, of every mailbox: a filing that was cut off may have
  // left them without an entry in the index. Not those that a row with a due deletion names too.
  std::vector<std::string> FilesNotDue() const;

 private:
  struct Contents {
    XmlDocument document;              // null when the file must be left alone
    std::optional<std::string> bytes;  // of the file as it was read; nothing when there is none
  };

  Contents Open() const;
  FileResult MakeItsDirectory() const;
  FileResult PutBytes(const std::optional<std::string>& bytes) const;

  Program& program_;
  std::string directory_;
  std::string path_;
  mutable StoreLock lock_;
};

}  // namespace quillbeaker
