// SPDX-License-Identifier: MIT
#pragma once

// The training area: the plain text of recent mail of unlisted senders, kept so that the user can teach the
// filter with it. One file per text, named by its CRC-32, and an XML index of them, in training/ of the
// program directory. Every operation opens and closes the index by itself, under the store's lock. Any
// thread. Each costs one read of the index and at most one write of it, whatever the number of messages or
// names. A file that is no index of ours is replaced by a new one when something is saved, and kept as
// training.xml.bad.

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "config/program.h"
#include "message/mail_message.h"
#include "message/mail_sender.h"
#include "platform/file_lock.h"
#include "platform/file_result.h"
#include "stores/xml_index.h"

namespace quillbeaker {

enum class TrainingMark { kNone = -1, kGood = 0, kSpam = 1 };

// A row of the index as the window and the terminal show it. Texts are ISO-8859-1.
struct TrainingEntry {
  std::string name;  // bare file name; may be empty in an index written by others
  std::string sender;
  std::string address;
  std::optional<std::string> subject;
  std::int32_t day = 0;    // DayNumber; 0 when missing, 25657560 of a mail without date
  int minutes = 0;         // since midnight
  std::uint32_t size = 0;  // bytes of the decoded text
  TrainingMark mark = TrainingMark::kNone;
};

// An entry as it was when it left the area, for its return.
struct LearntMail {
  TrainingEntry entry;
  std::optional<std::string> text;  // of its file; nothing when there was none
  std::uint32_t place = 0;          // among the entries of the index, counted from 0
};

class TrainingArea {
 public:
  // Creates training/ when it is missing.
  explicit TrainingArea(Program& program);

  const std::string& directory() const { return directory_; }
  const std::string& index_path() const { return index_path_; }

  // Keeps the decoded text (HTML removed) of the message. False when there is none, when the same text is
  // there already, and when it could not be kept; a new file is then deleted again. A file that is there
  // without an entry gets its entry.
  bool Add(const MailMessage& message);
  // The same for many: element i tells what became of message i. Linear in messages and entries.
  std::vector<bool> Add(std::span<const MailMessage* const> messages);

  // All entries. Deliberate: listing saves the index, and so creates a missing one. Nothing when the index is
  // there but cannot be read, and when something else has the directory's name.
  std::optional<std::vector<TrainingEntry>> List();
  // Why List gives nothing.
  FileResult TroubleWithIndex() const;

  // Each is one load-change-save; fails when there is no entry of any of the names or the index was not
  // saved. Of entries of one name the first is meant. RemoveEntries is for the training area's window.
  FileResult SetMark(std::span<const std::string> names, TrainingMark mark);
  FileResult RemoveEntries(std::span<const std::string> names);
  // Entries and their files. The entries go first, and the files only when the index was saved; a file that
  // cannot be deleted is ignored.
  FileResult DeleteMessages(std::span<const std::string> names);

  // Entries return to their places, with their files and marks, in one save of the index. One whose message
  // has come again meanwhile is there already and gets the mark. False when the index was not saved or a text
  // could not be written; it may then be called again.
  FileResult PutBack(std::span<const LearntMail> mails);

  // Sender name and address of an entry, when both are there and not empty; the index is not saved. For the
  // training area's window.
  std::optional<MailSender> SenderOf(std::string_view name) const;

  // At most once per calendar day: removes entries whose message is `max_days` days old and older.
  // Gives the names of the removed ones.
  std::vector<std::string> Purge(std::int32_t max_days);

  // The file's path, or empty when the name is none that this store gives (a bare name ending in .eml).
  std::string PathOfMessage(std::string_view name) const;

 private:
  enum class Kept { kNot, kNew, kThereAlready };
  struct Index {
    XmlDocument document;
    xmlNode* root = nullptr;        // null when the index must be left alone
    FileResult why;                 // of that
    std::string bytes;              // of the file as it was read
    bool replaces_another = false;  // the file is no index of ours; the document is a new one
  };

  Index OpenIndex() const;
  FileResult SaveIndex(const Index& index) const;
  FileResult ChangeEntries(std::span<const std::string> names,
                           const std::function<void(xmlNode* entry)>& change);
  std::string TakeOut(xmlNode* entry) const;
  static Kept KeepText(const std::string& path, std::string_view text);
  static void EraseMessages(std::span<const std::string> paths);

  Program& program_;
  std::string directory_;
  std::string index_path_;
  mutable StoreLock lock_;
};

}  // namespace quillbeaker
