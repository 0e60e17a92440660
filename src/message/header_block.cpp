// SPDX-License-Identifier: MIT
#include "message/header_block.h"

#include <cstddef>
#include <cstring>
#include <string_view>

namespace quillbeaker {

namespace {

char* LineEnd(char* from, char* end) {
  return from + (FindLineEnd(from, end) - from);
}

char* BehindLine(char* line_end, char* end) {
  return line_end == end ? end : line_end + 2;
}

}  // namespace

const char* FindLineEnd(const char* from, const char* end) {
  while (from < end) {
    from = static_cast<const char*>(std::memchr(from, '\r', static_cast<std::size_t>(end - from)));
    if (from == nullptr) return end;
    if (end - from > 1 && from[1] == '\n') return from;
    ++from;
  }
  return end;
}

// Deliberate: a bare LF ends no line, so a text without CR LF is one single header line. The same rule makes
// the rest of the text the last header line when it has no CR LF.
char* ReadHeaderBlock(char* position, char* end, std::size_t most_fields, HeaderFields& fields) {
  while (position < end) {
    char* const line = position;
    if (fields.size() >= most_fields) return line;
    char* line_end = LineEnd(line, end);
    if (line_end == line) return line;
    position = BehindLine(line_end, end);
    // Deliberate: of a continuation line only the first blank or tab goes, and one blank stands in its place;
    // further ones stay in the value.
    while (position < end && (*position == ' ' || *position == '\t')) {
      char* const rest = position + 1;
      char* const rest_end = LineEnd(rest, end);
      const std::size_t length = static_cast<std::size_t>(rest_end - rest);
      *line_end++ = ' ';
      std::memmove(line_end, rest, length);
      line_end += length;
      position = BehindLine(rest_end, end);
    }
    // Deliberate: a line without a colon is no field and is dropped, also from what is written back.
    fields.Add(std::string_view(line, static_cast<std::size_t>(line_end - line)));
  }
  return end;
}

}  // namespace quillbeaker
