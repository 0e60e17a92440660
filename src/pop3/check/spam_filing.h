// SPDX-License-Identifier: MIT
#pragma once

// Puts the spam of a check into the recycle bin, each mail once, however often its deletion on the server
// fails.

#include <functional>
#include <span>
#include <string>
#include <unordered_set>
#include <vector>

#include "config/program.h"
#include "platform/file_result.h"
#include "pop3/check/fetched_mail.h"
#include "pop3/check/mailbox.h"
#include "pop3/check/unconfirmed_rows.h"
#include "stores/recycle_bin.h"

namespace quillbeaker {

class SpamFiling {
 public:
  // All must outlive the object.
  SpamFiling(Program& program, Mailbox& mailbox, const FetchedMail& fetched, UnconfirmedRows& unconfirmed);

  // On return everything that could be kept is on the disk, with its index. One index save serves them all,
  // as long as they fit into memory together. `on_each` is called for each mail: every one is flushed to the
  // disk, which may take its time.
  void Run(const std::function<void()>& on_each);
  // Nothing of the spam may be deleted after all.
  void KeepAllOnServer();
  // Nothing of what the rows were to tell of, and why they do not. Deliberate: mail without an id of its own
  // has no row and needs none.
  void KeepRowsOnServer(const FileResult& why);

  // Deliberate: spam that could not be kept stays on the server and is judged again in the next check.
  bool IsUnfiled(const MessageEntry& entry) const { return unfiled_.contains(&entry); }
  // The files of what was put into the bin by this object.
  const std::vector<std::string>& filed() const { return filed_; }
  std::uint32_t unfiled() const { return static_cast<std::uint32_t>(unfiled_.size()); }
  // Why the first of it could not be kept: path and reason, one line; may be empty.
  const std::string& why() const { return why_; }

 private:
  std::vector<MessageEntry*> SpamWithContent();
  std::vector<MessageEntry*> WithoutWhatIsFiled(const std::vector<MessageEntry*>& spam);
  std::vector<std::string> NamesFor(std::span<MessageEntry* const> spam);
  FileResult SaveRows(std::span<MessageEntry* const> spam, const std::vector<std::string>& names);
  // Both give the mail whose name was taken meanwhile.
  std::vector<MessageEntry*> FileUnderNewNames(std::vector<MessageEntry*> spam,
                                               const std::function<void()>& on_each);
  std::vector<MessageEntry*> File(std::span<MessageEntry* const> spam, std::span<const std::string> names,
                                  const std::function<void()>& on_each);

  Mailbox& mailbox_;
  const FetchedMail& fetched_;
  UnconfirmedRows& unconfirmed_;
  RecycleBin recycle_bin_;
  std::unordered_set<const MessageEntry*> has_file_;  // of its row, without an entry
  std::unordered_set<const MessageEntry*> unfiled_;
  std::vector<std::string> filed_;
  std::string why_;
};

}  // namespace quillbeaker
