// SPDX-License-Identifier: MIT
#include "extras/senders/csv_senders.h"

#include <algorithm>
#include <utility>

#include "config/ascii.h"
#include "message/display_text.h"

namespace quillbeaker {
namespace {

// Where the separator is next outside of quotation marks. Deliberate: a quotation mark right behind another
// one does not count, so that one that is doubled inside a field ends nothing. An empty field in quotation
// marks therefore stays open to the next mark.
std::size_t FindSeparator(std::string_view text, char separator) {
  bool quoted = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '"') {
      if (i == 0 || text[i - 1] != '"') quoted = !quoted;
    } else if (text[i] == separator && !quoted) {
      return i;
    }
  }
  return std::string_view::npos;
}

std::string CleanField(std::string_view field) {
  std::string text(field);
  std::erase(text, '\r');
  std::erase(text, '\n');
  std::string_view clean = TrimBlanks(text);
  if (clean.size() >= 2 && clean.front() == '"' && clean.back() == '"') {
    clean = clean.substr(1, clean.size() - 2);
  }
  return std::string(clean);
}

bool ContainsAny(std::string_view text, std::initializer_list<std::string_view> words) {
  return std::any_of(words.begin(), words.end(), [text](std::string_view word) {
    return FindIgnoringCase(text, word) != std::string_view::npos;
  });
}

template <typename Test>
std::optional<std::size_t> FirstField(const std::vector<std::string>& fields, Test test) {
  const auto found = std::find_if(fields.begin(), fields.end(), test);
  if (found == fields.end()) return std::nullopt;
  return static_cast<std::size_t>(found - fields.begin());
}

}  // namespace

std::vector<std::string> SplitCsvLine(std::string_view line) {
  std::vector<std::string> fields;
  bool commas = true;  // the rest of the line may have one
  for (;;) {
    std::size_t end = std::string_view::npos;
    if (commas) end = FindSeparator(line, ',');
    commas = end != std::string_view::npos;
    if (!commas) end = FindSeparator(line, ';');
    fields.push_back(CleanField(line.substr(0, end)));
    if (end == std::string_view::npos) return fields;
    line.remove_prefix(end + 1);
  }
}

std::optional<CsvColumns> GuessCsvColumns(const std::vector<std::string>& fields) {
  std::optional<std::size_t> address =
      FirstField(fields, [](const std::string& field) { return field.find('@') != std::string::npos; });
  const bool headings = !address;
  if (headings) {
    address = FirstField(fields, [](const std::string& field) {
      return ContainsAny(field, {"mail"}) && !ContainsAny(field, {"type", "label", "name"});
    });
  }
  if (!address) return std::nullopt;
  std::optional<std::size_t> name;
  if (headings) {
    name = FirstField(fields, [](const std::string& field) { return ContainsAny(field, {"display name"}); });
    if (!name)
      name = FirstField(fields, [](const std::string& field) { return ContainsAny(field, {"name", "nom"}); });
  }
  if (!name) {
    // The nearest one before it, else the one behind it; alone, the address is the name.
    name = *address > 0 ? *address - 1 : fields.size() > 1 ? 1 : 0;
  }
  return CsvColumns{*name, *address};
}

CsvSenders::CsvSenders(std::unique_ptr<TextLines> lines, ChooseColumns choose)
    : lines_(std::move(lines)), choose_(std::move(choose)) {}

std::optional<FoundSender> CsvSenders::Next() {
  std::string line;
  if (!lines_->Next(line, kMaxCsvLine)) return std::nullopt;
  const std::vector<std::string> fields = SplitCsvLine(line);
  if (!columns_) {
    // Deliberate: nothing could be chosen from a blank line, and nothing is lost with it.
    if (fields.size() == 1 && fields[0].empty()) return FoundSender{};
    columns_ = choose_(fields);
    if (!columns_) return std::nullopt;
  }
  const auto take = [&](std::size_t column) {
    const std::string text = column < fields.size() ? fields[column] : std::string();
    return lines_->was_utf16() ? Latin1FromTyped(text) : text;
  };
  return FoundSender{take(columns_->name), take(columns_->address)};
}

}  // namespace quillbeaker
