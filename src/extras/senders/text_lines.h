// SPDX-License-Identifier: MIT
#pragma once

// The lines of a text file that somebody else's program wrote, read piece by piece: neither a file of 100 MB
// nor a single line of that length takes more memory than a line may be long. A byte order mark is dropped,
// UTF-16 becomes UTF-8, all other bytes stay.

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace quillbeaker {

class TextLines {
 public:
  // Fills the buffer as far as it can; fewer bytes than asked for are the end, nothing is a failure.
  using Read = std::function<std::optional<std::size_t>(char* buffer, std::size_t capacity)>;

  // Reads the first piece at once.
  explicit TextLines(Read read);

  // The next line without its LF; false at the end. What a line has beyond `longest` bytes is dropped, to its
  // end and no further. In text that was UTF-16 no character is cut in two by that.
  bool Next(std::string& line, std::size_t longest);

  // The beginning of the text, as far as it was read before the first call of Next.
  std::string_view head() const { return text_; }
  // Where the file's bytes are no text: too many of the first ones are control bytes.
  bool is_binary() const { return binary_; }
  // The text ended because reading failed. A line that was cut off by that is not given: half an address is
  // another one.
  bool failed() const { return failed_; }
  bool was_utf16() const { return encoding_ != Encoding::kBytes; }

 private:
  enum class Encoding { kBytes, kUtf16LittleEndian, kUtf16BigEndian };

  // Puts the next piece of the file into raw_.
  void ReadPiece();
  // Puts the next piece into text_; false at the end.
  bool Fill();
  void DetectEncoding();
  void AppendUtf16(std::string_view bytes, bool last);

  Read read_;
  std::string raw_;
  std::string text_;
  std::size_t at_ = 0;  // bytes of text_ that were given
  std::string carry_;   // of UTF-16: bytes that are no whole character yet
  Encoding encoding_ = Encoding::kBytes;
  bool binary_ = false;
  bool ended_ = false;
  bool failed_ = false;
};

}  // namespace quillbeaker
