// SPDX-License-Identifier: MIT
#pragma once

// The text of a Windows-style INI file, parsed: `[SECTION]` lines, `key=value` lines, ISO-8859-1 bytes. Knows no file;
// ini_file.h reads and writes those. What it does not understand (comments, unknown keys, odd lines) survives.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace quillbeaker {

// One line of a section. Key and value are trimmed of blanks; the value keeps its quotes. A line without "=" has the
// whole line as key and no value.
struct IniEntry {
  std::string_view key;
  std::string_view value;
  bool has_value = false;
};

class IniDocument {
 public:
  IniDocument() = default;
  // Takes any bytes; LF and CR LF both end a line. Never fails.
  explicit IniDocument(std::string_view bytes);

  // Section and key match without regard to ASCII case; of equal sections and equal keys the first counts. The value is
  // without one pair of surrounding quotes (double or single). Nothing when missing or when the line has no "=". Views
  // live until the document changes.
  std::optional<std::string_view> Find(std::string_view section, std::string_view key) const;

  // The entries of the first section of that name in file order, lines that begin with ";" and blank lines left out.
  // Values keep their quotes; equal keys all appear.
  std::vector<IniEntry> Section(std::string_view section) const;

  // Sets the first line of that key, or adds one at the end of the section, or a section at the end of the file.
  // A value that begins and ends with the same quote is written in a further pair of double quotes, so that Find gives it back.
  void Set(std::string_view section, std::string_view key, std::string_view value);
  // Removes the first line of that key; true when there was one.
  bool Remove(std::string_view section, std::string_view key);

  // The file's bytes, every line ended by CR LF.
  std::string Serialise() const;

 private:
  struct Line;
  // Representation is the implementer's choice; look-ups must be O(1) after the first, adding a line O(1) amortised.
};

}  // namespace quillbeaker
