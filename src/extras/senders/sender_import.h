// SPDX-License-Identifier: MIT
#pragma once

// Importing senders into one of the lists: what is offered, asked, taken and saved. Knows no window; the
// Windows program and the console each show it in their way.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "config/program.h"
#include "extras/senders/csv_senders.h"
#include "extras/senders/found_sender.h"
#include "extras/senders/sender_file.h"
#include "filter/sender_lists.h"

namespace quillbeaker {

// From "Yes to all" on so many candidates are saved together, at most.
inline constexpr std::size_t kImportBatch = 1000;

enum class OfferAnswer { kYes, kYesToAll, kNo, kCancel };
enum class ImportChoice { kListed, kFile, kCancel };  // the system's own list of senders, or a file

// All texts are bytes as the lists keep them (message/display_text.h shows them), paths UTF-8.
class SenderImportView {
 public:
  virtual ~SenderImportView() = default;
  // Where to import from. The first choice is named by its text where it has one, else as the dialog names
  // it.
  virtual ImportChoice AskSource(std::optional<std::string_view> first_choice) = 0;
  // The file's path; nothing on Cancel.
  virtual std::optional<std::string> AskFile() = 0;
  // Which columns, of a line with these fields. `guess` is what they most likely are. Nothing on Cancel.
  virtual std::optional<CsvColumns> AskColumns(const std::vector<std::string>& fields,
                                               std::optional<CsvColumns> guess) = 0;
  virtual OfferAnswer AskOffer(const FoundSender& found) = 0;
  // So many were read and taken since the import began. Called only while nothing was asked for a second,
  // then a few times a second. False when the person has pressed Cancel.
  virtual bool ShowProgress(std::size_t read, std::size_t taken) = 0;
  // Nothing is going on any more, or something will be asked: what ShowProgress showed goes away.
  virtual void EndProgress() = 0;
  // The end, also with 0: so many are new in the file. `trouble` is a sentence, empty when there was none.
  virtual void ShowCount(std::size_t count, std::string_view trouble) = 0;
};

class SenderImport {
 public:
  // For a source that has to wait, to be called a few times a second meanwhile. False when the person has
  // pressed Cancel: the source ends.
  using KeepWaiting = std::function<bool()>;
  // The source of ImportChoice::kListed: the registry's blocked senders, or the address book's friends; null
  // when the system has none.
  using OpenListed =
      std::function<std::unique_ptr<SenderSource>(std::int32_t kind, KeepWaiting keep_waiting)>;

  // `kind` is kSenderBlocked or kSenderFriend. The references must outlive the import.
  SenderImport(Program& program, SenderImportView& view, std::int32_t kind);

  // One import from the first question to the count. Cancel of the source or the file ends it without a word.
  void Run(const OpenListed& open_listed);
  // The parts of it, for who knows already where from. They may follow each other; ShowCount is theirs to
  // call. read_failed tells of the last file whether it could not be read to its end.
  SenderFileKind ImportFile(const std::string& path);
  void ImportAll(SenderSource& source);

  std::size_t count() const { return count_; }
  bool cancelled() const { return cancelled_; }
  bool not_saved() const { return not_saved_; }
  bool read_failed() const { return read_failed_; }

 private:
  enum class Next { kContinue, kStop };
  Next Offer(const FoundSender& found);
  Next Take(const FoundSender& found);
  bool IsListed(const std::string& address);
  void ReadListsAgain();
  OfferAnswer Answer(const FoundSender& found);
  // Saves what waits; false when that failed.
  bool SaveWaiting();
  Next LookAtTheTime();
  std::string TroubleOf(SenderFileKind kind, const std::string& path) const;

  Program& program_;
  SenderImportView& view_;
  const std::int32_t kind_;
  SenderLists lists_;
  bool yes_to_all_ = false;
  bool cancelled_ = false;
  bool not_saved_ = false;
  bool read_failed_ = false;
  std::size_t count_ = 0;  // saved
  std::size_t read_ = 0;
  std::size_t candidates_ = 0;  // since the last save

  std::vector<SenderRecord> waiting_;  // taken and not saved yet
  // The lists as they were read, or null when they have to be read again, and what was taken since then:
  // keys, and those of them that are patterns, in lower case.
  std::shared_ptr<const IniDocument> known_;
  std::unordered_set<std::string> taken_keys_;
  std::vector<std::string> taken_patterns_;

  std::uint32_t quiet_since_ = 0;  // ticks; when the last question was answered
  std::uint32_t last_progress_ = 0;
  bool progress_shown_ = false;
};

}  // namespace quillbeaker
