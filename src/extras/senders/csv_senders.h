// SPDX-License-Identifier: MIT
#pragma once

// Senders in a text file whose fields are separated by commas or semicolons, as mail programs export their
// address books.

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "extras/senders/found_sender.h"
#include "extras/senders/text_lines.h"

namespace quillbeaker {

inline constexpr std::size_t kMaxCsvLine = 1023;  // bytes; what a line has beyond them is dropped

// Which field is what, counted from 0.
struct CsvColumns {
  std::size_t name = 0;
  std::size_t address = 0;
};

// One line's fields. A field ends at the next comma outside of quotation marks; where the rest of the line
// has none, at the next semicolon. A quotation mark behind another one is none. Fields are without blanks and
// one pair of quotation marks around them; formulas of spreadsheets are text like any other.
std::vector<std::string> SplitCsvLine(std::string_view line);

// Which columns they are most likely, by the first line's fields: an address among them, or the words that
// programs head such columns with. Nothing when no field looks like an address or its heading.
std::optional<CsvColumns> GuessCsvColumns(const std::vector<std::string>& fields);

class CsvSenders : public SenderSource {
 public:
  // Which columns to take, asked once with the fields of the first line that is not blank; nothing ends the
  // import.
  using ChooseColumns = std::function<std::optional<CsvColumns>(const std::vector<std::string>& fields)>;

  CsvSenders(std::unique_ptr<TextLines> lines, ChooseColumns choose);
  // Deliberate: the first line is a sender like the others, whatever it is.
  std::optional<FoundSender> Next() override;
  bool failed() const override { return lines_->failed(); }

 private:
  std::unique_ptr<TextLines> lines_;
  ChooseColumns choose_;
  std::optional<CsvColumns> columns_;
};

}  // namespace quillbeaker
