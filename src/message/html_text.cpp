// SPDX-License-Identifier: MIT
// HTML as far as the word filter needs it: tags go, "<br>" breaks the line, "&nbsp;" is a blank, nothing else
// is touched.
#include <cstddef>
#include <cstring>

#include "config/ascii.h"
#include "message/decoded_text.h"

namespace quillbeaker {

namespace {

constexpr std::string_view kBreak = "<br>";
constexpr std::string_view kBlank = "&nbsp;";

char* FindByte(char* from, char* end, char wanted) {
  if (from == end) return nullptr;
  return static_cast<char*>(std::memchr(from, wanted, static_cast<std::size_t>(end - from)));
}

// Moves [from, to) down to `out`; returns where the next bytes go.
char* MoveDown(char* out, const char* from, const char* to) {
  const auto length = static_cast<std::size_t>(to - from);
  if (out != from && length > 0) std::memmove(out, from, length);
  return out + length;
}

std::string_view View(const char* from, const char* end) {
  return {from, static_cast<std::size_t>(end - from)};
}

// A tag reaches from "<" to the next ">"; a "<" without one ends the search. Both return the new end of the
// text.
char* RemoveTags(char* begin, char* end) {
  char* out = begin;
  char* in = begin;
  while (char* const tag = FindByte(in, end, '<')) {
    char* const close = FindByte(tag, end, '>');
    if (close == nullptr) break;
    out = MoveDown(out, in, tag);
    // Deliberate: only these four characters, not "<br/>" or "<br >".
    if (StartsWithIgnoringCase(View(tag, end), kBreak)) {
      *out++ = '\r';
      *out++ = '\n';
    }
    in = close + 1;
  }
  return MoveDown(out, in, end);
}

// A pass of its own behind the removal of tags, because one that stood inside "&nbsp;" must be gone by then.
char* ReplaceBlanks(char* begin, char* end) {
  char* out = begin;
  char* in = begin;
  char* search = begin;
  while (char* const found = FindByte(search, end, '&')) {
    search = found + 1;
    if (!StartsWithIgnoringCase(View(found, end), kBlank)) continue;
    out = MoveDown(out, in, found);
    *out++ = ' ';
    in = search = found + kBlank.size();
  }
  return MoveDown(out, in, end);
}

}  // namespace

void RemoveHtml(std::string& text, std::size_t from) {
  if (from >= text.size()) return;
  char* const begin = text.data() + from;
  char* const tags_gone = RemoveTags(begin, text.data() + text.size());
  char* const end = ReplaceBlanks(begin, tags_gone);
  text.resize(static_cast<std::size_t>(end - text.data()));
}

}  // namespace quillbeaker
