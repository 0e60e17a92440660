// SPDX-License-Identifier: MIT
#pragma once

// The recycle bin: one file per spam that was deleted on a server, and an XML index of them, in recycle/ of
// the program directory. Every operation opens and closes the index by itself, under the store's lock. Any
// thread. Each costs one read of the index and at most one write of it, whatever the number of messages or
// names that it is given.

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "config/program.h"
#include "message/mail_message.h"
#include "platform/file_lock.h"
#include "platform/file_result.h"
#include "stores/xml_index.h"

namespace quillbeaker {

struct RecycleIndexFile;

// A row of the index as the window and the terminal show it. Texts are ISO-8859-1. Whether `address` is on
// the list of known senders is the caller's to look up: that list is the filter's, which the stores do not
// know.
struct RecycleEntry {
  std::string name;  // bare file name
  std::string sender;
  std::string address;
  bool has_address = false;
  std::string subject;
  std::string spam_words;
  std::string account;
  bool restored = false;
  std::int32_t day = 0;    // DayNumber
  int minutes = 0;         // since midnight
  std::uint32_t size = 0;  // bytes
  double probability = 0;
};

// A spam to file. The message is not owned.
struct DeletedMessage {
  const MailMessage* message = nullptr;
  std::string_view spam_words;
  double probability = 0;
  std::string_view name = {};  // one that ReserveNames gave; empty: the bin chooses
};

// What became of messages to be filed.
struct FilingResult {
  // One per message: its file's bare name, empty when it could not be kept (an empty message has nothing to
  // keep and gives an empty name as well).
  std::vector<std::string> names;
  // The index is there and can neither be read nor rebuilt: nothing was filed.
  bool index_unusable = false;
  // True when all could be kept, else the first failure.
  FileResult written;
  // Places of the messages whose reserved name another program's file had taken meanwhile: under another name
  // they can be filed.
  std::vector<std::size_t> name_taken;
};

// A message that was filed before, under `name`. Not owned.
struct FiledMessage {
  std::string_view name;
  const MailMessage* message = nullptr;
};

// What the bin still has of a message that was filed before.
enum class Holding {
  kNothing,   // or a file that holds something else
  kFileOnly,  // its file, which a readable index does not list: an erase was cut off before it
  kListed,    // file and entry
};

// What it has of several.
struct HoldingResult {
  std::vector<Holding> holdings;  // one per message
  bool index_unusable = false;    // nothing is known of any, and filing would be refused as well
  FileResult why;                 // of an index that is unusable
};

// What a repair found and did.
struct RepairReport {
  FileResult done;                 // true when index and files agree now, as far as they could be read
  bool index_was_missing = false;  // and has been made from the message files
  bool index_was_damaged = false;  // likewise; the damaged one is kept beside it
  std::size_t adopted = 0;         // files that had no entry, but for empty ones
  std::size_t dropped = 0;         // entries that had no file
  std::size_t unreadable = 0;      // files that have no entry and could not be read: they still have none
};

// Why the index cannot be listed, for telling a person.
struct IndexTrouble {
  bool is_missing = false;  // nothing was filed yet
  bool is_damaged = false;  // Repair makes it anew
  FileResult why;           // where it can neither be read nor be repaired
};

struct RestoredList {
  std::string directory;           // the recycle directory, ends in a separator
  std::vector<std::string> names;  // bare names
};

class RecycleBin {
 public:
  // Creates recycle/ when it is missing.
  explicit RecycleBin(Program& program);

  const std::string& directory() const { return directory_; }
  const std::string& index_path() const { return index_path_; }

  // Bare names for messages that are about to be filed: no file has one of them, and this object gives none
  // twice, so that a caller can note them before the files are there.
  std::vector<std::string> ReserveNames(std::size_t count);

  // Files the messages under the account ("user @ server") and adds all entries in one index save. On return
  // everything filed is on the disk, flushed. A damaged index is rebuilt before. No message is kept, and no
  // file left, when the index is there but cannot be read or rebuilt, when the directory could not be flushed
  // or a readable index not be saved. Without an index, or with one of another root, the files have no
  // entries until a rebuild. Where a file of the reserved name is there, it is written anew when it holds the
  // same message, and else not touched: that message is not kept. `on_each`, if given, is called before each
  // message with the store's lock held: it must tell and ask nobody.
  FilingResult File(std::span<const DeletedMessage> messages, std::string_view account,
                    const std::function<void()>& on_each = {});

  // For each message: whether its file is there and holds exactly the bytes that filing this message would
  // write, and whether a readable index lists it. A damaged index is rebuilt before, as when filing: what it
  // listed would be filed a second time otherwise. Of an index that is missing or has another root nothing
  // is said but kNothing.
  HoldingResult HoldingsOf(std::span<const FiledMessage> filed);

  // Erases those of these files that a readable index does not list, and gives their number. For start-up:
  // a filing that was cut off leaves them, and their mail is still on the server.
  std::size_t RemoveUnlisted(std::span<const std::string> names);

  // Nothing when the index cannot be opened.
  std::optional<std::vector<RecycleEntry>> List() const;
  // Of an index that List could not open.
  IndexTrouble TroubleWithIndex() const;

  // Each is one load-change-save; fails when the index could not be opened or saved. A missing entry changes
  // nothing. Several names are done in one save, and none where it would write the bytes that are there. Of
  // entries of one name the first is meant. ClearAccount is for the recycle bin's window.
  FileResult MarkRestored(std::span<const std::string> names, bool restored);
  FileResult ClearAccount(std::span<const std::string> names);
  FileResult RemoveEntries(std::span<const std::string> names);
  // Entries and their files. The entries are removed first, and the files only when the index without them is
  // on the disk: a restored entry whose file is gone would hand an empty mail to the client. A file that
  // another entry names stays, and one that cannot be erased is ignored. A restored message whose file was
  // missing when it was delivered is for RemoveEntries: the file may only have been away.
  FileResult DeleteMessages(std::span<const std::string> names);
  // The same for many, `go_on` being asked before each file is erased, with the store's lock held: it must
  // tell and ask nobody. When it says no, the entries of the files that are left are put back where they
  // were.
  FileResult DeleteWhile(std::span<const std::string> names, const std::function<bool()>& go_on);
  // Everything in the index, in the same order.
  FileResult Empty();

  // Messages that the user restored and that belong to this account or to none. `capacity` (bytes) bounds the
  // directory and the names, each with a terminating zero: what does not fit is skipped and later ones are
  // tried. One whose file is there but cannot be read is left out until it can; one whose file is missing is
  // not.
  RestoredList RestoredFor(std::string_view account, std::size_t capacity) const;

  // At most once per calendar day: removes entries whose message is `max_days` days old and older, and then
  // their files. The configuration says which day counts, that of the mail or that of its filing.
  // Gives the names of the removed ones.
  std::vector<std::string> Purge(std::int32_t max_days);
  // Takes *.eml files in by renaming them; `on_first` is called before the first (a progress window opens
  // there), with no lock held. They get no entries here: those come with a rebuild. A file that cannot be
  // renamed stays.
  void TakeInDroppedFiles(const std::function<void()>& on_first = {});
  // Makes a missing or damaged index from the message files. A damaged one is kept as recyclebin.xml.bad
  // (.bad2, ..., never overwritten), and what can still be found in it of accounts, marks and words is taken
  // over. False when there is an index, whatever its root, and when it cannot be read or the new one not be
  // saved.
  bool RebuildIndex();
  // Gives every message file its entry, removes entries without a file, and rebuilds the index where
  // RebuildIndex would.
  RepairReport Repair();

  // The file's path, or empty when the name is none that this store gives (a bare name ending in .recycle or
  // .eml): names come from an index that anybody may have written.
  std::string PathOfMessage(std::string_view name) const;

 private:
  std::string NewName(const CalendarTime& local_time);
  struct WrittenMessage {
    FileResult result;       // success also for a message with nothing to keep
    std::string name;        // of its file; empty when there is none
    bool was_there = false;  // the file held this message already
  };
  WrittenMessage WriteMessage(const DeletedMessage& deleted, const CalendarTime& local_time);
  void TakeBack(FilingResult& filing, FileResult why) const;
  // What becomes of the index that is made anew when a message file without a row cannot be read.
  enum class UnreadableMail { kLeftOut, kRefused };
  FileResult MakeIndex(RecycleIndexFile& index, UnreadableMail unreadable) const;
  RecycleIndexFile IndexForFiling() const;
  FileResult ChangeIndex(const std::function<void(xmlNode* root)>& change);
  FileResult ChangeIndexAndErase(
      const std::function<void(xmlNode* root, std::vector<std::string>& names)>& change,
      const std::function<bool()>& go_on = {});
  FileResult PutBack(const std::string& former_index, std::span<const std::string> erased) const;

  Program& program_;
  std::string directory_;
  std::string index_path_;
  mutable StoreLock lock_;
  std::string last_stem_;                  // day and time of the last name given out
  std::uint32_t next_tick_ = 0;            // behind its tick, so that finding a free one is not a search
  std::unordered_set<std::string> given_;  // names given out, whether or not their files are there
};

}  // namespace quillbeaker
