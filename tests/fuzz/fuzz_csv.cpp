// SPDX-License-Identifier: MIT
// Any bytes as a text file of senders, read in pieces. What is offered from it can be stored without harm.

#include <algorithm>
#include <cstring>
#include <string>

#include "extras/senders/sender_file.h"
#include "filter/sender_lists.h"
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quillbeaker;
  const std::string_view text = TextOf(data, size);
  std::size_t at = 0;
  const auto read = [&](char* buffer, std::size_t capacity) {
    const std::size_t count = std::min(capacity, text.size() - at);
    std::copy_n(text.data() + at, count, buffer);
    at += count;
    return count;
  };
  std::size_t asked = 0;
  CsvColumns columns;
  const SenderFile file = OpenSenderText(read, [&](const std::vector<std::string>& fields) {
    ++asked;
    Check(!fields.empty(), "a line has a field");
    for (const std::string& field : fields)
      Check(field.size() <= kMaxCsvLine, "a field is as long as a line");
    if (const auto guess = GuessCsvColumns(fields)) {
      Check(guess->name < fields.size() && guess->address < fields.size(), "a guess is one of the columns");
      columns = *guess;
    }
    return std::optional(columns);
  });
  if (!file.source) return 0;
  const auto lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1;
  std::size_t found = 0;
  while (const auto one = file.source->Next()) {
    ++found;
    const auto fit = FitToOffer(*one);
    if (!fit) continue;
    Check(fit->name.size() <= kMaxFoundText && fit->address.size() <= kMaxFoundText, "an offer is short");
    const std::string key = SenderKey(fit->address);
    Check(!key.empty() && key.find_first_of("=\r\n") == std::string::npos && key[0] != ';' && key[0] != '[',
          "an address can be a key");
  }
  Check(asked <= 1, "the columns are asked once");
  Check(file.kind == SenderFileKind::kVCard || found <= lines, "a line is one sender at most");
  return 0;
}
