// SPDX-License-Identifier: MIT
#pragma once

// Where the mails of an mbox file begin and end (RFC 4155 and its relatives in the wild). Works on the bytes
// as they pass by: a file of any size is split with the memory of one line's beginning. Reads no file itself.

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

namespace quillbeaker {

// Whether a file that begins so is taken for an mbox: no mail of its own begins with this line.
inline bool BeginsAsMbox(std::string_view start) {
  return start.starts_with("From ");
}

// A mail's bytes within the file: behind its "From " line, up to the empty line before the next one.
struct MboxMail {
  std::uint64_t offset = 0;
  std::uint64_t length = 0;
};

// Splits one file. A new mail begins at a line
//   "From SENDER Www Mmm D HH:MM[:SS] ... YYYY"   as the mail programs that read mboxes demand it, or
//   "From " or "From -" and nothing more           (Thunderbird) below an empty line or at the start.
// Any other line that begins with "From " belongs to the mail, so that a sentence does not cut it in two.
// Lengths that mails state themselves (Content-Length) are not believed.
class MboxSplitter {
 public:
  // `take` gets each mail that is not empty as soon as its end is known.
  explicit MboxSplitter(std::function<void(const MboxMail&)> take) : take_(std::move(take)) {}

  // The next bytes of the file, cut anywhere.
  void Feed(std::string_view bytes);
  // The file ends here.
  void Finish();

 private:
  void EndLine(std::string_view start, std::uint64_t end);
  void EndMail(std::uint64_t end);

  std::function<void(const MboxMail&)> take_;
  std::string line_;               // beginning of a line whose end was not fed yet
  std::uint64_t line_offset_ = 0;  // of that line
  std::uint64_t position_ = 0;     // bytes fed
  bool at_start_ = true;
  bool in_mail_ = false;
  std::uint64_t mail_offset_ = 0;
  bool after_empty_line_ = false;
  std::uint64_t empty_line_offset_ = 0;
};

// Takes one ">" off each line that begins with ">From ", ">>From " and so on: what writers of mboxes put
// there (mboxrd). Where a writer quoted only "From " itself (mboxo), a quotation of such a line loses a ">"
// too, which no word of the mail depends on.
void UndoMboxQuoting(std::string& mail);

}  // namespace quillbeaker
