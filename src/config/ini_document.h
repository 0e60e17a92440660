// SPDX-License-Identifier: MIT
#pragma once

// The text of a Windows-style INI file, parsed: `[SECTION]` lines, `key=value` lines, ISO-8859-1 bytes. Knows
// no file; ini_file.h reads and writes those. What it does not understand (comments, unknown keys, odd lines)
// survives.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace quillbeaker {

// One line of a section. Key and value are trimmed of blanks (tabs, form feeds and stray CRs are blanks too);
// the value keeps its quotes. A line without "=" has the whole line as key and no value.
struct IniEntry {
  std::string_view key;
  std::string_view value;
  bool has_value = false;
};

class IniDocument {
 public:
  IniDocument() = default;
  // Takes any bytes; LF and CR LF both end a line, a UTF-8 byte order mark at the start is kept and passed
  // over. Never fails. Parsing is linear, a look-up O(1), adding and removing a line O(1) amortised.
  explicit IniDocument(std::string_view bytes);

  // Section and key match without regard to ASCII case and to blanks around them; of equal sections and equal
  // keys the first counts. The value is without one pair of surrounding quotes (double or single). Nothing
  // when missing or when the line has no "=". Views live until the document changes.
  std::optional<std::string_view> Find(std::string_view section, std::string_view key) const;

  // The entries of the first section of that name in file order, lines that begin with ";" and blank lines
  // left out. Values keep their quotes; equal keys all appear.
  std::vector<IniEntry> Section(std::string_view section) const;

  // Sets the first line of that key, or adds one at the end of the section, or a section at the end of the
  // file. Bytes below 0x20 in key and value become blanks, so that no text can add lines. A value that begins
  // and ends with the same quote is written in a further pair of double quotes, so that Find gives it back.
  // False, and nothing is changed, for a key that a file cannot hold: empty, with "=", or beginning with ";"
  // or "[".
  bool Set(std::string_view section, std::string_view key, std::string_view value);
  // Removes the first line of that key; true when there was one.
  bool Remove(std::string_view section, std::string_view key);

  // Whether Set takes the key.
  static bool CanHoldKey(std::string_view key);

  // The file's bytes. Lines end with CR LF, or with LF alone when all of them did: a file that was edited on
  // another system keeps the lines that nobody touched as they were.
  std::string Serialise() const;

 private:
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

  // A line as it stands in the file, without its end; key and value are places in it.
  struct Line {
    std::string text;
    std::size_t key_begin = 0;
    std::size_t key_size = 0;
    std::size_t value_begin = 0;
    std::size_t value_size = 0;
    std::size_t next_of_key = kNone;  // the next line with the same key
    bool has_key = false;             // neither blank nor a comment
    bool has_value = false;
    bool removed = false;  // kept in its place, so that the numbers of the other lines stay

    explicit Line(std::string line);
    std::string_view Key() const { return std::string_view(text).substr(key_begin, key_size); }
    std::string_view Value() const { return std::string_view(text).substr(value_begin, value_size); }
  };
  struct CaseInsensitiveHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const;
  };
  struct CaseInsensitiveEqual {
    using is_transparent = void;
    bool operator()(std::string_view a, std::string_view b) const;
  };
  struct FirstAndLast {
    std::size_t first;
    std::size_t last;
  };
  template <typename Value>
  using NameMap = std::unordered_map<std::string, Value, CaseInsensitiveHash, CaseInsensitiveEqual>;

  struct SectionText {
    std::string header;  // the line in brackets; none for what stands before the first section
    std::vector<Line> lines;
    std::vector<std::string> blank_end;  // blank lines before the next section: new keys go before them
    NameMap<FirstAndLast> keys;

    void Append(Line line);
  };

  const SectionText* FindSection(std::string_view name) const;
  SectionText& AddSection(std::string_view name, std::string header);

  std::string byte_order_mark_;
  std::string_view line_end_ = "\r\n";
  std::vector<SectionText> sections_;  // in file order, equal names as well
  NameMap<std::size_t> first_of_name_;
};

}  // namespace quillbeaker
