// SPDX-License-Identifier: MIT
#pragma once

// The mail of single files, folders, Maildir folders and mbox files as one numbered row, for bulk learning.
// Only where each mail stands is kept; the mails are read one at a time, so that a mailbox of many gigabytes
// costs no more memory than its largest mail and some hundred bytes for each.
//
// - A file that begins with a "From " line is an mbox (mbox_file.h), any other file one mail.
// - A folder with the folders "cur" and "new" in it is a Maildir: all files of these two, nothing else.
// - Of any other folder and the folders below it every file that begins with a header field or is an mbox,
//   except names that begin with "."; links to files are read, links to folders are not followed.
// - What was named itself is read whatever it is called and however it begins, as long as it is a file.
// - LF counts as CR LF everywhere.
// - A mail that equals an earlier one byte for byte, line ends aside, is left out.

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "console/mail_fingerprint.h"
#include "filter/bulk_learning.h"
#include "platform/input_file.h"

namespace quillbeaker {

enum class LeftOut {
  kUnreadable,  // a file or folder that may not be opened or fails while it is read
  kNoFile,      // a pipe, a device, a link to a folder or to nothing
  kNoMail,      // a file in a folder that does not begin as a mail does, or an empty one
  kTooLarge,    // a mail above kMostMailBytes
  kRepeated,    // equal to one taken before, of the same kind
  kBothKinds,   // equal to one taken before, of the other kind; that one stays
};
inline constexpr std::size_t kLeftOutReasons = 6;

// Bytes of one mail. No server takes a mail of that size: what is larger is a mailbox that is not one.
inline constexpr std::uint64_t kMostMailBytes = std::uint64_t{1} << 27;

class MailFolders : public MailSource {
 public:
  struct Count {
    std::uint64_t count = 0;
    std::string first;  // path of the first, to tell the person
  };

  // `found` is called with the number of mails so far as they are found. May be empty.
  explicit MailFolders(std::function<void(std::size_t)> found = {}) : found_(std::move(found)) {}

  // Takes in all mail at the path, which may name a file or a folder. False when there is nothing there.
  bool Add(const std::string& path, LearnKind kind);
  // No more will be added: what only Add needs is given back.
  void FinishAdding();

  const Count& left_out(LeftOut reason) const { return left_out_[static_cast<std::size_t>(reason)]; }
  std::size_t count(LearnKind kind) const { return counts_[static_cast<std::size_t>(kind)]; }

  std::size_t size() const override { return mails_.size(); }
  LearnKind KindOf(std::size_t index) const override { return mails_[index].kind; }
  bool Read(std::size_t index, std::string& text) override;

 private:
  struct File {
    std::uint64_t name = 0;  // where its path begins in names_
    std::uint32_t name_length = 0;
    bool is_mbox = false;
  };
  struct Mail {
    std::uint64_t offset = 0;
    std::uint64_t length = 0;
    std::uint32_t file = 0;
    LearnKind kind = LearnKind::kGood;
  };
  enum class Demand { kAnything, kBeginsAsMail };

  void AddFolder(const std::string& path, LearnKind kind);
  void AddFile(const std::string& path, LearnKind kind, Demand demand);
  void AddMbox(const InputFile& file, std::uint32_t number, LearnKind kind);
  void AddMail(const InputFile& file, const Mail& mail);
  void LeaveOut(LeftOut reason, std::string_view path);
  std::string_view PathOf(std::uint32_t file) const;
  bool ReadFrom(const InputFile& file, const Mail& mail, std::string& text);

  std::function<void(std::size_t)> found_;
  std::string names_;  // all paths, one behind the other
  std::vector<File> files_;
  std::vector<Mail> mails_;
  std::unordered_map<MailFingerprint, LearnKind, FingerprintHash> taken_;
  std::array<Count, kLeftOutReasons> left_out_{};
  std::array<std::size_t, 2> counts_{};

  // The file that was read last: the mails of an mbox are mostly read in a row.
  std::optional<InputFile> open_file_;
  std::uint32_t open_number_ = 0;
  // Kept for their memory.
  std::string raw_;
  std::string text_;
};

}  // namespace quillbeaker
